#include "mssql_fixture.h"

namespace qldb::test {
namespace {

using Status = ql_eMsSqlJobExecutionStatus;

TEST_F(MsSqlSystemTest, InitializeClonesTheConnectionSettingsOntoMsdb) {
    conn->setMirandoProduct(true);
    conn->setServer(QStringLiteral("db.example,1433"));
    conn->setBulkCopyVersion(90);
    conn->setBulkCopyMode(2);
    // Neither of these may reach the clone: it composes its own string for MSDB (and remembers the
    // provider it named there).
    conn->setForcedConnectionString(QStringLiteral("DSN=forced"));
    conn->setProviderName(QStringLiteral("SQLNCLI11"));
    ASSERT_TRUE(sys->Initialize(conn.get()));
    const qlConnection* m = sys->MSDBConnection();
    ASSERT_NE(m, nullptr);
    EXPECT_EQ((QStringList{m->DatabaseName(), m->Server(), m->User(), m->Password(), m->ProductName(),
                           m->ProviderName(), m->ForcedConnectionString()}),
              (QStringList{"MSDB", "db.example,1433", "sa", "pw", "Mirando ERP", "SQLOLEDB.1", ""}));
    EXPECT_TRUE(m->MirandoProduct());
    EXPECT_EQ(m->BulkCopyMode(), 2);
    EXPECT_EQ(m->Errors(), errors);
    EXPECT_EQ(msdb->trace().last(), "Open");
    EXPECT_TRUE(msdb->ConnectionString().contains("Initial Catalog=MSDB"))
        << msdb->ConnectionString().toStdString();

    sys->Terminate();
    EXPECT_EQ(sys->MSDBConnection(), nullptr);
    EXPECT_EQ(msdb->trace().last(), "Close");
    sys->Terminate(); // nothing left to close: no report
    EXPECT_TRUE(errors->reports().empty());

    // No connection to clone: false, and the clone's failure reported.
    EXPECT_FALSE(sys->Initialize(nullptr));
    EXPECT_EQ(ReportedRoutines(), QStringList{"qlMsSqlSystem.CreateMsdbConnection"});
    // Every read of the property is a new object with the connection's Errors.
    EXPECT_NE(conn->MsSqlSystem().get(), conn->MsSqlSystem().get());
}

TEST_F(MsSqlSystemTest, ParametersThatAreNotSetAreLeftOut) {
    ASSERT_TRUE(sys->Initialize(conn.get()));
    Jobs({{"J"}});
    EXPECT_TRUE(sys->SetDbOption("Sales", "single user", ql_eMsSqlOptValue::eMsSqlTrue));
    EXPECT_TRUE(sys->SetDbOption("Sales", "", ql_eMsSqlOptValue{0}));
    EXPECT_TRUE(sys->AddJobStep("J", "BACKUP x"));
    EXPECT_TRUE(sys->AddJobStep("J", "BACKUP y", "Step", ql_eMsSqlSubSystemValues::eMsSqlTSQL, "SRV01",
                                "Sales", ql_eMsSqlOnSuccessAction::eMsSqlEsecuzionePassaggioSuccessivo, 5, 5,
                                "c:\\TestBackup\\test.txt"));
    EXPECT_TRUE(sys->AddJobServer("J", "SRV01"));
    // An interval of 0 is left out, and so is every other 0.
    EXPECT_TRUE(sys->AddJobSchedule("J", "S", 4, 0, 0, 0, 20240131, 93000));
    EXPECT_TRUE(sys->UpdateJobSchedule("J", "S", "T", 32, 6, 4, 2, 0, 220000));
    EXPECT_NE(sys->HelpJobSchedule("J"), nullptr);
    EXPECT_NE(sys->HelpJobStep("J"), nullptr);
    EXPECT_TRUE(sys->DeleteJob(QVariant("J")));
    EXPECT_NE(sys->GetDatabases(), nullptr);
    EXPECT_EQ(
        Actions(),
        (QStringList{
            "sp_dboption @dbname=Sales(128) @optname=single user(35) @optvalue=true(10)",
            "sp_dboption @dbname=Sales(128)", "sp_add_jobstep @job_name=J(128) @command=BACKUP x(3200)",
            "sp_add_jobstep @job_name=J(128) @command=BACKUP y(3200) @step_name=Step(128) "
            "@subsystem=TSQL(40) "
            "@server=SRV01(30) @database_name=Sales(128) @on_success_action=3(0) @retry_attempts=5(0) "
            "@retry_interval=5(0) @output_file_name=c:\\TestBackup\\test.txt(200)",
            "sp_add_jobserver @job_name=J(128) @server_name=SRV01(30)",
            "sp_add_jobschedule @job_name=J(128) @name=S(128) @freq_type=4(0) @active_start_date=20240131(0) "
            "@active_start_time=93000(0)",
            "sp_update_jobschedule @job_name=J(128) @name=S(128) @new_name=T(128) @freq_type=32(0) "
            "@freq_interval=6(0) @freq_relative_interval=4(0) @freq_recurrence_factor=2(0) "
            "@active_start_time=220000(0)",
            "sp_help_jobschedule @job_name=J(128)", "sp_help_jobstep @job_name=J(128)",
            "sp_delete_job @job_name=J(128)", "sp_databases"}));
    // Text parameters go as 12 (varchar), numbers as 2 (long), through the one type mapping.
    Command step;
    for (const Call& c : msdb->callsOf(CallKind::ExecuteCommand))
        if (c.Text == "sp_add_jobstep")
            step = c.Cmd;
    EXPECT_EQ(step.Parameters.at(0).Type, conn->GetAdoDataType(ql_eDataType::TypeVarChar));
    EXPECT_EQ(step.Parameters.at(6).Type, conn->GetAdoDataType(ql_eDataType::TypeLong));
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(MsSqlSystemTest, AddJobSendsEnabledAlwaysAndNeverAddsAnExistingJob) {
    ASSERT_TRUE(sys->Initialize(conn.get()));
    Jobs({{"Other"}}, true);
    Jobs({{"Other"}}, true);
    Jobs({{"J"}});
    EXPECT_TRUE(sys->AddJob("J", ql_eMsSqlJobStatus::eMsSqlDisabled));
    EXPECT_TRUE(sys->AddJob("K", ql_eMsSqlJobStatus::eMsSqlEnabled, "Backup Di Sales", "sa",
                            ql_eMsSqlCategoryValues::eMsSqlDatabaseMaintenance));
    // The job exists now: no second sp_add_job, whatever the other arguments say.
    EXPECT_FALSE(sys->AddJob("J", ql_eMsSqlJobStatus::eMsSqlEnabled));
    EXPECT_EQ(Procedures(),
              (QStringList{"sp_help_job", "sp_add_job @job_name=J(128) @enabled=0(0)", "sp_help_job",
                           "sp_add_job @job_name=K(128) @enabled=1(0) @description=Backup Di Sales(128) "
                           "@owner_login_name=sa(128) @category_name=Database Maintenance(128)",
                           "sp_help_job"}));
    // An unknown category is left out like 0.
    msdb->clearCalls();
    EXPECT_TRUE(sys->AddJob("Q", ql_eMsSqlJobStatus::eMsSqlEnabled, "", "", ql_eMsSqlCategoryValues{15}));
    EXPECT_EQ(Actions(), QStringList{"sp_add_job @job_name=Q(128) @enabled=1(0)"});
}

TEST_F(MsSqlSystemTest, AddJobDeletesFirstWhenAsked) {
    ASSERT_TRUE(sys->Initialize(conn.get()));
    Jobs({{"J"}}, true); // DeleteJob's test finds it
    Jobs({});            // then it is gone
    EXPECT_TRUE(
        sys->AddJob("J", ql_eMsSqlJobStatus::eMsSqlEnabled, "", "", ql_eMsSqlCategoryValues{0}, true));
    EXPECT_EQ(Procedures(), (QStringList{"sp_help_job", "sp_delete_job @job_name=J(128)", "sp_help_job",
                                         "sp_add_job @job_name=J(128) @enabled=1(0)"}));
}

TEST_F(MsSqlSystemTest, StartAndStopFollowTheJobsStatus) {
    ASSERT_TRUE(sys->Initialize(conn.get()));
    // status, StartJob's answer, StopJob's answer
    const std::vector<std::tuple<int32_t, bool, bool>> cases = {{1, false, true}, {2, false, true},
                                                                {3, false, true}, {4, true, false},
                                                                {5, true, false}, {7, false, true}};
    for (const auto& [status, started, stopped] : cases) {
        msdb = std::make_shared<ScriptedConnection>();
        ASSERT_TRUE(sys->Initialize(conn.get()));
        Jobs({{"J", status}});
        msdb->clearCalls();
        EXPECT_EQ(sys->StartJob("J"), QVariant(started)) << status;
        // One fetch for the job test and one per status comparison.
        EXPECT_EQ(Procedures().count("sp_help_job"), 3);
        EXPECT_EQ(Actions(), started ? QStringList{"sp_start_job @job_name=J(128)"} : QStringList{})
            << status;
        msdb->clearCalls();
        EXPECT_EQ(sys->StopJob("J"), stopped) << status;
        EXPECT_EQ(Procedures().count("sp_help_job"), 5);
        EXPECT_EQ(Actions(), stopped ? QStringList{"sp_stop_job @job_name=J(128)"} : QStringList{}) << status;
    }
    // A job the server does not know: -1 without a report, and nothing started or stopped.
    Jobs({});
    msdb->clearCalls();
    EXPECT_EQ(sys->JobCurrentStatus("Nobody"), Status::eMsSqlJobDontExists);
    EXPECT_EQ(sys->StartJob("Nobody", true), QVariant(false));
    EXPECT_TRUE(Actions().isEmpty());
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(MsSqlSystemTest, TheGuardsThatDifferOnPurpose) {
    ASSERT_TRUE(sys->Initialize(conn.get()));
    Jobs({{"J"}});
    // On a live connection a schedule is never deleted here.
    EXPECT_FALSE(sys->DeleteJobSchedule("J", "Orlina_Schedule"));
    // Unknown jobs go to SQL Server anyway for these three, and are refused by the others.
    EXPECT_TRUE(sys->UpdateJobSchedule("Nobody", "S"));
    EXPECT_NE(sys->HelpJobSchedule("Nobody"), nullptr);
    EXPECT_NE(sys->HelpJobStep("Nobody"), nullptr);
    EXPECT_FALSE(sys->AddJobStep("Nobody", "x"));
    EXPECT_FALSE(sys->AddJobServer("Nobody", "SRV01"));
    EXPECT_FALSE(sys->AddJobSchedule("Nobody", "S", 4));
    EXPECT_FALSE(sys->DeleteJob(QVariant("Nobody")));
    EXPECT_EQ(Actions(), (QStringList{"sp_update_jobschedule @job_name=Nobody(128) @name=S(128)",
                                      "sp_help_jobschedule @job_name=Nobody(128)",
                                      "sp_help_jobstep @job_name=Nobody(128)"}));
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(MsSqlSystemTest, WithoutInitializeTheJobTestsEndInTheReport) {
    // No MSDB connection: nothing is sent, the plain guards give false quietly, and the job tests
    // fail on the missing job list.
    EXPECT_FALSE(sys->SetDbOption("Sales"));
    EXPECT_EQ(sys->HelpJob(), nullptr);
    EXPECT_EQ(sys->GetDatabases(), nullptr);
    EXPECT_FALSE(sys->DisconnectUser("Sales"));
    EXPECT_FALSE(sys->ConnectUser("Sales"));
    EXPECT_EQ(sys->RestoreFileListOnly("c:\\x.bak"), nullptr);
    EXPECT_TRUE(errors->reports().empty());
    EXPECT_FALSE(sys->AddJobStep("J", "x"));
    EXPECT_EQ(sys->JobCurrentStatus("J"), Status{0});
    EXPECT_EQ(sys->HelpJobStep("J"), nullptr);
    EXPECT_EQ(ReportedRoutines(),
              (QStringList{"qlMsSqlSystem.JobAlreadyExist", "qlMSSQLSystem.JobCurrentStatus",
                           "qlMsSqlSystem.JobAlreadyExist", "qlMsSqlSystem.HelpJobStep"}));
    EXPECT_TRUE(msdb->calls().empty());
}

TEST_F(MsSqlSystemTest, ARaisedErrorIsReportedAndRetriedOnRequest) {
    errors->setErrorMode(kErrorModeRaise);
    ASSERT_TRUE(sys->Initialize(conn.get()));
    Jobs({{"J"}});
    msdb->fail("sp_add_jobserver", kErrSyntax, "The specified @server_name ('X') does not exist.", true);
    errors->queueDecision(kDecisionRepeat);
    EXPECT_TRUE(sys->AddJobServer("J", "X"));
    msdb->fail("sp_add_jobserver", kErrSyntax, "The specified @server_name ('X') does not exist.", true);
    EXPECT_FALSE(sys->AddJobServer("J", "X"));
    EXPECT_EQ(Actions(), QStringList(3, "sp_add_jobserver @job_name=J(128) @server_name=X(30)"));
    EXPECT_EQ(ReportedRoutines(), QStringList(2, "qlMsSqlSystem.AddJobServer"));
    EXPECT_EQ(errors->reports().at(0).Error.Description, "The specified @server_name ('X') does not exist.");
}

TEST_F(MsSqlSystemTest, PlainStatementsOnMsdb) {
    ASSERT_TRUE(sys->Initialize(conn.get()));
    msdb->clearCalls();
    const QString agent = "DECLARE @agent NVARCHAR(512);\r"
                          "SELECT @agent = COALESCE(N'SQLAgent$' + CONVERT(SYSNAME, "
                          "SERVERPROPERTY('InstanceName')),N'SQLServerAgent');\r"
                          "EXEC master.dbo.xp_servicecontrol 'QueryState', @agent;";
    msdb->respond(agent, ScriptedConnection::Table({"Current Service State"}, {{"Running."}}), true);
    msdb->respond(agent, ScriptedConnection::Table({"Current Service State"}, {{"Stopped."}}), true);
    msdb->respond(agent, ScriptedConnection::Table({"Current Service State"}, {{"Running"}}), true);
    EXPECT_TRUE(sys->CheckAgentRunning());
    EXPECT_FALSE(sys->CheckAgentRunning());
    EXPECT_FALSE(sys->CheckAgentRunning());
    EXPECT_TRUE(sys->DisconnectUser("Sales"));
    EXPECT_TRUE(sys->ConnectUser("Sales"));
    EXPECT_NE(sys->RestoreFileListOnly("c:\\TestBackup\\Sales.bak"), nullptr);
    EXPECT_EQ(
        msdb->statements(),
        (QStringList{agent, agent, agent, "ALTER DATABASE Sales SET SINGLE_USER WITH ROLLBACK IMMEDIATE",
                     "ALTER DATABASE Sales SET MULTI_USER",
                     "RESTORE FILELISTONLY FROM DISK = 'c:\\TestBackup\\Sales.bak'"}));
    EXPECT_EQ(msdb->callsOf(CallKind::OpenRecordset).back().LockType, ado::adLockReadOnly);
}

} // namespace
} // namespace qldb::test
