#pragma once
// qlMsSqlSystem: the services of a SQL Server instance that belong to no user database: SQL Server
// Agent jobs, their steps and schedules, database options, single-user switching, backup file
// inspection, and the listing of servers, databases and tables.
//
// Hosts get one from qlConnection::MsSqlSystem() (with the connection's Errors set), call
// Initialize with their connection, which opens a private connection to MSDB cloned from it, and
// end with Terminate or Finalize. Every stored procedure runs on that MSDB connection.
//
// Failures: every public routine ends in the error report under the module "qlMsSqlSystem"
// ("qlMSSQLSystem" for JobCurrentStatus and GetDatabases, as hosts have always seen them); after a
// decision to leave the result is what it was: false, no recordset, or an empty list.
#include "platform/errors/error_service.h"
#include "platform/odbc/db_connection.h"
#include "platform/odbc/recordset.h"

#include <QString>
#include <QStringList>
#include <QVariant>
#include <cstdint>
#include <functional>
#include <memory>

namespace qldb {

class ErrorRule;
class qlConnection;
class qlQueryConstructor;

// current_execution_status of sp_help_job, and DontExists for a job the server does not know.
enum class ql_eMsSqlJobExecutionStatus : int32_t {
    eMsSqlJobDontExists = -1,
    eMsSqlJobOnExec = 1,
    eMsSqlJobWaitForThread = 2,
    eMsSqlJobBetweenTwoAttemps = 3,
    eMsSqlJobInactive = 4,
    eMsSqlJobCancelled = 5,
    eMsSqlJobOnFinalOperations = 7
};
enum class ql_eMsSqlJobStatus : int32_t { eMsSqlDisabled = 0, eMsSqlEnabled = 1 };
// The values of @on_success_action.
enum class ql_eMsSqlOnSuccessAction : int32_t {
    eMsSqlUscitaInCasoDiEsitoPositivo = 1,
    eMsSqlUscitaInCasoDiEsitoNegativo = 2,
    eMsSqlEsecuzionePassaggioSuccessivo = 3,
    eMsSqlEsecuzionePassaggioOn_success_step_id = 4
};
// The values of @freq_type.
enum class ql_eMsSqlFrequencyType : int32_t {
    eMsSqlOnce = 1,
    eMsSqlDaily = 4,
    eMsSqlWeekly = 8,
    eMsSqlMonthly = 16,
    eMsSqlMonthlyBasedOnFreqInterval = 32,
    eMsSqlStartOfSQLServerAgent = 64,
    eMsSqlInactiveComputer = 128
};
// Bit flags of @freq_interval for a weekly schedule.
enum class ql_eMsSqlWeekFrequencyInterval : int32_t {
    eMsSqlSunday = 1,
    eMsSqlMonday = 2,
    eMsSqlTuesday = 4,
    eMsSqlWednesday = 8,
    eMsSqlThursday = 16,
    eMsSqlFriday = 32,
    eMsSqlSaturday = 64
};
// @freq_interval of a relative monthly schedule.
enum class ql_eMsSqlMonthFrequencyInterval : int32_t {
    eMsSqlSunday = 1,
    eMsSqlMonday = 2,
    eMsSqlTuesday = 3,
    eMsSqlWednesday = 4,
    eMsSqlThursday = 5,
    eMsSqlFriday = 6,
    eMsSqlSaturday = 7
};
// @freq_relative_interval.
enum class ql_eMsSqlFrequencyRelativeInterval : int32_t {
    eMsSqlPrimo = 1,
    eMsSqlSecondo = 2,
    eMsSqlTerzo = 4,
    eMsSqlQuarto = 8,
    eMsSqlUltimo = 16
};
// last_run_outcome of the job history.
enum class ql_eLastRunOutcome : int32_t {
    eNotCompleted = 0,
    eCompleted = 1,
    eCancelled = 3,
    eUnknownStatus = 5
};

// The next three become the texts SQL Server Agent expects; any other value, 0 included, becomes
// an empty text, and the parameter is then left out.
enum class ql_eMsSqlCategoryValues : int32_t {
    eMsSqlDatabaseMaintenance = 1,
    eMsSqlFullText = 2,
    eMsSqlJobsFromMSX = 3,
    eMsSqlReplAlertResponse = 4,
    eMsSqlReplCheckup = 5,
    eMsSqlReplDistribution = 6,
    eMsSqlReplDistributionCleanup = 7,
    eMsSqlReplHistoryCleanup = 8,
    eMsSqlReplLogReader = 9,
    eMsSqlReplMerge = 10,
    eMsSqlReplQueueReader = 11,
    eMsSqlReplSnapshot = 12,
    eMsSqlReplSubscriptionCleanup = 13,
    eMsSqlWebAssistant = 14
};
enum class ql_eMsSqlSubSystemValues : int32_t {
    eMsSqlActiveScripting = 1,
    eMsSqlCmdExec = 2,
    eMsSqlDistribution = 3,
    eMsSqlSnapshot = 4,
    eMsSqlLogreader = 5,
    eMsSqlMerge = 6,
    eMsSqlTSQL = 7
};
enum class ql_eMsSqlOptValue : int32_t { eMsSqlTrue = 1, eMsSqlFalse = 2, eMsSqlOn = 3, eMsSqlOff = 4 };

class qlMsSqlSystem {
public:
    qlMsSqlSystem();
    ~qlMsSqlSystem();
    qlMsSqlSystem(const qlMsSqlSystem&) = delete;
    qlMsSqlSystem& operator=(const qlMsSqlSystem&) = delete;

