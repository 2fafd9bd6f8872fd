#include "platform/tools/product_folders.h"

#include <QStandardPaths>

namespace qldb {

namespace {

QString& ConfiguredRoot() {
    static QString root;
    return root;
}

} // namespace

QString ProductRoot() {
    if (!ConfiguredRoot().isEmpty())
        return ConfiguredRoot();
    const QString fromEnvironment = qEnvironmentVariable("QLDB_DATA_ROOT");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/qldb");
}

void setProductRoot(const QString& sRoot) {
    ConfiguredRoot() = sRoot;
}

QString ProductFolder(const QString& sItem, const QString& sProduct) {
    return WithTrailingSeparator(ProductRoot()) + sProduct + QLatin1Char('/') + sItem;
}

QString WithTrailingSeparator(const QString& sPath) {
    if (sPath.isEmpty() || sPath.endsWith(QLatin1Char('/')))
        return sPath;
    return sPath + QLatin1Char('/');
}

} // namespace qldb
