#pragma once
// The parameters of a bulk insert as ODBC reads them: each column's values laid out in slots of
// one width, with a length indicator per slot. Internal to the data access layer.
#include "platform/odbc/odbc_handle.h"
#include "platform/odbc/recordset.h"
#include "platform/odbc/value_kind.h"

#include <cstdint>
#include <vector>

namespace qldb {

// A column's values are bound in the C form of their kind (value_kind.h).

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
ParameterLayout LayoutFor(ValueKind kind, const std::vector<Row>& rows, size_t col);

// Writes the value into a slot of the column's layout and sets its indicator; a null or invalid
// value becomes SQL_NULL_DATA.
void PutParameter(ValueKind kind, const QVariant& vValue, char* slot, SQLLEN& indicator);

} // namespace qldb
