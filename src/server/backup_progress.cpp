#include "server/backup_progress.h"

#include <QStringList>
#include <cmath>

namespace qldb::backup {

ProgressReading ReadProgress(const QString& sText) {
    ProgressReading reading;
    QString text = sText;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    for (const QString& line : text.split(QLatin1Char('\n'))) {
        const qsizetype percent = line.indexOf(QLatin1Char('%'));
        if (percent < 0)
            continue;
        bool ok = false;
        const double value = line.left(percent).trimmed().toDouble(&ok);
        if (!ok || !std::isfinite(value) || std::fabs(value) > 2147483647.0) {
            ErrorRecord error;
            error.Number = 13;
            error.Source = QStringLiteral("frmBackup");
            error.Description = QStringLiteral("Type mismatch");
            reading.Error = error;
            break;
        }
        reading.Values.push_back(static_cast<int32_t>(std::lround(value)));
    }
    return reading;
}

} // namespace qldb::backup
