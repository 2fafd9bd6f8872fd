#include "platform/tools/conversions.h"
#include "platform/tools/data_type_names.h"
#include "platform/tools/stable_sort.h"
#include "platform/tools/word_search.h"

#include <QDateTime>
#include <gtest/gtest.h>

#include <limits>
#include <tuple>
#include <utility>

using namespace qldb;

using T = ql_eDataType;

TEST(DataTypeNames, PairedWordsNameTheSameType) {
    // The second word of a pair, and any case, name the same type; other words are text.
    EXPECT_EQ(GetDataTypeFromName("Lng"), T::TypeLong);
    EXPECT_EQ(GetDataTypeFromName("autoincrement"), T::TypeCounter);
    EXPECT_EQ(GetDataTypeFromName("varchar"), T::TypeChar);
}

TEST(DataTypeNames, StructureFileNamesWithAndWithoutUnicode) {
    // Without Unicode the three Unicode types fall back to their plain widths; names are exact.
    const std::tuple<const char*, bool, T> rows[] = {
        {"TypeVarCharUnicode", true, T::TypeVarCharUnicode},
        {"TypeVarCharUnicode", false, T::TypeVarChar},
        {"TypeCharUnicode", false, T::TypeChar},
        {"TypeMemoUnicode", false, T::TypeMemo},
        {"TypeBigCounter", false, T::TypeBigCounter},
        {"typeint", true, T::TypeNotSupported},
        {"", true, T::TypeNotSupported},
    };
    for (const auto& [name, unicode, type] : rows) {
        EXPECT_EQ(GetDataTypeFromName(name, unicode, false), type) << name << unicode;
        EXPECT_EQ(GetDataTypeFromName(name, unicode, true), type) << name << unicode;
    }
}

TEST(WordSearch, ItemsOfACommaSeparatedText) {
    // Whole trimmed items match, descending columns ("(-)") by their bare name too.
    const std::tuple<const char*, const char*, bool> rows[] = {
        {"COL1, COL2", "COL2", true},      {" COL1 ,COL2 ", "COL1", true},
        {"COL1(-), COL2", "COL1", true},   {"COL1, COL2(-)", "COL2(-)", true},
        {"COL10, COL2", "COL1", false},    {"XCOL1, COL2", "COL1", false},
        {"COL1, COL2", "col1", false},     {"COL1, COL2", "COL1, COL2", false},
        {"COL1, COL20(-)", "COL2", false}, {"COL1, COL2(-)", "COL", false},
    };
    for (const auto& [text, word, found] : rows)
        EXPECT_EQ(ContainsWord(text, word), found) << text << " / " << word;
}

TEST(StableSort, EqualKeysKeepTheirOrder) {
    // Many equal keys, beyond where a library sort stops being stable by chance.
    VariantTable rows;
    for (int i = 0; i < 500; ++i)
        rows.push_back({i % 3, i});
    StableSortRows(rows, 0);
    for (std::size_t i = 1; i < rows.size(); ++i)
        ASSERT_LT(rows[i - 1][0].toInt() * 1000 + rows[i - 1][1].toInt(),
                  rows[i][0].toInt() * 1000 + rows[i][1].toInt());

    // Missing values, then numbers (True is -1), dates, and texts; numeric texts are texts.
    const QVariant ascending[] = {
        NullVariant(), true, 2,   10.5, QDate(2023, 12, 31), QDateTime(QDate(2024, 1, 1), QTime(8, 0)),
        "10",          "9",  "a", "B"};
    for (std::size_t i = 1; i < std::size(ascending); ++i)
        EXPECT_LT(CompareForSort(ascending[i - 1], ascending[i]), 0) << i;
    EXPECT_EQ(CompareForSort(QString("abc"), QString("ABC")), 0);
}

TEST(Conversions, NullAndEmptyReadAsNothingAndTextsAsNumbers) {
    for (const QVariant& v : {QVariant(), NullVariant(), QVariant(QMetaType::fromType<int>())}) {
        EXPECT_EQ(ToText(v), "");
        EXPECT_EQ(ToLong(v), 0);
        EXPECT_FALSE(ToBoolean(v));
    }
    EXPECT_FALSE(IsNullOrEmpty(QString()));
    EXPECT_EQ(ToText(true), "True");
    EXPECT_EQ(ToText(QDateTime(QDate(2024, 1, 31), QTime(13, 45, 7))), "2024-01-31T13:45:07");
    EXPECT_EQ(ToLong(QString(" 42 ")), 42);
    EXPECT_EQ(ToLong(QString("1,5")), 0);
    // Halves round to the even neighbour; out-of-range values stop at the limits.
    EXPECT_EQ(ToLong(2.5), 2);
    EXPECT_EQ(ToLong(3.5), 4);
    EXPECT_EQ(ToLong(true), -1);
    EXPECT_EQ(ToLong(-(qlonglong(1) << 40)), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(ToLong(1e300), std::numeric_limits<int32_t>::max());
    EXPECT_EQ(ToDouble(QString("nan")), 0.0);
    for (const char* yes : {"true", "YES", "-1", " 2 ", "0.5"})
        EXPECT_TRUE(ToBoolean(QString(yes))) << yes;
    for (const char* no : {"false", "0.0", "", "abc"})
        EXPECT_FALSE(ToBoolean(QString(no))) << no;
    for (const char* text : {" 12 ", "-3.5", "+4", "1e5", ".5"})
        EXPECT_TRUE(IsNumericText(QString(text))) << text;
    for (const char* text : {"  ", "1,5", "12a", "inf", "0x10", "1 2"})
        EXPECT_FALSE(IsNumericText(QString(text))) << text;
}

// Floating values read as hosts write them: plain within 0.0001 and 10^15 (10^7 for a single), the
// exponent form outside, never "1e+05".
TEST(Conversions, FloatingValuesInTheHostsTextForm) {
    const std::pair<QVariant, const char*> rows[] = {
        {100000.0, "100000"},
        {123456.5, "123456.5"},
        {1e15, "1E+15"},
        {999999999999999.0, "999999999999999"},
        {0.00001, "1E-05"},
        {0.0001, "0.0001"},
        {-2.5, "-2.5"},
        {0.1 + 0.2, "0.3"},
        {-1.5e-300, "-1.5E-300"},
        {123456789.123456789, "123456789.123457"},
        {0.0, "0"},
        {QVariant(0.1f), "0.1"},
        {QVariant(12345678.0f), "1.234568E+07"},
    };
    for (const auto& [value, expected] : rows)
        EXPECT_EQ(ToText(value), QString(expected)) << expected;
}
