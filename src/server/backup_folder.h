#pragma once
// The server's backup folder as the client sees it: a share of the database server read over SMB
// ("smb://host/share/path/", through libsmbclient, with the credentials of the settings), or a
// local folder where that share is mounted. The backup wizard lists the backup files there and
// reads the running job's output file.
//
// Failures raise qlException (kErrGeneral, source "BackupFolder") with a description that names
// the location and the cause ("access denied", "not found", ...).
#include <QByteArray>
#include <QString>
#include <QStringList>

namespace qldb {

struct ShareCredentials {
    QString Workgroup;
    QString User;
    QString Password;
};

class BackupFolder {
public:
    // sLocation: "smb://..." for a share, anything else a local folder.
    BackupFolder(QString sLocation, ShareCredentials credentials = {});

    const QString& Location() const { return m_location; }
    bool IsShare() const;
    // The names of the files in the folder (not of its subfolders), sorted.
    QStringList FileNames() const;
    // The whole content of one file of the folder.
    QByteArray ReadFile(const QString& sName) const;

private:
    QString PathOf(const QString& sName) const;
    QString m_location;
    ShareCredentials m_credentials;
};

// The folder of the server sServer ("host", "host,port" or "host\instance"): its administrative
// share "smb://host/c$/TestBackup/", the same place as the server's own c:\TestBackup\.
QString DefaultBackupFolderLocation(const QString& sServer);

// The folder of the settings: "BackupFolder" overrides the default location; "BackupShareUser",
// "BackupSharePassword" and "BackupShareWorkgroup" log in to the share (empty: as a guest).
BackupFolder BackupFolderOfServer(const QString& sServer);

} // namespace qldb
