#include "structure/object_matching.h"

#include "structure/ql_database.h"
#include "structure/structure_document.h"

namespace qldb {

QStringList SplitList(const QString& sText, const QString& sSeparator) {
    if (sText.isEmpty())
        return {};
    return sText.split(sSeparator);
}

bool SameObject(const QString& sDbName, const QString& sXmlName, const QStringList& prefixes,
                bool bRemovePrefix) {
    const QString db = sDbName.toUpper();
    if (prefixes.isEmpty() || !bRemovePrefix)
        return sXmlName.toUpper() == db;
    const QString marker = QString::fromUtf16(kFirmMarker);
    for (const QString& prefix : prefixes) {
        if (QString(sXmlName).replace(marker, prefix, Qt::CaseInsensitive).toUpper() == db)
            return true;
    }
    return false;
}

QDomNode FindObjectNode(const QDomNode& container, const QString& sDbName, const QStringList& prefixes,
                        bool bRemovePrefix) {
    for (QDomNode child = container.firstChild(); !child.isNull(); child = child.nextSibling()) {
        if (SameObject(sDbName, ChildText(child, 0), prefixes, bRemovePrefix))
            return child;
    }
    return {};
}

bool ListHasObject(const QStringList& names, const QString& sXmlName, const QStringList& prefixes,
                   bool bRemovePrefix) {
    for (const QString& name : names) {
        if (SameObject(name, sXmlName, prefixes, bRemovePrefix))
            return true;
    }
    return false;
}

bool PassesPrefixes(const QString& sName, const QStringList& prefixes) {
    if (prefixes.isEmpty())
        return true;
    const QString name = sName.toUpper();
    for (const QString& prefix : prefixes) {
        if (name.left(prefix.size()) == prefix.toUpper())
            return true;
    }
    return false;
}

QString WithFirstPrefix(const QString& sText, const QStringList& prefixes, bool bRemovePrefix) {
    if (prefixes.isEmpty() || !bRemovePrefix)
        return sText;
    return QString(sText).replace(QString::fromUtf16(kFirmMarker), prefixes.first(), Qt::CaseInsensitive);
}

} // namespace qldb
