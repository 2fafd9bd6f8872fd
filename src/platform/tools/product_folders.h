#pragma once
// Where the product keeps its files: the root folder, and under it one folder per product and item
// (root/Mirando/Config, root/Mirando/Db, root/Mirando/Template).
#include <QString>

namespace qldb {

// The root of the product folders: the one a host set through setProductRoot; else the
// environment variable QLDB_DATA_ROOT; else "qldb" in the user's generic data folder
// (~/.local/share/qldb on Linux).
QString ProductRoot();

// A process-wide setting, the one global of the library besides its caches: hosts and tests set it
// once, before any connection exists. An empty text returns to the environment and the default.
void setProductRoot(const QString& sRoot);

// root/sProduct/sItem for the items "Config", "Db" and "Template" (any item is joined the same
// way), without a closing separator. The folder is not created here: readers tolerate its absence,
// writers create it.
QString ProductFolder(const QString& sItem, const QString& sProduct = QStringLiteral("Mirando"));

// sPath with one closing "/" (a path that ends in "/" already is returned as it is). An empty path
// stays empty, so that a file name put behind it stays relative instead of reaching the root.
QString WithTrailingSeparator(const QString& sPath);

} // namespace qldb