    void setErrors(std::shared_ptr<IErrorService> errors) { m_errors = std::move(errors); }
    // The private connection to MSDB; null before Initialize and after Terminate or Finalize.
    qlConnection* MSDBConnection() const { return m_msdb.get(); }

    // Opens a new MSDB connection cloned from objConnection (replacing any earlier one). False when
    // no connection could be made (objConnection null) or opening it was reported and left.
    bool Initialize(qlConnection* objConnection);
    // Closes the MSDB connection and drops it; the object can be initialized again.
    void Terminate();

    // The job's current_execution_status; eMsSqlJobDontExists for a job the server does not know.
    ql_eMsSqlJobExecutionStatus JobCurrentStatus(const QString& sJobName);

    // The stored-procedure operations. True means that the call was submitted without a raised
    // error, not that SQL Server accepted it. Text arguments that are empty and numbers that are 0
    // are left out so that SQL Server's defaults hold; @enabled of AddJob is always sent. Each runs
    // only when its guard holds, and the guards differ on purpose:
    //   SetDbOption, HelpJob, GetDatabases            the MSDB connection is open
    //   AddJobStep, AddJobServer, AddJobSchedule,
    //   DeleteJob                                     open, and the job exists
    //   AddJob                                        open, and the job does not exist
    //   UpdateJobSchedule, HelpJobSchedule,
    //   HelpJobStep                                   open, or the job does not exist
    //   DeleteJobSchedule                             not open, and the job exists: on a live
    //                                                 connection it never deletes and gives false
    // The job tests fetch every job with sp_help_job and filter on the client; they run even when
    // the connection test alone decides, and without a connection they end in the error report.
    bool SetDbOption(const QString& sDatabaseName = QString(), const QString& sOptName = QString(),
                     ql_eMsSqlOptValue iValue = ql_eMsSqlOptValue{0});
    // With bDeleteBeforeAdd the job is deleted first; a job that still exists is not added again.
    bool AddJob(const QString& sJobName, ql_eMsSqlJobStatus eEnabled, const QString& sDescription = QString(),
                const QString& sOwner = QString(),
                ql_eMsSqlCategoryValues eCategory = ql_eMsSqlCategoryValues{0},
                bool bDeleteBeforeAdd = false);
    bool AddJobStep(const QString& sJobName, const QString& sCommand, const QString& sStepName = QString(),
                    ql_eMsSqlSubSystemValues eSubSystem = ql_eMsSqlSubSystemValues{0},
                    const QString& sServerName = QString(), const QString& sDatabaseName = QString(),
                    ql_eMsSqlOnSuccessAction eOnSuccessAction = ql_eMsSqlOnSuccessAction{0},
                    int32_t lRetryAttemps = 0, int32_t lRetryIntervals = 0,
                    const QString& sOutputFile = QString());
    bool AddJobServer(const QString& sJobName, const QString& sServerName);
    // Starts the job only when it exists and is idle (inactive or cancelled); with bStopBeforeStart
    // StopJob runs first. A boolean variant: true when sp_start_job was called.
    QVariant StartJob(const QString& sJobName, bool bStopBeforeStart = false);
    // Stops the job only when it is running (executing, waiting for a thread, between two attempts
    // or finishing); an idle job is left alone and gives false, which is no failure.
    bool StopJob(const QString& sJobName);
    bool AddJobSchedule(const QString& sJobName, const QString& sScheduleName = QString(),
                        int32_t lFreqType = 0, int32_t lFreqInterval = 0, int32_t lFreqRelInterval = 0,
                        int32_t lRecurrenceFactor = 0, int32_t lActiveStartDate = 0,
                        int32_t lActiveStartTime = 0);
    bool DeleteJob(const QVariant& sJobName);
    bool DeleteJobSchedule(const QString& sJobName, const QString& sScheduleName);
    bool UpdateJobSchedule(const QString& sJobName, const QString& sScheduleName = QString(),
                           const QString& sNewScheduleName = QString(), int32_t lFreqType = 0,
                           int32_t lFreqInterval = 0, int32_t lFreqRelInterval = 0,
                           int32_t lRecurrenceFactor = 0, int32_t lActiveStartDate = 0,
                           int32_t lActiveStartTime = 0);
    // The answers of sp_help_jobschedule, sp_help_job and sp_help_jobstep; null when the guard
    // failed or the call was reported and left.
    std::shared_ptr<Recordset> HelpJobSchedule(const QString& sJobName);
    std::shared_ptr<Recordset> HelpJob();
    std::shared_ptr<Recordset> HelpJobStep(const QString& sJobName);

