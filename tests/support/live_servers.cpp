#include "support/live_servers.h"

#include "platform/odbc/ado_types.h"

#include <QCoreApplication>
#include <QDir>
#include <QRandomGenerator>
#include <atomic>

namespace qldb::test {

QString UniqueTableName(const QString& sPrefix) {
    static std::atomic<int> counter{0};
    return QStringLiteral("qt_%1_%2_%3_%4")
        .arg(sPrefix.toLower().left(20))
        .arg(QCoreApplication::applicationPid())
        .arg(QRandomGenerator::global()->bounded(100000))
        .arg(counter.fetch_add(1));
}

void ScopedTable::drop() noexcept {
    try {
        if (m_connection.State() != ado::adStateClosed)
            m_connection.Execute(QStringLiteral("DROP TABLE IF EXISTS ") + m_name, ado::adExecuteNoRecords);
    } catch (...) {
        // A connection broken by a fault test leaves the table to the throwaway server.
    }
}

LiveSession::LiveSession(const QString& sConnectionString) {
    conn->setErrors(errors);
    conn->setHostServices(host);
    conn->setProviderType(ql_eProviderType::ODBC);
    conn->setProductName("Mirando ERP");
    conn->setConnectionString(sConnectionString);
    conn->OpenConnection();
}

QVariant LiveSession::scalar(const QString& sql) {
    auto rs = conn->ExecuteWC(sql);
    return !rs || rs->IsEOF() ? QVariant() : rs->Value(0);
}

void LiveServerTest::SetUp() {
    if (server() == LiveServer::SQLite) {
        m_sqliteFolder.emplace(QDir::tempPath() + QStringLiteral("/qldb-live-XXXXXX"));
        ASSERT_TRUE(m_sqliteFolder->isValid()) << "cannot create a temporary folder for the SQLite database";
        m_connectionString = "DRIVER=SQLite3;Database=" + m_sqliteFolder->filePath(QStringLiteral("test.db"));
        return;
    }
    const char* variable = server() == LiveServer::PostgreSQL ? "QLDB_TEST_PG" : "QLDB_TEST_MARIADB";
    m_connectionString = qEnvironmentVariable(variable).trimmed();
    if (!m_connectionString.isEmpty())
        return;
    const bool ci = qEnvironmentVariable("CI").trimmed().toLower() == QLatin1String("true");
    const std::string message = std::string(variable) +
                                " is not set: this live test needs that server. Start the test servers with "
                                "eval \"$(scripts/services.sh)\"";
    if (ci)
        FAIL() << message << " (CI=true: a missing server is a failure, not a skip)";
    GTEST_SKIP() << message;
}

std::shared_ptr<IDbConnection> LiveServerTest::connect() const {
    auto connection = CreateOdbcConnection();
    connection->setConnectionString(m_connectionString);
    connection->Open();
    return connection;
}

ql_eProviderType LiveServerTest::constructorProvider() const {
    return server() == LiveServer::SQLite ? ql_eProviderType::MsAccess : ql_eProviderType::MySql;
}

void LiveServerTest::addDboOwner(IDbConnection& db) const {
    const QStringList statements =
        server() == LiveServer::SQLite
            ? QStringList{"ATTACH DATABASE ':memory:' AS dbo"}
            : QStringList{"CREATE SCHEMA IF NOT EXISTS dbo", "SET search_path TO public, dbo"};
    for (const QString& sql : statements)
        db.Execute(sql, ado::adExecuteNoRecords);
}

void LiveDatabaseTest::SetUp() {
    LiveServerTest::SetUp();
    if (IsSkipped() || HasFatalFailure())
        return;
    session = std::make_unique<LiveSession>(connectionString());
    database.setConnection(session->conn.get());
    database.setErrors(session->errors);
    database.setOutputBox(log);
}

} // namespace qldb::test
