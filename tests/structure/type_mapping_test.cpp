// Type mapping of qlDatabase: the three tables row by row, the counters' question to the server,
// the column type cache and the catalog lookup. Each table is one text of "number result" rows.
#include "connection/catalog_queries.h"
#include "platform/tools/data_type_names.h"
#include "structure/catalog_walk.h"
#include "structure/structure_fixture.h"

namespace qldb::test {
namespace {

using T = ql_eDataType;
// Passed in as the data type so that "left as passed in" shows: it has no file name.
constexpr T kUntouched = T::TypeSqlExpression;

class TypeMapping : public DatabaseTest {};

TEST_F(TypeMapping, QlFieldTypeEveryRow) {
    // "ado[u] text", with "/type" behind when the type handed back is not the text's own.
    QStringList rows;
    for (const int32_t ado : {0,   2,   201, 4,   16,  17,  18,  5,   6,   11, 72,  128,
                              129, 130, 133, 134, 135, 200, 202, 203, 205, 7,  131, 204}) {
        for (const bool unicode : {false, true}) {
            T type = kUntouched;
            const QString text = database.GetQlFieldType("T", "C", ado, &type, unicode);
            const QString name = DataTypeXmlName(type);
            rows << QString::number(ado) + (unicode ? "u " : " ") + text + (name == text ? "" : "/" + name);
        }
    }
    EXPECT_EQ(rows.join(", "),
              "0 TypeMemo, 0u TypeMemo, 2 TypeMemo, 2u TypeMemo, 201 TypeMemo, 201u TypeMemo, 4 TypeByte, "
              "4u TypeByte, 16 TypeByte, 16u TypeByte, 17 TypeByte, 17u TypeByte, 18 TypeByte, 18u TypeByte, "
              "5 TypeDbl, 5u TypeDbl, 6 TypeDbl, 6u TypeDbl, 11 TypeBit, 11u TypeBit, 72 TypeGUID, "
              "72u TypeGUID, 128 TypeBinary, 128u TypeBinary, 129 TypeChar/, 129u TypeChar/, 130 TypeChar/, "
              "130u TypeCharUnicode, 133 TypeDate, 133u TypeDate, 134 TypeTime, 134u TypeTime, "
              "135 TypeDateTime, 135u TypeDateTime, 200 TypeVarChar, 200u TypeVarChar, 202 TypeVarChar, "
              "202u TypeVarCharUnicode, 203 TypeMemo, 203u TypeMemoUnicode, 205 TypeOLEObject, "
              "205u TypeOLEObject, 7 TypeNotSupported, 7u TypeNotSupported, 131 TypeNotSupported, "
              "131u TypeNotSupported, 204 TypeNotSupported, 204u TypeNotSupported");
    EXPECT_TRUE(sent().isEmpty()) << "only the counters ask the server";

    // The counters are the identity columns: one question each.
    const struct {
        int32_t ado;
        bool identity;
        T type;
    } counters[] = {{3, true, T::TypeCounter},
                    {3, false, T::TypeInt},
                    {20, true, T::TypeBigCounter},
                    {20, false, T::TypeLong}};
    for (const auto& c : counters) {
        use(true);
        answer(catalog_sql::IdentityProperty(ql_eProviderType::SQLServer, "T", "C"), {"c"},
               {{c.identity ? 1 : 0}});
        T type = kUntouched;
        EXPECT_EQ(database.GetQlFieldType("T", "C", c.ado, &type), DataTypeXmlName(c.type)) << c.ado;
        EXPECT_EQ(type, c.type) << c.ado;
        EXPECT_EQ(sent().size(), 1);
    }
}

TEST_F(TypeMapping, FieldTypeTextEveryRowWithAndWithoutTheStandardMark) {
    // "ado text|type", with "|size" behind when the size passed in (30) changed.
    QStringList rows, marked;
    QString plain;
    for (const int32_t ado :
         {0,  2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,  16,  17,  18,  19,  20, 21, 64,
          72, 128, 129, 130, 131, 132, 133, 134, 135, 136, 138, 139, 200, 202, 201, 203, 204, 205, 1,  137}) {
        for (const bool standard : {false, true}) {
            database.setOrlinaStandard(standard);
            int32_t size = 30;
            T type = kUntouched;
            const QString text = database.GetFieldTypeText(ado, size, &type);
            if (standard) {
                if (text != plain)
                    marked << (text == plain + " (Not supported)" ? QString::number(ado) : text);
                continue;
            }
            plain = text;
            rows << QString::number(ado) + " " + text + "|" + DataTypeXmlName(type) +
                        (size == 30 ? QString() : "|" + QString::number(size));
        }
    }
    EXPECT_EQ(rows.join(", "),
              "0 Empty|TypeNotSupported, 2 SmallInt|TypeByte, 3 Integer|TypeInt, 4 Single|TypeByte, "
              "5 Double|TypeDbl, 6 Currency|TypeDbl, 7 Date|TypeNotSupported, 8 BSTR|TypeBit, "
              "9 IDispatch|TypeDbl, 10 Error|TypeNotSupported, 11 Bit|TypeBit, 12 Variant|TypeNotSupported, "
              "13 IUnknow|TypeNotSupported, 14 Decimal|TypeNotSupported, 16 TinyInt|TypeByte, "
              "17 Byte|TypeByte, 18 Byte|TypeByte, 19 UnsignedInt|TypeNotSupported, 20 Long|TypeLong|4, "
              "21 UnsignedBigInt|TypeNotSupported, 64 File Time|TypeDbl, 72 GUID|TypeGUID, "
              "128 Binary|TypeBinary|4, 129 Char (30)|, 130 Char (30)|, 131 Numeric|TypeNotSupported, "
              "132 User Defined|TypeNotSupported, 133 DB Date|TypeDate, 134 DB Time|TypeTime, "
              "135 DB TimeStamp|TypeDateTime, 136 Chapter|TypeBit, 138 PropVariant|TypeNotSupported, "
              "139 VarNumeric|TypeNotSupported, 200 VarChar (30)|TypeVarChar, 202 VarChar (30)|TypeVarChar, "
              "201 LongVarChar|TypeMemo, 203 LongVarChar|TypeMemo, 204 VarBinary|TypeNotSupported, "
              "205 Long Binary (OLE Object)|TypeOLEObject, 1 *** Unknow Field ***|TypeNotSupported, "
              "137 *** Unknow Field ***|TypeNotSupported");
    // With OrlinaStandard the unsupported ones, and only they, say so.
    EXPECT_EQ(marked.join(','), "0,6,7,8,9,10,12,13,14,19,21,64,131,132,136,138,139,204");
}

TEST_F(TypeMapping, AdoConstantNamesAndNothingElse) {
    // Every number from -1 to 300 that has a name, written "number name".
    QStringList named;
    for (int32_t n = -1; n <= 300; ++n) {
        if (const QString name = database.GetADOFieldType(n); !name.isEmpty())
            named << QStringLiteral("%1 %2").arg(n).arg(name);
    }
    EXPECT_EQ(named.join(u','),
              "0 adEmpty,2 adSmallInt,3 adInteger,4 adSingle,5 adDouble,6 adCurrency,7 adDate,8 adBSTR,"
              "9 adIDispatch,10 adError,11 adBoolean,12 adVariant,13 adIUnknown,14 adDecimal,16 adTinyInt,"
              "17 adUnsignedTinyInt,18 adUnsignedSmallInt,19 adUnsignedInt,20 adBigInt,21 adUnsignedBigInt,"
              "64 adFileTime,72 adGUID,128 adBinary,129 adChar,130 adWChar,131 adNumeric,132 adUserDefined,"
              "133 adDBDate,134 adDBTime,135 adDBTimeStamp,136 adChapter,138 adPropVariant,139 adVarNumeric,"
              "200 adVarChar,201 adLongVarChar,202 adVarWChar,203 adLongVarWChar,204 adVarBinary,"
              "205 adLongVarBinary");
}

TEST_F(TypeMapping, CacheAndCatalogLookup) {
    // The cache adds an empty entry for a new name and finds a filled one in any case.
    EXPECT_EQ(database.GetLocalQlDataType("Codice"), -1);
    Access::FillLast(database, "Codice", T::TypeVarChar);
    EXPECT_EQ(database.GetLocalQlDataType("Prezzo"), -1);
    Access::FillLast(database, "Prezzo", T::TypeDbl);
    EXPECT_EQ(database.GetLocalQlDataType("CODICE"), 0);
    EXPECT_EQ(database.GetLocalQlDataType("prezzo"), 1);
    EXPECT_EQ(Access::CacheSize(database), 2u);
    EXPECT_EQ(host->pointerChanges(), (std::vector<int32_t>{11, 0, 11, 0, 11, 0, 11, 0}));

    // The catalog's names are compared exactly; the char types keep the starting value.
    db->addCatalogTable("A01_ART", {{"CODICE", ado::adVarWChar, 20},
                                    {"PREZZO", ado::adDouble, 8},
                                    {"SIGLA", ado::adWChar, 3},
                                    {"DATA", ado::adDBTimeStamp, 16}});
    CatalogWalk cat(*db);
    QString table = QStringLiteral("A01_ART"), lower = QStringLiteral("a01_art");
    EXPECT_EQ(database.GetQlDataType(cat, table, "CODICE"), T::TypeVarChar);
    EXPECT_EQ(database.GetQlDataType(cat, table, "PREZZO"), T::TypeDbl);
    EXPECT_EQ(database.GetQlDataType(cat, table, "DATA"), T::TypeDateTime);
    EXPECT_EQ(database.GetQlDataType(cat, table, "SIGLA"), T::TypeNotSupported);
    EXPECT_EQ(database.GetQlDataType(cat, table, "codice"), T::TypeNotSupported);
    EXPECT_EQ(database.GetQlDataType(cat, lower, "CODICE"), T::TypeNotSupported);
}

} // namespace
} // namespace qldb::test
