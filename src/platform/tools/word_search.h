#pragma once
// Word search in a separated list, as the index descriptions of the server give their columns
// ("COL1, COL2(-)").
#include <QChar>
#include <QString>

namespace qldb {

// True when one item of sText, split at cSeparator and trimmed of blanks, equals sWord exactly
// (case-sensitive: callers upper-case both sides when case must not count). An item that ends in
// the descending marker "(-)" also matches its bare column name, so "COL2" is found in
// "COL1, COL2(-)"; the item with its marker matches too. An empty sWord matches nothing.
bool ContainsWord(const QString& sText, const QString& sWord, QChar cSeparator = QLatin1Char(','));

} // namespace qldb
