#include "platform/conversions.h"
#include "platform/sql_literal.h"

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QTime>
#include <QUuid>
#include <gtest/gtest.h>

namespace qldb {
namespace {

using P = ql_eProviderType;
using T = ql_eDataType;

const P kAllProviders[] = {P::SQLServer, P::MsAccess, P::SyBase, P::MySql, P::Oracle, P::ODBC, P::FoxPro};

QString Fmt(const QVariant& v, T type, P provider = P::SQLServer) {
    return FormatSqlValue(v, type, provider);
}

TEST(FormatSqlValue, NullAndEmptyAreNullForEveryTypeAndProvider) {
    const T types[] = {T::TypeChar, T::TypeInt,  T::TypeDbl,    T::TypeDate,          T::TypeTime,
                       T::TypeBit,  T::TypeMemo, T::TypeBinary, T::TypeSqlExpression, T::TypeMemoUnicode};
    for (const P provider : kAllProviders) {
        for (const T type : types) {
            EXPECT_EQ(Fmt(QVariant(), type, provider), "NULL");
            EXPECT_EQ(Fmt(NullVariant(), type, provider), "NULL");
            EXPECT_EQ(Fmt(QVariant(QMetaType::fromType<QString>()), type, provider), "NULL");
        }
    }
    // An empty text is a value, not a missing one.
    EXPECT_EQ(Fmt(QString(""), T::TypeChar), "''");
    EXPECT_EQ(Fmt(QString(), T::TypeVarChar), "''");
}

TEST(FormatSqlValue, TextsAreQuotedWithQuotesDoubled) {
    for (const T type : {T::TypeChar, T::TypeVarChar, T::TypeMemo, T::TypeGUID}) {
        for (const P provider : kAllProviders) {
            EXPECT_EQ(Fmt(QString("O'Brien"), type, provider), "'O''Brien'");
        }
    }
    EXPECT_EQ(Fmt(QString("''; DROP TABLE X --"), T::TypeChar), "'''''; DROP TABLE X --'");
    EXPECT_EQ(Fmt(QString("a\r\nb"), T::TypeMemo), "'a\r\nb'");
    // Backslashes are escapes in MySQL strings only.
    EXPECT_EQ(Fmt(QString("C:\\dir\\'x"), T::TypeChar, P::MySql), "'C:\\\\dir\\\\''x'");
    EXPECT_EQ(Fmt(QString("C:\\dir"), T::TypeChar, P::SQLServer), "'C:\\dir'");
    // Non-text values in text columns are their text.
    EXPECT_EQ(Fmt(42, T::TypeChar), "'42'");
    EXPECT_EQ(Fmt(2.5, T::TypeVarChar), "'2.5'");
    EXPECT_EQ(Fmt(true, T::TypeChar), "'True'");
    EXPECT_EQ(Fmt(QDate(2024, 1, 31), T::TypeChar), "'2024-01-31'");
    EXPECT_EQ(Fmt(QString("x"), T::TypeNotSupported), "'x'");
    EXPECT_EQ(Fmt(QString("x"), static_cast<T>(55)), "'x'");
}

TEST(FormatSqlValue, UnicodeTypesGetTheNPrefixOnSqlServerOnly) {
    const QString text = QString::fromUtf8("Città d'Oro €");
    for (const T type : {T::TypeCharUnicode, T::TypeVarCharUnicode, T::TypeMemoUnicode}) {
        EXPECT_EQ(Fmt(text, type, P::SQLServer), QString::fromUtf8("N'Città d''Oro €'"));
        for (const P provider : {P::MsAccess, P::SyBase, P::MySql, P::Oracle, P::ODBC, P::FoxPro})
            EXPECT_EQ(Fmt(text, type, provider), QString::fromUtf8("'Città d''Oro €'"));
    }
    EXPECT_EQ(Fmt(text, T::TypeVarChar, P::SQLServer), QString::fromUtf8("'Città d''Oro €'"));
}

TEST(FormatSqlValue, GuidsAreQuotedWithoutBraces) {
    const QUuid id(QStringLiteral("{6f9619ff-8b86-d011-b42d-00c04fc964ff}"));
    EXPECT_EQ(Fmt(id, T::TypeGUID), "'6f9619ff-8b86-d011-b42d-00c04fc964ff'");
    EXPECT_EQ(Fmt(QString("{6F9619FF-8B86-D011-B42D-00C04FC964FF}"), T::TypeGUID),
              "'{6F9619FF-8B86-D011-B42D-00C04FC964FF}'");
}

TEST(FormatSqlValue, NumbersAreInvariantTextAndNeverInjections) {
    for (const T type :
         {T::TypeInt, T::TypeLong, T::TypeDbl, T::TypeCounter, T::TypeBigCounter, T::TypeByte}) {
        for (const P provider : kAllProviders) {
            EXPECT_EQ(Fmt(42, type, provider), "42");
            EXPECT_EQ(Fmt(QString("1; DELETE FROM X"), type, provider), "0");
        }
    }
    EXPECT_EQ(Fmt(-7, T::TypeLong), "-7");
    EXPECT_EQ(Fmt(qlonglong(9007199254740993LL), T::TypeBigCounter), "9007199254740993");
    EXPECT_EQ(Fmt(qulonglong(18446744073709551615ULL), T::TypeBigCounter), "18446744073709551615");
    EXPECT_EQ(Fmt(QString("9007199254740993"), T::TypeBigCounter), "9007199254740993");
    EXPECT_EQ(Fmt(0.1, T::TypeDbl), "0.1");
    EXPECT_EQ(Fmt(1234567.25, T::TypeDbl), "1234567.25");
    EXPECT_EQ(Fmt(3.0, T::TypeDbl), "3");
    EXPECT_EQ(Fmt(1e20, T::TypeDbl), "1e+20");
    EXPECT_EQ(Fmt(QString(" 3.50 "), T::TypeDbl), "3.5");
    EXPECT_EQ(Fmt(QString("-12"), T::TypeInt), "-12");
    EXPECT_EQ(Fmt(QString("1e3"), T::TypeDbl), "1000");
    // Locale forms, words and non-finite values are no numbers.
    EXPECT_EQ(Fmt(QString("1,5"), T::TypeDbl), "0");
    EXPECT_EQ(Fmt(QString("1.000,5"), T::TypeDbl), "0");
    EXPECT_EQ(Fmt(QString("abc"), T::TypeInt), "0");
    EXPECT_EQ(Fmt(QString(""), T::TypeInt), "0");
    EXPECT_EQ(Fmt(QString("inf"), T::TypeDbl), "0");
    EXPECT_EQ(Fmt(std::numeric_limits<double>::quiet_NaN(), T::TypeDbl), "0");
    EXPECT_EQ(Fmt(QDate(2024, 1, 31), T::TypeLong), "0");
    EXPECT_EQ(Fmt(true, T::TypeInt), "-1");
    EXPECT_EQ(Fmt(false, T::TypeInt), "0");
}

TEST(FormatSqlValue, NumbersIgnoreTheLocale) {
    const QLocale saved;
    QLocale::setDefault(QLocale(QLocale::Italian, QLocale::Italy));
    EXPECT_EQ(Fmt(1234.5, T::TypeDbl), "1234.5");
    EXPECT_EQ(Fmt(QString("1234.5"), T::TypeDbl), "1234.5");
    EXPECT_EQ(Fmt(1234567, T::TypeLong), "1234567");
    QLocale::setDefault(saved);
}

TEST(FormatSqlValue, BitsFromBoolsNumbersAndTexts) {
    for (const P provider : {P::SQLServer, P::SyBase, P::MySql, P::Oracle, P::ODBC, P::FoxPro}) {
        EXPECT_EQ(Fmt(true, T::TypeBit, provider), "1");
        EXPECT_EQ(Fmt(false, T::TypeBit, provider), "0");
    }
    EXPECT_EQ(Fmt(true, T::TypeBit, P::MsAccess), "True");
    EXPECT_EQ(Fmt(false, T::TypeBit, P::MsAccess), "False");
    EXPECT_EQ(Fmt(-1, T::TypeBit), "1");
    EXPECT_EQ(Fmt(5, T::TypeBit), "1");
    EXPECT_EQ(Fmt(0, T::TypeBit), "0");
    EXPECT_EQ(Fmt(0.0, T::TypeBit), "0");
    EXPECT_EQ(Fmt(QString("true"), T::TypeBit), "1");
    EXPECT_EQ(Fmt(QString("TRUE"), T::TypeBit), "1");
    EXPECT_EQ(Fmt(QString("-1"), T::TypeBit), "1");
    EXPECT_EQ(Fmt(QString("false"), T::TypeBit), "0");
    EXPECT_EQ(Fmt(QString("0"), T::TypeBit), "0");
    EXPECT_EQ(Fmt(QString("1'; --"), T::TypeBit), "0");
    EXPECT_EQ(Fmt(QString("-1"), T::TypeBit, P::MsAccess), "True");
}

TEST(FormatSqlValue, DatesAndTimesAreTheirCompactTexts) {
    const QDateTime moment(QDate(2024, 1, 31), QTime(13, 45, 7));
    for (const P provider : kAllProviders) {
        EXPECT_EQ(Fmt(QDate(2024, 1, 31), T::TypeDate, provider), "'20240131'");
        EXPECT_EQ(Fmt(moment, T::TypeDate, provider), "'20240131'");
        EXPECT_EQ(Fmt(QTime(9, 5, 3), T::TypeTime, provider), "'090503'");
        EXPECT_EQ(Fmt(moment, T::TypeTime, provider), "'134507'");
    }
    EXPECT_EQ(Fmt(QString("20240131"), T::TypeDate), "'20240131'");
    EXPECT_EQ(Fmt(QString("x'y"), T::TypeDate), "'x''y'");
    EXPECT_EQ(Fmt(QString("1345"), T::TypeTime), "'1345'");
}

TEST(FormatSqlValue, DateTimesTakeEachProvidersForm) {
    const QDateTime moment(QDate(2024, 1, 31), QTime(13, 45, 7));
    EXPECT_EQ(Fmt(moment, T::TypeDateTime, P::SQLServer), "'20240131 13:45:07'");
    EXPECT_EQ(Fmt(moment, T::TypeDateTime, P::SyBase), "'20240131 13:45:07'");
    EXPECT_EQ(Fmt(moment, T::TypeDateTime, P::MsAccess), "#01/31/2024 13:45:07#");
    EXPECT_EQ(Fmt(moment, T::TypeDateTime, P::MySql), "'2024-01-31 13:45:07'");
    EXPECT_EQ(Fmt(moment, T::TypeDateTime, P::Oracle),
              "TO_DATE('2024-01-31 13:45:07','YYYY-MM-DD HH24:MI:SS')");
    EXPECT_EQ(Fmt(moment, T::TypeDateTime, P::ODBC), "{ts '2024-01-31 13:45:07'}");
    EXPECT_EQ(Fmt(moment, T::TypeDateTime, P::FoxPro), "{^2024-01-31 13:45:07}");

    const QDateTime withMs(QDate(2024, 1, 31), QTime(13, 45, 7, 250));
    EXPECT_EQ(Fmt(withMs, T::TypeDateTime, P::SQLServer), "'20240131 13:45:07.250'");
    EXPECT_EQ(Fmt(withMs, T::TypeDateTime, P::MySql), "'2024-01-31 13:45:07.250'");
    EXPECT_EQ(Fmt(withMs, T::TypeDateTime, P::ODBC), "{ts '2024-01-31 13:45:07.250'}");
    EXPECT_EQ(Fmt(withMs, T::TypeDateTime, P::MsAccess), "#01/31/2024 13:45:07#");

    EXPECT_EQ(Fmt(QDate(2024, 2, 29), T::TypeDateTime, P::SQLServer), "'20240229 00:00:00'");
    // Texts in unambiguous forms are read and written in the provider's form.
    for (const char* text :
         {"2024-01-31T13:45:07", "2024-01-31 13:45:07", "20240131 13:45:07", "20240131134507"})
        EXPECT_EQ(Fmt(QString(text), T::TypeDateTime, P::MsAccess), "#01/31/2024 13:45:07#") << text;
    EXPECT_EQ(Fmt(QString("2024-01-31"), T::TypeDateTime, P::Oracle),
              "TO_DATE('2024-01-31 00:00:00','YYYY-MM-DD HH24:MI:SS')");
    EXPECT_EQ(Fmt(QString("20240131"), T::TypeDateTime, P::FoxPro), "{^2024-01-31 00:00:00}");
    // Anything else is passed on quoted, for the server to judge.
    EXPECT_EQ(Fmt(QString(" 2024-01-31 13:45:07.250 "), T::TypeDateTime, P::SQLServer),
              "'20240131 13:45:07.250'");
    EXPECT_EQ(Fmt(QString("20240131 13:45:07.005"), T::TypeDateTime, P::MySql), "'2024-01-31 13:45:07.005'");
    EXPECT_EQ(Fmt(QString("31/01/2024"), T::TypeDateTime, P::SQLServer), "'31/01/2024'");
    EXPECT_EQ(Fmt(QString("2024-02-30"), T::TypeDateTime, P::SQLServer), "'2024-02-30'");
    EXPECT_EQ(Fmt(QString("2024-01-31 25:00:00"), T::TypeDateTime, P::SQLServer), "'2024-01-31 25:00:00'");
    EXPECT_EQ(Fmt(QString("2024-01-31X13:45:07"), T::TypeDateTime, P::SQLServer), "'2024-01-31X13:45:07'");
    EXPECT_EQ(Fmt(QString("2024/01/31"), T::TypeDateTime, P::SQLServer), "'2024/01/31'");
    EXPECT_EQ(Fmt(QString("20241331"), T::TypeDateTime, P::SQLServer), "'20241331'");
    EXPECT_EQ(Fmt(QString("x' OR 1=1"), T::TypeDateTime, P::MsAccess), "'x'' OR 1=1'");
}

TEST(FormatSqlValue, BinariesAreHexLiterals) {
    const QByteArray bytes("\x01\xAB\x00\xff", 4);
    for (const T type : {T::TypeBinary, T::TypeOLEObject}) {
        EXPECT_EQ(Fmt(bytes, type, P::SQLServer), "0x01AB00FF");
        EXPECT_EQ(Fmt(bytes, type, P::SyBase), "0x01AB00FF");
        EXPECT_EQ(Fmt(bytes, type, P::MySql), "0x01AB00FF");
        EXPECT_EQ(Fmt(bytes, type, P::MsAccess), "X'01AB00FF'");
        EXPECT_EQ(Fmt(bytes, type, P::ODBC), "X'01AB00FF'");
        EXPECT_EQ(Fmt(bytes, type, P::Oracle), "HEXTORAW('01AB00FF')");
        EXPECT_EQ(Fmt(bytes, type, P::FoxPro), "0h01AB00FF");
    }
    EXPECT_EQ(Fmt(QByteArray(), T::TypeBinary, P::SQLServer), "0x");
    EXPECT_EQ(Fmt(QByteArray(), T::TypeBinary, P::MySql), "X''");
    EXPECT_EQ(Fmt(QString("0x01ab"), T::TypeBinary), "0x01AB");
    EXPECT_EQ(Fmt(QString("AB'"), T::TypeBinary), "0x414227");
    EXPECT_EQ(Fmt(QString("0x1"), T::TypeBinary), "0x307831");
}

TEST(FormatSqlValue, SqlExpressionsStandAsTheyAre) {
    for (const P provider : kAllProviders) {
        EXPECT_EQ(Fmt(QString("GETDATE()"), T::TypeSqlExpression, provider), "GETDATE()");
        EXPECT_EQ(Fmt(QString("'a' + 'b'"), T::TypeSqlExpression, provider), "'a' + 'b'");
    }
    EXPECT_EQ(Fmt(12, T::TypeSqlExpression), "12");
}

} // namespace
} // namespace qldb
