#include "connection/statement_runner.h"

#include "platform/errors/error_rule.h"

namespace qldb {

namespace {

constexpr int32_t kDeadlockRetries = 5;
constexpr int32_t kDeadlockWaitStepMs = 1000;

bool MentionsDeadlock(const ErrorRecord& error) {
    return error.Description.contains(QLatin1String("deadlock"), Qt::CaseInsensitive);
}

} // namespace

QString NetworkFailureMessage(const ErrorRecord& error) {
    return QStringLiteral("Database Error: ") + QString::number(error.Number) + QStringLiteral(" - ") +
           error.Description + QStringLiteral("\r\r") +
           QStringLiteral("Errore di connessione al database: errore di rete!") + QStringLiteral("\r") +
           QStringLiteral("Verificare la connessione di rete e riprovare.");
}

StatementRunner::StatementRunner(const StatementRoutine& routine, StatementContext context,
                                 bool bManageErrors, bool* bError, QString* sErrDescription)
    : m_routine(routine), m_context(std::move(context)), m_manageErrors(bManageErrors), m_bError(bError),
      m_sErrDescription(sErrDescription) {}

IErrorService& StatementRunner::errors() const {
    if (m_context.Errors == nullptr)
        ThrowObjectNotSet(QStringLiteral("qlConnection.") + m_routine.Name);
    return *m_context.Errors;
}

void StatementRunner::setFailed() {
    m_failed = true;
    if (m_bError != nullptr)
        *m_bError = true;
}

void StatementRunner::setDescription(const QString& s) {
    m_description = s;
    if (m_sErrDescription != nullptr)
        *m_sErrDescription = s;
}

void StatementRunner::Enter() {
    errors().setErrorCount(0);
    m_failed = false;
    if (m_bError != nullptr)
        *m_bError = false;
    setDescription(QString());
}

StatementRunner::Next StatementRunner::Run(const std::function<void()>& step) {
    for (;;) {
        ErrorRecord error;
        try {
            step();
            return Next::GoOn;
        } catch (...) {
            error = CurrentErrorRecord();
        }
        switch (Handle(std::move(error))) {
        case Outcome::Repeat:
            continue;
        case Outcome::Reconnect:
            if (m_routine.RestartsOnReconnect)
                return Next::Restart;
            continue;
        case Outcome::GoOn:
            return Next::GoOn;
        case Outcome::Leave:
            return Next::Leave;
        }
    }
}

StatementRunner::Outcome StatementRunner::Handle(ErrorRecord error) {
    // While reopening, the failing step is the Open itself: repeating it opens again, and going on
    // goes on to the run point, which is where a successful Open leads too.
    bool reopening = false;
    for (;;) {
        const Outcome decision = Decide(error);
        if (reopening && decision == Outcome::GoOn)
            return Outcome::Reconnect;
        if (decision != Outcome::Reconnect && !(reopening && decision == Outcome::Repeat))
            return decision;
        if (decision == Outcome::Reconnect) {
            // The link may be half dead: whatever Close says, the Open below is what counts.
            try {
                if (m_context.Connection)
                    m_context.Connection->Close();
            } catch (...) {
            }
        }
        try {
            if (!m_context.Connection)
                ThrowObjectNotSet(QStringLiteral("qlConnection.") + m_routine.Name);
            m_context.Connection->Open();
            return Outcome::Reconnect;
        } catch (...) {
            error = CurrentErrorRecord();
            reopening = true;
        }
    }
}

StatementRunner::Outcome StatementRunner::Decide(const ErrorRecord& error) {
    IErrorService& service = errors();
    setDescription(m_routine.DescriptionFromErrorService ? service.LastDescription() : error.Description);
    if (m_routine.SetsLastStatement)
        service.setLastStatement(m_statement);

    const bool raiseMode = service.ErrorMode() == kErrorModeRaise;
    if (error.Number == kErrGeneral && !m_manageErrors && raiseMode) {
        // A general failure is how providers report a lost link, and also how some report a
        // deadlock victim; neither is worth an error report, both are worth another try.
        const bool deadlock = m_routine.DeadlockWait && MentionsDeadlock(error);
        MsgAnswer answer = m_routine.AutoReconnectAnswer;
        if (!m_context.AutoReconnect) {
            if (deadlock && m_deadlockRetries < kDeadlockRetries) {
                ++m_deadlockRetries;
                m_context.Host.Sleep(m_deadlockRetries * kDeadlockWaitStepMs);
                return Outcome::Repeat;
            }
            answer = m_context.Host.MessageBox(NetworkFailureMessage(error), MsgButtons::RetryCancel,
                                               MsgIcon::Exclamation, m_context.ProductName);
        }
        if (answer != MsgAnswer::Retry) {
            setFailed();
            return Outcome::Leave;
        }
        // A deadlock is cured by waiting, not by a new connection.
        return deadlock ? Outcome::Repeat : Outcome::Reconnect;
    }

    if (!raiseMode || m_manageErrors) {
        const int32_t decision =
            service.ReportError(error, QStringLiteral("qlConnection"), m_routine.Name, 0);
        if (decision == kDecisionRepeat || decision == kDecisionGoOn) {
            m_context.Host.DoEvents();
            return decision == kDecisionRepeat ? Outcome::Repeat : Outcome::GoOn;
        }
        setFailed();
        return Outcome::Leave;
    }

    setFailed();
    service.setLastDescription(error.Description);
    service.setLastNumber(error.Number);
    service.setErrorCount(1);
    throw qlException(service.LastNumber(), QStringLiteral("qlConnection.") + m_routine.Name,
                      service.LastDescription());
}

void StatementRunner::End() {
    IErrorService& service = errors();
    if (service.ErrorCount() > 0)
        setFailed();
    if (m_routine.TracesEnd)
        service.TraceStep(QStringLiteral("End"));
}

} // namespace qldb
