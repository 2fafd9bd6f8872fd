// qlMsSqlSystem against a real SQL Server (see mssql_live_fixture.h): Agent jobs, a backup's file
// list, the table and database enumeration, single-user switching and the Agent state. The test's
// database is the one backed up, listed and switched; the jobs and files a test makes go at the end.
#include "live/mssql_live_fixture.h"
#include "platform/tools/conversions.h"
#include "server/ql_mssql_system.h"

namespace qldb::test {
namespace {

class MsSqlServerLive : public MsSqlLiveTest {
protected:
    void SetUp() override {
        MsSqlLiveTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        m_sys = cn().MsSqlSystem();
        ASSERT_TRUE(m_sys->Initialize(&cn()));
    }

    void TearDown() override {
        // Best effort, on the MSDB connection: whatever a failed test left behind goes.
        QString why;
        for (const QString& sql : m_cleanUp)
            if (m_sys && m_sys->MSDBConnection())
                RunStatement(*m_sys->MSDBConnection(), sql, &why);
        if (m_sys)
            m_sys->Finalize();
        MsSqlLiveTest::TearDown();
    }
    // On the MSDB connection, which outlives the test's own session.
    QVariant Scalar(const QString& sql) { return scalar(sql, m_sys->MSDBConnection()); }

    QStringList m_cleanUp;
    std::unique_ptr<qlMsSqlSystem> m_sys;
};

TEST_F(MsSqlServerLive, JobLifecycle) {
    const QString job = databaseName() + "_job";
    m_cleanUp << "IF EXISTS (SELECT 1 FROM msdb.dbo.sysjobs WHERE name = N'" + job +
                     "') EXEC msdb.dbo.sp_delete_job @job_name = N'" + job + "'";
    ASSERT_TRUE(m_sys->AddJob(job, ql_eMsSqlJobStatus::eMsSqlDisabled, "qldb live test", "",
                              ql_eMsSqlCategoryValues::eMsSqlDatabaseMaintenance));
    EXPECT_FALSE(m_sys->AddJob(job, ql_eMsSqlJobStatus::eMsSqlDisabled));
    EXPECT_EQ(m_sys->JobCurrentStatus(job), ql_eMsSqlJobExecutionStatus::eMsSqlJobInactive);
    EXPECT_EQ(ToLong(Scalar("SELECT enabled FROM msdb.dbo.sysjobs WHERE name = N'" + job + "'")), 0);
    EXPECT_TRUE(m_sys->AddJobStep(job, "SELECT 1", "Step1", ql_eMsSqlSubSystemValues::eMsSqlTSQL));
    auto steps = m_sys->HelpJobStep(job);
    ASSERT_TRUE(steps && !steps->IsEOF());
    EXPECT_EQ(ToText(steps->Value("step_name")), "Step1");
    EXPECT_TRUE(m_sys->AddJobSchedule(job, "Orlina_Schedule", 8, 3, 0, 1, 0, 220000));
    auto schedules = m_sys->HelpJobSchedule(job);
    ASSERT_TRUE(schedules && !schedules->IsEOF());
    EXPECT_EQ((std::vector<int32_t>{ToLong(schedules->Value("freq_type")),
                                    ToLong(schedules->Value("freq_interval")),
                                    ToLong(schedules->Value("active_start_time"))}),
              (std::vector<int32_t>{8, 3, 220000}));
    EXPECT_TRUE(m_sys->UpdateJobSchedule(job, "Orlina_Schedule", "", 4, 1, 0, 0, 20300101, 10000));
    // On a live connection the schedule is never deleted here.
    EXPECT_FALSE(m_sys->DeleteJobSchedule(job, "Orlina_Schedule"));
    EXPECT_TRUE(m_sys->DeleteJob(job));
    EXPECT_EQ(m_sys->JobCurrentStatus(job), ql_eMsSqlJobExecutionStatus::eMsSqlJobDontExists);
    EXPECT_EQ(reported(), "");
}

TEST_F(MsSqlServerLive, FileListOfABackupMadeHere) {
    const QString db = databaseName();
    const QString file = db + ".bak"; // in the server's default backup folder
    // The backup's file and its history go whatever happens; the path is the one the server wrote.
    m_cleanUp << QString("DECLARE @f NVARCHAR(260) = (SELECT TOP 1 physical_device_name FROM "
                         "msdb.dbo.backupmediafamily m JOIN msdb.dbo.backupset s ON s.media_set_id = "
                         "m.media_set_id WHERE s.database_name = N'%1' ORDER BY s.backup_finish_date DESC); "
                         "IF @f IS NOT NULL EXEC master.dbo.xp_delete_file 0, @f")
                     .arg(db)
              << "EXEC msdb.dbo.sp_delete_database_backuphistory @database_name = N'" + db + "'";
    cn().Execute("BACKUP DATABASE [" + db + "] TO DISK = N'" + file + "' WITH INIT");
    auto rs = m_sys->RestoreFileListOnly(file);
    ASSERT_TRUE(rs && rs->State() == ado::adStateOpen);
    ASSERT_EQ(rs->RecordCount(), 2);
    EXPECT_EQ(ToText(rs->Value("LogicalName")), db);
    rs->MoveNext();
    EXPECT_EQ(ToText(rs->Value("LogicalName")), db + "_log");
}

TEST_F(MsSqlServerLive, TablesAndManagedDatabases) {
    const QString db = databaseName();
    for (const QString table : {"SYS_DBS", "A01_CLI"})
        cn().Execute("CREATE TABLE " + table + " (ID INT)");
    const MsSqlServerSettings& s = server();
    const QStringList tables = m_sys->GetTables(s.Server, s.User, s.Password, db.toUpper());
    EXPECT_TRUE(tables.contains("SYS_DBS") && tables.contains("A01_CLI"));
    EXPECT_TRUE(m_sys->GetTables(s.Server, s.User, s.Password, db + "_none").isEmpty());
    bool missing = false;
    EXPECT_TRUE(m_sys->GetMirandoDb(s.Server, s.User, s.Password, &missing).contains(db) && !missing);
    EXPECT_TRUE(m_sys->GetMirandoDb("127.0.0.1,1", s.User, s.Password, &missing).isEmpty() && missing);
    EXPECT_EQ(reported(), "");
}

TEST_F(MsSqlServerLive, SingleUserSwitchAndServerState) {
    // The test's own session on the database is one that the switch ends.
    const QString db = databaseName();
    const QString access = "SELECT user_access_desc FROM sys.databases WHERE name = N'" + db + "'";
    ASSERT_TRUE(m_sys->DisconnectUser(db));
    EXPECT_EQ(ToText(Scalar(access)), "SINGLE_USER");
    ASSERT_TRUE(m_sys->ConnectUser(db));
    EXPECT_EQ(ToText(Scalar(access)), "MULTI_USER");
    auto rs = m_sys->GetDatabases();
    ASSERT_TRUE(rs);
    rs->setFilter("DATABASE_NAME='" + db + "'");
    EXPECT_FALSE(rs->IsEOF());
    const bool agent = ToText(Scalar("SELECT status_desc FROM sys.dm_server_services WHERE servicename LIKE "
                                     "'SQL Server Agent%'")) == "Running";
    EXPECT_EQ(m_sys->CheckAgentRunning(), agent);
}

} // namespace
} // namespace qldb::test
