#include "sql/ql_query_constructor.h"
#include "sql_test_support.h"

#include <tuple>

using namespace qldb;
using T = ql_eDataType;
using P = ql_eProviderType;

TEST(TypeTranslationTest, WordsOfEveryTypeForEveryProvider) {
    // Words in provider order SQLServer, MsAccess, SyBase, MySql, Oracle, ODBC, FoxPro, joined by "|";
    // a single word stands for all seven.
    const std::tuple<T, int32_t, const char*> rows[] = {
        {T::TypeChar, 10, "CHAR(10)|CHAR(10)|CHAR(10)|CHAR(10)|CHAR(10)||"},
        {T::TypeVarChar, -1, "VARCHAR(max)|VARCHAR(max)|VARCHAR(max)|VARCHAR(max)|VARCHAR(max)||"},
        {T::TypeInt, 0, "INTEGER"},
        {T::TypeLong, 0, "BIGINT|DOUBLE|LONG|BIGINT|LONG|LONG|LONG"},
        {T::TypeDbl, 0, "FLOAT|DOUBLE|DOUBLE|DOUBLE|DOUBLE|DOUBLE|DOUBLE"},
        {T::TypeDate, 5, "CHAR(8)"},
        {T::TypeTime, 0, "CHAR(6)"},
        {T::TypeDateTime, 0, "DATETIME"},
        {T::TypeBit, 0, "BIT"},
        {T::TypeMemo, 0, "TEXT|MEMO|MEMO|TINYTEXT|MEMO|MEMO|MEMO"},
        {T::TypeCounter, 0,
         "INTEGER IDENTITY(1, 1)|AUTOINCREMENT NOT NULL|INTEGER NOT NULL DEFAULT AUTOINCREMENT|"
         "INTEGER NOT NULL AUTO_INCREMENT|INTEGER NOT NULL AUTOINCREMENT||"},
        {T::TypeBigCounter, 0,
         "BIGINT IDENTITY(1, 1)|AUTOINCREMENT NOT NULL|BIGINT NOT NULL DEFAULT AUTOINCREMENT|"
         "BIGINT NOT NULL AUTO_INCREMENT|BIGINT NOT NULL AUTOINCREMENT||"},
        {T::TypeBinary, 10, ""},
        {T::TypeOLEObject, 0, "IMAGE|OLEOBJECT|OLEOBJECT|OLEOBJECT|OLEOBJECT|OLEOBJECT|OLEOBJECT"},
        {T::TypeByte, 0, "TINYINT||TINYINT||||"},
        {T::TypeNotSupported, 0, ""},
        {T::TypeSqlExpression, 0, ""},
        {T::TypeGUID, 0, "UNIQUEIDENTIFIER"},
        {T::TypeCharUnicode, 3, "NCHAR(3)"},
        {T::TypeVarCharUnicode, -1, "NVARCHAR(max)"},
        {T::TypeMemoUnicode, 0, "NTEXT"},
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
        {"((0))", T::TypeInt, "0"},
        {"('1')", T::TypeBit, "1"},
        {"(-(2.5))", T::TypeDbl, "-2.5"},
        // Texts and dates lose one layer only, so a doubly wrapped text keeps its inner layer.
        {"('A')", T::TypeChar, "A"},
        {"(('x'))", T::TypeVarChar, "('x')"},
        {"'it''s'", T::TypeMemoUnicode, "it''s"},
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

TEST(TypeTranslationTest, CommentsAndDefaultConstraints) {
    qlQueryConstructor q;
    EXPECT_EQ(
        q.SetCommentOnColumn("T", "C", "It's", true),
        QString("EXEC sp_dropextendedproperty 'MS_Description', 'user', dbo, 'table', 'T', 'column', 'C'\r\n"
                "EXEC sp_addextendedproperty 'MS_Description', 'It''s', 'user', dbo, 'table', 'T', "
                "'column', 'C'"));
    EXPECT_EQ(q.GetDefaultConstraintName("A01_T", "C").toString(),
              "SELECT NAME FROM SYSOBJECTS SO\rJOIN SYSCONSTRAINTS SC ON SO.ID = SC.CONSTID\r"
              "WHERE OBJECT_NAME(SO.PARENT_OBJ) = 'A01_T' AND\r"
              "      SO.XTYPE = 'D' AND SC.COLID = (SELECT COLID FROM SYSCOLUMNS\r"
              "                                     WHERE ID = OBJECT_ID('A01_T') AND\r"
              "                                           NAME = 'C')");
    EXPECT_EQ(q.AddDefaultValue("A01_T", "C", "'x'"),
              QString("ALTER TABLE A01_T WITH NOCHECK ADD CONSTRAINT [DF_A01_T_C] DEFAULT 'x' FOR [C]"));
    EXPECT_EQ(q.DropDefaultValue("A01_T", "DF_A01_T_C"),
              QString("ALTER TABLE A01_T DROP CONSTRAINT [DF_A01_T_C]\r\n"));
    q.setProviderType(P::SyBase);
    EXPECT_EQ(q.SetCommentOnColumn("T", "C's", "a'b", true), QString("COMMENT ON COLUMN T.C's IS 'a''b'"));
    EXPECT_EQ(q.GetDefaultConstraintName("T", "C").toString() + q.AddDefaultValue("T", "C", "1") +
                  q.DropDefaultValue("T", "DF"),
              QString());
    q.setProviderType(P::MySql);
    EXPECT_EQ(q.SetCommentOnColumn("T", "C", "x", true), QString());
}
