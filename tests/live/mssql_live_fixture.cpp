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

// Creating and dropping a database may take longer than a statement's usual 30 seconds.
constexpr int32_t kAdministrationTimeout = 300;

using Pairs = std::vector<std::pair<QString, QString>>;

// "KEY=value;KEY={braced;value}": the ODBC form, "}}" standing for a brace inside braces.
Pairs ParsePairs(const QString& s) {
    static const QRegularExpression pair(
        QStringLiteral(R"(([^=;]+)=\s*(?:\{((?:[^}]|\}\})*)\}[^;]*|([^;]*)))"));
    Pairs pairs;
    for (auto it = pair.globalMatch(s); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        pairs.emplace_back(m.captured(1).trimmed(),
                           m.hasCaptured(2) ? m.captured(2).replace(QStringLiteral("}}"), QStringLiteral("}"))
                                            : m.captured(3).trimmed());
    }
    return pairs;
}

QString Value(const Pairs& pairs, std::initializer_list<const char*> keys) {
    for (const char* name : keys)
        for (const auto& [key, value] : pairs)
            if (key.compare(QLatin1String(name), Qt::CaseInsensitive) == 0)
                return value;
    return QString();
}

// The connection string names the driver to reach its server with; the provider map takes the
// SQL Server driver from the environment, unless the person running the tests set it already.
void UseDriverOf(const MsSqlServerSettings& server) {
    if (!server.Driver.isEmpty() && qEnvironmentVariableIsEmpty("QLDB_ODBC_DRIVER_SQLSERVER"))
        qputenv("QLDB_ODBC_DRIVER_SQLSERVER", server.Driver.toLocal8Bit());
    if (!server.TdsVersion.isEmpty() && qEnvironmentVariableIsEmpty("QLDB_TDS_VERSION_SQLSERVER"))
        qputenv("QLDB_TDS_VERSION_SQLSERVER", server.TdsVersion.toLocal8Bit());
}

// Runs a statement; false, with the reason, when it failed in any way.
bool RunBestEffort(qlConnection& connection, const QString& sSql, QString* sWhy) {
    bool bError = false;
    try {
        connection.Execute(sSql, &bError, sWhy);
    } catch (const qlException& e) {
        *sWhy = e.description();
        return false;
    }
    return !bError;
}

} // namespace

void Release(std::unique_ptr<qlConnection>& connection) {
    try {
        if (connection)
            connection->Finalize();
    } catch (...) {
        // A connection that a test broke is released all the same.
    }
    connection.reset();
}

QString DropTestDatabase(qlConnection& master, const QString& sDatabase,
                         const std::function<std::unique_ptr<qlConnection>()>& fnReconnect) {
    QString why;
    // Ends the sessions a test left open. Some servers refuse the switch (and it fails when the
    // CREATE did): the drop is tried anyway.
    RunBestEffort(
        master, QStringLiteral("ALTER DATABASE [%1] SET SINGLE_USER WITH ROLLBACK IMMEDIATE").arg(sDatabase),
        &why);
    const QString drop = QStringLiteral("IF DB_ID(N'%1') IS NOT NULL DROP DATABASE [%1]").arg(sDatabase);
    if (RunBestEffort(master, drop, &why))
        return QString();
    // The session on master may be the one that broke.
    try {
        auto fresh = fnReconnect();
        const bool dropped = RunBestEffort(*fresh, drop, &why);
        Release(fresh); // closing is no part of the clean-up's answer
        if (dropped)
            return QString();
    } catch (const qlException& e) {
        why = e.description();
    }
    return why.isEmpty() ? QStringLiteral("the drop failed") : why;
}

MsSqlServerSettings ParseMsSqlConnectionString(const QString& sConnectionString) {
    const Pairs pairs = ParsePairs(sConnectionString);
    MsSqlServerSettings settings;
    QString host = Value(pairs, {"SERVER", "ADDRESS", "ADDR", "Data Source"});
    if (host.startsWith(QLatin1String("tcp:"), Qt::CaseInsensitive))
        host = host.mid(4);
    const QString port = Value(pairs, {"PORT"});
    settings.Server =
        port.isEmpty() || host.contains(QLatin1Char(',')) ? host : host + QLatin1Char(',') + port;
    settings.User = Value(pairs, {"UID", "User ID", "User"});
    settings.Password = Value(pairs, {"PWD", "Password"});
    settings.Driver = Value(pairs, {"DRIVER"});
    settings.TdsVersion = Value(pairs, {"TDS_Version"});
    return settings;
}

QString UniqueDatabaseName() {
    static std::atomic<int> counter{0};
    return QStringLiteral("qldb_live_%1_%2_%3")
        .arg(QCoreApplication::applicationPid())
        .arg(QRandomGenerator::global()->bounded(100000))
        .arg(counter.fetch_add(1));
}

void MsSqlLiveTest::SetUp() {
    const QString value = qEnvironmentVariable("QLDB_TEST_MSSQL").trimmed();
    if (value.isEmpty())
        GTEST_SKIP() << "QLDB_TEST_MSSQL is not set: this live SQL Server test was skipped. Name a server "
                        "with an ODBC connection string, such as "
                        "DRIVER={FreeTDS};SERVER=host;PORT=1433;UID=sa;PWD=...;TDS_Version=7.4";
    m_server = ParseMsSqlConnectionString(value);
    ASSERT_FALSE(m_server.Server.isEmpty()) << "QLDB_TEST_MSSQL names no SERVER";
    UseDriverOf(m_server);
    // A server that did not answer once is not waited for again in this run.
    static std::string unreachable;
    if (!unreachable.empty())
        FAIL() << unreachable << " (earlier in this run)";
    try {
        m_master = connectMaster();
        // Named before it exists, so that TearDown drops whatever the CREATE left.
        m_database = UniqueDatabaseName();
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
    master->setCommandTimeout(kAdministrationTimeout);
    return master;
}

QVariant MsSqlLiveTest::scalar(const QString& sSql, qlConnection* on) {
    auto rs = (on ? *on : *m_cn).ExecuteWC(sSql);
    EXPECT_TRUE(rs && rs->State() == ado::adStateOpen) << sSql.toStdString();
    if (!rs || rs->State() != ado::adStateOpen || rs->IsEOF())
        return {};
    return rs->Value(0);
}

QString MsSqlLiveTest::collation() {
    return scalar(QStringLiteral("SELECT CONVERT(nvarchar(128), DATABASEPROPERTYEX(DB_NAME(), 'Collation'))"))
        .toString();
}

} // namespace qldb::test
