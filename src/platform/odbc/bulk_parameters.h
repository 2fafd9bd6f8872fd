#pragma once
// The parameters of a bulk insert as ODBC reads them: each column's values laid out in slots of
// one width, with a length indicator per slot. Internal to the data access layer.
#include "platform/odbc/odbc_handle.h"
#include "platform/odbc/recordset.h"

#include <cstdint>
#include <vector>

namespace qldb {

// How a column's values are bound: the C form they take in the slots.
enum class BindKind { Int64, Double, Numeric, Bit, Date, Time, Timestamp, Binary, Text };

BindKind BindKindOf(int32_t adoType);

// The binding of one column: C and SQL types, column size and digits, and the bytes of a slot.
struct ParameterLayout {
    SQLSMALLINT CType = SQL_C_WCHAR;
    SQLSMALLINT SqlType = SQL_WVARCHAR;
    SQLULEN ColumnSize = 1;
    SQLSMALLINT Digits = 0;
    SQLLEN Width = 0;
};

// The layout that holds every value of column col of the rows (the widest text or binary value
// sets the width of a slot).
ParameterLayout LayoutFor(BindKind kind, const std::vector<Row>& rows, size_t col);

// Writes the value into a slot of the column's layout and sets its indicator; a null or invalid
// value becomes SQL_NULL_DATA.
void PutParameter(BindKind kind, const QVariant& vValue, char* slot, SQLLEN& indicator);

} // namespace qldb
