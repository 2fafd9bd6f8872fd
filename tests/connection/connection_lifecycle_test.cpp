// Opening, closing and releasing a connection, class start, and showing forms through the host.
#include "connection_fixture.h"
#include "platform/tools/configuration.h"

#include <QDir>
#include <QFile>
#include <gmock/gmock.h>

namespace qldb::test {
namespace {

using namespace ::testing;

const QString kString = "Provider=SQLOLEDB.1;Data Source=srv;Initial Catalog=ERP;Persist Security "
                        "Info=True;User ID=sa;Password=pw;";

class Lifecycle : public ConnectionTest {
protected:
    void SetUp() override {
        ConnectionTest::SetUp();
        use(false);
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

// Execute and ExecuteWC run at the connection's timeout: handed down at open, and at once when changed.
TEST_F(Lifecycle, CommandTimeoutReachesTheConnection) {
    EXPECT_EQ(conn->CommandTimeout(), 30);
    db->setCommandTimeout(0);
    conn->OpenConnection();
    EXPECT_EQ(db->CommandTimeout(), 30);
    conn->setCommandTimeout(5);
    EXPECT_EQ(db->CommandTimeout(), 5);
}

TEST_F(Lifecycle, ReadUncommittedOnSqlServerOnly) {
    conn->setReadUncommitted(true);
    conn->OpenConnection();
    EXPECT_EQ(db->trace(),
              (QStringList{"SetConnectionString", "SetMode:3", "SetCursorLocation:3", "SetIsolationLevel:256",
                           "Open", "Execute:SET TRANSACTION ISOLATION LEVEL READ UNCOMMITTED"}));
    EXPECT_EQ(db->calls().back().Options, ado::adExecuteNoRecords);

    use(false);
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

struct MockForm : IForm {
    MOCK_METHOD(void, Show, (int32_t modal, std::optional<IForm*> owner), (override));
};

struct MockFormsHandler : IFormsHandler {
    MOCK_METHOD(QVariant, NewModal, (IForm * fToShow, IForm* fOwner, bool AsRoot), (override));
    MOCK_METHOD(QVariant, NewModeless, (IForm * fToShow, IForm* fOwner, bool AsRoot), (override));
};

TEST_F(ConnectionTest, ShowFormRows) {
    MockForm form, owner;
    // Without a FormsHandler the owner reaches Show only when it is empty; a set owner is dropped.
    EXPECT_CALL(form, Show(1, Eq(std::nullopt))).Times(2);
    conn->ShowForm(&form, nullptr, 1);
    conn->ShowForm(&form, &owner, 1);
    EXPECT_CALL(form, Show(0, Eq(std::optional<IForm*>(nullptr))));
    conn->ShowForm(&form, nullptr, 0);
    EXPECT_CALL(form, Show(0, Eq(std::nullopt)));
    conn->ShowForm(&form, &owner, 3);

    auto handler = std::make_shared<MockFormsHandler>();
    conn->setFormsHandler(handler);
    // No owner: modeless whatever the show type; the result stays empty.
    EXPECT_CALL(*handler, NewModeless(&form, nullptr, true)).WillOnce(Return(QVariant(5)));
    EXPECT_FALSE(conn->ShowForm(&form, nullptr, 1, true).isValid());
    EXPECT_CALL(*handler, NewModeless(&form, &owner, false));
    conn->ShowForm(&form, &owner, 0);
    EXPECT_CALL(*handler, NewModal(&form, &owner, false));
    conn->ShowForm(&form, &owner, 2);

    // A failure goes to the error report, whose decision is obeyed.
    EXPECT_CALL(*handler, NewModeless(_, _, _))
        .WillOnce(Throw(qlException(kErrGeneral, "Host", "no window")))
        .WillOnce(Return(QVariant()));
    errors->queueDecision(kDecisionRepeat);
    conn->ShowForm(&form, nullptr, 0);
    ASSERT_EQ(errors->reports().size(), 1u);
    const ReportedError& r = errors->reports()[0];
    EXPECT_EQ(r.Class + "." + r.Routine + ": " + r.Error.Description, "qlConnection.ShowForm: no window");
}

TEST_F(ConnectionTest, FinalizeClosesAndReleasesEvenWhenTheCloseFails) {
    db->failClose(ProviderError(kErrGeneral, "link down"));
    conn->Finalize();
    EXPECT_EQ(db->trace(), QStringList{"Close"});
    EXPECT_EQ(conn->ADODBConnection(), nullptr);
    EXPECT_EQ(conn->Errors(), nullptr);
    EXPECT_TRUE(errors->reports().empty());
    EXPECT_TRUE(Raised([&] { conn->State(); }).startsWith("91 ")); // unusable afterwards, no crash
    // A closed connection is not closed again.
    use(false);
    conn->Finalize();
    EXPECT_TRUE(db->calls().empty());
}

// Class start: the product setting first, then Mirando.ini's global key when it is a number.
TEST_F(ConnectionTest, ClassStartReadsReadUncommitted) {
    const auto writeIni = [](const QByteArray& text) {
        QDir().mkpath(ProductFolder("Config"));
        QFile f(ProductFolder("Config") + "/Mirando.ini");
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(text);
    };
    const auto readUncommitted = [] { return qlConnection().ReadUncommitted(); };
    EXPECT_FALSE(readUncommitted()); // neither folder nor file: the default "0", no error
    WriteSetting("ReadUncommitted", "1");
    EXPECT_TRUE(readUncommitted());
    writeIni("[DATABASE]\r\nGlobalReadUncommitted=0\r\n");
    EXPECT_FALSE(readUncommitted());
    writeIni("[DATABASE]\r\nGlobalReadUncommitted=yes\r\n");
    EXPECT_TRUE(readUncommitted());
    writeIni("[OTHER]\r\nGlobalReadUncommitted=0\r\n");
    EXPECT_TRUE(readUncommitted());
    WriteSetting("ReadUncommitted", "0");
    writeIni("[database]\r\nglobalreaduncommitted=2\r\n");
    EXPECT_TRUE(readUncommitted());
    EXPECT_EQ(qlConnection().State(), 0); // the connection is made, unopened
}

} // namespace
} // namespace qldb::test
