#pragma once
// Host services for tests: message boxes are recorded and answered from a queue (Cancel once the
// queue is empty), sleeps are recorded without sleeping, and pointer changes and yields are
// recorded. events() keeps everything in one ordered list for sequence assertions.
#include "platform/host_services.h"

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
    int doEventsCount() const { return m_doEvents; }
    // "MessageBox", "Sleep:1000", "MousePointer:11", "DoEvents", in the order they happened.
    const QStringList& events() const { return m_events; }
    void clear();

private:
    int32_t m_pointer = kPointerDefault;
    std::deque<MsgAnswer> m_answers;
    std::vector<ShownMessage> m_messages;
    std::vector<int32_t> m_sleeps;
    std::vector<int32_t> m_pointerChanges;
    int m_doEvents = 0;
    QStringList m_events;
};

} // namespace qldb::test
