// Table data by records: the copy between firms, the DataTable element with its records, and the
// import of such an element, asserted as whole statements through the scripted connection.
#include "structure/table_fixture.h"

#include <QRegularExpression>

namespace qldb::test {
namespace {

class DataRecords : public TableTest {
protected:
    // The data statements sent: the catalog questions left out.
    QStringList data() const {
        QStringList out;
        for (const QString& s : sent())
            if (!s.startsWith("sp_pkeys") && !s.startsWith("SELECT COLUMNPROPERTY"))
                out << s;
        return out;
    }
    QString dataFile(const QString& dataTables) {
        return write("structure.xml",
                     "<?xml version=\"1.0\"?><Database><DatabaseName>D</DatabaseName><DataTables>" +
                         dataTables + "</DataTables></Database>");
    }
    // The firm's table A01_ART: a text key with a quote, a bit key that is Null, a counter and a
    // binary column that never travel, a plain number.
    void articles(const QStringList& keyNames) {
        // clang-format off
        table("A01_ART", {{"CODE", ado::adVarChar}, {"ACTIVE", ado::adBoolean}, {.Name = "ID", .Identity = true},
                          {"PIC", ado::adLongVarBinary}, {"QTY"}}, keyNames);
        // clang-format on
        answer("SELECT * FROM A01_ART", {"CODE", "ACTIVE", "ID", "PIC", "QTY"},
               {{"X'1", QVariant::fromValue(nullptr), 7, QByteArray("\x01", 1), 5}});
    }
};

TEST_F(DataRecords, CopyBetweenFirmsInBothStatementFormsOrPlainInserts) {
    articles({"CODE", "ACTIVE"});
    const QString insert =
        "INSERT INTO B02_ART\r\n\r\n(\r\n  CODE,\r\n  ACTIVE,\r\n  QTY\r\n) VALUES (\r\n  'X''1',"
        "\r\n  0,\r\n  5\r\n)";
    const QString head = "SELECT * FROM B02_ART\r\nWHERE CODE='X''1'AND ACTIVE=0)\r\n";
    EXPECT_TRUE(database.ImportTable("A01_", "B02_", "ART", true));
    EXPECT_EQ(
        data(),
        QStringList({"SELECT * FROM A01_ART",
                     "IF EXISTS (\r\n" + head +
                         "UPDATE B02_ART\r\nSET CODE = 'X''1',\r\n    ACTIVE = 0,\r\n    QTY = 5\r\n\r\n"
                         "WHERE CODE='X''1'AND ACTIVE=0\r\n ELSE\r\n" +
                         insert}));
    db->clearCalls();
    EXPECT_TRUE(database.ImportTable("A01_", "B02_", "ART", false));
    EXPECT_EQ(data(), QStringList({"SELECT * FROM A01_ART", "IF NOT EXISTS (\r\n" + head + insert}));
    db->clearCalls();
    EXPECT_TRUE(database.ImportTable("A01_", "B02_", "NONE")); // a table that isn't there
    EXPECT_TRUE(data().isEmpty());

    // Without a key: plain inserts, and a failed one makes the answer false.
    use(true);
    articles({});
    RecordingProgressBar bar;
    bar.setMax(1);
    raiseMode();
    db->failIf([](const QString& s) { return s.startsWith("INSERT"); }, kErrIntegrity, "duplicate key");
    EXPECT_FALSE(database.ImportTable("A01_", "B02_", "ART", false, QString(), &bar));
    ASSERT_EQ(data().size(), 2);
    EXPECT_EQ(data()[1], insert);
    EXPECT_EQ(bar.calls, QStringList({"Max=1", "Value=1"}));
}

TEST_F(DataRecords, ExportWritesValueFormsAndFilter) {
    table("A01_ART", {{"CODE", ado::adVarChar}, {"ACTIVE", ado::adBoolean}, {"NOTE", ado::adVarChar}});
    const QString query = "SELECT * FROM A01_ART where CODE > 'A'";
    answer("SELECT COUNT(*) AS MAX FROM A01_ART where CODE > 'A'", {"MAX"}, {{2}});
    answer(query, {"CODE", "ACTIVE", "NOTE"},
           {{"B", true, QVariant::fromValue(nullptr)}, {"C", false, "Null"}});
    RecordingProgressBar bar;
    bar.calls.clear();
    QString replace = QStringLiteral("a01_");
    QDomDocument doc;
    doc.appendChild(
        doc.importNode(database.GetXmlDataTable("a01_art", &replace, "[#firm#]", query, &bar), true));
    EXPECT_EQ(replace, QStringLiteral("A01_"));
    const QString field = "<Field><FieldName>%1</FieldName><Value>%2</Value></Field>";
    EXPECT_EQ(doc.toString(-1),
              "<DataTable><TableName>[#FIRM#]ART</TableName><Filter>CODE > 'A'</Filter><Records><Record>" +
                  field.arg("CODE", "B") + field.arg("ACTIVE", "True") + field.arg("NOTE", "Null") +
                  "</Record><Record>" + field.arg("CODE", "C") + field.arg("ACTIVE", "False") +
                  field.arg("NOTE", "Null") + "</Record></Records></DataTable>");
    EXPECT_EQ(bar.calls, QStringList({"Value=0.0001", "Max=2.0001", "Visible=1", "Value=1.0001",
                                      "Value=2.0001", "Visible=0"}));
}

class RecordImport : public DataRecords {
protected:
    void SetUp() override {
        DataRecords::SetUp();
        // clang-format off
        table("A01_TAB_CAU", {{"CACOD", ado::adVarWChar}, {"CADES", ado::adVarWChar}, {"USINS", ado::adVarWChar},
                              {"DTINS", ado::adDBTimeStamp}, {"USMDF", ado::adVarWChar}, {"CAQTY"}}, {"CACOD"});
        // clang-format on
    }
    static QString record(const QString& code) {
        QString out = "<Record>";
        for (const auto& [name, value] : {std::pair{"CACOD", code},
                                          {"CADES", "Desc"},
                                          {"USINS", "bob"},
                                          {"DTINS", "2020-01-02T03:04:05"},
                                          {"USMDF", "x"},
                                          {"CAQTY", "Null"}})
            out +=
                QStringLiteral("<Field><FieldName>%1</FieldName><Value>%2</Value></Field>").arg(name, value);
        return out + "</Record>";
    }
    static QString dataTable(const QString& records) {
        return "<DataTable><TableName>[#FIRM#]TAB_CAU</TableName><Filter/><Records>" + records +
               "</Records></DataTable>";
    }
};

TEST_F(RecordImport, UpdateKeepsColumnsAndInsertMarksTheImport) {
    QString only = QStringLiteral("tab_cau");
    EXPECT_TRUE(database.ReadXmlDataTable(dataFile(dataTable(record("A"))), &only, "A01_"));
    ASSERT_EQ(data().size(), 1);
    // The present time the insert writes into DTINS, as a placeholder.
    QString statement = data()[0];
    statement.replace(QRegularExpression("'2[0-9]{7} [0-9:]{8}\\.[0-9]{3}'"), "<NOW>");
    EXPECT_EQ(
        statement,
        "IF EXISTS (\r\nSELECT * FROM A01_TAB_CAU\r\nWHERE CACOD='A')\r\nUPDATE A01_TAB_CAU\r\nSET "
        "CACOD = 'A',\r\n    USINS = 'bob',\r\n    DTINS = '20200102 03:04:05',\r\n    CAQTY = NULL\r\n\r\n"
        "WHERE CACOD='A'\r\n ELSE\r\nINSERT INTO A01_TAB_CAU\r\n\r\n(\r\n  CACOD,\r\n  CADES,\r\n  USINS,"
        "\r\n  DTINS,\r\n  CAQTY\r\n) VALUES (\r\n  'A',\r\n  'Desc',\r\n  'SYSTEM_IMPORT',\r\n  <NOW>,"
        "\r\n  NULL\r\n)");
    EXPECT_TRUE(log->Text().contains("Import Data Table:A01_TAB_CAU") &&
                log->Text().contains("Total Record(s) for A01_TAB_CAU:1"));
    // Another table's name is skipped.
    only = QStringLiteral("OTHER");
    db->clearCalls();
    EXPECT_TRUE(database.ReadXmlDataTable(dataFile(dataTable(record("A"))), &only, "A01_"));
    EXPECT_TRUE(data().isEmpty());
}

TEST_F(RecordImport, FailingStatementLoggedAndImportGoesOn) {
    raiseMode();
    db->failIf([](const QString& s) { return s.contains("CACOD='A'"); }, kErrSyntax, "bad statement");
    EXPECT_FALSE(database.ReadXmlDataTable(dataFile(dataTable(record("A") + record("B"))), nullptr, "A01_"));
    ASSERT_EQ(data().size(), 2);
    EXPECT_TRUE(data()[1].contains("CACOD='B'"));
    EXPECT_TRUE(log->Text().contains("(Error Description:bad statement)") &&
                log->Text().contains("Total Record(s) for A01_TAB_CAU:2"));
}

TEST_F(RecordImport, SystemTableEmptiedFirstLosesTheCondition) {
    table("SYS_CFG", {{"CFKEY", ado::adVarWChar}}, {"CFKEY"});
    answer(catalog_sql::TableKeys(kSqlServer, "SYS_TSK"), {"COLUMN_NAME"}, {});
    database.setDeleteDataBeforeImport(true);
    EXPECT_TRUE(database.ReadXmlDataTable(dataFile(
        "<DataTable><TableName>SYS_CFG</TableName><Filter/><Records><Record><Field><FieldName>CFKEY</"
        "FieldName>"
        "<Value>K</Value></Field></Record></Records></DataTable><DataTable><TableName>SYS_TSK</TableName>"
        "<Filter>TSAZI = 'X'</Filter><Records/></DataTable>")))
        << log->Text().toStdString();
    EXPECT_EQ(data(), QStringList({"DELETE FROM SYS_CFG\r\n",
                                   "INSERT INTO SYS_CFG\r\n\r\n(\r\n  CFKEY\r\n) VALUES (\r\n  'K'\r\n)"}));
    EXPECT_TRUE(log->Text().contains("Delete Data Table:SYS_CFG"));
    EXPECT_FALSE(log->Text().contains("Delete Data Table:SYS_TSK"));
}

TEST_F(RecordImport, MalformedSectionLoggedAndNothingImported) {
    const QString file =
        dataFile("<DataTable><Filter/><Records>" + record("A") +
                 "</Records></DataTable><DataTable><TableName>[#FIRM#]TAB_CAU</TableName><Filter/>"
                 "<Records><Record/></Records></DataTable><DataTable><TableName>[#FIRM#]TAB_CAU"
                 "</TableName><Filter/><RecordsCount>12x</RecordsCount></DataTable>");
    EXPECT_FALSE(database.ReadXmlDataTable(file, nullptr, "A01_"));
    EXPECT_TRUE(data().isEmpty());
    for (const char* text : {"no table name", "The record has no fields: skipped.",
                             "RecordsCount \"12x\" is not a number of records"})
        EXPECT_TRUE(log->Text().contains(text)) << text << "\n" << log->Text().toStdString();
}

} // namespace
} // namespace qldb::test
