// SQL Server behaviour against a real server: transactions the SQL way, GO-separated scripts run
// through sp_executesql, stored procedures with parameters, the read-uncommitted prefix, computed
// defaults and the catalog reads. The suite runs when QLDB_TEST_MSSQL names a server (see
// mssql_live_fixture.h) and says that it skipped otherwise.
#include "live/mssql_live_fixture.h"
#include "platform/tools/conversions.h"
#include "sql/ql_query_constructor.h"
#include "support/scripted_connection.h"

#include <gtest/gtest.h>

namespace qldb::test {
namespace {

// The one part of the suite that runs without a server: what a host would set, read from the
// string that names the server.
TEST(MsSqlLiveFixture, ReadFromTheConnectionString) {
    for (const auto& [string, settings] : std::initializer_list<std::pair<const char*, const char*>>{
             {"DRIVER={FreeTDS};SERVER=db.example;PORT=1433;UID=sa;PWD={se;cr}}et};TDS_Version=7.4",
              "db.example,1433|sa|se;cr}et|FreeTDS|7.4"},
             {"Server=tcp:10.0.0.5,14330;uid=app;pwd=x", "10.0.0.5,14330|app|x||"}}) {
        const MsSqlServerSettings s = ParseMsSqlConnectionString(string);
        EXPECT_EQ(QStringList({s.Server, s.User, s.Password, s.Driver, s.TdsVersion}).join('|'), settings);
    }
}

// A server that refuses the single-user switch, and a session that breaks, still lose the database.
TEST(MsSqlLiveFixture, CleanUpDropsTheDatabaseWhateverFails) {
    const auto session = [](std::shared_ptr<ScriptedConnection> db) {
        auto cn = std::make_unique<qlConnection>();
        cn->setErrors(std::make_shared<ScriptedErrorService>(kDecisionLeave, kErrorModeRaise));
        cn->setHostServices(std::make_shared<ScriptedHostServices>());
        cn->setADODBConnection(db);
        db->setOpen(true);
        return cn;
    };
    const QString alter = "ALTER DATABASE [qldb_live_1] SET SINGLE_USER WITH ROLLBACK IMMEDIATE";
    const QString drop = "IF DB_ID(N'qldb_live_1') IS NOT NULL DROP DATABASE [qldb_live_1]";
    auto master = std::make_shared<ScriptedConnection>(), fresh = std::make_shared<ScriptedConnection>();
    master->fail(alter, kErrSyntax, "ALTER DATABASE statement not supported in this version of SQL Server.");
    master->fail(drop, kErrGeneral, "Communication link failure");
    auto cn = session(master);
    EXPECT_EQ(DropTestDatabase(*cn, "qldb_live_1", [&] { return session(fresh); }), "");
    EXPECT_EQ(master->statements(), QStringList({alter, drop}));
    EXPECT_EQ(fresh->statements(), QStringList({drop}));

    // A drop that fails everywhere is told, with the server's reason.
    fresh->fail(drop, kErrGeneral, "Cannot drop database because it is currently in use.");
    EXPECT_EQ(DropTestDatabase(*cn, "qldb_live_1", [&] { return session(fresh); }),
              "Cannot drop database because it is currently in use.");
}

using MsSqlLive = MsSqlLiveTest;

TEST_F(MsSqlLive, TransactionsTheSqlWayFollowTheServerCount) {
    // A rollback without a savepoint name ends every level at once.
    EXPECT_EQ(
        (std::vector<int32_t>{cn().BeginTrans(VB_FALSE), cn().BeginTrans(VB_FALSE, "T1"),
                              cn().TransactionCount(), cn().CommitTrans(VB_FALSE), cn().BeginTrans(VB_FALSE),
                              cn().RollbackTrans(VB_FALSE), cn().TransactionCount()}),
        (std::vector<int32_t>{1, 2, 2, 1, 2, 0, 0}));
}

TEST_F(MsSqlLive, ScriptsRunPieceByPieceAndProceduresTakeParameters) {
    const QString script = QStringLiteral("CREATE TABLE LIVE_T (A INT, B NVARCHAR(20))\r\n"
                                          "GO\r\n"
                                          "CREATE PROCEDURE LIVE_ADD @A INT, @B NVARCHAR(20) AS\r\n"
                                          "INSERT INTO LIVE_T (A, B) VALUES (@A, @B)\r\n"
                                          "go\n"
                                          "\n"
                                          "GO\n"
                                          "CREATE VIEW LIVE_V AS SELECT A FROM LIVE_T\n");
    bool bError = true;
    EXPECT_TRUE(cn().ExecuteScript(script, false, &bError) && !bError);

    qlQueryConstructor params;
    params.AddProcedureParam("@A", 7, ql_eDataType::TypeInt);
    params.AddProcedureParam("@B", "O'Brien", ql_eDataType::TypeVarCharUnicode, 20);
    cn().ExecuteSP("LIVE_ADD", &params, &bError);
    EXPECT_FALSE(bError);
    EXPECT_EQ(ToLong(scalar("SELECT COUNT(*) FROM LIVE_V WHERE A = 7")), 1);
    EXPECT_EQ(ToText(scalar("SELECT B FROM LIVE_T")), "O'Brien");

    // The same call written as text runs as a batch of its own.
    const QString call = cn().GetSP("LIVE_ADD", &params);
    cn().Execute(call, &bError);
    EXPECT_FALSE(bError) << call.toStdString();
    EXPECT_EQ(ToLong(scalar("SELECT COUNT(*) FROM LIVE_T")), 2);
}

TEST_F(MsSqlLive, ReadUncommittedPrefixAndCatalogReads) {
    cn().setReadUncommitted(true);
    EXPECT_EQ(ToLong(scalar("   select 1 AS X")), 1);
    cn().setReadUncommitted(false);
    cn().Execute("CREATE TABLE LIVE_K (ID INT NOT NULL PRIMARY KEY, C INT DEFAULT ((0)))");
    cn().Execute("CREATE INDEX IX_LIVE_K_C ON LIVE_K (C)");
    EXPECT_EQ(cn().GetTableKeys("LIVE_K"), "ID");
    EXPECT_EQ(cn().GetIndexes("LIVE_K"), "IX_LIVE_K_C");
    cn().Execute("CREATE INDEX IX_LIVE_K_COVER ON LIVE_K (C DESC) INCLUDE (ID)");
    EXPECT_EQ(cn().GetIndexCode("LIVE_K", "IX_LIVE_K_COVER"),
              "CREATE NONCLUSTERED INDEX IX_LIVE_K_COVER ON dbo.LIVE_K (C DESC)  INCLUDE (ID) ");
    EXPECT_TRUE(cn().TableExist("LIVE_K") && cn().ColumnExist("LIVE_K", "C") &&
                !cn().ColumnExist("LIVE_K", "NOPE"));
    EXPECT_EQ(cn().GetColumnAttribute("LIVE_K", "C", ql_eColumnAttribute::DefaultValue).toString(), "(0)");
    EXPECT_FALSE(cn().CollectionName().isEmpty());
}

// Date and GUID defaults the server computes, created through CreateTable; then a recordset read
// under the read-uncommitted prefix writes back.
TEST_F(MsSqlLive, ComputedDefaultsAndReadUncommittedWriteBack) {
    qlQueryConstructor q;
    q.SetTable("LIVE_D");
    q.AddField({.FieldName = "ID", .FieldType = ql_eDataType::TypeInt, .KeyField = true});
    q.AddField({.FieldName = "D", .FieldType = ql_eDataType::TypeDateTime, .DefaultValue = "(getdate())"});
    q.AddField({.FieldName = "G", .FieldType = ql_eDataType::TypeGUID, .DefaultValue = "(newid())"});
    q.AddField({.FieldName = "C", .FieldType = ql_eDataType::TypeChar, .Size = 1, .DefaultValue = "('x')"});
    q.AddField({.FieldName = "Q", .FieldType = ql_eDataType::TypeInt, .DefaultValue = "((0))"});
    // The table alone; the column comments after it are no concern here.
    const QString create = q.MakeQuery(ql_eQueryType::CreateTable).section(";\r\n", 0, 0);
    cn().Execute(create);
    cn().Execute("INSERT INTO LIVE_D (ID) VALUES (1)");
    EXPECT_EQ(
        ToLong(scalar(QStringLiteral("SELECT COUNT(*) FROM LIVE_D WHERE DATEDIFF(minute, D, getdate()) < 5 "
                                     "AND G IS NOT NULL AND C = 'x' AND Q = 0"))),
        1)
        << create.toStdString();
    EXPECT_EQ(cn().GetColumnAttribute("LIVE_D", "D", ql_eColumnAttribute::DefaultValue).toString(),
              "(getdate())");

    cn().setReadUncommitted(true);
    auto rs = cn().ExecuteWC("SELECT ID, C FROM LIVE_D", ado::adLockOptimistic);
    ASSERT_TRUE(rs && !rs->IsEOF());
    rs->Fields("C").setValue("y");
    rs->Update();
    rs->AddNew();
    rs->Fields("ID").setValue(2);
    rs->Update();
    cn().setReadUncommitted(false);
    EXPECT_EQ(ToLong(scalar(QStringLiteral(
                  "SELECT COUNT(*) FROM LIVE_D WHERE (ID = 1 AND C = 'y') OR (ID = 2 AND C = 'x')"))),
              2);
}

} // namespace
} // namespace qldb::test
