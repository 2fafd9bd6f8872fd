#include "platform/configuration.h"
#include "platform/error_record.h"
#include "platform/product_folders.h"
#include "platform/profile_string.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cstdlib>

namespace qldb {
namespace {

// Every test gets its own product root; the process-wide setting goes back to unset afterwards.
class ProductSettings : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_dir.isValid());
        setProductRoot(m_dir.path());
    }
    void TearDown() override { setProductRoot(QString()); }

    QString root() const { return m_dir.path(); }

    static void WriteFile(const QString& path, const QByteArray& content) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(content);
    }

    void WriteMirandoIni(const QByteArray& content) const {
        WriteFile(root() + "/Mirando/Config/Mirando.ini", content);
    }

private:
    QTemporaryDir m_dir;
};

TEST_F(ProductSettings, FoldersUnderTheRoot) {
    EXPECT_EQ(ProductFolder("Config"), root() + "/Mirando/Config");
    EXPECT_EQ(ProductFolder("Template", "Other"), root() + "/Other/Template");
    EXPECT_FALSE(QFileInfo::exists(ProductFolder("Config")));
    EXPECT_EQ(GlobalSettingsFilePath(), root() + "/Mirando/Config/Mirando.ini");
    EXPECT_EQ(WithTrailingSeparator("/a/b"), "/a/b/");
    EXPECT_EQ(WithTrailingSeparator("/a/b/"), "/a/b/");
    EXPECT_EQ(WithTrailingSeparator(""), "");

    // The host's root wins over the environment's, which wins over the user's data folder.
    const QByteArray saved = qgetenv("QLDB_DATA_ROOT");
    qputenv("QLDB_DATA_ROOT", "/env/root");
    setProductRoot("/host/root/");
    EXPECT_EQ(ProductFolder("Db"), "/host/root/Mirando/Db");
    setProductRoot(QString());
    EXPECT_EQ(ProductFolder("Db"), "/env/root/Mirando/Db");
    qunsetenv("QLDB_DATA_ROOT");
    EXPECT_TRUE(ProductRoot().endsWith("/qldb")) << ProductRoot().toStdString();
    EXPECT_NE(ProductRoot(), "/qldb");
    if (!saved.isNull())
        qputenv("QLDB_DATA_ROOT", saved);
}

TEST_F(ProductSettings, SettingsReadAndWrite) {
    EXPECT_EQ(ReadSetting("ReadUncommitted", "0"), "0");
    WriteSetting("ReadUncommitted", "1");
    WriteSetting("Other", "a, b");
    EXPECT_EQ(ReadSetting("ReadUncommitted", "0"), "1");
    EXPECT_EQ(ReadSetting("Other", ""), "a, b");
    EXPECT_EQ(ReadSetting("Missing", "dflt"), "dflt");
    QFile file(SettingsFilePath());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString content = QString::fromUtf8(file.readAll());
    EXPECT_TRUE(content.startsWith("[General]")) << content.toStdString();
    EXPECT_TRUE(content.contains("ReadUncommitted=1")) << content.toStdString();
    file.close();
    // A hand-written value with commas is still one setting.
    WriteFile(SettingsFilePath(), "[General]\nList=x,y\n");
    EXPECT_EQ(ReadSetting("List", ""), "x,y");
}

TEST_F(ProductSettings, WriteSettingFailsLoudlyWhereNothingCanBeWritten) {
    WriteFile(root() + "/blocker", "not a folder");
    setProductRoot(root() + "/blocker");
    try {
        WriteSetting("ReadUncommitted", "1");
        FAIL() << "no error";
    } catch (const qlException& e) {
        EXPECT_EQ(e.number(), kErrGeneral);
        EXPECT_EQ(e.record().Source, "Tools.WriteSetting");
    }
    EXPECT_EQ(ReadSetting("ReadUncommitted", "0"), "0");
}

