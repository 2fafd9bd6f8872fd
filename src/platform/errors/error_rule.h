#pragma once
// The one mechanism behind the error kinds of the library's routines. A routine declares its rule
// once and runs each fallible step through it:
//
//     ErrorRule rule(ErrorKind::Report, errors, "qlConnection", "GetIndexes");
//     if (!rule.run([&] { rs = ExecuteWC(sql); })) return result;   // leave with what we hold
//
// Report: the error service decides: repeat the step (0), go on with the next (1), leave (other).
// PassThrough and None: the error goes to the caller unchanged (None only says the routine has no
// rule of its own). Clear: the error is dropped and the routine leaves with what it holds.
// GoOn: the error is dropped and the routine goes on with the next step.
#include "platform/errors/error_record.h"
#include "platform/errors/error_service.h"

#include <QString>
#include <functional>
#include <optional>
#include <utility>

namespace qldb {

enum class ErrorKind { Report, PassThrough, Clear, GoOn, None };

class ErrorRule {
public:
    ErrorRule(ErrorKind kind, IErrorService* errors, QString sClass, QString sRoutine)
        : m_kind(kind), m_errors(errors), m_class(std::move(sClass)), m_routine(std::move(sRoutine)) {}

    // Work to do after an error and before the decision, such as putting the mouse pointer back.
    void setBeforeDecision(std::function<void()> hook) { m_beforeDecision = std::move(hook); }
    // Work to do when the decision is to repeat or go on, such as yielding to pending events.
    void setAfterDecision(std::function<void()> hook) { m_afterDecision = std::move(hook); }

    // Runs one step under the rule. Returns true when the routine may go on with its next step,
    // false when it must leave now with what it holds. Errors of pass-through rules propagate.
    template <class Step> bool run(Step&& step) {
        for (;;) {
            try {
                step();
                return true;
            } catch (...) {
                if (m_kind == ErrorKind::PassThrough || m_kind == ErrorKind::None)
                    throw;
                m_lastError = CurrentErrorRecord();
                switch (handle(*m_lastError)) {
                case Outcome::Repeat:
                    continue;
                case Outcome::GoOn:
                    return true;
                case Outcome::Leave:
                    return false;
                }
            }
        }
    }

    // Runs one step under "go on with the next step after an error", whatever the routine's rule:
    // the places where a routine tests whether a step worked. Returns true when the step worked.
    template <class Step> bool tolerate(Step&& step) {
        try {
            step();
            return true;
        } catch (...) {
            m_lastError = CurrentErrorRecord();
            return false;
        }
    }

    // The last error the rule caught, if any.
    const std::optional<ErrorRecord>& lastError() const { return m_lastError; }
    void clearError() { m_lastError.reset(); }
    ErrorKind kind() const { return m_kind; }

private:
    enum class Outcome { Repeat, GoOn, Leave };
    Outcome handle(const ErrorRecord& error);

    ErrorKind m_kind;
    IErrorService* m_errors;
    QString m_class;
    QString m_routine;
    std::function<void()> m_beforeDecision;
    std::function<void()> m_afterDecision;
    std::optional<ErrorRecord> m_lastError;
};

// The error a routine meets when the host left the error service unset.
[[noreturn]] void ThrowObjectNotSet(const QString& source);

} // namespace qldb
