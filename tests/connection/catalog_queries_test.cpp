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
           row(A::ColumnDataType, "DATA_TYPE", "nvarchar", "nvarchar")});
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
            {{sql.arg("IX_ART_CODE"), T({"script"}, {{script}})}}}});
    // clang-format on
    EXPECT_EQ(host->pointerChanges(), (std::vector<int32_t>{kPointerHourglass, kPointerDefault}));
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

// The lookups beyond their statements: the table directory cache, the flags they set, how their
// failures reach the caller, the type maps; and the order of views by dependency.
using Lookups = ConnectionTest;
using I = ql_eTableInfo;

TEST_F(Lookups, TableInfoIsCachedWhateverItsAnswer) {
    db->respond("SELECT TBKEY FROM SYS_TBL_TBC\rWHERE TBNAM = 'A01_ART'", T({"TBKEY"}, {{"CODE"}}));
    db->respond("SELECT TBGRD FROM SYS_TBL_TBC\rWHERE TBNAM = 'A01_ART'", T({"TBGRD"}, {{NullVariant()}}));
    db->respond("SELECT TBKEY FROM SYS_TBL_TBC\rWHERE TBNAM = 'NONE'", T({"TBKEY"}, {}));
    // A failure reads as no entry, also where the statement routine would raise it.
    raiseMode();
    db->fail("SELECT TBDES FROM SYS_TBL_TBC\rWHERE TBNAM = 'X'", kErrUnknownTable, "Invalid object name");
    for (const char* table : {"A01_ART", "a01_art"})
        EXPECT_EQ(conn->GetTableInfo(table, I::KeyField) + "|" + conn->GetTableInfo(table, I::LayoutName) +
                      "|" + conn->GetTableInfo("NONE", I::KeyField) + "|" +
                      conn->GetTableInfo("X", I::Description),
                  "CODE|||");
    EXPECT_EQ(db->statements().size(), 4);
    EXPECT_TRUE(errors->reports().empty());
    // The cache outlives a reconnection.
    conn->CloseConnection();
    conn->OpenConnection();
    db->clearCalls();
    EXPECT_EQ(conn->GetTableInfo("A01_ART", I::KeyField), "CODE");
    EXPECT_TRUE(db->statements().isEmpty());
}

TEST_F(Lookups, FlagsAndTheRecordsetHandedBack) {
    db->respond("SELECT D\rFROM ART\rWHERE ID = 7", T({"D"}, {}));
    // A missing row leaves bRecordPresent as the caller had it.
    for (bool present : {false, true}) {
        const bool before = present;
        EXPECT_TRUE(IsEmpty(conn->GetDbValue("ART", "ID", 7, TypeLong, "D", &present)));
        EXPECT_EQ(present, before);
    }
    // The LIKE search hands back its rows from the first.
    db->respond("SELECT C\rFROM ART\rWHERE C = 'bo'", T({"C"}, {}));
    db->respond("SELECT C\rFROM ART\rWHERE C LIKE '%bo%'", T({"C"}, {{"BOLT"}, {"BOX"}}));
    std::shared_ptr<Recordset> rs;
    EXPECT_EQ(conn->CheckExistValueWithLike("ART", "C", "bo", TypeChar, &rs), 2);
    ASSERT_NE(rs, nullptr);
    EXPECT_EQ(rs->Value(0), QVariant("BOLT"));
}

// Float, money and scaled decimal columns arrive as doubles; their texts must not turn exponential.
TEST_F(Lookups, FloatingValuesReadInPlainText) {
    db->respond("SELECT MAX(PRICE), COUNT(PRICE) FROM ART\r", T({"M", "C"}, {{100000.0, 3}}));
    EXPECT_EQ(conn->GetMaxValue("ART", "PRICE"), 100000);
    db->respond("SELECT PRICE\rFROM ART\rWHERE KIND = 1", T({"PRICE"}, {{100000.0}, {123456.5}, {1e15}}));
    EXPECT_EQ(conn->GetDbValues("ART", "KIND", 1, TypeLong, "PRICE"), QVariant("100000,123456.5,1E+15"));
}

