#pragma once
// Where the live tests find their servers.
//
// SQLite needs no server: every test gets a fresh database file in a temporary folder. PostgreSQL
// and MariaDB come from the environment, as ODBC connection strings that scripts/services.sh
// prints:
//
//     eval "$(scripts/services.sh)"      # sets QLDB_TEST_PG and QLDB_TEST_MARIADB
//
// A test whose server variable is unset is skipped with a message that names the variable; with
// CI=true it fails instead, so that a misconfigured CI run cannot pass by skipping everything.
//
// Typical use, one test body per server kind:
//
//     class MyLiveTest : public qldb::test::LiveServerTest {};
//     TEST_P(MyLiveTest, Something) {
//         auto db = connect();                      // an open IDbConnection
//         qldb::test::ScopedTable t(*db, "orders"); // unique name, dropped before and after
//         db->Execute("CREATE TABLE " + t.name() + " (ID INT)", qldb::ado::adExecuteNoRecords);
//     }
//     QLDB_INSTANTIATE_LIVE_TEST(MyLiveTest);
#include "platform/db_connection.h"

#include <QString>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>

namespace qldb::test {

enum class LiveServer { SQLite, PostgreSQL, MariaDB };

// "SQLite", "PostgreSQL", "MariaDB": used in test names and messages.
const char* LiveServerName(LiveServer server);
// The environment variable that names the server, or nullptr for SQLite.
const char* LiveServerVariable(LiveServer server);

// "DRIVER=SQLite3;Database=<file>".
QString SqliteConnectionString(const QString& sFile);

// A fresh SQLite database in a temporary folder of its own, removed with the object.
class SqliteTempDatabase {
public:
    SqliteTempDatabase();
    bool isValid() const { return m_dir.isValid(); }
    // The database file (not yet created: the driver creates it on first open).
    QString filePath() const;
    QString folder() const { return m_dir.path(); }
    QString connectionString() const { return SqliteConnectionString(filePath()); }

private:
    QTemporaryDir m_dir;
};

// What the environment says about one server.
struct LiveServerLookup {
    std::optional<QString> ConnectionString; // set when the server is configured
    bool MustFail = false;                   // unset under CI=true
    std::string Message;                     // why there is no connection string
};
LiveServerLookup LookupLiveServer(const char* sVariable);

// A table name that no other test (or other run at the same time) uses: lower case, so that
// PostgreSQL's folding of unquoted names leaves it alone, and short enough for every server.
QString UniqueTableName(const QString& sPrefix = QStringLiteral("t"));

// A uniquely named table dropped when the object is made (in case an earlier run left it behind)
// and when it goes away. The test creates it.
class ScopedTable {
public:
    ScopedTable(IDbConnection& connection, const QString& sPrefix = QStringLiteral("t"));
    ~ScopedTable();
    ScopedTable(const ScopedTable&) = delete;
    ScopedTable& operator=(const ScopedTable&) = delete;
    const QString& name() const { return m_name; }

private:
    void drop() noexcept;
    IDbConnection& m_connection;
    QString m_name;
};

// Base fixture of tests that run once per server kind. SetUp resolves the connection string,
// skipping (or failing under CI=true) when the server is not configured.
class LiveServerTest : public ::testing::TestWithParam<LiveServer> {
protected:
    void SetUp() override;
    LiveServer server() const { return GetParam(); }
    // The connection string of the server under test (the SQLite one is a fresh file per test).
    const QString& connectionString() const { return m_connectionString; }
    // A new connection on connectionString(), opened; throws qlException (which fails the test with
    // the driver's message) when it cannot open.
    std::shared_ptr<IDbConnection> connect() const;

private:
    std::unique_ptr<SqliteTempDatabase> m_sqlite;
    QString m_connectionString;
};

// Name of a parameter of LiveServerTest in test names: "SQLite", "PostgreSQL", "MariaDB".
std::string LiveServerParamName(const ::testing::TestParamInfo<LiveServer>& info);

} // namespace qldb::test

// Runs a LiveServerTest subclass against all three servers.
#define QLDB_INSTANTIATE_LIVE_TEST(Fixture)                                                                  \
    INSTANTIATE_TEST_SUITE_P(Servers, Fixture,                                                               \
                             ::testing::Values(::qldb::test::LiveServer::SQLite,                             \
                                               ::qldb::test::LiveServer::PostgreSQL,                         \
                                               ::qldb::test::LiveServer::MariaDB),                           \
                             ::qldb::test::LiveServerParamName)

// In a test body: stores the server's connection string in `var`, or skips (fails under CI=true)
// when the environment variable is unset.
#define QLDB_REQUIRE_LIVE_SERVER(var, envName)                                                               \
    do {                                                                                                     \
        const auto qldb_lookup_ = ::qldb::test::LookupLiveServer(envName);                                   \
        if (!qldb_lookup_.ConnectionString) {                                                                \
            if (qldb_lookup_.MustFail)                                                                       \
                FAIL() << qldb_lookup_.Message;                                                              \
            GTEST_SKIP() << qldb_lookup_.Message;                                                            \
        }                                                                                                    \
        var = *qldb_lookup_.ConnectionString;                                                                \
    } while (false)
