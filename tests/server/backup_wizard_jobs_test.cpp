#include "wizard_fixture.h"

namespace qldb::test {
namespace {

const QString kFullJob = "Orlina_Sales_Backup_Full_20240131090507";
const QString kStepTail = " @subsystem=TSQL(40) @server=SRV01(30)";
const QString kRetries = " @on_success_action=3(0) @retry_attempts=5(0) @retry_interval=5(0) "
                         "@output_file_name=c:\\TestBackup\\test.txt(200)";

QString AddJob(const QString& job, const QString& description) {
    return "sp_add_job @job_name=" + job + "(128) @enabled=1(0) @description=" + description +
           "(128) @owner_login_name=sa(128) @category_name=Database Maintenance(128)";
}

class BackupJobs : public WizardTest {
protected:
    void SetUp() override {
        WizardTest::SetUp();
        wizard.lstDatabase.Items = QStringList{"Sales"};
        wizard.lstDatabase.SelectedItem = 0;
    }
    void FileList(const std::vector<Row>& rows) {
        msdb->respond("RESTORE FILELISTONLY FROM DISK = 'c:\\TestBackup\\Sales.bak'",
                      ScriptedConnection::Table({"LogicalName", "PhysicalName", "Type"}, rows));
    }
};

TEST_F(BackupJobs, ImmediateBackupsBuildAndStartOneStepJobs) {
    NewJobThenIdle(kFullJob);
    wizard.optBackupTypes = 0;
    ASSERT_TRUE(wizard.Backup());
    EXPECT_EQ(Sent(), (QStringList{AddJob(kFullJob, "Backup Di Sales"),
                                   "sp_add_jobstep @job_name=" + kFullJob +
                                       "(128) @command=BACKUP DATABASE Sales TO DISK = "
                                       "'c:\\TestBackup\\Sales.bak'WITH INIT,STATS = 10(3200) "
                                       "@step_name=Backup_Completo(128)" +
                                       kStepTail + " @database_name=Sales(128)" + kRetries,
                                   "sp_add_jobserver @job_name=" + kFullJob + "(128) @server_name=SRV01(30)",
                                   "sp_start_job @job_name=" + kFullJob + "(128)"}));
    EXPECT_TRUE(wizard.tmrParseEnabled);
    EXPECT_EQ(wizard.tmrParseInterval, 2000);
    EXPECT_TRUE(wizard.ProgressBarVisible);
    EXPECT_EQ(wizard.lblEnd, "Operazione in corso...");
    EXPECT_EQ(msdb->trace().last(), "Close"); // the MSDB connection ends with the routine

    // A differential one is polled more often.
    msdb = std::make_shared<ScriptedConnection>();
    NewJobThenIdle("Orlina_Sales_Backup_Diff_20240131090507");
    wizard.optBackupTypes = 2;
    ASSERT_TRUE(wizard.Backup());
    EXPECT_EQ(wizard.tmrParseInterval, 500);
    EXPECT_TRUE(Sent().at(1).contains("'c:\\TestBackup\\Sales.bak' WITH DIFFERENTIAL,STATS = 10(3200) "
                                      "@step_name=Backup_Differenziale(128)"));
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(BackupJobs, AFailingStepStopsTheChainAndLeavesTheStepsDone) {
    errors->setErrorMode(kErrorModeRaise);
    NewJobThenIdle(kFullJob);
    msdb->fail("sp_add_jobserver", kErrSyntax, "The specified @server_name ('SRV01') does not exist.", true);
    wizard.optBackupTypes = 0;
    EXPECT_FALSE(wizard.Backup());
    QStringList sent = Sent();
    EXPECT_EQ(sent.size(), 3);
    EXPECT_TRUE(sent.last().startsWith("sp_add_jobserver"));
    EXPECT_FALSE(wizard.tmrParseEnabled);
    // The step's own report; the chain adds none.
    EXPECT_EQ(ReportedRoutines(), QStringList{"qlMsSqlSystem.AddJobServer"});

    // A job that exists already stops the chain at its first step.
    msdb = std::make_shared<ScriptedConnection>();
    Jobs({{kFullJob}});
    EXPECT_FALSE(wizard.Backup());
    EXPECT_TRUE(Sent().isEmpty());
}

TEST_F(BackupJobs, ProgrammedBackupGetsTheScheduleInsteadOfAStart) {
    const QString job = "Orlina_Sales_Backup_Diff_20240131090507";
    NewJobThenIdle(job);
    wizard.optBackupTypes = 3;
    wizard.Sheets.optFrequency = backup::Frequency::Monthly;
    wizard.Sheets.optMonthInterval = true;
    wizard.Sheets.cmbDays.SelectData(6);
    wizard.Sheets.cmbRelativeInterval.SelectData(4);
    wizard.Sheets.txtMonthsInterval = "2";
    wizard.Sheets.txtTime[2] = "23:15";
    ASSERT_TRUE(wizard.Backup());
    const QStringList sent = Sent();
    ASSERT_EQ(sent.size(), 4);
    EXPECT_EQ(sent[3],
              "sp_add_jobschedule @job_name=" + job +
                  "(128) @name=Orlina_Schedule(128) @freq_type=32(0) @freq_interval=6(0) "
                  "@freq_relative_interval=4(0) @freq_recurrence_factor=2(0) @active_start_time=231500(0)");
    EXPECT_FALSE(wizard.tmrParseEnabled);
    EXPECT_FALSE(wizard.ProgressBarVisible);
    EXPECT_EQ(wizard.lblEnd, "Operazione completata!Scegli 'Fine' per uscire.");

    // A time the sheet cannot read: nothing is created.
    msdb = std::make_shared<ScriptedConnection>();
    wizard.Sheets.txtTime[2] = "23h";
    EXPECT_FALSE(wizard.Backup());
    EXPECT_TRUE(msdb->calls().empty());
    EXPECT_EQ(ReportedRoutines(), QStringList{"frmBackup.ProgrammingBackup"});
}

TEST_F(BackupJobs, RestoreOntoTheFilesDatabaseRunsSingleUser) {
    const QString job = "Orlina_Sales_Restore_20240131090507";
    NewJobThenIdle(job);
    wizard.optMenu = 1;
    wizard.cmbFilesBak = {{{"Sales.bak", 0}}, 0};
    ASSERT_TRUE(wizard.Restore());
    EXPECT_EQ(
        Sent(),
        (QStringList{"ALTER DATABASE Sales SET SINGLE_USER WITH ROLLBACK IMMEDIATE",
                     AddJob(job, "Restore Di Sales"),
                     "sp_add_jobstep @job_name=" + job +
                         "(128) @command=RESTORE DATABASE Sales FROM DISK = 'c:\\TestBackup\\Sales.bak' WITH "
                         "STATS = 10(3200) @step_name=Restore_Sales(128)" +
                         kStepTail + kRetries,
                     "sp_add_jobserver @job_name=" + job + "(128) @server_name=SRV01(30)",
                     "sp_start_job @job_name=" + job + "(128)", "ALTER DATABASE Sales SET MULTI_USER"}));
    EXPECT_TRUE(wizard.tmrParseEnabled);
    EXPECT_EQ(wizard.tmrParseInterval, 2000);
    // The buttons stay off until the poll sees the end; the pointer is back.
    EXPECT_FALSE(wizard.cmdEndEnabled || wizard.cmdPreviousEnabled || wizard.cmdNextEnabled);
    EXPECT_EQ(host->pointerChanges(), (std::vector<int32_t>{kPointerHourglass, kPointerDefault}));
}

TEST_F(BackupJobs, RestoreUnderANewNameMovesTheFilesByPosition) {
    const QString job = "Orlina_Sales_Restore_20240131090507";
    const QString move =
        "MOVE 'Sales_Data' TO 'c:\\Programmi\\Microsoft SQL Server\\MSSQL\\Data\\Copy.mdf',"
        "MOVE 'Sales_Log' TO 'c:\\Programmi\\Microsoft SQL Server\\MSSQL\\Data\\Copy.ldf'(3200)";
    FileList({{"Sales_Data", "x.mdf", "D"}, {"Sales_Log", "x.ldf", "L"}});
    Databases({"master", "Sales"});
    NewJobThenIdle(job);
    wizard.optMenu = 2;
    wizard.txtNewDatabase = "Copy";
    wizard.cmbFilesBak = {{{"Sales.bak", 0}}, 0};
    ASSERT_TRUE(wizard.Restore());
    QStringList sent = Sent();
    ASSERT_EQ(sent.size(), 6);
    EXPECT_EQ(sent[0], "sp_databases");
    EXPECT_EQ(sent[1], "RESTORE FILELISTONLY FROM DISK = 'c:\\TestBackup\\Sales.bak'");
    EXPECT_EQ(sent[2], AddJob(job, "Restore Di Copy"));
    EXPECT_EQ(sent[3],
              "sp_add_jobstep @job_name=" + job +
                  "(128) @command=RESTORE DATABASE Copy FROM DISK = 'c:\\TestBackup\\Sales.bak' WITH STATS = "
                  "10," +
                  move + " @step_name=Restore_Copy(128)" + kStepTail + kRetries);
    EXPECT_TRUE(host->messages().empty());

    // Over an existing database: asked first; Yes replaces it, in single user.
    msdb = std::make_shared<ScriptedConnection>();
    FileList({{"Sales_Data", "x.mdf", "D"}, {"Sales_Log", "x.ldf", "L"}});
    Databases({"Copy", "Sales"});
    NewJobThenIdle(job);
    host->queueAnswer(MsgAnswer::Yes);
    ASSERT_TRUE(wizard.Restore());
    sent = Sent();
    ASSERT_EQ(sent.size(), 8);
    EXPECT_EQ(sent[2], "ALTER DATABASE Copy SET SINGLE_USER WITH ROLLBACK IMMEDIATE");
    EXPECT_TRUE(sent[4].contains("WITH REPLACE,STATS = 10," + move));
    EXPECT_EQ(sent[7], "ALTER DATABASE Copy SET MULTI_USER");
    ASSERT_EQ(host->messages().size(), 1u);
    const ShownMessage& box = host->messages()[0];
    EXPECT_EQ(box.Text, "Il Database Copy Esiste già.Se prosegui perderai tutti i dati.Proseguire?");
    EXPECT_EQ((std::vector<int32_t>{static_cast<int32_t>(box.Buttons), static_cast<int32_t>(box.Icon)}),
              (std::vector<int32_t>{4, 48}));
    EXPECT_EQ(box.Title, "Mirando ERP");
}

TEST_F(BackupJobs, AnsweringNoStartsNothingAndIsNoFailure) {
    Databases({"Copy"});
    wizard.optMenu = 2;
    wizard.txtNewDatabase = "Copy";
    wizard.cmbFilesBak = {{{"Sales.bak", 0}}, 0};
    wizard.bOperationDone = true;
    host->queueAnswer(MsgAnswer::No);
    EXPECT_TRUE(wizard.Restore());
    EXPECT_EQ(Sent(), QStringList{"sp_databases"});
    EXPECT_TRUE(wizard.cmdPreviousEnabled && wizard.cmdEndEnabled);
    EXPECT_FALSE(wizard.cmdNextEnabled || wizard.bOperationDone || wizard.ProgressBarVisible);
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(BackupJobs, ABackupOfOneFileCannotBeRestoredUnderANewName) {
    FileList({{"Sales_Data", "x.mdf", "D"}});
    Databases({});
    wizard.optMenu = 2;
    wizard.txtNewDatabase = "Copy";
    wizard.cmbFilesBak = {{{"Sales.bak", 0}}, 0};
    EXPECT_FALSE(wizard.Restore());
    EXPECT_EQ(Sent(),
              (QStringList{"sp_databases", "RESTORE FILELISTONLY FROM DISK = 'c:\\TestBackup\\Sales.bak'"}));
    EXPECT_EQ(ReportedRoutines(), QStringList{"frmBackup.GetFilesList"});
}

TEST_F(BackupJobs, TheDatabaseListLeavesTheSystemDatabasesOut) {
    Databases({"master", "Sales", "msdb", "model", "tempdb", "Master", "Copy"});
    ASSERT_TRUE(wizard.AddDatabase());
    EXPECT_EQ(wizard.lstDatabase.Items, (QStringList{"Sales", "Master", "Copy"}));
    EXPECT_EQ(wizard.lstDatabase.ColumnHeaders, QStringList{"Database"});
    EXPECT_EQ(wizard.lstDatabase.ColumnWidths, std::vector<int32_t>{2400});
}

} // namespace
} // namespace qldb::test
