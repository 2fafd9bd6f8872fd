#include "platform/tools/sql_literal.h"
#include "sql/ql_where_condition.h"
#include "sql/sql_errors.h"

#include <algorithm>

namespace qldb {

namespace {
const QString kCrLf = QStringLiteral("\r\n");
}

std::shared_ptr<qlWhereCondition> qlWhereCondition::GroupConditions(int32_t index) const {
    return sql_errors::ElementAt(m_groups, index);
}

void qlWhereCondition::setGroupConditions(int32_t index, std::shared_ptr<qlWhereCondition> cGroupCondition) {
    if (sql_errors::IsWritable(m_groups, index))
        m_groups[static_cast<size_t>(index)] = std::move(cGroupCondition);
}

ql_tFieldCondition qlWhereCondition::FieldsWhere(int32_t index) const {
    return sql_errors::ElementAt(m_fields, index);
}

void qlWhereCondition::setFieldsWhere(int32_t index, const ql_tFieldCondition& fldCondition) {
    if (sql_errors::IsWritable(m_fields, index))
        m_fields[static_cast<size_t>(index)] = fldCondition;
}

void qlWhereCondition::Reset() {
    m_groups.clear();
    m_fields.clear();
    m_logicOperator = ql_eLogicOperator::Operator_AND;
}

int16_t qlWhereCondition::AddField(const QString& sFieldName, ql_eDataType iFieldType,
                                   ql_eAritmeticOperator iAritmeticOperator,
                                   const std::vector<QVariant>& vValues) {
    m_fields.push_back(ql_tFieldCondition{sFieldName, iFieldType, vValues, iAritmeticOperator});
    return static_cast<int16_t>(m_fields.size() - 1);
}

int16_t qlWhereCondition::AddGroupCondition(std::shared_ptr<qlWhereCondition> cGroupCondition) {
    m_groups.push_back(std::move(cGroupCondition));
    return static_cast<int16_t>(m_groups.size());
}

QString qlWhereCondition::Connector(int iIndent) const {
    const QString blanks(std::max(iIndent, 0), QLatin1Char(' '));
    switch (m_logicOperator) {
    case ql_eLogicOperator::Operator_AND:
        return QStringLiteral(" AND") + kCrLf + blanks;
    case ql_eLogicOperator::Operator_ANDNOT:
        return QStringLiteral(" AND") + kCrLf + blanks + QStringLiteral("NOT ");
    case ql_eLogicOperator::Operator_OR:
        return QStringLiteral(" OR") + kCrLf + blanks;
    case ql_eLogicOperator::Operator_ORNOT:
        return QStringLiteral(" OR") + kCrLf + blanks + QStringLiteral("NOT ");
    }
    // An operator value from outside the enumeration joins members with nothing at all.
    return QString();
}

QString qlWhereCondition::RenderField(const ql_tFieldCondition& condition,
                                      ql_eProviderType iProviderType) const {
    QString text = condition.FieldName;
    const auto op = condition.AritmaticOperator;
    if (op == ql_eAritmeticOperator::OperatorIn || op == ql_eAritmeticOperator::OperatorNotIn) {
        text +=
            op == ql_eAritmeticOperator::OperatorIn ? QStringLiteral(" IN (") : QStringLiteral(" NOT IN (");
        for (size_t i = 0; i < condition.Values.size(); ++i) {
            if (i > 0)
                text += QStringLiteral(", ");
            text += FormatSqlValue(condition.Values[i], condition.FieldType, iProviderType);
        }
        return text + QLatin1Char(')');
    }
    switch (op) {
    case ql_eAritmeticOperator::OperatorEqual:
    case ql_eAritmeticOperator::OperatorNotEquel:
        text += QStringLiteral(" = ");
        break;
    case ql_eAritmeticOperator::OperatorMinor:
        text += QStringLiteral(" < ");
        break;
    case ql_eAritmeticOperator::OperatorMajor:
        text += QStringLiteral(" > ");
        break;
    case ql_eAritmeticOperator::OperatorMinorEqual:
        text += QStringLiteral(" <= ");
        break;
    case ql_eAritmeticOperator::OperatorMajorEqual:
        text += QStringLiteral(" >= ");
        break;
    default:
        break;
    }
    // Only the first value counts for a comparison; a comparison without one is a caller's error.
    return text +
           FormatSqlValue(sql_errors::ElementAt(condition.Values, 0), condition.FieldType, iProviderType);
}

QString qlWhereCondition::RenderWhere(ql_eProviderType iProviderType, int& iIndent) const {
    QString result;
    bool first = true;
    for (const auto& child : m_groups) {
        if (!child)
            sql_errors::RaiseObjectNotSet();
        if (!first)
            result += Connector(iIndent);
        first = false;
        ++iIndent;
        QString childText;
        try {
            childText = child->RenderWhere(iProviderType, iIndent);
        } catch (...) {
            --iIndent;
            throw;
        }
        --iIndent;
        result += QLatin1Char('(') + childText + QLatin1Char(')');
    }
    for (const auto& condition : m_fields) {
        if (!first)
            result += Connector(iIndent);
        first = false;
        result += RenderField(condition, iProviderType);
    }
    return result;
}

} // namespace qldb
