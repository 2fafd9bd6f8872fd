#include "mssql_fixture.h"

namespace qldb::test {
namespace {

const QString kFullJob = "Orlina_Sales_Backup_Full_20240131090507";
const QString kDiffJob = "Orlina_Sales_Backup_Diff_20240131090507";
const QString kRestoreJob = "Orlina_Sales_Restore_20240131090507";
const QString kFileList = "RESTORE FILELISTONLY FROM DISK = 'c:\\TestBackup\\Sales.bak'";

// The chain of a one-step job: created, given its step, put on the server, started.
QStringList Chain(const QString& job, const QString& description, const QString& command, const QString& step,
                  const QString& database = QString()) {
    const QString name = "@job_name=" + job + "(128)";
    return {"sp_add_job " + name + " @enabled=1(0) @description=" + description +
                "(128) @owner_login_name=sa(128) @category_name=Database Maintenance(128)",
            "sp_add_jobstep " + name + " @command=" + command + "(3200) @step_name=" + step +
                "(128) @subsystem=TSQL(40) @server=SRV01(30)" +
                (database.isEmpty() ? QString() : " @database_name=" + database + "(128)") +
                " @on_success_action=3(0) @retry_attempts=5(0) @retry_interval=5(0) "
                "@output_file_name=c:\\TestBackup\\test.txt(200)",
            "sp_add_jobserver " + name + " @server_name=SRV01(30)", "sp_start_job " + name};
}
// A restore job's chain inside the single-user spell of the database it replaces.
QStringList SingleUser(const QString& db, const QStringList& chain) {
    return QStringList{"ALTER DATABASE " + db + " SET SINGLE_USER WITH ROLLBACK IMMEDIATE"} + chain +
           QStringList{"ALTER DATABASE " + db + " SET MULTI_USER"};
}

// The full backup has no blank before WITH INIT; the differential one has it.
const QStringList kFullChain =
    Chain(kFullJob, "Backup Di Sales",
          "BACKUP DATABASE Sales TO DISK = 'c:\\TestBackup\\Sales.bak'WITH INIT,STATS = 10",
          "Backup_Completo", "Sales");
const QStringList kDiffChain =
    Chain(kDiffJob, "Backup Di Sales",
          "BACKUP DATABASE Sales TO DISK = 'c:\\TestBackup\\Sales.bak' WITH DIFFERENTIAL,STATS = 10",
          "Backup_Differenziale", "Sales");

class BackupJobs : public MsSqlSystemTest {
protected:
    void SetUp() override {
        MsSqlSystemTest::SetUp();
        wizard.lstDatabase.Items = QStringList{"Sales"};
        wizard.lstDatabase.SelectedItem = 0;
        wizard.cmbFilesBak = {{{"Sales.bak", 0}}, 0};
        wizard.txtNewDatabase = "Copy";
    }
    void Databases(const QStringList& names) {
        std::vector<Row> rows;
        for (const QString& n : names)
            rows.push_back({n, 1024, QVariant()});
        msdb->respond("sp_databases",
                      ScriptedConnection::Table({"DATABASE_NAME", "DATABASE_SIZE", "REMARKS"}, rows));
    }
    // A fresh MSDB with these databases, a backup of two files, and job unknown to AddJob's test
    // and known (idle) from then on.
    void Fresh(const QString& job, const QStringList& databases = {}) {
        msdb = std::make_shared<ScriptedConnection>();
        msdb->respond(kFileList, ScriptedConnection::Table({"LogicalName"}, {{"Sales_Data"}, {"Sales_Log"}}));
        Databases(databases);
        Jobs({}, 4, true);
        Jobs({job});
    }
    bool Run(int32_t menu, int32_t type = -1) {
        wizard.optMenu = menu;
        wizard.optBackupTypes = type;
        return menu == 0 ? wizard.Backup() : wizard.Restore();
    }
};

TEST_F(BackupJobs, EveryKindRunsItsStatementAsAStartedOneStepJob) {
    const auto run = [&](int32_t menu, int32_t type, const QString& job, int32_t interval,
                         const QStringList& databases = {}) {
        Fresh(job, databases);
        wizard.tmrParseEnabled = wizard.ProgressBarVisible = false;
        EXPECT_TRUE(Run(menu, type) && wizard.tmrParseEnabled && wizard.ProgressBarVisible)
            << job.toStdString();
        EXPECT_EQ(wizard.tmrParseInterval, interval) << job.toStdString();
        EXPECT_EQ(wizard.lblEnd, "Operazione in corso...");
        EXPECT_EQ(msdb->trace().last(), "Close"); // the MSDB connection ends with the routine
        return Sent();
    };
    EXPECT_EQ(run(0, 0, kFullJob, 2000), kFullChain);
    EXPECT_EQ(run(0, 2, kDiffJob, 500), kDiffChain); // short: its progress is looked at more often
    const QString from = " FROM DISK = 'c:\\TestBackup\\Sales.bak' WITH ";
    EXPECT_EQ(run(1, -1, kRestoreJob, 2000),
              SingleUser("Sales", Chain(kRestoreJob, "Restore Di Sales",
                                        "RESTORE DATABASE Sales" + from + "STATS = 10", "Restore_Sales")));
    // A new name moves both files to that name by their position in the backup, whatever the
    // logical names and the file's own name; over an existing database it replaces it.
    const QString move = ",MOVE 'Sales_Data' TO 'c:\\Programmi\\Microsoft SQL Server\\MSSQL\\Data\\Copy.mdf',"
                         "MOVE 'Sales_Log' TO 'c:\\Programmi\\Microsoft SQL Server\\MSSQL\\Data\\Copy.ldf'";
    const auto restoreCopy = [&](const QString& replace) {
        return Chain(kRestoreJob, "Restore Di Copy",
                     "RESTORE DATABASE Copy" + from + replace + "STATS = 10" + move, "Restore_Copy");
    };
    const QStringList lookups{"sp_databases", kFileList};
    EXPECT_EQ(run(2, -1, kRestoreJob, 2000, {"master", "Sales"}), lookups + restoreCopy(""));
    host->queueAnswer(MsgAnswer::Yes);
    EXPECT_EQ(run(2, -1, kRestoreJob, 2000, {"Copy", "Sales"}),
              lookups + SingleUser("Copy", restoreCopy("REPLACE,")));
    ASSERT_EQ(host->messages().size(), 1u);
    const ShownMessage& box = host->messages()[0];
    EXPECT_EQ(box.Text + "|" + box.Title,
              "Il Database Copy Esiste già.Se prosegui perderai tutti i dati.Proseguire?|Mirando ERP");
    EXPECT_TRUE(box.Buttons == MsgButtons::YesNo && box.Icon == MsgIcon::Exclamation);
    // A restore leaves the buttons off until the poll sees the end; the pointer is back each time.
    EXPECT_FALSE(wizard.cmdEndEnabled || wizard.cmdPreviousEnabled || wizard.cmdNextEnabled);
    std::vector<int32_t> pointers;
    for (int i = 0; i < 3; ++i)
        pointers.insert(pointers.end(), {kPointerHourglass, kPointerDefault});
    EXPECT_EQ(host->pointerChanges(), pointers);
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(BackupJobs, AFailingStepStopsTheChainAndLeavesTheStepsDone) {
    errors->setErrorMode(kErrorModeRaise);
    Fresh(kFullJob);
    msdb->fail("sp_add_jobserver", kErrSyntax, "The specified @server_name ('SRV01') does not exist.", true);
    EXPECT_FALSE(Run(0, 0));
    EXPECT_EQ(Sent(), kFullChain.mid(0, 3));
    EXPECT_FALSE(wizard.tmrParseEnabled);
    // The step's own report; the chain adds none.
    EXPECT_EQ(ReportedRoutines(), QStringList{"qlMsSqlSystem.AddJobServer"});
    // A job that exists already stops the chain at its first step.
    msdb = std::make_shared<ScriptedConnection>();
    Jobs({kFullJob});
    EXPECT_FALSE(Run(0, 0));
    EXPECT_TRUE(Sent().isEmpty());
}

TEST_F(BackupJobs, ProgrammedBackupGetsTheScheduleInsteadOfAStart) {
    Fresh(kDiffJob);
    wizard.Sheets.optFrequency = backup::Frequency::Monthly;
    wizard.Sheets.optMonthInterval = true;
    wizard.Sheets.cmbDays.SelectData(6);
    wizard.Sheets.cmbRelativeInterval.SelectData(4);
    wizard.Sheets.txtMonthsInterval = "2";
    wizard.Sheets.txtTime[2] = "23:15";
    ASSERT_TRUE(Run(0, 3));
    QStringList chain = kDiffChain;
    chain.last() = "sp_add_jobschedule @job_name=" + kDiffJob +
                   "(128) @name=Orlina_Schedule(128) @freq_type=32(0) @freq_interval=6(0) "
                   "@freq_relative_interval=4(0) @freq_recurrence_factor=2(0) @active_start_time=231500(0)";
    EXPECT_EQ(Sent(), chain);
    EXPECT_FALSE(wizard.tmrParseEnabled || wizard.ProgressBarVisible);
    EXPECT_EQ(wizard.lblEnd, "Operazione completata!Scegli 'Fine' per uscire.");
    // A time the sheet cannot read: nothing is created.
    msdb = std::make_shared<ScriptedConnection>();
    wizard.Sheets.txtTime[2] = "23h";
    EXPECT_FALSE(Run(0, 3));
    EXPECT_TRUE(msdb->calls().empty());
    EXPECT_EQ(ReportedRoutines(), QStringList{"frmBackup.ProgrammingBackup"});
}

TEST_F(BackupJobs, ARestoreUnderANewNameCanEndBeforeItsJob) {
    // Answering No to replacing the database starts nothing and is no failure.
    Databases({"Copy"});
    wizard.bOperationDone = true;
    host->queueAnswer(MsgAnswer::No);
    EXPECT_TRUE(Run(2));
    EXPECT_TRUE(wizard.cmdPreviousEnabled && wizard.cmdEndEnabled);
    EXPECT_FALSE(wizard.cmdNextEnabled || wizard.bOperationDone || wizard.ProgressBarVisible);
    EXPECT_TRUE(errors->reports().empty());
    // A backup of one file has no log file to move.
    wizard.txtNewDatabase = "Other";
    msdb->respond(kFileList, ScriptedConnection::Table({"LogicalName"}, {{"Sales_Data"}}));
    EXPECT_FALSE(Run(2));
    EXPECT_EQ(Sent(), (QStringList{"sp_databases", "sp_databases", kFileList}));
    EXPECT_EQ(ReportedRoutines(), QStringList{"frmBackup.GetFilesList"});
}

TEST_F(BackupJobs, TheDatabaseListLeavesTheSystemDatabasesOut) {
    Databases({"master", "Sales", "msdb", "model", "tempdb", "Master", "Copy"});
    ASSERT_TRUE(wizard.AddDatabase());
    EXPECT_EQ(wizard.lstDatabase.Items, (QStringList{"Sales", "Master", "Copy"}));
}

} // namespace
} // namespace qldb::test
