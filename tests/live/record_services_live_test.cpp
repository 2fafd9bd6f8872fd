// qlConnection's value lookups, table directory and attachments against real servers: SQLite on
// a fresh file, PostgreSQL in a schema of its own. The lookups write plain SQL, so the provider
// type is ODBC, whose literals both servers read.
//
// "A file open elsewhere" has no equivalent on this platform (an open file can be replaced), so
// the tests stand in for it with what cannot be read or replaced here: a folder where the file
// should be, and, when not running as root, a file without read permission.
#include "connection/ql_connection.h"
#include "platform/conversions.h"
#include "platform/product_folders.h"
#include "support/live_servers.h"
#include "support/scripted_host_services.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <unistd.h>

namespace qldb::test {
namespace {

constexpr char kPdfLiteral[] = "%PDF-1.4\n\x00\x01\x02\xff binary tail";
const QByteArray kPdfBytes(kPdfLiteral, sizeof kPdfLiteral - 1);

class RecordServicesLive : public LiveServerTest {
protected:
    void SetUp() override {
        LiveServerTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        ASSERT_TRUE(m_files.isValid());
        setProductRoot(m_files.filePath(QStringLiteral("product")));
        cn = std::make_unique<qlConnection>();
        cn->setErrors(std::make_shared<HeadlessErrorService>(kDecisionLeave, kErrorModeRaise));
        cn->setHostServices(host);
        cn->setProductName(QStringLiteral("Mirando ERP"));
        cn->setProviderType(ql_eProviderType::ODBC);
        cn->setConnectionString(connectionString());
        cn->OpenConnection();
        // The routines use fixed table names; on the shared server they live in a schema of this
        // test's own.
        if (server() == LiveServer::PostgreSQL) {
            m_schema = UniqueTableName(QStringLiteral("rs"));
            cn->Execute(QStringLiteral("CREATE SCHEMA ") + m_schema);
            cn->Execute(QStringLiteral("SET search_path TO ") + m_schema);
        }
    }

    void TearDown() override {
        if (cn) {
            if (!m_schema.isEmpty()) {
                try {
                    cn->Execute(QStringLiteral("DROP SCHEMA ") + m_schema + QStringLiteral(" CASCADE"));
                } catch (const qlException& e) {
                    ADD_FAILURE() << "schema left behind: " << e.what();
                }
            }
            cn->Finalize();
        }
        setProductRoot(QString());
    }

    bool pg() const { return server() == LiveServer::PostgreSQL; }

    void run(const QString& sql) {
        bool bError = false;
        cn->Execute(sql, &bError);
        ASSERT_FALSE(bError) << sql.toStdString();
    }

    QVariant scalar(const QString& sql) {
        auto rs = cn->ExecuteWC(sql);
        if (!rs || rs->IsEOF())
            return {};
        return rs->Value(0);
    }

    void createAttachments() {
        run(QStringLiteral(
                "CREATE TABLE SYS_ATT (RECORD_ID %1, ATTYP INTEGER, ATTBL VARCHAR(50), ATKEY VARCHAR(50), "
                "ATNAM VARCHAR(255), ATDES VARCHAR(255), ATDAT TIMESTAMP, ATREV VARCHAR(20), ATPRT "
                "VARCHAR(20), ATFIL %2, ATLNK VARCHAR(500), ATSIZ INTEGER)")
                .arg(pg() ? QStringLiteral("SERIAL PRIMARY KEY")
                          : QStringLiteral("INTEGER PRIMARY KEY AUTOINCREMENT"),
                     pg() ? QStringLiteral("BYTEA") : QStringLiteral("BLOB")));
    }

    // Makes the next attachment record 12345, so its copy lands in folder 12.
    void nextRecordIs12345() {
        if (pg())
            run(QStringLiteral("SELECT setval(pg_get_serial_sequence('sys_att', 'record_id'), 12344)"));
        else
            run(QStringLiteral("INSERT INTO SYS_ATT (RECORD_ID, ATNAM) VALUES (12344, 'placeholder')"));
    }

    int32_t lastId() { return cn->GetMaxValue(QStringLiteral("SYS_ATT"), QStringLiteral("RECORD_ID")); }
    int32_t rows() { return ToLong(scalar(QStringLiteral("SELECT COUNT(*) FROM SYS_ATT"))); }

    QString file(const QString& name, const QByteArray& bytes) {
        const QString path = m_files.filePath(name);
        QDir().mkpath(QFileInfo(path).path());
        QFile f(path);
        EXPECT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(bytes);
        return path;
    }
    static QByteArray contents(const QString& path) {
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<unreadable>");
    }

