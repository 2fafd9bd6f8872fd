#include "platform/tools/data_type_names.h"

#include <array>
#include <utility>

namespace qldb {

namespace {

struct TypeWord {
    const char* word;
    ql_eDataType type;
};

constexpr std::array<TypeWord, 16> kTypeWords = {{
    {"char", ql_eDataType::TypeChar},
    {"integer", ql_eDataType::TypeInt},
    {"int", ql_eDataType::TypeInt},
    {"long", ql_eDataType::TypeLong},
    {"lng", ql_eDataType::TypeLong},
    {"real", ql_eDataType::TypeDbl},
    {"double", ql_eDataType::TypeDbl},
    {"date", ql_eDataType::TypeDate},
    {"time", ql_eDataType::TypeTime},
    {"datetime", ql_eDataType::TypeDateTime},
    {"bit", ql_eDataType::TypeBit},
    {"memo", ql_eDataType::TypeMemo},
    {"autoincrement", ql_eDataType::TypeCounter},
    {"counter", ql_eDataType::TypeCounter},
    {"object", ql_eDataType::TypeOLEObject},
    {"bigcounter", ql_eDataType::TypeBigCounter},
}};

constexpr std::array<std::pair<ql_eDataType, const char*>, 20> kXmlNames = {{
    {ql_eDataType::TypeChar, "TypeChar"},
    {ql_eDataType::TypeInt, "TypeInt"},
    {ql_eDataType::TypeLong, "TypeLong"},
    {ql_eDataType::TypeDbl, "TypeDbl"},
    {ql_eDataType::TypeDate, "TypeDate"},
    {ql_eDataType::TypeTime, "TypeTime"},
    {ql_eDataType::TypeDateTime, "TypeDateTime"},
    {ql_eDataType::TypeBit, "TypeBit"},
    {ql_eDataType::TypeMemo, "TypeMemo"},
    {ql_eDataType::TypeCounter, "TypeCounter"},
    {ql_eDataType::TypeBinary, "TypeBinary"},
    {ql_eDataType::TypeOLEObject, "TypeOLEObject"},
    {ql_eDataType::TypeVarChar, "TypeVarChar"},
    {ql_eDataType::TypeByte, "TypeByte"},
    {ql_eDataType::TypeNotSupported, "TypeNotSupported"},
    {ql_eDataType::TypeGUID, "TypeGUID"},
    {ql_eDataType::TypeBigCounter, "TypeBigCounter"},
    {ql_eDataType::TypeCharUnicode, "TypeCharUnicode"},
    {ql_eDataType::TypeVarCharUnicode, "TypeVarCharUnicode"},
    {ql_eDataType::TypeMemoUnicode, "TypeMemoUnicode"},
}};

} // namespace

ql_eDataType GetDataTypeFromName(const QString& sType) {
    const QString word = sType.toLower();
    for (const TypeWord& entry : kTypeWords) {
        if (word == QLatin1String(entry.word))
            return entry.type;
    }
    return ql_eDataType::TypeChar;
}

QString DataTypeXmlName(ql_eDataType iDataType) {
    for (const auto& [type, name] : kXmlNames) {
        if (type == iDataType)
            return QString::fromLatin1(name);
    }
    return QString();
}

std::optional<ql_eDataType> DataTypeFromXmlName(const QString& sName) {
    for (const auto& [type, name] : kXmlNames) {
        if (sName == QLatin1String(name))
            return type;
    }
    return std::nullopt;
}

ql_eDataType GetDataTypeFromName(const QString& sType, bool bAllowUseUnicode, bool /*bHistory*/) {
    const ql_eDataType type = DataTypeFromXmlName(sType).value_or(ql_eDataType::TypeNotSupported);
    if (bAllowUseUnicode)
        return type;
    switch (type) {
    case ql_eDataType::TypeCharUnicode:
        return ql_eDataType::TypeChar;
    case ql_eDataType::TypeVarCharUnicode:
        return ql_eDataType::TypeVarChar;
    case ql_eDataType::TypeMemoUnicode:
        return ql_eDataType::TypeMemo;
    default:
        return type;
    }
}

} // namespace qldb
