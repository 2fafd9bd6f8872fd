// qldb export: a structure file written from the live database by the engine's writers, and the
// documentation workbook when asked.
#include "cli/command_support.h"
#include "cli/commands.h"
#include "platform/tools/xlsx_workbook.h"
#include "structure/ql_database.h"

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>

namespace qldb::cli {

namespace {

// Names matching any of the patterns (shell wildcards, compared in upper case); every name when
// there is no pattern.
QStringList Matching(const QStringList& names, const QStringList& patterns) {
    if (patterns.isEmpty())
        return names;
    QList<QRegularExpression> expressions;
    for (const QString& pattern : patterns)
        expressions << QRegularExpression(QRegularExpression::wildcardToRegularExpression(pattern.toUpper()));
    QStringList out;
    for (const QString& name : names) {
        for (const QRegularExpression& e : expressions) {
            if (e.match(name.toUpper()).hasMatch()) {
                out << name;
                break;
            }
        }
    }
    return out;
}

QStringList NameList(const QString& sList, const QString& sSeparator) {
    QStringList names = sList.split(sSeparator, Qt::SkipEmptyParts);
    for (QString& name : names)
        name = name.trimmed();
    names.removeAll(QString());
    return names;
}

} // namespace

int RunExport(const QStringList& args, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Writes a structure file from the live database: the header, then the containers Tables,\n"
        "Functions, Views, Procedures, Triggers and DataTables, always all six so that the file reads by\n"
        "position, each filled with the objects chosen (every object of its kind when no pattern is given).\n"
        "Patterns are shell wildcards, compared in upper case; repeat an option for more patterns."));
    parser.addOptions({
        {QStringLiteral("output"), QStringLiteral("Structure file to write (required)."),
         QStringLiteral("file")},
        {QStringLiteral("tables"), QStringLiteral("Tables to write."), QStringLiteral("pattern")},
        {QStringLiteral("no-tables"), QStringLiteral("Write no table.")},
        {QStringLiteral("views"), QStringLiteral("Views to write."), QStringLiteral("pattern")},
        {QStringLiteral("functions"), QStringLiteral("Functions to write."), QStringLiteral("pattern")},
        {QStringLiteral("procedures"), QStringLiteral("Procedures to write."), QStringLiteral("pattern")},
        {QStringLiteral("triggers"), QStringLiteral("Write the triggers too.")},
        {QStringLiteral("data"),
         QStringLiteral("A data table to carry, optionally with the query of its rows."),
         QStringLiteral("table[=query]")},
        {QStringLiteral("prefix"), QStringLiteral("The firm prefix to replace by the marker (A01_)."),
         QStringLiteral("prefix")},
        {QStringLiteral("marker"),
         QStringLiteral("The marker that stands for the prefix (default [#FIRM#])."), QStringLiteral("text"),
         QStringLiteral("[#FIRM#]")},
        {QStringLiteral("version"), QStringLiteral("Structure version of the file (default 1.0.0)."),
         QStringLiteral("version"), QStringLiteral("1.0.0")},
        {QStringLiteral("database-name"), QStringLiteral("Database name in the header."),
         QStringLiteral("name"), QStringLiteral("Database")},
        {QStringLiteral("company"), QStringLiteral("Company name in the header."), QStringLiteral("name"),
         QStringLiteral("Company Name")},
        {QStringLiteral("product"), QStringLiteral("Product name in the header."), QStringLiteral("name"),
         QStringLiteral("Product Name")},
        {QStringLiteral("workbook"),
         QStringLiteral("Write the documentation workbook (.xlsx) of the tables too."),
         QStringLiteral("file")},
    });
    if (const auto done = ParseCommandLine(parser, args, out, err))
        return *done;
    const QString output = parser.value(QStringLiteral("output"));
    if (output.isEmpty()) {
        err << "qldb: --output is required\n";
        return kExitFailure;
    }

    Session session(err);
    if (!session.Open(parser))
        return kExitFailure;
    qlConnection& connection = session.connection();
    qlDatabase database;
    session.Attach(database);

    QString prefix = parser.value(QStringLiteral("prefix"));
    const QString marker =
        parser.isSet(QStringLiteral("prefix")) ? parser.value(QStringLiteral("marker")) : QString();
    std::unique_ptr<XlsxWorkbook> workbook;
    if (parser.isSet(QStringLiteral("workbook")))
        workbook = std::make_unique<XlsxWorkbook>();

    QDomDocument doc;
    QDomElement root = database.MakeXmlHeader(
        doc, parser.value(QStringLiteral("database-name")), parser.value(QStringLiteral("company")),
        parser.value(QStringLiteral("product")), parser.value(QStringLiteral("version")),
        QDateTime::currentDateTime());
    doc.appendChild(root);
    const auto container = [&](const char* name) {
        QDomElement element = doc.createElement(QString::fromLatin1(name));
        root.appendChild(element);
        return element;
    };
    QDomElement tables = container("Tables");
    QDomElement functions = container("Functions");
    QDomElement views = container("Views");
    QDomElement procedures = container("Procedures");
    QDomElement triggers = container("Triggers");
    QDomElement dataTables = container("DataTables");

    int written = 0;
    if (!parser.isSet(QStringLiteral("no-tables"))) {
        QStringList names;
        for (const CatalogTable& table : connection.ADODBConnection()->Tables())
            if (table.Type == QLatin1String("TABLE"))
                names << table.Name;
        for (const QString& name : Matching(names, parser.values(QStringLiteral("tables")))) {
            tables.appendChild(
                database.GetXmlTableDefinition(name, true, true, &prefix, marker, workbook.get()));
            ++written;
        }
    }
    for (const QString& name : Matching(NameList(connection.GetFunctions(), QStringLiteral("|")),
                                        parser.values(QStringLiteral("functions"))))
        functions.appendChild(database.GetXmlFunctionDefinition(name, prefix, marker));
    for (const QString& name : Matching(NameList(connection.GetViews(), QStringLiteral(",")),
                                        parser.values(QStringLiteral("views"))))
        views.appendChild(database.GetXmlViewDefinition(name, &prefix, marker));
    for (const QString& name : Matching(NameList(connection.GetProcedures(), QStringLiteral("|")),
                                        parser.values(QStringLiteral("procedures"))))
        procedures.appendChild(database.GetXmlProcedureDefinition(name, prefix, marker));
    if (parser.isSet(QStringLiteral("triggers"))) {
        for (const QString& name : NameList(connection.GetTriggers(), QStringLiteral("|"))) {
            // Notification triggers and the users' own are no part of a structure.
            const QString upper = name.toUpper();
            if (!upper.startsWith(QLatin1String("SYS_XTR_NTF")) && !upper.startsWith(QLatin1String("USR")))
                triggers.appendChild(database.GetXmlTriggerDefinition(name, prefix, marker));
        }
    }
    for (const QString& entry : parser.values(QStringLiteral("data"))) {
        const qsizetype equals = entry.indexOf(u'=');
        const QString table = equals < 0 ? entry : entry.left(equals);
        const QString query = equals < 0 ? QString() : entry.mid(equals + 1);
        dataTables.appendChild(database.GetXmlDataTable(table, &prefix, marker, query));
    }

    QFile file(output);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        err << "qldb: cannot write " << output << ": " << file.errorString() << '\n';
        return kExitFailure;
    }
    file.write(doc.toByteArray(2));
    file.close();
    if (workbook) {
        try {
            workbook->Save(parser.value(QStringLiteral("workbook")));
        } catch (const qlException& e) {
            err << "qldb: cannot write the workbook: " << OneLine(e.description()) << '\n';
            return kExitFailure;
        }
    }
    out << "Wrote " << output << ": " << written << " tables, " << functions.childNodes().size()
        << " functions, " << views.childNodes().size() << " views, " << procedures.childNodes().size()
        << " procedures, " << triggers.childNodes().size() << " triggers, " << dataTables.childNodes().size()
        << " data tables\n";
    return session.errors()->anyReported() ? kExitFailure : kExitOk;
}

} // namespace qldb::cli
