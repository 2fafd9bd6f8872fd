#pragma once
// A connection for tests: it records every call in order and answers statements from programmed
// responses, so that the statements a routine sends and what it makes of the answers can be
// asserted without a server.
//
// Responses are tried in the order they were added; the first that matches wins. A response
// marked once is used up by its first match. A statement that matches nothing gets the default
// answer: no recordset for adExecuteNoRecords, a recordset with state 0 otherwise. BEGIN, COMMIT
// and ROLLBACK TRANSACTION are counted as SQL Server nests them (COMMIT lowers the count by one,
// ROLLBACK ends all levels), and "SELECT @@TRANCOUNT" answers with that count.
#include "platform/db_connection.h"

#include <QString>
#include <QStringList>
#include <QVariant>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace qldb::test {

enum class CallKind {
    SetConnectionString,
    SetMode,
    SetCursorLocation,
    SetIsolationLevel,
    Open,
    Close,
    Cancel,
    Execute,        // Connection.Execute: Text, Options
    OpenRecordset,  // a recordset opened on the connection: Text, CursorType, LockType, Options
    ExecuteCommand, // Text is the command text, Cmd the whole command, Options
    BeginTrans,
    CommitTrans,
    RollbackTrans,
};

struct Call {
    CallKind Kind;
    // Statement, command text or connection string (SetConnectionString and Open).
    QString Text;
    // The number set by SetMode, SetCursorLocation, SetIsolationLevel.
    int32_t Value = 0;
    int32_t Options = 0;
    int32_t CursorType = 0;
    int32_t LockType = 0;
    Command Cmd;
};

class ScriptedConnection : public IDbConnection {
public:
    using Matcher = std::function<bool(const QString&)>;

    // ---- Programming answers ----
    // A recordset (copied afresh for every match, so positions never leak between calls).
    void respond(const QString& sText, const Recordset& rs, bool once = false);
    // A statement that returns no rowset: a recordset with state 0.
    void respondNoRowset(const QString& sText, bool once = false);
    // An error with the given number and description (source "Microsoft OLE DB Provider for ODBC Drivers").
    void fail(const QString& sText, int32_t number, const QString& sDescription, bool once = false);
    void failIf(Matcher match, int32_t number, const QString& sDescription, bool once = false);

    // The next open fails with this error.
    void failOpen(int32_t number, const QString& sDescription);
    // Close and Cancel fail with this error from now on.
    void failClose(ErrorRecord error) { m_closeFailure = std::move(error); }
    void failCancel(ErrorRecord error) { m_cancelFailure = std::move(error); }
    // Marks the connection open (or closed) without a recorded call.
    void setOpen(bool open) { m_state = open ? ado::adStateOpen : ado::adStateClosed; }

    // ---- What happened ----
    const std::vector<Call>& calls() const { return m_calls; }
    // Texts of the statement calls (Execute, OpenRecordset, ExecuteCommand), in order.
    QStringList statements() const;
    // Calls of one kind, in order.
    std::vector<Call> callsOf(CallKind kind) const;
    int count(CallKind kind) const { return static_cast<int>(callsOf(kind).size()); }
    // "Open", "Execute:SELECT 1", "SetMode:3", ...: the whole sequence as text.
    QStringList trace() const;
    void clearCalls() { m_calls.clear(); }

    // A recordset with the named fields; each field's type is guessed from the first non-null value
    // of its column (text adVarWChar, integers adInteger, 64-bit adBigInt, reals adDouble, booleans
    // adBoolean, dates adDBTimeStamp, bytes adLongVarBinary).
    static Recordset Table(const QStringList& names, const std::vector<Row>& rows);

    // ---- IDbConnection ----
    QString ConnectionString() const override { return m_connectionString; }
    void setConnectionString(const QString& s) override;
    int32_t Mode() const override { return m_mode; }
    void setMode(int32_t mode) override;
    int32_t CursorLocation() const override { return m_cursorLocation; }
    void setCursorLocation(int32_t location) override;
    int32_t IsolationLevel() const override { return m_isolationLevel; }
    void setIsolationLevel(int32_t level) override;

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

    // An empty catalog.
    std::vector<CatalogTable> Tables() override { return {}; }
    std::vector<CatalogColumn> Columns(const QString&) override { return {}; }

private:
    enum class AnswerKind { Rows, NoRowset, Error };
    struct Response {
        Matcher Match;
        AnswerKind Kind;
        Recordset Rows;
        ErrorRecord Error;
        bool Once = false;
        bool Used = false;
    };

    Call& record(CallKind kind, const QString& sText = QString(), int32_t value = 0);
    [[noreturn]] void raise(ErrorRecord error);
    void requireOpen();
    std::shared_ptr<Recordset> answer(const QString& sText, bool noRecords);
    std::optional<std::shared_ptr<Recordset>> trackTransaction(const QString& sText, bool noRecords);
    void endTrans(CallKind kind);

    std::vector<Call> m_calls;
    std::vector<Response> m_responses;
    std::optional<ErrorRecord> m_openFailure;
    std::optional<ErrorRecord> m_closeFailure;
    std::optional<ErrorRecord> m_cancelFailure;
    int32_t m_sqlTranCount = 0;
    int32_t m_adoTranLevel = 0;

    QString m_connectionString;
    int32_t m_mode = 0;
    int32_t m_cursorLocation = 2;
    int32_t m_isolationLevel = ado::adXactReadCommitted;
    int32_t m_state = ado::adStateClosed;
    std::vector<ErrorRecord> m_lastErrors;
};

// An ErrorRecord as a provider reports it.
ErrorRecord ProviderError(int32_t number, const QString& sDescription);

} // namespace qldb::test
