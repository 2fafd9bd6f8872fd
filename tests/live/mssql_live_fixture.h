#pragma once
// The live SQL Server tests' fixture. SQL Server cannot run on this platform, so these tests run only
// when QLDB_TEST_MSSQL names one, as an ODBC connection string such as
//     DRIVER={FreeTDS};SERVER=host;PORT=1433;UID=sa;PWD=secret;TDS_Version=7.4
// and skip with a message otherwise (CI included). Every test gets a database of its own, created in
// SetUp and dropped in TearDown, and cn(), a qlConnection opened on it as a host opens one: by Server,
// DatabaseName, User and Password, provider SQLServer. An unreachable server fails SetUp with the reason.
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

// What a host would set on its connection, and the driver and TDS version, read from the string:
// SERVER (or ADDRESS, ADDR, "Data Source"; "tcp:" dropped) and PORT giving "host,port", UID (or
// "User ID", User), PWD (or Password), DRIVER, TDS_Version. Keys in any case, values may be braced.
struct MsSqlServerSettings {
    QString Server, User, Password, Driver, TdsVersion;
};
MsSqlServerSettings ParseMsSqlConnectionString(const QString& sConnectionString);

// Runs a statement; false, with the reason, when it failed in any way.
bool RunStatement(qlConnection& connection, const QString& sSql, QString* sWhy);

// Drops a test's database from a session on master, best effort and complete: ends its other sessions
// where the server allows it, drops it whatever that gave, and when the drop fails tries once more on
// a session from fnReconnect. Empty when the database is gone, else why not.
QString DropTestDatabase(qlConnection& master, const QString& sDatabase,
                         const std::function<std::unique_ptr<qlConnection>()>& fnReconnect);

class MsSqlLiveTest : public ::testing::Test {
protected:
    void SetUp() override;
    // Closes the test's connections and drops its database whatever went before; a database that
    // cannot be dropped fails the test, with its name.
    void TearDown() override;

    // A new qlConnection on sDatabase (default: the test's), opened, raising to `errors`, its boxes
    // to `host` (answered Cancel).
    std::unique_ptr<qlConnection> connect(const QString& sDatabase = QString()) const;
    // The first column of the first row (on cn() unless told), Empty without a row.
    QVariant scalar(const QString& sSql, qlConnection* on = nullptr);
    QString collation(); // of the test's database
    // The descriptions of the errors reported to `errors`, one a line; empty when none was.
    std::string reported() const;

    qlConnection& cn() { return *m_cn; }
    const QString& databaseName() const { return m_database; }
    const MsSqlServerSettings& server() const { return m_server; }

    std::shared_ptr<ScriptedErrorService> errors =
        std::make_shared<ScriptedErrorService>(kDecisionLeave, kErrorModeRaise);
    std::shared_ptr<ScriptedHostServices> host = std::make_shared<ScriptedHostServices>();
    qlDatabase database; // on cn(), logging to `log`
    std::shared_ptr<RecordingRichTextLog> log = std::make_shared<RecordingRichTextLog>();

private:
    std::unique_ptr<qlConnection> connectMaster() const; // with a long timeout for CREATE/DROP

    MsSqlServerSettings m_server;
    QString m_database;
    std::unique_ptr<qlConnection> m_master, m_cn;
};

} // namespace qldb::test
