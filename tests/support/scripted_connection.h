#pragma once
// A connection for tests: it records every call in order and answers statements from programmed
// responses, tried in the order added (a response marked once is used up by its first match). A
// statement that matches nothing gets no recordset for adExecuteNoRecords, else one with state 0.
// BEGIN, COMMIT and ROLLBACK TRANSACTION are counted as SQL Server nests them (COMMIT lowers the
// count by one, ROLLBACK ends all levels), and "SELECT @@TRANCOUNT" answers with that count.
#include "platform/odbc/db_connection.h"

#include <QString>
#include <QStringList>
#include <QVariant>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace qldb::test {

// The order is the one of the names trace() writes; the statement kinds stand together.
enum class CallKind {
    SetConnectionString,
    SetMode,
    SetCursorLocation,
    SetIsolationLevel,
    Open,
    Close,
    Cancel,
    Execute,        // Connection.Execute: Text, Options
    OpenRecordset,  // Text, CursorType, LockType, Options
    ExecuteCommand, // Text is the command text, Cmd the whole command, Options
    BeginTrans,
    CommitTrans,
    RollbackTrans,
};

struct Call {
    CallKind Kind;
    QString Text;      // statement, command text or connection string (SetConnectionString, Open)
    int32_t Value = 0; // the number set by SetMode, SetCursorLocation, SetIsolationLevel
    int32_t Options = 0;
    int32_t CursorType = 0;
    int32_t LockType = 0;
    Command Cmd{};
};

// An ErrorRecord as a provider reports it.
ErrorRecord ProviderError(int32_t number, const QString& sDescription);

class ScriptedConnection : public IDbConnection {
public:
    using Matcher = std::function<bool(const QString&)>;

    // A recordset, copied afresh for every match so that positions never leak between calls.
    void respond(const QString& sText, const Recordset& rs, bool once = false);
    void fail(const QString& sText, int32_t number, const QString& sDescription, bool once = false);
    void failIf(Matcher match, int32_t number, const QString& sDescription, bool once = false);
    // The next open fails; Close and Cancel fail from now on.
    void failOpen(int32_t number, const QString& sDescription) {
        m_openFailure = ProviderError(number, sDescription);
    }
    void failClose(ErrorRecord error) { m_closeFailure = std::move(error); }
    void failCancel(ErrorRecord error) { m_cancelFailure = std::move(error); }
    // Marks the connection open (or closed) without a recorded call.
    void setOpen(bool open) { m_state = open ? ado::adStateOpen : ado::adStateClosed; }

    const std::vector<Call>& calls() const { return m_calls; }
    // Texts of the statement calls (Execute, OpenRecordset, ExecuteCommand), in order.
    QStringList statements() const;
    std::vector<Call> callsOf(CallKind kind) const;
    int count(CallKind kind) const { return static_cast<int>(callsOf(kind).size()); }
    // "Open", "Execute:SELECT 1", "SetMode:3", ...: the whole sequence as text.
    QStringList trace() const;
    void clearCalls() { m_calls.clear(); }

    // A recordset with the named fields; each field's type is guessed from the first non-null value
    // of its column (text adVarWChar, integers adInteger, 64-bit adBigInt, reals adDouble, booleans
    // adBoolean, dates adDBTimeStamp, bytes adLongVarBinary).
    static Recordset Table(const QStringList& names, const std::vector<Row>& rows);

    QString ConnectionString() const override { return m_connectionString; }
    void setConnectionString(const QString& s) override;
    int32_t Mode() const override { return m_mode; }
    void setMode(int32_t mode) override { setNumber(CallKind::SetMode, m_mode, mode); }
    int32_t CursorLocation() const override { return m_cursorLocation; }
    void setCursorLocation(int32_t n) override {
        setNumber(CallKind::SetCursorLocation, m_cursorLocation, n);
    }
    int32_t IsolationLevel() const override { return m_isolationLevel; }
    void setIsolationLevel(int32_t n) override {
        setNumber(CallKind::SetIsolationLevel, m_isolationLevel, n);
    }
    // Kept, not recorded: the timeout is read back where a test cares.
    int32_t CommandTimeout() const override { return m_commandTimeout; }
    void setCommandTimeout(int32_t seconds) override { m_commandTimeout = seconds; }

    void Open() override;
    void Close() override;
    void Cancel() override;
    int32_t State() const override { return m_state; }
    std::vector<ErrorRecord> Errors() const override { return m_lastErrors; }

    std::shared_ptr<Recordset> Execute(const QString& sCommandText, int32_t options) override;
    std::shared_ptr<Recordset> OpenRecordset(const QString& sSource, int32_t cursorType, int32_t lockType,
                                             int32_t options) override;
    std::shared_ptr<Recordset> ExecuteCommand(const Command& command, int32_t options) override;

    int32_t BeginTrans() override;
    void CommitTrans() override { endTrans(CallKind::CommitTrans); }
    void RollbackTrans() override { endTrans(CallKind::RollbackTrans); }

    // The catalog walk's answers: tables in the order added, each with its columns. Columns of a
    // table are found by name in any case, as the server's default collation finds them.
    void addCatalogTable(const QString& sName, std::vector<CatalogColumn> columns,
                         const QString& sType = QStringLiteral("TABLE")) {
        m_catalog.push_back({CatalogTable{sName, sType}, std::move(columns)});
    }
    std::vector<CatalogTable> Tables() override;
    std::vector<CatalogColumn> Columns(const QString& sTableName) override;

private:
    struct Response {
        Matcher Match;
        Recordset Rows;
        std::optional<ErrorRecord> Error;
        bool Once = false;
        bool Used = false;
    };

    Call& record(CallKind kind, const QString& sText = QString(), int32_t value = 0);
    void setNumber(CallKind kind, int32_t& field, int32_t value) {
        record(kind, {}, value);
        field = value;
    }
    [[noreturn]] void raise(ErrorRecord error);
    void requireOpen();
    std::shared_ptr<Recordset> answer(const QString& sText, bool noRecords);
    std::optional<std::shared_ptr<Recordset>> trackTransaction(const QString& sText, bool noRecords);
    void endTrans(CallKind kind);

    std::vector<Call> m_calls;
    std::vector<Response> m_responses;
    std::vector<std::pair<CatalogTable, std::vector<CatalogColumn>>> m_catalog;
    std::optional<ErrorRecord> m_openFailure, m_closeFailure, m_cancelFailure;
    int32_t m_sqlTranCount = 0;
    int32_t m_adoTranLevel = 0;

    QString m_connectionString;
    int32_t m_mode = 0;
    int32_t m_cursorLocation = 2;
    int32_t m_isolationLevel = ado::adXactReadCommitted;
    int32_t m_commandTimeout = 30;
    int32_t m_state = ado::adStateClosed;
    std::vector<ErrorRecord> m_lastErrors;
};

} // namespace qldb::test
