#include "platform/process_runner.h"
#include "support/scripted_host_services.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>

namespace qldb {
namespace {

class ProcessRunner : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_dir.isValid()); }

    // Written as the library writes its scripts: plain file permissions, no execute bit.
    QString WriteScript(const QString& name, const QByteArray& body) const {
        const QString path = m_dir.path() + "/" + name;
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(body);
        return path;
    }
    QString path(const QString& name) const { return m_dir.path() + "/" + name; }

private:
    QTemporaryDir m_dir;
};

TEST_F(ProcessRunner, ScriptFileRunsAndIsWaitedFor) {
    const QString out = path("out.txt");
    const QString script = WriteScript("copy job.bat", "echo started\n"
                                                       "echo oops 1>&2\n"
                                                       "echo data > \"" +
                                                           out.toUtf8() +
                                                           "\"\n"
                                                           "exit 3\n");
    ASSERT_FALSE(QFileInfo(script).isExecutable());
    const ProcessResult result = RunProcess(script, true, kWindowHidden, 10);
    EXPECT_TRUE(result.Started);
    EXPECT_TRUE(result.Finished);
    EXPECT_FALSE(result.TimedOut);
    EXPECT_FALSE(result.Crashed);
    EXPECT_EQ(result.ExitCode, 3);
    EXPECT_EQ(result.WindowMode, kWindowHidden);
    EXPECT_EQ(result.StandardOutput, "started\n");
    EXPECT_EQ(result.StandardError, "oops\n");
    EXPECT_TRUE(QFileInfo::exists(out));
    EXPECT_TRUE(RunAndWait(script, kWindowNormal, 10));
}

TEST_F(ProcessRunner, ProgramsWithArgumentsAndCommandLines) {
    ProcessResult result = RunProcess("/bin/sh", {"-c", "printf '%s|' \"$@\"", "sh", "a b", "c"}, true, 1, 0);
    EXPECT_TRUE(result.Finished);
    EXPECT_EQ(result.ExitCode, 0);
    EXPECT_EQ(result.StandardOutput, "a b|c|");

    result = RunProcess("printf \"%s|\" \"one two\" 'three' four", true, 1, 5);
    EXPECT_TRUE(result.Finished);
    EXPECT_EQ(result.StandardOutput, "one two|'three'|four|");

    // A script named on a line with its arguments.
    const QString script = WriteScript("args.sh", "echo \"$1-$2\"\n");
    result = RunProcess("\"" + script + "\" x y", true, 1, 5);
    EXPECT_EQ(result.StandardOutput, "x-y\n");

    // Standard input is closed: a script that reads it does not hang.
    result = RunProcess("/bin/cat", {}, true, 1, 5);
    EXPECT_TRUE(result.Finished);

    result = RunProcess("/bin/sh", {"-c", "kill -9 $$"}, true, 1, 5);
    EXPECT_TRUE(result.Finished);
    EXPECT_TRUE(result.Crashed);
    EXPECT_EQ(result.ExitCode, -1);

    for (const QString& missing : {path("no such program"), QString()}) {
        result = RunProcess(missing, true, 1, 5);
        EXPECT_FALSE(result.Started);
        EXPECT_FALSE(result.ErrorText.isEmpty());
    }
    EXPECT_FALSE(RunAndWait(path("missing.bat"), 0, 5));
    EXPECT_FALSE(RunProcess(path("none"), false, 1, 5).Started);
}

TEST_F(ProcessRunner, TimeoutKillsTheScriptAndWhatItStarted) {
    const QString marker = path("late.txt");
    const QString script =
        WriteScript("slow.sh", "echo before\n(sleep 2; echo late > \"" + marker.toUtf8() + "\") &\nwait\n");
    test::ScriptedHostServices host;
    QElapsedTimer clock;
    clock.start();
    const ProcessResult result = RunProcess(script, true, kWindowNormal, 1, &host);
    const qint64 elapsed = clock.elapsed();
    EXPECT_TRUE(result.Started);
    EXPECT_TRUE(result.TimedOut);
    EXPECT_FALSE(result.Finished);
    EXPECT_EQ(result.ExitCode, -1);
    EXPECT_EQ(result.StandardOutput, "before\n");
    EXPECT_GE(elapsed, 900);
    EXPECT_LT(elapsed, 2500);
    // The host was kept responsive while waiting.
    EXPECT_GE(host.doEventsCount(), 5);
    EXPECT_FALSE(RunAndWait(script, 0, 1));
    // What the script started went with it: nothing writes the marker later.
    QThread::msleep(2500);
    EXPECT_FALSE(QFileInfo::exists(marker));
}

TEST_F(ProcessRunner, WithoutWaitingTheProcessRunsOnItsOwn) {
    const QString marker = path("done.txt");
    const QString script = WriteScript("bg.sh", "sleep 1\necho done > \"" + marker.toUtf8() + "\"\n");
    QElapsedTimer clock;
    clock.start();
    const ProcessResult result = RunProcess(script, false, kWindowNormal, 0);
    EXPECT_LT(clock.elapsed(), 900);
    EXPECT_TRUE(result.Started);
    EXPECT_FALSE(result.Finished);
    EXPECT_FALSE(QFileInfo::exists(marker));
    for (int i = 0; i < 50 && !QFileInfo::exists(marker); ++i)
        QThread::msleep(100);
    EXPECT_TRUE(QFileInfo::exists(marker));
}

} // namespace
} // namespace qldb
