// The bulk copy program route with a stand-in "bcp" on the PATH that records its arguments and the
// script that ran it, and writes the files a real one writes: exact command lines, the run modes,
// the failure messages and the format file's version line.
#include "structure/bulk_copy/bulk_copy.h"
#include "structure/structure_fixture.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>

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

const QString kBox = QStringLiteral("Tavoleno Mirando");

class BulkCopyProgram : public DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        ASSERT_TRUE(m_bin.isValid());
        QFile program(m_bin.filePath("bcp"));
        ASSERT_TRUE(program.open(QIODevice::WriteOnly));
        program.write(kStandIn);
        program.close();
        program.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        m_path = qgetenv("PATH");
        qputenv("PATH", (m_bin.path() + ":").toUtf8() + m_path);
        conn->setServer("srv,1433");
        conn->setDatabaseName("DB");
        conn->setUser("sa");
        conn->setPassword("p$w'd");
        conn->setBulkCopyVersion(120);
        conn->setBulkCopyMode(1);
        database.setPathXML(m_root.filePath("xml"));
        db->respond("SELECT COUNT(*) FROM ART", ScriptedConnection::Table({"n"}, {{3}}));
    }
    void TearDown() override {
        qputenv("PATH", m_path);
        qunsetenv("STANDIN_FAIL");
        qunsetenv("STANDIN_NOFILE");
        QLocale::setDefault(QLocale::c());
        DatabaseTest::TearDown();
    }
    QString read(const QString& file) const {
        QFile f(file);
        f.open(QIODevice::ReadOnly);
        return QString::fromUtf8(f.readAll());
    }
    QStringList args(int call) const {
        return read(m_bin.filePath("args." + QString::number(call))).split('\n', Qt::SkipEmptyParts);
    }
    QString script(int call) const { return read(m_bin.filePath("script." + QString::number(call))); }
    QString recordsCount() {
        const QDomElement node = database.GetXmlDataTable("art");
        return node.lastChild().toElement().text();
    }
    QStringList boxes() const {
        QStringList out;
        for (const ShownMessage& m : host->messages()) {
            EXPECT_EQ(m.Title, kBox);
            out << m.Text;
        }
        return out;
    }
    QString dbFolder(const QString& name) const { return m_root.path() + "/Mirando/Db/" + name; }
    QString xml(const QString& name) const { return m_root.filePath("xml/" + name); }

    QTemporaryDir m_bin;
    QByteArray m_path;
};

TEST_F(BulkCopyProgram, ExportPassesRunTheExactCommandLines) {
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
    EXPECT_EQ(read(xml("ART.qldataformat")), "12.0\r\n1\r\n1 SQLNCHAR 0 24 \"\\n\\0\" 1 ID \"\"\r\n");
    EXPECT_EQ(read(dbFolder("ART.qldataoutput")),
              "bcp \"DB.dbo.ART\" out \"" + xml("ART.qldatatable") +
                  "\" -w -t \\t -r \\n -Ssrv,1433 -Usa -Pp$w'd -V120 -e \"" + dbFolder("ART.qldataerror") +
                  "\"");
    EXPECT_TRUE(boxes().isEmpty());

    conn->setNetworkCredential(true);
    EXPECT_EQ(recordsCount(), "3");
    EXPECT_EQ(args(3).mid(10), QStringList({"-Ssrv,1433", "-T", "-V120", "-e", dbFolder("ART.qldataerror")}));
}

TEST_F(BulkCopyProgram, RunModes) {
    conn->setBulkCopyMode(1);
    recordsCount();
    EXPECT_FALSE(script(1).contains("pause"));
    EXPECT_FALSE(script(1).contains(" > "));
    EXPECT_FALSE(QFile::exists(dbFolder("ART.qldataoutput.log")));

    conn->setBulkCopyMode(2);
    recordsCount();
    EXPECT_TRUE(
        script(3).contains(" > '" + dbFolder("ART.qldataoutput.log") + "'\nstatus=$?\nexit $status\n"));
    EXPECT_EQ(read(dbFolder("ART.qldataoutput.log")), "bcp says hi\n");

    conn->setBulkCopyMode(0);
    EXPECT_EQ(recordsCount(), "3");
    EXPECT_TRUE(script(5).endsWith("\nstatus=$?\npause\nexit $status\n")) << script(5).toStdString();
}

TEST_F(BulkCopyProgram, FailuresGiveTheirMessagesAndTheNextTableGoesOn) {
    const QString see =
        "\r\nPer ulteriori informazioni consultare il file \"" + dbFolder("ART.qldataerror") + "\".";
    struct Case {
        const char* variable;
        const char* pass;
        QString message;
    };
    const Case cases[] = {
        {"STANDIN_FAIL", "format",
         "Si sono verificati errori durante l'eseguzione del comando \"bcp.exe\" per la creazione del file "
         "di "
         "formato della tabella \"ART\"."},
        {"STANDIN_NOFILE", "format",
         "Si sono verificati errori durante la creazione del file di formato della tabella \"ART\"." + see},
        {"STANDIN_FAIL", "out",
         "Si sono verificati errori durante l'eseguzione del comando \"bcp.exe\" per la creazione del file "
         "di "
         "dati della tabella \"ART\"."},
        {"STANDIN_NOFILE", "out",
         "Si sono verificati errori durante la creazione del file di dati della tabella \"ART\"." + see},
    };
    for (const Case& c : cases) {
        host->clear();
        qputenv(c.variable, c.pass);
        EXPECT_EQ(recordsCount(), "0") << c.variable << " " << c.pass;
        EXPECT_EQ(boxes(), QStringList({c.message}));
        qunsetenv(c.variable);
        // The next export is not held back by the failure before it.
        EXPECT_EQ(recordsCount(), "3");
    }
}

TEST_F(BulkCopyProgram, ImportRunsTheInCommandAndChecksTheCount) {
    const QString file = m_root.filePath("s.xml");
    QFile f(file);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(
        "<Database><DataTables><DataTable><TableName>ART</TableName><Filter/><RecordsCount>4</RecordsCount>"
        "</DataTable></DataTables></Database>");
    f.close();
    EXPECT_FALSE(database.ReadXmlDataTable(file));
    EXPECT_EQ(args(1),
              QStringList({"DB.dbo.ART", "in", xml("ART.qldatatable"), "-f", xml("ART.qldataformat"),
                           "-Ssrv,1433", "-Usa", "-Pp$w'd", "-V120", "-e", dbFolder("ART.qldataerror")}));
    EXPECT_EQ(boxes(),
              QStringList({"Il numero di record importati non corrisponde. Da importare: 4. Importati: 3\r\n"
                           "Per ulteriori informazioni consultare il file \"" +
                           dbFolder("ART.qldataerror") + "\"."}));
}

} // namespace
} // namespace qldb::test
