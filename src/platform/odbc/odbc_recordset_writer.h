#pragma once
// Write-back of AddNew and Update for a recordset opened on one table: a parameterised INSERT of
// the fields that were given a value, and an UPDATE of the changed fields keyed on the row as it
// was read (on the primary key when the recordset holds it, otherwise on every comparable field).
#include "platform/odbc/recordset.h"

#include <QStringList>
#include <memory>
#include <optional>

namespace qldb {

class OdbcConnection;

// ADO's number and text for an update that found its row no more.
inline constexpr int32_t kErrRowNotFoundForUpdate = -2147217864; // 0x80040E38

// The one table a SELECT reads, as written in it ("dbo.T", "[T]"), or empty when the statement
// reads several tables, a subquery or no table. A "SET TRANSACTION ISOLATION LEVEL ..." in front of
// the SELECT is passed over.
QString SingleTableOf(const QString& sStatement);

class OdbcRecordsetWriter : public IRecordsetWriter {
public:
    OdbcRecordsetWriter(std::weak_ptr<OdbcConnection> connection, QString sTable);

    void InsertRow(const std::vector<FieldInfo>& fields, const Row& values) override;
    void UpdateRow(const std::vector<FieldInfo>& fields, const Row& original, const Row& values) override;

private:
    std::shared_ptr<OdbcConnection> connection() const;
    // Indexes of the fields that identify the row.
    std::vector<size_t> keyFields(const std::vector<FieldInfo>& fields);

    std::weak_ptr<OdbcConnection> m_connection;
    QString m_table;
    std::optional<QStringList> m_primaryKey;
};

} // namespace qldb
