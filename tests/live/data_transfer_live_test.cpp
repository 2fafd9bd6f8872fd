// Table data through the built-in bulk copier on real servers: a table with awkward texts, numbers,
// dates, bits, Nulls and binary data goes out into side files and back into the emptied table, value
// by value; a short data file and a bad value give the import's messages.
#include "live/live_files.h"
#include "platform/tools/product_folders.h"
#include "support/live_servers.h"

#include <QFile>

namespace qldb::test {
namespace {

class DataTransferLive : public LiveDatabaseTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_root.isValid());
        LiveDatabaseTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        database.setPathXML(m_root.filePath(QStringLiteral("xml")));
        table = std::make_unique<ScopedTable>(*session->conn->ADODBConnection(), QStringLiteral("dt"));
        // MariaDB on this platform tells names apart by case: the table takes the structure file's
        // upper-case spelling, which the import's count query uses.
        name = server() == LiveServer::MariaDB ? table->name().toUpper() : table->name();
        createAndFill();
    }
    void TearDown() override {
        if (session && server() == LiveServer::MariaDB && !name.isEmpty())
            session->conn->ADODBConnection()->Execute("DROP TABLE IF EXISTS " + name,
                                                      ado::adExecuteNoRecords);
    }

    void run(const QString& sql) { session->conn->ADODBConnection()->Execute(sql, ado::adExecuteNoRecords); }

    void createAndFill() {
        const bool pg = server() == LiveServer::PostgreSQL;
        const bool maria = server() == LiveServer::MariaDB;
        const QString bit = pg ? "boolean" : maria ? "bit(1)" : "bit";
        const QString bin = pg ? "bytea" : maria ? "varbinary(50)" : "blob";
        const QString real = pg ? "double precision" : "double";
        const QString stamp = pg ? "timestamp" : "datetime";
        run("CREATE TABLE " + name + " (id int NOT NULL PRIMARY KEY, txt varchar(200), num " + real +
            ", dt " + stamp + ", flag " + bit + ", bin " + bin + ")");
        auto binary = [&](const QString& hex) {
            return pg ? "decode('" + hex + "', 'hex')" : "X'" + hex + "'";
        };
        auto flag = [&](bool b) {
            return pg      ? QString(b ? "TRUE" : "FALSE")
                   : maria ? QString(b ? "b'1'" : "b'0'")
                           : QString(b ? "1" : "0");
        };
        const QStringList rows = {
            "1, 'Perché l''àncora è là', 1.5, '2024-01-31 13:45:00', " + flag(true) + ", " + binary("0001FF"),
            "2, 'tab\there\nline\r\nend', -2, '1999-12-31 00:00:00', " + flag(false) + ", " +
                binary("DEADBEEF"),
            "3, '', 0, NULL, NULL, NULL",
            "4, NULL, NULL, '2000-02-29 23:59:59', " + flag(true) + ", " + binary("00"),
            "5, 'quote \" and ~~ tildes', 123456789.25, '2010-06-15 08:30:00', " + flag(false) + ", NULL",
        };
        for (const QString& r : rows)
            run("INSERT INTO " + name + " VALUES (" + r + ")");
    }

    std::vector<Row> contents() {
        auto rs = session->conn->ExecuteWC("SELECT * FROM " + name + " ORDER BY id");
        return rs->Rows();
    }

    // Exports the table by the bulk route and writes a structure file holding its DataTable.
    QString exportToFile() {
        return WriteDataTableFile(database.GetXmlDataTable(name), m_root.filePath("structure.xml"));
    }
    QString dataFile() const { return m_root.filePath("xml/" + name.toUpper() + ".qldatatable"); }
    QString errorFile() const {
        return WithTrailingSeparator(ProductFolder("Db")) + name.toUpper() + ".qldataerror";
    }
    QStringList boxes() const {
        QStringList out;
        for (const ShownMessage& m : session->host->messages())
            out << m.Text;
        return out;
    }
    // The boxes of a failed import: the table's errors (when told) and the counts, each naming the
    // error file.
    QStringList failureBoxes(bool bErrors, const QString& counts) const {
        const QString see = "\r\nPer ulteriori informazioni consultare il file \"" + errorFile() + "\".";
        const QString count = "Il numero di record importati non corrisponde. " + counts + see;
        return bErrors ? QStringList{"Si sono verificati errori durante l'importazione della tabella \"" +
                                         name.toUpper() + "\"." + see,
                                     count}
                       : QStringList{count};
    }

    ScopedProductRoot m_root;
    std::unique_ptr<ScopedTable> table;
    QString name;
};

