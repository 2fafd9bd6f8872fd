#pragma once
// The connection over ODBC (see db_connection.h for what every connection promises). Internal to
// the data access layer: the rest of the library gets it from CreateOdbcConnection().
//
// Open translates the connection string through the provider map and connects without a prompt;
// a statement runs on a statement handle of its own, which Cancel can reach while it runs.
// Transactions switch autocommit off until they end; ODBC has no nesting, so a second BeginTrans
// while one is open is refused.
#include "platform/odbc/command.h"
#include "platform/odbc/db_connection.h"
#include "platform/odbc/odbc_diagnostics.h"

#include <QStringList>
#include <memory>
#include <mutex>

namespace qldb {

// OLE DB's numbers and texts for transaction misuse and an open object, as hosts know them.
inline constexpr int32_t kErrTransactionExists = -2147168237; // 0x8004D013
inline constexpr int32_t kErrNoTransaction = -2147168242;     // 0x8004D00E
inline constexpr int32_t kErrObjectOpen = 3705;

// ADO's wait for a statement on a new connection, in seconds.
inline constexpr int32_t kDefaultCommandTimeout = 30;

class OdbcConnection : public IDbConnection, public std::enable_shared_from_this<OdbcConnection> {
public:
    OdbcConnection() = default;
    ~OdbcConnection() override;
    OdbcConnection(const OdbcConnection&) = delete;
    OdbcConnection& operator=(const OdbcConnection&) = delete;

    QString ConnectionString() const override { return m_connectionString; }
    void setConnectionString(const QString& s) override { m_connectionString = s; }
    int32_t Mode() const override { return m_mode; }
    void setMode(int32_t mode) override { m_mode = mode; }
    int32_t CursorLocation() const override { return m_cursorLocation; }
    void setCursorLocation(int32_t location) override { m_cursorLocation = location; }
    int32_t IsolationLevel() const override { return m_isolationLevel; }
    // Applied at the next Open, or at once on an open connection.
    void setIsolationLevel(int32_t level) override;
    int32_t CommandTimeout() const override { return m_commandTimeout; }
    void setCommandTimeout(int32_t seconds) override { m_commandTimeout = seconds; }

    void Open() override;
    void Close() override;
    void Cancel() override;
    int32_t State() const override;
    std::vector<ErrorRecord> Errors() const override { return m_errors; }

    std::shared_ptr<Recordset> Execute(const QString& sCommandText, int32_t options) override;
    std::shared_ptr<Recordset> OpenRecordset(const QString& sSource, int32_t cursorType, int32_t lockType,
                                             int32_t options) override;
    std::shared_ptr<Recordset> ExecuteCommand(const Command& command, int32_t options) override;

    int32_t BeginTrans() override;
    void CommitTrans() override;
    void RollbackTrans() override;

    std::vector<CatalogTable> Tables() override;
    std::vector<CatalogColumn> Columns(const QString& sTableName) override;

    // For the write-back of updatable recordsets: runs a statement with positional parameters and
    // returns the number of rows it changed.
    int64_t ExecuteCounted(const QString& sStatement, const std::vector<Parameter>& parameters,
                           const QString& sSource);
    // A column or table name in the driver's identifier quotes.
    QString QuoteIdentifier(const QString& sName) const;
    QStringList PrimaryKey(const QString& sTableName);
    // The open connection's handle, for the bulk insert that binds parameter arrays on it.
    SQLHDBC NativeHandle(const QString& sSource) const { return requireOpen(sSource); }

private:
    struct Run {
        std::shared_ptr<Recordset> Rows;
        int64_t Affected = 0;
    };
    Run run(const QString& sStatement, const std::vector<Parameter>* parameters, bool named, int32_t timeout,
            bool wantRows, const QString& sSource);
    SQLHDBC requireOpen(const QString& sSource) const;
    void applyIsolation(const QString& sSource);
    void endTransaction(SQLSMALLINT completion, const QString& sSource);
    void disconnect() noexcept;

    QString m_connectionString;
    int32_t m_mode = 0;
    int32_t m_cursorLocation = 2; // adUseServer, ADO's default
    int32_t m_isolationLevel = 4096;
    bool m_isolationSet = false;
    int32_t m_commandTimeout = kDefaultCommandTimeout;

    OdbcEnvHandle m_env;
    OdbcDbcHandle m_dbc;
    bool m_open = false;
    bool m_inTransaction = false;
    QString m_quote;
    std::vector<ErrorRecord> m_errors;

    // The statement that runs now, for Cancel, which may come from another thread.
    std::mutex m_runningMutex;
    SQLHSTMT m_running = SQL_NULL_HSTMT;
};

} // namespace qldb
