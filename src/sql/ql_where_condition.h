#pragma once
// qlWhereCondition: one node of a boolean tree of conditions. A node holds field conditions and
// child nodes, joined by one logic operator; qlQueryConstructor owns a root and asks it for its
// text when it builds a select, an update or a delete.
#include "platform/data_type.h"
#include "platform/provider_type.h"

#include <QString>
#include <QVariant>
#include <cstdint>
#include <memory>
#include <vector>

namespace qldb {

// The public names keep their historic spelling: hosts call them by these names.
enum class ql_eAritmeticOperator : int32_t {
    OperatorEqual = 0,
    // Renders as " = " like OperatorEqual: hosts have always received an equality test for it.
    OperatorNotEquel = 1,
    OperatorMinor = 2,
    OperatorMajor = 3,
    OperatorMinorEqual = 4,
    OperatorMajorEqual = 5,
    OperatorIn = 6,
    OperatorNotIn = 7,
};

enum class ql_eLogicOperator : int32_t {
    Operator_AND = 0,
    Operator_ANDNOT = 1,
    Operator_OR = 2,
    Operator_ORNOT = 3
};

struct ql_tFieldCondition {
    QString FieldName{};
    ql_eDataType FieldType = ql_eDataType::TypeChar;
    std::vector<QVariant> Values{};
    ql_eAritmeticOperator AritmaticOperator = ql_eAritmeticOperator::OperatorEqual;
};

class qlWhereCondition {
public:
    qlWhereCondition() = default;

    // True when the node has a child or a field condition, whatever the children hold.
    bool ContainData() const { return !m_groups.empty() || !m_fields.empty(); }

    // Element access. Reading outside the array raises "Subscript out of range"; writing outside
    // it (or into an empty array) is ignored.
    std::shared_ptr<qlWhereCondition> GroupConditions(int32_t index) const;
    void setGroupConditions(int32_t index, std::shared_ptr<qlWhereCondition> cGroupCondition);
    ql_tFieldCondition FieldsWhere(int32_t index) const;
    void setFieldsWhere(int32_t index, const ql_tFieldCondition& fldCondition);

    ql_eLogicOperator LogicOperator() const { return m_logicOperator; }
    void setLogicOperator(ql_eLogicOperator iOperator) { m_logicOperator = iOperator; }

    // Empties both arrays and puts the operator back to AND.
    void Reset();

    // Appends a condition (the values are copied) and returns its index. The same field may stand
    // several times.
    int16_t AddField(const QString& sFieldName, ql_eDataType iFieldType,
                     ql_eAritmeticOperator iAritmeticOperator, const std::vector<QVariant>& vValues);
    // Appends a shared child and returns the new upper bound plus one, i.e. one more than the index
    // of the child just added (callers rely on that difference from AddField).
    int16_t AddGroupCondition(std::shared_ptr<qlWhereCondition> cGroupCondition);

    // The node's text for one provider: children first, each in parentheses and rendered one
    // blank deeper, then field conditions; members after the first are put on a new line indented
    // by iIndent blanks behind the connector. iIndent is back at its entry value on return.
    // Throws "Subscript out of range" for a non-list condition without a value, and an object
    // error for a child that is not set.
    QString RenderWhere(ql_eProviderType iProviderType, int& iIndent) const;

private:
    QString RenderField(const ql_tFieldCondition& condition, ql_eProviderType iProviderType) const;
    QString Connector(int iIndent) const;

    std::vector<std::shared_ptr<qlWhereCondition>> m_groups;
    std::vector<ql_tFieldCondition> m_fields;
    ql_eLogicOperator m_logicOperator = ql_eLogicOperator::Operator_AND;
};

} // namespace qldb
