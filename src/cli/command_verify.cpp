// qldb verify: the database compared with its structure file, changing nothing.
#include "cli/command_support.h"
#include "cli/commands.h"
#include "cli/engine_run.h"
#include "cli/verify_report.h"

#include <QJsonDocument>

namespace qldb::cli {

int RunVerify(const QStringList& args, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Compares every table, function, view, procedure and trigger of the database with the structure\n"
        "file and prints one row per object, and for each table that differs the rows of its comparison.\n"
        "Nothing is changed. Exit status: 0 when the database is up to date, 2 when it differs from the\n"
        "file, 1 on an error."));
    AddStructureOptions(parser);
    parser.addOption({QStringLiteral("json"), QStringLiteral("Print the result as one JSON document.")});
    if (const auto done = ParseCommandLine(parser, args, out, err))
        return *done;

    Session session(err);
    EngineRun run(session, out, err);
    if (!run.ReadOptions(parser) || !session.Open(parser))
        return kExitFailure;

    VariantArray2 list;
    run.Run(ql_eVerifyMode::VerifyModality, list);
    if (run.interrupted()) {
        err << "qldb: interrupted\n";
        return kExitFailure;
    }
    const VerifyReport report =
        MakeReport(run.database(), list, run.structure(), run.prefixes(), run.removePrefix());
    if (parser.isSet(QStringLiteral("json")))
        out << QJsonDocument(ReportToJson(report)).toJson(QJsonDocument::Indented);
    else
        PrintReport(report, out);
    if (session.errors()->anyReported())
        return kExitFailure;
    return report.upToDate() ? kExitOk : kExitDrift;
}

} // namespace qldb::cli
