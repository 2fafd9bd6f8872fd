// The SQL Server Agent procedures of qlMsSqlSystem. Every call is one pattern: a query constructor
// with the parameters that are set, ExecuteSP on the MSDB connection, true when nothing was raised.
// The guards are evaluated whole, job test included, even where the connection test alone decides:
// hosts see the sp_help_job fetch (and, without a connection, its error report) either way.
#include "connection/ql_connection.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"
#include "platform/tools/sql_literal.h"
#include "server/ql_mssql_system.h"
#include "sql/ql_query_constructor.h"

namespace qldb {

namespace {

const QString kModule = QStringLiteral("qlMsSqlSystem");
// JobCurrentStatus and GetDatabases have always reported under this spelling.
const QString kModuleUpper = QStringLiteral("qlMSSQLSystem");

void AddText(qlQueryConstructor& q, const QString& sName, const QString& sValue, int32_t lSize) {
    q.AddProcedureParam(sName, sValue, ql_eDataType::TypeVarChar, lSize);
}
void AddTextIfSet(qlQueryConstructor& q, const QString& sName, const QString& sValue, int32_t lSize) {
    if (!sValue.isEmpty())
        AddText(q, sName, sValue, lSize);
}
void AddLong(qlQueryConstructor& q, const QString& sName, int32_t lValue) {
    q.AddProcedureParam(sName, lValue, ql_eDataType::TypeLong, 0);
}
void AddLongIfSet(qlQueryConstructor& q, const QString& sName, int32_t lValue) {
    if (lValue != 0)
        AddLong(q, sName, lValue);
}

struct ScheduleFields {
    int32_t FreqType, FreqInterval, FreqRelInterval, RecurrenceFactor, ActiveStartDate, ActiveStartTime;
};
void AddSchedule(qlQueryConstructor& q, const ScheduleFields& s) {
    AddLongIfSet(q, QStringLiteral("@freq_type"), s.FreqType);
    AddLongIfSet(q, QStringLiteral("@freq_interval"), s.FreqInterval);
    AddLongIfSet(q, QStringLiteral("@freq_relative_interval"), s.FreqRelInterval);
    AddLongIfSet(q, QStringLiteral("@freq_recurrence_factor"), s.RecurrenceFactor);
    AddLongIfSet(q, QStringLiteral("@active_start_date"), s.ActiveStartDate);
    AddLongIfSet(q, QStringLiteral("@active_start_time"), s.ActiveStartTime);
}

Recordset& Require(const std::shared_ptr<Recordset>& rs, const QString& sSource) {
    if (!rs)
        ThrowObjectNotSet(sSource);
    return *rs;
}

} // namespace

bool qlMsSqlSystem::CallProcedure(ErrorRule& rule, const QString& sProcedure,
                                  const std::function<void(qlQueryConstructor&)>& fnParams,
                                  std::shared_ptr<Recordset>* rs) {
    bool result = false;
    rule.run([&] {
        qlQueryConstructor q;
        fnParams(q);
        if (!m_msdb)
            ThrowObjectNotSet(kModule + QLatin1Char('.') + sProcedure);
        // bError is not looked at: only a raised error counts as a failure here.
        bool bError = false;
        auto answer = m_msdb->ExecuteSP(sProcedure, &q, &bError, false);
        if (rs != nullptr)
            *rs = std::move(answer);
        result = true;
    });
    return result;
}

std::shared_ptr<Recordset> qlMsSqlSystem::FilteredJob(const QString& sJobName) {
    auto rs = HelpJob();
    Require(rs, kModule + QStringLiteral(".HelpJob"))
        .setFilter(QStringLiteral("name=") +
                   FormatSqlValue(sJobName, ql_eDataType::TypeVarChar, ql_eProviderType::SQLServer));
    return rs;
}

bool qlMsSqlSystem::JobAlreadyExist(const QString& sJobName) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("JobAlreadyExist"));
    bool result = false;
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = FilteredJob(sJobName); }))
        return result;
    if (!rule.run([&] { result = !Require(rs, kModule).IsEOF(); }))
        return result;
    rule.run([&] { Require(rs, kModule).Close(); });
    return result;
}