TEST_F(Lookups, FailureKindsCharFilterAndTypeMaps) {
    raiseMode();
    db->fail("SELECT D\rFROM ART\rWHERE C = 'X'", kErrUnknownTable, "Invalid object name 'ART'.");
    db->fail("UPDATE ART\rSET D = 'Y'\rWHERE C = 'X'", kErrIntegrity, "conflicted with a constraint");
    // The lookups leave their failures to the caller; SetDbValue clears them and answers False.
    EXPECT_THROW(conn->GetDbValue("ART", "C", "X", TypeChar, "D"), qlException);
    EXPECT_FALSE(conn->SetDbValue("ART", "C", TypeChar, "X", "D", TypeChar, "Y"));
    // A function value of another type has no statement: the empty one goes out and fails.
    db->fail(QString(), kErrSyntax, "Command text was not set for the command object.");
    EXPECT_THROW(conn->GetFunctionValue("fn_Price", "A1", TypeMemo), qlException);
    EXPECT_TRUE(errors->reports().empty());

    EXPECT_EQ(conn->GetCharFilter("*") + conn->GetCharFilter("%") + conn->GetCharFilter("?"), "%%");
    conn->setProviderType(ql_eProviderType::Oracle);
    EXPECT_EQ(conn->GetCharFilter("*"), "");
    // Binary counts as numeric on purpose; a boolean is neither.
    Recordset rs({{"bin", ado::adBinary, 8}, {"b", ado::adBoolean, 0}}, {{QByteArray("x"), true}});
    EXPECT_TRUE(conn->IsNumericField(rs.Fields(0)) && !conn->IsDateField(rs.Fields(0)));
    EXPECT_FALSE(conn->IsNumericField(rs.Fields(1)) || conn->IsDateField(rs.Fields(1)));
}

const QString kAll =
    "From sysobjects\rWHERE type = 'V' AND name NOT LIKE 'sysco%' AND name NOT LIKE 'sysseg%'";

QString ViewsQuery(const QString& from) {
    return "SELECT name, id\r" + from;
}
QString DependencyQuery(const QString& from) {
    const QString indent(28, QLatin1Char(' '));
    return "SELECT DISTINCT sysdepends.id, sysdepends.depid\rFROM sysdepends LEFT OUTER JOIN\r     "
           "sysobjects "
           "ON sysobjects.id = sysdepends.id\rWHERE sysdepends.depid IN (\r" +
           indent + "SELECT id\r" + indent + from + ")";
}

class Views : public ConnectionTest {
protected:
    // The views query and the dependency records (id uses depid) on a fresh database.
    void serve(const std::vector<Row>& views, const std::vector<Row>& uses, const QString& from = kAll) {
        use(true);
        db->respond(ViewsQuery(from), ScriptedConnection::Table({"name", "id"}, views));
        db->respond(DependencyQuery(from), ScriptedConnection::Table({"id", "depid"}, uses));
    }
};

TEST_F(Views, OrderByLevelThenNameAndTheListNarrowsBothQueries) {
    serve({}, {});
    EXPECT_EQ(conn->GetViews(), "");
    EXPECT_EQ(db->statements(), (QStringList{ViewsQuery(kAll), DependencyQuery(kAll)}));
    // v_b uses v_a; 900 is a function that v_d uses and counts for nothing.
    serve({{"v_d", 4}, {"v_b", 2}, {"V_C", 3}, {"v_a", 1}}, {{2, 1}, {4, 900}});
    EXPECT_EQ(conn->GetViews(), "V_A,V_C,V_D,V_B");
    // The chain v_a <- v_c <- v_b: levels add up only along the record order, so when "v_b uses v_c"
    // comes first both get level 1 and v_b stands before the v_c it uses.
    serve({{"v_a", 1}, {"v_b", 2}, {"v_c", 3}}, {{2, 3}, {3, 1}});
    EXPECT_EQ(conn->GetViews(), "V_A,V_B,V_C");
    serve({{"v_a", 1}, {"v_b", 2}, {"v_c", 3}}, {{3, 1}, {2, 3}});
    EXPECT_EQ(conn->GetViews(), "V_A,V_C,V_B");

    const QString from = "From sysobjects\rWHERE name IN ( 'v_a','v_o''k') AND \r" + kAll.mid(22);
    serve({{"v_a", 1}, {"v_o'k", 2}}, {{1, 2}}, from);
    // Without a delimiter the list splits by ","; a given one splits the list and joins the answer.
    EXPECT_EQ(conn->GetViews("v_a,v_o'k"), "V_O'K,V_A");
    EXPECT_EQ(conn->GetViews("v_a;v_o'k", ";"), "V_O'K;V_A");
    EXPECT_EQ(db->statements(), (QStringList{ViewsQuery(from), DependencyQuery(from), ViewsQuery(from),
                                             DependencyQuery(from)}));
}

TEST_F(Views, AFailedDependencyQueryIsReportedWithThePointerBack) {
    raiseMode();
    db->respond(ViewsQuery(kAll), ScriptedConnection::Table({"name", "id"}, {{"v_a", 1}}));
    db->fail(DependencyQuery(kAll), kErrSyntax, "Invalid object name 'sysdepends'.");
    int32_t pointerAtReport = -1;
    errors->setOnReport([&](const ReportedError&) { pointerAtReport = host->MousePointer(); });
    EXPECT_EQ(conn->GetViews(), "");
    ASSERT_EQ(errors->reports().size(), 1u);
    EXPECT_EQ(errors->reports()[0].Routine, "GetViews");
    EXPECT_EQ(pointerAtReport, kPointerDefault);
    EXPECT_EQ(host->MousePointer(), kPointerDefault);
}

} // namespace
} // namespace qldb::test
