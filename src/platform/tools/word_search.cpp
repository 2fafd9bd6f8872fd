#include "platform/tools/word_search.h"

#include <QList>
#include <QStringView>

namespace qldb {

bool ContainsWord(const QString& sText, const QString& sWord, QChar cSeparator) {
    if (sWord.isEmpty())
        return false;
    static const QLatin1String kDescending("(-)");
    for (QStringView item : QStringView(sText).split(cSeparator)) {
        item = item.trimmed();
        if (item == sWord)
            return true;
        // The server writes the sort order into the same item, directly after the name.
        if (item.endsWith(kDescending) && item.chopped(kDescending.size()).trimmed() == sWord)
            return true;
    }
    return false;
}

} // namespace qldb
