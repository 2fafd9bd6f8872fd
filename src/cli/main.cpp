// qldb: the command-line front end to the library, for people and scripts without a host program.
#include "cli/connection_options.h"
#include "cli/console_host_services.h"
#include "cli/table_printer.h"
#include "connection/ql_connection.h"
#include "platform/errors/error_service.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>
#include <memory>

using namespace qldb;

namespace {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

const char* const kUsage = "Usage: qldb <command> [options]\n"
                           "\n"
                           "Commands:\n"
                           "  connstr   print the connection string composed from the given settings\n"
                           "  sql       run statements and print the rows they return\n"
                           "\n"
                           "Run 'qldb <command> --help' for the options of a command.\n";

int Usage(QTextStream& err) {
    err << kUsage;
    return kExitUsage;
}

// Settings that every command reads; returns false after printing why they could not be read.
bool PrepareConnection(QCommandLineParser& parser, const QStringList& args, qlConnection& connection,
                       QTextStream& err) {
    parser.addHelpOption();
    cli::AddConnectionOptions(parser);
    if (!parser.parse(args)) {
        err << parser.errorText() << '\n';
        return false;
    }
    if (const auto problem = cli::ApplyConnectionOptions(parser, connection)) {
        err << "qldb: " << *problem << '\n';
        return false;
    }
    return true;
}

int RunConnstr(const QStringList& args, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription("Prints the connection string that the given settings compose.");
    qlConnection connection;
    if (!PrepareConnection(parser, args, connection, err))
        return kExitUsage;
    if (parser.isSet("help")) {
        out << parser.helpText();
        return kExitOk;
    }
    out << connection.MakeConnectionString() << '\n';
    return kExitOk;
}

int RunSql(const QStringList& args, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Runs each statement through the library, with its error discipline, and prints the rows.\n"
        "Without connection options the statements run on the SQLite demo database in the user's data "
        "folder.");
    parser.addPositionalArgument(
        "statement", "SQL statements; '-' or none reads one statement per line from standard input.");
    auto connection = std::make_unique<qlConnection>();
    if (!PrepareConnection(parser, args, *connection, err))
        return kExitUsage;
    if (parser.isSet("help")) {
        out << parser.helpText();
        return kExitOk;
    }
    if (cli::NamesNoConnection(parser)) {
        connection->setProviderType(ql_eProviderType::MsAccess);
        connection->setDatabaseName(cli::DemoDatabasePath());
    }
    // Database errors come back as raised errors, so each failing statement is told and counted.
    auto errors = std::make_shared<HeadlessErrorService>(kDecisionLeave, kErrorModeRaise);
    connection->setErrors(errors);
    connection->setHostServices(std::make_shared<cli::ConsoleHostServices>());
    connection->setProductName(QStringLiteral("qldb"));

    QStringList statements = parser.positionalArguments();
    if (statements.isEmpty() || statements == QStringList{QStringLiteral("-")}) {
        statements.clear();
        QTextStream in(stdin);
        for (QString line; in.readLineInto(&line);)
            if (!line.trimmed().isEmpty())
                statements << line;
    }

    try {
        connection->OpenConnection();
    } catch (const qlException& e) {
        err << "qldb: cannot open the connection: " << e.description() << '\n';
        return kExitFailure;
    }

    int failures = 0;
    for (const QString& statement : statements) {
        try {
            bool bError = false;
            QString sErrDescription;
            auto recordset = connection->ExecuteWC(statement, ado::adLockReadOnly, &bError, &sErrDescription);
            if (bError || !recordset) {
                err << "qldb: statement failed: "
                    << (sErrDescription.isEmpty() ? errors->LastDescription() : sErrDescription) << '\n';
                ++failures;
            } else if (recordset->State() == ado::adStateOpen) {
                cli::PrintTable(*recordset, out);
            } else {
                out << "OK\n";
            }
        } catch (const qlException& e) {
            err << "qldb: " << e.record().Source << ": " << e.description() << '\n';
            ++failures;
        }
        out.flush();
    }
    connection->Finalize();
    return failures == 0 ? kExitOk : kExitFailure;
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("qldb"));
    QTextStream out(stdout);
    QTextStream err(stderr);
    QStringList args = QCoreApplication::arguments();
    if (args.size() < 2)
        return Usage(err);
    const QString command = args.takeAt(1);
    if (command == QLatin1String("connstr"))
        return RunConnstr(args, out, err);
    if (command == QLatin1String("sql"))
        return RunSql(args, out, err);
    if (command == QLatin1String("--help") || command == QLatin1String("-h") ||
        command == QLatin1String("help")) {
        out << kUsage;
        return kExitOk;
    }
    err << "qldb: unknown command \"" << command << "\"\n";
    return Usage(err);
}
