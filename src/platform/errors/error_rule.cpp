#include "platform/errors/error_rule.h"

namespace qldb {

void ThrowObjectNotSet(const QString& source) {
    throw qlException(kErrObjectNotSet, source,
                      QStringLiteral("Object variable or With block variable not set"));
}

ErrorRule::Outcome ErrorRule::handle(const ErrorRecord& error) {
    if (m_kind == ErrorKind::Clear)
        return Outcome::Leave;
    if (m_kind == ErrorKind::GoOn)
        return Outcome::GoOn;
    if (m_beforeDecision)
        m_beforeDecision();
    // A report without a service fails again on the service itself, and that second failure is
    // what the caller gets.
    if (m_errors == nullptr)
        ThrowObjectNotSet(m_class + QLatin1Char('.') + m_routine);
    const int32_t decision = m_errors->ReportError(error, m_class, m_routine, 0);
    if (decision == kDecisionRepeat || decision == kDecisionGoOn) {
        if (m_afterDecision)
            m_afterDecision();
        return decision == kDecisionRepeat ? Outcome::Repeat : Outcome::GoOn;
    }
    return Outcome::Leave;
}

} // namespace qldb
