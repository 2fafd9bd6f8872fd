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
        db->setCommandTimeout(0); // so that the open must hand the connection's down
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
    // Execute and ExecuteWC run at the connection's timeout: handed down at open, and at once when changed.
    EXPECT_EQ(db->CommandTimeout(), 30);
    conn->setCommandTimeout(5);
    EXPECT_EQ(db->CommandTimeout(), 5);
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
    WriteSetting("ReadUncommitted", "0");
    writeIni("[DATABASE]\r\nGlobalReadUncommitted=2\r\n");
    EXPECT_TRUE(readUncommitted());
    EXPECT_EQ(qlConnection().State(), 0); // the connection is made, unopened
}

// Connection strings and the settings behind them.
using Settings = ConnectionTest;
using P = ql_eProviderType;
using N = ql_eNativeClients;

// A fresh object with the four place-holders filled, so that each row shows where they go.
std::unique_ptr<qlConnection> Made(P type, bool integrated, N client = N::SQLNativeClientOff) {
    auto c = std::make_unique<qlConnection>();
    c->setProviderType(type);
    c->setSqlNativeClient(client);
    c->setNetworkCredential(integrated);
    c->setServer("S1");
    c->setDatabaseName("D1");
    c->setUser("U1");
    c->setPassword("P1");
    return c;
}

// The generic row, taken whenever ProviderName is filled.
QString Generic(const QString& provider, bool integrated) {
    return "Provider=" + provider + ";Data Source=S1;Initial Catalog=D1;" +
           (integrated ? "Integrated Security=SSPI;Persist Security Info=True;"
                       : "Persist Security Info=True;User ID=U1;Password=P1;");
}

// The string is not stored, but the remembered provider sends a second call down the generic row:
// for SQL Server the same text, except for MSOLEDBSQL, which loses its own keys.
void Check(P type, N client, bool integrated, const QString& first, const QString& name) {
    SCOPED_TRACE(first.toStdString());
    auto c = Made(type, integrated, client);
    EXPECT_EQ(c->MakeConnectionString(), first);
    EXPECT_EQ(c->ProviderName(), name);
    EXPECT_EQ(c->ConnectionString(), "");
    EXPECT_EQ(c->MakeConnectionString(), name.isEmpty() ? first : Generic(name, integrated));
}

TEST_F(Settings, ConnectionStringTable) {
    // clang-format off
    const std::pair<N, QString> clients[] = {{N::SQLNativeClientOff, "SQLOLEDB.1"}, {N::SQLNativeClient2005, "SQLNCLI.1"},
        {N::SQLNativeClient2008, "SQLNCLI10.1"}, {N::SQLNativeClient2012, "SQLNCLI11"}, {static_cast<N>(9), "SQLOLEDB.1"}};
    // clang-format on
    for (const bool integrated : {true, false}) {
        for (const auto& [client, name] : clients)
            Check(P::SQLServer, client, integrated, Generic(name, integrated), name);
        Check(P::SyBase, {}, integrated, Generic("ASAProv.90", integrated), "ASAProv.90");
        // Access, Oracle and ODBC don't look at NetworkCredential.
        Check(P::MsAccess, {}, integrated,
              "Provider=Microsoft.Jet.OLEDB.4.0; Data Source=D1;User Id=U1;Password=P1;",
              "Microsoft.Jet.OLEDB.4.0");
        Check(P::Oracle, {}, integrated, "Data Source=D1; Integrated Security=yes", "");
        Check(P::ODBC, {}, integrated, "DSN=S1;UserID=U1;Password=P1;Database=D1", "ODBC");
        Check(static_cast<P>(7), {}, integrated, "", "");
        // The others leave the credentials out when the network's are used.
        const QString credentials = integrated ? "Integrated Security=SSPI;" : "User ID=U1;Password=P1;";
        Check(P::SQLServer, N::MSOLEDBSQL, integrated,
              "Provider=MSOLEDBSQL;Server=S1;Database=D1;" + credentials +
                  "DataTypeCompatibility=80;MARS Connection=True;",
              "MSOLEDBSQL");
        Check(P::MySql, {}, integrated,
              QString("DRIVER={MySQL ODBC 5.2w Driver};SERVER=S1;DATABASE=D1;%1OPTION=3;")
                  .arg(integrated ? "" : "USER=U1;PASSWORD=P1;"),
              "MySQL");
        Check(P::FoxPro, {}, integrated,
              QString("Provider=MSDASQL.1;Persist Security Info=True;Data Source=D1%1")
                  .arg(integrated ? "" : ";uid=U1;pwd=P1"),
              "FoxPro");
    }
}

TEST_F(Settings, OverridesAndPiecesOnlyWhereSet) {
    auto c = Made(P::ODBC, false);
    c->setServer("");
    c->setPassword("");
    c->setDatabaseName("");
    EXPECT_EQ(c->MakeConnectionString(), "UserID=U1"); // no ";" before the first piece
    c = Made(P::MySql, false);
    c->setForcedConnectionString("DSN=forced");
    EXPECT_EQ(c->MakeConnectionString() + "|" + c->ProviderName(), "DSN=forced|");
    c = Made(P::Oracle, true);
    c->setProviderName("SQLNCLI11");
    EXPECT_EQ(c->MakeConnectionString(), Generic("SQLNCLI11", true));
}

TEST_F(Settings, AccessorQuirks) {
    EXPECT_EQ(conn->BulkCopyVersion(), 80);
    conn->setBulkCopyVersion(-3);
    EXPECT_EQ(conn->BulkCopyVersion() + conn->BulkCopyVersion(), 160);
    conn->setBulkCopyVersion(70);
    EXPECT_EQ(conn->BulkCopyVersion(), 70);
    EXPECT_EQ(conn->FieldDelimiterStart() + conn->FieldDelimiterEnd(), "[]");
    // A set end delimiter reads back as the stored start delimiter, here never set.
    conn->setFieldDelimiterEnd("`");
    EXPECT_EQ(conn->FieldDelimiterEnd(), "");
    conn->setFieldDelimiterStart("\"");
    EXPECT_EQ(conn->FieldDelimiterStart() + conn->FieldDelimiterEnd(), "\"\"");
}

TEST_F(Settings, CollationIsReadOnceAndKept) {
    EXPECT_EQ(conn->CollectionName(), ""); // no database named: no query
    conn->setDatabaseName("ERP");
    const QString query = "SELECT DATABASEPROPERTYEX('ERP', 'Collation') AS MIRANDO_COLLATION";
    db->fail(query, kErrSyntax, "Incorrect syntax", true);
    db->respond(query, ScriptedConnection::Table({"MIRANDO_COLLATION"}, {{"Latin1_General_CI_AS"}}));
    // A failing query is tolerated and leaves the cache empty, so the next read asks again.
    EXPECT_EQ(conn->CollectionName(), "");
    EXPECT_EQ(conn->CollectionName(), "Latin1_General_CI_AS");
    conn->setDatabaseName("OTHER");
    EXPECT_EQ(conn->CollectionName(), "Latin1_General_CI_AS");
    EXPECT_EQ(db->trace(), (QStringList{"OpenRecordset:" + query, "OpenRecordset:" + query}));
}

} // namespace
} // namespace qldb::test
