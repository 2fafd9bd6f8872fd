#include "sql/ql_query_constructor.h"
#include "sql_test_support.h"

#include <QDateTime>

using namespace qldb;
using T = ql_eDataType;
using Action = ql_eAlterAction;

const QString SEP(QChar(1));
const QString kAlter = "ALTER TABLE A01_T\r\n ALTER COLUMN \r\n ";

static ql_tField Column(const QString& name, T type, int32_t size, bool allowNull,
                        const QString& collate = {}, const QString& defaultValue = {},
                        T oldType = T::TypeChar) {
    ql_tField field{.FieldName = name, .FieldType = type, .Size = size, .AllowNull = allowNull};
    field.DefaultValue = defaultValue;
    field.Collate = collate;
    field.OldFieldType = oldType;
    return field;
}

static QString Alter(const ql_tField& fld, Action action, bool* useTransaction = nullptr,
                     ql_eProviderType provider = ql_eProviderType::SQLServer) {
    qlQueryConstructor q;
    q.setProviderType(provider);
    q.SetTable("T", "A01");
    q.AddField(fld);
    return q.MakeQuery(ql_eQueryType::AlterTable, action, ql_KeyType::KeyTypeSecondary, useTransaction);
}

TEST(SchemaStatementsTest, CreateTable) {
    qlQueryConstructor q;
    q.SetTable("CLIENTS", "A01");
    ql_tField code = Column("CODE", T::TypeChar, 10, false, "Latin1_General_CI_AS", "('X')");
    code.KeyField = true;
    code.Desciption = "Client's code";
    q.AddField(code);
    q.AddField(Column("QTY", T::TypeInt, 0, true, "Latin1_General_CI_AS", "((0))"));
    q.AddField(ql_tField{.FieldName = "ID", .FieldType = T::TypeCounter, .KeyField = true});
    const QString target = "'user', dbo, 'table', 'A01_CLIENTS', 'column', ";
    EXPECT_EQ(
        q.MakeQuery(ql_eQueryType::CreateTable),
        "CREATE TABLE dbo.A01_CLIENTS\r\n(\r\n"
        "  CODE CHAR(10) COLLATE Latin1_General_CI_AS NOT NULL DEFAULT ('X'),\r\n"
        "  QTY INTEGER NULL DEFAULT (0),\r\n  ID INTEGER IDENTITY(1, 1) NOT NULL,\r\n"
        "  PRIMARY KEY (CODE, ID)\r\n);\r\nEXEC sp_addextendedproperty 'MS_Description', 'Client''s code', " +
            target + "'CODE';\r\nEXEC sp_addextendedproperty 'MS_Description', '', " + target +
            "'QTY';\r\nEXEC sp_addextendedproperty 'MS_Description', '', " + target + "'ID';\r\n");

    // Without a key there is no key line; without a comment statement each column still gets its ";".
    qlQueryConstructor my;
    my.setProviderType(ql_eProviderType::MySql);
    my.SetTable("NOTES");
    my.AddField(Column("BODY", T::TypeMemo, 0, true, "utf8mb4_bin"));
    EXPECT_EQ(
        my.MakeQuery(ql_eQueryType::CreateTable),
        QString("CREATE TABLE dbo.NOTES\r\n(\r\n  BODY TINYTEXT COLLATE utf8mb4_bin NULL\r\n);\r\n;\r\n"));
}

TEST(SchemaStatementsTest, AlterTableGeneralRouteFillsThenTightens) {
    EXPECT_EQ(Alter(Column("X", T::TypeVarChar, 50, false, "C1"), Action::Alter_DropField),
              QString("ALTER TABLE A01_T\r\n DROP COLUMN \r\n X"));
    EXPECT_EQ(Alter(Column("N", T::TypeCharUnicode, 10, false, "C1"), Action::Alter_ModifyField),
              kAlter + "N NCHAR(10) COLLATE C1" + SEP +
                  "UPDATE A01_T\r\nSET N = N''\r\n WHERE N IS NULL\r\n" + SEP + kAlter +
                  "N NCHAR(10) COLLATE C1  NOT NULL");
    EXPECT_EQ(Alter(Column("Q", T::TypeInt, 0, false, QString(), "((5))"), Action::Alter_AddField),
              "ALTER TABLE A01_T\r\n ADD \r\n Q INTEGER" + SEP +
                  "UPDATE A01_T\r\nSET Q = 5\r\n WHERE Q IS NULL\r\n" + SEP + kAlter + "Q INTEGER NOT NULL");
    // The fill is written for SQL Server whatever the provider: a date column gets the present time.
    qlQueryConstructor::setClockForTesting([] { return QDateTime(QDate(2024, 3, 5), QTime(9, 8, 7)); });
    EXPECT_EQ(Alter(Column("D", T::TypeDateTime, 0, false), Action::Alter_AddField, nullptr,
                    ql_eProviderType::MsAccess),
              "ALTER TABLE A01_T\r\n ADD \r\n D DATETIME" + SEP +
                  "UPDATE A01_T\r\nSET D = '20240305 09:08:07'\r\n WHERE D IS NULL\r\n" + SEP + kAlter +
                  "D DATETIME NOT NULL");
    qlQueryConstructor::setClockForTesting({});

    // The column texts accumulate over the fields, so each statement repeats the earlier columns.
    qlQueryConstructor q;
    q.SetTable("T");
    q.AddField(Column("A", T::TypeInt, 0, true));
    q.AddField(Column("B", T::TypeBit, 0, true));
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::AlterTable, Action::Alter_AddField),
              "ALTER TABLE T\r\n ADD \r\n A INTEGER NULLALTER TABLE T\r\n ADD \r\n A INTEGER NULL" + SEP +
                  " B BIT NULL");
}

