#pragma once
// The catalog through the ODBC catalog functions: tables with their type, the columns of a table
// with ADO type number and defined size, and a table's primary key.
#include "platform/odbc/db_connection.h"
#include "platform/odbc/odbc_diagnostics.h"

#include <QStringList>
#include <vector>

namespace qldb {

// Tables and views of the current database, with the types "TABLE", "VIEW", "SYSTEM TABLE" and
// "SYSTEM VIEW" (other kinds, such as synonyms and temporary tables, are left out).
std::vector<CatalogTable> ReadOdbcTables(SQLHDBC dbc, const OdbcCallSite& site);

// The columns of a table in their order. The name is a name, not a pattern: "_" and "%" in it
// match only themselves. When nothing is found under the name as written, its lower-case form is
// tried, since PostgreSQL keeps unquoted names in lower case.
std::vector<CatalogColumn> ReadOdbcColumns(SQLHDBC dbc, const QString& sTableName, const OdbcCallSite& site);

// The columns of the table's primary key in key order; empty when it has none.
QStringList ReadOdbcPrimaryKey(SQLHDBC dbc, const QString& sTableName, const OdbcCallSite& site);

} // namespace qldb
