#include "live/mssql_live_fixture.h"

#include "platform/errors/error_record.h"

#include <QCoreApplication>
#include <QRandomGenerator>
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
    Pairs pairs;
    const qsizetype n = s.size();
    qsizetype i = 0;
    while (i < n) {
        const qsizetype eq = s.indexOf(QLatin1Char('='), i);
        const qsizetype semi = s.indexOf(QLatin1Char(';'), i);
        if (eq < 0 || (semi >= 0 && semi < eq)) {
            i = semi < 0 ? n : semi + 1;
            continue;
        }
        const QString key = s.mid(i, eq - i).trimmed();
        qsizetype j = eq + 1;
        while (j < n && s[j] == QLatin1Char(' '))
            ++j;
        QString value;
        if (j < n && s[j] == QLatin1Char('{')) {
            for (++j; j < n; ++j) {
                if (s[j] != QLatin1Char('}')) {
                    value += s[j];
                } else if (j + 1 < n && s[j + 1] == QLatin1Char('}')) {
                    value += s[j++];
                } else {
                    ++j;
                    break;
                }
            }
            const qsizetype next = s.indexOf(QLatin1Char(';'), j);
            i = next < 0 ? n : next + 1;
        } else {
            const qsizetype next = s.indexOf(QLatin1Char(';'), j);
            value = s.mid(j, (next < 0 ? n : next) - j).trimmed();
            i = next < 0 ? n : next + 1;
        }
        pairs.emplace_back(key, value);
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
        const auto fresh = fnReconnect();
        const bool dropped = RunBestEffort(*fresh, drop, &why);
        try {
            fresh->Finalize();
        } catch (const qlException&) {
            // Closing is no part of the clean-up's answer.
        }
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

std::optional<MsSqlServerSettings> MsSqlServerFromEnvironment() {
    const QString value = qEnvironmentVariable("QLDB_TEST_MSSQL").trimmed();
    if (value.isEmpty())
        return std::nullopt;
    return ParseMsSqlConnectionString(value);
}

QString UniqueDatabaseName() {
    static std::atomic<int> counter{0};
    return QStringLiteral("qldb_live_%1_%2_%3")
        .arg(QCoreApplication::applicationPid())
        .arg(QRandomGenerator::global()->bounded(100000))
        .arg(counter.fetch_add(1));
}

void MsSqlLiveTest::SetUp() {
    const std::optional<MsSqlServerSettings> server = MsSqlServerFromEnvironment();
    if (!server)
        GTEST_SKIP() << "QLDB_TEST_MSSQL is not set: this live SQL Server test was skipped. Name a server "
                        "with an ODBC connection string, such as "
                        "DRIVER={FreeTDS};SERVER=host;PORT=1433;UID=sa;PWD=...;TDS_Version=7.4";
    m_server = *server;
    ASSERT_FALSE(m_server.Server.isEmpty()) << "QLDB_TEST_MSSQL names no SERVER";
    UseDriverOf(m_server);
    m_master = connect(QStringLiteral("master"));
    m_master->setCommandTimeout(kAdministrationTimeout);
    // Named before it exists, so that TearDown drops whatever the CREATE left.
    m_database = UniqueDatabaseName();
    m_master->Execute(QStringLiteral("CREATE DATABASE [%1]").arg(m_database));
    m_cn = connect();
}

void MsSqlLiveTest::TearDown() {
    if (m_cn) {
        try {
            m_cn->Finalize();
        } catch (...) {
            // A connection that a test broke is released all the same.
        }
        m_cn.reset();
    }
    if (m_master && !m_database.isEmpty()) {
        const QString why = DropTestDatabase(*m_master, m_database, [this] {
            auto master = connect(QStringLiteral("master"));
            master->setCommandTimeout(kAdministrationTimeout);
            return master;
        });
        if (!why.isEmpty())
            ADD_FAILURE() << "the test database " << m_database.toStdString()
                          << " could not be dropped: " << why.toStdString();
    }
    if (m_master) {
        try {
            m_master->Finalize();
        } catch (...) {
        }
        m_master.reset();
    }
}

std::unique_ptr<qlConnection> MsSqlLiveTest::connect(const QString& sDatabase) const {
    auto connection = std::make_unique<qlConnection>();
    connection->setErrors(std::make_shared<ScriptedErrorService>(kDecisionLeave, kErrorModeRaise));
    connection->setHostServices(std::make_shared<ScriptedHostServices>());
    connection->setProviderType(ql_eProviderType::SQLServer);
    connection->setServer(m_server.Server);
    connection->setDatabaseName(sDatabase.isEmpty() ? m_database : sDatabase);
    connection->setUser(m_server.User);
    connection->setPassword(m_server.Password);
    connection->OpenConnection();
    return connection;
}

QVariant MsSqlLiveTest::scalar(const QString& sSql) {
    auto rs = m_cn->ExecuteWC(sSql);
    EXPECT_TRUE(rs && rs->State() == ado::adStateOpen) << sSql.toStdString();
    if (!rs || rs->State() != ado::adStateOpen || rs->IsEOF())
        return {};
    return rs->Value(0);
}

} // namespace qldb::test