    QTemporaryDir m_files;
    QString m_schema;
    std::shared_ptr<ScriptedHostServices> host = std::make_shared<ScriptedHostServices>();
    std::unique_ptr<qlConnection> cn;
};

TEST_P(RecordServicesLive, ValueLookups) {
    const QString art = UniqueTableName(QStringLiteral("art"));
    run("CREATE TABLE " + art + " (CODE VARCHAR(20), DESCR VARCHAR(50), QTY INTEGER)");
    run("INSERT INTO " + art + " (CODE, DESCR, QTY) VALUES ('B1', 'Bolt', 10)");
    run("INSERT INTO " + art + " (CODE, DESCR, QTY) VALUES ('B2', 'O''Brien bar', 0)");
    run("INSERT INTO " + art + " (CODE, DESCR, QTY) VALUES ('N1', 'Nut', 5)");

    bool present = false;
    EXPECT_EQ(ToText(cn->GetDbValue(art, "CODE", "B1", ql_eDataType::TypeChar, "DESCR", &present)), "Bolt");
    EXPECT_TRUE(present);
    present = false;
    EXPECT_TRUE(IsEmpty(cn->GetDbValue(art, "CODE", "ZZ", ql_eDataType::TypeChar, "DESCR", &present)));
    EXPECT_FALSE(present);
    // LIKE without wildcards is equality in effect; the filter narrows.
    EXPECT_EQ(ToText(cn->GetDbValue(art, "CODE", "N1", ql_eDataType::TypeChar, "DESCR", nullptr, true)),
              "Nut");
    EXPECT_EQ(
        ToText(cn->GetDbValue(art, "CODE", "B%", ql_eDataType::TypeChar, "DESCR", nullptr, true, "QTY = 0")),
        "O'Brien bar");

    bool any = true;
    EXPECT_EQ(cn->GetMaxValue(art, "QTY", QString(), &any), 10);
    EXPECT_TRUE(any);
    EXPECT_EQ(cn->GetMaxValue(art, "QTY", "CODE = 'ZZ'", &any), 0);
    EXPECT_FALSE(any);

    EXPECT_TRUE(cn->SetDbValue(art, "CODE", ql_eDataType::TypeChar, "N1", "QTY", ql_eDataType::TypeLong, 7));
    EXPECT_EQ(ToLong(cn->GetDbValue(art, "CODE", "N1", ql_eDataType::TypeChar, "QTY")), 7);
    EXPECT_FALSE(cn->SetDbValue(art, "CODE", ql_eDataType::TypeChar, "N1", "NO_SUCH_COLUMN",
                                ql_eDataType::TypeLong, 7));

    EXPECT_TRUE(cn->CheckExistValue(art, "CODE", "B2", ql_eDataType::TypeChar));
    std::shared_ptr<Recordset> found;
    // No code is "B" exactly; the LIKE search finds both B codes.
    EXPECT_EQ(cn->CheckExistValueWithLike(art, "CODE", "B", ql_eDataType::TypeChar, &found), 2);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->AbsolutePosition(), 1);
    EXPECT_EQ(cn->CheckExistValueWithLike(art, "QTY", 1, ql_eDataType::TypeLong), 0);

