// qldb version: the version a database code has reached, its dates, and whether a structure file
// is newer.
#include "cli/command_support.h"
#include "cli/commands.h"
#include "structure/ql_database.h"

namespace qldb::cli {

namespace {

QString DateText(const QDateTime& date) {
    return date.isValid() ? date.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) : QStringLiteral("-");
}

} // namespace

int RunVersion(const QStringList& args, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Prints the structure version a database code has reached (the newest completed row of\n"
        "SYS_DBS), its dates of creation and of last update, and with --structure whether the\n"
        "file is newer. Exit status: 0, or 2 when the file is newer, 1 on an error."));
    parser.addOptions({
        {QStringLiteral("code"), QStringLiteral("Database code (default SYS)."), QStringLiteral("code"),
         QStringLiteral("SYS")},
        {QStringLiteral("structure"), QStringLiteral("Structure file to compare with."),
         QStringLiteral("file")},
    });
    if (const auto done = ParseCommandLine(parser, args, out, err))
        return *done;
    QString structure;
    if (parser.isSet(QStringLiteral("structure")) &&
        !RequireFile(parser, QStringLiteral("structure"), structure, err))
        return kExitFailure;

    Session session(err);
    if (!session.Open(parser))
        return kExitFailure;
    qlDatabase database;
    session.Attach(database);

    const QString code = parser.value(QStringLiteral("code"));
    out << "Code:            " << code << '\n';
    out << "Version:         " << database.GetDbVersion(code) << '\n';
    out << "Created:         " << DateText(database.GetDbDate(code, 0)) << '\n';
    out << "Last update:     " << DateText(database.GetDbDate(code, 1)) << '\n';
    int status = session.errors()->anyReported() ? kExitFailure : kExitOk;
    if (!structure.isEmpty()) {
        QString newer;
        const ql_eDbUpdate check = database.CheckDatabaseVersion(code, structure, &newer);
        out << "Structure file:  " << structure << '\n';
        out << "File version:    " << database.GetXmlVersion(structure) << '\n';
        switch (check) {
        case ql_eDbUpdate::DatabaseOldVersion:
            out << "Check:           the database is older than the file: an update to " << newer
                << " is due\n";
            status = status == kExitOk ? kExitDrift : status;
            break;
        case ql_eDbUpdate::WrongXmlStructure:
            out << "Check:           the file's header is not a structure file's\n";
            status = kExitFailure;
            break;
        case ql_eDbUpdate::DatabaseUpdated:
            out << "Check:           up to date\n";
            break;
        }
    }
    return status;
}

} // namespace qldb::cli
