#include "mssql_fixture.h"

namespace qldb::test {
namespace {

const QString kFullJob = "Orlina_Sales_Backup_Full_20240131090507";
const QString kProgrammedJob = "Orlina_Sales_Backup_Diff_20240201000000";

class BackupGrid : public MsSqlSystemTest {
protected:
    void SetUp() override {
        MsSqlSystemTest::SetUp();
        msdb->respond(
            "sp_help_job",
            ScriptedConnection::Table({"name", "category", "next_run_date", "next_run_time", "last_run_date",
                                       "last_run_time", "originating_server", "date_created", "date_modified",
                                       "last_run_outcome", "owner", "current_execution_status"},
                                      {{kFullJob, "Database Maintenance", 0, 0, 20240131, 93000, "SRV01",
                                        "2024-01-31", "2024-01-31", 1, "sa", 4},
                                       {kProgrammedJob, "Database Maintenance", 20240301, 220000, 0, 0,
                                        "SRV01", "2024-02-01", "2024-02-01", 5, "sa", 4},
                                       {"Orlina_Sales_Restore_20240201000000", "Database Maintenance", 0, 0,
                                        20240201, 101500, "SRV01", "2024-02-01", "2024-02-01", 0, "sa", 4},
                                       {"syspolicy_purge_history", "[Uncategorized (Local)]", 0, 0, 20240131,
                                        20000, "SRV01", "2023-01-01", "2023-01-01", 1, "sa", 4}}));
        for (const Row& step : std::vector<Row>{{"Backup_Completo", "Sales"}, {"Restore_Copy", QVariant()}})
            msdb->respond("sp_help_jobstep",
                          ScriptedConnection::Table({"step_name", "database_name"}, {step}), true);
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
                                       "31/01/2024", "9:30:00", "2024-01-31", "Completato", "sa", kFullJob}));
    // A restore's database is read from its step's name.
    EXPECT_EQ(RowText(1).mid(0, 2) << RowText(1)[9], (QStringList{"Restore", "Copy", "Incompleto"}));
    ASSERT_TRUE(wizard.GetProgrammedBackupState());
    ASSERT_EQ(wizard.aGridRows.size(), 1u);
    EXPECT_EQ(RowText(0).mid(0, 6) << RowText(0)[9],
              (QStringList{"Backup Differenziale", "Sales", "SRV01", "2024-02-01", "01/03/2024", "22:00:00",
                           "Sconosciuto"}));
}

TEST_F(BackupGrid, RemovingDeletesHistoryJobsOnly) {
    EXPECT_TRUE(wizard.RemoveBackup(kFullJob));
    // A programmed backup keeps its schedule on a live connection, so it is not removed.
    EXPECT_FALSE(wizard.RemoveBackup(kProgrammedJob));
    EXPECT_EQ(Sent(), QStringList{"sp_delete_job @job_name=" + kFullJob + "(128)"});
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
    ASSERT_TRUE(wizard.ModifyProgrammedBackup(kProgrammedJob));
    EXPECT_EQ(Sent(), QStringList{"sp_update_jobschedule @job_name=" + kProgrammedJob +
                                  "(128) @name=Orlina_Schedule(128) @freq_type=8(0) @freq_interval=35(0) "
                                  "@freq_recurrence_factor=2(0) @active_start_time=220000(0)"});
    EXPECT_EQ(wizard.lblEnd, "Operazione completata!Scegli 'Fine' per uscire.");
}

} // namespace
} // namespace qldb::test
