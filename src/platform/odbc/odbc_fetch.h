#pragma once
// Reading the answer of an executed ODBC statement into a client-side recordset: the column
// descriptions become fields with ADO type numbers and defined sizes, every row is fetched, and
// values become variants (text as QString, whole numbers, floating numbers, decimals as whole
// numbers or doubles, QDate/QTime/QDateTime, QByteArray for binary data, bool for bits, Null for
// NULL).
#include "platform/odbc/odbc_diagnostics.h"
#include "platform/odbc/recordset.h"

#include <memory>

namespace qldb {

// The ADO type number of an ODBC SQL type. typeName is the driver's own name of the type (it
// tells money from other decimals); isUnsigned tells tinyint from a signed byte.
int32_t AdoTypeOfSqlType(SQLSMALLINT sqlType, bool isUnsigned, const QString& typeName);
// The defined size that ADO gives a field of that type: the length of text and binary columns,
// the storage size of the others.
int32_t AdoDefinedSize(int32_t adoType, SQLULEN columnSize);

// The first rowset of an executed statement, all rows fetched. Results without columns (row
// counts, messages) before it are skipped; when there is no rowset at all the recordset has state
// 0. The statement's cursor is closed afterwards.
std::shared_ptr<Recordset> FetchFirstRowset(SQLHSTMT stmt, SQLRETURN execResult, const OdbcCallSite& site);

// Goes through every result of an executed statement without reading rows, so that an error of a
// later statement of a batch is not lost.
void DrainResults(SQLHSTMT stmt, SQLRETURN execResult, const OdbcCallSite& site);

} // namespace qldb
