#include "connection/catalog_queries.h"

#include "platform/tools/sql_literal.h"

#include <QStringList>

namespace qldb::catalog_sql {

namespace {

const QString CR = QStringLiteral("\r");

QString Q(ql_eProviderType provider, const QString& sText) {
    return FormatSqlValue(sText, ql_eDataType::TypeChar, provider);
}

} // namespace

QString TableKeys(ql_eProviderType provider, const QString& sTable) {
    return QStringLiteral("sp_pkeys ") + Q(provider, sTable);
}

QString PrimaryIndexName(ql_eProviderType provider, const QString& sTable) {
    return QStringLiteral("sp_pkeys @table_name = ") + Q(provider, sTable);
}

QString Functions() {
    return QStringLiteral("SELECT name FROM sysobjects") + CR +
           QStringLiteral("WHERE type IN ('FN', 'TF', 'IF')") + CR + QStringLiteral("ORDER BY name");
}

QString Procedures() {
    return QStringLiteral("SELECT name FROM sysobjects") + CR +
           QStringLiteral(
               "WHERE type = 'P' AND NAME NOT LIKE 'DT_%' AND NAME NOT LIKE 'SP_%' AND NAME NOT LIKE "
               "'LIST%'") +
           CR + QStringLiteral("ORDER BY name");
}

QString DatabaseUsers() {
    return QStringLiteral("SELECT name FROM sysusers") + CR + QStringLiteral("WHERE hasdbaccess = 1");
}

QString HelpIndex(ql_eProviderType provider, const QString& sTable) {
    return QStringLiteral("EXEC sp_helpindex ") + Q(provider, sTable);
}

QString ForeignKeys(int32_t lTableId) {
    return QStringLiteral("SELECT name FROM sysobjects") + CR + QStringLiteral("WHERE parent_obj = ") +
           QString::number(lTableId) + QStringLiteral(" AND") + CR + QStringLiteral("      type = 'F'");
}

QString References(int32_t lTableId) {
    return QStringLiteral("SELECT fkeyid FROM sysreferences") + CR + QStringLiteral("WHERE rkeyid = ") +
           QString::number(lTableId);
}

QString Triggers(int32_t lTableId) {
    QString sql = QStringLiteral("SELECT name FROM sysobjects") + CR + QStringLiteral("WHERE type = 'TR'");
    if (lTableId > 0)
        sql +=
            QStringLiteral(" AND") + CR + QStringLiteral("      parent_obj = ") + QString::number(lTableId);
    return sql;
}

QString SybaseTriggers(ql_eProviderType provider, const QString& sTable) {
    return QStringLiteral("SELECT * FROM systriggers") + CR + QStringLiteral("WHERE tname = ") +
           Q(provider, sTable);
}

QString HelpText(ql_eProviderType provider, const QString& sObject) {
    return QStringLiteral("EXEC sp_helptext ") + Q(provider, sObject);
}

QString ObjectId(ql_eProviderType provider, const QString& sName) {
    return QStringLiteral("SELECT OBJECT_ID (") + Q(provider, sName) + QStringLiteral(")");
}

QString IdentityProperty(ql_eProviderType provider, const QString& sTable, const QString& sField) {
    return QStringLiteral("SELECT COLUMNPROPERTY(OBJECT_ID(") + Q(provider, sTable) + QStringLiteral("), ") +
           Q(provider, sField) + QStringLiteral(", 'IsIdentity') ");
}

QString ColumnCount(ql_eProviderType provider, const QString& sTable, const QString& sSchema,
                    const QString& sField) {
    return QStringLiteral("SELECT COUNT(COLUMN_NAME)") + CR +
           QStringLiteral("FROM INFORMATION_SCHEMA.COLUMNS") + CR + QStringLiteral("WHERE TABLE_NAME = ") +
           Q(provider, sTable) + CR + QStringLiteral("AND TABLE_SCHEMA = ") + Q(provider, sSchema) + CR +
           QStringLiteral("AND COLUMN_NAME = ") + Q(provider, sField) + CR;
}

QString TableExists(ql_eProviderType provider, const QString& sTable) {
    return QStringLiteral("IF EXISTS (SELECT 1") + CR + QStringLiteral("FROM INFORMATION_SCHEMA.Tables") +
           CR + QStringLiteral("WHERE     TABLE_TYPE = 'BASE TABLE' AND TABLE_NAME = ") +
           Q(provider, sTable) + QStringLiteral(")") + CR + QStringLiteral("    SELECT 1 ELSE") + CR +
           QStringLiteral("SELECT 0");
}

QString ColumnDescription(const QString& sTable, const QString& sColumn) {
    return QStringLiteral("SELECT * FROM ::fn_listextendedproperty") + CR +
           QStringLiteral("(NULL, 'user', 'dbo', 'table', '") + sTable + QStringLiteral("', 'column', '") +
           sColumn + QStringLiteral("')");
}

QString ColumnAttribute(ql_eProviderType provider, const QString& sAttributeColumn, const QString& sDatabase,
                        const QString& sTable, const QString& sColumn) {
    return QStringLiteral("SELECT ") + sAttributeColumn + QStringLiteral(" FROM INFORMATION_SCHEMA.COLUMNS") +
           CR + QStringLiteral("WHERE TABLE_CATALOG = ") + Q(provider, sDatabase) + QStringLiteral(" AND") +
           CR + QStringLiteral("      TABLE_SCHEMA = 'dbo' AND") + CR +
           QStringLiteral("      TABLE_NAME = ") + Q(provider, sTable) + QStringLiteral(" AND") + CR +
           QStringLiteral("      COLUMN_NAME = ") + Q(provider, sColumn);
}

QString FirmTableProbe(const QString& sPrefixFirm) {
    return QStringLiteral("SELECT RECORD_ID FROM ") + sPrefixFirm +
           QStringLiteral("_IMA_GES WHERE RECORD_ID = 0");
}

QString ViewsFrom(ql_eProviderType provider, const QString& slistViews, const QString& sDelimiter) {
    // System views of old servers carry these prefixes; they are never the application's.
    const QString filter =
        QStringLiteral("type = 'V' AND name NOT LIKE 'sysco%' AND name NOT LIKE 'sysseg%'");
    if (slistViews.isEmpty())
        return QStringLiteral("From sysobjects") + CR + QStringLiteral("WHERE ") + filter;
    QStringList quoted;
    for (const QString& name : slistViews.split(sDelimiter))
        quoted << Q(provider, name);
    return QStringLiteral("From sysobjects") + CR + QStringLiteral("WHERE name IN ( ") +
           quoted.join(QLatin1Char(',')) + QStringLiteral(") AND ") + CR + filter;
}

QString Views(const QString& sFrom) {
    return QStringLiteral("SELECT name, id") + CR + sFrom;
}

QString ViewDependencies(const QString& sFrom) {
    const QString indent(28, QLatin1Char(' '));
    return QStringLiteral("SELECT DISTINCT sysdepends.id, sysdepends.depid") + CR +
           QStringLiteral("FROM sysdepends LEFT OUTER JOIN") + CR +
           QStringLiteral("     sysobjects ON sysobjects.id = sysdepends.id") + CR +
           QStringLiteral("WHERE sysdepends.depid IN (") + CR + indent + QStringLiteral("SELECT id") + CR +
           indent + sFrom + QStringLiteral(")");
}

// The key list joins only key columns (is_included_column = 0) and the INCLUDE list only the
// included ones (= 1), so a covering index comes back with both parts in their places.
QString IndexCode(const QString& sTable, const QString& sIndex) {
    const QStringList lines = {
        QStringLiteral("SELECT"),
        QStringLiteral(" 'CREATE ' +"),
        QStringLiteral(" CASE WHEN indexes.is_unique = 1 THEN ' UNIQUE ' ELSE '' END  +"),
        QStringLiteral(" indexes.type_desc COLLATE DATABASE_DEFAULT +' INDEX ' +  indexes.name  + ' ON '  +"),
        QStringLiteral(" SCHEMA_NAME(tables.schema_id) + '.' + tables.name + ' (' + kc.KeyColumns + ') ' +"),
        QStringLiteral(" ISNULL(' INCLUDE (' + ic.IncludedColumns + ') ', '') script"),
        QStringLiteral("FROM sys.indexes indexes"),
        QStringLiteral("INNER JOIN sys.tables tables ON tables.object_id = indexes.object_id"),
        QStringLiteral("INNER JOIN ("),
        QStringLiteral(" SELECT object_id, index_id, KeyColumns"),
        QStringLiteral(" FROM ("),
        QStringLiteral("   SELECT"),
        QStringLiteral("     index_columns.object_id , index_columns.index_id,"),
        QStringLiteral("     STUFF(("),
        QStringLiteral(
            "       SELECT ', ' + col.name + CASE WHEN MAX(CONVERT(INT, ic.is_descending_key)) = 1 THEN "
            "' DESC' ELSE ' ASC' END"),
        QStringLiteral("       FROM sys.index_columns ic"),
        QStringLiteral(
            "       INNER JOIN Sys.columns col ON col.object_id = ic.object_id AND col.column_id = "
            "ic.column_id AND ic.is_included_column = 0"),
        QStringLiteral(
            "       WHERE ic.object_id = index_columns.object_id AND ic.index_id = index_columns.index_id"),
        QStringLiteral("       GROUP BY ic.object_id, col.name, ic.index_id"),
        QStringLiteral("       ORDER BY MAX(ic.key_ordinal)"),
        QStringLiteral("       FOR XML PATH('')), 1, 2, '') KeyColumns"),
        QStringLiteral("   FROM sys.index_columns index_columns"),
        QStringLiteral("     WHERE index_columns.object_id = object_id('") + sTable + QStringLiteral("')"),
        QStringLiteral("   GROUP BY index_columns.object_id ,index_columns.index_id) t"),
        QStringLiteral(") kc ON indexes.object_id = kc.object_id AND indexes.index_id = kc.index_id"),
        QStringLiteral("LEFT JOIN ("),
        QStringLiteral(" SELECT *"),
        QStringLiteral(" FROM ("),
        QStringLiteral("     SELECT index_columns.object_id, index_columns.index_id,"),
        QStringLiteral("     STUFF(("),
        QStringLiteral("       SELECT ', ' + C.name"),
        QStringLiteral("       FROM sys.index_columns IC1"),
        QStringLiteral("       INNER JOIN Sys.columns C ON C.object_id = IC1.object_id AND C.column_id = "
                       "IC1.column_id AND IC1.is_included_column = 1"),
        QStringLiteral("       WHERE IC1.object_id = index_columns.object_id AND IC1.index_id = "
                       "index_columns.index_id"),
        QStringLiteral("       GROUP BY IC1.object_id,C.name,index_id"),
        QStringLiteral("       FOR XML PATH('')), 1, 2, '') IncludedColumns"),
        QStringLiteral("   FROM sys.index_columns index_columns"),
        QStringLiteral("   WHERE index_columns.object_id = object_id('") + sTable + QStringLiteral("')"),
        QStringLiteral("   GROUP BY index_columns.object_id, index_columns.index_id) t"),
        QStringLiteral("   WHERE IncludedColumns IS NOT NULL"),
        QStringLiteral(") ic ON ic.object_id = indexes.object_id AND ic.index_id = indexes.index_id"),
        QStringLiteral("WHERE indexes.is_primary_key = 0 AND indexes.is_unique_constraint = 0"),
        QStringLiteral("AND indexes.object_id = object_id('") + sTable + QStringLiteral("')"),
        QStringLiteral("AND indexes.name = '") + sIndex + QStringLiteral("'"),
    };
    return lines.join(CR);
}

} // namespace qldb::catalog_sql
