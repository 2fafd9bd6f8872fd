// qlMsSqlSystem against a real SQL Server: Agent jobs, a backup's file list, the table and database
// enumeration, single-user switching and the Agent state. It runs only when QLDB_TEST_MSSQL holds
// an ODBC connection string to a server ("DRIVER=FreeTDS;SERVER=host;PORT=1433;UID=sa;PWD=..."),
// creates its own job and databases with unique names and removes them afterwards.
#include "connection/ql_connection.h"
#include "platform/tools/conversions.h"
#include "server/ql_mssql_system.h"

#include <QCoreApplication>
#include <QDateTime>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

namespace qldb {
namespace {

struct ServerLogin {
    QString Server; // "host,port"
    QString User;
    QString Password;
};

// SERVER, PORT, UID and PWD of the connection string; an empty server when the variable is unset.
ServerLogin LoginFromEnvironment() {
    ServerLogin login;
    const char* value = std::getenv("QLDB_TEST_MSSQL");
    if (value == nullptr)
        return login;
    QString port;
    for (const QString& part : QString::fromLocal8Bit(value).split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const QString key = part.section(QLatin1Char('='), 0, 0).trimmed().toUpper();
        const QString val = part.section(QLatin1Char('='), 1).trimmed();
        if (key == "SERVER")
            login.Server = val;
        else if (key == "PORT")
            port = val;
        else if (key == "UID")
            login.User = val;
        else if (key == "PWD")
            login.Password = val;
    }
    if (!port.isEmpty() && !login.Server.contains(QLatin1Char(',')))
        login.Server += QLatin1Char(',') + port;
    return login;
}

class MsSqlServerLive : public ::testing::Test {
protected:
    void SetUp() override {
        m_login = LoginFromEnvironment();
        if (m_login.Server.isEmpty())
            GTEST_SKIP()
                << "QLDB_TEST_MSSQL is not set: the live SQL Server administration suite was skipped";
        m_suffix = QStringLiteral("%1_%2")
                       .arg(QCoreApplication::applicationPid())
                       .arg(QDateTime::currentMSecsSinceEpoch());
        m_errors = std::make_shared<HeadlessErrorService>(kDecisionLeave, kErrorModeRaise);
        m_cn = std::make_unique<qlConnection>();
        m_cn->setErrors(m_errors);
        m_cn->setProviderType(ql_eProviderType::SQLServer);
        m_cn->setServer(m_login.Server);
        m_cn->setDatabaseName("master");
        m_cn->setUser(m_login.User);
        m_cn->setPassword(m_login.Password);
        m_cn->OpenConnection();
        m_sys = m_cn->MsSqlSystem();
        ASSERT_TRUE(m_sys->Initialize(m_cn.get()));
    }

    void TearDown() override {
        if (!m_cn)
            return;
        // Best effort: whatever a failed test left behind goes.
        bool bError = false;
        for (const QString& job : m_jobs)
            m_cn->Execute("IF EXISTS (SELECT 1 FROM msdb.dbo.sysjobs WHERE name = N'" + job +
                              "') EXEC msdb.dbo.sp_delete_job @job_name = N'" + job + "'",
                          &bError);
        for (const QString& db : m_databases)
            m_cn->Execute("IF DB_ID(N'" + db + "') IS NOT NULL BEGIN ALTER DATABASE [" + db +
                              "] SET SINGLE_USER WITH ROLLBACK IMMEDIATE; DROP DATABASE [" + db + "] END",
                          &bError);
        if (m_sys)
            m_sys->Finalize();
        m_cn->Finalize();
    }

    QString NewDatabase(const QString& prefix) {
        const QString db = prefix + m_suffix;
        m_databases << db;
        m_cn->Execute("CREATE DATABASE " + db);
        return db;
    }
    QVariant Scalar(const QString& sql) {
        auto rs = m_cn->ExecuteWC(sql);
        return rs && rs->State() == ado::adStateOpen && !rs->IsEOF() ? rs->Value(0) : QVariant();
    }

    ServerLogin m_login;
    QString m_suffix;
    QStringList m_jobs;
    QStringList m_databases;
    std::shared_ptr<HeadlessErrorService> m_errors;
    std::unique_ptr<qlConnection> m_cn;
    std::unique_ptr<qlMsSqlSystem> m_sys;
};

TEST_F(MsSqlServerLive, JobLifecycle) {
    const QString job = "qldb_live_job_" + m_suffix;
    m_jobs << job;
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
    EXPECT_TRUE(m_errors->reports().empty());
}

TEST_F(MsSqlServerLive, FileListOfABackupMadeHere) {
    const QString db = NewDatabase("qldb_live_bak_");
    const QString file = db + ".bak"; // in the server's default backup folder
    m_cn->Execute("BACKUP DATABASE " + db + " TO DISK = '" + file + "' WITH INIT");
    auto rs = m_sys->RestoreFileListOnly(file);
    ASSERT_TRUE(rs && rs->State() == ado::adStateOpen);
    ASSERT_EQ(rs->RecordCount(), 2);
    EXPECT_EQ(ToText(rs->Value("LogicalName")), db);
    rs->MoveNext();
    EXPECT_EQ(ToText(rs->Value("LogicalName")), db + "_log");
    bool bError = false;
    m_cn->Execute(
        "DECLARE @f NVARCHAR(260) = (SELECT TOP 1 physical_device_name FROM msdb.dbo.backupmediafamily m "
        "JOIN msdb.dbo.backupset s ON s.media_set_id = m.media_set_id WHERE s.database_name = N'" +
            db + "' ORDER BY s.backup_finish_date DESC); EXEC master.dbo.xp_delete_file 0, @f",
        &bError);
}

TEST_F(MsSqlServerLive, TablesAndManagedDatabases) {
    const QString db = NewDatabase("qldb_live_cat_");
    m_cn->Execute("CREATE TABLE " + db + ".dbo.SYS_DBS (ID INT)");
    m_cn->Execute("CREATE TABLE " + db + ".dbo.A01_CLI (ID INT)");
    const QStringList tables = m_sys->GetTables(m_login.Server, m_login.User, m_login.Password, db.toUpper());
    EXPECT_TRUE(tables.contains("SYS_DBS") && tables.contains("A01_CLI"));
    EXPECT_TRUE(
        m_sys->GetTables(m_login.Server, m_login.User, m_login.Password, "qldb_none_" + m_suffix).isEmpty());
    bool missing = false;
    EXPECT_TRUE(m_sys->GetMirandoDb(m_login.Server, m_login.User, m_login.Password, &missing).contains(db));
    EXPECT_FALSE(missing);
    EXPECT_TRUE(m_sys->GetMirandoDb("127.0.0.1,1", m_login.User, m_login.Password, &missing).isEmpty());
    EXPECT_TRUE(missing);
    EXPECT_TRUE(m_errors->reports().empty());
}

TEST_F(MsSqlServerLive, SingleUserSwitchAndServerState) {
    const QString db = NewDatabase("qldb_live_usr_");
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
} // namespace qldb
