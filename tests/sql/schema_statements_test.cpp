#include "sql/ql_query_constructor.h"
#include "sql_test_support.h"

#include <QDateTime>
#include <tuple>

using namespace qldb;
using P = ql_eProviderType;
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

// Defaults the server computes go out as SQL, literals as literals, in the column definition and in
// the fill of a column that becomes NOT NULL.
TEST(SchemaStatementsTest, CreateTableWithKeysDescriptionsAndDefaults) {
    qlQueryConstructor q;
    q.SetTable("T", "A01");
    ql_tField code = Column("C", T::TypeChar, 10, false, "Latin1_General_CI_AS", "('x')");
    code.KeyField = true;
    code.Desciption = "Client's code";
    q.AddField(code);
    q.AddField(Column("D", T::TypeDateTime, 0, false, QString(), "(getdate())"));
    q.AddField(Column("G", T::TypeGUID, 0, false, QString(), "(newid())"));
    q.AddField(Column("Q", T::TypeInt, 0, true, QString(), "((0))"));
    q.AddField(Column("S", T::TypeDateTime, 0, true, QString(), "('20240131')"));
    q.AddField(ql_tField{.FieldName = "ID", .FieldType = T::TypeCounter, .KeyField = true});
    const QString target = "'user', dbo, 'table', 'A01_T', 'column', ";
    const QString statement = q.MakeQuery(ql_eQueryType::CreateTable);
    EXPECT_EQ(statement.section(");", 0, 0),
              QString("CREATE TABLE dbo.A01_T\r\n(\r\n"
                      "  C CHAR(10) COLLATE Latin1_General_CI_AS NOT NULL DEFAULT ('x'),\r\n"
                      "  D DATETIME NOT NULL DEFAULT (getdate()),\r\n"
                      "  G UNIQUEIDENTIFIER NOT NULL DEFAULT ((newid())),\r\n"
                      "  Q INTEGER NULL DEFAULT (0),\r\n"
                      "  S DATETIME NULL DEFAULT ('20240131 00:00:00'),\r\n"
                      "  ID INTEGER IDENTITY(1, 1) NOT NULL,\r\n  PRIMARY KEY (C, ID)\r\n"));
    EXPECT_TRUE(statement.contains(
        "\r\n);\r\nEXEC sp_addextendedproperty 'MS_Description', 'Client''s code', " + target +
        "'C';\r\nEXEC sp_addextendedproperty 'MS_Description', '', " + target + "'D';\r\n"));
    EXPECT_TRUE(statement.endsWith("'', " + target + "'ID';\r\n"));

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

    // Without a key there is no key line; without a comment statement each column still gets its ";".
    qlQueryConstructor my;
    my.setProviderType(ql_eProviderType::MySql);
    my.SetTable("NOTES");
    my.AddField(Column("BODY", T::TypeMemo, 0, true, "utf8mb4_bin"));
    EXPECT_EQ(
        my.MakeQuery(ql_eQueryType::CreateTable),
        QString("CREATE TABLE dbo.NOTES\r\n(\r\n  BODY TINYTEXT COLLATE utf8mb4_bin NULL\r\n);\r\n;\r\n"));
}

// The SQL Server routes (drop, fill then tighten, the rename of a memo) are checked through the
// table alteration that writes them; here the provider words, the clock and the quirks.
TEST(SchemaStatementsTest, AlterTableRoutes) {
    EXPECT_EQ(Alter(Column("N", T::TypeCharUnicode, 10, false, "C1"), Action::Alter_ModifyField),
              kAlter + "N NCHAR(10) COLLATE C1" + SEP +
                  "UPDATE A01_T\r\nSET N = N''\r\n WHERE N IS NULL\r\n" + SEP + kAlter +
                  "N NCHAR(10) COLLATE C1  NOT NULL");
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

    // A memo is rebuilt through a rename, in the provider's type words, and so is a column leaving one.
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
    EXPECT_EQ(Alter(Column("C", T::TypeVarChar, 20, true), Action::Alter_ModifyField, &useTransaction),
              kAlter + "C VARCHAR(20) NULL");
    EXPECT_TRUE(useTransaction);

    // Widening an identity keeps it: no second identity clause.
    EXPECT_EQ(Alter(Column("ID", T::TypeBigCounter, 0, false, QString(), QString(), T::TypeCounter),
                    Action::Alter_ModifyField),
              kAlter + "ID BIGINT NOT NULL");
    EXPECT_EQ(Alter(Column("ID", T::TypeBigCounter, 0, false), Action::Alter_ModifyField),
              kAlter + "ID BIGINT IDENTITY(1, 1) NOT NULL");
}

