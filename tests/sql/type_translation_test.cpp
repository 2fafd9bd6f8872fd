#include "platform/sql_literal.h"
#include "sql/ql_query_constructor.h"
#include "sql_test_support.h"

#include <array>

using namespace qldb;
using T = ql_eDataType;
using P = ql_eProviderType;

namespace {

constexpr std::array<P, 7> kProviders{P::SQLServer, P::MsAccess, P::SyBase, P::MySql,
                                      P::Oracle,    P::ODBC,     P::FoxPro};

// The words of one type for the seven providers, in provider order, joined by "|".
QString WordsOf(T type, int32_t size) {
    QStringList words;
    qlQueryConstructor q;
    for (P provider : kProviders) {
        q.setProviderType(provider);
        words << q.TranslateType(type, size);
    }
    return words.join('|');
}

} // namespace

TEST(TypeTranslationTest, WordsPerProvider) {
    // The rows whose words vary by provider, or that have no word somewhere.
    EXPECT_EQ(WordsOf(T::TypeChar, 10), QString("CHAR(10)|CHAR(10)|CHAR(10)|CHAR(10)|CHAR(10)||"));
    EXPECT_EQ(WordsOf(T::TypeLong, 0), QString("BIGINT|DOUBLE|LONG|BIGINT|LONG|LONG|LONG"));
    EXPECT_EQ(WordsOf(T::TypeMemo, 0), QString("TEXT|MEMO|MEMO|TINYTEXT|MEMO|MEMO|MEMO"));
    EXPECT_EQ(WordsOf(T::TypeBigCounter, 0),
              QString("BIGINT IDENTITY(1, 1)|AUTOINCREMENT NOT NULL|BIGINT NOT NULL DEFAULT AUTOINCREMENT|"
                      "BIGINT NOT NULL AUTO_INCREMENT|BIGINT NOT NULL AUTOINCREMENT||"));
    EXPECT_EQ(WordsOf(T::TypeByte, 0), QString("TINYINT||TINYINT||||"));
    EXPECT_EQ(WordsOf(T::TypeDate, 5), QString("CHAR(8)|CHAR(8)|CHAR(8)|CHAR(8)|CHAR(8)|CHAR(8)|CHAR(8)"));

    qlQueryConstructor q;
    EXPECT_EQ(q.TranslateType(T::TypeVarChar, -1), QString("VARCHAR(max)"));
    EXPECT_EQ(q.TranslateType(T::TypeVarCharUnicode, -1), QString("NVARCHAR(max)"));
    EXPECT_EQ(q.TranslateType(T::TypeBinary, 10), QString());
    EXPECT_EQ(q.TranslateType(static_cast<T>(99), 0), QString());
}

TEST(TypeTranslationTest, FormatDefaultValue) {
    qlQueryConstructor q;
    EXPECT_EQ(q.FormatDefaultValue("((0))", T::TypeInt), QString("0"));
    EXPECT_EQ(q.FormatDefaultValue("('1')", T::TypeBit), QString("1"));
    EXPECT_EQ(q.FormatDefaultValue("('A')", T::TypeChar), QString("A"));
    // One layer only, so a doubly wrapped text keeps its inner layer.
    EXPECT_EQ(q.FormatDefaultValue("(('x'))", T::TypeVarChar), QString("('x')"));
    EXPECT_EQ(q.FormatDefaultValue("'it''s'", T::TypeMemo), QString("it''s"));
    EXPECT_EQ(q.FormatDefaultValue("(getdate())", T::TypeDateTime), QString("getdate()"));
    // Other types keep the text as it stands; Null and Empty are "".
    EXPECT_EQ(q.FormatDefaultValue("(newid())", T::TypeGUID), QString("(newid())"));
    EXPECT_EQ(q.FormatDefaultValue(QVariant(), T::TypeInt), QString());
    EXPECT_EQ(q.FormatDefaultValue(QVariant::fromValue(nullptr), T::TypeChar), QString());
}

TEST(TypeTranslationTest, CommentsAndDefaultConstraints) {
    qlQueryConstructor q;
    EXPECT_EQ(q.SetCommentOnColumn("A01_T", "C", "It's", false),
              QString("EXEC sp_addextendedproperty 'MS_Description', 'It''s', 'user', dbo, 'table', 'A01_T', "
                      "'column', 'C'"));
    EXPECT_EQ(
        q.SetCommentOnColumn("T", "C", "x", true),
        QString(
            "EXEC sp_dropextendedproperty 'MS_Description', 'user', dbo, 'table', 'T', 'column', 'C'\r\n"
            "EXEC sp_addextendedproperty 'MS_Description', 'x', 'user', dbo, 'table', 'T', 'column', 'C'"));
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
    EXPECT_EQ(q.GetDefaultConstraintName("T", "C").toString(), QString());
    EXPECT_EQ(q.AddDefaultValue("T", "C", "1"), QString());
    EXPECT_EQ(q.DropDefaultValue("T", "DF"), QString());
    for (P provider : {P::MsAccess, P::MySql, P::Oracle, P::ODBC, P::FoxPro}) {
        q.setProviderType(provider);
        EXPECT_EQ(q.SetCommentOnColumn("T", "C", "x", true), QString());
    }
}