    // ALTER DATABASE ... SET SINGLE_USER WITH ROLLBACK IMMEDIATE (or SET MULTI_USER) on the MSDB
    // connection; the name goes into the statement as it stands. False without a connection.
    bool DisconnectUser(const QString& sDatabaseName);
    bool ConnectUser(const QString& sDatabaseName);
    // RESTORE FILELISTONLY of a backup file on the server (the path goes in unescaped): one row per
    // file of the backup, LogicalName first. Null without a connection.
    std::shared_ptr<Recordset> RestoreFileListOnly(const QString& sFileBakPath);
    // sp_databases: DATABASE_NAME, DATABASE_SIZE, REMARKS.
    std::shared_ptr<Recordset> GetDatabases();

    // Log in to sServerName with the user and password (no Initialize needed) and list the tables of
    // the database named like sDatabaseName, without regard to case, system tables included. An
    // unknown database gives an empty list.
    QStringList GetTables(const QString& sServerName, const QString& sUserName, const QString& sPsw,
                          const QString& sDatabaseName);
    // The databases of the server that hold a table SYS_DBS: those this system manages. A server
    // that cannot be reached sets *bServerNotExist and gives an empty list without a report.
    QStringList GetMirandoDb(const QString& sServerName, const QString& sUserName, const QString& sPsw,
                             bool* bServerNotExist = nullptr);
    // The SQL Server instances that answer the browser service's query of the hosts named by the
    // setting "SqlBrowserHosts" (see server_browser.h): "HOST" for a default instance,
    // "HOST\INSTANCE" for a named one. Nobody answering gives an empty list.
    QStringList GetSqlServers();

    // Drops Errors, then finalizes and drops the MSDB connection.
    void Finalize();
    // Whether the instance's SQL Server Agent service reports "Running.".
    bool CheckAgentRunning();

    // Where the data access connections of this object come from (the MSDB connection and the
    // logins of GetTables and GetMirandoDb): ODBC unless set. Tests put scripted ones here.
    using ConnectionFactory = std::function<std::shared_ptr<IDbConnection>()>;
    void setConnectionFactory(ConnectionFactory factory) { m_connectionFactory = std::move(factory); }

private:
    // A new qlConnection on MSDB from objConnection's settings; it composes its own connection
    // string, so ProviderName, ConnectionString, ForcedConnectionString and SqlNativeClient stay out.
    void CreateMsdbConnection(qlConnection* objConnection);
    bool JobAlreadyExist(const QString& sJobName);
    // sp_help_job filtered on the client to the job of that name, or null without a connection.
    std::shared_ptr<Recordset> FilteredJob(const QString& sJobName);
    static QString GetCategory(ql_eMsSqlCategoryValues eCategory);
    static QString GetOptValueString(ql_eMsSqlOptValue iValue);
    static QString GetSubsystem(ql_eMsSqlSubSystemValues eSubSystem);

    // One stored procedure through ExecuteSP on the MSDB connection with the parameters that
    // fnParams adds, under the routine's rule; true when the call raised nothing.
    bool CallProcedure(ErrorRule& rule, const QString& sProcedure,
                       const std::function<void(qlQueryConstructor&)>& fnParams,
                       std::shared_ptr<Recordset>* rs = nullptr);
    // A qlConnection for the login of the enumerations, opened on master; raises what opening raised.
    std::unique_ptr<qlConnection> Login(const QString& sServerName, const QString& sUserName,
                                        const QString& sPsw);
    std::shared_ptr<IDbConnection> NewDataConnection() const;

    std::shared_ptr<IErrorService> m_errors;
    std::unique_ptr<qlConnection> m_msdb;
    ConnectionFactory m_connectionFactory;
};

} // namespace qldb
