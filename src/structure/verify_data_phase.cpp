// The queued queries before and after a verification run, and the data tables
// the file names.
#include "structure/object_matching.h"
#include "structure/structure_document.h"
#include "structure/verify_run.h"

#include <QFileInfo>

namespace qldb {

void qlDatabase::VerifyQueriesPhase(VerifyRun& run, bool bBefore) {
    if (run.Leave || (!bBefore && m_cancelVerify))
        return;
    const bool mode = run.Mode == ql_eVerifyMode::VerifyModality ||
                      run.Mode == ql_eVerifyMode::UpdateModality ||
                      run.Mode == ql_eVerifyMode::HistoryModality;
    if (!mode || run.PrefixTable.isEmpty() || run.QueryFile.isEmpty() || !QFileInfo::exists(run.QueryFile))
        return;
    const QString code = run.PrefixTable.left(3);
    const QString name = (bBefore ? QStringLiteral("Query_Before_") : QStringLiteral("Query_After_")) + code;
    const int32_t row = AddObjectRow(run, name, QStringLiteral("Q"));
    bool ok = false;
    if (!run.step([&] { ok = VerifyQuery(code, run.QueryFile, bBefore, name, run.RemovePrefix); }))
        return;
    (*run.Table)(kObjectStatus, row) = ok ? kStatusUpToDate : kStatusToUpdate;
}

void qlDatabase::VerifyDataPhase(VerifyRun& run) {
    if (run.Leave || m_cancelVerify)
        return;
    const QDomNode container = ChildPath(run.Doc, {1, kContainerDataTables});
    const QString replaceWith =
        run.RemovePrefix && !run.Prefixes.isEmpty() ? run.Prefixes.first() : QString();
    for (QDomNode node = container.firstChild(); !node.isNull(); node = node.nextSibling()) {
        const QString table = ChildText(node, 0);
        const QString name = QStringLiteral("[Data].") + table;
        const int32_t row = AddObjectRow(run, name, QStringLiteral("D"), kStatusToUpdate);
        if (run.Label != nullptr)
            run.Label->setCaption(QStringLiteral("Aggiornamento in corso dei dati della tabella ") + table);
        // After a cancel the remaining data tables are still listed, but nothing
        // more is imported.
        if (!m_cancelVerify) {
            if (IsUpdateMode(name) && run.Mode != ql_eVerifyMode::DeleteModality &&
                run.Mode != ql_eVerifyMode::HistoryModality) {
                bool ok = false;
                QString only = table;
                if (!run.step([&] {
                        ok = ReadXmlDataTable(run.File, &only, replaceWith, run.Progress, run.DataPrefix);
                    }))
                    return;
                if (ok)
                    (*run.Table)(kObjectStatus, row) = kStatusUpToDate;
            }
            if (run.Mode == ql_eVerifyMode::HistoryModality)
                (*run.Table)(kObjectStatus, row) = kStatusUpToDate;
        }
        NextObject(run, true);
    }
}

} // namespace qldb
