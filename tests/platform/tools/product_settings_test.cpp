#include "platform/tools/configuration.h"
#include "platform/tools/product_folders.h"
#include "platform/tools/profile_string.h"
#include "sql/sql_test_support.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

using namespace qldb;

namespace {

// Every test gets its own product root; the process-wide setting goes back to unset afterwards.
struct ProductSettings : ::testing::Test {
    void SetUp() override { setProductRoot(m_dir.path()); }
    void TearDown() override { setProductRoot(QString()); }
    QString root() const { return m_dir.path(); }

    static void WriteFile(const QString& path, const QByteArray& content) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(content);
    }
    QTemporaryDir m_dir;
};

} // namespace

TEST_F(ProductSettings, FoldersAndTheReadUncommittedSetting) {
    EXPECT_EQ(GlobalSettingsFilePath(), root() + "/Mirando/Config/Mirando.ini");
    EXPECT_EQ(ReadSetting("ReadUncommitted", "0"), "0");
    WriteSetting("ReadUncommitted", "1");
    WriteSetting("Other", "a, b");
    EXPECT_EQ(ReadSetting("ReadUncommitted", "0") + ReadSetting("Other", ""), "1a, b");

    // Nothing can be written under a file: the failure is raised, not swallowed.
    WriteFile(root() + "/blocker", "not a folder");
    setProductRoot(root() + "/blocker");
    const ErrorRecord error = test::RaisedBy([] { WriteSetting("ReadUncommitted", "1"); });
    EXPECT_EQ(error.Number, kErrGeneral);
    EXPECT_EQ(error.Source, "Tools.WriteSetting");
    EXPECT_EQ(ReadSetting("ReadUncommitted", "0"), "0");
}

TEST_F(ProductSettings, ProfileStrings) {
    const QString file = root() + "/test.ini";
    WriteFile(file, "; comment\r\n[Other]\r\nKey=other\r\n  [ database ]  \r\n; Key=commented\r\n"
                    "Key  =   spaced value   \r\nQuoted=\"  inside  \"\r\nHalfQuoted=\"x\r\nEmpty=\r\n"
                    "Eq=a=b\r\nNoEquals\r\nKey=second\r\n[DATABASE]\nLate=never read\n");
    const std::pair<const char*, const char*> reads[] = {
        {"KEY", "spaced value"}, {"quoted", "  inside  "}, {"HalfQuoted", "\"x"}, {"Empty", ""},
        {"Eq", "a=b"},           {"NoEquals", "d"},        {"Late", "d"},
    };
    for (const auto& [key, value] : reads)
        EXPECT_EQ(GetPrivateProfileString("DATABASE", key, "d", file), value) << key;
    EXPECT_EQ(GetPrivateProfileString("Missing", "Key", "dflt  ", file), "dflt");
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "Key", "d", root() + "/none.ini"), "d");
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "Key", "d", root() + "/no/folder/x.ini"), "d");
    // The buffer keeps one character for its terminator.
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "Key", "d", file, 6), "space");
    EXPECT_EQ(GetPrivateProfileString("Missing", "Key", "default", file, 4), "def");
    // UTF-8 with its mark, and Latin-1 where the bytes are no UTF-8.
    WriteFile(file, "\xEF\xBB\xBF[S]\nK=Citt\xC3\xA0\n");
    EXPECT_EQ(GetPrivateProfileString("S", "K", "", file), QString::fromUtf8("Città"));
    WriteFile(file, "[S]\nK=Citt\xE0\n");
    EXPECT_EQ(GetPrivateProfileString("S", "K", "", file), QString::fromUtf8("Città"));
}

TEST_F(ProductSettings, GlobalReadUncommitted) {
    EXPECT_EQ(ReadGlobalReadUncommitted(), std::nullopt);
    QDir().mkpath(ProductFolder("Config"));
    EXPECT_EQ(ReadGlobalReadUncommitted(), std::nullopt);
    const std::pair<QByteArray, std::optional<bool>> files[] = {
        {"[DATABASE]\r\nGlobalReadUncommitted=0\r\n", false},
        {"[DATABASE]\nGlobalReadUncommitted=\"0\"\n", false},
        {"[DATABASE]\nGlobalReadUncommitted=yes\n", std::nullopt},
        // Only the first 127 characters count: junk beyond them leaves a number.
        {"[DATABASE]\nGlobalReadUncommitted=" + QByteArray(126, '0') + "1x\n", true},
    };
    for (const auto& [content, expected] : files) {
        WriteFile(GlobalSettingsFilePath(), content);
        EXPECT_EQ(ReadGlobalReadUncommitted(), expected) << content.toStdString();
    }
}