TEST_P(DataTransferLive, RoundTripValueByValue) {
    const std::vector<Row> before = contents();
    ASSERT_EQ(before.size(), 5u);
    const QString file = exportToFile();
    EXPECT_TRUE(boxes().isEmpty()) << boxes().join("\n").toStdString()
                                   << FileBytes(errorFile()).toStdString();
    run("DELETE FROM " + name);
    EXPECT_TRUE(database.ReadXmlDataTable(file)) << boxes().join("\n").toStdString();
    const std::vector<Row> after = contents();
    ASSERT_EQ(after.size(), before.size());
    for (size_t r = 0; r < before.size(); ++r)
        for (size_t c = 0; c < before[r].size(); ++c)
            EXPECT_EQ(after[r][c], before[r][c])
                << "row " << r << " column " << c << ": " << after[r][c].typeName() << " "
                << after[r][c].toString().toStdString() << " / " << before[r][c].typeName();
    EXPECT_FALSE(QFile::exists(errorFile()));
}

TEST_P(DataTransferLive, ShortDataFileGivesTheCountMessageAndKeepsFiles) {
    const QString file = exportToFile();
    QByteArray bytes = FileBytes(dataFile());
    // The last row goes: everything after the second-last row end (a wide newline, maybe led by tildes).
    const qsizetype last = bytes.lastIndexOf(QByteArray("\n\0", 2), bytes.size() - 3);
    ASSERT_GT(last, 0);
    bytes.truncate(last + 2);
    WriteFileBytes(dataFile(), bytes);
    run("DELETE FROM " + name);
    EXPECT_FALSE(database.ReadXmlDataTable(file));
    EXPECT_EQ(boxes(), failureBoxes(false, "Da importare: 5. Importati: 4"));
    EXPECT_TRUE(QFile::exists(dataFile()));
}

TEST_P(DataTransferLive, BadValueGoesToTheErrorFile) {
    const QString file = exportToFile();
    QByteArray bytes = FileBytes(dataFile());
    // The first row's id (a wide "1" right after the byte order mark) becomes "x".
    ASSERT_EQ(bytes.mid(2, 2), QByteArray("1\0", 2));
    bytes[2] = 'x';
    WriteFileBytes(dataFile(), bytes);
    run("DELETE FROM " + name);
    EXPECT_FALSE(database.ReadXmlDataTable(file));
    EXPECT_EQ(boxes(), failureBoxes(true, "Da importare: 5. Importati: 4"));
    EXPECT_TRUE(FileBytes(errorFile())
                    .startsWith("#@ Row 1: Column 1: Invalid character value for cast specification @#"));
}

TEST_P(DataTransferLive, ManyRowsRoundTripWithoutAKey) {
    // Without a key nothing stops a row going in twice or another being left out, nor does a refused
    // statement get retried to hide it: each row of the several statements of many rows, and of the
    // shorter last one, must land once.
    run("DROP TABLE " + name);
    run("CREATE TABLE " + name + " (id int, txt varchar(20))");
    QStringList values;
    for (int id = 1; id <= 250; ++id)
        values << QStringLiteral("(%1, 'row %1')").arg(id);
    run("INSERT INTO " + name + " VALUES " + values.join(','));
    const std::vector<Row> before = contents();
    const QString file = exportToFile();
    run("DELETE FROM " + name);
    EXPECT_TRUE(database.ReadXmlDataTable(file)) << boxes().join("\n").toStdString();
    EXPECT_EQ(contents(), before);
}

TEST_P(DataTransferLive, RowRefusedByTheDatabaseAloneGoesToTheErrorFile) {
    // Enough rows for several statements of many rows each and a shorter last one.
    QStringList more;
    for (int id = 6; id <= 250; ++id)
        more << QStringLiteral("(%1, 'row %1', %2)").arg(id).arg(id * 0.5);
    run("INSERT INTO " + name + " (id, txt, num) VALUES " + more.join(','));
    const std::vector<Row> before = contents();
    const QString file = exportToFile();
    // Row 137 stays in the table: its copy in the file breaks the key, the rows around it do not. A
    // row that is not in the file makes the count differ, so that the files stay for inspection.
    run("DELETE FROM " + name + " WHERE id <> 137");
    run("INSERT INTO " + name + " (id) VALUES (999)");
    EXPECT_FALSE(database.ReadXmlDataTable(file));
    EXPECT_EQ(boxes(), failureBoxes(true, "Da importare: 250. Importati: 251"));
    std::vector<Row> after = contents();
    ASSERT_EQ(after.size(), 251u);
    after.pop_back();
    EXPECT_EQ(after, before);
    const QByteArray text = FileBytes(errorFile());
    EXPECT_TRUE(text.startsWith("#@ Row 137: ")) << text.toStdString();
    EXPECT_EQ(text.count("#@ Row"), 1) << text.toStdString();
}

QLDB_INSTANTIATE_LIVE_TEST(DataTransferLive, LiveServer::SQLite, LiveServer::PostgreSQL, LiveServer::MariaDB);

} // namespace
} // namespace qldb::test