ql_eMsSqlJobExecutionStatus qlMsSqlSystem::JobCurrentStatus(const QString& sJobName) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModuleUpper, QStringLiteral("JobCurrentStatus"));
    int32_t result = 0;
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = FilteredJob(sJobName); }))
        return ql_eMsSqlJobExecutionStatus{result};
    if (!rule.run([&] {
            Recordset& r = Require(rs, kModule);
            result = r.IsEOF() ? static_cast<int32_t>(ql_eMsSqlJobExecutionStatus::eMsSqlJobDontExists)
                               : ToLong(r.Value(QStringLiteral("current_execution_status")));
        }))
        return ql_eMsSqlJobExecutionStatus{result};
    rule.run([&] { Require(rs, kModule).Close(); });
    return ql_eMsSqlJobExecutionStatus{result};
}

bool qlMsSqlSystem::SetDbOption(const QString& sDatabaseName, const QString& sOptName,
                                ql_eMsSqlOptValue iValue) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("SetDbOption"));
    if (!m_msdb)
        return false;
    return CallProcedure(rule, QStringLiteral("sp_dboption"), [&](qlQueryConstructor& q) {
        AddTextIfSet(q, QStringLiteral("@dbname"), sDatabaseName, 128);
        AddTextIfSet(q, QStringLiteral("@optname"), sOptName, 35);
        AddTextIfSet(q, QStringLiteral("@optvalue"), GetOptValueString(iValue), 10);
    });
}

bool qlMsSqlSystem::AddJob(const QString& sJobName, ql_eMsSqlJobStatus eEnabled, const QString& sDescription,
                           const QString& sOwner, ql_eMsSqlCategoryValues eCategory, bool bDeleteBeforeAdd) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("AddJob"));
    if (bDeleteBeforeAdd)
        DeleteJob(sJobName);
    const bool exists = JobAlreadyExist(sJobName);
    if (!m_msdb || exists)
        return false;
    return CallProcedure(rule, QStringLiteral("sp_add_job"), [&](qlQueryConstructor& q) {
        AddText(q, QStringLiteral("@job_name"), sJobName, 128);
        // Sent even when 0: a disabled job must be created disabled, and the server's default is 1.
        AddLong(q, QStringLiteral("@enabled"), static_cast<int32_t>(eEnabled));
        AddTextIfSet(q, QStringLiteral("@description"), sDescription, 128);
        AddTextIfSet(q, QStringLiteral("@owner_login_name"), sOwner, 128);
        AddTextIfSet(q, QStringLiteral("@category_name"), GetCategory(eCategory), 128);
    });
}

bool qlMsSqlSystem::AddJobStep(const QString& sJobName, const QString& sCommand, const QString& sStepName,
                               ql_eMsSqlSubSystemValues eSubSystem, const QString& sServerName,
                               const QString& sDatabaseName, ql_eMsSqlOnSuccessAction eOnSuccessAction,
                               int32_t lRetryAttemps, int32_t lRetryIntervals, const QString& sOutputFile) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("AddJobStep"));
    const bool exists = JobAlreadyExist(sJobName);
    if (!m_msdb || !exists)
        return false;
    return CallProcedure(rule, QStringLiteral("sp_add_jobstep"), [&](qlQueryConstructor& q) {
        AddText(q, QStringLiteral("@job_name"), sJobName, 128);
        AddText(q, QStringLiteral("@command"), sCommand, 3200);
        AddTextIfSet(q, QStringLiteral("@step_name"), sStepName, 128);
        AddTextIfSet(q, QStringLiteral("@subsystem"), GetSubsystem(eSubSystem), 40);
        AddTextIfSet(q, QStringLiteral("@server"), sServerName, 30);
        AddTextIfSet(q, QStringLiteral("@database_name"), sDatabaseName, 128);
        AddLongIfSet(q, QStringLiteral("@on_success_action"), static_cast<int32_t>(eOnSuccessAction));
        AddLongIfSet(q, QStringLiteral("@retry_attempts"), lRetryAttemps);
        AddLongIfSet(q, QStringLiteral("@retry_interval"), lRetryIntervals);
        AddTextIfSet(q, QStringLiteral("@output_file_name"), sOutputFile, 200);
    });
}

