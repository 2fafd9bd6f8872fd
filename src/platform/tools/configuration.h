#pragma once
// The product settings: plain key and value texts in the file Settings.ini of the product's
// "Config" folder, section [General]. "ReadUncommitted" is one of them.
#include <QString>

namespace qldb {

// The full name of the settings file.
QString SettingsFilePath();

// The value of sKey, or sDefault when the file or the key is missing. Never throws.
QString ReadSetting(const QString& sKey, const QString& sDefault);

// Stores sValue under sKey, creating the folder and the file when needed. Throws qlException
// (kErrGeneral, source "Tools.WriteSetting") when the file cannot be written.
void WriteSetting(const QString& sKey, const QString& sValue);

} // namespace qldb
