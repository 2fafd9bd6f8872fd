#include "mssql_fixture.h"

namespace qldb::test {
namespace {

using Status = ql_eMsSqlJobExecutionStatus;

TEST_F(MsSqlSystemTest, InitializeClonesTheConnectionSettingsOntoMsdb) {
    conn->setMirandoProduct(true);
    conn->setServer(QStringLiteral("db.example,1433"));
    conn->setBulkCopyMode(2);
    // Neither of these may reach the clone: it composes its own string for MSDB.
    conn->setForcedConnectionString(QStringLiteral("DSN=forced"));
    conn->setProviderName(QStringLiteral("SQLNCLI11"));
    ASSERT_TRUE(sys->Initialize(conn.get()));
    const qlConnection* m = sys->MSDBConnection();
    ASSERT_NE(m, nullptr);
    EXPECT_EQ((QStringList{m->DatabaseName(), m->Server(), m->User(), m->Password(), m->ProductName(),
                           m->ProviderName(), m->ForcedConnectionString()}),
              (QStringList{"MSDB", "db.example,1433", "sa", "pw", "Mirando ERP", "SQLOLEDB.1", ""}));
    EXPECT_TRUE(m->MirandoProduct() && m->BulkCopyMode() == 2 && m->Errors() == errors);
    EXPECT_TRUE(msdb->ConnectionString().contains("Initial Catalog=MSDB"));
    sys->Terminate();
    EXPECT_EQ(sys->MSDBConnection(), nullptr);
    EXPECT_EQ(msdb->trace().last(), "Close");
    EXPECT_FALSE(sys->Initialize(nullptr));
    EXPECT_EQ(ReportedRoutines(), QStringList{"qlMsSqlSystem.CreateMsdbConnection"});
}

// The wizard's tests show each procedure with all its parameters; these are the ones left out, and
// the guards on the job's existence, some of which differ on purpose.
TEST_F(MsSqlSystemTest, ParametersLeftOutAndTheGuards) {
    ASSERT_TRUE(sys->Initialize(conn.get()));
    Jobs({"J"});
    EXPECT_TRUE(sys->SetDbOption("Sales", "single user", ql_eMsSqlOptValue::eMsSqlTrue));
    EXPECT_TRUE(sys->SetDbOption("Sales", "", ql_eMsSqlOptValue{0}));
    EXPECT_TRUE(sys->AddJobStep("J", "BACKUP x"));
    EXPECT_TRUE(sys->AddJobSchedule("J", "", 4, 0, 0, 0, 20240131));
    // On a live connection a schedule is never deleted here.
    EXPECT_FALSE(sys->DeleteJobSchedule("J", "Orlina_Schedule"));
    // Unknown jobs go to SQL Server anyway for these three, and are refused by the others.
    EXPECT_TRUE(sys->UpdateJobSchedule("Nobody", "S", "T"));
    EXPECT_NE(sys->HelpJobSchedule("Nobody"), nullptr);
    EXPECT_NE(sys->HelpJobStep("Nobody"), nullptr);
    EXPECT_FALSE(sys->AddJobStep("Nobody", "x") || sys->AddJobServer("Nobody", "SRV01") ||
                 sys->AddJobSchedule("Nobody", "S", 4) || sys->DeleteJob(QVariant("Nobody")));
    EXPECT_EQ(Sent(),
              (QStringList{
                  "sp_dboption @dbname=Sales(128) @optname=single user(35) @optvalue=true(10)",
                  "sp_dboption @dbname=Sales(128)", "sp_add_jobstep @job_name=J(128) @command=BACKUP x(3200)",
                  "sp_add_jobschedule @job_name=J(128) @freq_type=4(0) @active_start_date=20240131(0)",
                  "sp_update_jobschedule @job_name=Nobody(128) @name=S(128) @new_name=T(128)",
                  "sp_help_jobschedule @job_name=Nobody(128)", "sp_help_jobstep @job_name=Nobody(128)"}));
    // Text parameters go as varchar, numbers as long, through the one type mapping.
    const Command schedule = msdb->callsOf(CallKind::ExecuteCommand).at(5).Cmd;
    EXPECT_EQ(schedule.Parameters.at(0).Type, conn->GetAdoDataType(ql_eDataType::TypeVarChar));
    EXPECT_EQ(schedule.Parameters.at(1).Type, conn->GetAdoDataType(ql_eDataType::TypeLong));
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(MsSqlSystemTest, AddJobSendsEnabledAlwaysAndNeverAddsAnExistingJob) {
    ASSERT_TRUE(sys->Initialize(conn.get()));
    // sp_help_job in turn: J unknown, J known, J known (then deleted), J unknown.
    for (const QStringList& jobs : {QStringList{}, {"J"}, {"J"}})
        Jobs(jobs, 4, true);
    Jobs({});
    EXPECT_TRUE(sys->AddJob("J", ql_eMsSqlJobStatus::eMsSqlDisabled));
    EXPECT_FALSE(sys->AddJob("J", ql_eMsSqlJobStatus::eMsSqlEnabled));
    // Deleted first when asked; an unknown category is left out like 0.
    EXPECT_TRUE(
        sys->AddJob("J", ql_eMsSqlJobStatus::eMsSqlEnabled, "", "", ql_eMsSqlCategoryValues{15}, true));
    EXPECT_EQ(Sent(true), (QStringList{"sp_help_job", "sp_add_job @job_name=J(128) @enabled=0(0)",
                                       "sp_help_job", "sp_help_job", "sp_delete_job @job_name=J(128)",
                                       "sp_help_job", "sp_add_job @job_name=J(128) @enabled=1(0)"}));
}

TEST_F(MsSqlSystemTest, StartAndStopFollowTheJobsStatus) {
    // status, and whether StartJob starts it (else StopJob stops it)
    const std::pair<int32_t, bool> cases[] = {{1, false}, {2, false}, {3, false},
                                              {4, true},  {5, true},  {7, false}};
    for (const auto& [status, starts] : cases) {
        msdb = std::make_shared<ScriptedConnection>();
        ASSERT_TRUE(sys->Initialize(conn.get()));
        Jobs({"J"}, status);
        EXPECT_EQ(sys->StartJob("J"), QVariant(starts)) << status;
        EXPECT_EQ(sys->StopJob("J"), !starts) << status;
        EXPECT_EQ(Sent(),
                  QStringList{(starts ? "sp_start_job" : "sp_stop_job") + QString(" @job_name=J(128)")})
            << status;
    }
    // A job the server does not know: -1 without a report, and nothing started or stopped.
    msdb->clearCalls();
    EXPECT_EQ(sys->JobCurrentStatus("Nobody"), Status::eMsSqlJobDontExists);
    EXPECT_EQ(sys->StartJob("Nobody", true), QVariant(false));
    EXPECT_TRUE(Sent().isEmpty() && errors->reports().empty());
}

TEST_F(MsSqlSystemTest, WithoutInitializeTheJobTestsEndInTheReport) {
    // Nothing is sent, the plain guards give false quietly, and the job tests fail on the missing
    // job list, each under its module's spelling.
    EXPECT_FALSE(sys->SetDbOption("Sales") || sys->DisconnectUser("Sales"));
    EXPECT_TRUE(!sys->HelpJob() && !sys->GetDatabases() && !sys->RestoreFileListOnly("c:\\x.bak"));
    EXPECT_TRUE(errors->reports().empty());
    EXPECT_FALSE(sys->AddJobStep("J", "x"));
    EXPECT_EQ(sys->JobCurrentStatus("J"), Status{0});
    EXPECT_EQ(sys->HelpJobStep("J"), nullptr);
    EXPECT_EQ(ReportedRoutines(),
              (QStringList{"qlMsSqlSystem.JobAlreadyExist", "qlMSSQLSystem.JobCurrentStatus",
                           "qlMsSqlSystem.JobAlreadyExist", "qlMsSqlSystem.HelpJobStep"}));
    EXPECT_TRUE(msdb->calls().empty());
}

TEST_F(MsSqlSystemTest, TheAgentRunsOnlyWhenItsServiceSaysSo) {
    ASSERT_TRUE(sys->Initialize(conn.get()));
    msdb->clearCalls();
    const QString agent =
        "DECLARE @agent NVARCHAR(512);\rSELECT @agent = COALESCE(N'SQLAgent$' + CONVERT(SYSNAME, "
        "SERVERPROPERTY('InstanceName')),N'SQLServerAgent');\r"
        "EXEC master.dbo.xp_servicecontrol 'QueryState', @agent;";
    for (const char* state : {"Running.", "Stopped.", "Running"})
        msdb->respond(agent, ScriptedConnection::Table({"Current Service State"}, {{state}}), true);
    EXPECT_EQ(
        (std::vector<bool>{sys->CheckAgentRunning(), sys->CheckAgentRunning(), sys->CheckAgentRunning()}),
        (std::vector<bool>{true, false, false}));
    EXPECT_EQ(Sent(), QStringList(3, agent));
}

} // namespace
} // namespace qldb::test
