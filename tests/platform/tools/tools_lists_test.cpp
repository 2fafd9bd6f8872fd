#include "platform/tools/conversions.h"
#include "platform/tools/data_type_names.h"
#include "platform/tools/stable_sort.h"
#include "platform/tools/word_search.h"

#include <QDateTime>
#include <gtest/gtest.h>

#include <tuple>

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
