#include "support/scripted_error_service.h"

namespace qldb::test {

void ScriptedErrorService::setErrorCount(int32_t lCount) {
    m_errorCountWrites.push_back(lCount);
    HeadlessErrorService::setErrorCount(lCount);
}

int32_t ScriptedErrorService::decide(const ReportedError& report) {
    if (m_onReport)
        m_onReport(report);
    if (m_decisions.empty())
        return HeadlessErrorService::decide(report);
    const int32_t decision = m_decisions.front();
    m_decisions.pop_front();
    return decision;
}

} // namespace qldb::test
