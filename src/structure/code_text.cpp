// The two text helpers on which every comparison and re-creation of code rests.
#include "structure/ql_database.h"

namespace qldb {

QString qlDatabase::DeleteSpace(const QString& sText) {
    QString out;
    out.reserve(sText.size());
    for (const QChar c : sText) {
        // Blanks go too, wherever they stand: a blank between two words makes no difference.
        if (c != u'\n' && c != u'\r' && c != u'\t' && c != u' ')
            out += c;
    }
    return out;
}

QString qlDatabase::AddOwnerForCreate(const QString& sObjectName, const QString& sScript) {
    static const QString kCreate = QStringLiteral("CREATE");
    static const QString kOwner = QStringLiteral("dbo.");
    QString script = sScript;
    qsizetype position = 0;
    for (;;) {
        const qsizetype create = script.indexOf(kCreate, position, Qt::CaseInsensitive);
        if (create < 0)
            return script;
        const qsizetype name =
            sObjectName.isEmpty() ? -1 : script.indexOf(sObjectName, create, Qt::CaseInsensitive);
        if (name >= 0) {
            const QChar c1 = name >= 1 ? script[name - 1] : QChar();
            const QChar c2 = name >= 2 ? script[name - 2] : QChar();
            // A dot before the name (or before its opening bracket) is an owner already; a hash sign
            // makes a temporary object, which has none.
            if (c1 != u'.' && c2 != u'.' && c1 != u'#')
                script.insert(c1 == u'[' ? name - 1 : name, kOwner);
        }
        // The search goes on behind the word CREATE, so the same name found again after a later
        // CREATE (in a comment too) gets its owner as well.
        position = create + kCreate.size();
    }
}

} // namespace qldb
