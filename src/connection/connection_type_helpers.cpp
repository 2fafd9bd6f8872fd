#include "connection/ql_connection.h"

namespace qldb {

namespace {
// ADO's number for an interface pointer, which is what the types without a storage form map to.
constexpr int32_t adIUnknown = 13;
} // namespace

int32_t qlConnection::GetAdoDataType(ql_eDataType iDataType) {
    // Nothing in the mapping can fail, so the routine's rule (clear the error, return what it holds)
    // never has anything to do.
    switch (static_cast<int32_t>(iDataType)) {
    case static_cast<int32_t>(ql_eDataType::TypeChar):
        return ado::adChar;
    case static_cast<int32_t>(ql_eDataType::TypeInt):
        return ado::adInteger;
    case static_cast<int32_t>(ql_eDataType::TypeLong):
    case static_cast<int32_t>(ql_eDataType::TypeCounter):
    case static_cast<int32_t>(ql_eDataType::TypeBigCounter):
        return ado::adBigInt;
    case static_cast<int32_t>(ql_eDataType::TypeDbl):
        return ado::adDouble;
    case static_cast<int32_t>(ql_eDataType::TypeDate):
        return ado::adDate;
    case static_cast<int32_t>(ql_eDataType::TypeTime):
        return ado::adDBTime;
    case static_cast<int32_t>(ql_eDataType::TypeDateTime):
        return ado::adDBTimeStamp;
    case static_cast<int32_t>(ql_eDataType::TypeBit):
        return ado::adBoolean;
    case static_cast<int32_t>(ql_eDataType::TypeMemo):
        return ado::adLongVarChar;
    case static_cast<int32_t>(ql_eDataType::TypeBinary):
    case static_cast<int32_t>(ql_eDataType::TypeByte):
        return ado::adBinary;
    case static_cast<int32_t>(ql_eDataType::TypeOLEObject):
        return ado::adLongVarBinary;
    case static_cast<int32_t>(ql_eDataType::TypeVarChar):
        return ado::adVarChar;
    // 16 has no name among the data types but old structure files still carry it.
    case static_cast<int32_t>(ql_eDataType::TypeNotSupported):
    case 16:
        return adIUnknown;
    default:
        return ado::adEmpty;
    }
}

} // namespace qldb
