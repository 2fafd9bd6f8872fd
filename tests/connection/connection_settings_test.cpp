#include "connection_fixture.h"

namespace qldb::test {
namespace {

using Settings = ConnectionTest;

// A fresh object with the four place-holders filled, so that each row shows where they go.
std::unique_ptr<qlConnection> Made(ql_eProviderType type, bool integrated,
                                   ql_eNativeClients client = ql_eNativeClients::SQLNativeClientOff) {
    auto c = std::make_unique<qlConnection>();
    c->setProviderType(type);
    c->setSqlNativeClient(client);
    c->setNetworkCredential(integrated);
    c->setServer(QStringLiteral("S1"));
    c->setDatabaseName(QStringLiteral("D1"));
    c->setUser(QStringLiteral("U1"));
    c->setPassword(QStringLiteral("P1"));
    return c;
}

TEST_F(Settings, SqlServerRowsForEveryNativeClient) {
    struct Row {
        ql_eNativeClients client;
        QString provider;
    };
    const Row rows[] = {{ql_eNativeClients::SQLNativeClientOff, QStringLiteral("SQLOLEDB.1")},
                        {ql_eNativeClients::SQLNativeClient2005, QStringLiteral("SQLNCLI.1")},
                        {ql_eNativeClients::SQLNativeClient2008, QStringLiteral("SQLNCLI10.1")},
                        {ql_eNativeClients::SQLNativeClient2012, QStringLiteral("SQLNCLI11")},
                        {static_cast<ql_eNativeClients>(9), QStringLiteral("SQLOLEDB.1")}};
    for (const Row& r : rows) {
        auto c = Made(ql_eProviderType::SQLServer, true, r.client);
        EXPECT_EQ(
            c->MakeConnectionString(),
            "Provider=" + r.provider +
                ";Data Source=S1;Initial Catalog=D1;Integrated Security=SSPI;Persist Security Info=True;");
        EXPECT_EQ(c->ProviderName(), r.provider);
        // The second call takes the generic row with the remembered provider: the same text.
        EXPECT_EQ(
            c->MakeConnectionString(),
            "Provider=" + r.provider +
                ";Data Source=S1;Initial Catalog=D1;Integrated Security=SSPI;Persist Security Info=True;");

        c = Made(ql_eProviderType::SQLServer, false, r.client);
        EXPECT_EQ(
            c->MakeConnectionString(),
            "Provider=" + r.provider +
                ";Data Source=S1;Initial Catalog=D1;Persist Security Info=True;User ID=U1;Password=P1;");
        EXPECT_EQ(c->ProviderName(), r.provider);
    }
}

TEST_F(Settings, MsOleDbSqlAndItsSecondCall) {
    auto c = Made(ql_eProviderType::SQLServer, true, ql_eNativeClients::MSOLEDBSQL);
    EXPECT_EQ(c->MakeConnectionString(), "Provider=MSOLEDBSQL;Server=S1;Database=D1;Integrated Security=SSPI;"
                                         "DataTypeCompatibility=80;MARS Connection=True;");
    EXPECT_EQ(c->ProviderName(), "MSOLEDBSQL");

    auto d = std::make_unique<qlConnection>();
    d->setSqlNativeClient(ql_eNativeClients::MSOLEDBSQL);
    d->setServer(QStringLiteral("A"));
    d->setDatabaseName(QStringLiteral("B"));
    d->setUser(QStringLiteral("C"));
    d->setPassword(QStringLiteral("D"));
    EXPECT_EQ(d->MakeConnectionString(), "Provider=MSOLEDBSQL;Server=A;Database=B;User ID=C;Password=D;"
                                         "DataTypeCompatibility=80;MARS Connection=True;");
    // Not stored: only OpenConnection fills ConnectionString.
    EXPECT_EQ(d->ConnectionString(), "");
    EXPECT_EQ(d->MakeConnectionString(), "Provider=MSOLEDBSQL;Data Source=A;Initial Catalog=B;Persist "
                                         "Security Info=True;User ID=C;Password=D;");
}

TEST_F(Settings, OtherProviderRows) {
    auto c = Made(ql_eProviderType::SyBase, true);
    EXPECT_EQ(c->MakeConnectionString(), "Provider=ASAProv.90;Data Source=S1;Initial Catalog=D1;Integrated "
                                         "Security=SSPI;Persist Security Info=True;");
    EXPECT_EQ(c->ProviderName(), "ASAProv.90");
    c = Made(ql_eProviderType::SyBase, false);
    EXPECT_EQ(c->MakeConnectionString(),
              "Provider=ASAProv.90;Data Source=S1;Initial Catalog=D1;Persist Security "
              "Info=True;User ID=U1;Password=P1;");

    c = Made(ql_eProviderType::MySql, true);
    EXPECT_EQ(c->MakeConnectionString(), "DRIVER={MySQL ODBC 5.2w Driver};SERVER=S1;DATABASE=D1;OPTION=3;");
    EXPECT_EQ(c->ProviderName(), "MySQL");
    c = Made(ql_eProviderType::MySql, false);
    EXPECT_EQ(c->MakeConnectionString(),
              "DRIVER={MySQL ODBC 5.2w Driver};SERVER=S1;DATABASE=D1;USER=U1;PASSWORD=P1;OPTION=3;");
    // The second call goes the generic way with "MySQL" as the provider.
    EXPECT_EQ(c->MakeConnectionString(), "Provider=MySQL;Data Source=S1;Initial Catalog=D1;Persist Security "
                                         "Info=True;User ID=U1;Password=P1;");

    c = Made(ql_eProviderType::FoxPro, true);
    EXPECT_EQ(c->MakeConnectionString(), "Provider=MSDASQL.1;Persist Security Info=True;Data Source=D1");
    EXPECT_EQ(c->ProviderName(), "FoxPro");
    c = Made(ql_eProviderType::FoxPro, false);
    EXPECT_EQ(c->MakeConnectionString(),
              "Provider=MSDASQL.1;Persist Security Info=True;Data Source=D1;uid=U1;pwd=P1");

    // Access, Oracle and ODBC don't look at NetworkCredential.
    for (const bool integrated : {true, false}) {
        c = Made(ql_eProviderType::MsAccess, integrated);
        EXPECT_EQ(c->MakeConnectionString(),
                  "Provider=Microsoft.Jet.OLEDB.4.0; Data Source=D1;User Id=U1;Password=P1;");
        EXPECT_EQ(c->ProviderName(), "Microsoft.Jet.OLEDB.4.0");
        c = Made(ql_eProviderType::Oracle, integrated);
        EXPECT_EQ(c->MakeConnectionString(), "Data Source=D1; Integrated Security=yes");
        EXPECT_EQ(c->ProviderName(), "");
        c = Made(ql_eProviderType::ODBC, integrated);
        EXPECT_EQ(c->MakeConnectionString(), "DSN=S1;UserID=U1;Password=P1;Database=D1");
        EXPECT_EQ(c->ProviderName(), "ODBC");
    }

    c = Made(static_cast<ql_eProviderType>(7), false);
    EXPECT_EQ(c->MakeConnectionString(), "");
    EXPECT_EQ(c->ProviderName(), "");
}

TEST_F(Settings, OdbcPiecesOnlyWhereSet) {
    qlConnection empty;
    empty.setProviderType(ql_eProviderType::ODBC);
    EXPECT_EQ(empty.MakeConnectionString(), "");
    qlConnection c;
    c.setProviderType(ql_eProviderType::ODBC);
    c.setUser(QStringLiteral("sa"));
    EXPECT_EQ(c.MakeConnectionString(), "UserID=sa");
    c.setDatabaseName(QStringLiteral("ERP"));
    EXPECT_EQ(c.MakeConnectionString(), "Provider=ODBC;Data Source=;Initial Catalog=ERP;Persist Security "
                                        "Info=True;User ID=sa;Password=;");
    qlConnection d;
    d.setProviderType(ql_eProviderType::ODBC);
    d.setServer(QStringLiteral("dsn1"));
    d.setDatabaseName(QStringLiteral("ERP"));
    EXPECT_EQ(d.MakeConnectionString(), "DSN=dsn1;Database=ERP");
}

TEST_F(Settings, ForcedStringAndGivenProviderNameWin) {
    auto c = Made(ql_eProviderType::MySql, false);
    c->setForcedConnectionString(QStringLiteral("DSN=forced"));
    EXPECT_EQ(c->MakeConnectionString(), "DSN=forced");
    EXPECT_EQ(c->ProviderName(), "");

    c = Made(ql_eProviderType::Oracle, true);
    c->setProviderName(QStringLiteral("SQLNCLI11"));
    EXPECT_EQ(c->MakeConnectionString(), "Provider=SQLNCLI11;Data Source=S1;Initial Catalog=D1;Integrated "
                                         "Security=SSPI;Persist Security Info=True;");
    EXPECT_EQ(c->ProviderName(), "SQLNCLI11");

    // Values go in as they are: a ";" in a password is not escaped.
    c = Made(ql_eProviderType::SQLServer, false);
    c->setPassword(QStringLiteral("a;b"));
    EXPECT_EQ(c->MakeConnectionString(),
              "Provider=SQLOLEDB.1;Data Source=S1;Initial Catalog=D1;Persist Security Info=True;User ID=U1;"
              "Password=a;b;");
}

TEST_F(Settings, AccessorQuirks) {
    EXPECT_EQ(conn->BulkCopyVersion(), 80);
    conn->setBulkCopyVersion(-3);
    EXPECT_EQ(conn->BulkCopyVersion(), 80);
    EXPECT_EQ(conn->BulkCopyVersion(), 80);
    conn->setBulkCopyVersion(70);
    EXPECT_EQ(conn->BulkCopyVersion(), 70);

    EXPECT_EQ(conn->FieldDelimiterStart(), "[");
    EXPECT_EQ(conn->FieldDelimiterEnd(), "]");
    // A set end delimiter reads back as the stored start delimiter, here never set.
    conn->setFieldDelimiterEnd(QStringLiteral("`"));
    EXPECT_EQ(conn->FieldDelimiterEnd(), "");
    conn->setFieldDelimiterStart(QStringLiteral("\""));
    EXPECT_EQ(conn->FieldDelimiterStart(), "\"");
    EXPECT_EQ(conn->FieldDelimiterEnd(), "\"");
}

TEST_F(Settings, CollationIsReadOnceAndKept) {
    // No database named: no query.
    EXPECT_EQ(conn->CollectionName(), "");
    EXPECT_TRUE(db->calls().empty());

    conn->setDatabaseName(QStringLiteral("ERP"));
    const QString query =
        QStringLiteral("SELECT DATABASEPROPERTYEX('ERP', 'Collation') AS MIRANDO_COLLATION");
    db->fail(query, kErrSyntax, QStringLiteral("Incorrect syntax"), true);
    db->respond(query,
                ScriptedConnection::Table({"MIRANDO_COLLATION"}, {{QStringLiteral("Latin1_General_CI_AS")}}));
    // A failing query is tolerated and leaves the cache empty, so the next read asks again.
    EXPECT_EQ(conn->CollectionName(), "");
    EXPECT_EQ(conn->CollectionName(), "Latin1_General_CI_AS");
    conn->setDatabaseName(QStringLiteral("OTHER"));
    EXPECT_EQ(conn->CollectionName(), "Latin1_General_CI_AS");
    EXPECT_EQ(db->statements(), (QStringList{query, query}));
    const Call first = db->callsOf(CallKind::OpenRecordset).front();
    EXPECT_EQ(first.CursorType, ado::adOpenStatic);
    EXPECT_EQ(first.LockType, ado::adLockReadOnly);
}

} // namespace
} // namespace qldb::test
