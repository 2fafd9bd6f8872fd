#include "platform/tools/conversions.h"
#include "platform/tools/sql_literal.h"
#include "sql/sql_test_support.h"

#include <QByteArray>
#include <QDateTime>
#include <QUuid>

#include <limits>
#include <tuple>

using namespace qldb;

using P = ql_eProviderType;
using T = ql_eDataType;

const P kAllProviders[] = {P::SQLServer, P::MsAccess, P::SyBase, P::MySql, P::Oracle, P::ODBC, P::FoxPro};
const QDateTime kMoment(QDate(2024, 1, 31), QTime(13, 45, 7));

TEST(FormatSqlValue, WhatEveryProviderWritesAlike) {
    for (const P provider : kAllProviders) {
        for (int type = 0; type <= 103; ++type) {
            EXPECT_EQ(FormatSqlValue(QVariant(), static_cast<T>(type), provider), "NULL");
            EXPECT_EQ(FormatSqlValue(NullVariant(), static_cast<T>(type), provider), "NULL");
        }
        for (const T type : {T::TypeChar, T::TypeVarChar, T::TypeMemo, T::TypeGUID, T::TypeCharUnicode,
                             T::TypeVarCharUnicode, T::TypeMemoUnicode})
            EXPECT_EQ(FormatSqlValue(QString("O'Brien"), type, provider),
                      (static_cast<int>(type) > 100 && provider == P::SQLServer ? "N" : "") +
                          QString("'O''Brien'"));
        for (const T type :
             {T::TypeInt, T::TypeLong, T::TypeDbl, T::TypeCounter, T::TypeBigCounter, T::TypeByte}) {
            EXPECT_EQ(FormatSqlValue(-7, type, provider), "-7");
            EXPECT_EQ(FormatSqlValue(QString("1; DELETE FROM X"), type, provider), "0");
        }
        EXPECT_EQ(FormatSqlValue(kMoment, T::TypeDate, provider), "'20240131'");
        EXPECT_EQ(FormatSqlValue(kMoment, T::TypeTime, provider), "'134507'");
        EXPECT_EQ(FormatSqlValue(QString("'a' + GETDATE()"), T::TypeSqlExpression, provider),
                  "'a' + GETDATE()");
    }
}

