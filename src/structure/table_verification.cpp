// Table verification: one table of the database against its Table node, with the rows of every
// difference and, in an update mode, the repairs made in the same pass.
#include "platform/host/host_services.h"
#include "structure/catalog_walk.h"
#include "structure/table_pass.h"

#include <QFileInfo>

namespace qldb {

namespace {

const QString kClassName = QStringLiteral("qlDatabase");

// The Table node of the file whose name matches, or a null node. With the firm marker in the
// file's names, each prefix is tried in its place.
QDomNode FindTableNode(const QDomDocument& doc, const QString& sTableName, const QStringList& prefixes,
                       bool bRemovePrefix) {
    const QDomNode tables = ChildPath(doc, {1, kContainerTables});
    if (BaseName(tables) != QLatin1String("Tables"))
        return QDomNode();
    const QString wanted = sTableName.toUpper();
    const QString marker = QString::fromUtf16(kFirmMarker);
    for (QDomNode table = tables.firstChild(); !table.isNull(); table = table.nextSibling()) {
        const QString name = ChildText(table, kTableName);
        if (!prefixes.isEmpty() && bRemovePrefix) {
            for (const QString& prefix : prefixes) {
                if (QString(name).replace(marker, prefix, Qt::CaseInsensitive).toUpper() == wanted)
                    return table;
            }
        } else if (name.toUpper() == wanted) {
            return table;
        }
    }
    return QDomNode();
}

} // namespace

QString qlDatabase::WantedCollation() const {
    return m_collate.isEmpty() ? m_systemCollation : m_collate;
}

ql_eTableStatus qlDatabase::CheckTable(const QString& sTableName, VariantArray2& ArrayFields,
                                       const QDomNode& xmlNodeTable, const QString& sXmlStructureFile,
                                       const QString& sPrefixTable, bool* bRemovePrefix, bool bAutoIgnore,
                                       int32_t* lErrCounter) {
    auto result = static_cast<ql_eTableStatus>(-1);
    int32_t errCounterLocal = 0;
    int32_t& errCounter = lErrCounter ? *lErrCounter : errCounterLocal;
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClassName, QStringLiteral("CheckTable"));
    BusyPointer busy(host());
    qlConnection& conn = connection();

    TablePass pass(ArrayFields, rule, bAutoIgnore, errCounter);
    pass.TableName = sTableName;
    pass.Prefixes = SplitNames(sPrefixTable);
    pass.RemovePrefix = bRemovePrefix != nullptr && *bRemovePrefix;
    pass.Query.setProviderType(conn.ProviderType());
    ArrayFields.Redim(1, kFieldColumns, 0, 0);

    // Triggers come back on whatever way the pass ends: a table must not stay without them.
    struct TriggersBackOn {
        ErrorRule& rule;
        qlConnection& conn;
        const QString& table;
        ~TriggersBackOn() {
            rule.tolerate([&] { conn.AlterTriggersStatus(true, table); });
        }
    } triggersBackOn{rule, conn, sTableName};
    try {
        pass.Step([&] { conn.AlterTriggersStatus(false, sTableName); });
        if (CompareTable(pass, xmlNodeTable, sXmlStructureFile))
            result = TableResult(pass);
    } catch (const LeaveTablePass&) {
        result = static_cast<ql_eTableStatus>(-1);
    }
    return result;
}

bool qlDatabase::CompareTable(TablePass& pass, const QDomNode& xmlNodeTable,
                              const QString& sXmlStructureFile) {
    QDomDocument doc;
    QDomNode table = xmlNodeTable;
    if (table.isNull()) {
        if (!QFileInfo::exists(sXmlStructureFile))
            return false;
        pass.Step([&] {
            QString sError;
            if (!LoadStructureDocument(sXmlStructureFile, doc, &sError))
                throw qlException(kErrGeneral, kClassName, sError);
        });
        table = FindTableNode(doc, pass.TableName, pass.Prefixes, pass.RemovePrefix);
        if (table.isNull())
            return true;
    }
    pass.XmlFields = ChildAt(table, kTableFields);
    pass.XmlIndexes = ChildAt(table, kTableIndexes);
    pass.Update = IsUpdateMode(pass.TableName);

    CatalogWalk catalog(*connection().ADODBConnection());
    const CatalogTable* found = nullptr;
    pass.Step([&] { found = catalog.FindTable(pass.TableName); });
    // A table the database lacks is created by the driver, not compared here.
    if (found == nullptr)
        return true;
    pass.CatalogName = found->Name;
    pass.Step([&] { pass.Columns = catalog.Columns(pass.CatalogName); });

    CheckTableColumns(pass);
    CheckNewColumns(pass);
    CheckPrimaryKey(pass);
    CheckTableIndexes(pass);
    return true;
}

ql_eTableStatus qlDatabase::TableResult(const TablePass& pass) {
    const int32_t rows = pass.Rows.RowCount();
    // Repairs leave the table up to date, whatever rows were written.
    if (rows == 0 || pass.Update)
        return ql_eTableStatus::TableUpdated;
    if (pass.UserDefined == rows)
        return ql_eTableStatus::TableWithUserDefined;
    if (pass.RebuildOnly == rows)
        return ql_eTableStatus::TableUpdated;
    return ql_eTableStatus::TableMustUpdated;
}

} // namespace qldb
