#pragma once
// The catalog walk of the structure engine: the tables of the connected database in the driver's
// order, each with its type, and the columns of a table with their data access type and defined
// size. Read once per walk and kept, as a catalog object opened on the connection would.
#include "platform/odbc/db_connection.h"

#include <QString>
#include <map>
#include <vector>

namespace qldb {

class CatalogWalk {
public:
    explicit CatalogWalk(IDbConnection& connection) : m_connection(connection) {}

    const std::vector<CatalogTable>& Tables();
    // The table of that name compared in upper case, or nullptr.
    const CatalogTable* FindTable(const QString& sTableName);
    // The columns in their catalog order; an unknown table has none.
    const std::vector<CatalogColumn>& Columns(const QString& sTableName);

private:
    IDbConnection& m_connection;
    bool m_tablesRead = false;
    std::vector<CatalogTable> m_tables;
    std::map<QString, std::vector<CatalogColumn>> m_columns;
};

} // namespace qldb
