// qldb connstr and qldb sql: the connection string composed from the settings, and statements run
// through the library with their rows printed.
#include "cli/command_support.h"
#include "cli/commands.h"
#include "cli/connection_options.h"
#include "cli/table_printer.h"
#include "connection/ql_connection.h"

#include <memory>

namespace qldb::cli {

namespace {

// Applies the connection options; false after printing why they could not be read.
bool ApplyOptions(const QCommandLineParser& parser, qlConnection& connection, QTextStream& err) {
    if (const auto problem = ApplyConnectionOptions(parser, connection)) {
        err << "qldb: " << *problem << '\n';
        return false;
    }
    return true;
}

} // namespace

int RunConnstr(const QStringList& args, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription("Prints the connection string that the given settings compose.");
    if (const auto done = ParseCommandLine(parser, args, out, err))
        return *done;
    qlConnection connection;
    if (!ApplyOptions(parser, connection, err))
        return kExitFailure;
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
    if (const auto done = ParseCommandLine(parser, args, out, err))
        return *done;
    auto connection = std::make_unique<qlConnection>();
    if (!ApplyOptions(parser, *connection, err))
        return kExitFailure;
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
        err << "qldb: cannot open the connection: " << OneLine(e.description()) << '\n';
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
                    << OneLine(sErrDescription.isEmpty() ? errors->LastDescription() : sErrDescription)
                    << '\n';
                ++failures;
            } else if (recordset->State() == ado::adStateOpen) {
                cli::PrintTable(*recordset, out);
            } else {
                out << "OK\n";
            }
        } catch (const qlException& e) {
            err << "qldb: " << e.record().Source << ": " << OneLine(e.description()) << '\n';
            ++failures;
        }
        out.flush();
    }
    connection->Finalize();
    return failures == 0 ? kExitOk : kExitFailure;
}

} // namespace qldb::cli
