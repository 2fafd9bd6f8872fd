#include "platform/conversions.h"
#include "platform/data_type_names.h"
#include "platform/stable_sort.h"
#include "platform/word_search.h"

#include <QDateTime>
#include <QStringList>
#include <gtest/gtest.h>

namespace qldb {
namespace {

using T = ql_eDataType;

TEST(DataTypeNames, WordsAndStructureFileNames) {
    // The second word of a pair, and any case, name the same type; other words are text.
    EXPECT_EQ(GetDataTypeFromName("Lng"), T::TypeLong);
    EXPECT_EQ(GetDataTypeFromName("autoincrement"), T::TypeCounter);
    EXPECT_EQ(GetDataTypeFromName("varchar"), T::TypeChar);
    int named = 0;
    for (int number = 0; number <= 103; ++number) {
        const QString name = DataTypeXmlName(static_cast<T>(number));
        if (!name.isEmpty() && ++named) {
            EXPECT_EQ(DataTypeFromXmlName(name), static_cast<T>(number)) << name.toStdString();
        }
    }
    EXPECT_EQ(named, 20);
    EXPECT_EQ(DataTypeFromXmlName("typechar"), std::nullopt);
}

TEST(WordSearch, ItemsOfACommaSeparatedText) {
    // Whole trimmed items match, descending columns ("(-)") by their bare name too.
    const char* found[][2] = {{"COL1, COL2", "COL2"},
                              {" COL1 ,COL2 ", "COL1"},
                              {"COL1(-), COL2", "COL1"},
                              {"COL1, COL2(-)", "COL2(-)"}};
    for (const auto& [text, word] : found)
        EXPECT_TRUE(ContainsWord(text, word)) << text << " / " << word;
    const char* missing[][2] = {{"COL10, COL2", "COL1"}, {"XCOL1, COL2", "COL1"},
                                {"COL1, COL2", "col1"},  {"COL1, COL2", "COL1, COL2"},
                                {"COL1,,COL2", ""},      {"COL1, COL20(-)", "COL2"},
                                {"COL1, COL2(-)", "COL"}};
    for (const auto& [text, word] : missing)
        EXPECT_FALSE(ContainsWord(text, word)) << text << " / " << word;
    EXPECT_TRUE(ContainsWord("A|B|C", "B", '|'));
    EXPECT_FALSE(ContainsWord("A|B|C", "B"));
}

TEST(StableSort, EqualKeysKeepTheirOrder) {
    const std::pair<const char*, int> input[] = {{"V_ORDERS", 2}, {"v_base", 0}, {"V_Total", 1},
                                                 {"V_ALPHA", 1},  {"V_ZETA", 0}, {"V_beta", 0},
                                                 {"V_MID", 10}};
    VariantTable views;
    for (const auto& [name, level] : input)
        views.push_back({QString(name), level});
    StableSortRows(views, 0);
    StableSortRows(views, 1);
    QStringList names;
    for (const VariantRow& row : views)
        names << row[0].toString();
    // Names case-insensitively within a level; levels as numbers (10 after 2).
    EXPECT_EQ(names, QStringList({"v_base", "V_beta", "V_ZETA", "V_ALPHA", "V_Total", "V_ORDERS", "V_MID"}));
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

} // namespace
} // namespace qldb
