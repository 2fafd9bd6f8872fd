#pragma once
// The built-in copier: the three passes of a bulk copy done over the connection, for platforms
// without the bulk copy program. It leaves the files the program leaves: the format file, the
// wide data file, the error file with one entry per refused row, and with iMode 2 its account in
// the log file.
#include "platform/odbc/db_connection.h"
#include "structure/bulk_copy/bulk_copy.h"

#include <cstdint>

namespace qldb {

// Rows per batch of the in pass: each batch is one transaction. Every commit waits for the disk
// (SQLite's journal); at this size the waits are a small share of the copy.
inline constexpr int kBulkBatchRows = 10000;

// True when the pass could do its work; problems with the table or its data go to the error file.
bool RunBuiltInCopy(const BulkCopyJob& job, int32_t iMode, IDbConnection& connection);

} // namespace qldb
