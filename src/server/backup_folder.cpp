#include "server/backup_folder.h"

#include "platform/errors/error_record.h"
#include "platform/tools/configuration.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <libsmbclient.h>
#include <memory>

namespace qldb {

namespace {

const QString kSource = QStringLiteral("BackupFolder");

[[noreturn]] void Fail(const QString& sWhat, const QString& sLocation, const QString& sCause) {
    throw qlException(kErrGeneral, kSource,
                      sWhat + QStringLiteral(" \"") + sLocation + QStringLiteral("\": ") + sCause);
}

QString CauseOf(int error) {
    switch (error) {
    case EACCES:
    case EPERM:
        return QStringLiteral("access denied (check the share's user and password)");
    case ENOENT:
    case ENODEV:
        return QStringLiteral("not found (check the share and the folder)");
    case ENOTDIR:
        return QStringLiteral("not a folder");
    case ECONNREFUSED:
    case EHOSTUNREACH:
    case ETIMEDOUT:
        return QStringLiteral("the server cannot be reached");
    default:
        return QString::fromLocal8Bit(std::strerror(error));
    }
}

// One SMB session per call: the folder is read rarely, and a context per call needs no locking
// and leaves nothing open between the wizard's timer ticks.
class SmbSession {
public:
    explicit SmbSession(const ShareCredentials& credentials) : m_credentials(credentials) {
        m_context = smbc_new_context();
        if (m_context == nullptr)
            throw qlException(kErrGeneral, kSource, QStringLiteral("Cannot create an SMB client context"));
        smbc_setOptionUserData(m_context, this);
        smbc_setFunctionAuthDataWithContext(m_context, &SmbSession::Authenticate);
        // A wrong password must fail as such, not turn into an anonymous login that sees nothing.
        smbc_setOptionNoAutoAnonymousLogin(m_context, !m_credentials.User.isEmpty());
        smbc_setOptionUseKerberos(m_context, false);
        smbc_setTimeout(m_context, 10000);
        if (smbc_init_context(m_context) == nullptr) {
            const int error = errno;
            smbc_free_context(m_context, 1);
            throw qlException(kErrGeneral, kSource,
                              QStringLiteral("Cannot start the SMB client: ") + CauseOf(error));
        }
    }
    ~SmbSession() { smbc_free_context(m_context, 1); }
    SmbSession(const SmbSession&) = delete;
    SmbSession& operator=(const SmbSession&) = delete;

    SMBCCTX* context() const { return m_context; }

private:
    static void Copy(const QString& s, char* out, int size) {
        const QByteArray bytes = s.toUtf8();
        if (size <= 0)
            return;
        std::strncpy(out, bytes.constData(), static_cast<size_t>(size) - 1);
        out[size - 1] = '\0';
    }
    static void Authenticate(SMBCCTX* c, const char*, const char*, char* workgroup, int workgroupSize,
                             char* user, int userSize, char* password, int passwordSize) {
        const auto* self = static_cast<const SmbSession*>(smbc_getOptionUserData(c));
        if (!self->m_credentials.Workgroup.isEmpty())
            Copy(self->m_credentials.Workgroup, workgroup, workgroupSize);
        Copy(self->m_credentials.User, user, userSize);
        Copy(self->m_credentials.Password, password, passwordSize);
    }

