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
