#include "platform/odbc/value_kind.h"

#include "platform/odbc/ado_types.h"

namespace qldb {

ValueKind ValueKindOf(int32_t adoType) {
    switch (adoType) {
    case ado::adSmallInt:
    case ado::adInteger:
    case ado::adTinyInt:
    case ado::adUnsignedTinyInt:
    case 18: // unsigned small, unsigned, unsigned big integers
    case 19:
    case ado::adBigInt:
    case 21:
        return ValueKind::Integer;
    case ado::adSingle:
    case ado::adDouble:
    case ado::adCurrency:
        return ValueKind::Real;
    case ado::adDecimal:
    case ado::adNumeric:
    case 139: // variable numeric
        return ValueKind::Numeric;
    case ado::adBoolean:
        return ValueKind::Bit;
    case ado::adDBDate:
        return ValueKind::Date;
    case ado::adDBTime:
        return ValueKind::Time;
    case ado::adDate:
    case ado::adDBTimeStamp:
        return ValueKind::Timestamp;
    case ado::adBinary:
    case ado::adVarBinary:
    case ado::adLongVarBinary:
        return ValueKind::Binary;
    default:
        return ValueKind::Text;
    }
}

} // namespace qldb
