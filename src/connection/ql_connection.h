#pragma once
// qlConnection: the one connection of a host to its database, and every statement that goes
// through it. Its routines are split by concern over the connection_*.cpp files beside this one.
#include "platform/data_type.h"
#include "platform/db_connection.h"
#include "platform/error_service.h"
#include "platform/forms_handler.h"
#include "platform/host_services.h"
#include "platform/provider_type.h"
#include "platform/recordset.h"

#include <QString>
#include <QVariant>
#include <cstdint>
#include <memory>
#include <vector>

namespace qldb {

class qlQueryConstructor;

enum class ql_eNativeClients : int32_t {
    SQLNativeClientOff = 0,
    SQLNativeClient2005 = 1,
    SQLNativeClient2008 = 2,
    SQLNativeClient2012 = 3,
    MSOLEDBSQL = 4
};
enum class ql_eOpenResult : int32_t { ConnectionOpened = 0, ErrorConnection = 1, CancelRequest = 2 };

// A 16-bit boolean that a routine tests against exactly True.
inline constexpr int16_t VB_TRUE = -1;
inline constexpr int16_t VB_FALSE = 0;

class qlConnection {
public:
    // Class start: reads ReadUncommitted from configuration and creates the (unopened) data
    // access connection. A failure here passes through to the creator.
    qlConnection();
    ~qlConnection();
    qlConnection(const qlConnection&) = delete;
    qlConnection& operator=(const qlConnection&) = delete;

    // ---- Object frame ---------------------------------------------------------------------
    std::shared_ptr<IErrorService> Errors() const { return m_errors; }
    void setErrors(std::shared_ptr<IErrorService> errors) { m_errors = std::move(errors); }
    std::shared_ptr<IDbConnection> ADODBConnection() const { return m_connection; }
    void setADODBConnection(std::shared_ptr<IDbConnection> connection) { m_connection = std::move(connection); }
    std::shared_ptr<IHostServices> HostServices() const { return m_host; }
    void setHostServices(std::shared_ptr<IHostServices> host);
    std::shared_ptr<IFormsHandler> FormsHandler() const { return m_formsHandler; }
    void setFormsHandler(std::shared_ptr<IFormsHandler> handler) { m_formsHandler = std::move(handler); }

    QString ProductName() const { return m_productName; }
    void setProductName(const QString& v) { m_productName = v; }
    bool MirandoProduct() const { return m_mirandoProduct; }
    void setMirandoProduct(bool v) { m_mirandoProduct = v; }
    bool CanLog() const { return m_canLog; }
    void setCanLog(bool v) { m_canLog = v; }
    bool Locked() const { return m_locked; }
    void setLocked(bool v) { m_locked = v; }
    bool AutoReconnect() const { return m_autoReconnect; }
    void setAutoReconnect(bool v) { m_autoReconnect = v; }

    // The state of the data access connection, read each time; 0 is closed.
    int32_t State() const;
    std::vector<ErrorRecord> ADODBErrors() const;

    QVariant ShowForm(IForm* fToShow, IForm* fOwner, int16_t ShowType, bool AsRoot = false);
    void Finalize();

    // ---- Settings and connection strings --------------------------------------------------
    QString ProviderName() const { return m_providerName; }
    void setProviderName(const QString& v) { m_providerName = v; }
    ql_eProviderType ProviderType() const { return m_providerType; }
    void setProviderType(ql_eProviderType v) { m_providerType = v; }
    QString Server() const { return m_server; }
    void setServer(const QString& v) { m_server = v; }
    QString DatabaseName() const { return m_databaseName; }
    void setDatabaseName(const QString& v) { m_databaseName = v; }
    QString User() const { return m_user; }
    void setUser(const QString& v) { m_user = v; }
    QString Password() const { return m_password; }
    void setPassword(const QString& v) { m_password = v; }
    bool NetworkCredential() const { return m_networkCredential; }
    void setNetworkCredential(bool v) { m_networkCredential = v; }
    QString ConnectionString() const { return m_connectionString; }
    void setConnectionString(const QString& v) { m_connectionString = v; }
    ql_eNativeClients SqlNativeClient() const { return m_sqlNativeClient; }
    void setSqlNativeClient(ql_eNativeClients v) { m_sqlNativeClient = v; }
    QString ForcedConnectionString() const { return m_forcedConnectionString; }
    void setForcedConnectionString(const QString& v) { m_forcedConnectionString = v; }
    // A stored value below 1 reads (and is stored) as 80.
    int32_t BulkCopyVersion();
    void setBulkCopyVersion(int32_t v) { m_bulkCopyVersion = v; }
    int32_t BulkCopyMode() const { return m_bulkCopyMode; }
    void setBulkCopyMode(int32_t v) { m_bulkCopyMode = v; }
    QString FieldDelimiterStart() const;
    void setFieldDelimiterStart(const QString& v) { m_fieldDelimiterStart = v; }
    QString FieldDelimiterEnd() const;
    void setFieldDelimiterEnd(const QString& v) { m_fieldDelimiterEnd = v; }
    bool ReadUncommitted() const { return m_readUncommitted; }
    void setReadUncommitted(bool v) { m_readUncommitted = v; }
    bool HistoryMode() const { return m_historyMode; }

