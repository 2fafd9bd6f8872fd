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

TEST(FormatSqlValue, NullEmptyAndTexts) {
    for (const P provider : kAllProviders) {
        for (const T type :
             {T::TypeChar, T::TypeDbl, T::TypeDate, T::TypeBit, T::TypeBinary, T::TypeSqlExpression}) {
            EXPECT_EQ(Fmt(QVariant(), type, provider), "NULL");
            EXPECT_EQ(Fmt(QVariant(QMetaType::fromType<QString>()), type, provider), "NULL");
        }
        for (const T type : {T::TypeChar, T::TypeVarChar, T::TypeMemo, T::TypeGUID})
            EXPECT_EQ(Fmt(QString("O'Brien"), type, provider), "'O''Brien'");
    }
    // An empty text is a value, not a missing one.
    EXPECT_EQ(Fmt(QString(), T::TypeVarChar), "''");
    EXPECT_EQ(Fmt(QString("''; DROP TABLE X --"), T::TypeChar), "'''''; DROP TABLE X --'");
    // Backslashes are escapes in MySQL strings only.
    EXPECT_EQ(Fmt(QString("C:\\dir\\'x"), T::TypeChar, P::MySql), "'C:\\\\dir\\\\''x'");
    EXPECT_EQ(Fmt(QString("C:\\dir"), T::TypeChar, P::SQLServer), "'C:\\dir'");
    EXPECT_EQ(Fmt(2.5, T::TypeVarChar), "'2.5'");
    EXPECT_EQ(Fmt(true, T::TypeChar), "'True'");
    EXPECT_EQ(Fmt(QString("x"), static_cast<T>(55)), "'x'");
    EXPECT_EQ(Fmt(QUuid(QStringLiteral("{6f9619ff-8b86-d011-b42d-00c04fc964ff}")), T::TypeGUID),
              "'6f9619ff-8b86-d011-b42d-00c04fc964ff'");

    const QString text = QString::fromUtf8("Città d'Oro €");
    for (const T type : {T::TypeCharUnicode, T::TypeVarCharUnicode, T::TypeMemoUnicode}) {
        EXPECT_EQ(Fmt(text, type, P::SQLServer), QString::fromUtf8("N'Città d''Oro €'"));
        EXPECT_EQ(Fmt(text, type, P::SyBase), QString::fromUtf8("'Città d''Oro €'"));
    }
    EXPECT_EQ(Fmt(text, T::TypeVarChar, P::SQLServer), QString::fromUtf8("'Città d''Oro €'"));
}

TEST(FormatSqlValue, NumbersAreInvariantTextAndNeverInjections) {
    for (const T type :
         {T::TypeInt, T::TypeLong, T::TypeDbl, T::TypeCounter, T::TypeBigCounter, T::TypeByte}) {
        EXPECT_EQ(Fmt(-7, type, P::Oracle), "-7");
        EXPECT_EQ(Fmt(QString("1; DELETE FROM X"), type, P::MySql), "0");
    }
    EXPECT_EQ(Fmt(qlonglong(9007199254740993LL), T::TypeBigCounter), "9007199254740993");
    EXPECT_EQ(Fmt(QString("9007199254740993"), T::TypeBigCounter), "9007199254740993");
    EXPECT_EQ(Fmt(qulonglong(18446744073709551615ULL), T::TypeBigCounter), "18446744073709551615");
    EXPECT_EQ(Fmt(0.1, T::TypeDbl), "0.1");
    EXPECT_EQ(Fmt(3.0, T::TypeDbl), "3");
    EXPECT_EQ(Fmt(1e20, T::TypeDbl), "1e+20");
    EXPECT_EQ(Fmt(QString(" 3.50 "), T::TypeDbl), "3.5");
    EXPECT_EQ(Fmt(QString("1e3"), T::TypeDbl), "1000");
    EXPECT_EQ(Fmt(true, T::TypeInt), "-1");
    // Locale forms, words, dates and non-finite values are no numbers.
    for (const char* text : {"1,5", "1.000,5", "abc", "", "inf", "nan"})
        EXPECT_EQ(Fmt(QString(text), T::TypeDbl), "0") << text;
    EXPECT_EQ(Fmt(std::numeric_limits<double>::infinity(), T::TypeDbl), "0");
    EXPECT_EQ(Fmt(QDate(2024, 1, 31), T::TypeLong), "0");

    const QLocale saved;
    QLocale::setDefault(QLocale(QLocale::Italian, QLocale::Italy));
    EXPECT_EQ(Fmt(1234567.5, T::TypeDbl), "1234567.5");
    EXPECT_EQ(Fmt(QString("1234.5"), T::TypeDbl), "1234.5");
    QLocale::setDefault(saved);
}

