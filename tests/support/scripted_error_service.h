#pragma once
// An error service for tests: the decisions of ReportError come from a queue, then from the fixed
// decision of HeadlessErrorService.
#include "platform/errors/error_service.h"

#include <deque>
#include <functional>
#include <initializer_list>

namespace qldb::test {

class ScriptedErrorService : public HeadlessErrorService {
public:
    // The constructor's decision answers once the queue is empty.
    using HeadlessErrorService::HeadlessErrorService;

    void queueDecision(int32_t decision) { m_decisions.push_back(decision); }
    void queueDecisions(std::initializer_list<int32_t> decisions) {
        m_decisions.insert(m_decisions.end(), decisions);
    }
    // Runs when an error is reported, before the decision is returned.
    void setOnReport(std::function<void(const ReportedError&)> hook) { m_onReport = std::move(hook); }

protected:
    int32_t decide(const ReportedError& report) override {
        if (m_onReport)
            m_onReport(report);
        if (m_decisions.empty())
            return HeadlessErrorService::decide(report);
        const int32_t decision = m_decisions.front();
        m_decisions.pop_front();
        return decision;
    }

private:
    std::deque<int32_t> m_decisions;
    std::function<void(const ReportedError&)> m_onReport;
};

} // namespace qldb::test
