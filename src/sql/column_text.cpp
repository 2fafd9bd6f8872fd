// Column-level texts: collation and default clauses, column comments and default constraints.
#include "platform/tools/sql_literal.h"
#include "sql/ql_query_constructor.h"

namespace qldb {

namespace {

const QString kCrLf = QStringLiteral("\r\n");

QString Quoted(QString text) {
    return text.replace(QLatin1Char('\''), QStringLiteral("''"));
}

} // namespace

QString qlQueryConstructor::CollateClause(const ql_tField& fld) const {
    if (fld.Collate.isEmpty() || !IsTextType(fld.FieldType))
        return QString();
    return QStringLiteral(" COLLATE ") + fld.Collate;
}

QString qlQueryConstructor::DefaultClause(const ql_tField& fld) const {
    if (fld.DefaultValue.isEmpty())
        return QString();
    const QString bare = FormatDefaultValue(fld.DefaultValue, fld.FieldType);
    return QStringLiteral(" DEFAULT (") + FormatSqlValue(bare, fld.FieldType, m_providerType) +
           QLatin1Char(')');
}

QString qlQueryConstructor::SetCommentOnColumn(const QString& sTable, const QString& sColumn,
                                               const QString& sComment, bool bAlter) const {
    const QString comment = Quoted(sComment);
    if (m_providerType == ql_eProviderType::SQLServer) {
        const QString target = QStringLiteral("'user', dbo, 'table', '") + sTable +
                               QStringLiteral("', 'column', '") + sColumn + '\'';
        QString sql;
        if (bAlter)
            sql = QStringLiteral("EXEC sp_dropextendedproperty 'MS_Description', ") + target + kCrLf;
        return sql + QStringLiteral("EXEC sp_addextendedproperty 'MS_Description', '") + comment +
               QStringLiteral("', ") + target;
    }
    if (m_providerType == ql_eProviderType::SyBase)
        return QStringLiteral("COMMENT ON COLUMN ") + sTable + QLatin1Char('.') + sColumn +
               QStringLiteral(" IS '") + comment + QLatin1Char('\'');
    return QString();
}

QVariant qlQueryConstructor::GetDefaultConstraintName(const QString& sTableName,
                                                      const QString& sColumn) const {
    if (m_providerType != ql_eProviderType::SQLServer)
        return QString();
    const QString table = FormatSqlValue(sTableName, ql_eDataType::TypeChar, m_providerType);
    const QString column = FormatSqlValue(sColumn, ql_eDataType::TypeChar, m_providerType);
    // Lines end with a carriage return alone, as this query has always been written.
    return QString(QStringLiteral("SELECT NAME FROM SYSOBJECTS SO\r") +
                   QStringLiteral("JOIN SYSCONSTRAINTS SC ON SO.ID = SC.CONSTID\r") +
                   QStringLiteral("WHERE OBJECT_NAME(SO.PARENT_OBJ) = ") + table + QStringLiteral(" AND\r") +
                   QStringLiteral("      SO.XTYPE = 'D' AND SC.COLID = (SELECT COLID FROM SYSCOLUMNS\r") +
                   QStringLiteral("                                     WHERE ID = OBJECT_ID(") + table +
                   QStringLiteral(") AND\r") +
                   QStringLiteral("                                           NAME = ") + column +
                   QLatin1Char(')'));
}

QString qlQueryConstructor::AddDefaultValue(const QString& sTableName, const QString& sColumn,
                                            const QString& sDefaultValue) const {
    if (m_providerType != ql_eProviderType::SQLServer)
        return QString();
    return QStringLiteral("ALTER TABLE ") + sTableName + QStringLiteral(" WITH NOCHECK ADD CONSTRAINT [DF_") +
           sTableName + QLatin1Char('_') + sColumn + QStringLiteral("] DEFAULT ") + sDefaultValue +
           QStringLiteral(" FOR [") + sColumn + QLatin1Char(']');
}

QString qlQueryConstructor::DropDefaultValue(const QString& sTableName,
                                             const QString& sConstraintName) const {
    if (m_providerType != ql_eProviderType::SQLServer)
        return QString();
    return QStringLiteral("ALTER TABLE ") + sTableName + QStringLiteral(" DROP CONSTRAINT [") +
           sConstraintName + QLatin1Char(']') + kCrLf;
}

} // namespace qldb
