#include "platform/tools/configuration.h"

#include "platform/errors/error_record.h"
#include "platform/tools/product_folders.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

namespace qldb {

// Keys are written outside any group: QSettings keeps those in the file's [General] section
// (a group of that name would be written as [%General]).
QString SettingsFilePath() {
    return WithTrailingSeparator(ProductFolder(QStringLiteral("Config"))) + "Settings.ini";
}

QString ReadSetting(const QString& sKey, const QString& sDefault) {
    const QString path = SettingsFilePath();
    if (!QFileInfo::exists(path))
        return sDefault;
    const QSettings settings(path, QSettings::IniFormat);
    const QVariant value = settings.value(sKey);
    if (!value.isValid())
        return sDefault;
    // An unquoted value with commas in it comes back as a list; the setting is the whole text.
    if (value.typeId() == QMetaType::QStringList)
        return value.toStringList().join(QLatin1Char(','));
    return value.toString();
}

void WriteSetting(const QString& sKey, const QString& sValue) {
    const QString path = SettingsFilePath();
    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder))
        throw qlException(kErrGeneral, QStringLiteral("Tools.WriteSetting"),
                          QStringLiteral("Cannot create the folder ") + folder);
    QSettings settings(path, QSettings::IniFormat);
    settings.setValue(sKey, sValue);
    settings.sync();
    if (settings.status() != QSettings::NoError)
        throw qlException(kErrGeneral, QStringLiteral("Tools.WriteSetting"),
                          QStringLiteral("Cannot write the settings file ") + path);
}

} // namespace qldb
