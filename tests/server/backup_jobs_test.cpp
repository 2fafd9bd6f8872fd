#include "server/backup_jobs.h"

#include <QStringList>
#include <gtest/gtest.h>

namespace qldb::backup {
namespace {

QStringList Parts(const JobDefinition& j) {
    return {j.JobName, j.Description, j.StepName, j.Statement};
}

TEST(BackupJobTexts, NamesAndStatementsOfEveryKind) {
    const QString ts = Timestamp(QDateTime(QDate(2024, 1, 31), QTime(9, 5, 7)));
    EXPECT_EQ(ts, "20240131090507");
    // The full backup has no blank before WITH INIT; the differential one has it.
    EXPECT_EQ(
        Parts(FullBackupJob("Sales", ts)),
        (QStringList{"Orlina_Sales_Backup_Full_20240131090507", "Backup Di Sales", "Backup_Completo",
                     "BACKUP DATABASE Sales TO DISK = 'c:\\TestBackup\\Sales.bak'WITH INIT,STATS = 10"}));
    EXPECT_EQ(
        Parts(DifferentialBackupJob("Sales", ts)),
        (QStringList{
            "Orlina_Sales_Backup_Diff_20240131090507", "Backup Di Sales", "Backup_Differenziale",
            "BACKUP DATABASE Sales TO DISK = 'c:\\TestBackup\\Sales.bak' WITH DIFFERENTIAL,STATS = 10"}));
    EXPECT_EQ(
        Parts(RestoreJob("Sales.bak", ts)),
        (QStringList{"Orlina_Sales_Restore_20240131090507", "Restore Di Sales", "Restore_Sales",
                     "RESTORE DATABASE Sales FROM DISK = 'c:\\TestBackup\\Sales.bak' WITH STATS = 10"}));
    // A new name moves both files to that name, whatever the logical names and the file's own name.
    const QString move = "MOVE 'Old_Data' TO 'c:\\Programmi\\Microsoft SQL Server\\MSSQL\\Data\\Copy.mdf',"
                         "MOVE 'Old_Log' TO 'c:\\Programmi\\Microsoft SQL Server\\MSSQL\\Data\\Copy.ldf'";
    EXPECT_EQ(Parts(RestoreAsJob("Sales.bak", "Copy", "Old_Data", "Old_Log", false, ts)),
              (QStringList{"Orlina_Sales_Restore_20240131090507", "Restore Di Copy", "Restore_Copy",
                           "RESTORE DATABASE Copy FROM DISK = 'c:\\TestBackup\\Sales.bak' WITH STATS = 10," +
                               move}));
    EXPECT_EQ(RestoreAsJob("Sales.bak", "Copy", "Old_Data", "Old_Log", true, ts).Statement,
              "RESTORE DATABASE Copy FROM DISK = 'c:\\TestBackup\\Sales.bak' WITH REPLACE,STATS = 10," +
                  move);
    EXPECT_EQ(OutputFilePath(), "c:\\TestBackup\\test.txt");
}

} // namespace
} // namespace qldb::backup
