// The enumerations of qlMsSqlSystem, which need no Initialize: the tables of a database and the
// databases that this system manages, read from the server's own catalog over a login of their
// own, and the instances that the network's browser services announce.
#include "connection/ql_connection.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"
#include "server/ql_mssql_system.h"
#include "server/server_browser.h"

#include <QScopeGuard>

namespace qldb {

namespace {

const QString kModule = QStringLiteral("qlMsSqlSystem");

// Databases the login may enter: an offline or forbidden one would fail the walk of its tables.
const QString kDatabasesQuery =
    QStringLiteral("SELECT name FROM sys.databases WHERE HAS_DBACCESS(name) = 1 ORDER BY name");

QString QuotedName(const QString& sName) {
    QString escaped = sName;
    escaped.replace(QLatin1Char(']'), QStringLiteral("]]"));
    return QLatin1Char('[') + escaped + QLatin1Char(']');
}

// User tables and the system's own base tables: the table list has always included both.
QString TablesQuery(const QString& sDatabase) {
    return QStringLiteral("SELECT name FROM ") + QuotedName(sDatabase) +
           QStringLiteral(".sys.objects WHERE type IN ('U', 'S') ORDER BY name");
}

QStringList Names(IDbConnection& connection, const QString& sQuery) {
    QStringList names;
    auto rs =
        connection.OpenRecordset(sQuery, ado::adOpenStatic, ado::adLockReadOnly, ado::adOptionUnspecified);
    if (!rs || rs->State() != ado::adStateOpen)
        return names;
    for (; !rs->IsEOF(); rs->MoveNext())
        names << ToText(rs->Value(0));
    rs->Close();
    return names;
}

// The login of an enumeration is the routine's own: it is closed on every way out, and a failure
// to close changes nothing of what the routine found.
auto CloseOnExit(qlConnection& cn, IErrorService* errors, const QString& sRoutine) {
    return qScopeGuard([&cn, errors, sRoutine] {
        ErrorRule(ErrorKind::Clear, errors, kModule, sRoutine).run([&] { cn.CloseConnection(); });
    });
}

} // namespace

std::unique_ptr<qlConnection> qlMsSqlSystem::Login(const QString& sServerName, const QString& sUserName,
                                                   const QString& sPsw) {
    auto cn = std::make_unique<qlConnection>();
    cn->setErrors(m_errors);
    cn->setADODBConnection(NewDataConnection());
    cn->setProviderType(ql_eProviderType::SQLServer);
    cn->setServer(sServerName);
    cn->setDatabaseName(QStringLiteral("master"));
    cn->setUser(sUserName);
    cn->setPassword(sPsw);
    cn->OpenConnection();
    return cn;
}

QStringList qlMsSqlSystem::GetTables(const QString& sServerName, const QString& sUserName,
                                     const QString& sPsw, const QString& sDatabaseName) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("GetTables"));
    QStringList result;
    std::unique_ptr<qlConnection> cn;
    if (!rule.run([&] { cn = Login(sServerName, sUserName, sPsw); }) || !cn)
        return result;
    const auto closeLogin = CloseOnExit(*cn, m_errors.get(), QStringLiteral("GetTables"));
    QStringList databases;
    if (!rule.run([&] { databases = Names(*cn->ADODBConnection(), kDatabasesQuery); }))
        return result;
    for (const QString& database : databases) {
        if (database.toUpper() != sDatabaseName.toUpper())
            continue;
        rule.run([&] { result = Names(*cn->ADODBConnection(), TablesQuery(database)); });
        break;
    }
    return result;
}

QStringList qlMsSqlSystem::GetMirandoDb(const QString& sServerName, const QString& sUserName,
                                        const QString& sPsw, bool* bServerNotExist) {
    QStringList result;
    // A server that does not answer is an expected outcome here, told through bServerNotExist.
    ErrorRule login(ErrorKind::Clear, m_errors.get(), kModule, QStringLiteral("GetMirandoDb"));
    std::unique_ptr<qlConnection> cn;
    if (!login.run([&] { cn = Login(sServerName, sUserName, sPsw); }) || !cn) {
        if (bServerNotExist != nullptr)
            *bServerNotExist = true;
        return result;
    }
    const auto closeLogin = CloseOnExit(*cn, m_errors.get(), QStringLiteral("GetMirandoDb"));
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("GetMirandoDb"));
    QStringList databases;
    if (rule.run([&] { databases = Names(*cn->ADODBConnection(), kDatabasesQuery); })) {
        for (const QString& database : databases) {
            QStringList tables;
            if (!rule.run([&] { tables = Names(*cn->ADODBConnection(), TablesQuery(database)); }))
                return result;
            // Every table of that name counts, as the walk of the tables has always counted them.
            for (const QString& table : tables)
                if (table == QLatin1String("SYS_DBS"))
                    result << database;
        }
    }
    return result;
}

QStringList qlMsSqlSystem::GetSqlServers() {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("GetSqlServers"));
    QStringList result;
    rule.run([&] { result = QuerySqlBrowsers(SqlBrowserTargetsSetting(), SqlBrowserTimeoutSetting()); });
    return result;
}

} // namespace qldb
