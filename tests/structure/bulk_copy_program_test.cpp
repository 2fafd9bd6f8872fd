// The bulk copy program route with a stand-in "bcp" on the PATH that records its arguments and the
// script that ran it, and writes the files a real one writes: exact command lines, the run modes,
// the failure messages and the format file's version line.
#include "structure/bulk_copy/bulk_copy.h"
#include "structure/structure_fixture.h"

#include <QLocale>

namespace qldb::test {
namespace {

const char* kStandIn = R"SH(#!/bin/sh
dir=$(dirname "$0")
i=$(cat "$dir/count" 2>/dev/null || echo 0); i=$((i+1)); echo $i > "$dir/count"
for a in "$@"; do printf '%s\n' "$a"; done > "$dir/args.$i"
cp "$(tr '\0' '\n' < /proc/$PPID/cmdline | sed -n 2p)" "$dir/script.$i"
echo "bcp says hi"
[ "$STANDIN_FAIL" = "$2" ] && exit 1
[ "$STANDIN_NOFILE" = "$2" ] && exit 0
case "$2" in
format) printf '14.0\r\n1\r\n1 SQLNCHAR 0 24 "\\n\\0" 1 ID ""\r\n' > "$5";;
out) printf 'x' > "$3";;
esac
exit 0
)SH";

QString Read(const QString& file) {
    QFile f(file);
    f.open(QIODevice::ReadOnly);
    return QString::fromUtf8(f.readAll());
}

class BulkCopyProgram : public DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        QFile::setPermissions(write("bcp", kStandIn), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        m_path = qgetenv("PATH");
        qputenv("PATH", (dir.path() + ":").toUtf8() + m_path);
        conn->setServer("srv,1433");
        conn->setDatabaseName("DB");
        conn->setUser("sa");
        conn->setPassword("p$w'd");
        conn->setBulkCopyVersion(120);
        conn->setBulkCopyMode(1);
        database.setPathXML(m_root.filePath("xml"));
        answer("SELECT COUNT(*) FROM ART", {"n"}, {{3}});
    }
    void TearDown() override {
        qputenv("PATH", m_path);
        QLocale::setDefault(QLocale::c());
        DatabaseTest::TearDown();
    }
    QStringList args(int call) const {
        return Read(dir.filePath("args." + QString::number(call))).split('\n', Qt::SkipEmptyParts);
    }
    QString script(int call) const { return Read(dir.filePath("script." + QString::number(call))); }
    QString recordsCount() { return database.GetXmlDataTable("art").lastChild().toElement().text(); }
    QStringList boxes() const {
        QStringList out;
        for (const ShownMessage& m : host->messages())
            out << m.Title + ": " + m.Text;
        return out;
    }
    QString dbFolder(const QString& name) const { return m_root.path() + "/Mirando/Db/" + name; }
    QString xml(const QString& name) const { return m_root.filePath("xml/" + name); }

    QByteArray m_path;
};

