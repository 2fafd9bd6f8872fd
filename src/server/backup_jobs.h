#pragma once
// The fixed names and T-SQL texts of the backup and restore jobs. Every backup or restore is a
// one-step SQL Server Agent job whose step writes its progress to one output file in the server's
// backup folder; the job names are a format that the job listing reads back (database and kind).
#include <QDateTime>
#include <QString>
#include <cstdint>

namespace qldb::backup {

// Server-side folders, as the server sees them.
inline const QString kServerBackupFolder = QStringLiteral("c:\\TestBackup\\");
inline const QString kServerDataFolder = QStringLiteral("c:\\Programmi\\Microsoft SQL Server\\MSSQL\\Data\\");
// Every job writes the same output file; the last one to write wins.
inline const QString kOutputFileName = QStringLiteral("test.txt");
inline constexpr int32_t kRetryAttempts = 5;
inline constexpr int32_t kRetryInterval = 5; // minutes
inline const QString kScheduleName = QStringLiteral("Orlina_Schedule");
inline const QString kCategoryMaintenance = QStringLiteral("Database Maintenance");

// backup folder + output file name, the @output_file_name of every step.
QString OutputFilePath();
// yyyymmddhhnnss of the moment, local time.
QString Timestamp(const QDateTime& moment);
// The chosen backup file's name without its last four characters (".bak").
QString FileStem(const QString& sFile);

struct JobDefinition {
    QString JobName;
    QString Description;
    QString StepName;
    QString Statement;
};

// A full backup writes db.bak afresh (INIT); a differential one appends to the same file. Both the
// immediate and the programmed kind use these.
JobDefinition FullBackupJob(const QString& sDatabase, const QString& sTimestamp);
JobDefinition DifferentialBackupJob(const QString& sDatabase, const QString& sTimestamp);
// Restore onto the database that the file is named after.
JobDefinition RestoreJob(const QString& sFile, const QString& sTimestamp);
// Restore under sNewDatabase, moving the first file of the backup (sLogicalData) to .mdf and the
// second (sLogicalLog) to .ldf in the data folder; bReplace overwrites an existing database.
JobDefinition RestoreAsJob(const QString& sFile, const QString& sNewDatabase, const QString& sLogicalData,
                           const QString& sLogicalLog, bool bReplace, const QString& sTimestamp);

} // namespace qldb::backup
