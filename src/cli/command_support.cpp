#include "cli/command_support.h"

#include "cli/connection_options.h"

#include <QFileInfo>

namespace qldb::cli {

QString OneLine(const QString& sMessage) {
    return sMessage.simplified();
}

int32_t ConsoleErrorService::decide(const ReportedError& report) {
    m_err << "qldb: " << report.Class << '.' << report.Routine << ": " << OneLine(report.Error.Description)
          << '\n';
    m_err.flush();
    return HeadlessErrorService::decide(report);
}

std::optional<int> ParseCommandLine(QCommandLineParser& parser, const QStringList& args, QTextStream& out,
                                    QTextStream& err) {
    parser.addHelpOption();
    AddConnectionOptions(parser);
    if (!parser.parse(args)) {
        err << "qldb: " << parser.errorText() << " (see '" << args.value(0) << " --help')\n";
        return kExitFailure;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        out << parser.helpText();
        return kExitOk;
    }
    return std::nullopt;
}

Session::Session(QTextStream& err)
    : m_err(err), m_connection(std::make_unique<qlConnection>()),
      m_errors(std::make_shared<ConsoleErrorService>(err)) {
    m_connection->setErrors(m_errors);
    m_connection->setHostServices(std::make_shared<ConsoleHostServices>());
    m_connection->setProductName(QStringLiteral("qldb"));
}

Session::~Session() {
    if (m_opened)
        m_connection->Finalize();
}

bool Session::Open(const QCommandLineParser& parser) {
    if (const auto problem = ApplyConnectionOptions(parser, *m_connection)) {
        m_err << "qldb: " << *problem << '\n';
        return false;
    }
    if (NamesNoConnection(parser)) {
        m_demo = true;
        m_connection->setProviderType(ql_eProviderType::MsAccess);
        m_connection->setDatabaseName(DemoDatabasePath());
    }
    try {
        m_connection->OpenConnection();
    } catch (const qlException& e) {
        m_err << "qldb: cannot open the connection: " << OneLine(e.description()) << '\n';
        return false;
    }
    if (m_connection->State() == 0) {
        m_err << "qldb: cannot open the connection" << '\n';
        return false;
    }
    m_opened = true;
    return true;
}

void Session::Attach(qlDatabase& database) {
    database.setConnection(m_connection.get());
    database.setErrors(m_errors);
}

bool RequireFile(const QCommandLineParser& parser, const QString& sOption, QString& sPath, QTextStream& err) {
    sPath = parser.value(sOption);
    if (sPath.isEmpty()) {
        err << "qldb: --" << sOption << " is required\n";
        return false;
    }
    const QFileInfo info(sPath);
    if (!info.isFile() || !info.isReadable()) {
        err << "qldb: cannot read " << sPath << '\n';
        return false;
    }
    return true;
}

} // namespace qldb::cli
