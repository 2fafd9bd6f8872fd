// GetTables and GetMirandoDb through a scripted login, and GetSqlServers against a browser
// responder of the test's own on loopback: nothing is ever sent to another address.
#include "loopback_servers.h"
#include "mssql_fixture.h"
#include "server/server_browser.h"

namespace qldb::test {
namespace {

const QString kDatabases = "SELECT name FROM sys.databases WHERE HAS_DBACCESS(name) = 1 ORDER BY name";
QString Tables(const QString& db) {
    return "SELECT name FROM [" + db + "].sys.objects WHERE type IN ('U', 'S') ORDER BY name";
}

TEST_F(MsSqlSystemTest, TablesAndManagedDatabasesThroughAScriptedLogin) {
    // Every login is a connection of its own, programmed alike.
    std::function<void(ScriptedConnection&)> program = [](ScriptedConnection& c) {
        c.respond(kDatabases, ScriptedConnection::Table({"name"}, {{"master"}, {"Sales"}, {"Web]Shop"}}));
        c.respond(Tables("master"), ScriptedConnection::Table({"name"}, {{"spt_values"}}));
        c.respond(Tables("Sales"),
                  ScriptedConnection::Table({"name"}, {{"A01_CLI"}, {"SYS_DBS"}, {"sysrowsets"}}));
        c.respond(Tables("Web]]Shop"), ScriptedConnection::Table({"name"}, {{"sys_dbs"}}));
    };
    std::shared_ptr<ScriptedConnection> login;
    sys->setConnectionFactory([&] {
        login = std::make_shared<ScriptedConnection>();
        program(*login);
        return login;
    });
    EXPECT_EQ(sys->GetTables("SRV01", "sa", "pw", "SALES"),
              (QStringList{"A01_CLI", "SYS_DBS", "sysrowsets"}));
    EXPECT_TRUE(login->ConnectionString().contains("Initial Catalog=master"));
    EXPECT_EQ(sys->GetTables("SRV01", "sa", "pw", "Nothing"), QStringList{});
    // The managed databases are those with SYS_DBS.
    bool missing = false;
    EXPECT_EQ(sys->GetMirandoDb("SRV01", "sa", "pw", &missing), QStringList{"Sales"});
    EXPECT_FALSE(missing);
    EXPECT_EQ(login->trace().last(), "Close");
    // An unreachable server: told through the flag, without a report.
    program = [](ScriptedConnection& c) {
        c.failOpen(kErrGeneral, "[FreeTDS][SQL Server]Unable to connect");
    };
    EXPECT_EQ(sys->GetMirandoDb("nohost", "sa", "pw", &missing), QStringList{});
    EXPECT_TRUE(missing);
    EXPECT_TRUE(errors->reports().empty());
    // Once connected, failures are reported again.
    program = [](ScriptedConnection& c) {
        c.fail(kDatabases, kErrSyntax, "VIEW SERVER STATE permission denied");
    };
    EXPECT_EQ(sys->GetMirandoDb("SRV01", "sa", "pw"), QStringList{});
    EXPECT_EQ(ReportedRoutines(), QStringList{"qlMsSqlSystem.GetMirandoDb"});
}

QByteArray Answer(const QByteArray& text) {
    QByteArray datagram(1, 0x05);
    datagram.append(static_cast<char>(text.size() & 0xff));
    datagram.append(static_cast<char>(text.size() >> 8));
    return datagram + text;
}

TEST_F(MsSqlSystemTest, BrowserInstancesOfTheAnswersWithinTheTimeout) {
    WriteSetting("SqlBrowserTimeout", "300");
    BrowserResponder responder(
        {Answer("ServerName;DB1;InstanceName;MSSQLSERVER;IsClustered;No;Version;15.0.2000.5;tcp;1433;;"
                "ServerName;DB1;InstanceName;SQLEXPRESS;IsClustered;No;Version;16.0.1000.6;tcp;49172;;"),
         // Malformed: a wrong length, a wrong kind, and a record without an instance.
         Answer("ServerName;BAD;InstanceName;X;;").left(10), QByteArray("\x04\x05\x00hello", 8),
         Answer("ServerName;DB2;Version;15.0;;"),
         // The same instance again counts once.
         Answer("ServerName;DB1;InstanceName;SQLEXPRESS;;")});
    WriteSetting("SqlBrowserHosts", QStringLiteral("127.0.0.1:%1").arg(responder.port()));
    EXPECT_EQ(sys->GetSqlServers(), (QStringList{"DB1", "DB1\\SQLEXPRESS"}));
    EXPECT_EQ(responder.requests(), 1);
    // Nobody answering within the timeout: an empty list.
    BrowserResponder silent({});
    WriteSetting("SqlBrowserHosts", QStringLiteral("127.0.0.1:%1").arg(silent.port()));
    EXPECT_EQ(sys->GetSqlServers(), QStringList{});
    EXPECT_EQ(silent.requests(), 1);
    EXPECT_TRUE(errors->reports().empty());
    EXPECT_EQ(ParseSqlBrowserTargets("127.0.0.1:1500, dbhost;bad:0 other:70000").size(), 2u);
    EXPECT_EQ(ParseSqlBrowserTargets("dbhost").at(0).Port, 1434);
}

} // namespace
} // namespace qldb::test
