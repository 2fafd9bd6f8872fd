// The frame of qlMsSqlSystem: its private MSDB connection (made, opened, closed), the texts that
// SQL Server Agent expects for three enumerations, and qlConnection::MsSqlSystem.
#include "connection/ql_connection.h"
#include "platform/errors/error_rule.h"
#include "server/ql_mssql_system.h"

namespace qldb {

namespace {
const QString kModule = QStringLiteral("qlMsSqlSystem");
}

// Declared in ql_connection.h; defined here so that the connection layer needs no server header.
std::unique_ptr<qlMsSqlSystem> qlConnection::MsSqlSystem() {
    auto system = std::make_unique<qlMsSqlSystem>();
    system->setErrors(m_errors);
    return system;
}

qlMsSqlSystem::qlMsSqlSystem() = default;
qlMsSqlSystem::~qlMsSqlSystem() = default;

std::shared_ptr<IDbConnection> qlMsSqlSystem::NewDataConnection() const {
    return m_connectionFactory ? m_connectionFactory() : CreateOdbcConnection();
}

void qlMsSqlSystem::CreateMsdbConnection(qlConnection* objConnection) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("CreateMsdbConnection"));
    auto cn = std::make_unique<qlConnection>();
    cn->setErrors(m_errors);
    cn->setADODBConnection(NewDataConnection());
    const bool copied = rule.run([&] {
        if (objConnection == nullptr)
            ThrowObjectNotSet(kModule + QStringLiteral(".CreateMsdbConnection"));
        // The order is the one hosts have always seen: settings first, then the database, then the
        // credentials.
        cn->setHostServices(objConnection->HostServices());
        cn->setMirandoProduct(objConnection->MirandoProduct());
        cn->setProductName(objConnection->ProductName());
        cn->setProviderType(objConnection->ProviderType());
        cn->setServer(objConnection->Server());
        cn->setDatabaseName(QStringLiteral("MSDB"));
        cn->setNetworkCredential(objConnection->NetworkCredential());
        cn->setBulkCopyVersion(objConnection->BulkCopyVersion());
        cn->setBulkCopyMode(objConnection->BulkCopyMode());
        cn->setUser(objConnection->User());
        cn->setPassword(objConnection->Password());
    });
    if (copied)
        m_msdb = std::move(cn);
}

bool qlMsSqlSystem::Initialize(qlConnection* objConnection) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("Initialize"));
    bool result = false;
    m_msdb.reset();
    CreateMsdbConnection(objConnection);
    if (!m_msdb)
        return result;
    rule.run([&] {
        m_msdb->OpenConnection();
        result = true;
    });
    return result;
}

// Without a connection there is nothing to close: a wizard step that never got one must still be
// able to end the object without an error report.
void qlMsSqlSystem::Terminate() {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("Terminate"));
    if (!m_msdb)
        return;
    rule.run([&] { m_msdb->CloseConnection(); });
    m_msdb.reset();
}

void qlMsSqlSystem::Finalize() {
    m_errors.reset();
    if (!m_msdb)
        return;
    // Errors is gone by now: a failure here goes through the rule's missing-service path.
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("Finalize"));
    rule.run([&] { m_msdb->Finalize(); });
    m_msdb.reset();
}

QString qlMsSqlSystem::GetCategory(ql_eMsSqlCategoryValues eCategory) {
    static const char* const kTexts[] = {"Database Maintenance",
                                         "Full-Text",
                                         "Jobs from MSX",
                                         "REPL-Alert Response",
                                         "REPL-Checkup",
                                         "REPL-Distribution",
                                         "REPL-Distribution Cleanup",
                                         "REPL-History Cleanup",
                                         "REPL-LogReader",
                                         "REPL-Merge",
                                         "REPL-QueueReader",
                                         "REPL-Snapshot",
                                         "REPL-Subscription Cleanup",
                                         "Web Assistant"};
    const auto i = static_cast<int32_t>(eCategory);
    return i >= 1 && i <= 14 ? QString::fromLatin1(kTexts[i - 1]) : QString();
}

QString qlMsSqlSystem::GetOptValueString(ql_eMsSqlOptValue iValue) {
    static const char* const kTexts[] = {"true", "false", "on", "off"};
    const auto i = static_cast<int32_t>(iValue);
    return i >= 1 && i <= 4 ? QString::fromLatin1(kTexts[i - 1]) : QString();
}

QString qlMsSqlSystem::GetSubsystem(ql_eMsSqlSubSystemValues eSubSystem) {
    static const char* const kTexts[] = {"ACTIVESCRIPTING", "CMDEXEC", "DISTRIBUTION", "SNAPSHOT",
                                         "LOGREADER",       "MERGE",   "TSQL"};
    const auto i = static_cast<int32_t>(eSubSystem);
    return i >= 1 && i <= 7 ? QString::fromLatin1(kTexts[i - 1]) : QString();
}

} // namespace qldb
