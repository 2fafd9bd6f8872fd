// qldb data export|import: the data of named tables carried by a structure file, by records in the
// file itself or through the bulk copy program's side files.
#include "cli/command_support.h"
#include "cli/commands.h"
#include "cli/terminal_log.h"
#include "cli/terminal_progress.h"
#include "structure/ql_database.h"

#include <QDateTime>
#include <QFile>
#include <unistd.h>

namespace qldb::cli {

namespace {

void AddDataOptions(QCommandLineParser& parser) {
    parser.addOptions({
        {QStringLiteral("path"),
         QStringLiteral("Folder of the bulk copy side files (default: the product's Db folder)."),
         QStringLiteral("folder")},
        {QStringLiteral("data-prefix"), QStringLiteral("Prefix of the side files' names."),
         QStringLiteral("prefix")},
    });
}

int Export(QCommandLineParser& parser, Session& session, qlDatabase& database, QTextStream& out,
           QTextStream& err) {
    const QString output = parser.value(QStringLiteral("output"));
    const QStringList tables = parser.values(QStringLiteral("table"));
    if (output.isEmpty() || tables.isEmpty()) {
        err << "qldb: data export needs --output and at least one --table\n";
        return kExitFailure;
    }
    QString prefix = parser.value(QStringLiteral("prefix"));
    const QString marker = prefix.isEmpty() ? QString() : parser.value(QStringLiteral("marker"));
    QDomDocument doc;
    QDomElement root = database.MakeXmlHeader(doc, QStringLiteral("Database"), QStringLiteral("Company Name"),
                                              QStringLiteral("Product Name"), QStringLiteral("0.0.0000"),
                                              QDateTime::currentDateTime());
    doc.appendChild(root);
    // The data tables sit at their position, behind the five object containers.
    for (const char* name : {"Tables", "Functions", "Views", "Procedures", "Triggers"})
        root.appendChild(doc.createElement(QString::fromLatin1(name)));
    QDomElement dataTables = doc.createElement(QStringLiteral("DataTables"));
    root.appendChild(dataTables);
    TerminalProgress progress(isatty(STDERR_FILENO) != 0);
    for (const QString& entry : tables) {
        const qsizetype equals = entry.indexOf(u'=');
        const QString table = equals < 0 ? entry : entry.left(equals);
        const QString query = equals < 0 ? QString() : entry.mid(equals + 1);
        dataTables.appendChild(database.GetXmlDataTable(table, &prefix, marker, query, &progress,
                                                        parser.value(QStringLiteral("data-prefix"))));
    }
    progress.clear();
    QFile file(output);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        err << "qldb: cannot write " << output << ": " << file.errorString() << '\n';
        return kExitFailure;
    }
    file.write(doc.toByteArray(2));
    out << "Wrote " << output << ": " << tables.size() << " data tables\n";
    return session.errors()->anyReported() ? kExitFailure : kExitOk;
}

int Import(QCommandLineParser& parser, Session& session, qlDatabase& database, QTextStream& out,
           QTextStream& err) {
    QString structure;
    if (!RequireFile(parser, QStringLiteral("structure"), structure, err))
        return kExitFailure;
    auto log = std::make_shared<TerminalLog>(out, true, isatty(STDOUT_FILENO) != 0);
    database.setOutputBox(log);
    database.setDeleteDataBeforeImport(parser.isSet(QStringLiteral("delete-before")));
    TerminalProgress progress(isatty(STDERR_FILENO) != 0);
    const QString firm = parser.value(QStringLiteral("prefix"));
    const QString dataPrefix = parser.value(QStringLiteral("data-prefix"));
    bool ok = true;
    const QStringList tables = parser.values(QStringLiteral("table"));
    if (tables.isEmpty()) {
        ok = database.ReadXmlDataTable(structure, nullptr, firm, &progress, dataPrefix);
    } else {
        for (QString table : tables)
            ok = database.ReadXmlDataTable(structure, &table, firm, &progress, dataPrefix) && ok;
    }
    progress.clear();
    out << '\n' << (ok ? "Data imported." : "Data imported with errors.") << '\n';
    return ok && !session.errors()->anyReported() ? kExitOk : kExitFailure;
}

} // namespace

int RunData(const QStringList& args, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "data export: writes the data of the named tables into a structure file's DataTables: the rows\n"
        "themselves for a table given with its query (TABLE=SELECT ...), or the bulk copy side files and\n"
        "their count for a table given alone.\n"
        "data import: reads the data tables of a structure file (all, or the named ones) into the database.\n"
        "The bulk copy program is the one configured, a bcp on the PATH, or the built-in copier."));
    parser.addPositionalArgument(QStringLiteral("action"), QStringLiteral("export or import"));
    AddDataOptions(parser);
    parser.addOptions({
        {QStringLiteral("output"), QStringLiteral("export: structure file to write."),
         QStringLiteral("file")},
        {QStringLiteral("structure"), QStringLiteral("import: structure file to read."),
         QStringLiteral("file")},
        {QStringLiteral("table"),
         QStringLiteral("A table, with its query for the record route; repeat for more."),
         QStringLiteral("table[=query]")},
        {QStringLiteral("prefix"),
         QStringLiteral(
             "export: the firm prefix to replace by the marker; import: the firm the marker stands for."),
         QStringLiteral("prefix")},
        {QStringLiteral("marker"), QStringLiteral("export: the marker for the prefix (default [#FIRM#])."),
         QStringLiteral("text"), QStringLiteral("[#FIRM#]")},
        {QStringLiteral("delete-before"), QStringLiteral("import: empty each table before its rows go in.")},
    });
    if (const auto done = ParseCommandLine(parser, args, out, err))
        return *done;
    const QStringList positional = parser.positionalArguments();
    const QString action = positional.value(0);
    if (positional.size() != 1 || (action != QLatin1String("export") && action != QLatin1String("import"))) {
        err << "qldb: data needs one action, export or import (see 'qldb data --help')\n";
        return kExitFailure;
    }
    Session session(err);
    if (!session.Open(parser))
        return kExitFailure;
    qlDatabase database;
    session.Attach(database);
    database.setPathXML(parser.value(QStringLiteral("path")));
    return action == QLatin1String("export") ? Export(parser, session, database, out, err)
                                             : Import(parser, session, database, out, err);
}

} // namespace qldb::cli
