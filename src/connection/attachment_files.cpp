#include "connection/attachment_files.h"

#include "platform/errors/error_record.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace qldb::attachment_files {

namespace {

[[noreturn]] void Fail(int32_t number, const QString& sSource, const QString& sDescription) {
    throw qlException(number, sSource, sDescription);
}

[[noreturn]] void FailFileNotFound(const QString& sSource) {
    Fail(kErrFileNotFound, sSource, QStringLiteral("File not found"));
}

[[noreturn]] void FailPermission(const QString& sSource) {
    Fail(kErrPermissionDenied, sSource, QStringLiteral("Permission denied"));
}

} // namespace

QByteArray LoadFromFile(const QString& sFileName, const QString& sSource) {
    QFile file(sFileName);
    // A folder opens on this platform but reads nothing; it is no file to load.
    if (QFileInfo(sFileName).isDir() || !file.open(QIODevice::ReadOnly))
        Fail(kErrFileOpen, sSource, QStringLiteral("File could not be opened."));
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        Fail(kErrFileOpen, sSource, QStringLiteral("File could not be opened."));
    return bytes;
}

void SaveToFile(const QByteArray& bytes, const QString& sFileName, const QString& sSource) {
    QFile file(sFileName);
    if (QFileInfo(sFileName).isDir() || !file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        Fail(kErrFileWrite, sSource, QStringLiteral("Write to file failed."));
    if (file.write(bytes) != bytes.size() || !file.flush())
        Fail(kErrFileWrite, sSource, QStringLiteral("Write to file failed."));
}

bool Exists(const QString& sPath) {
    return !sPath.isEmpty() && QFileInfo::exists(sPath);
}

bool FolderExists(const QString& sPath) {
    return !sPath.isEmpty() && QFileInfo(sPath).isDir();
}

bool CreateFolder(const QString& sPath) {
    return !sPath.isEmpty() && QDir().mkpath(sPath);
}

void ClearAttributes(const QString& sPath) {
    QFile::setPermissions(sPath,
                          QFile::permissions(sPath) | QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

void CopyFile(const QString& sFrom, const QString& sTo, const QString& sSource) {
    const QFileInfo from(sFrom);
    if (!from.exists() || from.isDir())
        FailFileNotFound(sSource);
    if (QFileInfo(sTo).isDir())
        FailPermission(sSource);
    if (!QFileInfo(sTo).absoluteDir().exists())
        Fail(kErrPathNotFound, sSource, QStringLiteral("Path not found"));
    if (QFileInfo::exists(sTo) && !QFile::remove(sTo))
        FailPermission(sSource);
    if (!QFile::copy(sFrom, sTo))
        FailPermission(sSource);
}

void CreateEmptyFile(const QString& sFileName, const QString& sSource) {
    if (!QFileInfo(sFileName).absoluteDir().exists())
        Fail(kErrPathNotFound, sSource, QStringLiteral("Path not found"));
    QFile file(sFileName);
    if (QFileInfo(sFileName).isDir() || !file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        FailPermission(sSource);
}

void DeleteFile(const QString& sFileName, const QString& sSource) {
    const QFileInfo info(sFileName);
    if (!info.exists())
        FailFileNotFound(sSource);
    if (info.isDir())
        FailPermission(sSource);
    ClearAttributes(sFileName);
    if (!QFile::remove(sFileName))
        FailPermission(sSource);
}

QString Extension(const QString& sFileName) {
    const QString name = QFileInfo(sFileName).fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot < 0 ? QString() : name.mid(dot + 1);
}

} // namespace qldb::attachment_files
