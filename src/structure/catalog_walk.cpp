#include "structure/catalog_walk.h"

namespace qldb {

const std::vector<CatalogTable>& CatalogWalk::Tables() {
    if (!m_tablesRead) {
        m_tables = m_connection.Tables();
        m_tablesRead = true;
    }
    return m_tables;
}

const CatalogTable* CatalogWalk::FindTable(const QString& sTableName) {
    const QString wanted = sTableName.toUpper();
    for (const CatalogTable& table : Tables()) {
        if (table.Name.toUpper() == wanted)
            return &table;
    }
    return nullptr;
}

const std::vector<CatalogColumn>& CatalogWalk::Columns(const QString& sTableName) {
    auto it = m_columns.find(sTableName);
    if (it == m_columns.end())
        it = m_columns.emplace(sTableName, m_connection.Columns(sTableName)).first;
    return it->second;
}

} // namespace qldb
