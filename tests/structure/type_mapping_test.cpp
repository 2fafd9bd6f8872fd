// Type mapping of qlDatabase: the three tables row by row, the counters' question to the server,
// the column type cache and the catalog lookup.
#include "connection/catalog_queries.h"
#include "structure/catalog_walk.h"
#include "structure/structure_fixture.h"

namespace qldb {

struct TypeMappingArea;
template <> struct qlDatabaseTestAccess<TypeMappingArea> {
    static void FillLast(qlDatabase& d, const QString& name, ql_eDataType type) {
        d.m_localFieldTypes.back().FieldName = name;
        d.m_localFieldTypes.back().DataType = type;
    }
    static size_t CacheSize(const qlDatabase& d) { return d.m_localFieldTypes.size(); }
};

namespace test {
namespace {

using T = ql_eDataType;
using Access = qlDatabaseTestAccess<TypeMappingArea>;
// Passed in as the data type so that "left as passed in" shows.
constexpr T kUntouched = T::TypeSqlExpression;

class TypeMapping : public DatabaseTest {
protected:
    // The identity question of IsAutoincrementField for T.C, answered yes or no.
    void identity(bool yes) {
        db->respond(catalog_sql::IdentityProperty(ql_eProviderType::SQLServer, QStringLiteral("T"),
                                                  QStringLiteral("C")),
                    ScriptedConnection::Table({"c"}, {{yes ? 1 : 0}}));
    }
};

TEST_F(TypeMapping, QlFieldTypeEveryRow) {
    struct Case {
        int32_t ado;
        bool unicode;
        const char* text;
        T type;
    };
    const Case cases[] = {
        {0, false, "TypeMemo", T::TypeMemo},
        {2, false, "TypeMemo", T::TypeMemo},
        {201, false, "TypeMemo", T::TypeMemo},
        {4, false, "TypeByte", T::TypeByte},
        {16, false, "TypeByte", T::TypeByte},
        {17, false, "TypeByte", T::TypeByte},
        {18, false, "TypeByte", T::TypeByte},
        {5, false, "TypeDbl", T::TypeDbl},
        {6, false, "TypeDbl", T::TypeDbl},
        {11, false, "TypeBit", T::TypeBit},
        {72, false, "TypeGUID", T::TypeGUID},
        {128, false, "TypeBinary", T::TypeBinary},
        {129, false, "TypeChar", kUntouched},
        {129, true, "TypeChar", kUntouched},
        {130, true, "TypeCharUnicode", T::TypeCharUnicode},
        {130, false, "TypeChar", kUntouched},
        {133, false, "TypeDate", T::TypeDate},
        {134, false, "TypeTime", T::TypeTime},
        {135, false, "TypeDateTime", T::TypeDateTime},
        {200, false, "TypeVarChar", T::TypeVarChar},
        {202, true, "TypeVarCharUnicode", T::TypeVarCharUnicode},
        {202, false, "TypeVarChar", T::TypeVarChar},
        {203, true, "TypeMemoUnicode", T::TypeMemoUnicode},
        {203, false, "TypeMemo", T::TypeMemo},
        {205, false, "TypeOLEObject", T::TypeOLEObject},
        {7, false, "TypeNotSupported", T::TypeNotSupported},
        {131, false, "TypeNotSupported", T::TypeNotSupported},
        {204, false, "TypeNotSupported", T::TypeNotSupported},
    };
    for (const Case& c : cases) {
        T type = kUntouched;
        EXPECT_EQ(database.GetQlFieldType("T", "C", c.ado, &type, c.unicode), QString::fromLatin1(c.text))
            << c.ado << (c.unicode ? " unicode" : "");
        EXPECT_EQ(type, c.type) << c.ado << (c.unicode ? " unicode" : "");
    }
    EXPECT_TRUE(sent().isEmpty()) << "only the counters ask the server";
}

TEST_F(TypeMapping, CountersAreTheIdentityColumns) {
    struct Case {
        int32_t ado;
        bool identityColumn;
        const char* text;
        T type;
    };
    const Case cases[] = {
        {3, true, "TypeCounter", T::TypeCounter},
        {3, false, "TypeInt", T::TypeInt},
        {20, true, "TypeBigCounter", T::TypeBigCounter},
        {20, false, "TypeLong", T::TypeLong},
    };
    for (const Case& c : cases) {
        use(true);
        identity(c.identityColumn);
        T type = kUntouched;
        EXPECT_EQ(database.GetQlFieldType("T", "C", c.ado, &type), QString::fromLatin1(c.text)) << c.ado;
        EXPECT_EQ(type, c.type) << c.ado;
        EXPECT_EQ(sent().size(), 1);
    }
}

TEST_F(TypeMapping, FieldTypeTextEveryRowWithAndWithoutTheStandardMark) {
    struct Case {
        int32_t ado;
        const char* text;
        T type;
        bool marked;
        int32_t sizeAfter; // the size passed in is 30
    };
    const Case cases[] = {
        {0, "Empty", T::TypeNotSupported, true, 30},
        {2, "SmallInt", T::TypeByte, false, 30},
        {3, "Integer", T::TypeInt, false, 30},
        {4, "Single", T::TypeByte, false, 30},
        {5, "Double", T::TypeDbl, false, 30},
        {6, "Currency", T::TypeDbl, true, 30},
        {7, "Date", T::TypeNotSupported, true, 30},
        {8, "BSTR", T::TypeBit, true, 30},
        {9, "IDispatch", T::TypeDbl, true, 30},
        {10, "Error", T::TypeNotSupported, true, 30},
        {11, "Bit", T::TypeBit, false, 30},
        {12, "Variant", T::TypeNotSupported, true, 30},
        {13, "IUnknow", T::TypeNotSupported, true, 30},
        {14, "Decimal", T::TypeNotSupported, true, 30},
        {16, "TinyInt", T::TypeByte, false, 30},
        {17, "Byte", T::TypeByte, false, 30},
        {18, "Byte", T::TypeByte, false, 30},
        {19, "UnsignedInt", T::TypeNotSupported, true, 30},
        {20, "Long", T::TypeLong, false, 4},
        {21, "UnsignedBigInt", T::TypeNotSupported, true, 30},
        {64, "File Time", T::TypeDbl, true, 30},
        {72, "GUID", T::TypeGUID, false, 30},
        {128, "Binary", T::TypeBinary, false, 4},
        {129, "Char (30)", kUntouched, false, 30},
        {130, "Char (30)", kUntouched, false, 30},
        {131, "Numeric", T::TypeNotSupported, true, 30},
        {132, "User Defined", T::TypeNotSupported, true, 30},
        {133, "DB Date", T::TypeDate, false, 30},
        {134, "DB Time", T::TypeTime, false, 30},
        {135, "DB TimeStamp", T::TypeDateTime, false, 30},
        {136, "Chapter", T::TypeBit, true, 30},
        {138, "PropVariant", T::TypeNotSupported, true, 30},
        {139, "VarNumeric", T::TypeNotSupported, true, 30},
        {200, "VarChar (30)", T::TypeVarChar, false, 30},
        {202, "VarChar (30)", T::TypeVarChar, false, 30},
        {201, "LongVarChar", T::TypeMemo, false, 30},
        {203, "LongVarChar", T::TypeMemo, false, 30},
        {204, "VarBinary", T::TypeNotSupported, true, 30},
        {205, "Long Binary (OLE Object)", T::TypeOLEObject, false, 30},
        {1, "*** Unknow Field ***", T::TypeNotSupported, false, 30},
        {137, "*** Unknow Field ***", T::TypeNotSupported, false, 30},
    };
    for (const bool standard : {false, true}) {
        database.setOrlinaStandard(standard);
        for (const Case& c : cases) {
            int32_t size = 30;
            T type = kUntouched;
            const QString expected = QString::fromLatin1(c.text) +
                                     (c.marked && standard ? QStringLiteral(" (Not supported)") : QString());
            EXPECT_EQ(database.GetFieldTypeText(c.ado, size, &type), expected) << c.ado;
            EXPECT_EQ(type, c.type) << c.ado;
            EXPECT_EQ(size, c.sizeAfter) << c.ado;
        }
    }
}

TEST_F(TypeMapping, AdoConstantNamesAndNothingElse) {
    // Every number from -1 to 300 that has a name, written "number name".
    QStringList named;
    for (int32_t n = -1; n <= 300; ++n) {
        if (const QString name = database.GetADOFieldType(n); !name.isEmpty())
            named << QStringLiteral("%1 %2").arg(n).arg(name);
    }
    // clang-format off
    EXPECT_EQ(named.join(u','), QStringLiteral(
        "0 adEmpty,2 adSmallInt,3 adInteger,4 adSingle,5 adDouble,6 adCurrency,7 adDate,8 adBSTR,"
        "9 adIDispatch,10 adError,11 adBoolean,12 adVariant,13 adIUnknown,14 adDecimal,16 adTinyInt,"
        "17 adUnsignedTinyInt,18 adUnsignedSmallInt,19 adUnsignedInt,20 adBigInt,21 adUnsignedBigInt,"
        "64 adFileTime,72 adGUID,128 adBinary,129 adChar,130 adWChar,131 adNumeric,132 adUserDefined,"
        "133 adDBDate,134 adDBTime,135 adDBTimeStamp,136 adChapter,138 adPropVariant,139 adVarNumeric,"
        "200 adVarChar,201 adLongVarChar,202 adVarWChar,203 adLongVarWChar,204 adVarBinary,205 adLongVarBinary"));
    // clang-format on
}

TEST_F(TypeMapping, CacheAddsAnEmptyEntryForANewNameAndFindsAFilledOneInAnyCase) {
    EXPECT_EQ(database.GetLocalQlDataType("Codice"), -1);
    EXPECT_EQ(Access::CacheSize(database), 1u);
    Access::FillLast(database, "Codice", T::TypeVarChar);
    EXPECT_EQ(database.GetLocalQlDataType("Prezzo"), -1);
    Access::FillLast(database, "Prezzo", T::TypeDbl);
    EXPECT_EQ(database.GetLocalQlDataType("CODICE"), 0);
    EXPECT_EQ(database.GetLocalQlDataType("prezzo"), 1);
    EXPECT_EQ(Access::CacheSize(database), 2u);
    EXPECT_EQ(host->pointerChanges(), (std::vector<int32_t>{11, 0, 11, 0, 11, 0, 11, 0}));
}

TEST_F(TypeMapping, CatalogDataTypeComparesNamesExactly) {
    db->addCatalogTable("A01_ART", {{"CODICE", ado::adVarWChar, 20},
                                    {"PREZZO", ado::adDouble, 8},
                                    {"SIGLA", ado::adWChar, 3},
                                    {"DATA", ado::adDBTimeStamp, 16}});
    CatalogWalk cat(*db);
    QString table = QStringLiteral("A01_ART");
    EXPECT_EQ(database.GetQlDataType(cat, table, "CODICE"), T::TypeVarChar);
    EXPECT_EQ(database.GetQlDataType(cat, table, "PREZZO"), T::TypeDbl);
    EXPECT_EQ(database.GetQlDataType(cat, table, "DATA"), T::TypeDateTime);
    // The char types keep the starting value.
    EXPECT_EQ(database.GetQlDataType(cat, table, "SIGLA"), T::TypeNotSupported);
    EXPECT_EQ(database.GetQlDataType(cat, table, "codice"), T::TypeNotSupported);
    QString lower = QStringLiteral("a01_art");
    EXPECT_EQ(database.GetQlDataType(cat, lower, "CODICE"), T::TypeNotSupported);
}

} // namespace
} // namespace test
} // namespace qldb