bool qlMsSqlSystem::AddJobServer(const QString& sJobName, const QString& sServerName) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("AddJobServer"));
    const bool exists = JobAlreadyExist(sJobName);
    if (!m_msdb || !exists)
        return false;
    return CallProcedure(rule, QStringLiteral("sp_add_jobserver"), [&](qlQueryConstructor& q) {
        AddText(q, QStringLiteral("@job_name"), sJobName, 128);
        AddText(q, QStringLiteral("@server_name"), sServerName, 30);
    });
}

QVariant qlMsSqlSystem::StartJob(const QString& sJobName, bool bStopBeforeStart) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("StartJob"));
    if (bStopBeforeStart)
        StopJob(sJobName);
    const bool exists = JobAlreadyExist(sJobName);
    // The status is read once per comparison: the job may change state in between, and that is
    // accepted.
    const bool cancelled = JobCurrentStatus(sJobName) == ql_eMsSqlJobExecutionStatus::eMsSqlJobCancelled;
    const bool inactive = JobCurrentStatus(sJobName) == ql_eMsSqlJobExecutionStatus::eMsSqlJobInactive;
    if (!m_msdb || !exists || !(cancelled || inactive))
        return QVariant(false);
    return QVariant(CallProcedure(rule, QStringLiteral("sp_start_job"), [&](qlQueryConstructor& q) {
        AddText(q, QStringLiteral("@job_name"), sJobName, 128);
    }));
}

bool qlMsSqlSystem::StopJob(const QString& sJobName) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("StopJob"));
    const bool exists = JobAlreadyExist(sJobName);
    bool running = false;
    for (const auto status : {ql_eMsSqlJobExecutionStatus::eMsSqlJobOnExec,
                              ql_eMsSqlJobExecutionStatus::eMsSqlJobBetweenTwoAttemps,
                              ql_eMsSqlJobExecutionStatus::eMsSqlJobOnFinalOperations,
                              ql_eMsSqlJobExecutionStatus::eMsSqlJobWaitForThread})
        running = (JobCurrentStatus(sJobName) == status) || running;
    if (!m_msdb || !exists || !running)
        return false;
    return CallProcedure(rule, QStringLiteral("sp_stop_job"), [&](qlQueryConstructor& q) {
        AddText(q, QStringLiteral("@job_name"), sJobName, 128);
    });
}

bool qlMsSqlSystem::AddJobSchedule(const QString& sJobName, const QString& sScheduleName, int32_t lFreqType,
                                   int32_t lFreqInterval, int32_t lFreqRelInterval, int32_t lRecurrenceFactor,
                                   int32_t lActiveStartDate, int32_t lActiveStartTime) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("AddJobSchedule"));
    const bool exists = JobAlreadyExist(sJobName);
    if (!m_msdb || !exists)
        return false;
    return CallProcedure(rule, QStringLiteral("sp_add_jobschedule"), [&](qlQueryConstructor& q) {
        AddText(q, QStringLiteral("@job_name"), sJobName, 128);
        AddTextIfSet(q, QStringLiteral("@name"), sScheduleName, 128);
        AddSchedule(q, {lFreqType, lFreqInterval, lFreqRelInterval, lRecurrenceFactor, lActiveStartDate,
                        lActiveStartTime});
    });
}

