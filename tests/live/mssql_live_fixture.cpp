#include "live/mssql_live_fixture.h"

#include "platform/errors/error_record.h"

#include <QCoreApplication>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <atomic>
#include <utility>
#include <vector>

namespace qldb::test {
namespace {

// "KEY=value;KEY={braced;value}" the ODBC way, "}}" standing for a brace inside braces: the value of
// the first of the keys the string holds, keys compared without regard to case.
QString Value(const QString& s, std::initializer_list<const char*> keys) {
    static const QRegularExpression pair(
        QStringLiteral(R"(([^=;]+)=\s*(?:\{((?:[^}]|\}\})*)\}[^;]*|([^;]*)))"));
    std::vector<std::pair<QString, QString>> pairs;
    for (auto it = pair.globalMatch(s); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        pairs.emplace_back(m.captured(1).trimmed(),
                           m.hasCaptured(2) ? m.captured(2).replace(QStringLiteral("}}"), QStringLiteral("}"))
                                            : m.captured(3).trimmed());
    }
    for (const char* name : keys)
        for (const auto& [key, value] : pairs)
            if (key.compare(QLatin1String(name), Qt::CaseInsensitive) == 0)
                return value;
    return QString();
}

// Finalizes the connection, whatever state a test left it in, and drops it.
void Release(std::unique_ptr<qlConnection>& connection) {
    try {
        if (connection)
            connection->Finalize();
    } catch (...) {
    }
    connection.reset();
}

} // namespace

bool RunStatement(qlConnection& connection, const QString& sSql, QString* sWhy) {
    bool bError = false;
    try {
        connection.Execute(sSql, &bError, sWhy);
    } catch (const qlException& e) {
        *sWhy = e.description();
        return false;
    }
    return !bError;
}

QString DropTestDatabase(qlConnection& master, const QString& sDatabase,
                         const std::function<std::unique_ptr<qlConnection>()>& fnReconnect) {
    QString why;
    // Ends the sessions a test left open. Some servers refuse the switch (and it fails when the CREATE
    // did): the drop is tried anyway.
    RunStatement(master,
                 QStringLiteral("ALTER DATABASE [%1] SET SINGLE_USER WITH ROLLBACK IMMEDIATE").arg(sDatabase),
                 &why);
    const QString drop = QStringLiteral("IF DB_ID(N'%1') IS NOT NULL DROP DATABASE [%1]").arg(sDatabase);
    if (RunStatement(master, drop, &why))
        return QString();
    try { // the session on master may be the one that broke
        auto fresh = fnReconnect();
        const bool dropped = RunStatement(*fresh, drop, &why);
        Release(fresh);
        if (dropped)
            return QString();
    } catch (const qlException& e) {
        why = e.description();
    }
    return why.isEmpty() ? QStringLiteral("the drop failed") : why;
}

MsSqlServerSettings ParseMsSqlConnectionString(const QString& s) {
    QString host = Value(s, {"SERVER", "ADDRESS", "ADDR", "Data Source"});
    if (host.startsWith(QLatin1String("tcp:"), Qt::CaseInsensitive))
        host = host.mid(4);
    const QString port = Value(s, {"PORT"});
    return {port.isEmpty() || host.contains(QLatin1Char(',')) ? host : host + QLatin1Char(',') + port,
            Value(s, {"UID", "User ID", "User"}), Value(s, {"PWD", "Password"}), Value(s, {"DRIVER"}),
            Value(s, {"TDS_Version"})};
}

void MsSqlLiveTest::SetUp() {
    const QString value = qEnvironmentVariable("QLDB_TEST_MSSQL").trimmed();
    if (value.isEmpty())
        GTEST_SKIP() << "QLDB_TEST_MSSQL is not set: this live SQL Server test was skipped. Name a server "
                        "with an ODBC connection string, such as "
                        "DRIVER={FreeTDS};SERVER=host;PORT=1433;UID=sa;PWD=...;TDS_Version=7.4";
    m_server = ParseMsSqlConnectionString(value);
    ASSERT_FALSE(m_server.Server.isEmpty()) << "QLDB_TEST_MSSQL names no SERVER";
    // The provider map takes the SQL Server driver from the environment, unless the person running
    // the tests set it already.
    if (!m_server.Driver.isEmpty() && qEnvironmentVariableIsEmpty("QLDB_ODBC_DRIVER_SQLSERVER"))
        qputenv("QLDB_ODBC_DRIVER_SQLSERVER", m_server.Driver.toLocal8Bit());
    if (!m_server.TdsVersion.isEmpty() && qEnvironmentVariableIsEmpty("QLDB_TDS_VERSION_SQLSERVER"))
        qputenv("QLDB_TDS_VERSION_SQLSERVER", m_server.TdsVersion.toLocal8Bit());
    // A server that did not answer once is not waited for again in this run.
    static std::string unreachable;
    if (!unreachable.empty())
        FAIL() << unreachable << " (earlier in this run)";
    try {
        m_master = connectMaster();
        // Named before it exists, so that TearDown drops whatever the CREATE left; no other test or
        // parallel run uses the name.
        static std::atomic<int> counter{0};
        m_database = QStringLiteral("qldb_live_%1_%2_%3")
                         .arg(QCoreApplication::applicationPid())
                         .arg(QRandomGenerator::global()->bounded(100000))
                         .arg(counter.fetch_add(1));
        m_master->Execute(QStringLiteral("CREATE DATABASE [%1]").arg(m_database));
        m_cn = connect();
    } catch (const qlException& e) {
        const std::string why = "the SQL Server named by QLDB_TEST_MSSQL (" + m_server.Server.toStdString() +
                                ") gave no test database: " + e.what();
        if (!m_master)
            unreachable = why;
        FAIL() << why;
    }
    database.setConnection(m_cn.get());
    database.setErrors(errors);
    database.setOutputBox(log);
}

void MsSqlLiveTest::TearDown() {
    Release(m_cn);
    if (m_master && !m_database.isEmpty()) {
        const QString why = DropTestDatabase(*m_master, m_database, [this] { return connectMaster(); });
        if (!why.isEmpty())
            ADD_FAILURE() << "the test database " << m_database.toStdString()
                          << " could not be dropped: " << why.toStdString();
    }
    Release(m_master);
}

std::unique_ptr<qlConnection> MsSqlLiveTest::connect(const QString& sDatabase) const {
    auto connection = std::make_unique<qlConnection>();
    connection->setErrors(errors);
    connection->setHostServices(host);
    connection->setProviderType(ql_eProviderType::SQLServer);
    connection->setServer(m_server.Server);
    connection->setDatabaseName(sDatabase.isEmpty() ? m_database : sDatabase);
    connection->setUser(m_server.User);
    connection->setPassword(m_server.Password);
    connection->OpenConnection();
    return connection;
}

std::unique_ptr<qlConnection> MsSqlLiveTest::connectMaster() const {
    auto master = connect(QStringLiteral("master"));
    master->setCommandTimeout(300); // creating and dropping a database may take more than 30 seconds
    return master;
}

QVariant MsSqlLiveTest::scalar(const QString& sSql, qlConnection* on) {
    auto rs = (on ? *on : *m_cn).ExecuteWC(sSql);
    const bool open = rs && rs->State() == ado::adStateOpen;
    EXPECT_TRUE(open) << sSql.toStdString();
    return !open || rs->IsEOF() ? QVariant() : rs->Value(0);
}

std::string MsSqlLiveTest::reported() const {
    std::string out;
    for (const auto& report : errors->reports())
        out += report.Error.Description.toStdString() + '\n';
    return out;
}

QString MsSqlLiveTest::collation() {
    return scalar(QStringLiteral("SELECT CONVERT(nvarchar(128), DATABASEPROPERTYEX(DB_NAME(), 'Collation'))"))
        .toString();
}

} // namespace qldb::test
