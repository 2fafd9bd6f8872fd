#pragma once
// The failure discipline of the statement family (Execute, ExecuteWC, ExecuteCommand, ExecuteSP,
// ExecuteScript). One runner lives for one call of one routine: it resets the error state on entry,
// runs the routine's steps, decides after a failure (deadlock wait, the network box and the
// reconnection, the error report, or the raise to the caller), and sets bError at the end point.
//
//     StatementRunner run(kExecute, {m_connection, m_errors.get(), *m_host, m_autoReconnect, m_productName},
//                         bManage, bError, sErrDescription);
//     run.Enter();
//     run.setStatement(sText);
//     run.Run([&] { connection.Execute(sText, ado::adExecuteNoRecords); });
//     run.End();
#include "platform/errors/error_record.h"
#include "platform/errors/error_service.h"
#include "platform/host/host_services.h"
#include "platform/odbc/db_connection.h"

#include <QString>
#include <functional>
#include <memory>

namespace qldb {

// What sets the routines of the family apart.
struct StatementRoutine {
    // The routine's name, for the error report and the source of a raised error ("qlConnection.<Name>").
    QString Name;
    // Execute alone waits and retries when the provider reports a deadlock as a general failure.
    bool DeadlockWait = false;
    // What AutoReconnect answers in place of the network box: ExecuteSP reopens silently (Retry),
    // the others give up silently (Cancel).
    MsgAnswer AutoReconnectAnswer = MsgAnswer::Cancel;
    // ExecuteWC hands its caller the error service's last description rather than the error's own.
    bool DescriptionFromErrorService = false;
    // ExecuteScript keeps the failing statement to itself.
    bool SetsLastStatement = true;
    // ExecuteScript runs the whole script again after a reconnection; the others repeat the call.
    bool RestartsOnReconnect = false;
    // ExecuteWC alone ends without TraceStep("End").
    bool TracesEnd = true;
};

// What the runner reads of the connection object.
struct StatementContext {
    std::shared_ptr<IDbConnection> Connection;
    IErrorService* Errors = nullptr;
    IHostServices& Host;
    bool AutoReconnect = false;
    QString ProductName;
};

// The text of the network box.
QString NetworkFailureMessage(const ErrorRecord& error);

class StatementRunner {
public:
    enum class Next {
        GoOn,    // the step worked, or the decision was to go on with the next step
        Restart, // reconnected: run the routine again from its start point (RestartsOnReconnect only)
        Leave,   // go to the end point; bError is set
    };

    StatementRunner(const StatementRoutine& routine, StatementContext context, bool bManageErrors,
                    bool* bError, QString* sErrDescription);

    // The first line of the routine: ErrorCount 0, bError False, the description empty. Without an
    // error service this fails with the object error, which reaches the caller.
    void Enter();
    // The text kept as the failing statement (with the prefix when one was added).
    void setStatement(const QString& sStatement) { m_statement = sStatement; }
    // Runs one step under the family's rule. Repeats it when the decision says so; raises to the
    // caller in the error mode that asks for it.
    Next Run(const std::function<void()>& step);
    // The end point: bError becomes True when the error service counted an error; then, for the
    // routines that trace it, TraceStep("End").
    void End();

    bool Failed() const { return m_failed; }
    const QString& Description() const { return m_description; }

private:
    enum class Outcome { Repeat, Reconnect, GoOn, Leave };

    IErrorService& errors() const;
    Outcome Decide(const ErrorRecord& error);
    // After a failure of the running step; handles reopening and the failures of the reopening.
    Outcome Handle(ErrorRecord error);
    void setFailed();
    void setDescription(const QString& s);

    const StatementRoutine& m_routine;
    StatementContext m_context;
    bool m_manageErrors;
    bool* m_bError;
    QString* m_sErrDescription;
    QString m_statement;
    QString m_description;
    bool m_failed = false;
    int32_t m_deadlockRetries = 0;
};

} // namespace qldb
