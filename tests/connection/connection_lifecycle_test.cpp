#include "connection_fixture.h"

namespace qldb::test {
namespace {

const QString kString = "Provider=SQLOLEDB.1;Data Source=srv;Initial Catalog=ERP;Persist Security "
                        "Info=True;User ID=sa;Password=pw;";

class Lifecycle : public ConnectionTest {
protected:
    void SetUp() override {
        ConnectionTest::SetUp();
        db->setOpen(false);
        conn->setServer("srv");
        conn->setDatabaseName("ERP");
        conn->setUser("sa");
        conn->setPassword("pw");
    }
};

TEST_F(Lifecycle, OpenComposesSetsAndOpensAndKeepsTheString) {
    conn->OpenConnection();
    EXPECT_EQ(db->trace(), (QStringList{"SetConnectionString", "SetMode:3", "SetCursorLocation:3", "Open"}));
    EXPECT_EQ(db->calls()[0].Text, kString);
    EXPECT_EQ(conn->State(), 1);
    EXPECT_TRUE(Raised([&] { conn->OpenConnection(); }).startsWith("3705 ")); // ADO's error on a second open
    // The string stays after a close, so a changed server has no effect until it is emptied.
    conn->CloseConnection();
    conn->setServer("other");
    conn->OpenConnection();
    EXPECT_EQ(db->callsOf(CallKind::Open).back().Text, kString);
    conn->CloseConnection();
    conn->setConnectionString(QString());
    conn->OpenConnection();
    EXPECT_EQ(db->callsOf(CallKind::Open).back().Text, QString(kString).replace("srv", "other"));
}

TEST_F(Lifecycle, ReadUncommittedOnSqlServerOnly) {
    conn->setReadUncommitted(true);
    conn->OpenConnection();
    EXPECT_EQ(db->trace(),
              (QStringList{"SetConnectionString", "SetMode:3", "SetCursorLocation:3", "SetIsolationLevel:256",
                           "Open", "Execute:SET TRANSACTION ISOLATION LEVEL READ UNCOMMITTED"}));
    EXPECT_EQ(db->calls().back().Options, ado::adExecuteNoRecords);

    db = std::make_shared<ScriptedConnection>();
    conn->setADODBConnection(db);
    conn->setProviderType(ql_eProviderType::MySql);
    conn->setConnectionString(QString());
    conn->OpenConnection();
    EXPECT_EQ(db->trace(), (QStringList{"SetConnectionString", "SetMode:3", "SetCursorLocation:3", "Open"}));
}

TEST_F(Lifecycle, ErrorsPassThroughUnchanged) {
    db->failOpen(kErrGeneral, "Login failed for user 'sa'.");
    EXPECT_EQ(Raised([&] { conn->OpenConnection(); }), kProviderGeneral + "Login failed for user 'sa'.");
    EXPECT_EQ(conn->ConnectionString(), kString); // kept after a failed open
    EXPECT_TRUE(errors->reports().empty() && host->messages().empty());
    EXPECT_TRUE(Raised([&] { conn->CloseConnection(); }).startsWith("3704 ")); // closing a closed connection
    db->failCancel(ProviderError(kErrGeneral, "cannot cancel"));
    EXPECT_EQ(Raised([&] { conn->Cancel(); }), kProviderGeneral + "cannot cancel");
}

} // namespace
} // namespace qldb::test