TEST(FormatSqlValue, Bits) {
    EXPECT_EQ(Fmt(true, T::TypeBit, P::MySql), "1");
    EXPECT_EQ(Fmt(false, T::TypeBit, P::Oracle), "0");
    EXPECT_EQ(Fmt(true, T::TypeBit, P::MsAccess), "True");
    EXPECT_EQ(Fmt(QString("0"), T::TypeBit, P::MsAccess), "False");
    for (const QVariant& yes : {QVariant(-1), QVariant(5), QVariant("TRUE"), QVariant("-1")})
        EXPECT_EQ(Fmt(yes, T::TypeBit), "1") << ToText(yes).toStdString();
    for (const QVariant& no :
         {QVariant(0), QVariant(0.0), QVariant("false"), QVariant("0"), QVariant("1'; --")})
        EXPECT_EQ(Fmt(no, T::TypeBit), "0") << ToText(no).toStdString();
}

TEST(FormatSqlValue, DatesAndTimesAreTheirCompactTexts) {
    const QDateTime moment(QDate(2024, 1, 31), QTime(13, 45, 7));
    for (const P provider : kAllProviders) {
        EXPECT_EQ(Fmt(QDate(2024, 1, 31), T::TypeDate, provider), "'20240131'");
        EXPECT_EQ(Fmt(moment, T::TypeDate, provider), "'20240131'");
        EXPECT_EQ(Fmt(QTime(9, 5, 3), T::TypeTime, provider), "'090503'");
        EXPECT_EQ(Fmt(moment, T::TypeTime, provider), "'134507'");
    }
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
    EXPECT_EQ(Fmt(withMs, T::TypeDateTime, P::ODBC), "{ts '2024-01-31 13:45:07.250'}");
    EXPECT_EQ(Fmt(withMs, T::TypeDateTime, P::MsAccess), "#01/31/2024 13:45:07#");
    EXPECT_EQ(Fmt(QDate(2024, 2, 29), T::TypeDateTime, P::SQLServer), "'20240229 00:00:00'");

    // Texts in unambiguous forms are read and written in the provider's form.
    for (const char* text :
         {"2024-01-31T13:45:07", "2024-01-31 13:45:07", "20240131 13:45:07", "20240131134507"})
        EXPECT_EQ(Fmt(QString(text), T::TypeDateTime, P::MsAccess), "#01/31/2024 13:45:07#") << text;
    EXPECT_EQ(Fmt(QString(" 2024-01-31 13:45:07.250 "), T::TypeDateTime), "'20240131 13:45:07.250'");
    EXPECT_EQ(Fmt(QString("20240131 13:45:07.005"), T::TypeDateTime, P::MySql), "'2024-01-31 13:45:07.005'");
    EXPECT_EQ(Fmt(QString("2024-01-31"), T::TypeDateTime, P::Oracle),
              "TO_DATE('2024-01-31 00:00:00','YYYY-MM-DD HH24:MI:SS')");
    EXPECT_EQ(Fmt(QString("20240131"), T::TypeDateTime, P::FoxPro), "{^2024-01-31 00:00:00}");
    // Anything else is passed on quoted, for the server to judge.
    for (const char* text :
         {"31/01/2024", "2024-02-30", "2024-01-31 25:00:00", "2024-01-31X13:45:07", "2024/01/31"})
        EXPECT_EQ(Fmt(QString(text), T::TypeDateTime), "'" + QString(text) + "'") << text;
    EXPECT_EQ(Fmt(QString("x' OR 1=1"), T::TypeDateTime, P::MsAccess), "'x'' OR 1=1'");
}

TEST(FormatSqlValue, BinariesAndExpressions) {
    const QByteArray bytes("\x01\xAB\x00\xff", 4);
    for (const T type : {T::TypeBinary, T::TypeOLEObject}) {
        EXPECT_EQ(Fmt(bytes, type, P::SQLServer), "0x01AB00FF");
        EXPECT_EQ(Fmt(bytes, type, P::MySql), "0x01AB00FF");
        EXPECT_EQ(Fmt(bytes, type, P::ODBC), "X'01AB00FF'");
        EXPECT_EQ(Fmt(bytes, type, P::Oracle), "HEXTORAW('01AB00FF')");
        EXPECT_EQ(Fmt(bytes, type, P::FoxPro), "0h01AB00FF");
    }
    EXPECT_EQ(Fmt(QByteArray(), T::TypeBinary, P::MySql), "X''");
    EXPECT_EQ(Fmt(QString("0x01ab"), T::TypeBinary), "0x01AB");
    EXPECT_EQ(Fmt(QString("AB'"), T::TypeBinary), "0x414227");
    EXPECT_EQ(Fmt(QString("0x1"), T::TypeBinary), "0x307831");

    for (const P provider : kAllProviders)
        EXPECT_EQ(Fmt(QString("'a' + GETDATE()"), T::TypeSqlExpression, provider), "'a' + GETDATE()");
}

} // namespace
} // namespace qldb
