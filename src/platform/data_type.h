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

} // namespace qldb
