#include "wizard_fixture.h"

namespace qldb::test {
namespace {

class BackupGrid : public WizardTest {
protected:
    void SetUp() override {
        WizardTest::SetUp();
        const QString full = "Orlina_Sales_Backup_Full_20240131090507";
        msdb->respond("sp_help_job",
                      ScriptedConnection::Table(
                          {"name", "category", "next_run_date", "next_run_time", "last_run_date",
                           "last_run_time", "originating_server", "date_created", "date_modified",
                           "last_run_outcome", "owner", "current_execution_status"},
                          {{full, "Database Maintenance", 0, 0, 20240131, 93000, "SRV01", "2024-01-31",
                            "2024-01-31", 1, "sa", 4},
                           {"Orlina_Sales_Backup_Diff_20240201000000", "Database Maintenance", 20240301,
                            220000, 0, 0, "SRV01", "2024-02-01", "2024-02-01", 5, "sa", 4},
                           {"Orlina_Sales_Restore_20240201000000", "Database Maintenance", 0, 0, 20240201,
                            101500, "SRV01", "2024-02-01", "2024-02-01", 0, "sa", 4},
                           {"syspolicy_purge_history", "[Uncategorized (Local)]", 0, 0, 20240131, 20000,
                            "SRV01", "2023-01-01", "2023-01-01", 1, "sa", 4}}));
        msdb->respond(
            "sp_help_jobstep",
            ScriptedConnection::Table({"step_name", "database_name"}, {{"Backup_Completo", "Sales"}}), true);
        msdb->respond(
            "sp_help_jobstep",
            ScriptedConnection::Table({"step_name", "database_name"}, {{"Restore_Copy", QVariant()}}), true);
        msdb->respond("sp_help_jobstep", ScriptedConnection::Table({"step_name", "database_name"},
                                                                   {{"Backup_Differenziale", "Sales"}}));
    }
    QStringList RowText(size_t i) const {
        QStringList out;
        for (const QVariant& v : wizard.aGridRows.at(i))
            out << v.toString();
        return out;
    }
};

TEST_F(BackupGrid, HistoryAndProgrammedBackupsSplitOnTheNextRun) {
    ASSERT_TRUE(wizard.GetAllBackupState());
    ASSERT_EQ(wizard.aGridRows.size(), 2u);
    EXPECT_EQ(RowText(0), (QStringList{"Backup Completo", "Sales", "SRV01", "2024-01-31", "-", "-",
                                       "31/01/2024", "9:30:00", "2024-01-31", "Completato", "sa",
                                       "Orlina_Sales_Backup_Full_20240131090507"}));
    // A restore's database is read from its step's name.
    EXPECT_EQ(RowText(1).mid(0, 2), (QStringList{"Restore", "Copy"}));
    EXPECT_EQ(RowText(1)[9], "Incompleto");

    ASSERT_TRUE(wizard.GetProgrammedBackupState());
    ASSERT_EQ(wizard.aGridRows.size(), 1u);
    EXPECT_EQ(RowText(0).mid(0, 6), (QStringList{"Backup Differenziale", "Sales", "SRV01", "2024-02-01",
                                                 "01/03/2024", "22:00:00"}));
    EXPECT_EQ(RowText(0)[9], "Sconosciuto");
    EXPECT_EQ(BackupWizardLogic::GridexColumnIndex("Job_name"), 12);
    EXPECT_EQ(BackupWizardLogic::GridexColumnIndex("Type"), 1);
}

TEST_F(BackupGrid, RemovingDeletesHistoryJobsOnly) {
    EXPECT_TRUE(wizard.RemoveBackup("Orlina_Sales_Backup_Full_20240131090507"));
    // A programmed backup keeps its schedule on a live connection, so it is not removed.
    EXPECT_FALSE(wizard.RemoveBackup("Orlina_Sales_Backup_Diff_20240201000000"));
    EXPECT_EQ(Sent(), QStringList{"sp_delete_job @job_name=Orlina_Sales_Backup_Full_20240131090507(128)"});
    EXPECT_TRUE(errors->reports().empty());
    // A job that vanished since the listing: the read of its row is reported.
    EXPECT_FALSE(wizard.RemoveBackup("Gone"));
    EXPECT_EQ(ReportedRoutines(), QStringList{"frmBackup.RemoveBackup"});
    EXPECT_EQ(host->pointerChanges().back(), kPointerDefault);
}

TEST_F(BackupGrid, AProgrammedBackupsScheduleLoadsAndChanges) {
    ASSERT_TRUE(wizard.GetProgrammedBackupState());
    msdb->respond(
        "sp_help_jobschedule",
        ScriptedConnection::Table({"freq_type", "freq_interval", "freq_relative_interval",
                                   "freq_recurrence_factor", "active_start_date", "active_start_time"},
                                  {{8, 3, 0, 2, 20240201, 220000}}));
    wizard.optMenu = 4;
    ASSERT_TRUE(wizard.ProgrammedBackupInformation());
    EXPECT_FALSE(wizard.bLoadingSchedule);
    EXPECT_EQ(wizard.Sheets.optFrequency, backup::Frequency::Weekly);
    EXPECT_EQ(wizard.GetBackup(),
              "Scegli 'Fine' per impostare le modifiche del Backup Programmato Settimanale\r\n"
              "Ora di Avvio:22.00.00\r\nEsegui ogni:2 settimana/e\r\nNei giorni:Lunedì Domenica ");
    wizard.Sheets.chkDay[4] = 1; // and Friday
    msdb->clearCalls();
    ASSERT_TRUE(wizard.ModifyProgrammedBackup("Orlina_Sales_Backup_Diff_20240201000000"));
    EXPECT_EQ(Sent(),
              QStringList{"sp_update_jobschedule @job_name=Orlina_Sales_Backup_Diff_20240201000000(128) "
                          "@name=Orlina_Schedule(128) @freq_type=8(0) @freq_interval=35(0) "
                          "@freq_recurrence_factor=2(0) @active_start_time=220000(0)"});
    EXPECT_EQ(wizard.lblEnd, "Operazione completata!Scegli 'Fine' per uscire.");
}

TEST_F(BackupGrid, SummaryTexts) {
    wizard.lstDatabase = {{}, {}, {"Sales"}, 0};
    wizard.optMenu = 0;
    wizard.optBackupTypes = 2;
    EXPECT_EQ(wizard.GetBackup(),
              "Scegli 'Fine' per effettuare il Backup Differenziale Immediato del Database Sales");
    wizard.optBackupTypes = 1;
    wizard.Sheets.optFrequency = backup::Frequency::Daily;
    wizard.Sheets.txtStartDate = "31/01/2024";
    wizard.Sheets.txtTime[0] = "09:30";
    wizard.Sheets.optEveryDaysParameter = true;
    EXPECT_EQ(wizard.GetBackup(),
              "Scegli 'Fine' per effettuare il Backup Completo Programmato giornaliero del "
              "Database Sales\r\nData di Avvio:31/01/2024\r\nOra di Avvio:09:30\r\nOgni giorno");
    wizard.Sheets.optFrequency = backup::Frequency::Monthly;
    wizard.Sheets.txtTime[2] = "23:15";
    wizard.Sheets.cmbDays.SelectData(6);
    wizard.Sheets.cmbRelativeInterval.SelectData(4);
    wizard.Sheets.txtMonthsInterval = "2";
    EXPECT_EQ(wizard.GetBackup(),
              "Scegli 'Fine' per effettuare il Backup Completo Programmato mensile del Database "
              "Sales\r\nOra di Avvio:23:15\r\nIl/La:Terzo/a  Venerdì\r\nEsegui ogni:2 mesi/e");
    wizard.optMenu = 2;
    wizard.cmbFilesBak = {{{"Sales.bak", 0}}, 0};
    wizard.txtNewDatabase = "Copy";
    EXPECT_EQ(wizard.GetBackup(),
              "Scegli 'Fine' per effettuare il Restore del Database Sales nel nuovo DB Copy");
    wizard.optMenu = 3;
    EXPECT_EQ(wizard.GetBackup(), "Scegli 'Fine' per uscire dal Wizard");
}

TEST(BackupGridTexts, TypesAndOutcomes) {
    EXPECT_EQ(BackupWizardLogic::GetBackupType(""), "");
    EXPECT_EQ(BackupWizardLogic::GetBackupType("Orlina_FullDiff_Restore"),
              "Backup Completo"); // order of tests
    EXPECT_EQ(BackupWizardLogic::GetBackupType("x_Diff_Restore"), "Backup Differenziale");
    EXPECT_EQ(BackupWizardLogic::GetBackupType("Orlina_Sales_Restore_1"), "Restore");
    EXPECT_EQ(BackupWizardLogic::GetBackupType("Nightly index rebuild"), "Manutenzione");
    const QStringList outcomes = {"Incompleto", "Completato", "", "Annullato", "", "Sconosciuto", ""};
    for (int i = 0; i < outcomes.size(); ++i)
        EXPECT_EQ(BackupWizardLogic::GetStatus(i), outcomes[i]) << i;
}

} // namespace
} // namespace qldb::test
