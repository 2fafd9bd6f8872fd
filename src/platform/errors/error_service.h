#pragma once
// The error service that the host hands to every public object. It decides what happens after a
// reported error and keeps the last failure for the caller.
#include "platform/errors/error_record.h"

#include <QString>
#include <cstdint>
#include <vector>

namespace qldb {

// Decisions returned by ReportError.
inline constexpr int32_t kDecisionRepeat = 0;
inline constexpr int32_t kDecisionGoOn = 1;
inline constexpr int32_t kDecisionLeave = 2;

// ErrorMode in which a database error of the statement family goes back to the caller.
inline constexpr int32_t kErrorModeRaise = 3;

class IErrorService {
public:
    virtual ~IErrorService() = default;

    // Shows or records the error and returns the decision: 0 repeat the failing step, 1 go on with
    // the next one, anything else leave the routine.
    virtual int32_t ReportError(const ErrorRecord& error, const QString& sClass, const QString& sRoutine,
                                int32_t lFlags = 0) = 0;
    virtual void TraceStep(const QString& sStep) = 0;
    virtual void setLastStatement(const QString& sStatement) = 0;
    virtual int32_t ErrorMode() const = 0;
    virtual int32_t ErrorCount() const = 0;
    virtual void setErrorCount(int32_t lCount) = 0;
    virtual QString LastDescription() const = 0;
    virtual void setLastDescription(const QString& sDescription) = 0;
    virtual int32_t LastNumber() const = 0;
    virtual void setLastNumber(int32_t lNumber) = 0;
};

// What a headless service was told, in order.
struct ReportedError {
    ErrorRecord Error;
    QString Class;
    QString Routine;
};

// The service for hosts without a screen: every report is recorded and answered with one
// configurable decision.
class HeadlessErrorService : public IErrorService {
public:
    explicit HeadlessErrorService(int32_t decision = kDecisionLeave, int32_t errorMode = 0);

    int32_t ReportError(const ErrorRecord& error, const QString& sClass, const QString& sRoutine,
                        int32_t lFlags = 0) override;
    void TraceStep(const QString& sStep) override;
    void setLastStatement(const QString& sStatement) override;
    int32_t ErrorMode() const override { return m_errorMode; }
    int32_t ErrorCount() const override { return m_errorCount; }
    void setErrorCount(int32_t lCount) override { m_errorCount = lCount; }
    QString LastDescription() const override { return m_lastDescription; }
    void setLastDescription(const QString& s) override { m_lastDescription = s; }
    int32_t LastNumber() const override { return m_lastNumber; }
    void setLastNumber(int32_t n) override { m_lastNumber = n; }

    void setDecision(int32_t decision) { m_decision = decision; }
    void setErrorMode(int32_t mode) { m_errorMode = mode; }
    const std::vector<ReportedError>& reports() const { return m_reports; }
    const std::vector<QString>& traceSteps() const { return m_traceSteps; }
    const QString& lastStatement() const { return m_lastStatement; }

protected:
    virtual int32_t decide(const ReportedError& report);

private:
    int32_t m_decision;
    int32_t m_errorMode;
    int32_t m_errorCount = 0;
    QString m_lastDescription;
    int32_t m_lastNumber = 0;
    QString m_lastStatement;
    std::vector<ReportedError> m_reports;
    std::vector<QString> m_traceSteps;
};

} // namespace qldb
