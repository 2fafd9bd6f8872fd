// qlDatabase: between the data access types of the catalog and the library's data types, and the
// column type cache of data import and export.
#include "platform/errors/error_rule.h"
#include "platform/odbc/ado_types.h"
#include "structure/catalog_walk.h"
#include "structure/ql_database.h"

#include <optional>

namespace qldb {

namespace {

const QString kClass = QStringLiteral("qlDatabase");

struct TypeText {
    const char* Text;
    ql_eDataType DataType;
    // Types the structure engine cannot keep: marked as such for the standard products.
    bool Unsupported = false;
};

using T = ql_eDataType;

// The display text of every data access type GetFieldTypeText knows; the char types are built
// from their size and left out here.
std::optional<TypeText> DisplayType(int32_t iColumnType) {
    switch (iColumnType) {
    case 0:
        return TypeText{"Empty", T::TypeNotSupported, true};
    case 2:
        return TypeText{"SmallInt", T::TypeByte};
    case 3:
        return TypeText{"Integer", T::TypeInt};
    case 4:
        return TypeText{"Single", T::TypeByte};
    case 5:
        return TypeText{"Double", T::TypeDbl};
    case 6:
        return TypeText{"Currency", T::TypeDbl, true};
    case 7:
        return TypeText{"Date", T::TypeNotSupported, true};
    case 8:
        return TypeText{"BSTR", T::TypeBit, true};
    case 9:
        return TypeText{"IDispatch", T::TypeDbl, true};
    case 10:
        return TypeText{"Error", T::TypeNotSupported, true};
    case 11:
        return TypeText{"Bit", T::TypeBit};
    case 12:
        return TypeText{"Variant", T::TypeNotSupported, true};
    case 13:
        return TypeText{"IUnknow", T::TypeNotSupported, true};
    case 14:
        return TypeText{"Decimal", T::TypeNotSupported, true};
    case 16:
        return TypeText{"TinyInt", T::TypeByte};
    case 17:
    case 18:
        return TypeText{"Byte", T::TypeByte};
    case 19:
        return TypeText{"UnsignedInt", T::TypeNotSupported, true};
    case 20:
        return TypeText{"Long", T::TypeLong};
    case 21:
        return TypeText{"UnsignedBigInt", T::TypeNotSupported, true};
    case 64:
        return TypeText{"File Time", T::TypeDbl, true};
    case 72:
        return TypeText{"GUID", T::TypeGUID};
    case 128:
        return TypeText{"Binary", T::TypeBinary};
    case 131:
        return TypeText{"Numeric", T::TypeNotSupported, true};
    case 132:
        return TypeText{"User Defined", T::TypeNotSupported, true};
    case 133:
        return TypeText{"DB Date", T::TypeDate};
    case 134:
        return TypeText{"DB Time", T::TypeTime};
    case 135:
        return TypeText{"DB TimeStamp", T::TypeDateTime};
    case 136:
        return TypeText{"Chapter", T::TypeBit, true};
    case 138:
        return TypeText{"PropVariant", T::TypeNotSupported, true};
    case 139:
        return TypeText{"VarNumeric", T::TypeNotSupported, true};
    case 201:
    case 203:
        return TypeText{"LongVarChar", T::TypeMemo};
    case 204:
        return TypeText{"VarBinary", T::TypeNotSupported, true};
    case 205:
        return TypeText{"Long Binary (OLE Object)", T::TypeOLEObject};
    default:
        return std::nullopt;
    }
}

} // namespace

QString qlDatabase::GetFieldTypeText(int32_t iColumnType, int32_t& iSize, ql_eDataType* iDataType) {
    const auto set = [&](ql_eDataType value) {
        if (iDataType)
            *iDataType = value;
    };
    switch (iColumnType) {
    case ado::adChar:
    case ado::adWChar:
        // The data type stays the caller's: a char column may be plain or Unicode.
        return QStringLiteral("Char (%1)").arg(iSize);
    case ado::adVarChar:
    case ado::adVarWChar:
        set(T::TypeVarChar);
        return QStringLiteral("VarChar (%1)").arg(iSize);
    case ado::adBigInt:
    case ado::adBinary:
        iSize = 4;
        break;
    default:
        break;
    }
    const std::optional<TypeText> type = DisplayType(iColumnType);
    if (!type) {
        set(T::TypeNotSupported);
        return QStringLiteral("*** Unknow Field ***");
    }
    set(type->DataType);
    QString text = QString::fromLatin1(type->Text);
    if (type->Unsupported && m_orlinaStandard)
        text += QStringLiteral(" (Not supported)");
    return text;
}

QString qlDatabase::GetQlFieldType(const QString& sTableName, const QString& sFieldName, int32_t iColumnType,
                                   ql_eDataType* iDataType, bool bAllowUseUnicode) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("GetQlFieldType"));
    rule.setAfterDecision([this] { DoEvents(); });
    const auto answer = [&](const char* text, std::optional<ql_eDataType> value) {
        if (value && iDataType)
            *iDataType = *value;
        return QString::fromLatin1(text);
    };
    // Only the counters ask the server; the question is whether the column is an identity.
    const auto autoIncrement = [&] {
        bool counter = false;
        rule.run([&] { counter = connection().IsAutoincrementField(sTableName, sFieldName); });
        return counter;
    };
    switch (iColumnType) {
    case 0:
    case 2: // a small integer reads as memo here, and the structure files hold it so
    case 201:
        return answer("TypeMemo", T::TypeMemo);
    case 3:
        return autoIncrement() ? answer("TypeCounter", T::TypeCounter) : answer("TypeInt", T::TypeInt);
    case 4:
    case 16:
    case 17:
    case 18:
        return answer("TypeByte", T::TypeByte);
    case 5:
    case 6:
        return answer("TypeDbl", T::TypeDbl);
    case 11:
        return answer("TypeBit", T::TypeBit);
    case 20:
        return autoIncrement() ? answer("TypeBigCounter", T::TypeBigCounter)
                               : answer("TypeLong", T::TypeLong);
    case 72:
        return answer("TypeGUID", T::TypeGUID);
    case 128:
        return answer("TypeBinary", T::TypeBinary);
    case 129:
        return answer("TypeChar", std::nullopt);
    case 130:
        return bAllowUseUnicode ? answer("TypeCharUnicode", T::TypeCharUnicode)
                                : answer("TypeChar", std::nullopt);
    case 133:
        return answer("TypeDate", T::TypeDate);
    case 134:
        return answer("TypeTime", T::TypeTime);
    case 135:
        return answer("TypeDateTime", T::TypeDateTime);
    case 200:
        return answer("TypeVarChar", T::TypeVarChar);
    case 202:
        return bAllowUseUnicode ? answer("TypeVarCharUnicode", T::TypeVarCharUnicode)
                                : answer("TypeVarChar", T::TypeVarChar);
    case 203:
        return bAllowUseUnicode ? answer("TypeMemoUnicode", T::TypeMemoUnicode)
                                : answer("TypeMemo", T::TypeMemo);
    case 205:
        return answer("TypeOLEObject", T::TypeOLEObject);
    default:
        return answer("TypeNotSupported", T::TypeNotSupported);
    }
}

