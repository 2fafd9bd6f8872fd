// qlConnection: how ADO field types map onto the kinds of value a form shows and onto the input
// formats of the host's input controls.
#include "connection/ql_connection.h"
#include "platform/odbc/ado_types.h"

namespace qldb {

using namespace ado;

namespace {
// Types of the data access model that the shared table does not name.
constexpr int32_t adUnsignedSmallInt = 18;
constexpr int32_t adUnsignedInt = 19;
constexpr int32_t adUnsignedBigInt = 21;
constexpr int32_t adVarNumeric = 139;
} // namespace

// Which ADO types are numbers, dates or booleans is said once, in MatchADOType; the other mappings
// read it from there.
bool qlConnection::IsNumericField(const Field& fld) {
    const ql_eInputFormat format = MatchADOType(fld.Type());
    return format == ql_eInputFormat::SmallNumber || format == ql_eInputFormat::Number ||
           format == ql_eInputFormat::Decimal;
}

bool qlConnection::IsDateField(const Field& fld) {
    return MatchADOType(fld.Type()) == ql_eInputFormat::Date;
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
    // Binary counts as numeric: the forms align and edit it as they do numbers.
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
    switch (MatchADOType(ADODataType)) {
    case ql_eInputFormat::SmallNumber:
    case ql_eInputFormat::Number:
        return ql_eTextBoxType::Number;
    case ql_eInputFormat::Decimal:
        return ql_eTextBoxType::Decimal;
    case ql_eInputFormat::Date:
        return ql_eTextBoxType::Date;
    case ql_eInputFormat::Check:
    case ql_eInputFormat::Text:
        break;
    }
    return ql_eTextBoxType::Text;
}

} // namespace qldb
