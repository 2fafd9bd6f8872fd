// The bulk copy route. The program: a stand-in "bcp" on the PATH records its arguments and the script
// that ran it and writes the files a real one writes; the exact command lines, the run modes, the
// failure messages and the format file's version line. The built-in copier: the fields' texts of a
// data file as column values (the plain forms read directly and the rest as the C locale reads them)
// and the data file cut into fields.
#include "platform/odbc/ado_types.h"
#include "structure/bulk_copy/bulk_copy.h"
#include "structure/bulk_copy/bulk_copy_files.h"
#include "structure/bulk_copy/bulk_field_values.h"
#include "structure/structure_fixture.h"

#include <QDateTime>
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
    const QStringList tail = QString("-w -t \\t -r \\n -Ssrv,1433 -Usa -Pp$w'd -V120 -e").split(' ') +
                             QStringList{dbFolder("ART.qldataerror")};
    EXPECT_EQ(args(1), QStringList({"DB.dbo.ART", "format", "nul", "-f", xml("ART.qldataformat")}) + tail);
    EXPECT_EQ(args(2), QStringList({"DB.dbo.ART", "out", xml("ART.qldatatable")}) + tail);
    // The version line is the program's version in tenths, with a dot in any locale.
    EXPECT_EQ(Read(xml("ART.qldataformat")), "12.0\r\n1\r\n1 SQLNCHAR 0 24 \"\\n\\0\" 1 ID \"\"\r\n");
    EXPECT_EQ(Read(dbFolder("ART.qldataoutput")), "bcp \"DB.dbo.ART\" out \"" + xml("ART.qldatatable") +
                                                      "\" " + tail.mid(0, 10).join(' ') + " \"" +
                                                      tail.last() + "\"");
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
              QStringList({"DB.dbo.ART", "in", xml("ART.qldatatable"), "-f", xml("ART.qldataformat")}) +
                  QString("-Ssrv,1433 -Usa -Pp$w'd -V120 -e").split(' ') +
                  QStringList{dbFolder("ART.qldataerror")});
    EXPECT_EQ(
        boxes(),
        QStringList({"Tavoleno Mirando: Il numero di record importati non corrisponde. Da importare: 4. "
                     "Importati: 3\r\nPer ulteriori informazioni consultare il file \"" +
                     dbFolder("ART.qldataerror") + "\"."}));
}

const QDate kDay(2024, 2, 29);
const QVariant kBad; // the text is not a value of the kind
using K = ValueKind;

TEST(BulkFieldValues, ReadAsTheColumnTakesThem) {
    const struct {
        QStringView text;
        ValueKind kind;
        QVariant expected;
    } cases[] = {
        // clang-format off
        // Empty field and the lone NUL: Null, or the empty text.
        {u"", K::Integer, QVariant::fromValue(nullptr)}, {QStringView(u"\0", 1), K::Text, QVariant(QString())},
        {u"a\tb", K::Text, "a\tb"},
        // Whole numbers: plain, padded, signed, grouped, too long or not numbers.
        {u"-42", K::Integer, qlonglong(-42)}, {u" 007 ", K::Integer, qlonglong(7)}, {u"+5", K::Integer, qlonglong(5)},
        {u"1,000", K::Integer, qlonglong(1000)}, {u"9223372036854775807", K::Integer, qlonglong(INT64_MAX)},
        {u"9223372036854775808", K::Integer, kBad}, {u"12a", K::Integer, kBad}, {u"-", K::Integer, kBad},
        // Floating numbers: the shortest round-trip forms, exponents, C-locale leniency, garbage.
        {u"0.1", K::Real, 0.1}, {u"-1.5e-3", K::Real, -0.0015}, {u"1.", K::Real, 1.0}, {u".5", K::Real, 0.5},
        {u"1.7976931348623157e308", K::Real, 1.7976931348623157e308}, {u"1e", K::Real, kBad}, {u"1.2.3", K::Real, kBad},
        // Decimals keep their text once it reads as a number.
        {u" 12.50 ", K::Numeric, "12.50"}, {u"12,5x", K::Numeric, kBad},
        {u"True", K::Bit, true}, {u"0", K::Bit, false}, {u"2", K::Bit, kBad},
        // Dates: only the first ten characters count; impossible days are refused.
        {u"2024-02-29 10:00:00", K::Date, kDay}, {u"2023-02-29", K::Date, kBad}, {u"2024-2-29", K::Date, kBad},
        // Times: up to seven digits of fraction, milliseconds kept.
        {u"23:59:58.1234567", K::Time, QTime(23, 59, 58, 123)}, {u"01:02:03.5", K::Time, QTime(1, 2, 3, 500)},
        {u"01:02:03.12345678", K::Time, kBad}, {u"24:00:00", K::Time, kBad}, {u"1:02:03", K::Time, kBad},
        // Timestamps: the wall-clock fields as written, a date alone at midnight.
        {u"2024-02-29 13:45:00.250", K::Timestamp, QDateTime(kDay, QTime(13, 45, 0, 250), Qt::UTC)},
        {u"2024-02-29", K::Timestamp, QDateTime(kDay, QTime(0, 0), Qt::UTC)},
        {u"2024-02-29 25:00:00", K::Timestamp, kBad},
        // Binary: pairs of hexadecimal digits, with or without the prefix.
        {u"0xDEADbeef", K::Binary, QByteArray("\xDE\xAD\xBE\xEF")}, {u"00ff", K::Binary, QByteArray("\x00\xFF", 2)},
        {u"0x", K::Binary, QByteArray()}, {u"ABC", K::Binary, kBad}, {u"0xZZ", K::Binary, kBad},
        // clang-format on
    };
    for (const auto& c : cases) {
        const QVariant v = BulkFieldValue(c.text, c.kind);
        SCOPED_TRACE(c.text.toString().toStdString() + " as kind " +
                     std::to_string(static_cast<int>(c.kind)) + " read " + v.toString().toStdString());
        EXPECT_EQ(v.isValid(), c.expected.isValid());
        EXPECT_TRUE(!c.expected.isValid() || (v.metaType() == c.expected.metaType() && v == c.expected));
    }
}

TEST(BulkDataFile, FieldsAreCutByTheFormatsTerminatorsAndAShortRowIsLeftOut) {
    const QString data = DecodeBulkData(EncodeBulkData(QStringLiteral("1~\tà\n2~\t\n3")));
    QString why;
    const std::vector<QStringView> fields =
        SplitBulkData(data, {QStringLiteral("~\t"), QStringLiteral("\n")}, &why);
    QStringList texts;
    for (const QStringView field : fields)
        texts << field.toString();
    EXPECT_EQ(texts, (QStringList{"1", "à", "2", ""}));
    EXPECT_EQ(why, QStringLiteral("Unexpected EOF encountered in BCP data-file"));
}

TEST(BulkDataFile, ReadsWithoutAByteOrderMark) {
    EXPECT_EQ(DecodeBulkData(QByteArray("a\0\xE8\0", 4)), QStringLiteral("aè"));
    EXPECT_EQ(DecodeBulkData(QByteArray("\xFF\xFE\x01\x26", 4)), QString(QChar(0x2601)));
}

} // namespace
} // namespace qldb::test
