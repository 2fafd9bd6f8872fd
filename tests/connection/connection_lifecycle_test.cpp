#include "connection_fixture.h"

namespace qldb::test {
namespace {

class Lifecycle : public ConnectionTest {
protected:
    void SetUp() override {
        ConnectionTest::SetUp();
        db->setOpen(false);
        conn->setServer(QStringLiteral("srv"));
        conn->setDatabaseName(QStringLiteral("ERP"));
        conn->setUser(QStringLiteral("sa"));
        conn->setPassword(QStringLiteral("pw"));
    }
};

const QString kFirstString =
    QStringLiteral("Provider=SQLOLEDB.1;Data Source=srv;Initial Catalog=ERP;Persist Security Info=True;"
                   "User ID=sa;Password=pw;");

TEST_F(Lifecycle, OpenComposesSetsAndOpens) {
    conn->OpenConnection();
    EXPECT_EQ(conn->ConnectionString(), kFirstString);
    EXPECT_EQ(db->trace(), (QStringList{"SetConnectionString", "SetMode:3", "SetCursorLocation:3", "Open"}));
    EXPECT_EQ(db->calls()[0].Text, kFirstString);
    EXPECT_EQ(conn->State(), 1);

    // A second open on an open connection gets the data access error back.
    try {
        conn->OpenConnection();
        FAIL() << "second open";
    } catch (const qlException& e) {
        EXPECT_EQ(e.number(), kErrObjectOpen);
    }

    // The string stays after a close, so a changed server has no effect until it is emptied.
    conn->CloseConnection();
    conn->setServer(QStringLiteral("other"));
    db->clearCalls();
    conn->OpenConnection();
    EXPECT_EQ(db->calls()[0].Text, kFirstString);
    conn->CloseConnection();
    conn->setConnectionString(QString());
    db->clearCalls();
    conn->OpenConnection();
    // ProviderName was filled by the first composition, so this one takes the generic row.
    EXPECT_EQ(db->calls()[0].Text,
              "Provider=SQLOLEDB.1;Data Source=other;Initial Catalog=ERP;Persist Security "
              "Info=True;User ID=sa;Password=pw;");
}

TEST_F(Lifecycle, ReadUncommittedOnSqlServerOnly) {
    conn->setReadUncommitted(true);
    conn->OpenConnection();
    EXPECT_EQ(db->trace(),
              (QStringList{"SetConnectionString", "SetMode:3", "SetCursorLocation:3", "SetIsolationLevel:256",
                           "Open", "Execute:SET TRANSACTION ISOLATION LEVEL READ UNCOMMITTED"}));
    EXPECT_EQ(db->calls().back().Options, ado::adExecuteNoRecords);

    auto other = std::make_shared<ScriptedConnection>();
    conn->setADODBConnection(other);
    conn->setProviderType(ql_eProviderType::MySql);
    conn->setConnectionString(QString());
    conn->OpenConnection();
    EXPECT_EQ(other->trace(),
              (QStringList{"SetConnectionString", "SetMode:3", "SetCursorLocation:3", "Open"}));
}

TEST_F(Lifecycle, ErrorsPassThroughUnchanged) {
    db->failOpen(kErrGeneral, QStringLiteral("Login failed for user 'sa'."), 1);
    try {
        conn->OpenConnection();
        FAIL() << "open should fail";
    } catch (const qlException& e) {
        EXPECT_EQ(e.number(), kErrGeneral);
        EXPECT_EQ(e.description(), "Login failed for user 'sa'.");
    }
    // A failed open keeps the string; nothing was reported or shown.
    EXPECT_EQ(conn->ConnectionString(), kFirstString);
    EXPECT_TRUE(errors->reports().empty());
    EXPECT_TRUE(host->messages().empty());

    // Closing a closed connection gets the data access error back.
    EXPECT_THROW(conn->CloseConnection(), qlException);
    db->failCancel(ProviderError(kErrGeneral, QStringLiteral("cannot cancel")));
    try {
        conn->Cancel();
        FAIL() << "cancel should fail";
    } catch (const qlException& e) {
        EXPECT_EQ(e.description(), "cannot cancel");
    }
    db->failCancel(std::nullopt);
    conn->Cancel();
    EXPECT_EQ(db->count(CallKind::Cancel), 2);
}

} // namespace
} // namespace qldb::test
