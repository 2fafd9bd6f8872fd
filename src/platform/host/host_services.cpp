#include "platform/host/host_services.h"

#include <QCoreApplication>
#include <QThread>

namespace qldb {

MsgAnswer HeadlessHostServices::MessageBox(const QString& sText, MsgButtons buttons, MsgIcon icon,
                                           const QString& sTitle) {
    m_messages.push_back(ShownMessage{sText, buttons, icon, sTitle});
    switch (buttons) {
    case MsgButtons::OK:
        return MsgAnswer::OK;
    case MsgButtons::AbortRetryIgnore:
        return MsgAnswer::Abort;
    case MsgButtons::YesNo:
    case MsgButtons::YesNoCancel:
        return MsgAnswer::No;
    case MsgButtons::OKCancel:
    case MsgButtons::RetryCancel:
        return MsgAnswer::Cancel;
    }
    return MsgAnswer::Cancel;
}

void HeadlessHostServices::DoEvents() {
    if (QCoreApplication::instance() != nullptr)
        QCoreApplication::processEvents();
}

void HeadlessHostServices::Sleep(int32_t milliseconds) {
    if (milliseconds > 0)
        QThread::msleep(static_cast<unsigned long>(milliseconds));
}

} // namespace qldb
