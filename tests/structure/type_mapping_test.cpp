// Type mapping of qlDatabase: the two tables row by row, the counters' question to the server,
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

TEST_F(TypeMapping, FieldTypeTextBuildsCharTypesForcesSizesAndMarksTheUnsupported) {
    // "text|type|size" for a size of 30 passed in, then the text with the standard mark on.
    const struct {
        int32_t ado;
        const char *plain, *marked;
    } cases[] = {
        {3, "Integer|TypeInt|30", "Integer"},
        {130, "Char (30)||30", "Char (30)"}, // the type stays the caller's
        {202, "VarChar (30)|TypeVarChar|30", "VarChar (30)"},
        {20, "Long|TypeLong|4", "Long"},
        {128, "Binary|TypeBinary|4", "Binary"},
        {6, "Currency|TypeDbl|30", "Currency (Not supported)"},
        {204, "VarBinary|TypeNotSupported|30", "VarBinary (Not supported)"},
        {137, "*** Unknow Field ***|TypeNotSupported|30", "*** Unknow Field ***"},
    };
    for (const auto& c : cases) {
        for (const bool standard : {false, true}) {
            database.setOrlinaStandard(standard);
            int32_t size = 30;
            T type = kUntouched;
            const QString text = database.GetFieldTypeText(c.ado, size, &type);
            EXPECT_EQ(standard ? text
                               : QStringList({text, DataTypeXmlName(type), QString::number(size)}).join('|'),
                      QString(standard ? c.marked : c.plain))
                << c.ado;
        }
    }
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
