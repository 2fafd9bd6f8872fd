#include "connection_fixture.h"

namespace qldb::test {
namespace {

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
    }
    Check(P::SQLServer, N::MSOLEDBSQL, true,
          "Provider=MSOLEDBSQL;Server=S1;Database=D1;Integrated Security=SSPI;DataTypeCompatibility=80;"
          "MARS Connection=True;",
          "MSOLEDBSQL");
    Check(P::SQLServer, N::MSOLEDBSQL, false,
          "Provider=MSOLEDBSQL;Server=S1;Database=D1;User ID=U1;Password=P1;DataTypeCompatibility=80;"
          "MARS Connection=True;",
          "MSOLEDBSQL");
    Check(P::MySql, {}, true, "DRIVER={MySQL ODBC 5.2w Driver};SERVER=S1;DATABASE=D1;OPTION=3;", "MySQL");
    Check(P::MySql, {}, false,
          "DRIVER={MySQL ODBC 5.2w Driver};SERVER=S1;DATABASE=D1;USER=U1;PASSWORD=P1;OPTION=3;", "MySQL");
    Check(P::FoxPro, {}, true, "Provider=MSDASQL.1;Persist Security Info=True;Data Source=D1", "FoxPro");
    Check(P::FoxPro, {}, false, "Provider=MSDASQL.1;Persist Security Info=True;Data Source=D1;uid=U1;pwd=P1",
          "FoxPro");
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
    // Locked and CanLog are the host's flags: nothing is refused and nothing extra is logged.
    conn->setLocked(true);
    conn->setCanLog(true);
    conn->Execute("UPDATE T SET A = 1");
    EXPECT_EQ(db->trace(), QStringList{"Execute:UPDATE T SET A = 1"});
    EXPECT_TRUE(host->events().isEmpty() && errors->reports().empty());
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