TEST(FormatSqlValue, LiteralsByTypeAndProvider) {
    const QByteArray bytes("\x01\xAB\x00\xff", 4);
    const QDateTime withMs(QDate(2024, 1, 31), QTime(13, 45, 7, 250));
    const std::tuple<QVariant, T, P, const char*> rows[] = {
        // An empty text is a value, not a missing one; backslashes are escapes in MySQL only.
        {QString(), T::TypeVarChar, P::SQLServer, "''"},
        {QString("C:\\d\\'x"), T::TypeChar, P::MySql, "'C:\\\\d\\\\''x'"},
        {QString("C:\\d"), T::TypeChar, P::SQLServer, "'C:\\d'"},
        {QUuid(QStringLiteral("{6f9619ff-8b86-d011-b42d-00c04fc964ff}")), T::TypeGUID, P::SQLServer,
         "'6f9619ff-8b86-d011-b42d-00c04fc964ff'"},
        // Numbers: invariant shortest text, whole 64-bit values exact, anything else 0.
        {qlonglong(9007199254740993LL), T::TypeBigCounter, P::SQLServer, "9007199254740993"},
        {qulonglong(18446744073709551615ULL), T::TypeBigCounter, P::SQLServer, "18446744073709551615"},
        {0.1, T::TypeDbl, P::SQLServer, "0.1"},
        {QString(" 3.50 "), T::TypeDbl, P::SQLServer, "3.5"},
        {QString("1,5"), T::TypeDbl, P::SQLServer, "0"},
        {std::numeric_limits<double>::infinity(), T::TypeDbl, P::SQLServer, "0"},
        {true, T::TypeBit, P::MySql, "1"},
        {QString("1'; --"), T::TypeBit, P::SQLServer, "0"},
        {QString("0"), T::TypeBit, P::MsAccess, "False"},
        {QString("x'y"), T::TypeDate, P::SQLServer, "'x''y'"},
        // Date and time: each provider's own form.
        {kMoment, T::TypeDateTime, P::SQLServer, "'20240131 13:45:07'"},
        {kMoment, T::TypeDateTime, P::MsAccess, "#01/31/2024 13:45:07#"},
        {kMoment, T::TypeDateTime, P::MySql, "'2024-01-31 13:45:07'"},
        {kMoment, T::TypeDateTime, P::Oracle, "TO_DATE('2024-01-31 13:45:07','YYYY-MM-DD HH24:MI:SS')"},
        {kMoment, T::TypeDateTime, P::ODBC, "{ts '2024-01-31 13:45:07'}"},
        {kMoment, T::TypeDateTime, P::FoxPro, "{^2024-01-31 13:45:07}"},
        {withMs, T::TypeDateTime, P::SQLServer, "'20240131 13:45:07.250'"},
        {withMs, T::TypeDateTime, P::MsAccess, "#01/31/2024 13:45:07#"},
        {QDate(2024, 2, 29), T::TypeDateTime, P::SQLServer, "'20240229 00:00:00'"},
        // Texts in unambiguous forms are read; anything else goes quoted, for the server to judge.
        {QString("20240131134507"), T::TypeDateTime, P::MsAccess, "#01/31/2024 13:45:07#"},
        {QString(" 2024-01-31 13:45:07.005 "), T::TypeDateTime, P::MySql, "'2024-01-31 13:45:07.005'"},
        {QString("2024-01-31"), T::TypeDateTime, P::FoxPro, "{^2024-01-31 00:00:00}"},
        {QString("2024-02-30"), T::TypeDateTime, P::SQLServer, "'2024-02-30'"},
        {QString("x' OR 1=1"), T::TypeDateTime, P::MsAccess, "'x'' OR 1=1'"},
        {bytes, T::TypeOLEObject, P::SQLServer, "0x01AB00FF"},
        {bytes, T::TypeBinary, P::MySql, "0x01AB00FF"},
        {QByteArray(), T::TypeBinary, P::MySql, "X''"},
        {bytes, T::TypeOLEObject, P::ODBC, "X'01AB00FF'"},
        {bytes, T::TypeBinary, P::Oracle, "HEXTORAW('01AB00FF')"},
        {bytes, T::TypeBinary, P::FoxPro, "0h01AB00FF"},
        // A text is hex digits after 0x, or else its own bytes.
        {QString("0x01ab"), T::TypeBinary, P::SQLServer, "0x01AB"},
        {QString("0x1"), T::TypeBinary, P::SQLServer, "0x307831"},
    };
    for (const auto& [value, type, provider, expected] : rows)
        EXPECT_EQ(FormatSqlValue(value, type, provider), QString::fromUtf8(expected)) << expected;

    const QLocale saved;
    QLocale::setDefault(QLocale(QLocale::Italian, QLocale::Italy));
    EXPECT_EQ(FormatSqlValue(1234567.5, T::TypeDbl, P::SQLServer), "1234567.5");
    EXPECT_EQ(FormatSqlValue(QString("1234.5"), T::TypeDbl, P::SQLServer), "1234.5");
    QLocale::setDefault(saved);
}

// Defaults and values that the server computes are SQL of their own; only whole call or group
// shapes count, so a value cannot bring a clause into the statement.
TEST(FormatSqlValue, ServerComputedDatesAndGuidsGoUnquoted) {
    const std::tuple<QString, T, const char*> rows[] = {
        {"getdate()", T::TypeDateTime, "getdate()"},
        {"CURRENT_TIMESTAMP", T::TypeDateTime, "CURRENT_TIMESTAMP"},
        {"dateadd(day, (1), getdate())", T::TypeDateTime, "dateadd(day, (1), getdate())"},
        {"(newid())", T::TypeGUID, "(newid())"},
        {"convert(char(8), getdate(), 112)", T::TypeDate, "convert(char(8), getdate(), 112)"},
        {"replace(convert(varchar(8), getdate(), 108), ':', '')", T::TypeTime,
         "replace(convert(varchar(8), getdate(), 108), ':', '')"},
        {"6f9619ff-8b86-d011-b42d-00c04fc964ff", T::TypeGUID, "'6f9619ff-8b86-d011-b42d-00c04fc964ff'"},
        {"", T::TypeDateTime, "''"},
        {"getdate()", T::TypeVarChar, "'getdate()'"},
        // Shapes that would carry more than one value stay quoted texts.
        {"getdate() OR 1=1", T::TypeDateTime, "'getdate() OR 1=1'"},
        {"(1) OR (1=1)", T::TypeDate, "'(1) OR (1=1)'"},
        {"x(')') OR (1=1)", T::TypeGUID, "'x('')'') OR (1=1)'"},
        {"(SELECT MAX(D) FROM T)", T::TypeDateTime, "'(SELECT MAX(D) FROM T)'"},
        {"getdate()); DROP TABLE T; (", T::TypeDateTime, "'getdate()); DROP TABLE T; ('"},
        {"getdate(/*)*/)", T::TypeTime, "'getdate(/*)*/)'"},
    };
    for (const auto& [value, type, expected] : rows)
        EXPECT_EQ(FormatSqlValue(value, type, P::SQLServer), QString::fromUtf8(expected)) << expected;
}
