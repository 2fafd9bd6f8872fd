// Functions, procedures and views of a verification run. Code is compared in
// the normal form of DeleteSpace, so that white space never makes two texts
// different.
#include "structure/object_matching.h"
#include "structure/structure_document.h"
#include "structure/verify_run.h"

namespace qldb {

namespace {

// The file's code of an object, with the firm's prefix and the wanted collation
// put in.
QString XmlCode(const VerifyRun& run, const QDomNode& node) {
    QString code = WithFirstPrefix(ChildText(node, 1), run.Prefixes, run.RemovePrefix);
    if (!run.ReplaceCollate.isEmpty())
        code.replace(QStringLiteral("database_default"), run.ReplaceCollate, Qt::CaseInsensitive);
    return code;
}

} // namespace

void qlDatabase::VerifyCodePhase(VerifyRun& run, bool bProcedures) {
    if (run.Leave || m_cancelVerify)
        return;
    const QString kind = bProcedures ? QStringLiteral("P") : QStringLiteral("F");
    const QDomNode container =
        ChildPath(run.Doc, {1, bProcedures ? kContainerProcedures : kContainerFunctions});
    qlConnection& conn = connection();
    VariantArray2& list = *run.Table;

    QStringList names;
    if (!run.step([&] {
            names = SplitList(bProcedures ? conn.GetProcedures() : conn.GetFunctions(), QStringLiteral("|"));
        }))
        return;
    const auto drop = [&](const QString& name) {
        run.Query.Reset();
        if (bProcedures) {
            run.Query.setProcedureName(name);
            return run.Query.MakeQuery(ql_eQueryType::DropProcedure, ql_eAlterAction::Alter_AddField,
                                       ql_KeyType::KeyTypeSecondary);
        }
        run.Query.setFunctionName(name);
        return run.Query.MakeQuery(ql_eQueryType::DropFunction, ql_eAlterAction::Alter_AddField,
                                   ql_KeyType::KeyTypeSecondary);
    };
    // Runs a statement and logs it; false when the rule said leave.
    const auto repair = [&](const QString& sql, bool* ok = nullptr) {
        if (!RunRepair(run.Rule, sql, ok))
            run.Leave = true;
        return !run.Leave;
    };

    for (const QString& name : names) {
        // The procedures of the XSC and XSN families are the application's own,
        // made at run time.
        const QString head = name.left(3).toUpper();
        if (!PassesPrefixes(name, run.Prefixes) ||
            (bProcedures && (head == QLatin1String("XSC") || head == QLatin1String("XSN"))))
            continue;
        const QDomNode node = FindObjectNode(container, name, run.Prefixes, run.RemovePrefix);
        if (!node.isNull()) {
            QString dbCode;
            if (!run.step(
                    [&] { dbCode = bProcedures ? conn.GetProcedureCode(name) : conn.GetFunctionCode(name); }))
                return;
            const QString xmlCode = XmlCode(run, node);
            if (DeleteSpace(dbCode) != DeleteSpace(xmlCode)) {
                // A changed function is listed as one to create, a changed procedure as
                // one to update.
                const int32_t row =
                    AddObjectRow(run, name, kind, bProcedures ? kStatusToUpdate : kStatusToCreate);
                if (IsUpdateMode(name)) {
                    bool ok = false;
                    // A function's file text is created as it stands, a procedure's with
                    // its owner.
                    if (!repair(drop(name)) ||
                        !repair(bProcedures ? AddOwnerForCreate(name, xmlCode) : xmlCode, &ok))
                        return;
                    if (ok)
                        list(kObjectStatus, row) = kStatusUpToDate;
                }
            } else {
                AddObjectRow(run, name, kind, kStatusUpToDate);
                if ((run.Mode == ql_eVerifyMode::UpdateModality ||
                     run.Mode == ql_eVerifyMode::HistoryModality) &&
                    m_rebuildProcedures) {
                    if (!repair(drop(name)) || !repair(AddOwnerForCreate(name, xmlCode)))
                        return;
                }
            }
        } else if (run.ShowUserObject) {
            const int32_t row = AddObjectRow(run, WithFirstPrefix(name, run.Prefixes, run.RemovePrefix), kind,
                                             kStatusUserObject);
            if (IsUpdateMode(name) && m_deleteObjects) {
                bool ok = false;
                if (!repair(drop(name), &ok))
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
        const int32_t row = AddObjectRow(run, name, kind, kStatusToCreate);
        if (IsUpdateMode(name)) {
            bool ok = false;
            if (!repair(AddOwnerForCreate(name, XmlCode(run, node)), &ok))
                return;
            if (ok)
                list(kObjectStatus, row) = kStatusUpToDate;
        }
        if (NextObject(run, false))
            return;
    }
}

void qlDatabase::VerifyViewsPhase(VerifyRun& run) {
    if (run.Leave || m_cancelVerify)
        return;
    const QDomNode container = ChildPath(run.Doc, {1, kContainerViews});
    qlConnection& conn = connection();
    VariantArray2& list = *run.Table;

    QStringList names;
    if (!run.step([&] { names = SplitList(conn.GetViews(), QStringLiteral(",")); }))
        return;
    for (const QString& name : names) {
        if (PassesPrefixes(name, run.Prefixes)) {
            const QDomNode node = FindObjectNode(container, name, run.Prefixes, run.RemovePrefix);
            if (!node.isNull()) {
                const int32_t row = AddObjectRow(run, name, QStringLiteral("V"));
                bool equal = false;
                if (!run.step([&] {
                        equal = CheckView(name, node, run.File, run.PrefixTable, &run.RemovePrefix, nullptr,
                                          nullptr, run.ReplaceCollate, run.AutoIgnore, run.ErrCounter);
                    }))
                    return;
                list(kObjectStatus, row) = equal ? kStatusUpToDate : kStatusToUpdate;
            } else if (run.ShowUserObject) {
                const int32_t row = AddObjectRow(run, name, QStringLiteral("V"), kStatusUserObject);
                if (IsUpdateMode(name) && m_deleteObjects) {
                    run.Query.Reset();
                    run.Query.setSetViewName(name);
                    bool ok = false;
                    if (!RunRepair(run.Rule,
                                   run.Query.MakeQuery(ql_eQueryType::DropView,
                                                       ql_eAlterAction::Alter_AddField,
                                                       ql_KeyType::KeyTypeSecondary),
                                   &ok)) {
                        run.Leave = true;
                        return;
                    }
                    if (ok)
                        list(kObjectStatus, row) = kStatusUpToDate;
                }
            }
        }
        if (NextObject(run, true))
            break;
    }
    if (m_cancelVerify)
        return;

    // The views of the file that the database lacks, against the list as it
    // stands now.
    if (!run.step([&] { names = SplitList(conn.GetViews(), QStringLiteral(",")); }))
        return;
    for (QDomNode node = container.firstChild(); !node.isNull(); node = node.nextSibling()) {
        const QString xmlName = ChildText(node, 0);
        if (ListHasObject(names, xmlName, run.Prefixes, run.RemovePrefix))
            continue;
        const QString name = WithFirstPrefix(xmlName, run.Prefixes, run.RemovePrefix);
        const int32_t row = AddObjectRow(run, name, QStringLiteral("V"), kStatusToCreate);
        if (IsUpdateMode(name)) {
            const QString script = AddOwnerForCreate(name, XmlCode(run, node));
            bool bError = false;
            QString sError;
            if (!run.step([&] { conn.ExecuteCommand(script, &bError, &sError, false); }))
                return;
            // It may stand on a view that comes later in the file: it waits for the
            // retry.
            if (bError)
                m_failedViewScripts << script;
            AddRTFText(script, bError, sError);
            if (!bError)
                list(kObjectStatus, row) = kStatusUpToDate;
        }
        if (NextObject(run, false))
            return;
    }
    if (!m_failedViewScripts.isEmpty() &&
        (run.Mode == ql_eVerifyMode::UpdateModality || run.Mode == ql_eVerifyMode::CreateModality))
        RerunFailedScripts();
}

} // namespace qldb
