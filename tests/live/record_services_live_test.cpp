// qlConnection's value lookups, table directory and attachments on SQLite and on PostgreSQL (in a
// schema of the test's own, as the routines use fixed table names).
#include "live/live_files.h"
#include "platform/tools/conversions.h"
#include "support/live_servers.h"

#include <QFile>
#include <unistd.h>

namespace qldb::test {
namespace {

using T = ql_eDataType;
constexpr char kPdfLiteral[] = "%PDF-1.4\n\x00\x01\x02\xff binary tail";
const QByteArray kPdf(kPdfLiteral, sizeof kPdfLiteral - 1);

class RecordServicesLive : public LiveDatabaseTest {
protected:
    void SetUp() override {
        LiveDatabaseTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        ASSERT_TRUE(m_files.isValid());
        cn = session->conn.get();
        if (pg()) {
            m_schema = UniqueTableName("rs");
            cn->Execute("CREATE SCHEMA " + m_schema);
            cn->Execute("SET search_path TO " + m_schema);
        }
        cn->Execute(
            QStringLiteral("CREATE TABLE SYS_ATT (RECORD_ID %1, ATTYP INTEGER, ATTBL VARCHAR(50), ATKEY "
                           "VARCHAR(50), ATNAM VARCHAR(255), ATDES VARCHAR(255), ATDAT TIMESTAMP, ATREV "
                           "VARCHAR(20), ATPRT VARCHAR(20), ATFIL %2, ATLNK VARCHAR(500), ATSIZ INTEGER)")
                .arg(pg() ? "SERIAL PRIMARY KEY" : "INTEGER PRIMARY KEY AUTOINCREMENT",
                     pg() ? "BYTEA" : "BLOB"));
    }
    void TearDown() override {
        if (!m_schema.isEmpty())
            cn->Execute("DROP SCHEMA " + m_schema + " CASCADE");
    }
    bool pg() const { return server() == LiveServer::PostgreSQL; }
    // Columns of one attachment record joined by "|", Null as "Null".
    QString row(int32_t id, const char* columns) {
        auto rs =
            cn->ExecuteWC(QStringLiteral("SELECT %1 FROM SYS_ATT WHERE RECORD_ID = %2").arg(columns).arg(id));
        QStringList values;
        for (int i = 0; rs && !rs->IsEOF() && i < rs->FieldCount(); ++i)
            values << (IsNull(rs->Value(i)) ? QStringLiteral("Null") : ToText(rs->Value(i)));
        return values.join('|');
    }
    int32_t lastId() { return cn->GetMaxValue("SYS_ATT", "RECORD_ID"); }
    int32_t rows() { return ToLong(session->scalar("SELECT COUNT(*) FROM SYS_ATT")); }
    // Writes a file under the test's folder and gives its path.
    QString file(const QString& name, const QByteArray& bytes) {
        WriteFileBytes(m_files.filePath(name), bytes);
        return m_files.filePath(name);
    }
    // The bytes of an attachment read into a file that held other bytes before.
    QByteArray readBack(int32_t id) {
        QString out = file("out/read", "old contents, replaced");
        EXPECT_TRUE(cn->ReadAttachment(id, out, true));
        return FileBytes(out);
    }

