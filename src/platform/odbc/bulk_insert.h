#pragma once
// Inserting many rows into one table quickly: the built-in bulk copier's way into a database.
// Over ODBC the rows go as bound parameters of statements carrying many rows each, one round trip
// per statement, one transaction per batch; over any other connection (a test double) one
// parameterised statement per row.
#include "platform/odbc/db_connection.h"
#include "platform/odbc/recordset.h"

#include <QString>
#include <cstdint>
#include <memory>
#include <vector>

namespace qldb {

// A target column: its name and data access type (ADO number), as the catalog reports them.
struct BulkInsertColumn {
    QString Name;
    int32_t Type = ado::adVarWChar;
    int32_t DefinedSize = 0;
};

// A row that the database refused: its position in the batch (from 0) and the driver's message.
struct BulkRowError {
    int64_t Row = 0;
    QString Message;
};

class IBulkInsert {
public:
    virtual ~IBulkInsert() = default;
    // Inserts the rows (values in the order of the columns; Null is a null QVariant) in one
    // transaction of their own, unless the caller holds one already. Rows the database refuses are
    // left out and returned; the others stay inserted. Throws qlException when the connection
    // itself fails.
    virtual std::vector<BulkRowError> InsertBatch(const std::vector<Row>& rows) = 0;
};

// A bulk insert into sTable for the columns given. The ODBC connection binds arrays; any other
// connection gets the statement-per-row fallback.
std::unique_ptr<IBulkInsert> CreateBulkInsert(IDbConnection& connection, const QString& sTable,
                                              const std::vector<BulkInsertColumn>& columns);

} // namespace qldb
