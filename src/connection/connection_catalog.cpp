// qlConnection: name lists and object code read from the server's catalog. Each routine sends the
// statement of catalog_queries and makes its answer of the rows; the catalog is SQL Server's, so
// other providers get an empty answer without a statement unless a routine says otherwise.
#include "connection/catalog_queries.h"
#include "connection/object_checks.h"
#include "connection/ql_connection.h"
#include "connection/record_walk.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"
#include "platform/tools/word_search.h"

namespace qldb {

using record_walk::AddName;
using record_walk::HasRowset;
using record_walk::kClass;
using record_walk::Opened;
using record_walk::WalkRows;

namespace {

QString Routine(const char* name) {
    return QString::fromLatin1(name);
}

} // namespace

int32_t qlConnection::GetObjectId(const QString& sName) {
    const auto rs = ExecuteWC(catalog_sql::ObjectId(m_providerType, sName));
    Recordset& set = Opened(rs, QStringLiteral("GetObjectId"));
    if (set.IsEOF())
        return 0;
    return ToLong(set.Value(0));
}

bool qlConnection::ReadQuery(ErrorRule& rule, const QString& sRoutine, const QString& sSQL,
                             const std::function<void(Recordset&)>& fnRead) {
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteWC(sSQL); }))
        return false;
    return rule.run([&] { fnRead(Opened(rs, sRoutine)); });
}

bool qlConnection::WalkQuery(ErrorRule& rule, const QString& sRoutine, const QString& sSQL,
                             const std::function<void(Recordset&)>& fnRow) {
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteWC(sSQL); }))
        return false;
    return WalkRows(rule, rs, sRoutine, fnRow);
}

QString qlConnection::FieldList(const QString& sRoutine, const QString& sSQL, const QString& sField,
                                bool bUpper, const QString& sSeparator) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, sRoutine);
    QString result;
    if (!WalkQuery(rule, sRoutine, sSQL,
                   [&](Recordset& r) { AddName(result, ToText(r.Value(sField)), sSeparator); }))
        return result;
    return bUpper ? result.toUpper() : result;
}

QString qlConnection::GetTableKeys(const QString& sTableName) {
    // No rule of its own: a failure belongs to the caller.
    QString result;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    const auto rs = ExecuteWC(catalog_sql::TableKeys(m_providerType, sTableName));
    Recordset& set = Opened(rs, Routine("GetTableKeys"));
    for (; !set.IsEOF(); set.MoveNext())
        AddName(result, ToText(set.Value(QStringLiteral("COLUMN_NAME"))));
    return result;
}

QString qlConnection::GetFunctions() {
    if (m_providerType != ql_eProviderType::SQLServer)
        return QString();
    return FieldList(Routine("GetFunctions"), catalog_sql::Functions(), QStringLiteral("name"), true);
}

QString qlConnection::GetProcedures() {
    if (m_providerType != ql_eProviderType::SQLServer)
        return QString();
    return FieldList(Routine("GetProcedures"), catalog_sql::Procedures(), QStringLiteral("name"), true);
}

QString qlConnection::GetDatabaseUsers() {
    // Sybase keeps the same users table as SQL Server.
    if (m_providerType != ql_eProviderType::SQLServer && m_providerType != ql_eProviderType::SyBase)
        return QString();
    return FieldList(Routine("GetDatabaseUsers"), catalog_sql::DatabaseUsers(), QStringLiteral("name"),
                     false);
}

QString qlConnection::GetPrimaryIndexName(const QString& sTableName) {
    const QString routine = Routine("GetPrimaryIndexName");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QString result;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    ReadQuery(rule, routine, catalog_sql::PrimaryIndexName(m_providerType, sTableName), [&](Recordset& set) {
        if (!set.IsEOF())
            result = ToText(set.Value(QStringLiteral("PK_NAME"))).toUpper();
    });
    return result;
}

QString qlConnection::GetIndexes(const QString& sTableName) {
    const QString routine = Routine("GetIndexes");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QString result;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteWC(catalog_sql::HelpIndex(m_providerType, sTableName)); }))
        return result;
    // A table without indexes answers with a message and no rowset at all.
    if (!HasRowset(rule, rs, routine))
        return result;
    const QString primary = GetPrimaryIndexName(sTableName);
    if (!WalkRows(rule, rs, routine, [&](Recordset& r) {
            const QString name = ToText(r.Value(QStringLiteral("index_name")));
            if (name.toUpper() != primary)
                AddName(result, name);
        }))
        return result;
    return result.toUpper();
}

