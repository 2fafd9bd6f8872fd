#include "support/live_servers.h"

#include "platform/ado_types.h"

#include <QCoreApplication>
#include <QDir>
#include <QRandomGenerator>
#include <atomic>
#include <cstdlib>

namespace qldb::test {

const char* LiveServerName(LiveServer server) {
    switch (server) {
    case LiveServer::SQLite:
        return "SQLite";
    case LiveServer::PostgreSQL:
        return "PostgreSQL";
    case LiveServer::MariaDB:
        return "MariaDB";
    }
    return "?";
}

const char* LiveServerVariable(LiveServer server) {
    switch (server) {
    case LiveServer::SQLite:
        return nullptr;
    case LiveServer::PostgreSQL:
        return "QLDB_TEST_PG";
    case LiveServer::MariaDB:
        return "QLDB_TEST_MARIADB";
    }
    return nullptr;
}

QString SqliteConnectionString(const QString& sFile) {
    return QStringLiteral("DRIVER=SQLite3;Database=") + sFile;
}

SqliteTempDatabase::SqliteTempDatabase() : m_dir(QDir::tempPath() + QStringLiteral("/qldb-live-XXXXXX")) {}

QString SqliteTempDatabase::filePath() const {
    return m_dir.filePath(QStringLiteral("test.db"));
}

LiveServerLookup LookupLiveServer(const char* sVariable) {
    LiveServerLookup result;
    const QByteArray value = qgetenv(sVariable);
    if (!value.trimmed().isEmpty()) {
        result.ConnectionString = QString::fromUtf8(value);
        return result;
    }
    result.MustFail = qgetenv("CI").trimmed().toLower() == "true";
    result.Message = std::string(sVariable) +
                     " is not set: this live test needs that server. Start the test servers with "
                     "eval \"$(scripts/services.sh)\"" +
                     (result.MustFail ? " (CI=true: a missing server is a failure, not a skip)" : "");
    return result;
}

QString UniqueTableName(const QString& sPrefix) {
    static std::atomic<int> counter{0};
    // Process id and a random part keep parallel runs of the same test apart; the counter keeps
    // the tables of one process apart.
    const QString name = QStringLiteral("qt_%1_%2_%3_%4")
                             .arg(sPrefix.toLower().left(20))
                             .arg(QCoreApplication::applicationPid())
                             .arg(QRandomGenerator::global()->bounded(100000))
                             .arg(counter.fetch_add(1));
    return name;
}

ScopedTable::ScopedTable(IDbConnection& connection, const QString& sPrefix)
    : m_connection(connection), m_name(UniqueTableName(sPrefix)) {
    drop();
}

ScopedTable::~ScopedTable() {
    drop();
}

void ScopedTable::drop() noexcept {
    try {
        if (m_connection.State() != ado::adStateClosed)
            m_connection.Execute(QStringLiteral("DROP TABLE IF EXISTS ") + m_name, ado::adExecuteNoRecords);
    } catch (...) {
        // A table that cannot be dropped (a broken connection at the end of a fault test) is left
        // to the throwaway server; its name is never used again.
    }
}

void LiveServerTest::SetUp() {
    if (server() == LiveServer::SQLite) {
        m_sqlite = std::make_unique<SqliteTempDatabase>();
        ASSERT_TRUE(m_sqlite->isValid()) << "cannot create a temporary folder for the SQLite database";
        m_connectionString = m_sqlite->connectionString();
        return;
    }
    QLDB_REQUIRE_LIVE_SERVER(m_connectionString, LiveServerVariable(server()));
}

std::shared_ptr<IDbConnection> LiveServerTest::connect() const {
    auto connection = CreateOdbcConnection();
    connection->setConnectionString(m_connectionString);
    connection->Open();
    return connection;
}

std::string LiveServerParamName(const ::testing::TestParamInfo<LiveServer>& info) {
    return LiveServerName(info.param);
}

} // namespace qldb::test