TEST(SchemaStatementsTest, AlterTableRenameAndCounterRoutes) {
    // A memo is rebuilt through a rename, in the provider's type words.
    bool useTransaction = false;
    EXPECT_EQ(Alter(Column("NOTE", T::TypeMemo, 100, false, "C1"), Action::Alter_ModifyField, &useTransaction,
                    ql_eProviderType::MySql),
              "EXEC sp_rename 'A01_T.NOTE', 'NOTE_OLD', 'COLUMN' " + SEP +
                  "ALTER TABLE A01_T ADD NOTE TINYTEXT COLLATE C1 NOT NULL DEFAULT ('')" + SEP +
                  "UPDATE A01_T SET NOTE =NOTE_OLD" + SEP + "ALTER TABLE A01_T DROP COLUMN NOTE_OLD ");
    EXPECT_TRUE(useTransaction);
    useTransaction = false;
    EXPECT_EQ(Alter(Column("NOTE", T::TypeVarChar, 200, true, QString(), "('a')", T::TypeMemoUnicode),
                    Action::Alter_ModifyField, &useTransaction)
                  .section(SEP, 1, 1),
              QString("ALTER TABLE A01_T ADD NOTE VARCHAR(200) NULL DEFAULT ('a')"));
    EXPECT_TRUE(useTransaction);
    // Char to varchar is altered in place; the flag is never written back to False.
    useTransaction = true;
    EXPECT_EQ(Alter(Column("C", T::TypeVarChar, 20, true), Action::Alter_ModifyField, &useTransaction),
              kAlter + "C VARCHAR(20) NULL");
    EXPECT_TRUE(useTransaction);

    EXPECT_EQ(Alter(Column("ID", T::TypeCounter, 0, false), Action::Alter_AddField),
              QString("ALTER TABLE A01_T\r\n ADD \r\n ID INTEGER IDENTITY(1, 1) NOT NULL"));
    // Widening an identity keeps it: no second identity clause.
    EXPECT_EQ(Alter(Column("ID", T::TypeBigCounter, 0, false, QString(), QString(), T::TypeCounter),
                    Action::Alter_ModifyField),
              kAlter + "ID BIGINT NOT NULL");
    EXPECT_EQ(Alter(Column("ID", T::TypeBigCounter, 0, false), Action::Alter_ModifyField),
              kAlter + "ID BIGINT IDENTITY(1, 1) NOT NULL");
}

// Defaults the server computes go out as SQL, literals as literals, in the column definition and in
// the fill of a column that becomes NOT NULL.
TEST(SchemaStatementsTest, FunctionDefaultsStayUnquotedAndLiteralsKeepTheirQuotes) {
    qlQueryConstructor q;
    q.SetTable("T", "A01");
    q.AddField(Column("D", T::TypeDateTime, 0, false, QString(), "(getdate())"));
    q.AddField(Column("G", T::TypeGUID, 0, false, QString(), "(newid())"));
    q.AddField(Column("C", T::TypeChar, 1, false, QString(), "('x')"));
    q.AddField(Column("Q", T::TypeInt, 0, false, QString(), "((0))"));
    q.AddField(Column("S", T::TypeDateTime, 0, true, QString(), "('20240131')"));
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::CreateTable).section(");", 0, 0),
              QString("CREATE TABLE dbo.A01_T\r\n(\r\n"
                      "  D DATETIME NOT NULL DEFAULT (getdate()),\r\n"
                      "  G UNIQUEIDENTIFIER NOT NULL DEFAULT ((newid())),\r\n"
                      "  C CHAR(1) NOT NULL DEFAULT ('x'),\r\n"
                      "  Q INTEGER NOT NULL DEFAULT (0),\r\n"
                      "  S DATETIME NULL DEFAULT ('20240131 00:00:00')\r\n"));

    const std::pair<ql_tField, const char*> fills[] = {
        {Column("D", T::TypeDateTime, 0, false, QString(), "(getdate())"), "getdate()"},
        {Column("G", T::TypeGUID, 0, false, QString(), "(newid())"), "(newid())"},
        {Column("C", T::TypeChar, 1, false, QString(), "('x')"), "'x'"},
        {Column("Q", T::TypeInt, 0, false, QString(), "((0))"), "0"},
    };
    for (const auto& [field, value] : fills)
        EXPECT_EQ(Alter(field, Action::Alter_AddField).section(SEP, 1, 1),
                  "UPDATE A01_T\r\nSET " + field.FieldName + " = " + value + "\r\n WHERE " + field.FieldName +
                      " IS NULL\r\n");
}

TEST(SchemaStatementsTest, PrimaryKeyAndDropIndex) {
    qlQueryConstructor q;
    q.SetTable("X");
    q.AddSelectField("A");
    q.AddSelectField("B");
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::CreatePrimaryKey),
              QString("ALTER TABLE X ADD CONSTRAINT PK_X\r\n PRIMARY KEY (\r\nA,B)"));
    // A taken name gets the next number, compared without case.
    q.AddDropIndex("PK_X");
    q.AddDropIndex("pk_x1");
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::CreatePrimaryKey),
              QString("ALTER TABLE X ADD CONSTRAINT PK_X2\r\n PRIMARY KEY (\r\nA,B)"));
    // DropIndex works on the first index only.
    q.SetTable("T", "A01");
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::DropIndex), QString("DROP INDEX A01_T.PK_X"));
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::DropIndex, Action::Alter_AddField, ql_KeyType::KeyTypePrimary),
              QString("ALTER TABLE A01_T DROP CONSTRAINT PK_X"));
    EXPECT_EQ(test::RaisedBy([] { qlQueryConstructor().MakeQuery(ql_eQueryType::DropIndex); }).Number,
              kErrSubscript);
}