QString qlConnection::GetIndexesUseColumn(const QString& sTableName, const QString& sColumn) {
    const QString routine = Routine("GetIndexesUseColumn");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QString result;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    std::shared_ptr<Recordset> rs;
    // Straight to the connection: no read-uncommitted prefix, no statement handler.
    if (!rule.run([&] {
            rs = RequireConnection(m_connection, kClass + QStringLiteral(".GetIndexesUseColumn"))
                     .Execute(catalog_sql::HelpIndex(m_providerType, sTableName), ado::adOptionUnspecified);
        }))
        return result;
    if (!HasRowset(rule, rs, routine))
        return result;
    const QString column = sColumn.toUpper();
    WalkRows(rule, rs, routine, [&](Recordset& r) {
        if (ContainsWord(ToText(r.Value(QStringLiteral("index_keys"))).toUpper(), column))
            AddName(result, ToText(r.Value(QStringLiteral("index_name"))));
    });
    return result;
}

QString qlConnection::GetForeignKeys(const QString& sTableName) {
    const QString routine = Routine("GetForeignKeys");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QString result;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    int32_t id = 0;
    if (!rule.run([&] { id = GetObjectId(sTableName); }))
        return result;
    if (id <= 0)
        return result;
    return FieldList(routine, catalog_sql::ForeignKeys(id), QStringLiteral("name"), true);
}

QString qlConnection::GetReferences(const QString& sTableName) {
    const QString routine = Routine("GetReferences");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QString result;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    int32_t id = 0;
    if (!rule.run([&] { id = GetObjectId(sTableName); }))
        return result;
    if (id <= 0)
        return result;
    if (!WalkQuery(rule, routine, catalog_sql::References(id), [&](Recordset& r) {
            const QVariant name =
                GetDbValue(QStringLiteral("sysobjects"), QStringLiteral("id"),
                           r.Value(QStringLiteral("fkeyid")), ql_eDataType::TypeLong, QStringLiteral("name"));
            AddName(result, ToText(name));
        }))
        return result;
    return result.toUpper();
}

QString qlConnection::GetTriggers(const QString& sTableName, const QString& sOnlyPrefixTable) {
    const QString routine = Routine("GetTriggers");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QString result;
    QString sql;
    QString field;
    if (m_providerType == ql_eProviderType::SQLServer) {
        int32_t id = 0;
        if (!sTableName.isEmpty() && !rule.run([&] { id = GetObjectId(sTableName); }))
            return result;
        // An unknown table gives id 0 and so the triggers of every table.
        sql = catalog_sql::Triggers(id);
        field = QStringLiteral("name");
    } else if (m_providerType == ql_eProviderType::SyBase) {
        sql = catalog_sql::SybaseTriggers(m_providerType, sTableName);
        field = QStringLiteral("trigname");
    } else {
        return result;
    }
    if (!WalkQuery(rule, routine, sql, [&](Recordset& r) {
            const QString name = ToText(r.Value(field));
            if (sOnlyPrefixTable.isEmpty() || name.left(sOnlyPrefixTable.size()) == sOnlyPrefixTable)
                AddName(result, name);
        }))
        return result;
    return result.toUpper();
}

QString qlConnection::GetTriggerCode(const QString& sTriggerName) {
    if (m_providerType != ql_eProviderType::SQLServer && m_providerType != ql_eProviderType::SyBase)
        return QString();
    // The code comes in pieces, one a row, joined as they are.
    return FieldList(Routine("GetTriggerCode"), catalog_sql::HelpText(m_providerType, sTriggerName),
                     QStringLiteral("text"), false, QString());
}

QString qlConnection::GetFunctionCode(const QString& sFunctionName) {
    if (m_providerType != ql_eProviderType::SQLServer)
        return QString();
    return FieldList(Routine("GetFunctionCode"), catalog_sql::HelpText(m_providerType, sFunctionName),
                     QStringLiteral("Text"), false, QString());
}

QString qlConnection::GetProcedureCode(const QString& sProcedureName) {
    // No rule of its own: a failure belongs to the caller.
    QString result;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    const auto rs = ExecuteWC(catalog_sql::HelpText(m_providerType, sProcedureName));
    Recordset& set = Opened(rs, Routine("GetProcedureCode"));
    for (; !set.IsEOF(); set.MoveNext())
        result += ToText(set.Value(QStringLiteral("Text")));
    return result;
}

QString qlConnection::GetIndexCode(const QString& sTableName, const QString& sIndexName) {
    const QString routine = Routine("GetIndexCode");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QString result;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    BusyPointer busy(*m_host);
    rule.setBeforeDecision([&] { busy.restore(); });
    ReadQuery(rule, routine, catalog_sql::IndexCode(sTableName, sIndexName), [&](Recordset& set) {
        if (!set.IsEOF())
            result = ToText(set.Value(QStringLiteral("script")));
    });
    return result;
}

} // namespace qldb
