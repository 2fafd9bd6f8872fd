#include "platform/tools/process_runner.h"
#include "support/scripted_host_services.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>

namespace qldb {
namespace {

struct ProcessRunner : ::testing::Test {
    // Written as the library writes its scripts: plain file permissions, no execute bit.
    QString WriteScript(const QString& name, const QByteArray& body) const {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(body) == body.size());
        return path(name);
    }
    QString path(const QString& name) const { return m_dir.path() + "/" + name; }
    QTemporaryDir m_dir;
};

TEST_F(ProcessRunner, ScriptsAndCommandLinesRunAndAreWaitedFor) {
    const QString script = WriteScript("copy job.bat", "echo started\necho oops 1>&2\nexit 3\n");
    ProcessResult result = RunProcess(script, true, kWindowHidden, 10);
    EXPECT_TRUE(result.Started && result.Finished);
    EXPECT_FALSE(result.TimedOut || result.Crashed);
    EXPECT_EQ(result.ExitCode, 3);
    EXPECT_EQ(result.StandardOutput, "started\n");
    EXPECT_EQ(result.StandardError, "oops\n");
    EXPECT_TRUE(RunAndWait(script, kWindowNormal, 10));

    result = RunProcess("/bin/sh", {"-c", "printf '%s|' \"$@\"", "sh", "a b", "c"}, true, 1, 0);
    EXPECT_EQ(result.StandardOutput, "a b|c|");
    result = RunProcess("printf \"%s|\" \"one two\" 'three' four", true, 1, 5);
    EXPECT_EQ(result.StandardOutput, "one two|'three'|four|");
    // Standard input is closed: a program that reads it does not hang.
    EXPECT_TRUE(RunProcess("/bin/cat", {}, true, 1, 5).Finished);

    result = RunProcess("/bin/sh", {"-c", "kill -9 $$"}, true, 1, 5);
    EXPECT_TRUE(result.Crashed && result.ExitCode == -1);
    result = RunProcess(path("no such program"), true, 1, 5);
    EXPECT_FALSE(result.Started || result.ErrorText.isEmpty());
    EXPECT_FALSE(RunAndWait(path("missing.bat"), 0, 5));
}

// A timed-out script is killed with what it started; one not waited for runs on by itself.
TEST_F(ProcessRunner, TimeoutKillsTheScriptWhileAnUnwaitedOneRunsOn) {
    const QString late = path("late.txt"), done = path("done.txt");
    const ProcessResult background =
        RunProcess(WriteScript("bg.sh", "sleep 1\necho done > \"" + done.toUtf8() + "\"\n"), false, 0, 0);
    EXPECT_TRUE(background.Started && !background.Finished);
    const QString script =
        WriteScript("slow.sh", "echo before\n(sleep 2; echo late > \"" + late.toUtf8() + "\") &\nwait\n");
    test::ScriptedHostServices host;
    QElapsedTimer clock;
    clock.start();
    const ProcessResult result = RunProcess(script, true, kWindowNormal, 1, &host);
    EXPECT_GE(clock.elapsed(), 900);
    EXPECT_LT(clock.elapsed(), 2500);
    EXPECT_TRUE(result.TimedOut && !result.Finished);
    EXPECT_EQ(result.ExitCode, -1);
    EXPECT_EQ(result.StandardOutput, "before\n");
    EXPECT_GE(host.doEventsCount(), 5) << "the host is kept responsive while waiting";
    QThread::msleep(2000);
    EXPECT_FALSE(QFileInfo::exists(late));
    EXPECT_TRUE(QFileInfo::exists(done));
}

} // namespace
} // namespace qldb
