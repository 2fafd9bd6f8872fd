#pragma once
// The live SQL Server tests' server and fixture. SQL Server cannot run on this platform, so these
// tests run only when QLDB_TEST_MSSQL names one, as an ODBC connection string such as
//     DRIVER={FreeTDS};SERVER=host;PORT=1433;UID=sa;PWD=secret;TDS_Version=7.4
// and skip with a message otherwise (CI included). Every test gets a database of its own, created
// in SetUp and dropped in TearDown, and a qlConnection opened on it the way a host opens one: by
// its Server, DatabaseName, User and Password, provider SQLServer. A server that cannot be reached
// fails SetUp with the driver's reason.
//
//     class MyLive : public MsSqlLiveTest {};
//     TEST_F(MyLive, Something) { cn().Execute("CREATE TABLE T (A INT)"); ... }
#include "connection/ql_connection.h"
#include "structure/ql_database.h"
#include "support/recording_host_objects.h"
#include "support/scripted_error_service.h"
#include "support/scripted_host_services.h"

#include <QString>
#include <QVariant>
#include <functional>
#include <gtest/gtest.h>
#include <memory>

namespace qldb::test {

// What a host would set on its connection, read from the connection string.
struct MsSqlServerSettings {
    QString Server; // "host,port", or "host" (or "host\instance") when the string names no port
    QString User;
    QString Password;
    // The ODBC driver and TDS version the string names, empty when it names none.
    QString Driver;
    QString TdsVersion;
};

// The settings of an ODBC connection string: SERVER (or ADDRESS, ADDR, "Data Source"; a "tcp:"
// prefix is dropped) and PORT, UID (or "User ID"), PWD (or Password), DRIVER, TDS_Version. Values
// may be braced ("PWD={a;b}"). Keys are read without regard to case.
MsSqlServerSettings ParseMsSqlConnectionString(const QString& sConnectionString);

// A database name no other test or parallel run uses: qldb_live_<pid>_<random>_<counter>.
QString UniqueDatabaseName();

// Finalizes the connection, whatever state a test left it in, and drops it.
void Release(std::unique_ptr<qlConnection>& connection);

// Drops a test's database from a session on master, best effort and complete: ends the database's
// other sessions where the server allows it, drops it whatever that gave, and when the drop fails
// tries it once more on a session from fnReconnect. Empty when the database is gone, else why not.
QString DropTestDatabase(qlConnection& master, const QString& sDatabase,
                         const std::function<std::unique_ptr<qlConnection>()>& fnReconnect);

class MsSqlLiveTest : public ::testing::Test {
protected:
    // Skips when no server is named; else creates the test's database and opens cn() on it.
    void SetUp() override;
    // Best effort and complete: closes the test's connections, ends other sessions on the database
    // where the server allows it, and drops the database whatever went before. A database that
    // cannot be dropped fails the test, with its name.
    void TearDown() override;

    // A new qlConnection on sDatabase (default: the test's database), opened, raising its errors
    // to `errors`, its boxes to `host` (answered Cancel).
    std::unique_ptr<qlConnection> connect(const QString& sDatabase = QString()) const;
    // The first column of the first row (on cn() unless told), Empty without a row.
    QVariant scalar(const QString& sSql, qlConnection* on = nullptr);
    // The collation of the test's database.
    QString collation();

    qlConnection& cn() { return *m_cn; }
    const QString& databaseName() const { return m_database; }
    const MsSqlServerSettings& server() const { return m_server; }

    // Shared by every connection the fixture opens and by `database`.
    std::shared_ptr<ScriptedErrorService> errors =
        std::make_shared<ScriptedErrorService>(kDecisionLeave, kErrorModeRaise);
    std::shared_ptr<ScriptedHostServices> host = std::make_shared<ScriptedHostServices>();
    // The structure engine on cn(), logging to `log`.
    qlDatabase database;
    std::shared_ptr<RecordingRichTextLog> log = std::make_shared<RecordingRichTextLog>();

private:
    // A session on master for creating and dropping databases, which may take a while.
    std::unique_ptr<qlConnection> connectMaster() const;

    MsSqlServerSettings m_server;
    QString m_database;
    std::unique_ptr<qlConnection> m_master;
    std::unique_ptr<qlConnection> m_cn;
};

} // namespace qldb::test
