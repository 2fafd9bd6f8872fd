#include "platform/conversions.h"
#include "platform/data_type_names.h"
#include "platform/stable_sort.h"
#include "platform/word_search.h"

#include <QDate>
#include <QStringList>
#include <gtest/gtest.h>

namespace qldb {
namespace {

using T = ql_eDataType;

TEST(DataTypeNames, WordsOfTypeDescriptions) {
    const std::pair<const char*, T> words[] = {
        {"char", T::TypeChar},
        {"integer", T::TypeInt},
        {"INT", T::TypeInt},
        {"long", T::TypeLong},
        {"Lng", T::TypeLong},
        {"real", T::TypeDbl},
        {"double", T::TypeDbl},
        {"date", T::TypeDate},
        {"time", T::TypeTime},
        {"DateTime", T::TypeDateTime},
        {"bit", T::TypeBit},
        {"memo", T::TypeMemo},
        {"autoincrement", T::TypeCounter},
        {"COUNTER", T::TypeCounter},
        {"object", T::TypeOLEObject},
        {"bigcounter", T::TypeBigCounter},
    };
    for (const auto& [word, type] : words)
        EXPECT_EQ(GetDataTypeFromName(QString(word)), type) << word;
    for (const char* unknown : {"", "varchar", "binary", "guid", " int", "byte"})
        EXPECT_EQ(GetDataTypeFromName(QString(unknown)), T::TypeChar) << unknown;
}

TEST(DataTypeNames, StructureFileNamesRoundTrip) {
    const T all[] = {T::TypeChar,       T::TypeInt,         T::TypeLong,           T::TypeDbl,
                     T::TypeDate,       T::TypeTime,        T::TypeDateTime,       T::TypeBit,
                     T::TypeMemo,       T::TypeCounter,     T::TypeBinary,         T::TypeOLEObject,
                     T::TypeVarChar,    T::TypeByte,        T::TypeNotSupported,   T::TypeGUID,
                     T::TypeBigCounter, T::TypeCharUnicode, T::TypeVarCharUnicode, T::TypeMemoUnicode};
    for (const T type : all) {
        const QString name = DataTypeXmlName(type);
        ASSERT_TRUE(name.startsWith("Type")) << static_cast<int>(type);
        EXPECT_EQ(DataTypeFromXmlName(name), type) << name.toStdString();
    }
    EXPECT_EQ(DataTypeXmlName(T::TypeVarCharUnicode), "TypeVarCharUnicode");
    EXPECT_EQ(DataTypeXmlName(T::TypeOLEObject), "TypeOLEObject");
    EXPECT_EQ(DataTypeXmlName(T::TypeSqlExpression), "");
    EXPECT_EQ(DataTypeXmlName(static_cast<T>(14)), "");
    EXPECT_EQ(DataTypeFromXmlName("TypeSqlExpression"), std::nullopt);
    EXPECT_EQ(DataTypeFromXmlName("typechar"), std::nullopt);
    EXPECT_EQ(DataTypeFromXmlName(""), std::nullopt);
}

TEST(WordSearch, ItemsOfACommaSeparatedText) {
    EXPECT_TRUE(ContainsWord("COL1, COL2", "COL1"));
    EXPECT_TRUE(ContainsWord("COL1, COL2", "COL2"));
    EXPECT_TRUE(ContainsWord("COL1", "COL1"));
    EXPECT_TRUE(ContainsWord(" COL1 ,COL2 ", "COL1"));
    // Parts of names and differences of case are no match.
    EXPECT_FALSE(ContainsWord("COL10, COL2", "COL1"));
    EXPECT_FALSE(ContainsWord("XCOL1, COL2", "COL1"));
    EXPECT_FALSE(ContainsWord("COL1, COL2", "col1"));
    EXPECT_FALSE(ContainsWord("COL1, COL2", "COL1, COL2"));
    EXPECT_FALSE(ContainsWord("", "COL1"));
    EXPECT_FALSE(ContainsWord("COL1,,COL2", ""));
    // Descending columns carry the marker behind the name.
    EXPECT_TRUE(ContainsWord("COL1, COL2(-)", "COL2"));
    EXPECT_TRUE(ContainsWord("COL1(-), COL2", "COL1"));
    EXPECT_TRUE(ContainsWord("COL1, COL2(-)", "COL2(-)"));
    EXPECT_FALSE(ContainsWord("COL1, COL20(-)", "COL2"));
    EXPECT_FALSE(ContainsWord("COL1, COL2(-)", "COL"));
    // Other separators.
    EXPECT_TRUE(ContainsWord("A|B|C", "B", '|'));
    EXPECT_FALSE(ContainsWord("A|B|C", "B"));
}

VariantTable Views(std::initializer_list<std::pair<const char*, int>> rows) {
    VariantTable table;
    int id = 1;
    for (const auto& [name, level] : rows)
        table.push_back({QString(name), id++, level});
    return table;
}

QStringList Names(const VariantTable& table) {
    QStringList names;
    for (const VariantRow& row : table)
        names << row[0].toString();
    return names;
}

TEST(StableSort, ViewsByNameThenLevelKeepNameOrderAmongEqualLevels) {
    VariantTable views = Views({{"V_ORDERS", 2},
                                {"v_base", 0},
                                {"V_Total", 1},
                                {"V_ALPHA", 1},
                                {"V_ZETA", 0},
                                {"V_beta", 0},
                                {"V_MID", 10}});
    StableSortRows(views, 0);
    EXPECT_EQ(Names(views),
              QStringList({"V_ALPHA", "v_base", "V_beta", "V_MID", "V_ORDERS", "V_Total", "V_ZETA"}));
    StableSortRows(views, 2);
    // Numbers compare as numbers: 10 comes after 2.
    EXPECT_EQ(Names(views),
              QStringList({"v_base", "V_beta", "V_ZETA", "V_ALPHA", "V_Total", "V_ORDERS", "V_MID"}));
}

TEST(StableSort, EqualKeysKeepTheirOrderInLargeTables) {
    // Many equal keys: an unstable sort would mix them up.
    VariantTable rows;
    for (int i = 0; i < 500; ++i)
        rows.push_back({i % 3, i});
    StableSortRows(rows, 0);
    for (std::size_t i = 1; i < rows.size(); ++i) {
        const int key = rows[i][0].toInt();
        const int previousKey = rows[i - 1][0].toInt();
        ASSERT_LE(previousKey, key);
        if (key == previousKey) {
            ASSERT_LT(rows[i - 1][1].toInt(), rows[i][1].toInt());
        }
    }
}

TEST(StableSort, MixedValuesAndShortRows) {
    VariantTable rows = {{QString("b")},
                         {QString("10")},
                         {2.5},
                         {},
                         {NullVariant()},
                         {QString("9")},
                         {QDate(2024, 1, 1)},
                         {QDate(2023, 12, 31)},
                         {true},
                         {QString("A")}};
    StableSortRows(rows, 0);
    // Missing values first (in their order), then numbers, dates, and texts; numeric texts are texts.
    EXPECT_TRUE(rows[0].empty());
    EXPECT_TRUE(IsNull(rows[1][0]));
    EXPECT_EQ(rows[2][0], QVariant(true)); // True is -1
    EXPECT_EQ(rows[3][0], QVariant(2.5));
    EXPECT_EQ(rows[4][0], QVariant(QDate(2023, 12, 31)));
    EXPECT_EQ(rows[5][0], QVariant(QDate(2024, 1, 1)));
    EXPECT_EQ(rows[6][0], QVariant(QString("10")));
    EXPECT_EQ(rows[7][0], QVariant(QString("9")));
    EXPECT_EQ(rows[8][0], QVariant(QString("A")));
    EXPECT_EQ(rows[9][0], QVariant(QString("b")));
    EXPECT_EQ(CompareForSort(QString("abc"), QString("ABC")), 0);
    EXPECT_LT(CompareForSort(2, 10.5), 0);
}

} // namespace
} // namespace qldb
