// The tables of a verification run: the database's tables against the file,
// then the file's tables that the database lacks.
#include "structure/object_matching.h"
#include "structure/structure_document.h"
#include "structure/verify_run.h"

namespace qldb {

namespace {

int32_t RowStatus(ql_eTableStatus status) {
    if (status == ql_eTableStatus::TableUpdated)
        return kStatusUpToDate;
    if (status == ql_eTableStatus::TableWithUserDefined)
        return kStatusUserItemsOnly;
    // Must be updated, and also a comparison that left early.
    return kStatusToUpdate;
}

} // namespace

void qlDatabase::VerifyTablesPhase(VerifyRun& run) {
    if (run.Leave || !run.Catalog)
        return;
    // The container is checked by its name: a file without tables there has none
    // to compare.
    QDomNode tables = ChildPath(run.Doc, {1, kContainerTables});
    if (BaseName(tables) != QLatin1String("Tables"))
        tables = QDomNode();
    std::vector<CatalogTable> catalog;
    if (!run.step([&] { catalog = run.Catalog->Tables(); }))
        return;
    VariantArray2& list = *run.Table;

    for (const CatalogTable& table : catalog) {
        const QString& name = table.Name;
        if (table.Type == QLatin1String("TABLE") && PassesPrefixes(name, run.Prefixes)) {
            const QDomNode node = FindObjectNode(tables, name, run.Prefixes, run.RemovePrefix);
            if (!node.isNull()) {
                // In an update only the selected tables are touched, and only they are
                // listed.
                if (IsUpdateMode(name) || run.Mode != ql_eVerifyMode::UpdateModality) {
                    const int32_t row = AddObjectRow(run, name, QStringLiteral("T"));
                    VariantArray2 fields;
                    auto status = static_cast<ql_eTableStatus>(-1);
                    if (!run.step([&] {
                            status = CheckTable(name, fields, node, run.File, run.PrefixTable,
                                                &run.RemovePrefix, run.AutoIgnore, run.ErrCounter);
                        }))
                        return;
                    list(kObjectStatus, row) = RowStatus(status);
                }
            } else if (run.ShowUserObject) {
                const int32_t row = AddObjectRow(run, name, QStringLiteral("T"), kStatusUserObject);
                if (IsUpdateMode(name) && m_deleteObjects) {
                    run.Query.Reset();
                    run.Query.SetTable(name, QString());
                    bool ok = false;
                    if (!RunRepair(run.Rule,
                                   run.Query.MakeQuery(ql_eQueryType::DropTable,
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

    for (QDomNode node = tables.firstChild(); !node.isNull(); node = node.nextSibling()) {
        const QString xmlName = ChildText(node, 0);
        bool found = false;
        for (const CatalogTable& table : catalog)
            found = found || (table.Type == QLatin1String("TABLE") &&
                              SameObject(table.Name, xmlName, run.Prefixes, run.RemovePrefix));
        if (found)
            continue;
        const QString name = WithFirstPrefix(xmlName, run.Prefixes, run.RemovePrefix);
        const int32_t row = AddObjectRow(run, name, QStringLiteral("T"), kStatusToCreate);
        if (IsUpdateMode(name)) {
            bool ok = false;
            if (!run.step([&] { ok = CreateTableFromXml(name, node, run.PrefixTable, run.RemovePrefix); }))
                return;
            if (ok)
                list(kObjectStatus, row) = kStatusUpToDate;
        }
        if (NextObject(run, false))
            break;
    }
}

} // namespace qldb
