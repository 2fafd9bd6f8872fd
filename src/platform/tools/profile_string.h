#pragma once
// Reading an INI file the way the profile-string function of the host's platform reads it, for the
// one such file the library consults: Mirando.ini, section [DATABASE], key GlobalReadUncommitted.
#include <QString>
#include <optional>

namespace qldb {

// The value of sKey in section sSection of sFile, as the host platform's profile-string read gives
// it into a buffer of nSize characters:
// - section and key names compare case-insensitively, blanks around them ignored; the first
//   section and the first key of that name win;
// - the value is the text after the first "=", trimmed of blanks, with one pair of matching
//   surrounding quotes (" or ') removed;
// - lines whose first non-blank character is ';' are comments;
// - a missing file, section or key gives sDefault, with its trailing blanks removed;
// - the result is cut to nSize - 1 characters (the buffer keeps one for its terminator); an nSize
//   below 1 gives "".
// The file is read as UTF-8, or as Latin-1 when it is not valid UTF-8. Never throws.
QString GetPrivateProfileString(const QString& sSection, const QString& sKey, const QString& sDefault,
                                const QString& sFile, int nSize = 128);

// The full name of Mirando.ini in the product's "Config" folder.
QString GlobalSettingsFilePath();

// GlobalReadUncommitted of section DATABASE in Mirando.ini, read through a 128-character buffer:
// a numeric value gives its truth (0 is false, any other number true); a missing file, folder or
// key, and a value that is no number, give nullopt. Never throws.
std::optional<bool> ReadGlobalReadUncommitted();

} // namespace qldb
