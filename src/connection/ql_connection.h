#pragma once
// qlConnection: the one connection of a host to its database, and every statement that goes
// through it. Its routines are split by concern over the connection_*.cpp files beside this one.
#include "connection/catalog_types.h"
#include "platform/data_type.h"
#include "platform/errors/error_service.h"
#include "platform/host/forms_handler.h"
#include "platform/host/host_services.h"
#include "platform/odbc/db_connection.h"
#include "platform/odbc/recordset.h"
#include "platform/provider_type.h"

#include <QDateTime>
#include <QString>
#include <QVariant>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace qldb {

class ErrorRule;
class qlMsSqlSystem;
class qlQueryConstructor;
struct StatementRoutine;

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
    void setADODBConnection(std::shared_ptr<IDbConnection> connection) {
        m_connection = std::move(connection);
    }
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
    // Seconds that Execute and ExecuteWC wait for a statement before it fails with the timeout
    // error (-2147217871); 0 waits without limit. 30 by default. Handed to the data access
    // connection at once and at every open. ExecuteCommand, ExecuteSP and ExecuteScript keep their
    // own limits.
    int32_t CommandTimeout() const { return m_commandTimeout; }
    void setCommandTimeout(int32_t lSeconds);
    bool HistoryMode() const { return m_historyMode; }
    // True asks for the history check: at once on an open connection, else at the next open.
    void setHistoryMode(bool v);

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
    std::shared_ptr<Recordset> ExecuteSP(const QString& CommandName,
                                         qlQueryConstructor* qryConstructor = nullptr, bool* bError = nullptr,
                                         bool bManageErrors = false);
    QString GetSP(const QString& CommandName, qlQueryConstructor* qryConstructor = nullptr,
                  bool* bError = nullptr);

    // ---- Catalog and record services ------------------------------------------------------
    // (catalog queries, value lookups, attachments, triggers and history are declared below)

    // Catalog queries. A name list holds the names joined by "|". SQL Server answers from its own
    // catalog; other providers mostly get an empty answer without a query being sent.
    QString GetTableKeys(const QString& sTableName);
    // The column's description, or Null when it has none.
    QVariant GetColumnDesciption(const QString& sTableName, const QString& sColumnName);
    // Nullability as a boolean, the default in a normal form ("((0))" reads "(0)"), the type or the
    // collation as text; Empty when the column is unknown.
    QVariant GetColumnAttribute(const QString& sTableName, const QString& sColumnName,
                                ql_eColumnAttribute iColumnAttribute);
    QString GetFunctions();
    QString GetProcedures();
    QString GetDatabaseUsers();
    // The views (all, or those of slistViews) in dependency order, joined by sDelimiter (default ",").
    QString GetViews(const QString& slistViews = QString(), const QString& sDelimiter = QString());
    QString GetIndexesUseColumn(const QString& sTableName, const QString& sColumn);
    // The table's indexes without the primary key's.
    QString GetIndexes(const QString& sTableName);
    QString GetForeignKeys(const QString& sTableName);
    // The foreign keys of other tables that point at this one.
    QString GetReferences(const QString& sTableName);
    QString GetPrimaryIndexName(const QString& sTableName);
    // The triggers of the table (of every table when the name is empty or unknown), optionally only
    // those whose name starts with sOnlyPrefixTable.
    QString GetTriggers(const QString& sTableName = QString(), const QString& sOnlyPrefixTable = QString());
    QString GetTriggerCode(const QString& sTriggerName);
    QString GetFunctionCode(const QString& sFunctionName);
    QString GetProcedureCode(const QString& sProcedureName);
    // The CREATE statement of an index that is neither a primary key nor a unique constraint.
    QString GetIndexCode(const QString& sTableName, const QString& sIndexName);
    bool IsAutoincrementField(const QString& sTableName, const QString& sFieldName);
    bool ColumnExist(const QString& sTableName, const QString& sFieldName,
                     const QString& sSchema = QStringLiteral("dbo"));
    // True for a base table only, not for a view of that name.
    bool TableExist(const QString& sTableName);
    // Whether the tables of the firm with this prefix exist; reports nothing when they don't.
    bool CheckDatabaseTable(const QString& sPrefixFirm);

    // Value lookups. Statements are plain SQL with literals of the current provider; errors reach
    // the caller unchanged unless told otherwise.
    // One entry of the table directory SYS_TBL_TBC, cached for the object's life; a missing row, a
    // missing directory or a failure reads (and stays) empty.
    QString GetTableInfo(const QString& sTableName, ql_eTableInfo iInformationRequest);
    QVariant GetDbValue(const QString& sTableName, const QString& sKeyField, const QVariant& vKeyValue,
                        ql_eDataType iKeyType, const QString& sFieldReturn, bool* bRecordPresent = nullptr,
                        bool bLike = false, const QString& sFilter = QString());
    // As GetDbValue, the values of every row joined by sSeparator.
    QVariant GetDbValues(const QString& sTableName, const QString& sKeyField, const QVariant& vKeyValue,
                         ql_eDataType iKeyType, const QString& sFieldReturn, bool* bRecordPresent = nullptr,
                         bool bLike = false, const QString& sFilter = QString(),
                         const QString& sSeparator = QStringLiteral(","));
    int32_t GetMaxValue(const QString& sTableName, const QString& sMaxField,
                        const QString& sWhere = QString(), bool* bExistAlmostOne = nullptr);
    // The text that SYS_VAL gives for a value of a field of a table.
    QVariant GetSystemValue(const QString& sKeyTableName, const QString& sKeyField,
                            const QVariant& vKeyValue);
    // False when the update failed (the error is dropped); True does not mean that a row changed.
    bool SetDbValue(const QString& sTableName, const QString& sKeyField, ql_eDataType iKeyType,
                    const QVariant& vKeyValue, const QString& sFieldUpdate, ql_eDataType iFieldUpdateType,
                    const QVariant& vValue);
    bool CheckExistValue(const QString& sTableName, const QString& sKeyField, const QVariant& vKeyValue,
                         ql_eDataType iKeyType, const QString& sFilter = QString());
    // The number of rows found, first by equality and then, for text and date keys, by a LIKE
    // '%value%' search; rsResults receives the rows, positioned on the first.
    int32_t CheckExistValueWithLike(const QString& sTableName, const QString& sKeyField,
                                    const QVariant& vKeyValue, ql_eDataType iKeyType,
                                    std::shared_ptr<Recordset>* rsResults = nullptr,
                                    const QString& sFilter = QString());
    QVariant GetFunctionValue(const QString& sFunctionName, const QVariant& vValue, ql_eDataType iValueType);
    // The wildcard that stands for "*" or "%" in this provider's LIKE, or empty.
    QString GetCharFilter(const QString& sChar);
    bool IsNumericField(const Field& fld);
    bool IsDateField(const Field& fld);
    ql_eInputFormat MatchADOType(int32_t ADODataType);
    ql_eTextBoxType GetTextBoxType(int32_t ADODataType);
    // The ADO type number of a data type, 0 for the types ADO has no number for.
    int32_t GetAdoDataType(ql_eDataType iDataType);

    // Attachments in SYS_ATT: bytes in the table (kind 1), a copy in a folder tree (2), or a link to
    // the file where it lies (3, stored as 2).
    QVariant FileToBinary(const QString& sFileName);
    QVariant BinaryToFile(const QVariant& vValue, const QString& sFileName);
    void WriteAttachment(const QString& sTable, const QString& sKey, const QString& sFileTile,
                         const QString& sPath, const QString& sFileName,
                         const QString& sDescription = QString(), const QString& sRevision = QString(),
                         int32_t lFileSize = 0, const QDateTime& dtDateAdd = QDateTime(),
                         int32_t iAttachmentType = 1, bool bAutoFolder = true,
                         const QString& sProtocol = QString());
    // Copies title and bytes (only those) of an attachment to another owner record.
    void CopyAttachment(int32_t lIdAttachment, const QString& sNewTable, const QString& sNewId);
    // Writes the attachment to sFileToSave (or, for a link without bSaveAs, puts the link there).
    bool ReadAttachment(int32_t lIdAttachment, QString& sFileToSave, bool bSaveAs = false);

    // Triggers, change tracking, history mode and table cloning (SQL Server).
    // True when no trigger is disabled; otherwise the disabled ones are appended to sTriggerDisabled.
    bool CheckTriggerStatus(QString* sTriggerDisabled = nullptr, const QString& sFilter = QString());
    QVariant AlterTriggersStatus(bool bEnable, const QString& sTableName = QString());
    bool DisableChangeTracking();
    // Whether the history mode may run on this database; a passed check is not repeated.
    bool CheckHistoryMode(bool bShowError = true, bool bOnStart = false);
    bool CloneTable(const QString& sTable, const QString& sNewTable, bool bCopyConstraint = false,
                    bool bCopyData = false);

    // ---- Server administration ------------------------------------------------------------
    // A new qlMsSqlSystem on every read, with this connection's Errors; the caller keeps it for
    // the whole work and calls its Initialize with this connection.
    std::unique_ptr<qlMsSqlSystem> MsSqlSystem();

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
    int32_t m_commandTimeout = 30;
    QString m_fieldDelimiterStart;
    QString m_fieldDelimiterEnd;
    // ---- Catalog and record services ------------------------------------------------------
    // One answer of the table directory; entries are never removed, not even on reconnection.
    struct TableInfoCacheEntry {
        QString TableName;
        int32_t Information = 0;
        QString Value;
    };
    std::vector<TableInfoCacheEntry> m_tableInfoCache;
    // One call of the statement family: the routine's failure rule around fnStep, which gets the
    // connection and may run again; sStatement is kept as the failing statement. Answers with the
    // recordset of the step's last run.
    std::shared_ptr<Recordset>
    RunStatement(const StatementRoutine& routine, const QString& sStatement, bool bManageErrors, bool* bError,
                 QString* sErrDescription,
                 const std::function<std::shared_ptr<Recordset>(IDbConnection&)>& fnStep);
    // The catalog id of an object, 0 when there is none. No error rule of its own.
    int32_t GetObjectId(const QString& sName);
    // Sends sSQL and reads its recordset with fnRead, each a step of the routine's rule. False when
    // the rule says leave.
    bool ReadQuery(ErrorRule& rule, const QString& sRoutine, const QString& sSQL,
                   const std::function<void(Recordset&)>& fnRead);
    // Sends sSQL and walks its rows with fnRow, each step under the routine's rule. False when the
    // rule says leave.
    bool WalkQuery(ErrorRule& rule, const QString& sRoutine, const QString& sSQL,
                   const std::function<void(Recordset&)>& fnRow);
    // The field sField of every row of sSQL, joined by sSeparator, under the routine's report rule.
    // The whole answer is upper-cased when bUpper and every row was read; a walk that the rule left
    // returns the names as they came.
    QString FieldList(const QString& sRoutine, const QString& sSQL, const QString& sField, bool bUpper,
                      const QString& sSeparator = QStringLiteral("|"));
};

} // namespace qldb