    QTemporaryDir m_files;
    QString m_schema;
    qlConnection* cn = nullptr;
};

TEST_P(RecordServicesLive, ValueLookupsAndTheTableDirectory) {
    const QString art = "ART"; // in the test's own file or schema
    cn->Execute("CREATE TABLE " + art + " (CODE VARCHAR(20), DESCR VARCHAR(50), QTY INTEGER)");
    cn->Execute("INSERT INTO " + art +
                " VALUES ('B1', 'Bolt', 10), ('B2', 'O''Brien bar', 0), ('N1', 'Nut', 5)");
    EXPECT_TRUE(IsEmpty(cn->GetDbValue(art, "CODE", "ZZ", T::TypeChar, "DESCR")));
    EXPECT_EQ(ToText(cn->GetDbValue(art, "CODE", "B%", T::TypeChar, "DESCR", nullptr, true, "QTY = 0")),
              "O'Brien bar");
    bool any = true;
    EXPECT_TRUE(cn->GetMaxValue(art, "QTY", "CODE = 'ZZ'", &any) == 0 && !any);
    EXPECT_TRUE(cn->SetDbValue(art, "CODE", T::TypeChar, "N1", "QTY", T::TypeLong, 7));
    EXPECT_EQ(ToLong(cn->GetDbValue(art, "CODE", "N1", T::TypeChar, "QTY")), 7);
    cn->Execute("CREATE TABLE SYS_VAL (VLTAB VARCHAR(30), VLFLD VARCHAR(30), VLVAL VARCHAR(30), VLTXT "
                "VARCHAR(80))");
    cn->Execute("INSERT INTO SYS_VAL VALUES ('ART', 'KIND', '2', 'Service')");
    EXPECT_EQ(ToText(cn->GetSystemValue("ART", "KIND", 2)), "Service");

    cn->Execute("CREATE TABLE SYS_TBL_TBC (TBNAM VARCHAR(30), TBKEY VARCHAR(30), TBDES VARCHAR(80), TBGRD "
                "VARCHAR(30))");
    cn->Execute("INSERT INTO SYS_TBL_TBC VALUES ('A01_ART', 'CODE', 'Articoli', NULL), ('A01_DOC', 'NUM', "
                "'Documenti', 'grdDoc')");
    EXPECT_EQ(cn->GetTableInfo("A01_ART", ql_eTableInfo::KeyField), "CODE");
    EXPECT_EQ(cn->GetTableInfo("A01_DOC", ql_eTableInfo::LayoutName), "grdDoc");
    EXPECT_EQ(cn->GetTableInfo("A01_ART", ql_eTableInfo::ItemSex), ""); // a column the directory lacks
}

TEST_P(RecordServicesLive, AttachmentsInTheTable) {
    const QString pdf = file("in/offer.pdf", kPdf);
    cn->WriteAttachment("A01_ART", "42", "offer.pdf", QString(), pdf, "Offerta", QString(), kPdf.size());
    const int32_t id = lastId();
    EXPECT_EQ(row(id, "ATTYP, ATTBL, ATKEY, ATNAM, ATDES, ATREV, ATLNK, ATSIZ"),
              "1|A01_ART|42|offer.pdf|Offerta|Null|Null|" + QString::number(kPdf.size()));
    EXPECT_EQ(session->scalar("SELECT ATFIL FROM SYS_ATT").toByteArray(), kPdf);
    EXPECT_EQ(session->scalar("SELECT ATDAT FROM SYS_ATT").toDateTime().date(), QDate::currentDate());
    EXPECT_EQ(readBack(id), kPdf);

    // An empty file comes back as an empty file.
    cn->WriteAttachment("A01_ART", "42", "empty.txt", QString(), file("in/empty.txt", QByteArray()));
    EXPECT_EQ(readBack(lastId()), QByteArray());

    // A copy carries owner, title and bytes only.
    cn->CopyAttachment(id, "A01_DOC", "7");
    EXPECT_EQ(row(lastId(), "ATTYP, ATTBL, ATKEY, ATNAM, ATDES, ATLNK"),
              "Null|A01_DOC|7|offer.pdf|Null|Null");
    EXPECT_EQ(readBack(lastId()), kPdf);

    // A source that cannot be read (a folder, a missing file, no permission) writes no row.
    const int32_t before = rows();
    QStringList unreadable{m_files.filePath("in"), m_files.filePath("gone.pdf")};
    if (geteuid() != 0) { // root reads anything
        unreadable << file("in/locked.pdf", kPdf);
        QFile::setPermissions(unreadable.back(), QFileDevice::Permissions());
    }
    for (const QString& source : unreadable)
        EXPECT_THROW(cn->WriteAttachment("A01_ART", "1", "x.pdf", QString(), source), qlException)
            << source.toStdString();
    EXPECT_EQ(rows(), before);
}

TEST_P(RecordServicesLive, AttachmentsOnDisk) {
    // The next record is 12345, so its copy lands in folder 12 (a thousand records per folder).
    cn->Execute(pg() ? "SELECT setval(pg_get_serial_sequence('sys_att', 'record_id'), 12344)"
                     : "INSERT INTO SYS_ATT (RECORD_ID, ATNAM) VALUES (12344, 'placeholder')");
    const QByteArray text("delivery note\r\n");
    const QString source = file("in/bolla.txt", text);
    const QString store = m_files.filePath("store");
    cn->WriteAttachment("A01_DOC", "9", "Bolla.TXT", store, source, QString(), QString(), text.size(),
                        QDateTime(), 2);
    EXPECT_EQ(lastId(), 12345);
    const QString automatic = store + "/12/12345.TXT";
    EXPECT_EQ(row(12345, "ATTYP, ATNAM, ATLNK, ATSIZ"), "2|Bolla.TXT|" + automatic + "|15");
    EXPECT_EQ(FileBytes(automatic), text);
    QString out;
    EXPECT_TRUE(cn->ReadAttachment(12345, out));
    EXPECT_EQ(out, automatic) << "without bSaveAs the caller gets the link";
    EXPECT_EQ(readBack(12345), text);

    // A link: the file stays where it is, and the row says kind 2.
    cn->WriteAttachment("A01_DOC", "9", "bolla.txt", store, source, QString(), QString(), 0, QDateTime(), 3);
    EXPECT_EQ(row(lastId(), "ATTYP, ATLNK"), "2|" + source);
    QString linked;
    EXPECT_TRUE(cn->ReadAttachment(lastId(), linked) && linked == source) << linked.toStdString();

    // A folder that cannot be made: the user is told, and the row stays without its file.
    const QString blocker = file("blocker", "a file where a folder should be");
    const int32_t before = rows();
    cn->WriteAttachment("A01_DOC", "9", "Bolla.TXT", blocker, source, QString(), QString(), 0, QDateTime(),
                        2);
    EXPECT_EQ(rows(), before + 1);
    ASSERT_EQ(session->host->messages().size(), 1u);
    const ShownMessage& box = session->host->messages()[0];
    EXPECT_EQ(box.Title + ": " + box.Text,
              "Mirando ERP: Check the auhorization for the path " + blocker + "/12!");
    EXPECT_EQ(box.Icon, MsgIcon::Critical);
}

QLDB_INSTANTIATE_LIVE_TEST(RecordServicesLive, LiveServer::SQLite, LiveServer::PostgreSQL);

} // namespace
} // namespace qldb::test
