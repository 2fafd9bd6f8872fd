#include "structure/bulk_copy/bulk_copy.h"

#include "platform/tools/configuration.h"
#include "platform/tools/process_runner.h"
#include "platform/tools/product_folders.h"
#include "structure/bulk_copy/builtin_copier.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryFile>

namespace qldb {

namespace {

const QString kBuiltIn = QStringLiteral("builtin");

QString Quoted(const QString& s) {
    return QLatin1Char('"') + s + QLatin1Char('"');
}

// A word for the shell exactly as it is: single quotes, with each quote inside closed and reopened.
QString ShellWord(const QString& s) {
    QString inner = s;
    inner.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    return QLatin1Char('\'') + inner + QLatin1Char('\'');
}

} // namespace

QString BulkCopyCommand(const BulkCopyJob& job, const BulkCopyLogin& login) {
    const QString credentials = login.NetworkCredential
                                    ? QStringLiteral(" -S") + login.Server + QStringLiteral(" -T")
                                    : QStringLiteral(" -S") + login.Server + QStringLiteral(" -U") +
                                          login.User + QStringLiteral(" -P") + login.Password;
    const QString tail = credentials + QStringLiteral(" -V") + QString::number(login.Version) +
                         QStringLiteral(" -e ") + Quoted(job.ErrorFile);
    const QString head =
        QStringLiteral("bcp ") + Quoted(login.Database + QStringLiteral(".dbo.") + job.Table);
    const QString wide = QStringLiteral(" -w -t \\t -r \\n");
    switch (job.Pass) {
    case BulkCopyPass::Format:
        return head + QStringLiteral(" format nul -f ") + Quoted(job.FormatFile) + wide + tail;
    case BulkCopyPass::Out:
        return head + QStringLiteral(" out ") + Quoted(job.DataFile) + wide + tail;
    case BulkCopyPass::In:
        break;
    }
    return head + QStringLiteral(" in ") + Quoted(job.DataFile) + QStringLiteral(" -f ") +
           Quoted(job.FormatFile) + tail;
}

DataSideFiles SideFilesFor(const QString& sBaseName, const QString& sPathXML) {
    const QString db = WithTrailingSeparator(ProductFolder(QStringLiteral("Db")));
    const QString data = sPathXML.isEmpty() ? db : WithTrailingSeparator(sPathXML);
    DataSideFiles files;
    files.Data = data + sBaseName + QStringLiteral(".qldatatable");
    files.Format = data + sBaseName + QStringLiteral(".qldataformat");
    files.Output = db + sBaseName + QStringLiteral(".qldataoutput");
    files.Error = db + sBaseName + QStringLiteral(".qldataerror");
    files.Log = files.Output + QStringLiteral(".log");
    return files;
}

void DeleteFiles(const QStringList& sFiles) {
    for (const QString& file : sFiles) {
        if (QFileInfo::exists(file))
            QFile::remove(file);
    }
}

QString BulkCopyProgram() {
    const QString setting = ReadSetting(QStringLiteral("BulkCopyProgram"), QString()).trimmed();
    if (setting.compare(kBuiltIn, Qt::CaseInsensitive) == 0)
        return QString();
    if (!setting.isEmpty())
        return setting;
    return QStandardPaths::findExecutable(QStringLiteral("bcp"));
}

QString BulkCopyScript(const QString& sCommand, int32_t iMode, const QString& sLogFile,
                       const QString& sProgram) {
    QString script = QStringLiteral("#!/bin/sh\n");
    // The line keeps its own words; the word bcp reaches the chosen program through a function.
    if (!sProgram.isEmpty() && sProgram != QLatin1String("bcp"))
        script += QStringLiteral("bcp() { ") + ShellWord(sProgram) + QStringLiteral(" \"$@\"; }\n");
    const bool pause = iMode != 1 && iMode != 2;
    if (pause)
        script += QStringLiteral("pause() { printf '%s' 'Press Enter to continue . . . '; read -r _; }\n");
    QStringList words = QProcess::splitCommand(sCommand);
    QString line = words.isEmpty() ? QString() : words.takeFirst();
    for (const QString& word : words)
        line += QLatin1Char(' ') + ShellWord(word);
    if (iMode == 2)
        line += QStringLiteral(" > ") + ShellWord(sLogFile);
    script += line + QStringLiteral("\nstatus=$?\n");
    if (pause)
        script += QStringLiteral("pause\n");
    script += QStringLiteral("exit $status\n");
    return script;
}

namespace {

bool RunScript(const QString& sScript, int32_t iMode, IHostServices* pHost) {
    // The script lives in the system's temporary folder and goes when the run is over.
    QTemporaryFile file(QDir::tempPath() + QStringLiteral("/qldb_bcp_XXXXXX.sh"));
    if (!file.open())
        return false;
    file.write(sScript.toLocal8Bit());
    file.close();
    ProcessResult result;
    const bool visible = iMode != 1 && iMode != 2;
    const QString terminal = QStandardPaths::findExecutable(QStringLiteral("xterm"));
    if (visible && !terminal.isEmpty() && !qEnvironmentVariableIsEmpty("DISPLAY")) {
        // A window of its own, so the user reads the program's answer before the pause lets go.
        result = RunProcess(terminal, {QStringLiteral("-e"), QStringLiteral("/bin/sh"), file.fileName()},
                            true, kWindowNormal, 0, pHost);
        return result.Started && result.Finished && !result.Crashed;
    }
    result = RunProcess(QStringLiteral("/bin/sh"), {file.fileName()}, true,
                        visible ? kWindowNormal : kWindowHidden, 0, pHost);
    return result.Started && result.Finished && result.ExitCode == 0;
}

} // namespace

bool RunBulkCopy(const BulkCopyJob& job, const BulkCopyLogin& login, int32_t iMode, IDbConnection& connection,
                 IHostServices* pHost) {
    const QString program = BulkCopyProgram();
    if (program.isEmpty())
        return RunBuiltInCopy(job, iMode, connection);
    return RunScript(BulkCopyScript(BulkCopyCommand(job, login), iMode, job.LogFile, program), iMode, pHost);
}

} // namespace qldb