TEST_F(ProductSettings, ProfileStringSemantics) {
    const QString file = root() + "/test.ini";
    WriteFile(file, "; comment line\r\n"
                    "[Other]\r\n"
                    "Key=other\r\n"
                    "  [ database ]  \r\n"
                    "; Key=commented\r\n"
                    "Key  =   spaced value   \r\n"
                    "Quoted=\"  inside  \"\r\n"
                    "Single='x'\r\n"
                    "HalfQuoted=\"x\r\n"
                    "Empty=\r\n"
                    "Eq=a=b\r\n"
                    "NoEquals\r\n"
                    "Key=second\r\n"
                    "[DATABASE]\n"
                    "Late=never read\n");
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "KEY", "d", file), "spaced value");
    EXPECT_EQ(GetPrivateProfileString("Database", "quoted", "d", file), "  inside  ");
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "Single", "d", file), "x");
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "HalfQuoted", "d", file), "\"x");
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "Empty", "d", file), "");
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "Eq", "d", file), "a=b");
    EXPECT_EQ(GetPrivateProfileString("Other", "Key", "d", file), "other");
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "NoEquals", "d", file), "d");
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "Late", "d", file), "d");
    EXPECT_EQ(GetPrivateProfileString("Missing", "Key", "dflt  ", file), "dflt");
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "Key", "d", root() + "/none.ini"), "d");
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "Key", "d", root() + "/no/folder/x.ini"), "d");
    // The buffer keeps one character for its terminator.
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "Key", "d", file, 6), "space");
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "Key", "d", file, 1), "");
    EXPECT_EQ(GetPrivateProfileString("DATABASE", "Key", "d", file, 0), "");
    EXPECT_EQ(GetPrivateProfileString("Missing", "Key", "default", file, 4), "def");

    // UTF-8 with its mark, and Latin-1 where the bytes are no UTF-8.
    WriteFile(file, "\xEF\xBB\xBF[S]\nK=Citt\xC3\xA0\n");
    EXPECT_EQ(GetPrivateProfileString("S", "K", "", file), QString::fromUtf8("Città"));
    WriteFile(file, "[S]\nK=Citt\xE0\n");
    EXPECT_EQ(GetPrivateProfileString("S", "K", "", file), QString::fromUtf8("Città"));
}

TEST_F(ProductSettings, GlobalReadUncommitted) {
    // No folder, then a folder without the file.
    EXPECT_EQ(ReadGlobalReadUncommitted(), std::nullopt);
    QDir().mkpath(ProductFolder("Config"));
    EXPECT_EQ(ReadGlobalReadUncommitted(), std::nullopt);

    WriteMirandoIni("[DATABASE]\r\nGlobalReadUncommitted=0\r\n");
    EXPECT_EQ(ReadGlobalReadUncommitted(), std::optional<bool>(false));
    WriteMirandoIni("[database]\nglobalreaduncommitted = 1\n");
    EXPECT_EQ(ReadGlobalReadUncommitted(), std::optional<bool>(true));
    WriteMirandoIni("[DATABASE]\nGlobalReadUncommitted=\"0\"\n");
    EXPECT_EQ(ReadGlobalReadUncommitted(), std::optional<bool>(false));
    WriteMirandoIni("[DATABASE]\nGlobalReadUncommitted=yes\n");
    EXPECT_EQ(ReadGlobalReadUncommitted(), std::nullopt);
    WriteMirandoIni("[DATABASE]\nOther=1\n[X]\nGlobalReadUncommitted=1\n");
    EXPECT_EQ(ReadGlobalReadUncommitted(), std::nullopt);
    // Only the first 127 characters count: a number followed by junk beyond them is still a number.
    WriteMirandoIni("[DATABASE]\nGlobalReadUncommitted=" + QByteArray(126, '0') + "1x\n");
    EXPECT_EQ(ReadGlobalReadUncommitted(), std::optional<bool>(true));
}

} // namespace
} // namespace qldb
