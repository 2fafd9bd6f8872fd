#include "server/backup_jobs.h"

namespace qldb::backup {

QString OutputFilePath() {
    return kServerBackupFolder + kOutputFileName;
}

QString Timestamp(const QDateTime& moment) {
    return moment.toString(QStringLiteral("yyyyMMddHHmmss"));
}

QString FileStem(const QString& sFile) {
    return sFile.left(sFile.size() - 4);
}

// No blank stands between the closing quote and WITH INIT: the server accepts it that way and the
// text has always been sent so.
JobDefinition FullBackupJob(const QString& sDatabase, const QString& sTimestamp) {
    return {QStringLiteral("Orlina_") + sDatabase + QStringLiteral("_Backup_Full_") + sTimestamp,
            QStringLiteral("Backup Di ") + sDatabase, QStringLiteral("Backup_Completo"),
            QStringLiteral("BACKUP DATABASE ") + sDatabase + QStringLiteral(" TO DISK = '") +
                kServerBackupFolder + sDatabase + QStringLiteral(".bak'WITH INIT,STATS = 10")};
}

JobDefinition DifferentialBackupJob(const QString& sDatabase, const QString& sTimestamp) {
    return {QStringLiteral("Orlina_") + sDatabase + QStringLiteral("_Backup_Diff_") + sTimestamp,
            QStringLiteral("Backup Di ") + sDatabase, QStringLiteral("Backup_Differenziale"),
            QStringLiteral("BACKUP DATABASE ") + sDatabase + QStringLiteral(" TO DISK = '") +
                kServerBackupFolder + sDatabase + QStringLiteral(".bak' WITH DIFFERENTIAL,STATS = 10")};
}

JobDefinition RestoreJob(const QString& sFile, const QString& sTimestamp) {
    const QString stem = FileStem(sFile);
    return {QStringLiteral("Orlina_") + stem + QStringLiteral("_Restore_") + sTimestamp,
            QStringLiteral("Restore Di ") + stem, QStringLiteral("Restore_") + stem,
            QStringLiteral("RESTORE DATABASE ") + stem + QStringLiteral(" FROM DISK = '") +
                kServerBackupFolder + sFile + QStringLiteral("' WITH STATS = 10")};
}

JobDefinition RestoreAsJob(const QString& sFile, const QString& sNewDatabase, const QString& sLogicalData,
                           const QString& sLogicalLog, bool bReplace, const QString& sTimestamp) {
    const QString with = bReplace ? QStringLiteral("' WITH REPLACE,STATS = 10,MOVE '")
                                  : QStringLiteral("' WITH STATS = 10,MOVE '");
    return {QStringLiteral("Orlina_") + FileStem(sFile) + QStringLiteral("_Restore_") + sTimestamp,
            QStringLiteral("Restore Di ") + sNewDatabase, QStringLiteral("Restore_") + sNewDatabase,
            QStringLiteral("RESTORE DATABASE ") + sNewDatabase + QStringLiteral(" FROM DISK = '") +
                kServerBackupFolder + sFile + with + sLogicalData + QStringLiteral("' TO '") +
                kServerDataFolder + sNewDatabase + QStringLiteral(".mdf',") + QStringLiteral("MOVE '") +
                sLogicalLog + QStringLiteral("' TO '") + kServerDataFolder + sNewDatabase +
                QStringLiteral(".ldf'")};
}

} // namespace qldb::backup
