#pragma once
// The connection of a dry run: reads of the catalog and of data go to the database, every
// statement that would change something is handed to a printer in order and not sent. Later steps
// of the run are therefore planned against the database as it is now, not as the earlier steps
// would have left it.
#include "platform/odbc/db_connection.h"

#include <functional>
#include <memory>

namespace qldb::cli {

class DryRunConnection : public IDbConnection {
public:
    using Printer = std::function<void(const QString& sStatement)>;
    DryRunConnection(std::shared_ptr<IDbConnection> inner, Printer printer)
        : m_inner(std::move(inner)), m_printer(std::move(printer)) {}

    // True for a statement that only reads: a SELECT or WITH query (after the isolation prefix the
    // connection may put in front), or one of the server's catalog procedures.
    static bool IsRead(const QString& sStatement);

    QString ConnectionString() const override { return m_inner->ConnectionString(); }
    void setConnectionString(const QString& s) override { m_inner->setConnectionString(s); }
    int32_t Mode() const override { return m_inner->Mode(); }
    void setMode(int32_t mode) override { m_inner->setMode(mode); }
    int32_t CursorLocation() const override { return m_inner->CursorLocation(); }
    void setCursorLocation(int32_t location) override { m_inner->setCursorLocation(location); }
    int32_t IsolationLevel() const override { return m_inner->IsolationLevel(); }
    void setIsolationLevel(int32_t level) override { m_inner->setIsolationLevel(level); }
    int32_t CommandTimeout() const override { return m_inner->CommandTimeout(); }
    void setCommandTimeout(int32_t seconds) override { m_inner->setCommandTimeout(seconds); }
    void Open() override { m_inner->Open(); }
    void Close() override { m_inner->Close(); }
    void Cancel() override { m_inner->Cancel(); }
    int32_t State() const override { return m_inner->State(); }
    std::vector<ErrorRecord> Errors() const override { return m_inner->Errors(); }

    std::shared_ptr<Recordset> Execute(const QString& sCommandText, int32_t options) override;
    std::shared_ptr<Recordset> OpenRecordset(const QString& sSource, int32_t cursorType, int32_t lockType,
                                             int32_t options) override;
    std::shared_ptr<Recordset> ExecuteCommand(const Command& command, int32_t options) override;

    // Transactions are printed, not opened: nothing is written that could be committed.
    int32_t BeginTrans() override;
    void CommitTrans() override;
    void RollbackTrans() override;

    std::vector<CatalogTable> Tables() override { return m_inner->Tables(); }
    std::vector<CatalogColumn> Columns(const QString& sTableName) override {
        return m_inner->Columns(sTableName);
    }

    int printed() const { return m_printed; }
    std::shared_ptr<IDbConnection> inner() const { return m_inner; }

private:
    std::shared_ptr<Recordset> skip(const QString& sStatement);

    std::shared_ptr<IDbConnection> m_inner;
    Printer m_printer;
    int m_printed = 0;
    int32_t m_transactionLevel = 0;
};

} // namespace qldb::cli
