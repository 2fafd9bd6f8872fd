#include "platform/odbc/recordset.h"

#include "platform/errors/error_record.h"

#include <QByteArray>
#include <numeric>

namespace qldb {

namespace {

// Numbers and texts of the data access model that hosts know.
constexpr int32_t kErrNoCurrentRecord = 3021;
constexpr int32_t kErrNotUpdatable = 3251;

const QString kSource = QStringLiteral("ADODB.Recordset");

[[noreturn]] void ThrowNoCurrentRecord() {
    throw qlException(
        kErrNoCurrentRecord, kSource,
        QStringLiteral("Either BOF or EOF is True, or the current record has been deleted. Requested "
                       "operation requires a current record."));
}

[[noreturn]] void ThrowItemNotFound() {
    throw qlException(
        kErrItemNotFound, kSource,
        QStringLiteral("Item cannot be found in the collection corresponding to the requested name or "
                       "ordinal."));
}

[[noreturn]] void ThrowNotUpdatable() {
    throw qlException(
        kErrNotUpdatable, kSource,
        QStringLiteral("Current Recordset does not support updating. This may be a limitation of the "
                       "provider, or of the selected locktype."));
}

} // namespace

// ---- Field ----------------------------------------------------------------------------------

const QString& Field::Name() const {
    m_owner->checkFieldIndex(m_index);
    return m_owner->m_fields[static_cast<size_t>(m_index)].Name;
}

int32_t Field::Type() const {
    m_owner->checkFieldIndex(m_index);
    return m_owner->m_fields[static_cast<size_t>(m_index)].Type;
}

int32_t Field::DefinedSize() const {
    m_owner->checkFieldIndex(m_index);
    return m_owner->m_fields[static_cast<size_t>(m_index)].DefinedSize;
}

int32_t Field::ActualSize() const {
    const QVariant value = Value();
    if (!value.isValid() || value.isNull())
        return 0;
    switch (value.typeId()) {
    case QMetaType::QString:
        return static_cast<int32_t>(value.toString().size());
    case QMetaType::QByteArray:
        return static_cast<int32_t>(value.toByteArray().size());
    default:
        return DefinedSize();
    }
}

QVariant Field::Value() const {
    m_owner->checkFieldIndex(m_index);
    return m_owner->currentRow()[static_cast<size_t>(m_index)];
}

void Field::setValue(const QVariant& value) {
    m_owner->checkFieldIndex(m_index);
    m_owner->currentRowForEdit()[static_cast<size_t>(m_index)] = value;
}

// ---- Recordset ------------------------------------------------------------------------------

Recordset::Recordset(std::vector<FieldInfo> fields, std::vector<Row> rows)
    : m_fields(std::move(fields)), m_rows(std::move(rows)), m_visible(m_rows.size()), m_open(true) {
    std::iota(m_visible.begin(), m_visible.end(), 0);
}

void Recordset::requireOpen() const {
    if (!m_open)
        throw qlException(kErrObjectClosed, kSource,
                          QStringLiteral("Operation is not allowed when the object is closed."));
}

void Recordset::Close() {
    requireOpen();
    // A pending AddNew or edit is dropped with the rows.
    m_adding = false;
    m_editing = false;
    m_original.clear();
    m_rows.clear();
    m_visible.clear();
    m_fields.clear();
    m_filterText.clear();
    m_writer.reset();
    m_pos = 0;
    m_open = false;
}

bool Recordset::IsEOF() const {
    requireOpen();
    return m_pos >= static_cast<int>(m_visible.size());
}

bool Recordset::IsBOF() const {
    requireOpen();
    return m_pos < 0 || m_visible.empty();
}

int32_t Recordset::RecordCount() const {
    requireOpen();
    return static_cast<int32_t>(m_visible.size());
}

void Recordset::MoveFirst() {
    requireOpen();
    if (m_visible.empty())
        ThrowNoCurrentRecord();
    Update();
    m_pos = 0;
}

void Recordset::MoveLast() {
    requireOpen();
    if (m_visible.empty())
        ThrowNoCurrentRecord();
    Update();
    m_pos = static_cast<int>(m_visible.size()) - 1;
}

void Recordset::MoveNext() {
    if (IsEOF())
        ThrowNoCurrentRecord();
    Update();
    ++m_pos;
}

void Recordset::MovePrevious() {
    if (IsBOF())
        ThrowNoCurrentRecord();
    Update();
    --m_pos;
}

int32_t Recordset::AbsolutePosition() const {
    if (IsBOF() || IsEOF())
        return -1;
    return m_pos + 1;
}

int Recordset::FieldCount() const {
    return static_cast<int>(m_fields.size());
}

int Recordset::FieldIndex(const QString& sName) const {
    for (size_t i = 0; i < m_fields.size(); ++i)
        if (m_fields[i].Name.compare(sName, Qt::CaseInsensitive) == 0)
            return static_cast<int>(i);
    return -1;
}

Field Recordset::Fields(int index) {
    checkFieldIndex(index);
    return Field(*this, index);
}

Field Recordset::Fields(const QString& sName) {
    return Field(*this, fieldIndexOrThrow(sName));
}

QVariant Recordset::Value(int index) const {
    checkFieldIndex(index);
    return currentRow()[static_cast<size_t>(index)];
}

QVariant Recordset::Value(const QString& sName) const {
    return currentRow()[static_cast<size_t>(fieldIndexOrThrow(sName))];
}

void Recordset::setFilter(const QString& sCriteria) {
    requireOpen();
    // Parse first: criteria that cannot be read leave the current filter as it was.
    std::function<bool(const Row&)> keep;
    if (!sCriteria.trimmed().isEmpty())
        keep = ParseRecordsetFilter(sCriteria, m_fields);
    Update();
    m_visible.clear();
    for (size_t i = 0; i < m_rows.size(); ++i)
        if (!keep || keep(m_rows[i]))
            m_visible.push_back(static_cast<int>(i));
    m_filterText = keep ? sCriteria : QString();
    m_pos = 0;
}

void Recordset::AddNew() {
    requireOpen();
    if (!m_writer)
        ThrowNotUpdatable();
    Update();
    m_rows.emplace_back(m_fields.size());
    m_visible.push_back(static_cast<int>(m_rows.size()) - 1);
    m_pos = static_cast<int>(m_visible.size()) - 1;
    m_adding = true;
}

void Recordset::Update() {
    requireOpen();
    if (!m_adding && !m_editing)
        return;
    if (!m_writer)
        ThrowNotUpdatable();
    const Row& row = currentRow();
    // The edit stays pending when the write fails, so the caller can correct it and try again.
    if (m_adding)
        m_writer->InsertRow(m_fields, row);
    else
        m_writer->UpdateRow(m_fields, m_original, row);
    m_adding = false;
    m_editing = false;
    m_original.clear();
}

const Row& Recordset::currentRow() const {
    if (IsBOF() || IsEOF())
        ThrowNoCurrentRecord();
    return m_rows[static_cast<size_t>(m_visible[static_cast<size_t>(m_pos)])];
}

Row& Recordset::currentRowForEdit() {
    const Row& row = currentRow();
    if (!m_writer)
        ThrowNotUpdatable();
    if (!m_adding && !m_editing) {
        m_original = row;
        m_editing = true;
    }
    return m_rows[static_cast<size_t>(m_visible[static_cast<size_t>(m_pos)])];
}

int Recordset::fieldIndexOrThrow(const QString& sName) const {
    requireOpen();
    const int index = FieldIndex(sName);
    if (index < 0)
        ThrowItemNotFound();
    return index;
}

void Recordset::checkFieldIndex(int index) const {
    requireOpen();
    if (index < 0 || index >= static_cast<int>(m_fields.size()))
        ThrowItemNotFound();
}

} // namespace qldb
