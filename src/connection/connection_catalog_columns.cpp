// qlConnection: what the catalog says of one column or one table, and whether a firm's tables
// exist.
#include "connection/catalog_queries.h"
#include "connection/object_checks.h"
#include "connection/ql_connection.h"
#include "connection/record_walk.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"

namespace qldb {

using record_walk::kClass;
using record_walk::Opened;

namespace {

QString AttributeColumn(ql_eColumnAttribute iColumnAttribute) {
    switch (iColumnAttribute) {
    case ql_eColumnAttribute::IsNullable:
        return QStringLiteral("IS_NULLABLE");
    case ql_eColumnAttribute::DefaultValue:
        return QStringLiteral("COLUMN_DEFAULT");
    case ql_eColumnAttribute::ColumnDataType:
        return QStringLiteral("DATA_TYPE");
    case ql_eColumnAttribute::CollationName:
        return QStringLiteral("COLLATION_NAME");
    }
    return QString();
}

// The server stores a default as the parser left it, "((0))" or "(N'x')"; the structure file
// writes "(0)" and "('x')", and table verification compares the two as text.
QString NormalDefault(QString sDefault) {
    sDefault.replace(QStringLiteral("(("), QStringLiteral("("));
    sDefault.replace(QStringLiteral("))"), QStringLiteral(")"));
    sDefault.replace(QStringLiteral("(N'"), QStringLiteral("('"));
    return sDefault;
}

} // namespace

QVariant qlConnection::GetColumnDesciption(const QString& sTableName, const QString& sColumnName) {
    const QString routine = QStringLiteral("GetColumnDesciption");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QVariant result = NullVariant();
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    WalkQuery(rule, routine, catalog_sql::ColumnDescription(sTableName, sColumnName), [&](Recordset& r) {
        if (ToText(r.Value(QStringLiteral("name"))) == QLatin1String("MS_Description"))
            result = ToText(r.Value(QStringLiteral("value")));
    });
    return result;
}

QVariant qlConnection::GetColumnAttribute(const QString& sTableName, const QString& sColumnName,
                                          ql_eColumnAttribute iColumnAttribute) {
    const QString routine = QStringLiteral("GetColumnAttribute");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QVariant result;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    const QString sql = catalog_sql::ColumnAttribute(m_providerType, AttributeColumn(iColumnAttribute),
                                                     m_databaseName, sTableName, sColumnName);
    ReadQuery(rule, routine, sql, [&](Recordset& set) {
        if (set.IsEOF())
            return;
        const QString text = ToText(set.Value(0));
        switch (iColumnAttribute) {
        case ql_eColumnAttribute::IsNullable:
            result = text.left(2).toUpper() != QLatin1String("NO");
            break;
        case ql_eColumnAttribute::DefaultValue:
            result = NormalDefault(text);
            break;
        default:
            result = text;
            break;
        }
    });
    return result;
}

bool qlConnection::IsAutoincrementField(const QString& sTableName, const QString& sFieldName) {
    ErrorRule rule(ErrorKind::Clear, m_errors.get(), kClass, QStringLiteral("IsAutoincrementField"));
    bool result = false;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    rule.run([&] {
        const auto rs = ExecuteWC(catalog_sql::IdentityProperty(m_providerType, sTableName, sFieldName));
        Recordset& set = Opened(rs, QStringLiteral("IsAutoincrementField"));
        const QVariant value = set.Value(0);
        result = !IsNullOrEmpty(value) && ToLong(value) == 1;
    });
    return result;
}

bool qlConnection::ColumnExist(const QString& sTableName, const QString& sFieldName, const QString& sSchema) {
    const QString routine = QStringLiteral("ColumnExist");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    bool result = false;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    ReadQuery(rule, routine, catalog_sql::ColumnCount(m_providerType, sTableName, sSchema, sFieldName),
              [&](Recordset& set) { result = ToLong(set.Value(0)) > 0; });
    return result;
}

bool qlConnection::TableExist(const QString& sTableName) {
    const QString routine = QStringLiteral("TableExist");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    bool result = false;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    ReadQuery(rule, routine, catalog_sql::TableExists(m_providerType, sTableName),
              [&](Recordset& set) { result = ToLong(set.Value(0)) == 1; });
    return result;
}

bool qlConnection::CheckDatabaseTable(const QString& sPrefixFirm) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("CheckDatabaseTable"));
    // A missing table is the answer here, not a failure: the probe runs outside the report.
    return rule.tolerate([&] {
        // The rows are not wanted, only whether the statement ran; the recordset is dropped.
        RequireConnection(m_connection, kClass + QStringLiteral(".CheckDatabaseTable"))
            .Execute(catalog_sql::FirmTableProbe(sPrefixFirm), ado::adOptionUnspecified);
    });
}

} // namespace qldb