    run(QStringLiteral("CREATE TABLE SYS_VAL (VLTAB VARCHAR(30), VLFLD VARCHAR(30), VLVAL VARCHAR(30), VLTXT "
                       "VARCHAR(80))"));
    run(QStringLiteral("INSERT INTO SYS_VAL VALUES ('ART', 'KIND', '2', 'Service')"));
    EXPECT_EQ(ToText(cn->GetSystemValue("ART", "KIND", 2)), "Service");
    EXPECT_TRUE(IsEmpty(cn->GetSystemValue("ART", "KIND", 3)));
    run("DROP TABLE " + art);
}

TEST_P(RecordServicesLive, TableDirectory) {
    // No directory yet: an empty answer, and that answer is kept.
    EXPECT_EQ(cn->GetTableInfo(QStringLiteral("A01_DOC"), ql_eTableInfo::KeyField), "");
    run(QStringLiteral(
        "CREATE TABLE SYS_TBL_TBC (TBNAM VARCHAR(30), TBKEY VARCHAR(30), TBDES VARCHAR(80), TBGRD "
        "VARCHAR(30))"));
    run(QStringLiteral("INSERT INTO SYS_TBL_TBC VALUES ('A01_ART', 'CODE', 'Articoli', NULL)"));
    run(QStringLiteral("INSERT INTO SYS_TBL_TBC VALUES ('A01_DOC', 'NUM', 'Documenti', 'grdDoc')"));

    EXPECT_EQ(cn->GetTableInfo(QStringLiteral("A01_ART"), ql_eTableInfo::KeyField), "CODE");
    EXPECT_EQ(cn->GetTableInfo(QStringLiteral("A01_ART"), ql_eTableInfo::Description), "Articoli");
    EXPECT_EQ(cn->GetTableInfo(QStringLiteral("A01_ART"), ql_eTableInfo::LayoutName), "");
    EXPECT_EQ(cn->GetTableInfo(QStringLiteral("A01_DOC"), ql_eTableInfo::KeyField), "");
    EXPECT_EQ(cn->GetTableInfo(QStringLiteral("A01_DOC"), ql_eTableInfo::LayoutName), "grdDoc");
    // A column the directory lacks is an empty answer, not an error.
    EXPECT_EQ(cn->GetTableInfo(QStringLiteral("A01_ART"), ql_eTableInfo::ItemSex), "");

    // Answers come from the cache from now on, whatever the table says, in any case of the name.
    run(QStringLiteral("UPDATE SYS_TBL_TBC SET TBKEY = 'ID'"));
    EXPECT_EQ(cn->GetTableInfo(QStringLiteral("a01_art"), ql_eTableInfo::KeyField), "CODE");
}

TEST_P(RecordServicesLive, AttachmentsInTheTable) {
    createAttachments();
    const QString pdf = file(QStringLiteral("in/offer.pdf"), kPdfBytes);
    const QString empty = file(QStringLiteral("in/empty.txt"), QByteArray());

    cn->WriteAttachment("A01_ART", "42", "offer.pdf", QString(), pdf, "Offerta", QString(), kPdfBytes.size());
    const int32_t id = lastId();
    auto rs = cn->ExecuteWC(QStringLiteral("SELECT * FROM SYS_ATT WHERE RECORD_ID = ") + QString::number(id));
    ASSERT_TRUE(rs && !rs->IsEOF());
    EXPECT_EQ(ToLong(rs->Value("ATTYP")), 1);
    EXPECT_EQ(ToText(rs->Value("ATTBL")), "A01_ART");
    EXPECT_EQ(ToText(rs->Value("ATKEY")), "42");
    EXPECT_EQ(ToText(rs->Value("ATDES")), "Offerta");
    EXPECT_TRUE(IsNull(rs->Value("ATREV")));
    EXPECT_EQ(rs->Value("ATFIL").toByteArray(), kPdfBytes);
    EXPECT_EQ(ToLong(rs->Value("ATSIZ")), kPdfBytes.size());
    EXPECT_EQ(rs->Value("ATDAT").toDateTime().date(), QDate::currentDate());

    QString out = m_files.filePath(QStringLiteral("out/offer.pdf"));
    QDir().mkpath(m_files.filePath(QStringLiteral("out")));
    file(QStringLiteral("out/offer.pdf"), "old contents, replaced");
    EXPECT_TRUE(cn->ReadAttachment(id, out));
    EXPECT_EQ(contents(out), kPdfBytes);

    // An empty file comes back as an empty file.
    cn->WriteAttachment("A01_ART", "42", "empty.txt", QString(), empty);
    QString emptyOut = m_files.filePath(QStringLiteral("out/empty.txt"));
    file(QStringLiteral("out/empty.txt"), "not empty");
    EXPECT_TRUE(cn->ReadAttachment(lastId(), emptyOut));
    EXPECT_TRUE(QFileInfo(emptyOut).isFile());
    EXPECT_EQ(QFileInfo(emptyOut).size(), 0);

    // A copy carries owner, title and bytes only.
    cn->CopyAttachment(id, "A01_DOC", "7");
    const int32_t copy = lastId();
    rs = cn->ExecuteWC(QStringLiteral("SELECT * FROM SYS_ATT WHERE RECORD_ID = ") + QString::number(copy));
    ASSERT_TRUE(rs && !rs->IsEOF());
    EXPECT_EQ(ToText(rs->Value("ATTBL")), "A01_DOC");
    EXPECT_EQ(ToText(rs->Value("ATKEY")), "7");
    EXPECT_EQ(ToText(rs->Value("ATNAM")), "offer.pdf");
    EXPECT_TRUE(IsNull(rs->Value("ATTYP")));
    EXPECT_TRUE(IsNull(rs->Value("ATDES")));
    QString copyOut = m_files.filePath(QStringLiteral("out/copy.pdf"));
    EXPECT_TRUE(cn->ReadAttachment(copy, copyOut));
    EXPECT_EQ(contents(copyOut), kPdfBytes);

    // A number that does not exist: the read of the empty row is the caller's error.
    QString none = m_files.filePath(QStringLiteral("out/none"));
    EXPECT_THROW(cn->ReadAttachment(999999, none), qlException);
    EXPECT_FALSE(QFileInfo::exists(none));
}

TEST_P(RecordServicesLive, AttachmentsOnDisk) {
    createAttachments();
    nextRecordIs12345();
    const QByteArray text("delivery note\r\n");
    const QString source = file(QStringLiteral("in/bolla.txt"), text);
    const QString store = m_files.filePath(QStringLiteral("store"));

    // A copy into the automatic folders: a thousand records per folder.
    cn->WriteAttachment("A01_DOC", "9", "Bolla.TXT", store, source, QString(), QString(), text.size(),
                        QDateTime(), 2);
    EXPECT_EQ(lastId(), 12345);
    const QString automatic = store + QStringLiteral("/12/12345.TXT");
    EXPECT_EQ(ToText(scalar(QStringLiteral("SELECT ATLNK FROM SYS_ATT WHERE RECORD_ID = 12345"))), automatic);
    EXPECT_EQ(ToLong(scalar(QStringLiteral("SELECT ATTYP FROM SYS_ATT WHERE RECORD_ID = 12345"))), 2);
    EXPECT_EQ(contents(automatic), text);

    QString out;
    EXPECT_TRUE(cn->ReadAttachment(12345, out));
    EXPECT_EQ(out, automatic) << "without bSaveAs the caller gets the link";
    out = m_files.filePath(QStringLiteral("saved.txt"));
    EXPECT_TRUE(cn->ReadAttachment(12345, out, true));
    EXPECT_EQ(contents(out), text);

    // A copy into a folder of the caller's choice, named after the title.
    cn->WriteAttachment("A01_DOC", "9", "Bolla.TXT", store + "/kept", source, QString(), QString(), 0,
                        QDateTime(), 2, false);
    EXPECT_EQ(contents(store + "/kept/Bolla.TXT"), text);

    // A link: the file stays where it is, and the row says kind 2.
    cn->WriteAttachment("A01_DOC", "9", "bolla.txt", store, source, QString(), QString(), 0, QDateTime(), 3);
    const int32_t link = lastId();
    EXPECT_EQ(ToLong(scalar("SELECT ATTYP FROM SYS_ATT WHERE RECORD_ID = " + QString::number(link))), 2);
    QString linked;
    EXPECT_TRUE(cn->ReadAttachment(link, linked));
    EXPECT_EQ(linked, source);

    // A folder that cannot be made: the user is told, and the row stays without its file.
    const QString blocker = file(QStringLiteral("blocker"), "a file where a folder should be");
    const int32_t before = rows();
    cn->WriteAttachment("A01_DOC", "9", "Bolla.TXT", blocker, source, QString(), QString(), 0, QDateTime(),
                        2);
    EXPECT_EQ(rows(), before + 1);
    ASSERT_EQ(host->messages().size(), 1u);
    EXPECT_EQ(host->messages()[0].Text, "Check the auhorization for the path " + blocker + "/12!");
    EXPECT_EQ(host->messages()[0].Icon, MsgIcon::Critical);
    EXPECT_EQ(host->messages()[0].Title, "Mirando ERP");
}

TEST_P(RecordServicesLive, FilesThatCannotBeReadOrReplaced) {
    createAttachments();
    const QString pdf = file(QStringLiteral("in/offer.pdf"), kPdfBytes);
    cn->WriteAttachment("A01_ART", "1", "offer.pdf", QString(), pdf);
    const int32_t id = lastId();

    // A folder stands where the file is to be written: it is left alone and the answer is True.
    QString blocked = m_files.filePath(QStringLiteral("out/blocked.pdf"));
    ASSERT_TRUE(QDir().mkpath(blocked));
    EXPECT_TRUE(cn->ReadAttachment(id, blocked));
    EXPECT_TRUE(QFileInfo(blocked).isDir());

    // A source that cannot be read writes no row and reaches the caller as an error.
    const int32_t before = rows();
    EXPECT_THROW(
        cn->WriteAttachment("A01_ART", "1", "x.pdf", QString(), m_files.filePath(QStringLiteral("in"))),
        qlException);
    EXPECT_THROW(
        cn->WriteAttachment("A01_ART", "1", "x.pdf", QString(), m_files.filePath(QStringLiteral("gone.pdf"))),
        qlException);
    if (geteuid() != 0) {
        const QString locked = file(QStringLiteral("in/locked.pdf"), kPdfBytes);
        QFile::setPermissions(locked, QFileDevice::Permissions());
        EXPECT_THROW(cn->WriteAttachment("A01_ART", "1", "x.pdf", QString(), locked), qlException);
    }
    EXPECT_EQ(rows(), before);
}

INSTANTIATE_TEST_SUITE_P(Servers, RecordServicesLive,
                         ::testing::Values(LiveServer::SQLite, LiveServer::PostgreSQL), LiveServerParamName);

} // namespace
} // namespace qldb::test
