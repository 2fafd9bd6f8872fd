#pragma once
// The one check around every ODBC call: a failed call's diagnostics are read at once, all of
// them, and become a qlException with the number that hosts know for that condition, the driver's
// message text unchanged as description, and SQLSTATE, native error and statement alongside.
#include "platform/errors/error_record.h"
#include "platform/odbc/odbc_handle.h"

#include <QString>
#include <cstdint>
#include <vector>

namespace qldb {

struct OdbcDiagnostic {
    QString SqlState;
    int32_t NativeError = 0;
    QString Message;
};

// Where a call was made: the source of the error record, the statement it ran (if any), and
// where to keep every diagnostic of a failure (the connection's Errors()).
struct OdbcCallSite {
    QString Source;
    QString Statement;
    std::vector<ErrorRecord>* LastErrors = nullptr;
};

// All diagnostic records of a handle, in order, with embedded NULs removed from the messages.
std::vector<OdbcDiagnostic> ReadOdbcDiagnostics(SQLSMALLINT handleType, SQLHANDLE handle);

// The error number for a diagnostic:
//   class 08, deadlocks (native 1205, 40001, 40P01), anything not below   kErrGeneral
//   42xxx except the unknown-table states                                  kErrSyntax
//   42S02 (and PostgreSQL's 42P01)                                         kErrUnknownTable
//   23xxx                                                                  kErrIntegrity
//   HYT00                                                                  kErrTimeout
// The SQLite driver reports every failure as HY000 with SQLite's result code as native error;
// for it the condition is read from the code and the message. PostgreSQL's cancel for a statement
// timeout (57014, "statement timeout") counts as HYT00.
int32_t OdbcErrorNumber(const QString& sSqlState, int32_t nativeError, const QString& sMessage);

ErrorRecord MakeOdbcErrorRecord(const OdbcDiagnostic& diagnostic, const OdbcCallSite& site);

// Returns rc when the call succeeded (with or without information) or found no data. Otherwise
// reads every diagnostic of the handle, stores them in site.LastErrors, and throws the first
// error among them as a qlException.
SQLRETURN OdbcCheck(SQLRETURN rc, SQLSMALLINT handleType, SQLHANDLE handle, const OdbcCallSite& site);

} // namespace qldb
