#include "support/scripted_host_services.h"

namespace qldb::test {

MsgAnswer ScriptedHostServices::MessageBox(const QString& sText, MsgButtons buttons, MsgIcon icon,
                                           const QString& sTitle) {
    m_messages.push_back(ShownMessage{sText, buttons, icon, sTitle});
    m_events << QStringLiteral("MessageBox");
    if (m_answers.empty())
        return MsgAnswer::Cancel;
    const MsgAnswer answer = m_answers.front();
    m_answers.pop_front();
    return answer;
}

void ScriptedHostServices::setMousePointer(int32_t pointer) {
    m_pointer = pointer;
    m_pointerChanges.push_back(pointer);
    m_events << QStringLiteral("MousePointer:%1").arg(pointer);
}

void ScriptedHostServices::DoEvents() {
    m_events << QStringLiteral("DoEvents");
}

void ScriptedHostServices::Sleep(int32_t milliseconds) {
    m_sleeps.push_back(milliseconds);
    m_events << QStringLiteral("Sleep:%1").arg(milliseconds);
}

void ScriptedHostServices::clear() {
    m_messages.clear();
    m_sleeps.clear();
    m_pointerChanges.clear();
    m_events.clear();
}

} // namespace qldb::test
