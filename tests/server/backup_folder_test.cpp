// The server's backup folder seen from the client, over a local folder and over a Samba share that
// the test starts on loopback, and the wizard's file list and progress poll over both.
#include "loopback_servers.h"
#include "mssql_fixture.h"
#include "server/backup_folder.h"

namespace qldb::test {
namespace {

void Write(const QString& path, const QByteArray& content, bool append = false) {
    QFile f(path);
    ASSERT_TRUE(f.open(append ? QIODevice::Append : QIODevice::WriteOnly)) << path.toStdString();
    f.write(content);
}

class BackupFolderTest : public MsSqlSystemTest {
protected:
    // The wizard over the folder of the settings, whose files are in dir.
    void WizardOver(const QString& dir) {
        QDir().mkpath(dir + "/dir.bak");
        for (const char* name : {"a.bak", "B.BAK", "notes.txt", "x.bak.txt"})
            Write(dir + "/" + name, "x");
        ASSERT_TRUE(wizard.AddFilesBak());
        ASSERT_EQ(wizard.cmbFilesBak.Items.size(), 2u);
        EXPECT_EQ(wizard.cmbFilesBak.Text() + " " + wizard.cmbFilesBak.Items[1].Text, "B.BAK a.bak");
        // The poll of a restore: no output file yet is reported, and the timer keeps going.
        wizard.optMenu = 1;
        wizard.tmrParseEnabled = wizard.ProgressBarVisible = true;
        wizard.tmrParse_Timer();
        ASSERT_EQ(ReportedRoutines(), QStringList{"frmBackup.tmrParse_Timer"});
        EXPECT_TRUE(errors->reports()[0].Error.Description.contains("not found"));
        EXPECT_TRUE(wizard.tmrParseEnabled);
        // Lines without "%" move nothing, whatever number they hold; the job keeps appending and
        // every read sees the whole file so far.
        const QString output = dir + "/test.txt";
        Write(output, "Processed 100 pages for database 'Sales'\r\n10 percent processed.\r\n");
        wizard.tmrParse_Timer();
        EXPECT_EQ(wizard.ProgressBarValue, 0);
        Write(output, "10 %\r\n 20% done\r\n", true);
        wizard.tmrParse_Timer();
        EXPECT_EQ(wizard.ProgressBarValue, 20);
        EXPECT_TRUE(wizard.tmrParseEnabled && wizard.ProgressBarVisible && !wizard.cmdEndEnabled);
        Write(output, "100 %\r\nBACKUP DATABASE successfully processed\r\n", true);
        wizard.tmrParse_Timer();
        EXPECT_FALSE(wizard.tmrParseEnabled || wizard.ProgressBarVisible);
        EXPECT_EQ(wizard.lblEnd, "Operazione completata!Scegli 'Fine' per uscire.");
        EXPECT_TRUE(wizard.cmdEndEnabled && wizard.cmdPreviousEnabled);
        EXPECT_EQ(errors->reports().size(), 1u);
        // A line whose text before "%" is no number is reported after the lines before it count.
        Write(output, "30 %\r\nabc %\r\n40 %\r\n");
        wizard.tmrParseEnabled = true;
        wizard.tmrParse_Timer();
        EXPECT_EQ(wizard.ProgressBarValue, 30);
        EXPECT_EQ(errors->reports().back().Error.Description, "Type mismatch");
        EXPECT_TRUE(wizard.tmrParseEnabled);
    }
};

TEST(BackupFolderTexts, DefaultLocationIsTheServersAdministrativeShare) {
    for (const auto& [server, folder] : {std::pair{"dbhost,1433", "smb://dbhost/c$/TestBackup/"},
                                         {"dbhost\\SQLEXPRESS", "smb://dbhost/c$/TestBackup/"},
                                         {"(local)", "smb://localhost/c$/TestBackup/"}})
        EXPECT_EQ(DefaultBackupFolderLocation(server), folder);
}

TEST_F(BackupFolderTest, TheWizardOverALocalFolder) {
    const QString dir = root.filePath("TestBackup");
    WriteSetting("BackupFolder", dir);
    WizardOver(dir);
    // A folder that is not there is reported and leaves the list empty.
    WriteSetting("BackupFolder", dir + "/missing");
    EXPECT_FALSE(wizard.AddFilesBak());
    EXPECT_TRUE(wizard.cmbFilesBak.Items.empty());
    EXPECT_EQ(ReportedRoutines().last(), "frmBackup.AddFilesBak");
}

TEST_F(BackupFolderTest, TheWizardOverTheShare) {
    SambaServer samba;
    if (!samba.available())
        GTEST_SKIP() << "Samba share test skipped: " << samba.why().toStdString();
    const ShareCredentials good{"", samba.user(), SambaServer::password()};
    EXPECT_TRUE(Raised([&] {
                    BackupFolder(samba.shareUrl(), {"", samba.user(), "wrong"}).FileNames();
                }).contains("access denied"));
    EXPECT_TRUE(Raised([&] {
                    BackupFolder(samba.serverUrl() + "/nothere/", good).FileNames();
                }).contains("not found"));
    // The wizard logs in with the credentials of the settings.
    WriteSetting("BackupFolder", samba.shareUrl());
    WriteSetting("BackupShareUser", samba.user());
    WriteSetting("BackupSharePassword", SambaServer::password());
    WizardOver(samba.folder());
}

} // namespace
} // namespace qldb::test
