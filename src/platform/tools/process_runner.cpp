#include "platform/tools/process_runner.h"

#include "platform/host/host_services.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QProcess>

#include <csignal>
#include <sys/types.h>
#include <unistd.h>

namespace qldb {

namespace {

constexpr int kPollMilliseconds = 100;

// Scripts are written by the library with ordinary file permissions; a shell reads them without
// needing the execute bit.
void ResolveScript(QString& program, QStringList& arguments) {
    const QFileInfo info(program);
    if (info.isFile() && !info.isExecutable()) {
        arguments.prepend(program);
        program = QStringLiteral("/bin/sh");
    }
}

// A script's own children (the copy program a script starts) would outlive the script and keep
// its files open; the whole group goes.
void KillProcessGroup(QProcess& process) {
    const qint64 pid = process.processId();
    if (pid > 0)
        ::kill(-static_cast<pid_t>(pid), SIGKILL);
    process.kill();
}

void WaitForEnd(QProcess& process, int32_t lTimeoutSeconds, IHostServices* pHost, ProcessResult& result) {
    const QDeadlineTimer deadline = lTimeoutSeconds > 0
                                        ? QDeadlineTimer(static_cast<qint64>(lTimeoutSeconds) * 1000)
                                        : QDeadlineTimer(QDeadlineTimer::Forever);
    for (;;) {
        const qint64 left = deadline.remainingTime();
        const int slice = (left < 0 || left > kPollMilliseconds) ? kPollMilliseconds : static_cast<int>(left);
        if (process.waitForFinished(slice) || process.state() == QProcess::NotRunning)
            break;
        if (deadline.hasExpired()) {
            result.TimedOut = true;
            result.ErrorText = QStringLiteral("The process did not end within %1 seconds and was stopped.")
                                   .arg(lTimeoutSeconds);
            KillProcessGroup(process);
            process.waitForFinished(-1);
            break;
        }
        if (pHost != nullptr)
            pHost->DoEvents();
    }
}

} // namespace

ProcessResult RunProcess(const QString& sProgram, const QStringList& sArguments, bool bWait,
                         int32_t iWindowMode, int32_t lTimeoutSeconds, IHostServices* pHost) {
    ProcessResult result;
    result.WindowMode = iWindowMode;
    QString program = sProgram;
    QStringList arguments = sArguments;
    if (program.isEmpty()) {
        result.ErrorText = QStringLiteral("No program to run.");
        return result;
    }
    ResolveScript(program, arguments);

    if (!bWait) {
        QProcess detached;
        detached.setProgram(program);
        detached.setArguments(arguments);
        detached.setStandardInputFile(QProcess::nullDevice());
        result.Started = detached.startDetached();
        if (!result.Started)
            result.ErrorText = detached.errorString();
        return result;
    }

    QProcess process;
    // Nothing is typed into a script run from here: a read of standard input gets end of file at
    // once instead of waiting for ever.
    process.setStandardInputFile(QProcess::nullDevice());
    // Its own process group, so that a timeout can stop everything it started.
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
    process.start(program, arguments);
    if (!process.waitForStarted(-1)) {
        result.ErrorText = process.errorString();
        return result;
    }
    result.Started = true;
    WaitForEnd(process, lTimeoutSeconds, pHost, result);
    result.StandardOutput = QString::fromLocal8Bit(process.readAllStandardOutput());
    result.StandardError = QString::fromLocal8Bit(process.readAllStandardError());
    if (!result.TimedOut) {
        result.Finished = true;
        result.Crashed = process.exitStatus() == QProcess::CrashExit;
        result.ExitCode = result.Crashed ? -1 : process.exitCode();
        if (result.Crashed)
            result.ErrorText = process.errorString();
    }
    return result;
}

ProcessResult RunProcess(const QString& sCommandLine, bool bWait, int32_t iWindowMode,
                         int32_t lTimeoutSeconds, IHostServices* pHost) {
    // A whole line that names an existing file is that file, blanks in its name included.
    if (QFileInfo(sCommandLine).isFile())
        return RunProcess(sCommandLine, QStringList(), bWait, iWindowMode, lTimeoutSeconds, pHost);
    QStringList words = QProcess::splitCommand(sCommandLine);
    const QString program = words.isEmpty() ? QString() : words.takeFirst();
    return RunProcess(program, words, bWait, iWindowMode, lTimeoutSeconds, pHost);
}

bool RunAndWait(const QString& sBatFile, int32_t iWindowMode, int32_t lTimeoutSeconds, IHostServices* pHost) {
    const ProcessResult result =
        RunProcess(sBatFile, QStringList(), true, iWindowMode, lTimeoutSeconds, pHost);
    return result.Started && result.Finished;
}

} // namespace qldb