    QString MakeConnectionString();
    // The collation of the database, read once and cached.
    QString CollectionName();

    // ---- Lifecycle ------------------------------------------------------------------------
    void OpenConnection();
    void CloseConnection();
    void Cancel();

    // ---- Statement execution --------------------------------------------------------------
    void Execute(const QString& sCommandText, bool* bError = nullptr, QString* sErrDescription = nullptr,
                 int32_t* bManageErrors = nullptr);
    std::shared_ptr<Recordset> ExecuteWC(const QString& sCommandText, int32_t iLockType = ado::adLockReadOnly,
                                         bool* bError = nullptr, QString* sErrDescription = nullptr,
                                         bool bManageErrors = false);
    std::shared_ptr<Recordset> ExecuteCommand(const QString& sCommandQuery, bool* bError = nullptr,
                                              QString* sErrDescription = nullptr, bool bManageErrors = false);

    // ---- Transactions ---------------------------------------------------------------------
    int32_t BeginTrans(int16_t UseADOTransaction = VB_TRUE, const QString& TransactionName = QString());
    int32_t CommitTrans(int16_t UseADOTransaction = VB_TRUE, const QString& TransactionName = QString());
    int32_t RollbackTrans(int16_t UseADOTransaction = VB_TRUE, const QString& TransactionName = QString());
    int32_t TransactionCount();

    // ---- Scripts and stored procedures ----------------------------------------------------
    bool ExecuteScript(const QString& sSQL, bool bManageErrors = false, bool* bError = nullptr,
                       QString* sErrDescription = nullptr, int32_t lCommandTimeout = 0);
    std::shared_ptr<Recordset> ExecuteSP(const QString& CommandName, qlQueryConstructor* qryConstructor = nullptr,
                                         bool* bError = nullptr, bool bManageErrors = false);
    QString GetSP(const QString& CommandName, qlQueryConstructor* qryConstructor = nullptr, bool* bError = nullptr);

    // ---- Catalog and record services ------------------------------------------------------
    // (catalog queries, value lookups, attachments, triggers and history are declared below)

private:
    std::shared_ptr<IErrorService> m_errors;
    std::shared_ptr<IDbConnection> m_connection;
    std::shared_ptr<IHostServices> m_host;
    std::shared_ptr<IFormsHandler> m_formsHandler;
    QString m_providerName;
    ql_eProviderType m_providerType = ql_eProviderType::SQLServer;
    QString m_server;
    QString m_databaseName;
    QString m_user;
    QString m_password;
    bool m_networkCredential = false;
    QString m_connectionString;
    ql_eNativeClients m_sqlNativeClient = ql_eNativeClients::SQLNativeClientOff;
    QString m_collationCache;
    QString m_productName;
    bool m_mirandoProduct = false;
    QString m_forcedConnectionString;
    bool m_historyMode = false;
    bool m_historyModePending = false;
    bool m_historyChecked = false;
    bool m_canLog = false;
    int32_t m_bulkCopyVersion = 0;
    int32_t m_bulkCopyMode = 0;
    bool m_autoReconnect = false;
    bool m_locked = false;
    bool m_readUncommitted = false;
    QString m_fieldDelimiterStart;
    QString m_fieldDelimiterEnd;
};

} // namespace qldb
