// The server's backup folder seen from the client, over a local folder and over a Samba share that
// the test starts on loopback, and the wizard's file list and progress poll over it.
#include "loopback_servers.h"
#include "mssql_fixture.h"
#include "server/backup_folder.h"

#include <QDir>
#include <QFile>

namespace qldb::test {
namespace {

void Write(const QString& path, const QByteArray& content, bool append = false) {
    QFile f(path);
    ASSERT_TRUE(f.open(append ? QIODevice::Append : QIODevice::WriteOnly)) << path.toStdString();
    f.write(content);
}

class BackupFolderTest : public MsSqlSystemTest {
protected:
    void SetUp() override {
        MsSqlSystemTest::SetUp();
        m_folder = root.filePath("TestBackup");
        QDir().mkpath(m_folder + "/dir.bak");
        for (const char* name : {"a.bak", "B.BAK", "notes.txt", "x.bak.txt"})
            Write(m_folder + "/" + name, "x");
        WriteSetting("BackupFolder", m_folder);
    }
    QString m_folder;
};

TEST(BackupFolderTexts, DefaultLocationIsTheServersAdministrativeShare) {
    for (const auto& [server, folder] : {std::pair{"dbhost,1433", "smb://dbhost/c$/TestBackup/"},
                                         {"dbhost\\SQLEXPRESS", "smb://dbhost/c$/TestBackup/"},
                                         {"(local)", "smb://localhost/c$/TestBackup/"}})
        EXPECT_EQ(DefaultBackupFolderLocation(server), folder);
}

TEST_F(BackupFolderTest, OnlyFilesOfTheBakTypeAreOffered) {
    ASSERT_TRUE(wizard.AddFilesBak());
    ASSERT_EQ(wizard.cmbFilesBak.Items.size(), 2u);
    EXPECT_EQ(wizard.cmbFilesBak.Text(), "B.BAK");
    EXPECT_EQ(wizard.cmbFilesBak.Items[1].Text, "a.bak");
    // A folder that is not there is reported and leaves the list empty.
    WriteSetting("BackupFolder", m_folder + "/missing");
    EXPECT_FALSE(wizard.AddFilesBak());
    EXPECT_TRUE(wizard.cmbFilesBak.Items.empty());
    ASSERT_EQ(ReportedRoutines(), QStringList{"frmBackup.AddFilesBak"});
    EXPECT_TRUE(errors->reports()[0].Error.Description.contains("not found"));
}

TEST_F(BackupFolderTest, ThePollFollowsTheOutputFileToOneHundred) {
    const QString output = m_folder + "/test.txt";
    wizard.optMenu = 1;
    wizard.tmrParseEnabled = wizard.ProgressBarVisible = true;
    // Not there yet: reported, and the timer keeps going.
    wizard.tmrParse_Timer();
    EXPECT_EQ(ReportedRoutines(), QStringList{"frmBackup.tmrParse_Timer"});
    EXPECT_TRUE(wizard.tmrParseEnabled);
    // Lines without "%" move nothing, whatever number they hold.
    Write(output, "Processed 100 pages for database 'Sales'\r\n10 percent processed.\r\n");
    wizard.tmrParse_Timer();
    EXPECT_EQ(wizard.ProgressBarValue, 0);
    Write(output, "10 %\r\n 20% done\r\n", true);
    wizard.tmrParse_Timer();
    EXPECT_EQ(wizard.ProgressBarValue, 20);
    EXPECT_TRUE(wizard.tmrParseEnabled && wizard.ProgressBarVisible);
    EXPECT_FALSE(wizard.cmdEndEnabled);
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

TEST_F(BackupFolderTest, TheShareOverSmb) {
    SambaServer samba;
    if (!samba.available())
        GTEST_SKIP() << "Samba share test skipped: " << samba.why().toStdString();
    for (const char* name : {"Sales.bak", "Copy.BAK", "readme.txt"})
        Write(samba.folder() + "/" + name, "backup");
    Write(samba.folder() + "/test.txt", "10 %\r\n");
    const ShareCredentials good{"", samba.user(), SambaServer::password()};
    const BackupFolder share(samba.shareUrl(), good);
    EXPECT_EQ(share.FileNames(), (QStringList{"Copy.BAK", "Sales.bak", "readme.txt", "test.txt"}));
    EXPECT_EQ(share.ReadFile("test.txt"), "10 %\r\n");
    // The job keeps writing: every read sees the whole file so far.
    Write(samba.folder() + "/test.txt", "100 %\r\n", true);
    EXPECT_EQ(share.ReadFile("test.txt"), "10 %\r\n100 %\r\n");
    EXPECT_TRUE(Failure([&] {
                    BackupFolder(samba.shareUrl(), {"", samba.user(), "wrong"}).FileNames();
                }).contains("access denied"));
    EXPECT_TRUE(Failure([&] {
                    BackupFolder(samba.serverUrl() + "/nothere/", good).FileNames();
                }).contains("not found"));
    EXPECT_TRUE(Failure([&] { share.ReadFile("missing.txt"); }).contains("not found"));
    // The wizard over the share, with the credentials of the settings.
    WriteSetting("BackupFolder", samba.shareUrl());
    WriteSetting("BackupShareUser", samba.user());
    WriteSetting("BackupSharePassword", SambaServer::password());
    ASSERT_TRUE(wizard.AddFilesBak());
    EXPECT_EQ(wizard.cmbFilesBak.Items.size(), 2u);
    wizard.tmrParseEnabled = true;
    wizard.tmrParse_Timer();
    EXPECT_FALSE(wizard.tmrParseEnabled);
    EXPECT_TRUE(errors->reports().empty());
}

} // namespace
} // namespace qldb::test
