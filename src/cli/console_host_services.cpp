#include "cli/console_host_services.h"

#include <QTextStream>

namespace qldb::cli {

MsgAnswer ConsoleHostServices::MessageBox(const QString& sText, MsgButtons buttons, MsgIcon icon,
                                          const QString& sTitle) {
    QTextStream err(stderr);
    QString text = sText;
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    if (!sTitle.isEmpty())
        err << sTitle << ": ";
    err << text << Qt::endl;
    return HeadlessHostServices::MessageBox(sText, buttons, icon, sTitle);
}

} // namespace qldb::cli
