#pragma once
// A client-side static recordset: every row is fetched when it opens, so it can be counted and
// walked in both directions. Values keep Null (a null QVariant) apart from Empty (an invalid one).
#include "platform/odbc/ado_types.h"

#include <QString>
#include <QVariant>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace qldb {

struct FieldInfo {
    QString Name;
    int32_t Type = ado::adEmpty; // ADO type number
    int32_t DefinedSize = 0;
};

using Row = std::vector<QVariant>;

class Recordset;

// Writes rows that AddNew and Update made back to their table. Set by the connection that opened
// an updatable recordset on one table.
class IRecordsetWriter {
public:
    virtual ~IRecordsetWriter() = default;
    virtual void InsertRow(const std::vector<FieldInfo>& fields, const Row& values) = 0;
    virtual void UpdateRow(const std::vector<FieldInfo>& fields, const Row& original, const Row& values) = 0;
};

// One field of the current row, as the data access model presents it.
class Field {
public:
    Field(Recordset& owner, int index) : m_owner(&owner), m_index(index) {}
    const QString& Name() const;
    int32_t Type() const;
    int32_t DefinedSize() const;
    // Length of the current value: characters of text, bytes of binary data, 0 for Null.
    int32_t ActualSize() const;
    QVariant Value() const;
    void setValue(const QVariant& value);

private:
    Recordset* m_owner;
    int m_index;
};

class Recordset {
public:
    // A recordset of a statement that returned no rowset: state 0.
    Recordset() = default;
    Recordset(std::vector<FieldInfo> fields, std::vector<Row> rows);

    int32_t State() const { return m_open ? ado::adStateOpen : ado::adStateClosed; }
    void Close();

    bool IsEOF() const;
    bool IsBOF() const;
    // Rows visible through the filter.
    int32_t RecordCount() const;
    void MoveFirst();
    void MoveLast();
    void MoveNext();
    void MovePrevious();
    // 1-based position of the current row among the visible rows; -1 at BOF or EOF.
    int32_t AbsolutePosition() const;

    int FieldCount() const;
    // Case-insensitive, as hosts expect; -1 when the recordset has no such field.
    int FieldIndex(const QString& sName) const;
    Field Fields(int index);
    Field Fields(const QString& sName);
    const std::vector<FieldInfo>& FieldInfos() const { return m_fields; }
    // Shorthands for Fields(x).Value() of the current row.
    QVariant Value(int index) const;
    QVariant Value(const QString& sName) const;

    // Criteria "Field op value" joined by AND or OR, op one of = <> < > <= >= LIKE, value a number,
    // a 'quoted' text or a #date#. An empty text shows every row again.
    void setFilter(const QString& sCriteria);
    QString Filter() const { return m_filterText; }

    // A new row at the end, written back by Update.
    void AddNew();
    void Update();
    void setWriter(std::shared_ptr<IRecordsetWriter> writer) { m_writer = std::move(writer); }

    // All rows, unfiltered, for callers that read in bulk.
    const std::vector<Row>& Rows() const { return m_rows; }

private:
    friend class Field;
    void requireOpen() const;
    const Row& currentRow() const;
    Row& currentRowForEdit();
    int fieldIndexOrThrow(const QString& sName) const;
    void checkFieldIndex(int index) const;

    std::vector<FieldInfo> m_fields;
    std::vector<Row> m_rows;
    // Indexes into m_rows of the rows the filter lets through, in order.
    std::vector<int> m_visible;
    // Position in m_visible; -1 is BOF, m_visible.size() is EOF.
    int m_pos = 0;
    bool m_open = false;
    QString m_filterText;
    std::shared_ptr<IRecordsetWriter> m_writer;
    // Editing state of AddNew and of an edited existing row.
    bool m_adding = false;
    bool m_editing = false;
    Row m_original;
};

// Parses filter criteria into a row predicate; throws qlException for criteria it cannot read.
std::function<bool(const Row&)> ParseRecordsetFilter(const QString& sCriteria,
                                                     const std::vector<FieldInfo>& fields);

} // namespace qldb
