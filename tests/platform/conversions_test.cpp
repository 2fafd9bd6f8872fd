#include "platform/conversions.h"

#include <QDate>
#include <QDateTime>
#include <QTime>
#include <gtest/gtest.h>

#include <limits>

namespace qldb {
namespace {

TEST(Conversions, NullAndEmptyReadAsNothing) {
    for (const QVariant& v : {QVariant(), NullVariant(), QVariant(QMetaType::fromType<int>())}) {
        EXPECT_EQ(ToText(v), "");
        EXPECT_EQ(ToLong(v), 0);
        EXPECT_EQ(ToDouble(v), 0.0);
        EXPECT_FALSE(ToBoolean(v));
    }
    EXPECT_TRUE(IsEmpty(QVariant()));
    EXPECT_FALSE(IsNull(QVariant()));
    EXPECT_TRUE(IsNull(NullVariant()));
    EXPECT_FALSE(IsNullOrEmpty(QString()));
}

TEST(Conversions, TextOfValues) {
    EXPECT_EQ(ToText(true), "True");
    EXPECT_EQ(ToText(false), "False");
    EXPECT_EQ(ToText(QDate(2024, 1, 31)), "2024-01-31");
    EXPECT_EQ(ToText(QTime(8, 5, 0)), "08:05:00");
    EXPECT_EQ(ToText(QTime(8, 5, 0, 120)), "08:05:00.120");
    EXPECT_EQ(ToText(QDateTime(QDate(2024, 1, 31), QTime(13, 45, 7))), "2024-01-31T13:45:07");
    EXPECT_EQ(ToText(QDateTime(QDate(2024, 1, 31), QTime(13, 45, 7, 5))), "2024-01-31T13:45:07.005");
    EXPECT_EQ(ToText(2.5), "2.5");
    EXPECT_EQ(ToText(-3), "-3");
    EXPECT_EQ(ToText(QString(" x ")), " x ");
}

TEST(Conversions, NumbersOfValues) {
    EXPECT_EQ(ToLong(QString(" 42 ")), 42);
    EXPECT_EQ(ToLong(QString("abc")), 0);
    EXPECT_EQ(ToLong(QString("1,5")), 0);
    EXPECT_EQ(ToLong(QString("inf")), 0);
    // Halves round to the even neighbour.
    EXPECT_EQ(ToLong(2.5), 2);
    EXPECT_EQ(ToLong(3.5), 4);
    EXPECT_EQ(ToLong(-2.5), -2);
    EXPECT_EQ(ToLong(QString("2.6")), 3);
    EXPECT_EQ(ToLong(true), -1);
    EXPECT_EQ(ToLong(qlonglong(1) << 40), std::numeric_limits<int32_t>::max());
    EXPECT_EQ(ToLong(-(qlonglong(1) << 40)), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(ToLong(qulonglong(1) << 63), std::numeric_limits<int32_t>::max());
    EXPECT_EQ(ToLong(1e300), std::numeric_limits<int32_t>::max());
    EXPECT_DOUBLE_EQ(ToDouble(QString("1e3")), 1000.0);
    EXPECT_DOUBLE_EQ(ToDouble(QString(" -0.25")), -0.25);
    EXPECT_EQ(ToDouble(QString("nan")), 0.0);
    EXPECT_EQ(ToDouble(QDate(2024, 1, 1)), 0.0);
    EXPECT_EQ(ToDouble(false), 0.0);
}

TEST(Conversions, TruthOfValues) {
    for (const char* yes : {"true", "True", "YES", "-1", "1", " 2 ", "0.5"})
        EXPECT_TRUE(ToBoolean(QString(yes))) << yes;
    for (const char* no : {"false", "0", "0.0", "", "no", "abc", "on"})
        EXPECT_FALSE(ToBoolean(QString(no))) << no;
    EXPECT_TRUE(ToBoolean(-1));
    EXPECT_TRUE(ToBoolean(0.1));
    EXPECT_FALSE(ToBoolean(0));
    EXPECT_FALSE(ToBoolean(QDate(2024, 1, 1)));
}

TEST(Conversions, NumericTexts) {
    for (const char* text : {"0", " 12 ", "-3.5", "+4", "1e5", ".5"})
        EXPECT_TRUE(IsNumericText(QString(text))) << text;
    for (const char* text : {"", "  ", "abc", "1,5", "12a", "inf", "nan", "0x10", "1 2"})
        EXPECT_FALSE(IsNumericText(QString(text))) << text;
}

} // namespace
} // namespace qldb
