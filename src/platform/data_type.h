#pragma once
#include <cstdint>

namespace qldb {

// The library-wide data types of fields, conditions and parameters. The numbers are stored in
// structure files and passed by hosts, so they never change.
enum class ql_eDataType : int32_t {
    TypeChar = 0,
    TypeInt = 1,
    TypeLong = 2,
    TypeDbl = 3,
    TypeDate = 4,
    TypeTime = 5,
    TypeDateTime = 6,
    TypeBit = 7,
    TypeMemo = 8,
    TypeCounter = 9,
    TypeBinary = 10,
    TypeOLEObject = 11,
    TypeVarChar = 12,
    TypeByte = 13,
    TypeNotSupported = 15,
    // A value that is SQL text and goes into a statement unformatted.
    TypeSqlExpression = 17,
    TypeGUID = 18,
    TypeBigCounter = 19,
    TypeCharUnicode = 101,
    TypeVarCharUnicode = 102,
    TypeMemoUnicode = 103,
};

// The character types, plain and Unicode, of every width: the ones that take a collation.
inline bool IsTextType(ql_eDataType iType) {
    switch (iType) {
    case ql_eDataType::TypeChar:
    case ql_eDataType::TypeVarChar:
    case ql_eDataType::TypeMemo:
    case ql_eDataType::TypeCharUnicode:
    case ql_eDataType::TypeVarCharUnicode:
    case ql_eDataType::TypeMemoUnicode:
        return true;
    default:
        return false;
    }
}

// Dates, times of day and the two together.
inline bool IsDateType(ql_eDataType iType) {
    return iType == ql_eDataType::TypeDate || iType == ql_eDataType::TypeTime ||
           iType == ql_eDataType::TypeDateTime;
}

} // namespace qldb
