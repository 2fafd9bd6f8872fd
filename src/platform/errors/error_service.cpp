#include "platform/errors/error_service.h"

namespace qldb {

HeadlessErrorService::HeadlessErrorService(int32_t decision, int32_t errorMode)
    : m_decision(decision), m_errorMode(errorMode) {}

int32_t HeadlessErrorService::ReportError(const ErrorRecord& error, const QString& sClass,
                                          const QString& sRoutine, int32_t) {
    m_reports.push_back(ReportedError{error, sClass, sRoutine});
    m_lastDescription = error.Description;
    m_lastNumber = error.Number;
    return decide(m_reports.back());
}

int32_t HeadlessErrorService::decide(const ReportedError&) {
    return m_decision;
}

void HeadlessErrorService::TraceStep(const QString& sStep) {
    m_traceSteps.push_back(sStep);
}

void HeadlessErrorService::setLastStatement(const QString& sStatement) {
    m_lastStatement = sStatement;
}

} // namespace qldb
