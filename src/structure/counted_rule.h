#pragma once
// The failure rule of the verification routines, on top of ErrorRule: with bAutoIgnore every error
// is counted in lErrCounter and the routine goes on with its next step, without a report; otherwise
// the error service decides, and a "go on" is counted the same way, while a repeat is not.
#include "platform/errors/error_rule.h"

#include <QString>
#include <cstdint>

namespace qldb {

class CountedRule {
public:
    CountedRule(IErrorService* errors, const QString& sRoutine, bool bAutoIgnore, int32_t* lErrCounter)
        : m_rule(bAutoIgnore ? ErrorKind::GoOn : ErrorKind::Report, errors, QStringLiteral("qlDatabase"),
                 sRoutine),
          m_counter(lErrCounter) {}

    void setBeforeDecision(std::function<void()> hook) { m_rule.setBeforeDecision(std::move(hook)); }
    void setAfterDecision(std::function<void()> hook) { m_rule.setAfterDecision(std::move(hook)); }

    // True when the routine may go on; false when it must leave now.
    template <class Step> bool run(Step&& step) {
        bool completed = false;
        const bool goOn = m_rule.run([&] {
            completed = false;
            step();
            completed = true;
        });
        // Going on without the step having completed is going on past an error: that is counted.
        if (goOn && !completed && m_counter != nullptr)
            ++*m_counter;
        return goOn;
    }

private:
    ErrorRule m_rule;
    int32_t* m_counter;
};

} // namespace qldb
