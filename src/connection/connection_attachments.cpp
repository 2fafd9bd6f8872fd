// qlConnection: files kept for the host's records in SYS_ATT, either as bytes in the table or on
// disk with their path in the table. Every failure reaches the caller unchanged; the one message
// of these routines is the one about a folder that cannot be created.
#include "connection/attachment_files.h"
#include "connection/ql_connection.h"
#include "connection/record_walk.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"
#include "platform/tools/product_folders.h"
#include "platform/tools/sql_literal.h"

#include <QDate>
#include <QTime>

namespace qldb {

namespace files = attachment_files;
using record_walk::Opened;

namespace {

const QString CR = QStringLiteral("\r");
const QString kNewRow = QStringLiteral("SELECT * FROM SYS_ATT WHERE RECORD_ID = 0");

// Attachment kinds at the interface. A link (kind 3) is stored as a copy (2): readers only ever
// see bytes or a path.
constexpr int32_t kKindBytes = 1;
constexpr int32_t kKindCopy = 2;
constexpr int32_t kKindLink = 3;

// Attached files share a folder a thousand at a time: record 12345 lies in folder 12.
constexpr int32_t kFilesPerFolder = 1000;

QString Source(const char* routine) {
    return QStringLiteral("qlConnection.") + QLatin1String(routine);
}

// A date that was not given, or the zero date, is today.
QDateTime DateOrToday(const QDateTime& dtDateAdd) {
    static const QDateTime zero(QDate(1899, 12, 30), QTime(0, 0));
    if (!dtDateAdd.isValid() || dtDateAdd == zero)
        return QDateTime(QDate::currentDate(), QTime(0, 0));
    return dtDateAdd;
}

QString RowQuery(int32_t lIdAttachment, ql_eProviderType provider) {
    return QStringLiteral("SELECT * FROM SYS_ATT") + CR + QStringLiteral("WHERE RECORD_ID = ") +
           FormatSqlValue(lIdAttachment, ql_eDataType::TypeLong, provider);
}

} // namespace

QVariant qlConnection::FileToBinary(const QString& sFileName) {
    return files::LoadFromFile(sFileName, Source("FileToBinary"));
}

QVariant qlConnection::BinaryToFile(const QVariant& vValue, const QString& sFileName) {
    if (vValue.typeId() != QMetaType::QByteArray)
        throw qlException(
            files::kErrWrongType, Source("BinaryToFile"),
            QStringLiteral("Arguments are of the wrong type, are out of acceptable range, or are in "
                           "conflict with one another."));
    files::SaveToFile(vValue.toByteArray(), sFileName, Source("BinaryToFile"));
    return QVariant();
}

void qlConnection::WriteAttachment(const QString& sTable, const QString& sKey, const QString& sFileTile,
                                   const QString& sPath, const QString& sFileName,
                                   const QString& sDescription, const QString& sRevision, int32_t lFileSize,
                                   const QDateTime& dtDateAdd, int32_t iAttachmentType, bool bAutoFolder,
                                   const QString& sProtocol) {
    const QString source = Source("WriteAttachment");
    const QDateTime date = DateOrToday(dtDateAdd);
    const bool onDisk = iAttachmentType == kKindCopy || iAttachmentType == kKindLink;
    // The file is read before anything is written, so an unreadable file leaves no record behind.
    QByteArray bytes;
    if (!onDisk)
        bytes = files::LoadFromFile(sFileName, source);

    const auto rs = ExecuteWC(kNewRow, ado::adLockOptimistic);
    Recordset& set = Opened(rs, QStringLiteral("WriteAttachment"));
    set.AddNew();
    set.Fields(QStringLiteral("ATTYP")).setValue(iAttachmentType == kKindLink ? kKindCopy : iAttachmentType);
    set.Fields(QStringLiteral("ATTBL")).setValue(sTable);
    set.Fields(QStringLiteral("ATKEY")).setValue(sKey);
    set.Fields(QStringLiteral("ATNAM")).setValue(sFileTile);
    if (!sDescription.isEmpty())
        set.Fields(QStringLiteral("ATDES")).setValue(sDescription);
    if (!sRevision.isEmpty())
        set.Fields(QStringLiteral("ATREV")).setValue(sRevision);
    if (!sProtocol.isEmpty())
        set.Fields(QStringLiteral("ATPRT")).setValue(sProtocol);
    set.Fields(QStringLiteral("ATDAT")).setValue(date);

    // A copy into the automatic folders is named after the record, whose number exists only
    // after the row is written; its link is written afterwards.
    QString folder = sPath;
    QString target;
    if (!onDisk) {
        set.Fields(QStringLiteral("ATFIL")).setValue(bytes);
    } else if (iAttachmentType == kKindCopy && !bAutoFolder) {
        target = WithTrailingSeparator(sPath) + sFileTile;
        set.Fields(QStringLiteral("ATLNK")).setValue(target);
    } else if (iAttachmentType == kKindLink) {
        target = sFileName;
        set.Fields(QStringLiteral("ATLNK")).setValue(sFileName);
    }
    set.Fields(QStringLiteral("ATSIZ")).setValue(lFileSize);
    set.Update();
    set.Close();

    if (iAttachmentType != kKindCopy)
        return;
    if (bAutoFolder) {
        // No lock spans the insert and this read: the newest number is taken to be ours.
        const int32_t id = GetMaxValue(QStringLiteral("SYS_ATT"), QStringLiteral("RECORD_ID"));
        folder = WithTrailingSeparator(sPath) + QString::number(id / kFilesPerFolder);
        target = WithTrailingSeparator(folder) + QString::number(id) + QLatin1Char('.') +
                 files::Extension(sFileTile);
        Execute(QStringLiteral("UPDATE SYS_ATT") + CR + QStringLiteral("SET ATLNK = ") +
                FormatSqlValue(target, ql_eDataType::TypeChar, m_providerType) + CR +
                QStringLiteral("WHERE RECORD_ID = ") +
                FormatSqlValue(id, ql_eDataType::TypeLong, m_providerType));
    }
    if (sFileName.toLower() == target.toLower())
        return;
    if (files::Exists(target))
        files::ClearAttributes(target);
    if (!files::FolderExists(folder) && !files::CreateFolder(folder)) {
        // The record stays, with no file behind it: the user is told where the rights are missing.
        m_host->MessageBox(QStringLiteral("Check the auhorization for the path ") + folder +
                               QStringLiteral("!"),
                           MsgButtons::OK, MsgIcon::Critical, m_productName);
        return;
    }
    files::CopyFile(sFileName, target, source);
}

void qlConnection::CopyAttachment(int32_t lIdAttachment, const QString& sNewTable, const QString& sNewId) {
    const auto rs = ExecuteWC(RowQuery(lIdAttachment, m_providerType));
    Recordset& from = Opened(rs, QStringLiteral("CopyAttachment"));
    if (from.IsEOF())
        return;
    // Only owner, title and bytes travel: a copied link has neither kind nor path, by design.
    const auto copy = ExecuteWC(kNewRow, ado::adLockOptimistic);
    Recordset& to = Opened(copy, QStringLiteral("CopyAttachment"));
    to.AddNew();
    to.Fields(QStringLiteral("ATTBL")).setValue(sNewTable);
    to.Fields(QStringLiteral("ATKEY")).setValue(sNewId);
    to.Fields(QStringLiteral("ATNAM")).setValue(from.Value(QStringLiteral("ATNAM")));
    to.Fields(QStringLiteral("ATFIL")).setValue(from.Value(QStringLiteral("ATFIL")));
    to.Update();
    to.Close();
}

bool qlConnection::ReadAttachment(int32_t lIdAttachment, QString& sFileToSave, bool bSaveAs) {
    const QString source = Source("ReadAttachment");
    ErrorRule rule(ErrorKind::PassThrough, m_errors.get(), record_walk::kClass,
                   QStringLiteral("ReadAttachment"));
    bool result = false;
    const auto rs = ExecuteWC(RowQuery(lIdAttachment, m_providerType));
    Recordset& set = Opened(rs, QStringLiteral("ReadAttachment"));
    // On a number that does not exist this read is the error the caller gets.
    if (ToLong(set.Value(QStringLiteral("ATTYP"))) == kKindCopy) {
        const QString link = ToText(set.Value(QStringLiteral("ATLNK")));
        if (!link.isEmpty()) {
            if (bSaveAs)
                files::CopyFile(link, sFileToSave, source);
            else
                sFileToSave = link;
            result = true;
        }
    } else if (set.Fields(QStringLiteral("ATFIL")).ActualSize() == 0) {
        files::CreateEmptyFile(sFileToSave, source);
        result = true;
    } else if (!set.IsEOF()) {
        // A file that cannot be replaced (in use, or a folder in its place) is left as it is, and
        // the caller is told that the attachment is there to read.
        if (files::Exists(sFileToSave) && !rule.tolerate([&] { files::DeleteFile(sFileToSave, source); }))
            return true;
        files::SaveToFile(set.Value(QStringLiteral("ATFIL")).toByteArray(), sFileToSave, source);
        result = true;
    }
    set.Close();
    return result;
}

} // namespace qldb