    ShareCredentials m_credentials;
    SMBCCTX* m_context = nullptr;
};

QStringList SmbFileNames(const QString& sLocation, const ShareCredentials& credentials) {
    SmbSession session(credentials);
    SMBCCTX* c = session.context();
    const QByteArray url = sLocation.toUtf8();
    SMBCFILE* dir = smbc_getFunctionOpendir(c)(c, url.constData());
    if (dir == nullptr)
        Fail(QStringLiteral("Cannot open the folder"), sLocation, CauseOf(errno));
    QStringList names;
    while (const smbc_dirent* entry = smbc_getFunctionReaddir(c)(c, dir))
        if (entry->smbc_type == SMBC_FILE)
            // name is declared as a one-character array: read it as the C string it is.
            names << QString::fromUtf8(static_cast<const char*>(entry->name));
    smbc_getFunctionClosedir(c)(c, dir);
    return names;
}

QByteArray SmbReadFile(const QString& sPath, const ShareCredentials& credentials) {
    SmbSession session(credentials);
    SMBCCTX* c = session.context();
    const QByteArray url = sPath.toUtf8();
    SMBCFILE* file = smbc_getFunctionOpen(c)(c, url.constData(), O_RDONLY, 0);
    if (file == nullptr)
        Fail(QStringLiteral("Cannot open the file"), sPath, CauseOf(errno));
    QByteArray content;
    char buffer[65536];
    for (;;) {
        const ssize_t got = smbc_getFunctionRead(c)(c, file, buffer, sizeof(buffer));
        if (got < 0) {
            const int error = errno;
            smbc_getFunctionClose(c)(c, file);
            Fail(QStringLiteral("Cannot read the file"), sPath, CauseOf(error));
        }
        if (got == 0)
            break;
        content.append(buffer, got);
    }
    smbc_getFunctionClose(c)(c, file);
    return content;
}

} // namespace

BackupFolder::BackupFolder(QString sLocation, ShareCredentials credentials)
    : m_location(std::move(sLocation)), m_credentials(std::move(credentials)) {}

bool BackupFolder::IsShare() const {
    return m_location.startsWith(QLatin1String("smb://"), Qt::CaseInsensitive);
}

QString BackupFolder::PathOf(const QString& sName) const {
    if (m_location.endsWith(QLatin1Char('/')) || m_location.endsWith(QLatin1Char('\\')))
        return m_location + sName;
    return m_location + QLatin1Char('/') + sName;
}

QStringList BackupFolder::FileNames() const {
    QStringList names;
    if (IsShare()) {
        names = SmbFileNames(m_location, m_credentials);
    } else {
        const QDir dir(m_location);
        if (!dir.exists())
            Fail(QStringLiteral("Cannot open the folder"), m_location, CauseOf(ENOENT));
        if (!QFileInfo(m_location).isReadable())
            Fail(QStringLiteral("Cannot open the folder"), m_location, CauseOf(EACCES));
        names = dir.entryList(QDir::Files | QDir::Hidden | QDir::System);
    }
    names.sort();
    return names;
}

QByteArray BackupFolder::ReadFile(const QString& sName) const {
    const QString path = PathOf(sName);
    if (IsShare())
        return SmbReadFile(path, m_credentials);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        Fail(QStringLiteral("Cannot open the file"), path, file.exists() ? CauseOf(EACCES) : CauseOf(ENOENT));
    return file.readAll();
}

QString DefaultBackupFolderLocation(const QString& sServer) {
    QString host = sServer.trimmed();
    const qsizetype cut = host.indexOf(QRegularExpression(QStringLiteral("[,\\\\:]")));
    if (cut >= 0)
        host = host.left(cut);
    if (host.isEmpty() || host == QLatin1String(".") ||
        host.compare(QLatin1String("(local)"), Qt::CaseInsensitive) == 0)
        host = QStringLiteral("localhost");
    return QStringLiteral("smb://") + host + QStringLiteral("/c$/TestBackup/");
}

BackupFolder BackupFolderOfServer(const QString& sServer) {
    const QString location = ReadSetting(QStringLiteral("BackupFolder"), QString());
    return BackupFolder(location.isEmpty() ? DefaultBackupFolderLocation(sServer) : location,
                        {ReadSetting(QStringLiteral("BackupShareWorkgroup"), QString()),
                         ReadSetting(QStringLiteral("BackupShareUser"), QString()),
                         ReadSetting(QStringLiteral("BackupSharePassword"), QString())});
}

} // namespace qldb
