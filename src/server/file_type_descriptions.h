#pragma once
// The description of a file's type, as the file list of the backup folder tells types apart: a few
// known extensions have their own text, any other reads "File " and the extension in capitals
// ("Sales.bak" is a "File BAK"), and a name without an extension reads "File".
#include <QString>

namespace qldb {

QString FileTypeDescription(const QString& sFileName);

} // namespace qldb
