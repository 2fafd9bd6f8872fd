// qldb update: the verify run, then the chosen objects brought in step with the structure file.
#include "cli/command_support.h"
#include "cli/commands.h"
#include "cli/dry_run_connection.h"
#include "cli/engine_run.h"
#include "cli/verify_report.h"

namespace qldb::cli {

namespace {

struct ModeName {
    const char* Name;
    ql_eVerifyMode Mode;
};
const ModeName kModes[] = {
    {"update", ql_eVerifyMode::UpdateModality},
    {"create", ql_eVerifyMode::CreateModality},
    {"delete", ql_eVerifyMode::DeleteModality},
    {"history", ql_eVerifyMode::HistoryModality},
};

// Marks the rows to change: every row with --all, else the rows named by --only (compared in upper
// case, as the engine compares names). Returns the names that matched no row.
QStringList Select(VariantArray2& list, bool bAll, const QStringList& only) {
    QStringList unmatched;
    for (const QString& name : only) {
        bool found = false;
        for (int32_t row = 1; row <= list.UBound(2); ++row)
            found = found || list(kObjectName, row).toString().toUpper() == name.toUpper();
        if (!found)
            unmatched << name;
    }
    for (int32_t row = 1; row <= list.UBound(2); ++row) {
        const QString name = list(kObjectName, row).toString().toUpper();
        bool chosen = bAll;
        for (const QString& wanted : only)
            chosen = chosen || name == wanted.toUpper();
        list(kObjectSelected, row) = chosen;
    }
    return unmatched;
}

} // namespace

int RunUpdate(const QStringList& args, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Runs the verification, then brings the chosen objects in step with the structure file: tables\n"
        "repaired or created, views, functions, procedures and triggers replaced, data tables imported,\n"
        "queued queries run and the new version recorded. The log is printed as it is written.\n"
        "Exit status: 0 when the database was updated (or needed no change), 1 otherwise."));
    AddStructureOptions(parser);
    parser.addOptions({
        {QStringLiteral("all"),
         QStringLiteral("Change every object that differs (the default without --only).")},
        {QStringLiteral("only"), QStringLiteral("Change this object only; repeat for more."),
         QStringLiteral("name")},
        {QStringLiteral("mode"), QStringLiteral("update (default), create, delete or history."),
         QStringLiteral("mode"), QStringLiteral("update")},
        {QStringLiteral("delete-fields"), QStringLiteral("Drop columns that the file does not have.")},
        {QStringLiteral("delete-objects"), QStringLiteral("Drop objects that the file does not have.")},
        {QStringLiteral("rebuild-indexes"), QStringLiteral("Rebuild indexes even when they are equal.")},
        {QStringLiteral("rebuild-views"), QStringLiteral("Rebuild views even when they are equal.")},
        {QStringLiteral("rebuild-procedures"),
         QStringLiteral("Rebuild functions and procedures even when they are equal.")},
        {QStringLiteral("log"), QStringLiteral("Write the log to this file too."), QStringLiteral("file")},
        {QStringLiteral("dry-run"),
         QStringLiteral("Print every statement that would change the database, in order, and send none.")},
    });
    if (const auto done = ParseCommandLine(parser, args, out, err))
        return *done;

    std::optional<ql_eVerifyMode> mode;
    for (const ModeName& m : kModes)
        if (parser.value(QStringLiteral("mode")) == QLatin1String(m.Name))
            mode = m.Mode;
    if (!mode) {
        err << "qldb: unknown mode \"" << parser.value(QStringLiteral("mode"))
            << "\" (update, create, delete or history)\n";
        return kExitFailure;
    }
    const QStringList only = parser.values(QStringLiteral("only"));
    if (parser.isSet(QStringLiteral("all")) && !only.isEmpty()) {
        err << "qldb: --all and --only exclude each other\n";
        return kExitFailure;
    }
    const bool dryRun = parser.isSet(QStringLiteral("dry-run"));

    Session session(err);
    EngineRun run(session, out, err);
    if (!run.ReadOptions(parser) || !run.ShowLog(!dryRun, parser.value(QStringLiteral("log"))) ||
        !session.Open(parser))
        return kExitFailure;
    qlDatabase& database = run.database();
    database.setDeleteFields(parser.isSet(QStringLiteral("delete-fields")));
    database.setDeleteObjects(parser.isSet(QStringLiteral("delete-objects")));
    database.setRebuildIndexes(parser.isSet(QStringLiteral("rebuild-indexes")));
    database.setRebuildViews(parser.isSet(QStringLiteral("rebuild-views")));
    database.setRebuildProcedures(parser.isSet(QStringLiteral("rebuild-procedures")));

    VariantArray2 list;
    run.Run(ql_eVerifyMode::VerifyModality, list);
    if (session.errors()->anyReported() || run.interrupted()) {
        err << "qldb: the verification did not complete; nothing was changed\n";
        return kExitFailure;
    }
    const QStringList unmatched = Select(list, only.isEmpty(), only);
    if (!unmatched.isEmpty()) {
        err << "qldb: no object named " << unmatched.join(QStringLiteral(", ")) << " in the verification\n";
        return kExitFailure;
    }

    std::shared_ptr<DryRunConnection> dry;
    if (dryRun) {
        out << "Dry run: the statements below would be sent, in this order; none is.\n"
               "Later steps are planned against the database as it is now, not as the earlier steps would "
               "leave it.\n";
        dry = std::make_shared<DryRunConnection>(
            session.connection().ADODBConnection(), [&out](const QString& sStatement) {
                QString text = sStatement;
                text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
                text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
                out << text << "\n;\n";
                out.flush();
            });
        session.connection().setADODBConnection(dry);
    }
    run.Run(*mode, list);
    if (dry) {
        session.connection().setADODBConnection(dry->inner());
        out << "-- " << dry->printed() << " statements planned, none sent\n";
    }
    const ql_eVerifyResult result = database.VerifyDatabaseResult();
    out << '\n' << (dryRun ? "Result as planned: " : "Result: ") << ResultName(result) << '\n';
    if (run.interrupted())
        err << "qldb: interrupted; the run closed after the object at work\n";
    if (dryRun)
        return session.errors()->anyReported() ? kExitFailure : kExitOk;
    return result == ql_eVerifyResult::evrUpdatedCorrectly ||
                   result == ql_eVerifyResult::evrUpdatedWithoutChange
               ? kExitOk
               : kExitFailure;
}

} // namespace qldb::cli
