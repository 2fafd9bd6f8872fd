// The model side of qlQueryConstructor: element access, the Add operations and Reset.
#include "sql/ql_query_constructor.h"
#include "sql/sql_errors.h"

#include "platform/errors/error_record.h"
#include "platform/tools/data_type_names.h"

namespace qldb {

namespace {

const QString kAddFieldSource = QStringLiteral("Database.QueryConstructor.AddField");
const QString kAddParamSource = QStringLiteral("Database.QueryConstructor.AddProcedureParam");

const QString& NameOf(const ql_tField& fld) {
    return fld.FieldName;
}
const QString& NameOf(const ql_tIndex& idx) {
    return idx.IndexName;
}

// The common step of every Add operation: the index of the element of that name when it may be
// overwritten, else the index of a new element at the end. A duplicate without overwrite raises
// before anything changes; its description is composed only then.
template <class Element, class Describe>
size_t SlotFor(std::vector<Element>& arr, const QString& sName, bool bOverwrite, const QString& sSource,
               Describe describe) {
    for (size_t i = 0; i < arr.size(); ++i) {
        if (NameOf(arr[i]) != sName)
            continue;
        if (!bOverwrite)
            throw qlException(kErrDuplicate, sSource, describe());
        return i;
    }
    arr.emplace_back();
    return arr.size() - 1;
}

QString Duplicated() {
    return QStringLiteral("Duplicated element!");
}

} // namespace

qlQueryConstructor::qlQueryConstructor() : m_whereConditions(std::make_shared<qlWhereCondition>()) {}

ql_tField qlQueryConstructor::Fields(int32_t index) const {
    return sql_errors::ElementAt(m_fields, index);
}

void qlQueryConstructor::setFields(int32_t index, const ql_tField& fldField) {
    if (sql_errors::IsWritable(m_fields, index))
        m_fields[static_cast<size_t>(index)] = fldField;
}

ql_tIndex qlQueryConstructor::Indexes(int32_t index) const {
    return sql_errors::ElementAt(m_indexes, index);
}

void qlQueryConstructor::setIndexes(int32_t index, const ql_tIndex& idxIndex) {
    if (sql_errors::IsWritable(m_indexes, index))
        m_indexes[static_cast<size_t>(index)] = idxIndex;
}

ql_tField qlQueryConstructor::OrderBy(int32_t index) const {
    return sql_errors::ElementAt(m_orderBy, index);
}

void qlQueryConstructor::setOrderBy(int32_t index, const ql_tField& fldOrder) {
    if (sql_errors::IsWritable(m_orderBy, index))
        m_orderBy[static_cast<size_t>(index)] = fldOrder;
}

ql_tField qlQueryConstructor::FieldByName(const QString& sName) const {
    for (const auto& fld : m_fields) {
        if (fld.FieldName == sName)
            return fld;
    }
    return ql_tField{};
}

QString qlQueryConstructor::FieldsList(const QString& sSeparator, const QString& sPrefix) const {
    QString list;
    for (const auto& fld : m_fields) {
        // The separator goes in whenever the text so far isn't empty, so leading empty names
        // (with no prefix) add nothing.
        if (!list.isEmpty())
            list += sSeparator;
        list += sPrefix + fld.FieldName;
    }
    return list;
}

void qlQueryConstructor::Reset() {
    m_table = ql_tTable{};
    m_fields.clear();
    m_indexes.clear();
    m_orderBy.clear();
    m_whereConditions = std::make_shared<qlWhereCondition>();
    m_whereString.clear();
}

void qlQueryConstructor::SetTable(const QString& sTableName, const QString& sPrefix) {
    m_table.TableName = sTableName;
    m_table.Prefix = sPrefix;
}

ql_eDataType qlQueryConstructor::GetDataTypeFromString(const QString& sType) const {
    return GetDataTypeFromName(sType);
}

int16_t qlQueryConstructor::AddField(const ql_tField& fldField, bool bOverwrite) {
    const size_t i = SlotFor(m_fields, fldField.FieldName, bOverwrite, kAddFieldSource, Duplicated);
    m_fields[i] = fldField;
    // Hosts have always received 0 here, whatever the index.
    return 0;
}

int16_t qlQueryConstructor::AddCreateField(const QString& sFieldName, ql_eDataType iFieldType, int16_t iSize,
                                           const QString& sDesciption, bool bKeyField, bool bOverwrite) {
    const size_t i = SlotFor(m_fields, sFieldName, bOverwrite, kAddFieldSource, Duplicated);
    ql_tField& fld = m_fields[i];
    fld.FieldName = sFieldName;
    fld.FieldType = iFieldType;
    fld.Size = iSize;
    fld.Desciption = sDesciption;
    fld.KeyField = bKeyField;
    return static_cast<int16_t>(i);
}

int16_t qlQueryConstructor::AddUpdateField(const QString& sFieldName, const QVariant& vValue,
                                           ql_eDataType iFieldType, bool bOverwrite) {
    const size_t i = SlotFor(m_fields, sFieldName, bOverwrite, kAddFieldSource, [&] {
        return QStringLiteral("Field: ") + sFieldName + QStringLiteral(" - Error: ") + Duplicated();
    });
    ql_tField& fld = m_fields[i];
    fld.FieldName = sFieldName;
    fld.FieldType = iFieldType;
    fld.Value = vValue;
    return static_cast<int16_t>(i);
}

int16_t qlQueryConstructor::AddProcedureParam(const QString& sParamName, const QVariant& vValue,
                                              ql_eDataType iFieldType, int32_t lSize) {
    const size_t i = SlotFor(m_fields, sParamName, false, kAddParamSource, Duplicated);
    ql_tField& fld = m_fields[i];
    fld.FieldName = sParamName;
    fld.FieldType = iFieldType;
    fld.Value = vValue;
    fld.Size = lSize;
    return static_cast<int16_t>(i);
}

int16_t qlQueryConstructor::AddSelectField(const QString& sFieldName, bool bOverwrite) {
    const size_t i = SlotFor(m_fields, sFieldName, bOverwrite, kAddFieldSource, Duplicated);
    m_fields[i].FieldName = sFieldName;
    return static_cast<int16_t>(i);
}

int16_t qlQueryConstructor::AddOrderBy(const QString& sFieldName, ql_eOrder iOrder, bool bOverwrite) {
    const size_t i = SlotFor(m_orderBy, sFieldName, bOverwrite, kAddFieldSource, Duplicated);
    m_orderBy[i].FieldName = sFieldName;
    m_orderBy[i].Order = iOrder;
    return static_cast<int16_t>(i);
}

int16_t qlQueryConstructor::AddIndex(const QString& sIndexName, const QString& sOnTable,
                                     const std::vector<ql_tField>& vFields, bool bUnique, ql_eOrder iOrder,
                                     bool bOverwrite) {
    const size_t i = SlotFor(m_indexes, sIndexName, bOverwrite, kAddFieldSource, Duplicated);
    m_indexes[i] = ql_tIndex{sIndexName, bUnique, sOnTable, vFields, iOrder};
    return static_cast<int16_t>(i);
}

int16_t qlQueryConstructor::AddDropIndex(const QString& sIndexName, bool bOverwrite) {
    const size_t i = SlotFor(m_indexes, sIndexName, bOverwrite, kAddFieldSource, Duplicated);
    m_indexes[i].IndexName = sIndexName;
    return static_cast<int16_t>(i);
}

int16_t qlQueryConstructor::RemoveUpdateField(const QString& sFieldName) {
    for (size_t i = 0; i < m_fields.size(); ++i) {
        if (m_fields[i].FieldName != sFieldName)
            continue;
        // From exactly two fields the list is emptied rather than shortened to the survivor.
        // Existing callers depend on that, so it stays.
        if (m_fields.size() == 2)
            m_fields.clear();
        else
            m_fields.erase(m_fields.begin() + static_cast<std::ptrdiff_t>(i));
        return static_cast<int16_t>(i);
    }
    return -1;
}

} // namespace qldb
