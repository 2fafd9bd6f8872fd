#pragma once
// The working core of the backup wizard without its window: the wizard's controls as plain values,
// and the routines behind its last button (backups, restores, programmed backups), its progress
// poll, its summary text and its two job grids. The window maps its controls onto these values and
// calls the routines; message boxes and the mouse pointer go through the connection's host services.
//
// Every routine that needs the server takes a new qlMsSqlSystem, initializes it with Connection and
// terminates it at its end, also after a failed step. Each reports its own failures under its own
// name and the module "frmBackup"; a job step that gives false stops the chain without a report of
// its own, leaving the steps already done in MSDB.
#include "server/backup_jobs.h"
#include "server/backup_schedule.h"
#include "server/ql_mssql_system.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace qldb {

class qlConnection;

// The list view of databases as a value.
struct DatabaseList {
    QStringList ColumnHeaders;
    std::vector<int32_t> ColumnWidths;
    QStringList Items;
    int32_t SelectedItem = -1;
    QString SelectedText() const;
};

class BackupWizardLogic {
public:
    static constexpr int kGridColumns = 12;
    using GridRow = std::array<QVariant, kGridColumns>;

    // The captions of optMenu and optBackupTypes, by index.
    static const std::array<QString, 5> kMenuCaptions;
    static const std::array<QString, 4> kBackupTypeCaptions;
    // The grid's column keys, in the order of a GridRow.
    static const std::array<QString, kGridColumns> kGridColumnKeys;

    qlConnection* Connection = nullptr;
    // Where the qlMsSqlSystem objects come from: Connection->MsSqlSystem() unless set.
    std::function<std::unique_ptr<qlMsSqlSystem>()> MsSqlSystemSource;
    // The moment of the job names' timestamps: now unless set.
    std::function<QDateTime()> Clock;

    // ---- The controls, as values -----------------------------------------------------------
    int32_t optMenu = -1; // 0 guided backup, 1 restore, 2 restore as new, 3 history, 4 programmed
    int32_t optBackupTypes =
        -1; // 0 full now, 1 full programmed, 2 differential now, 3 differential programmed
    DatabaseList lstDatabase;
    backup::ListChoice cmbFilesBak;
    QString txtNewDatabase;
    backup::ScheduleSheets Sheets;
    QString lblEnd;
    bool ProgressBarVisible = false;
    int32_t ProgressBarValue = 0;
    bool tmrParseEnabled = false;
    int32_t tmrParseInterval = 0;
    bool cmdPreviousEnabled = true;
    bool cmdNextEnabled = true;
    bool cmdEndEnabled = false;
    bool bOperationDone = false;
    bool bLoadingSchedule = false;
    std::vector<GridRow> aGridRows;
    int32_t SelectedGridRow = -1;

    // ---- Backup and restore -----------------------------------------------------------------
    // The server's databases without master, msdb, model and tempdb, in one column "Database".
    bool AddDatabase();
    // The files of the client-side backup folder whose type reads "File BAK"; the first selected.
    bool AddFilesBak();
    // Immediate kinds (0, 2) show the progress and start the job; the others programme it.
    bool Backup();
    bool ExecuteImmediateBackup();
    bool ProgrammingBackup();
    // Restore onto the file's database (optMenu 1) or under txtNewDatabase, asking first when that
    // database exists; answering No starts nothing and is no failure.
    bool Restore();
    bool ExecuteRestore(const QVariant& sFile);
    bool RestoreIntoNewDatabase(const QString& sFile);
    bool RestoreIntoDatabaseExisting(const QString& sFile);
    // The logical names of the first two files of the backup: the data file, then the log.
    bool GetFilesList(const QString& sFile, QString& sLogicalData, QString& sLogicalLog);
    bool DatabaseAlreadyExisting(const QVariant& sName);
    // One tick of the progress timer: reads the job's output file from the client-side folder; a
    // line at 100 ends the poll. A file that cannot be read is reported and the timer keeps going.
    void tmrParse_Timer();

    // ---- Job grids and summary ---------------------------------------------------------------
    // The finished jobs of the maintenance category (no next run) into aGridRows.
    bool GetAllBackupState();
    // The programmed backups: maintenance jobs with a next run.
    bool GetProgrammedBackupState();
    // Appends a grid row for the current row of an sp_help_job answer.
    void SetFields(Recordset& rs);
    // The database of a job, from its first step.
    QString SearchDatabase(const QString& sJobName);
    static QString GetBackupType(const QString& sJobName);
    static QString GetStatus(const QVariant& vLastRunOutcome);
    // 1-based, as the grid counts its columns; 0 for an unknown key.
    static int32_t GridexColumnIndex(const QString& sKey);
    // The summary that the last sheet shows for the current choices.
    QString GetBackup();

    // ---- Programmed backups ------------------------------------------------------------------
    backup::AgentSchedule SetSchedulingParameters();
    // Loads the schedule of the selected grid row's job into Sheets.
    bool ProgrammedBackupInformation();
    // A new schedule for the job; its step (kind and database) is not changed.
    bool ModifyProgrammedBackup(const QString& sJob);
    // Deletes the job. A job with a next run date keeps its schedule here and the removal fails:
    // the schedule cannot be deleted while the MSDB connection lives.
    bool RemoveBackup(const QString& sJob);

private:
    std::unique_ptr<qlMsSqlSystem> NewSystem() const;
    QString Now() const;
    // The walk of sp_help_job shared by both grids.
    bool FillGrid(const QString& sRoutine, bool bProgrammed);
    QString SearchDatabase(const QString& sJobName, qlMsSqlSystem& sys);
    void SetFields(Recordset& rs, qlMsSqlSystem& sys);
    // The restore chain shared by the three kinds; sSingleUser, when not empty, is the database that
    // is switched to single user before the job and back once it has started.
    bool RunRestoreJob(const QString& sRoutine, const backup::JobDefinition& job, const QString& sSingleUser);
    void ShowProgress();
};

} // namespace qldb
