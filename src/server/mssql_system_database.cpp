// Statements of qlMsSqlSystem that are plain T-SQL on the MSDB connection: single-user switching,
// the file list of a backup, and the state of the instance's Agent service.
#include "connection/ql_connection.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"
#include "server/ql_mssql_system.h"

namespace qldb {

namespace {

const QString kModule = QStringLiteral("qlMsSqlSystem");

qlConnection& Require(const std::unique_ptr<qlConnection>& cn, const QString& sRoutine) {
    if (!cn)
        ThrowObjectNotSet(kModule + QLatin1Char('.') + sRoutine);
    return *cn;
}

} // namespace

bool qlMsSqlSystem::DisconnectUser(const QString& sDatabaseName) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("DisconnectUser"));
    bool result = false;
    if (!m_msdb)
        return result;
    // The name goes in as it stands: callers pass names that need no brackets.
    rule.run([&] {
        m_msdb->Execute(QStringLiteral("ALTER DATABASE ") + sDatabaseName +
                        QStringLiteral(" SET SINGLE_USER WITH ROLLBACK IMMEDIATE"));
        result = true;
    });
    return result;
}

bool qlMsSqlSystem::ConnectUser(const QString& sDatabaseName) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("ConnectUser"));
    bool result = false;
    if (!m_msdb)
        return result;
    rule.run([&] {
        m_msdb->Execute(QStringLiteral("ALTER DATABASE ") + sDatabaseName +
                        QStringLiteral(" SET MULTI_USER"));
        result = true;
    });
    return result;
}

std::shared_ptr<Recordset> qlMsSqlSystem::RestoreFileListOnly(const QString& sFileBakPath) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("RestoreFileListOnly"));
    std::shared_ptr<Recordset> rs;
    if (!m_msdb)
        return rs;
    rule.run([&] {
        rs = m_msdb->ExecuteWC(QStringLiteral("RESTORE FILELISTONLY FROM DISK = '") + sFileBakPath +
                                   QStringLiteral("'"),
                               ado::adLockReadOnly, nullptr, nullptr, false);
    });
    return rs;
}

bool qlMsSqlSystem::CheckAgentRunning() {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("CheckAgentRunning"));
    // The service name comes from the instance: SQLAgent$NAME for a named one, SQLServerAgent for
    // the default. The lines are joined by a bare carriage return, as the server has always got them.
    const QString script = QStringLiteral("DECLARE @agent NVARCHAR(512);\r"
                                          "SELECT @agent = COALESCE(N'SQLAgent$' + CONVERT(SYSNAME, "
                                          "SERVERPROPERTY('InstanceName')),N'SQLServerAgent');\r"
                                          "EXEC master.dbo.xp_servicecontrol 'QueryState', @agent;");
    bool result = false;
    rule.run([&] {
        auto rs = Require(m_msdb, QStringLiteral("CheckAgentRunning"))
                      .ExecuteWC(script, ado::adLockReadOnly, nullptr, nullptr, false);
        if (!rs)
            ThrowObjectNotSet(kModule + QStringLiteral(".CheckAgentRunning"));
        // The full stop belongs to the state text.
        result = ToText(rs->Value(0)) == QLatin1String("Running.");
    });
    return result;
}

} // namespace qldb
