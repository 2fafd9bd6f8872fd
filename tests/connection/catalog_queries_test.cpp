// The catalog reads of qlConnection against a scripted SQL Server: the exact statements sent and
// what is made of the rows.
#include "connection_fixture.h"
#include "platform/conversions.h"

namespace qldb::test {
namespace {

using Catalog = ConnectionTest;

Recordset Names(const QString& field, const QStringList& names) {
    std::vector<Row> rows;
    for (const QString& n : names)
        rows.push_back({n});
    return ScriptedConnection::Table({field}, rows);
}

TEST_F(Catalog, NameListsSendTheirQueriesAndShapeTheRows) {
    db->respond(
        QStringLiteral("SELECT name FROM sysobjects\rWHERE type IN ('FN', 'TF', 'IF')\rORDER BY name"),
        Names("name", {"fn_Total", "tf_Rows"}));
    db->respond(
        QStringLiteral("SELECT name FROM sysobjects\rWHERE type = 'P' AND NAME NOT LIKE 'DT_%' AND NAME NOT "
                       "LIKE 'SP_%' AND NAME NOT LIKE 'LIST%'\rORDER BY name"),
        Names("name", {"xsp_Load"}));
    db->respond(QStringLiteral("SELECT name FROM sysusers\rWHERE hasdbaccess = 1"),
                Names("name", {"dbo", "Mario"}));
    db->respond(QStringLiteral("sp_pkeys 'O''Hara'"), Names("COLUMN_NAME", {"Id", "Line"}));

    EXPECT_EQ(conn->GetFunctions(), "FN_TOTAL|TF_ROWS");
    EXPECT_EQ(conn->GetProcedures(), "XSP_LOAD");
    // Users and key columns keep their case.
    EXPECT_EQ(conn->GetDatabaseUsers(), "dbo|Mario");
    EXPECT_EQ(conn->GetTableKeys(QStringLiteral("O'Hara")), "Id|Line");
    EXPECT_EQ(db->count(CallKind::OpenRecordset), 4);
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(Catalog, OtherProvidersGetEmptyAnswersWithoutQueries) {
    conn->setProviderType(ql_eProviderType::MySql);
    EXPECT_EQ(conn->GetFunctions(), "");
    EXPECT_EQ(conn->GetIndexes(QStringLiteral("T")), "");
    EXPECT_EQ(conn->GetTriggers(QStringLiteral("T")), "");
    EXPECT_EQ(conn->GetIndexCode(QStringLiteral("T"), QStringLiteral("I")), "");
    EXPECT_EQ(conn->GetViews(), "");
    EXPECT_TRUE(IsNull(conn->GetColumnDesciption(QStringLiteral("T"), QStringLiteral("C"))));
    EXPECT_FALSE(conn->IsAutoincrementField(QStringLiteral("T"), QStringLiteral("C")));
    EXPECT_FALSE(conn->TableExist(QStringLiteral("T")));
    EXPECT_TRUE(db->statements().isEmpty());

    // Sybase shares the users table, the trigger text procedure and has a trigger table of its own.
    conn->setProviderType(ql_eProviderType::SyBase);
    db->respond(QStringLiteral("SELECT * FROM systriggers\rWHERE tname = 'ART'"),
                Names("trigname", {"trg_art_ins", "x_art_upd"}));
    db->respond(QStringLiteral("EXEC sp_helptext 'trg_art_ins'"),
                Names("text", {"create trigger ", "as ..."}));
    EXPECT_EQ(conn->GetTriggers(QStringLiteral("ART"), QStringLiteral("trg")), "TRG_ART_INS");
    EXPECT_EQ(conn->GetTriggerCode(QStringLiteral("trg_art_ins")), "create trigger as ...");
    conn->GetDatabaseUsers();
    EXPECT_EQ(db->statements().last(), "SELECT name FROM sysusers\rWHERE hasdbaccess = 1");
    EXPECT_EQ(conn->GetFunctionCode(QStringLiteral("F")), "");
    EXPECT_EQ(db->statements().size(), 3);
}

TEST_F(Catalog, IndexesLeaveOutThePrimaryKeyAndTolerateNoRowset) {
    db->respond(QStringLiteral("EXEC sp_helpindex 'ART'"),
                ScriptedConnection::Table({"index_name", "index_description", "index_keys"},
                                          {{"pk_Art", "clustered, unique, primary key", "Id"},
                                           {"ix_Art_Code", "nonclustered", "Code, Name(-)"},
                                           {"IX_ART_NAME", "nonclustered", "NAME"}}));
    db->respond(QStringLiteral("sp_pkeys @table_name = 'ART'"),
                ScriptedConnection::Table({"COLUMN_NAME", "PK_NAME"}, {{"Id", "PK_ART"}}));
    EXPECT_EQ(conn->GetPrimaryIndexName(QStringLiteral("ART")), "PK_ART");
    EXPECT_EQ(conn->GetIndexes(QStringLiteral("ART")), "IX_ART_CODE|IX_ART_NAME");

    // The column search goes straight to the connection and keeps the names' case.
    db->clearCalls();
    EXPECT_EQ(conn->GetIndexesUseColumn(QStringLiteral("ART"), QStringLiteral("name")),
              "ix_Art_Code|IX_ART_NAME");
    EXPECT_EQ(conn->GetIndexesUseColumn(QStringLiteral("ART"), QStringLiteral("Cod")), "");
    ASSERT_EQ(db->callsOf(CallKind::Execute).size(), 2u);
    EXPECT_EQ(db->callsOf(CallKind::Execute)[0].Text, "EXEC sp_helpindex 'ART'");
    EXPECT_EQ(db->callsOf(CallKind::Execute)[0].Options, ado::adOptionUnspecified);
    EXPECT_EQ(db->count(CallKind::OpenRecordset), 0);

    // A table without indexes answers with a message only: no rowset, no list, no key lookup.
    db->clearCalls();
    db->respondNoRowset(QStringLiteral("EXEC sp_helpindex 'EMPTY'"));
    db->respond(QStringLiteral("sp_pkeys @table_name = 'EMPTY'"),
                ScriptedConnection::Table({"COLUMN_NAME", "PK_NAME"}, {}));
    EXPECT_EQ(conn->GetIndexes(QStringLiteral("EMPTY")), "");
    EXPECT_EQ(conn->GetIndexesUseColumn(QStringLiteral("EMPTY"), QStringLiteral("X")), "");
    EXPECT_EQ(db->statements(), (QStringList{"EXEC sp_helpindex 'EMPTY'", "EXEC sp_helpindex 'EMPTY'"}));
    EXPECT_EQ(conn->GetPrimaryIndexName(QStringLiteral("EMPTY")), "");
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(Catalog, KeysTriggersAndReferencesGoThroughTheObjectId) {
    db->respond(QStringLiteral("SELECT OBJECT_ID ('ART')"), ScriptedConnection::Table({"id"}, {{1234}}));
    db->respond(QStringLiteral("SELECT OBJECT_ID ('NOPE')"),
                ScriptedConnection::Table({"id"}, {{NullVariant()}}));
    db->respond(QStringLiteral("SELECT name FROM sysobjects\rWHERE parent_obj = 1234 AND\r      type = 'F'"),
                Names("name", {"fk_Art_Fam"}));
    db->respond(QStringLiteral("SELECT fkeyid FROM sysreferences\rWHERE rkeyid = 1234"),
                ScriptedConnection::Table({"fkeyid"}, {{77}, {78}}));
    db->respond(QStringLiteral("SELECT name\rFROM sysobjects\rWHERE id = 77"), Names("name", {"ord_row"}));
    db->respond(QStringLiteral("SELECT name\rFROM sysobjects\rWHERE id = 78"), Names("name", {"inv_row"}));
    db->respond(QStringLiteral("SELECT name FROM sysobjects\rWHERE type = 'TR' AND\r      parent_obj = 1234"),
                Names("name", {"A01_ART_INS", "trg_art"}));
    db->respond(QStringLiteral("SELECT name FROM sysobjects\rWHERE type = 'TR'"),
                Names("name", {"A01_ART_INS", "trg_art", "A01_Fam_Del"}));

    EXPECT_EQ(conn->GetForeignKeys(QStringLiteral("ART")), "FK_ART_FAM");
    EXPECT_EQ(conn->GetReferences(QStringLiteral("ART")), "ORD_ROW|INV_ROW");
    EXPECT_EQ(conn->GetTriggers(QStringLiteral("ART")), "A01_ART_INS|TRG_ART");
    // An unknown table, or none, lists the triggers of every table; the prefix compares as written.
    EXPECT_EQ(conn->GetTriggers(QStringLiteral("NOPE"), QStringLiteral("A01_")), "A01_ART_INS|A01_FAM_DEL");
    EXPECT_EQ(conn->GetTriggers(QString(), QStringLiteral("a01_")), "");

    db->clearCalls();
    EXPECT_EQ(conn->GetForeignKeys(QStringLiteral("NOPE")), "");
    EXPECT_EQ(conn->GetReferences(QStringLiteral("NOPE")), "");
    EXPECT_EQ(db->statements(), (QStringList{"SELECT OBJECT_ID ('NOPE')", "SELECT OBJECT_ID ('NOPE')"}));
}

TEST_F(Catalog, ColumnAttributesAndDescriptions) {
    conn->setDatabaseName(QStringLiteral("ERP"));
    const QString where = QStringLiteral(" FROM INFORMATION_SCHEMA.COLUMNS\rWHERE TABLE_CATALOG = 'ERP' AND\r"
                                         "      TABLE_SCHEMA = 'dbo' AND\r      TABLE_NAME = 'ART' AND\r"
                                         "      COLUMN_NAME = ");
    db->respond("SELECT COLUMN_DEFAULT" + where + "'DT'", Names("COLUMN_DEFAULT", {"((getdate()))"}));
    db->respond("SELECT COLUMN_DEFAULT" + where + "'QTY'", Names("COLUMN_DEFAULT", {"((0))"}));
    db->respond("SELECT COLUMN_DEFAULT" + where + "'TXT'", Names("COLUMN_DEFAULT", {"(N'x')"}));
    db->respond("SELECT COLUMN_DEFAULT" + where + "'NODEF'",
                ScriptedConnection::Table({"COLUMN_DEFAULT"}, {{NullVariant()}}));
    db->respond("SELECT IS_NULLABLE" + where + "'QTY'", Names("IS_NULLABLE", {"no"}));
    db->respond("SELECT IS_NULLABLE" + where + "'TXT'", Names("IS_NULLABLE", {"YES"}));
    db->respond("SELECT DATA_TYPE" + where + "'TXT'", Names("DATA_TYPE", {"nvarchar"}));
    db->respond("SELECT COLLATION_NAME" + where + "'TXT'", Names("COLLATION_NAME", {"Latin1_General_CI_AS"}));

    auto attribute = [&](const char* column, ql_eColumnAttribute a) {
        return conn->GetColumnAttribute(QStringLiteral("ART"), QString::fromLatin1(column), a);
    };
    EXPECT_EQ(attribute("DT", ql_eColumnAttribute::DefaultValue), QVariant("(getdate())"));
    EXPECT_EQ(attribute("QTY", ql_eColumnAttribute::DefaultValue), QVariant("(0)"));
    EXPECT_EQ(attribute("TXT", ql_eColumnAttribute::DefaultValue), QVariant("('x')"));
    EXPECT_EQ(attribute("NODEF", ql_eColumnAttribute::DefaultValue), QVariant(""));
    EXPECT_EQ(attribute("QTY", ql_eColumnAttribute::IsNullable), QVariant(false));
    EXPECT_EQ(attribute("TXT", ql_eColumnAttribute::IsNullable), QVariant(true));
    EXPECT_EQ(attribute("TXT", ql_eColumnAttribute::ColumnDataType), QVariant("nvarchar"));
    EXPECT_EQ(attribute("TXT", ql_eColumnAttribute::CollationName), QVariant("Latin1_General_CI_AS"));
    // An unknown column gives no row and an Empty answer.
    EXPECT_TRUE(IsEmpty(attribute("GONE", ql_eColumnAttribute::ColumnDataType)));

    const QString properties = QStringLiteral("SELECT * FROM ::fn_listextendedproperty\r"
                                              "(NULL, 'user', 'dbo', 'table', 'ART', 'column', '%1')");
    db->respond(properties.arg("CODE"),
                ScriptedConnection::Table({"objtype", "objname", "name", "value"},
                                          {{"COLUMN", "CODE", "Caption", "Codice"},
                                           {"COLUMN", "CODE", "MS_Description", "Item code"}}));
    db->respond(properties.arg("QTY"), ScriptedConnection::Table({"objtype", "objname", "name", "value"},
                                                                 {{"COLUMN", "QTY", "Caption", "Q"}}));
    EXPECT_EQ(conn->GetColumnDesciption(QStringLiteral("ART"), QStringLiteral("CODE")),
              QVariant("Item code"));
    EXPECT_TRUE(IsNull(conn->GetColumnDesciption(QStringLiteral("ART"), QStringLiteral("QTY"))));
}

TEST_F(Catalog, ExistenceTests) {
    db->respond(
        QStringLiteral("SELECT COUNT(COLUMN_NAME)\rFROM INFORMATION_SCHEMA.COLUMNS\rWHERE TABLE_NAME = "
                       "'ART'\rAND TABLE_SCHEMA = 'dbo'\rAND COLUMN_NAME = 'CODE'\r"),
        ScriptedConnection::Table({"n"}, {{1}}));
    db->respond(
        QStringLiteral("SELECT COUNT(COLUMN_NAME)\rFROM INFORMATION_SCHEMA.COLUMNS\rWHERE TABLE_NAME = "
                       "'ART'\rAND TABLE_SCHEMA = 'hist'\rAND COLUMN_NAME = 'CODE'\r"),
        ScriptedConnection::Table({"n"}, {{0}}));
    EXPECT_TRUE(conn->ColumnExist(QStringLiteral("ART"), QStringLiteral("CODE")));
    EXPECT_FALSE(conn->ColumnExist(QStringLiteral("ART"), QStringLiteral("CODE"), QStringLiteral("hist")));

    const QString exists =
        QStringLiteral("IF EXISTS (SELECT 1\rFROM INFORMATION_SCHEMA.Tables\rWHERE     TABLE_TYPE "
                       "= 'BASE TABLE' AND TABLE_NAME = '%1')\r    SELECT 1 ELSE\rSELECT 0");
    db->respond(exists.arg("ART"), ScriptedConnection::Table({"x"}, {{1}}));
    db->respond(exists.arg("V_ART"), ScriptedConnection::Table({"x"}, {{0}}));
    EXPECT_TRUE(conn->TableExist(QStringLiteral("ART")));
    EXPECT_FALSE(conn->TableExist(QStringLiteral("V_ART")));

    const QString identity = QStringLiteral("SELECT COLUMNPROPERTY(OBJECT_ID('ART'), '%1', 'IsIdentity') ");
    db->respond(identity.arg("RECORD_ID"), ScriptedConnection::Table({"x"}, {{1}}));
    db->respond(identity.arg("CODE"), ScriptedConnection::Table({"x"}, {{0}}));
    db->respond(identity.arg("GONE"), ScriptedConnection::Table({"x"}, {{NullVariant()}}));
    EXPECT_TRUE(conn->IsAutoincrementField(QStringLiteral("ART"), QStringLiteral("RECORD_ID")));
    EXPECT_FALSE(conn->IsAutoincrementField(QStringLiteral("ART"), QStringLiteral("CODE")));
    EXPECT_FALSE(conn->IsAutoincrementField(QStringLiteral("ART"), QStringLiteral("GONE")));

    // The firm probe: an empty table is there, a missing one is an answer and not a report.
    db->respond(QStringLiteral("SELECT RECORD_ID FROM A01_IMA_GES WHERE RECORD_ID = 0"),
                ScriptedConnection::Table({"RECORD_ID"}, {}));
    db->fail(QStringLiteral("SELECT RECORD_ID FROM B02_IMA_GES WHERE RECORD_ID = 0"), kErrUnknownTable,
             QStringLiteral("Invalid object name 'B02_IMA_GES'."));
    EXPECT_TRUE(conn->CheckDatabaseTable(QStringLiteral("A01")));
    EXPECT_FALSE(conn->CheckDatabaseTable(QStringLiteral("B02")));
    EXPECT_EQ(db->callsOf(CallKind::Execute).size(), 2u);
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(Catalog, ObjectCode) {
    db->respond(QStringLiteral("EXEC sp_helptext 'trg_Art'"),
                Names("text", {"CREATE TRIGGER trg_Art\r\n", "AS\r\n"}));
    db->respond(QStringLiteral("EXEC sp_helptext 'fn_Total'"),
                Names("Text", {"CREATE FUNCTION ", "fn_Total"}));
    EXPECT_EQ(conn->GetTriggerCode(QStringLiteral("trg_Art")), "CREATE TRIGGER trg_Art\r\nAS\r\n");
    EXPECT_EQ(conn->GetFunctionCode(QStringLiteral("fn_Total")), "CREATE FUNCTION fn_Total");
    EXPECT_EQ(conn->GetProcedureCode(QStringLiteral("fn_Total")), "CREATE FUNCTION fn_Total");

    // The index statement, line by line as the server expects it, carriage returns between lines.
    const QString expected = QStringLiteral(R"SQL(SELECT
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
AND indexes.name = 'IX_ART_CODE')SQL")
                                 .replace(QLatin1Char('\n'), QLatin1Char('\r'));
    ASSERT_EQ(expected.count(QLatin1Char('\r')), 43);
    db->respond(expected,
                ScriptedConnection::Table({"script"}, {{"CREATE  UNIQUE NONCLUSTERED INDEX IX_ART_CODE"}}));
    host->clear();
    EXPECT_EQ(conn->GetIndexCode(QStringLiteral("dbo.ART"), QStringLiteral("IX_ART_CODE")),
              "CREATE  UNIQUE NONCLUSTERED INDEX IX_ART_CODE");
    EXPECT_EQ(db->statements().last(), expected);
    EXPECT_EQ(host->pointerChanges(), (std::vector<int32_t>{kPointerHourglass, kPointerDefault}));
    EXPECT_EQ(conn->GetIndexCode(QStringLiteral("dbo.ART"), QStringLiteral("PK_ART")), "");
}

TEST_F(Catalog, FailureKinds) {
    raiseMode();
    const QString functions =
        QStringLiteral("SELECT name FROM sysobjects\rWHERE type IN ('FN', 'TF', 'IF')\rORDER BY name");
    // Report: the error service hears of it under the routine's own name; "repeat" runs the query
    // again, "leave" returns what the routine holds.
    db->fail(functions, kErrSyntax, QStringLiteral("Incorrect syntax"), /*once=*/true);
    db->respond(functions, Names("name", {"fn_a"}));
    errors->queueDecision(kDecisionRepeat);
    EXPECT_EQ(conn->GetFunctions(), "FN_A");
    ASSERT_EQ(errors->reports().size(), 1u);
    EXPECT_EQ(errors->reports()[0].Class, "qlConnection");
    EXPECT_EQ(errors->reports()[0].Routine, "GetFunctions");
    EXPECT_EQ(errors->reports()[0].Error.Number, kErrSyntax);
    EXPECT_EQ(db->statements().size(), 2);

    db->fail(QStringLiteral("EXEC sp_helptext 'X'"), kErrSyntax, QStringLiteral("no such object"));
    errors->queueDecision(kDecisionLeave);
    EXPECT_EQ(conn->GetFunctionCode(QStringLiteral("X")), "");
    EXPECT_EQ(errors->reports().back().Routine, "GetFunctionCode");

    // The busy pointer is back before the error service shows anything, and after the routine.
    int32_t pointerAtReport = -1;
    errors->setOnReport([&](const ReportedError&) { pointerAtReport = host->MousePointer(); });
    db->failIf([](const QString& s) { return s.startsWith(QStringLiteral("SELECT\r 'CREATE")); }, kErrSyntax,
               QStringLiteral("Invalid object name 'sys.indexes'."));
    EXPECT_EQ(conn->GetIndexCode(QStringLiteral("T"), QStringLiteral("I")), "");
    EXPECT_EQ(pointerAtReport, kPointerDefault);
    EXPECT_EQ(host->MousePointer(), kPointerDefault);
    EXPECT_EQ(errors->reports().back().Routine, "GetIndexCode");

    // None: the caller gets the error itself.
    const auto before = errors->reports().size();
    db->fail(QStringLiteral("sp_pkeys 'T'"), kErrSyntax, QStringLiteral("denied"));
    try {
        conn->GetTableKeys(QStringLiteral("T"));
        ADD_FAILURE() << "GetTableKeys should raise";
    } catch (const qlException& e) {
        EXPECT_EQ(e.number(), kErrSyntax);
        EXPECT_EQ(e.description(), "denied");
    }
    // Clear: no report, no raise, False.
    db->fail(QStringLiteral("SELECT COLUMNPROPERTY(OBJECT_ID('T'), 'C', 'IsIdentity') "), kErrSyntax,
             QStringLiteral("denied"));
    EXPECT_FALSE(conn->IsAutoincrementField(QStringLiteral("T"), QStringLiteral("C")));
    EXPECT_EQ(errors->reports().size(), before);
}

TEST_F(Catalog, AGivenUpQueryIsReportedAgainAsAMissingRecordset) {
    // Outside ErrorMode 3 the statement routine reports the failure itself and returns nothing;
    // the catalog routine then meets the missing recordset and reports that under its own name.
    db->fail(QStringLiteral("SELECT name FROM sysusers\rWHERE hasdbaccess = 1"), kErrGeneral,
             QStringLiteral("General error"));
    EXPECT_EQ(conn->GetDatabaseUsers(), "");
    ASSERT_EQ(errors->reports().size(), 2u);
    EXPECT_EQ(errors->reports()[0].Routine, "ExecuteWC");
    EXPECT_EQ(errors->reports()[1].Routine, "GetDatabaseUsers");
    EXPECT_EQ(errors->reports()[1].Error.Number, kErrObjectNotSet);
}

} // namespace
} // namespace qldb::test