QString qlDatabase::GetADOFieldType(int32_t iColumnType) {
    static const std::pair<int32_t, const char*> kNames[] = {
        {0, "adEmpty"},
        {2, "adSmallInt"},
        {3, "adInteger"},
        {4, "adSingle"},
        {5, "adDouble"},
        {6, "adCurrency"},
        {7, "adDate"},
        {8, "adBSTR"},
        {9, "adIDispatch"},
        {10, "adError"},
        {11, "adBoolean"},
        {12, "adVariant"},
        {13, "adIUnknown"},
        {14, "adDecimal"},
        {16, "adTinyInt"},
        {17, "adUnsignedTinyInt"},
        {18, "adUnsignedSmallInt"},
        {19, "adUnsignedInt"},
        {20, "adBigInt"},
        {21, "adUnsignedBigInt"},
        {64, "adFileTime"},
        {72, "adGUID"},
        {128, "adBinary"},
        {129, "adChar"},
        {130, "adWChar"},
        {131, "adNumeric"},
        {132, "adUserDefined"},
        {133, "adDBDate"},
        {134, "adDBTime"},
        {135, "adDBTimeStamp"},
        {136, "adChapter"},
        {138, "adPropVariant"},
        {139, "adVarNumeric"},
        {200, "adVarChar"},
        {201, "adLongVarChar"},
        {202, "adVarWChar"},
        {203, "adLongVarWChar"},
        {204, "adVarBinary"},
        {205, "adLongVarBinary"},
    };
    for (const auto& [number, name] : kNames) {
        if (number == iColumnType)
            return QString::fromLatin1(name);
    }
    return QString();
}

int32_t qlDatabase::GetLocalQlDataType(const QString& sFieldName) {
    // Import and export call this once per column and row; the pointer shows the work only when a
    // host is there to show it.
    std::optional<BusyPointer> busy;
    if (m_connection && m_connection->HostServices())
        busy.emplace(*m_connection->HostServices());
    const QString wanted = sFieldName.toUpper();
    for (size_t i = 0; i < m_localFieldTypes.size(); ++i) {
        if (m_localFieldTypes[i].FieldName.toUpper() == wanted)
            return static_cast<int32_t>(i);
    }
    // The caller fills the new entry with what it learns of the column.
    m_localFieldTypes.emplace_back();
    return -1;
}

ql_eDataType qlDatabase::GetQlDataType(CatalogWalk& Cat, QString& sTableName, const QString& sFieldName) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("GetQlDataType"));
    rule.setAfterDecision([this] { DoEvents(); });
    ql_eDataType result = T::TypeNotSupported;
    rule.run([&] {
        for (const CatalogTable& table : Cat.Tables()) {
            if (table.Name != sTableName)
                continue;
            for (const CatalogColumn& column : Cat.Columns(table.Name)) {
                if (column.Name != sFieldName)
                    continue;
                // The char types keep the value passed in, so they read as not supported here.
                int32_t size = column.DefinedSize;
                GetFieldTypeText(column.Type, size, &result);
            }
            break;
        }
    });
    return result;
}

} // namespace qldb
