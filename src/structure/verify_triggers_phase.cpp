// The triggers of a verification run.
#include "structure/object_matching.h"
#include "structure/structure_document.h"
#include "structure/verify_run.h"

namespace qldb {

void qlDatabase::VerifyTriggersPhase(VerifyRun& run) {
    if (run.Leave || m_cancelVerify)
        return;
    const QDomNode container = ChildPath(run.Doc, {1, kContainerTriggers});
    qlConnection& conn = connection();
    VariantArray2& list = *run.Table;
    const bool firmOnly = !run.Prefixes.isEmpty() && run.RemovePrefix;

    QStringList names;
    if (!run.step([&] {
            names =
                SplitList(firmOnly ? conn.GetTriggers(QString(), run.Prefixes.first()) : conn.GetTriggers(),
                          QStringLiteral("|"));
        }))
        return;
    const auto drop = [&](const QString& name, bool* ok = nullptr) {
        run.Query.Reset();
        run.Query.setTriggerName(name);
        if (!RunRepair(run.Rule,
                       run.Query.MakeQuery(ql_eQueryType::DropTrigger, ql_eAlterAction::Alter_AddField,
                                           ql_KeyType::KeyTypeSecondary),
                       ok))
            run.Leave = true;
        return !run.Leave;
    };
    const auto create = [&](const QString& name, const QString& code, bool* ok) {
        if (!RunRepair(run.Rule, AddOwnerForCreate(name, code), ok))
            run.Leave = true;
        return !run.Leave;
    };

    for (const QString& name : names) {
        const QString upper = name.toUpper();
        // Without firm names only the triggers of the system tables are the file's;
        // the XTN ones belong to the application and are never compared.
        const bool systemName = upper.startsWith(QLatin1String("SYS")) ||
                                upper.startsWith(QLatin1String("TMP")) ||
                                upper.startsWith(QLatin1String("TAB"));
        if ((!run.RemovePrefix && !systemName) || upper.startsWith(QLatin1String("XTN")))
            continue;
        bool matched = false;
        // Every node of that name is compared: a file that holds a trigger twice
        // lists it twice.
        for (QDomNode node = container.firstChild(); !node.isNull(); node = node.nextSibling()) {
            if (!SameObject(name, ChildText(node, 0), run.Prefixes, run.RemovePrefix))
                continue;
            matched = true;
            QString dbCode;
            if (!run.step([&] { dbCode = conn.GetTriggerCode(name); }))
                return;
            const QString xmlCode = WithFirstPrefix(ChildText(node, 1), run.Prefixes, run.RemovePrefix);
            if (DeleteSpace(dbCode) != DeleteSpace(xmlCode)) {
                const int32_t row = AddObjectRow(run, name, QStringLiteral("G"), kStatusToUpdate);
                if (IsUpdateMode(name)) {
                    bool ok = false;
                    if (!drop(name) || !create(name, xmlCode, &ok))
                        return;
                    if (ok)
                        list(kObjectStatus, row) = kStatusUpToDate;
                }
            } else {
                AddObjectRow(run, name, QStringLiteral("G"), kStatusUpToDate);
            }
        }
        if (!matched && run.ShowUserObject) {
            const int32_t row = AddObjectRow(run, name, QStringLiteral("G"), kStatusUserObject);
            if (IsUpdateMode(name) && m_deleteObjects) {
                bool ok = false;
                if (!drop(name, &ok))
                    return;
                if (ok)
                    list(kObjectStatus, row) = kStatusUpToDate;
            }
        }
        if (NextObject(run, false))
            return;
    }

    for (QDomNode node = container.firstChild(); !node.isNull(); node = node.nextSibling()) {
        const QString xmlName = ChildText(node, 0);
        if (ListHasObject(names, xmlName, run.Prefixes, run.RemovePrefix))
            continue;
        const QString name = WithFirstPrefix(xmlName, run.Prefixes, run.RemovePrefix);
        const int32_t row = AddObjectRow(run, name, QStringLiteral("G"), kStatusToCreate);
        if (IsUpdateMode(name)) {
            bool ok = false;
            if (!create(name, WithFirstPrefix(ChildText(node, 1), run.Prefixes, run.RemovePrefix), &ok))
                return;
            if (ok)
                list(kObjectStatus, row) = kStatusUpToDate;
        }
        if (NextObject(run, false))
            return;
    }
}

} // namespace qldb
