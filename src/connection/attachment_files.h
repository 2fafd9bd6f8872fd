#pragma once
// The file operations behind attachments: whole files read and written as bytes, and the few
// folder and copy operations that laying out the attachment folders needs. Failures are
// qlExceptions with the numbers that hosts know for file errors; sSource names the routine.
#include <QByteArray>
#include <QString>
#include <cstdint>

namespace qldb::attachment_files {

inline constexpr int32_t kErrFileNotFound = 53;
inline constexpr int32_t kErrPermissionDenied = 70;
inline constexpr int32_t kErrPathNotFound = 76;
inline constexpr int32_t kErrFileOpen = 3002;  // a stream could not load the file
inline constexpr int32_t kErrFileWrite = 3004; // a stream could not save the file
inline constexpr int32_t kErrWrongType = 3001; // a stream was handed something that is no bytes

QByteArray LoadFromFile(const QString& sFileName, const QString& sSource);
// Writes the bytes over whatever file is there.
void SaveToFile(const QByteArray& bytes, const QString& sFileName, const QString& sSource);

// Whether anything stands at the path: a file, or a folder that blocks a file of that name.
bool Exists(const QString& sPath);
bool FolderExists(const QString& sPath);
// Creates the folder with its parents; false when it could not.
bool CreateFolder(const QString& sPath);
// Makes the file writable again for its owner, as clearing a read-only attribute does.
void ClearAttributes(const QString& sPath);
void CopyFile(const QString& sFrom, const QString& sTo, const QString& sSource);
// An empty file, replacing one that is there.
void CreateEmptyFile(const QString& sFileName, const QString& sSource);
// Deletes a file even when it is read-only. A folder is never deleted: it fails as a file in use.
void DeleteFile(const QString& sFileName, const QString& sSource);
// The part after the last dot of the name, without the dot; empty when there is none.
QString Extension(const QString& sFileName);

} // namespace qldb::attachment_files
