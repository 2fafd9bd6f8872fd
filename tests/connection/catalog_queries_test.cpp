// The catalog and lookup reads of qlConnection against a scripted SQL Server: the statements sent,
// whole, and what is made of the rows.
#include "connection_fixture.h"
#include "platform/tools/conversions.h"

#include <functional>

namespace qldb::test {
namespace {

using enum ql_eDataType;

const auto T = ScriptedConnection::Table;
Recordset Names(const QString& field, const QStringList& names) {
    std::vector<Row> rows;
    for (const QString& n : names)
        rows.push_back({n});
    return T({field}, rows);
}

const QString kFunctions = "SELECT name FROM sysobjects\rWHERE type IN ('FN', 'TF', 'IF')\rORDER BY name";
const QString kUsers = "SELECT name FROM sysusers\rWHERE hasdbaccess = 1";

struct Query {
    std::function<QVariant()> call;
    QVariant expected;
    std::vector<std::pair<QString, Recordset>> answers; // every statement, in the order sent
};

class Catalog : public ConnectionTest {
protected:
    // Each row on a fresh scripted connection: exactly its statements go out, and its answer comes back.
    void check(const std::vector<Query>& table) {
        for (const Query& q : table) {
            SCOPED_TRACE(q.answers.empty() ? std::string() : q.answers[0].first.toStdString());
            use(true);
            QStringList sent;
            for (const auto& [sql, rows] : q.answers) {
                db->respond(sql, rows);
                sent << sql;
            }
            const QVariant got = q.call();
            EXPECT_STREQ(got.typeName(), q.expected.typeName());
            EXPECT_EQ(got, q.expected) << "got " << got.toString().toStdString();
            EXPECT_EQ(db->statements(), sent);
        }
        EXPECT_TRUE(errors->reports().empty());
    }
};

TEST_F(Catalog, QueriesAndWhatIsMadeOfTheRows) {
    const QString helpIndex = "EXEC sp_helpindex 'ART'", pkeys = "sp_pkeys @table_name = 'ART'";
    const QString artId = "SELECT OBJECT_ID ('ART')", nopeId = "SELECT OBJECT_ID ('NOPE')";
    const QString allTriggers = "SELECT name FROM sysobjects\rWHERE type = 'TR'";
    const QString props = "SELECT * FROM ::fn_listextendedproperty\r(NULL, 'user', 'dbo', 'table', 'ART', "
                          "'column', 'C')";
    const Recordset ix = T({"index_name", "index_description", "index_keys"},
                           {{"pk_Art", "clustered, unique, primary key", "Id"},
                            {"ix_Code", "nonclustered", "Code, Name(-)"},
                            {"IX_NAME", "nonclustered", "NAME"}});
    const Recordset pkey = T({"COLUMN_NAME", "PK_NAME"}, {{"Id", "pk_Art"}});
    const Recordset id = T({"id"}, {{1234}}), nullId = T({"id"}, {{NullVariant()}});
    const Recordset triggers = Names("name", {"A01_ART_INS", "trg_art", "A01_Fam_Del"});
    // clang-format off
    check({
        {[&] { return conn->GetFunctions(); }, "FN_A|TF_B", {{kFunctions, Names("name", {"fn_A", "tf_B"})}}},
        {[&] { return conn->GetProcedures(); }, "XSP_LOAD",
         {{"SELECT name FROM sysobjects\rWHERE type = 'P' AND NAME NOT LIKE 'DT_%' AND NAME NOT LIKE 'SP_%' "
           "AND NAME NOT LIKE 'LIST%'\rORDER BY name", Names("name", {"xsp_Load"})}}},
        // Users and key columns keep their case.
        {[&] { return conn->GetDatabaseUsers(); }, "dbo|Mario", {{kUsers, Names("name", {"dbo", "Mario"})}}},
        {[&] { return conn->GetTableKeys("O'Hara"); }, "Id|Line",
         {{"sp_pkeys 'O''Hara'", Names("COLUMN_NAME", {"Id", "Line"})}}},
        {[&] { return conn->GetPrimaryIndexName("ART"); }, "PK_ART", {{pkeys, pkey}}},
        {[&] { return conn->GetIndexes("ART"); }, "IX_CODE|IX_NAME", {{helpIndex, ix}, {pkeys, pkey}}},
        // A table without indexes answers with a message only: no rowset, so no key lookup either.
        {[&] { return conn->GetIndexes("ART"); }, "", {{helpIndex, Recordset()}}},
        // Whole words of the key list, names as the server wrote them.
        {[&] { return conn->GetIndexesUseColumn("ART", "name"); }, "ix_Code|IX_NAME", {{helpIndex, ix}}},
        {[&] { return conn->GetIndexesUseColumn("ART", "Cod"); }, "", {{helpIndex, ix}}},
        {[&] { return conn->GetIndexesUseColumn("ART", "X"); }, "", {{helpIndex, Recordset()}}},
        {[&] { return conn->GetForeignKeys("ART"); }, "FK_ART_FAM",
         {{artId, id}, {"SELECT name FROM sysobjects\rWHERE parent_obj = 1234 AND\r      type = 'F'",
                        Names("name", {"fk_Art_Fam"})}}},
        {[&] { return conn->GetForeignKeys("NOPE"); }, "", {{nopeId, nullId}}},
        {[&] { return conn->GetReferences("ART"); }, "ORD_ROW|INV_ROW",
         {{artId, id}, {"SELECT fkeyid FROM sysreferences\rWHERE rkeyid = 1234", T({"fkeyid"}, {{77}, {78}})},
          {"SELECT name\rFROM sysobjects\rWHERE id = 77", Names("name", {"ord_row"})},
          {"SELECT name\rFROM sysobjects\rWHERE id = 78", Names("name", {"inv_row"})}}},
        {[&] { return conn->GetTriggers("ART"); }, "A01_ART_INS",
         {{artId, id}, {allTriggers + " AND\r      parent_obj = 1234", Names("name", {"a01_art_ins"})}}},
        // An unknown table, or none, lists every table's triggers; the prefix compares as written.
        {[&] { return conn->GetTriggers("NOPE", "A01_"); }, "A01_ART_INS|A01_FAM_DEL",
         {{nopeId, nullId}, {allTriggers, triggers}}},
        {[&] { return conn->GetTriggers(QString(), "a01_"); }, "", {{allTriggers, triggers}}},
        {[&] { return conn->GetTriggerCode("trg"); }, "CREATE TRIGGER trg\r\nAS\r\n",
         {{"EXEC sp_helptext 'trg'", Names("text", {"CREATE TRIGGER trg\r\n", "AS\r\n"})}}},
        {[&] { return conn->GetFunctionCode("fn"); }, "CREATE FUNCTION fn",
         {{"EXEC sp_helptext 'fn'", Names("Text", {"CREATE FUNCTION ", "fn"})}}},
        {[&] { return conn->GetProcedureCode("xsp"); }, "CREATE PROC xsp",
         {{"EXEC sp_helptext 'xsp'", Names("Text", {"CREATE PROC ", "xsp"})}}},
        {[&] { return conn->GetColumnDesciption("ART", "C"); }, "Item code",
         {{props, T({"name", "value"}, {{"Caption", "Codice"}, {"MS_Description", "Item code"}})}}},
        {[&] { return conn->GetColumnDesciption("ART", "C"); }, NullVariant(),
         {{props, T({"name"}, {{"Caption"}})}}},
        {[&] { return conn->ColumnExist("ART", "CODE", "hist"); }, true,
         {{"SELECT COUNT(COLUMN_NAME)\rFROM INFORMATION_SCHEMA.COLUMNS\rWHERE TABLE_NAME = 'ART'\rAND "
           "TABLE_SCHEMA = 'hist'\rAND COLUMN_NAME = 'CODE'\r", T({"n"}, {{1}})}}},
        {[&] { return conn->TableExist("ART"); }, true,
         {{"IF EXISTS (SELECT 1\rFROM INFORMATION_SCHEMA.Tables\rWHERE     TABLE_TYPE = 'BASE TABLE' AND "
           "TABLE_NAME = 'ART')\r    SELECT 1 ELSE\rSELECT 0", T({"x"}, {{1}})}}},
        {[&] { return conn->IsAutoincrementField("ART", "ID"); }, true,
         {{"SELECT COLUMNPROPERTY(OBJECT_ID('ART'), 'ID', 'IsIdentity') ", T({"x"}, {{1}})}}},
        // Lookups: literals of the provider, a filter in parentheses or not, the first value or all.
        {[&] { return conn->GetDbValue("ART", "C", "B'%", TypeChar, "D", nullptr, true, "Q > 0"); }, "Bar",
         {{"SELECT D\rFROM ART\rWHERE C LIKE 'B''%'\rAND (Q > 0)", T({"D"}, {{"Bar"}, {"Box"}})}}},
        {[&] { return conn->GetDbValues("ART", "C", 1, TypeInt, "D"); }, "Bar,,Box",
         {{"SELECT D\rFROM ART\rWHERE C = 1", T({"D"}, {{"Bar"}, {NullVariant()}, {"Box"}})}}},
        {[&] { return conn->GetFunctionValue("fn_Price", "A1", TypeChar); }, 9.5,
         {{"SELECT dbo.fn_Price ('A1') AS Expr1", T({"Expr1"}, {{9.5}})}}},
        // A text reads as the number it starts with.
        {[&] { return conn->GetMaxValue("DOC", "NUM", "YEAR = 2024"); }, 12,
         {{"SELECT MAX(NUM), COUNT(NUM) FROM DOC\rWHERE YEAR = 2024", T({"m", "c"}, {{"12abc", 3}})}}},
        {[&] { return conn->CheckExistValue("ART", "ID", 8, TypeLong, "K = 1"); }, true,
         {{"SELECT ID\rFROM ART\rWHERE ID = 8\rAND K = 1", T({"ID"}, {{8}})}}},
        // An exact miss is searched again by LIKE, a number never.
        {[&] { return conn->CheckExistValueWithLike("ART", "C", "bo", TypeChar); }, 3,
         {{"SELECT C\rFROM ART\rWHERE C = 'bo'", T({"C"}, {})},
          {"SELECT C\rFROM ART\rWHERE C LIKE '%bo%'", T({"C"}, {{"BOLT"}, {"BOX"}, {"SYMBOL"}})}}},
        {[&] { return conn->CheckExistValueWithLike("ART", "ID", 7, TypeLong); }, 0,
         {{"SELECT ID\rFROM ART\rWHERE ID = 7", T({"ID"}, {})}}},
    });
    // clang-format on
}

TEST_F(Catalog, ColumnAttributesAndTheNormalFormOfDefaults) {
    using A = ql_eColumnAttribute;
    conn->setDatabaseName("ERP");
    auto row = [this](A attribute, const QString& field, const QVariant& stored, const QVariant& expected) {
        return Query{
            [this, attribute] { return conn->GetColumnAttribute("ART", "C", attribute); },
            expected,
            {{"SELECT " + field +
                  " FROM INFORMATION_SCHEMA.COLUMNS\rWHERE TABLE_CATALOG = 'ERP' AND\r"
                  "      TABLE_SCHEMA = 'dbo' AND\r      TABLE_NAME = 'ART' AND\r      COLUMN_NAME = 'C'",
              T({field}, {{stored}})}}};
    };
    // clang-format off
    check({// One pair of parentheses and no N before a text, as the structure file writes them.
           row(A::DefaultValue, "COLUMN_DEFAULT", "((getdate()))", "(getdate())"),
           row(A::DefaultValue, "COLUMN_DEFAULT", "(N'x')", "('x')"),
           row(A::DefaultValue, "COLUMN_DEFAULT", NullVariant(), ""),
           row(A::IsNullable, "IS_NULLABLE", "no", false),
           row(A::IsNullable, "IS_NULLABLE", "YES", true),
           row(A::ColumnDataType, "DATA_TYPE", "nvarchar", "nvarchar"),
           row(A::CollationName, "COLLATION_NAME", "Latin1_CI", "Latin1_CI")});
    // clang-format on
    // An unknown column gives no row and an Empty answer.
    EXPECT_TRUE(IsEmpty(conn->GetColumnAttribute("ART", "GONE", A::ColumnDataType)));
}

TEST_F(Catalog, OtherProviders) {
    // Sybase has a trigger table of its own.
    conn->setProviderType(ql_eProviderType::SyBase);
    check({{[&] { return conn->GetTriggers("ART", "trg"); },
            "TRG_A",
            {{"SELECT * FROM systriggers\rWHERE tname = 'ART'", Names("trigname", {"trg_a", "x_b"})}}}});
    db->clearCalls();
    EXPECT_EQ(conn->GetFunctionCode("F"), "");
    // Elsewhere the catalog is not asked.
    conn->setProviderType(ql_eProviderType::MySql);
    EXPECT_EQ(conn->GetIndexes("T") + conn->GetTriggers("T") + conn->GetIndexCode("T", "I"), "");
    EXPECT_FALSE(conn->TableExist("T"));
    EXPECT_TRUE(db->statements().isEmpty());
}

TEST_F(Catalog, IndexCodeSendsTheWholeStatementUnderTheBusyPointer) {
    const QString sql = QStringLiteral(R"SQL(SELECT
 'CREATE ' +
 CASE WHEN indexes.is_unique = 1 THEN ' UNIQUE ' ELSE '' END  +
 indexes.type_desc COLLATE DATABASE_DEFAULT +' INDEX ' +  indexes.name  + ' ON '  +
 SCHEMA_NAME(tables.schema_id) + '.' + tables.name + ' (' + kc.KeyColumns + ') ' +
 ISNULL(' INCLUDE (' + ic.IncludedColumns + ') ', '') script
FROM sys.indexes indexes
INNER JOIN sys.tables tables ON tables.object_id = indexes.object_id
INNER JOIN (
 SELECT object_id, index_id, KeyColumns
 FROM (
   SELECT
     index_columns.object_id , index_columns.index_id,
     STUFF((
       SELECT ', ' + col.name + CASE WHEN MAX(CONVERT(INT, ic.is_descending_key)) = 1 THEN ' DESC' ELSE ' ASC' END
       FROM sys.index_columns ic
       INNER JOIN Sys.columns col ON col.object_id = ic.object_id AND col.column_id = ic.column_id AND ic.is_included_column = 0
       WHERE ic.object_id = index_columns.object_id AND ic.index_id = index_columns.index_id
       GROUP BY ic.object_id, col.name, ic.index_id
       ORDER BY MAX(ic.key_ordinal)
       FOR XML PATH('')), 1, 2, '') KeyColumns
   FROM sys.index_columns index_columns
     WHERE index_columns.object_id = object_id('dbo.ART')
   GROUP BY index_columns.object_id ,index_columns.index_id) t
) kc ON indexes.object_id = kc.object_id AND indexes.index_id = kc.index_id
LEFT JOIN (
 SELECT *
 FROM (
     SELECT index_columns.object_id, index_columns.index_id,
     STUFF((
       SELECT ', ' + C.name
       FROM sys.index_columns IC1
       INNER JOIN Sys.columns C ON C.object_id = IC1.object_id AND C.column_id = IC1.column_id AND IC1.is_included_column = 1
       WHERE IC1.object_id = index_columns.object_id AND IC1.index_id = index_columns.index_id
       GROUP BY IC1.object_id,C.name,index_id
       FOR XML PATH('')), 1, 2, '') IncludedColumns
   FROM sys.index_columns index_columns
   WHERE index_columns.object_id = object_id('dbo.ART')
   GROUP BY index_columns.object_id, index_columns.index_id) t
   WHERE IncludedColumns IS NOT NULL
) ic ON ic.object_id = indexes.object_id AND ic.index_id = indexes.index_id
WHERE indexes.is_primary_key = 0 AND indexes.is_unique_constraint = 0
AND indexes.object_id = object_id('dbo.ART')
AND indexes.name = '%1')SQL")
                            .replace(QLatin1Char('\n'), QLatin1Char('\r'));
    const QString script = "CREATE  UNIQUE NONCLUSTERED INDEX IX_ART_CODE";
    // clang-format off
    check({{[&] { return conn->GetIndexCode("dbo.ART", "IX_ART_CODE"); }, script,
            {{sql.arg("IX_ART_CODE"), T({"script"}, {{script}})}}},
           {[&] { return conn->GetIndexCode("dbo.ART", "PK"); }, "", {{sql.arg("PK"), T({"script"}, {})}}}});
    // clang-format on
    EXPECT_EQ(host->pointerChanges(),
              (std::vector<int32_t>{kPointerHourglass, kPointerDefault, kPointerHourglass, kPointerDefault}));
}

TEST_F(Catalog, FailureKinds) {
    // Outside ErrorMode 3 the statement routine reports and gives up; the catalog routine then
    // reports the missing recordset under its own name.
    db->fail(kUsers, kErrGeneral, "General error");
    EXPECT_EQ(conn->GetDatabaseUsers(), "");
    ASSERT_EQ(errors->reports().size(), 2u);
    EXPECT_EQ(errors->reports()[0].Routine + "," + errors->reports()[1].Routine,
              "ExecuteWC,GetDatabaseUsers");
    EXPECT_EQ(errors->reports()[1].Error.Number, kErrObjectNotSet);

    // Report under the routine's own name, obeying the decision: "repeat" runs the query again.
    raiseMode();
    db->fail(kFunctions, kErrSyntax, "Incorrect syntax", /*once=*/true);
    db->respond(kFunctions, Names("name", {"fn_a"}));
    errors->queueDecisions({kDecisionRepeat, kDecisionLeave});
    EXPECT_EQ(conn->GetFunctions(), "FN_A");
    ASSERT_EQ(errors->reports().size(), 3u);
    EXPECT_EQ(errors->reports()[2].Class + "." + errors->reports()[2].Routine, "qlConnection.GetFunctions");
    EXPECT_EQ(errors->reports()[2].Error.Number, kErrSyntax);
    EXPECT_EQ(db->statements().count(kFunctions), 2);

    // "leave" returns what is held; the busy pointer is back before the error service shows anything.
    int32_t pointerAtReport = -1;
    errors->setOnReport([&](const ReportedError&) { pointerAtReport = host->MousePointer(); });
    db->failIf([](const QString& s) { return s.startsWith("SELECT\r 'CREATE"); }, kErrSyntax,
               "no sys.indexes");
    EXPECT_EQ(conn->GetIndexCode("T", "I"), "");
    EXPECT_EQ(errors->reports().back().Routine, "GetIndexCode");
    EXPECT_EQ(pointerAtReport, kPointerDefault);
    EXPECT_EQ(host->MousePointer(), kPointerDefault);

    // None: the caller gets the statement routine's error itself, unchanged.
    db->fail("sp_pkeys 'T'", kErrSyntax, "denied");
    EXPECT_EQ(Raised([&] { conn->GetTableKeys("T"); }), "-2147217900 qlConnection.ExecuteWC: denied");
    // Clear: no report, no raise, False; and the firm probe takes a missing table as its answer.
    db->fail("SELECT COLUMNPROPERTY(OBJECT_ID('T'), 'C', 'IsIdentity') ", kErrSyntax, "denied");
    EXPECT_FALSE(conn->IsAutoincrementField("T", "C"));
    db->respond("SELECT RECORD_ID FROM A01_IMA_GES WHERE RECORD_ID = 0", T({"RECORD_ID"}, {}));
    db->fail("SELECT RECORD_ID FROM B02_IMA_GES WHERE RECORD_ID = 0", kErrUnknownTable,
             "Invalid object name");
    EXPECT_TRUE(conn->CheckDatabaseTable("A01"));
    EXPECT_FALSE(conn->CheckDatabaseTable("B02"));
    EXPECT_EQ(errors->reports().size(), 4u);
}

} // namespace
} // namespace qldb::test
