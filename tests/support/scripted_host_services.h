#pragma once
// Host services for tests: message boxes are recorded and answered from a queue (Cancel once it is
// empty); sleeps (not slept), pointer changes and yields are recorded, all also in one ordered list.
#include "platform/host/host_services.h"

#include <QString>
#include <QStringList>
#include <deque>
#include <initializer_list>
#include <vector>

namespace qldb::test {

class ScriptedHostServices : public IHostServices {
public:
    MsgAnswer MessageBox(const QString& sText, MsgButtons buttons, MsgIcon icon,
                         const QString& sTitle) override;
    int32_t MousePointer() const override { return m_pointer; }
    void setMousePointer(int32_t pointer) override;
    void DoEvents() override;
    void Sleep(int32_t milliseconds) override;

    // Answers for the next message boxes, in order.
    void queueAnswer(MsgAnswer answer) { m_answers.push_back(answer); }
    void queueAnswers(std::initializer_list<MsgAnswer> answers) {
        m_answers.insert(m_answers.end(), answers);
    }

    const std::vector<ShownMessage>& messages() const { return m_messages; }
    const std::vector<int32_t>& sleeps() const { return m_sleeps; }
    const std::vector<int32_t>& pointerChanges() const { return m_pointerChanges; }
    int doEventsCount() const { return static_cast<int>(m_events.count(QStringLiteral("DoEvents"))); }
    // "MessageBox", "Sleep:1000", "MousePointer:11", "DoEvents", in the order they happened.
    const QStringList& events() const { return m_events; }
    void clear();

private:
    int32_t m_pointer = kPointerDefault;
    std::deque<MsgAnswer> m_answers;
    std::vector<ShownMessage> m_messages;
    std::vector<int32_t> m_sleeps;
    std::vector<int32_t> m_pointerChanges;
    QStringList m_events;
};

} // namespace qldb::test
