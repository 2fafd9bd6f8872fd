#include "platform/host/service_control.h"

#include "platform/tools/process_runner.h"

#include <QFileInfo>
#include <QStandardPaths>

namespace qldb {

QStringList SystemServiceControl::Translate(const QString& sCommand) const {
    const QStringList words = sCommand.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (words.size() == 3 && words[0].compare(QLatin1String("net"), Qt::CaseInsensitive) == 0) {
        const QString verb = words[1].toLower();
        if (verb == QLatin1String("stop") || verb == QLatin1String("start"))
            return {m_systemctl, verb, words[2] + QStringLiteral(".service")};
    }
    return words;
}

void SystemServiceControl::Run(const QString& sCommand) {
    QStringList command = Translate(sCommand);
    if (command.isEmpty())
        return;
    const QString program = command.takeFirst();
    if (program == m_systemctl && QStandardPaths::findExecutable(m_systemctl).isEmpty() &&
        !QFileInfo::exists(m_systemctl))
        return;
    (void)RunProcess(program, command, true, kWindowHidden, m_timeoutSeconds);
}

} // namespace qldb