TEST_F(BulkCopyProgram, ExportPassesRunTheExactCommandLinesInEachMode) {
    QLocale::setDefault(QLocale(QLocale::Italian));
    EXPECT_EQ(recordsCount(), "3");
    const QStringList tail = {"-w",
                              "-t",
                              "\\t",
                              "-r",
                              "\\n",
                              "-Ssrv,1433",
                              "-Usa",
                              "-Pp$w'd",
                              "-V120",
                              "-e",
                              dbFolder("ART.qldataerror")};
    EXPECT_EQ(args(1), QStringList({"DB.dbo.ART", "format", "nul", "-f", xml("ART.qldataformat")}) + tail);
    EXPECT_EQ(args(2), QStringList({"DB.dbo.ART", "out", xml("ART.qldatatable")}) + tail);
    // The version line is the program's version in tenths, with a dot in any locale.
    EXPECT_EQ(Read(xml("ART.qldataformat")), "12.0\r\n1\r\n1 SQLNCHAR 0 24 \"\\n\\0\" 1 ID \"\"\r\n");
    EXPECT_EQ(Read(dbFolder("ART.qldataoutput")),
              "bcp \"DB.dbo.ART\" out \"" + xml("ART.qldatatable") +
                  "\" -w -t \\t -r \\n -Ssrv,1433 -Usa -Pp$w'd -V120 -e \"" + dbFolder("ART.qldataerror") +
                  "\"");
    EXPECT_TRUE(boxes().isEmpty());
    // Mode 1 runs hidden with no log and no pause.
    EXPECT_FALSE(script(1).contains("pause") || script(1).contains(" > "));
    EXPECT_FALSE(QFile::exists(dbFolder("ART.qldataoutput.log")));

    conn->setNetworkCredential(true);
    conn->setBulkCopyMode(2); // the program's output goes to a log
    EXPECT_EQ(recordsCount(), "3");
    EXPECT_EQ(args(3).mid(10), QStringList({"-Ssrv,1433", "-T", "-V120", "-e", dbFolder("ART.qldataerror")}));
    EXPECT_TRUE(
        script(3).contains(" > '" + dbFolder("ART.qldataoutput.log") + "'\nstatus=$?\nexit $status\n"));
    EXPECT_EQ(Read(dbFolder("ART.qldataoutput.log")), "bcp says hi\n");
    conn->setBulkCopyMode(0); // a window that waits
    EXPECT_EQ(recordsCount(), "3");
    EXPECT_TRUE(script(5).endsWith("\nstatus=$?\npause\nexit $status\n")) << script(5).toStdString();
}

TEST_F(BulkCopyProgram, FailuresGiveTheirMessagesAndTheNextTableGoesOn) {
    const QString see =
        "\r\nPer ulteriori informazioni consultare il file \"" + dbFolder("ART.qldataerror") + "\".";
    const QString program =
        "Tavoleno Mirando: Si sono verificati errori durante l'eseguzione del comando \"bcp.exe\" "
        "per la creazione del file di ";
    const QString noFile = "Tavoleno Mirando: Si sono verificati errori durante la creazione del file di ";
    for (const auto& [variable, pass, message] :
         {std::tuple{"STANDIN_FAIL", "format", program + "formato della tabella \"ART\"."},
          {"STANDIN_NOFILE", "format", noFile + "formato della tabella \"ART\"." + see},
          {"STANDIN_FAIL", "out", program + "dati della tabella \"ART\"."},
          {"STANDIN_NOFILE", "out", noFile + "dati della tabella \"ART\"." + see}}) {
        host->clear();
        qputenv(variable, pass);
        EXPECT_EQ(recordsCount(), "0") << variable << " " << pass;
        EXPECT_EQ(boxes(), QStringList({message}));
        qunsetenv(variable);
        EXPECT_EQ(recordsCount(), "3"); // the next export is not held back by the failure before it
    }
}

TEST_F(BulkCopyProgram, ImportRunsTheInCommandAndChecksTheCount) {
    const QString file =
        write("s.xml", "<Database><DataTables><DataTable><TableName>ART</TableName><Filter/><RecordsCount>4"
                       "</RecordsCount></DataTable></DataTables></Database>");
    EXPECT_FALSE(database.ReadXmlDataTable(file));
    EXPECT_EQ(args(1),
              QStringList({"DB.dbo.ART", "in", xml("ART.qldatatable"), "-f", xml("ART.qldataformat"),
                           "-Ssrv,1433", "-Usa", "-Pp$w'd", "-V120", "-e", dbFolder("ART.qldataerror")}));
    EXPECT_EQ(
        boxes(),
        QStringList({"Tavoleno Mirando: Il numero di record importati non corrisponde. Da importare: 4. "
                     "Importati: 3\r\nPer ulteriori informazioni consultare il file \"" +
                     dbFolder("ART.qldataerror") + "\"."}));
}

} // namespace
} // namespace qldb::test
