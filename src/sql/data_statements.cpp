// The data statements of qlQueryConstructor: select, insert, update, delete, and MakeQuery.
#include "platform/tools/conversions.h"
#include "platform/tools/sql_literal.h"
#include "sql/ql_query_constructor.h"
#include "sql/sql_errors.h"

namespace qldb {

namespace {
const QString kCrLf = QStringLiteral("\r\n");
// The indent of the continuation lines of a WHERE tree, under "WHERE ".
constexpr int kWhereIndent = 5;
} // namespace

QString qlQueryConstructor::MakeQuery(int32_t iQueryType, ql_eAlterAction iAlterAction, ql_KeyType iKeyType,
                                      bool* bUseTransaction) const {
    return MakeQuery(static_cast<ql_eQueryType>(iQueryType), iAlterAction, iKeyType, bUseTransaction);
}

QString qlQueryConstructor::MakeQuery(ql_eQueryType iQueryType, ql_eAlterAction iAlterAction,
                                      ql_KeyType iKeyType, bool* bUseTransaction) const {
    switch (iQueryType) {
    case ql_eQueryType::CreateTable:
        return MakeCreateTable();
    case ql_eQueryType::AlterTable:
        return MakeAlterTable(iAlterAction, bUseTransaction);
    case ql_eQueryType::CreatePrimaryKey:
        return MakeCreatePrimaryKey();
    case ql_eQueryType::DropTable:
        return QStringLiteral("DROP TABLE ") + TableExpression();
    case ql_eQueryType::DropIndex:
        return MakeDropIndex(iKeyType);
    case ql_eQueryType::DropTrigger:
        return QStringLiteral("DROP TRIGGER ") + m_triggerName;
    case ql_eQueryType::DropFunction:
        return QStringLiteral("DROP FUNCTION ") + m_functionName;
    case ql_eQueryType::DropProcedure:
        return QStringLiteral("DROP PROCEDURE ") + m_procedureName;
    case ql_eQueryType::DropView:
        return QStringLiteral("DROP VIEW ") + m_viewName;
    case ql_eQueryType::SelectFrom:
        return MakeSelect(false);
    case ql_eQueryType::Insert:
        return MakeInsert();
    case ql_eQueryType::Update:
        return MakeUpdate();
    case ql_eQueryType::Delete:
        return MakeDelete();
    case ql_eQueryType::SelectFromDistinct:
        return MakeSelect(true);
    }
    return QString();
}

QString qlQueryConstructor::TableExpression() const {
    if (m_table.Prefix.isEmpty())
        return m_table.TableName;
    return m_table.Prefix + QLatin1Char('_') + m_table.TableName;
}

QString qlQueryConstructor::WhereClause() const {
    if (!m_whereConditions)
        sql_errors::RaiseObjectNotSet();
    if (m_whereConditions->ContainData()) {
        int indent = kWhereIndent;
        return QStringLiteral("WHERE ") + m_whereConditions->RenderWhere(m_providerType, indent) + kCrLf;
    }
    // The text is the caller's whole clause, keyword included.
    if (!m_whereString.isEmpty())
        return m_whereString + kCrLf;
    return QString();
}

QString qlQueryConstructor::FormatFieldValue(const ql_tField& fld) const {
    // An expression such as GETDATE() is SQL already and must not become a quoted text.
    if (fld.FieldType == ql_eDataType::TypeSqlExpression)
        return ToText(fld.Value);
    return FormatSqlValue(fld.Value, fld.FieldType, m_providerType);
}

QString qlQueryConstructor::MakeSelect(bool bDistinct) const {
    QString sql = bDistinct ? QStringLiteral("SELECT DISTINCT ") : QStringLiteral("SELECT ");
    for (size_t i = 0; i < m_fields.size(); ++i) {
        if (i > 0)
            sql += QStringLiteral(",\r\n       ");
        sql += m_fields[i].FieldName;
    }
    sql += kCrLf + QStringLiteral("FROM ") + TableExpression() + kCrLf;
    sql += WhereClause();
    if (!m_orderBy.empty()) {
        sql += QStringLiteral("ORDER BY ");
        for (size_t i = 0; i < m_orderBy.size(); ++i) {
            if (i > 0)
                sql += QStringLiteral(", ");
            sql += m_orderBy[i].FieldName;
            if (m_orderBy[i].Order == ql_eOrder::Order_DESC)
                sql += QStringLiteral(" DESC");
        }
    }
    return sql;
}

QString qlQueryConstructor::MakeInsert() const {
    QString columns;
    QString values;
    for (size_t i = 0; i < m_fields.size(); ++i) {
        if (i > 0) {
            columns += QStringLiteral(",\r\n");
            values += QStringLiteral(",\r\n");
        }
        columns += QStringLiteral("  ") + m_fields[i].FieldName;
        values += QStringLiteral("  ") + FormatFieldValue(m_fields[i]);
    }
    QString sql;
    sql.reserve(columns.size() + values.size() + 64);
    sql += QStringLiteral("INSERT INTO ") + TableExpression() + kCrLf + kCrLf;
    sql += QStringLiteral("(\r\n") + columns + kCrLf;
    sql += QStringLiteral(") VALUES (\r\n") + values + kCrLf;
    sql += QLatin1Char(')');
    return sql;
}

QString qlQueryConstructor::MakeUpdate() const {
    QString sql = QStringLiteral("UPDATE ") + TableExpression() + kCrLf + QStringLiteral("SET ");
    for (size_t i = 0; i < m_fields.size(); ++i) {
        if (i > 0)
            sql += QStringLiteral(",\r\n    ");
        sql += m_fields[i].FieldName + QStringLiteral(" = ") + FormatFieldValue(m_fields[i]);
    }
    sql += kCrLf;
    return sql + WhereClause();
}

QString qlQueryConstructor::MakeDelete() const {
    return QStringLiteral("DELETE FROM ") + TableExpression() + kCrLf + WhereClause();
}

} // namespace qldb
