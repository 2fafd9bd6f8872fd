#pragma once
// The connection as the rest of the library sees it. The ODBC implementation talks to real
// drivers; tests put a scripted one in its place where no server of that kind can run.
// Every failure is a qlException with the numbers of the error table (see error_record.h).
#include "platform/errors/error_record.h"
#include "platform/odbc/command.h"
#include "platform/odbc/recordset.h"

#include <QString>
#include <cstdint>
#include <memory>
#include <vector>

namespace qldb {

struct CatalogTable {
    QString Name;
    // "TABLE", "VIEW", "SYSTEM TABLE" or "SYSTEM VIEW".
    QString Type;
};

struct CatalogColumn {
    QString Name;
    int32_t Type = ado::adEmpty; // ADO type number
    int32_t DefinedSize = 0;
};

class IDbConnection {
public:
    virtual ~IDbConnection() = default;

    // The connection string as hosts write it; translated to the driver's own form at Open.
    virtual QString ConnectionString() const = 0;
    virtual void setConnectionString(const QString& sConnectionString) = 0;
    virtual int32_t Mode() const = 0;
    virtual void setMode(int32_t mode) = 0;
    virtual int32_t CursorLocation() const = 0;
    virtual void setCursorLocation(int32_t location) = 0;
    virtual int32_t IsolationLevel() const = 0;
    virtual void setIsolationLevel(int32_t level) = 0;
    // Seconds a statement of Execute and OpenRecordset (and the write-back of an updatable
    // recordset) may run before it is cancelled with the timeout error; 0 waits without limit.
    // Commands carry their own. 30 on a new connection.
    virtual int32_t CommandTimeout() const = 0;
    virtual void setCommandTimeout(int32_t seconds) = 0;

    virtual void Open() = 0;
    virtual void Close() = 0;
    virtual void Cancel() = 0;
    // 0 closed, 1 open.
    virtual int32_t State() const = 0;
    // The diagnostics of the last failed call.
    virtual std::vector<ErrorRecord> Errors() const = 0;

    // Runs a statement. With adExecuteNoRecords in options no recordset is made and the result is
    // null; otherwise the first rowset of the answer (state 0 when there is none).
    virtual std::shared_ptr<Recordset> Execute(const QString& sCommandText, int32_t options) = 0;
    // Opens a fully fetched static recordset; a lock type other than read-only makes it updatable
    // when the statement reads one table.
    virtual std::shared_ptr<Recordset> OpenRecordset(const QString& sSource, int32_t cursorType,
                                                     int32_t lockType, int32_t options) = 0;
    virtual std::shared_ptr<Recordset> ExecuteCommand(const Command& command, int32_t options) = 0;

    // Returns the nesting level after the call.
    virtual int32_t BeginTrans() = 0;
    virtual void CommitTrans() = 0;
    virtual void RollbackTrans() = 0;

    virtual std::vector<CatalogTable> Tables() = 0;
    virtual std::vector<CatalogColumn> Columns(const QString& sTableName) = 0;
};

// A new, unopened connection over ODBC.
std::shared_ptr<IDbConnection> CreateOdbcConnection();

} // namespace qldb
