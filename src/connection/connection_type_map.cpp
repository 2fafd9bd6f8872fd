// qlConnection: how ADO field types map onto the kinds of value a form shows and onto the input
// formats of the host's input controls.
#include "connection/ql_connection.h"
#include "platform/ado_types.h"

namespace qldb {

using namespace ado;

namespace {
// Types of the data access model that the shared table does not name.
constexpr int32_t adUnsignedSmallInt = 18;
constexpr int32_t adUnsignedInt = 19;
constexpr int32_t adUnsignedBigInt = 21;
constexpr int32_t adVarNumeric = 139;
} // namespace

bool qlConnection::IsNumericField(const Field& fld) {
    switch (fld.Type()) {
    case adSmallInt:
    case adInteger:
    case adSingle:
    case adDouble:
    case adCurrency:
    case adDecimal:
    case adTinyInt:
    case adUnsignedTinyInt:
    case adUnsignedSmallInt:
    case adUnsignedInt:
    case adBigInt:
    case adUnsignedBigInt:
    // Binary counts as numeric: the forms align and edit it as they do numbers.
    case adBinary:
    case adNumeric:
    case adVarNumeric:
        return true;
    default:
        return false;
    }
}

bool qlConnection::IsDateField(const Field& fld) {
    switch (fld.Type()) {
    case adDate:
    case adDBDate:
    case adDBTime:
    case adDBTimeStamp:
        return true;
    default:
        return false;
    }
}

ql_eInputFormat qlConnection::MatchADOType(int32_t ADODataType) {
    switch (ADODataType) {
    case adSmallInt:
    case adTinyInt:
    case adUnsignedTinyInt:
    case adUnsignedSmallInt:
        return ql_eInputFormat::SmallNumber;
    case adInteger:
    case adSingle:
    case adUnsignedInt:
    case adBigInt:
    case adUnsignedBigInt:
    case adBinary:
    case adNumeric:
        return ql_eInputFormat::Number;
    case adDouble:
    case adCurrency:
    case adDecimal:
    case adVarNumeric:
        return ql_eInputFormat::Decimal;
    case adDate:
    case adDBDate:
    case adDBTime:
    case adDBTimeStamp:
        return ql_eInputFormat::Date;
    case adBoolean:
        return ql_eInputFormat::Check;
    default:
        return ql_eInputFormat::Text;
    }
}

ql_eTextBoxType qlConnection::GetTextBoxType(int32_t ADODataType) {
    switch (ADODataType) {
    case adSmallInt:
    case adInteger:
    case adSingle:
    case adTinyInt:
    case adUnsignedTinyInt:
    case adUnsignedSmallInt:
    case adUnsignedInt:
    case adBigInt:
    case adUnsignedBigInt:
    case adBinary:
    case adNumeric:
        return ql_eTextBoxType::Number;
    case adDouble:
    case adCurrency:
    case adDecimal:
    case adVarNumeric:
        return ql_eTextBoxType::Decimal;
    case adDate:
    case adDBDate:
    case adDBTime:
    case adDBTimeStamp:
        return ql_eTextBoxType::Date;
    default:
        return ql_eTextBoxType::Text;
    }
}

} // namespace qldb