TEST(SchemaStatementsTest, PrimaryKeyAndDropIndex) {
    qlQueryConstructor q;
    q.SetTable("X");
    q.AddSelectField("A");
    q.AddSelectField("B");
    // A taken name gets the next number, compared without case.
    q.AddDropIndex("PK_X");
    q.AddDropIndex("pk_x1");
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::CreatePrimaryKey),
              QString("ALTER TABLE X ADD CONSTRAINT PK_X2\r\n PRIMARY KEY (\r\nA,B)"));
    // DropIndex works on the first index only.
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::DropIndex), QString("DROP INDEX X.PK_X"));
    EXPECT_EQ(test::RaisedBy([] { qlQueryConstructor().MakeQuery(ql_eQueryType::DropIndex); }).Number,
              kErrSubscript);
}

TEST(TypeTranslationTest, WordsOfEveryTypeForEveryProvider) {
    // Words in provider order SQLServer, MsAccess, SyBase, MySql, Oracle, ODBC, FoxPro, joined by "|";
    // a single word stands for all seven. One row for each kind of entry: sized, plain, per provider.
    const std::tuple<T, int32_t, const char*> rows[] = {
        {T::TypeChar, 10, "CHAR(10)|CHAR(10)|CHAR(10)|CHAR(10)|CHAR(10)||"},
        {T::TypeVarChar, -1, "VARCHAR(max)|VARCHAR(max)|VARCHAR(max)|VARCHAR(max)|VARCHAR(max)||"},
        {T::TypeInt, 0, "INTEGER"},
        {T::TypeLong, 0, "BIGINT|DOUBLE|LONG|BIGINT|LONG|LONG|LONG"},
        {T::TypeDbl, 0, "FLOAT|DOUBLE|DOUBLE|DOUBLE|DOUBLE|DOUBLE|DOUBLE"},
        {T::TypeDate, 5, "CHAR(8)"},
        {T::TypeMemo, 0, "TEXT|MEMO|MEMO|TINYTEXT|MEMO|MEMO|MEMO"},
        {T::TypeCounter, 0,
         "INTEGER IDENTITY(1, 1)|AUTOINCREMENT NOT NULL|INTEGER NOT NULL DEFAULT AUTOINCREMENT|"
         "INTEGER NOT NULL AUTO_INCREMENT|INTEGER NOT NULL AUTOINCREMENT||"},
        {T::TypeBinary, 10, ""},
        {T::TypeOLEObject, 0, "IMAGE|OLEOBJECT|OLEOBJECT|OLEOBJECT|OLEOBJECT|OLEOBJECT|OLEOBJECT"},
        {T::TypeByte, 0, "TINYINT||TINYINT||||"},
        {T::TypeSqlExpression, 0, ""},
        {T::TypeCharUnicode, 3, "NCHAR(3)"},
        {T::TypeVarCharUnicode, -1, "NVARCHAR(max)"},
        {static_cast<T>(99), 0, ""},
    };
    qlQueryConstructor q;
    for (const auto& [type, size, text] : rows) {
        QStringList words;
        for (P provider : {P::SQLServer, P::MsAccess, P::SyBase, P::MySql, P::Oracle, P::ODBC, P::FoxPro}) {
            q.setProviderType(provider);
            words << q.TranslateType(type, size);
        }
        EXPECT_EQ(words.join('|'),
                  QString(text).contains('|') ? QString(text) : QStringList(7, text).join('|'));
    }
}

TEST(TypeTranslationTest, FormatDefaultValue) {
    const std::tuple<QVariant, T, const char*> rows[] = {
        // Numbers lose every parenthesis and quote.
        {"('1')", T::TypeBit, "1"},
        {"(-(2.5))", T::TypeDbl, "-2.5"},
        // Texts and dates lose one layer only, so a doubly wrapped text keeps its inner layer.
        {"(('x'))", T::TypeVarChar, "('x')"},
        {"(getdate())", T::TypeDateTime, "getdate()"},
        // Other types keep the text as it stands; Null and Empty are "".
        {"(newid())", T::TypeGUID, "(newid())"},
        {QVariant(), T::TypeInt, ""},
        {QVariant::fromValue(nullptr), T::TypeChar, ""},
    };
    qlQueryConstructor q;
    for (const auto& [catalog, type, bare] : rows)
        EXPECT_EQ(q.FormatDefaultValue(catalog, type), QString(bare)) << bare;
}
