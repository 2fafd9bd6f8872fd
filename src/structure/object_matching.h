#pragma once
// How the verification finds an object of the database in the structure file and back: names are
// compared in upper case, and when the file's names carry the firm marker, with the marker put in
// turn as each of the run's prefixes.
#include <QDomNode>
#include <QString>
#include <QStringList>

namespace qldb {

// A list joined by sSeparator; an empty text is an empty list.
QStringList SplitList(const QString& sText, const QString& sSeparator);
// True when the file's name stands for the database's name.
bool SameObject(const QString& sDbName, const QString& sXmlName, const QStringList& prefixes,
                bool bRemovePrefix);
// The first child of the container whose name (its child 0) stands for sDbName; null when none.
QDomNode FindObjectNode(const QDomNode& container, const QString& sDbName, const QStringList& prefixes,
                        bool bRemovePrefix);
// True when one of the names of the list stands for the file's name.
bool ListHasObject(const QStringList& names, const QString& sXmlName, const QStringList& prefixes,
                   bool bRemovePrefix);
// True without prefixes, or when the name begins with one of them, both in upper case.
bool PassesPrefixes(const QString& sName, const QStringList& prefixes);
// The marker replaced by the first prefix, when there are prefixes and bRemovePrefix is set.
QString WithFirstPrefix(const QString& sText, const QStringList& prefixes, bool bRemovePrefix);

} // namespace qldb