bool qlMsSqlSystem::DeleteJob(const QVariant& sJobName) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("DeleteJob"));
    const QString name = ToText(sJobName);
    const bool exists = JobAlreadyExist(name);
    if (!m_msdb || !exists)
        return false;
    return CallProcedure(rule, QStringLiteral("sp_delete_job"),
                         [&](qlQueryConstructor& q) { AddText(q, QStringLiteral("@job_name"), name, 128); });
}

// The guard is "no connection and the job exists", kept as hosts know it: on a live connection
// a schedule is never deleted here, and RemoveBackup takes the false as a failure.
bool qlMsSqlSystem::DeleteJobSchedule(const QString& sJobName, const QString& sScheduleName) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("DeleteJobSchedule"));
    const bool exists = JobAlreadyExist(sJobName);
    if (m_msdb || !exists)
        return false;
    return CallProcedure(rule, QStringLiteral("sp_delete_jobschedule"), [&](qlQueryConstructor& q) {
        AddText(q, QStringLiteral("@job_name"), sJobName, 128);
        AddText(q, QStringLiteral("@name"), sScheduleName, 128);
    });
}

bool qlMsSqlSystem::UpdateJobSchedule(const QString& sJobName, const QString& sScheduleName,
                                      const QString& sNewScheduleName, int32_t lFreqType,
                                      int32_t lFreqInterval, int32_t lFreqRelInterval,
                                      int32_t lRecurrenceFactor, int32_t lActiveStartDate,
                                      int32_t lActiveStartTime) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("UpdateJobSchedule"));
    const bool exists = JobAlreadyExist(sJobName);
    // "Open, or the job is unknown": on a live connection SQL Server answers for unknown jobs itself.
    if (!(m_msdb || !exists))
        return false;
    return CallProcedure(rule, QStringLiteral("sp_update_jobschedule"), [&](qlQueryConstructor& q) {
        AddText(q, QStringLiteral("@job_name"), sJobName, 128);
        AddTextIfSet(q, QStringLiteral("@name"), sScheduleName, 128);
        AddTextIfSet(q, QStringLiteral("@new_name"), sNewScheduleName, 128);
        AddSchedule(q, {lFreqType, lFreqInterval, lFreqRelInterval, lRecurrenceFactor, lActiveStartDate,
                        lActiveStartTime});
    });
}

std::shared_ptr<Recordset> qlMsSqlSystem::HelpJobSchedule(const QString& sJobName) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("HelpJobSchedule"));
    std::shared_ptr<Recordset> rs;
    const bool exists = JobAlreadyExist(sJobName);
    if (m_msdb || !exists)
        CallProcedure(
            rule, QStringLiteral("sp_help_jobschedule"),
            [&](qlQueryConstructor& q) { AddText(q, QStringLiteral("@job_name"), sJobName, 128); }, &rs);
    return rs;
}

std::shared_ptr<Recordset> qlMsSqlSystem::HelpJob() {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("HelpJob"));
    std::shared_ptr<Recordset> rs;
    if (m_msdb)
        CallProcedure(
            rule, QStringLiteral("sp_help_job"), [](qlQueryConstructor&) {}, &rs);
    return rs;
}

std::shared_ptr<Recordset> qlMsSqlSystem::HelpJobStep(const QString& sJobName) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModule, QStringLiteral("HelpJobStep"));
    std::shared_ptr<Recordset> rs;
    const bool exists = JobAlreadyExist(sJobName);
    if (m_msdb || !exists)
        CallProcedure(
            rule, QStringLiteral("sp_help_jobstep"),
            [&](qlQueryConstructor& q) { AddText(q, QStringLiteral("@job_name"), sJobName, 128); }, &rs);
    return rs;
}

std::shared_ptr<Recordset> qlMsSqlSystem::GetDatabases() {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kModuleUpper, QStringLiteral("GetDatabases"));
    std::shared_ptr<Recordset> rs;
    if (m_msdb)
        CallProcedure(
            rule, QStringLiteral("sp_databases"), [](qlQueryConstructor&) {}, &rs);
    return rs;
}

} // namespace qldb
