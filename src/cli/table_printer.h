#pragma once
#include "platform/odbc/recordset.h"

#include <QTextStream>

namespace qldb::cli {

// Prints the rows of a recordset as a text table, Null as NULL, followed by the row count.
void PrintTable(Recordset& recordset, QTextStream& out);

} // namespace qldb::cli
