// qlConnection: name lists and object code read from the server's catalog. Each routine sends the
// statement of catalog_queries and makes its answer of the rows; the catalog is SQL Server's, so
// other providers get an empty answer without a statement unless a routine says otherwise.
#include "connection/catalog_queries.h"
#include "connection/object_checks.h"
#include "connection/ql_connection.h"
#include "connection/record_walk.h"
#include "platform/conversions.h"
#include "platform/error_rule.h"
#include "platform/word_search.h"

namespace qldb {

using record_walk::AddName;
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
    const QString routine = Routine("GetFunctions");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QString result;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteWC(catalog_sql::Functions()); }))
        return result;
    if (!WalkRows(rule, rs, routine,
                  [&](Recordset& r) { AddName(result, ToText(r.Value(QStringLiteral("name")))); }))
        return result;
    return result.toUpper();
}

QString qlConnection::GetProcedures() {
    const QString routine = Routine("GetProcedures");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QString result;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteWC(catalog_sql::Procedures()); }))
        return result;
    if (!WalkRows(rule, rs, routine,
                  [&](Recordset& r) { AddName(result, ToText(r.Value(QStringLiteral("name")))); }))
        return result;
    return result.toUpper();
}

QString qlConnection::GetDatabaseUsers() {
    const QString routine = Routine("GetDatabaseUsers");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QString result;
    // Sybase keeps the same users table as SQL Server.
    if (m_providerType != ql_eProviderType::SQLServer && m_providerType != ql_eProviderType::SyBase)
        return result;
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteWC(catalog_sql::DatabaseUsers()); }))
        return result;
    WalkRows(rule, rs, routine,
             [&](Recordset& r) { AddName(result, ToText(r.Value(QStringLiteral("name")))); });
    return result;
}

QString qlConnection::GetPrimaryIndexName(const QString& sTableName) {
    const QString routine = Routine("GetPrimaryIndexName");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QString result;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteWC(catalog_sql::PrimaryIndexName(m_providerType, sTableName)); }))
        return result;
    rule.run([&] {
        Recordset& set = Opened(rs, routine);
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
    bool hasRowset = false;
    if (!rule.run([&] { hasRowset = Opened(rs, routine).State() == ado::adStateOpen; }))
        return result;
    if (!hasRowset)
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
    bool hasRowset = false;
    if (!rule.run([&] { hasRowset = Opened(rs, routine).State() == ado::adStateOpen; }))
        return result;
    if (!hasRowset)
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
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteWC(catalog_sql::ForeignKeys(id)); }))
        return result;
    if (!WalkRows(rule, rs, routine,
                  [&](Recordset& r) { AddName(result, ToText(r.Value(QStringLiteral("name")))); }))
        return result;
    return result.toUpper();
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
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteWC(catalog_sql::References(id)); }))
        return result;
    if (!WalkRows(rule, rs, routine, [&](Recordset& r) {
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
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteWC(sql); }))
        return result;
    if (!WalkRows(rule, rs, routine, [&](Recordset& r) {
            const QString name = ToText(r.Value(field));
            if (sOnlyPrefixTable.isEmpty() || name.left(sOnlyPrefixTable.size()) == sOnlyPrefixTable)
                AddName(result, name);
        }))
        return result;
    return result.toUpper();
}

QString qlConnection::GetTriggerCode(const QString& sTriggerName) {
    const QString routine = Routine("GetTriggerCode");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QString result;
    if (m_providerType != ql_eProviderType::SQLServer && m_providerType != ql_eProviderType::SyBase)
        return result;
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteWC(catalog_sql::HelpText(m_providerType, sTriggerName)); }))
        return result;
    WalkRows(rule, rs, routine, [&](Recordset& r) { result += ToText(r.Value(QStringLiteral("text"))); });
    return result;
}

QString qlConnection::GetFunctionCode(const QString& sFunctionName) {
    const QString routine = Routine("GetFunctionCode");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QString result;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteWC(catalog_sql::HelpText(m_providerType, sFunctionName)); }))
        return result;
    WalkRows(rule, rs, routine, [&](Recordset& r) { result += ToText(r.Value(QStringLiteral("Text"))); });
    return result;
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
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteWC(catalog_sql::IndexCode(sTableName, sIndexName)); }))
        return result;
    rule.run([&] {
        Recordset& set = Opened(rs, routine);
        if (!set.IsEOF())
            result = ToText(set.Value(QStringLiteral("script")));
    });
    return result;
}

} // namespace qldb
