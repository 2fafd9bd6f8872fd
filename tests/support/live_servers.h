#pragma once
// The live tests' servers: SQLite on a fresh temporary file; PostgreSQL and MariaDB from QLDB_TEST_PG
// and QLDB_TEST_MARIADB. An unset variable skips the test, or fails it under CI=true.
#include "connection/ql_connection.h"
#include "platform/errors/error_record.h"
#include "platform/odbc/db_connection.h"
#include "structure/ql_database.h"
#include "support/recording_host_objects.h"
#include "support/scripted_error_service.h"
#include "support/scripted_host_services.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

// Readable texts in failure messages.
inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

namespace qldb::test {

enum class LiveServer { SQLite, PostgreSQL, MariaDB };

// A name no other test or parallel run uses, lower case so PostgreSQL's folding leaves it alone.
QString UniqueTableName(const QString& sPrefix = QStringLiteral("t"));

// A uniquely named table for the test to create, dropped when made (left by a crashed run) and when it goes.
class ScopedTable {
public:
    ScopedTable(IDbConnection& connection, const QString& sPrefix = QStringLiteral("t"))
        : m_connection(connection), m_name(UniqueTableName(sPrefix)) {
        drop();
    }
    ~ScopedTable() { drop(); }
    const QString& name() const { return m_name; }

private:
    void drop() noexcept;
    IDbConnection& m_connection;
    QString m_name;
};

// The error the call raises; a test failure when it raises none.
template <class F> ErrorRecord ErrorOf(F&& f) {
    try {
        f();
    } catch (const qlException& e) {
        return e.record();
    }
    ADD_FAILURE() << "no error was raised";
    return {};
}
// "number description" of the error the call raises.
template <class F> QString Raised(F&& f) {
    const ErrorRecord e = ErrorOf(std::forward<F>(f));
    return QString::number(e.Number) + " " + e.Description;
}

// A qlConnection opened as plain ODBC, raising its errors, with a scripted user interface.
struct LiveSession {
    explicit LiveSession(const QString& sConnectionString);
    ~LiveSession() { conn->Finalize(); }
    QVariant scalar(const QString& sql); // invalid without a row
    std::shared_ptr<ScriptedErrorService> errors =
        std::make_shared<ScriptedErrorService>(kDecisionLeave, kErrorModeRaise);
    std::shared_ptr<ScriptedHostServices> host = std::make_shared<ScriptedHostServices>();
    std::unique_ptr<qlConnection> conn = std::make_unique<qlConnection>();
};

// Base of the tests that run once per server; SetUp skips (or fails) an unconfigured server.
class LiveServerTest : public ::testing::TestWithParam<LiveServer> {
protected:
    void SetUp() override;
    LiveServer server() const { return GetParam(); }
    const QString& connectionString() const { return m_connectionString; }
    // A new connection on connectionString(), opened.
    std::shared_ptr<IDbConnection> connect() const;
    // The provider whose words the query constructor writes for this server: the file database's
    // for SQLite, MySQL's for PostgreSQL.
    ql_eProviderType constructorProvider() const;
    // Gives the connection the owner "dbo." that CreateTable writes: an attached database on
    // SQLite (unqualified names are looked up there after main), a schema on PostgreSQL's path.
    void addDboOwner(IDbConnection& db) const;

private:
    std::optional<QTemporaryDir> m_sqliteFolder;
    QString m_connectionString;
};

// A LiveServerTest with a session open and the structure engine on it, logging to `log`.
class LiveDatabaseTest : public LiveServerTest {
protected:
    void SetUp() override;

    std::unique_ptr<LiveSession> session;
    qlDatabase database;
    std::shared_ptr<RecordingRichTextLog> log = std::make_shared<RecordingRichTextLog>();
};

} // namespace qldb::test

// Runs a LiveServerTest subclass against the servers listed (LiveServer values).
#define QLDB_INSTANTIATE_LIVE_TEST(Fixture, ...)                                                             \
    INSTANTIATE_TEST_SUITE_P(Servers, Fixture, ::testing::Values(__VA_ARGS__), [](const auto& info) {        \
        return std::string(info.param == LiveServer::SQLite       ? "SQLite"                                 \
                           : info.param == LiveServer::PostgreSQL ? "PostgreSQL"                             \
                                                                  : "MariaDB");                              \
    })
