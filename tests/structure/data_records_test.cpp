// Table data by records: the copy between firms, the DataTable element with its records, and the
// import of such an element, asserted as whole statements through the scripted connection.
#include "connection/catalog_queries.h"
#include "structure/structure_document.h"
#include "structure/structure_fixture.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

namespace qldb::test {
namespace {

using T = ql_eDataType;
const QString kSql = QStringLiteral("\r\n");

CatalogColumn Col(const char* name, int32_t type) {
    return CatalogColumn{QString::fromLatin1(name), type, 10};
}

class DataRecords : public DatabaseTest {
protected:
    void keys(const QString& table, const QStringList& names) {
        std::vector<Row> rows;
        for (const QString& n : names)
            rows.push_back({n});
        db->respond(catalog_sql::TableKeys(ql_eProviderType::SQLServer, table),
                    ScriptedConnection::Table({"COLUMN_NAME"}, rows));
    }
    void identity(const QString& table, const QString& column) {
        db->respond(catalog_sql::IdentityProperty(ql_eProviderType::SQLServer, table, column),
                    ScriptedConnection::Table({"c"}, {{1}}));
    }
    // The data statements sent: the catalog questions left out.
    QStringList dataStatements() const {
        QStringList out;
        for (const QString& s : sent()) {
            if (!s.startsWith(QLatin1String("sp_pkeys")) &&
                !s.startsWith(QLatin1String("SELECT COLUMNPROPERTY")))
                out << s;
        }
        return out;
    }
    QString writeFile(const QString& dataTables) {
        const QString path = m_dir.filePath(QStringLiteral("structure.xml"));
        QFile f(path);
        f.open(QIODevice::WriteOnly);
        f.write(
            (QStringLiteral("<?xml version=\"1.0\"?><Database><DatabaseName>D</DatabaseName><DataTables>") +
             dataTables + QStringLiteral("</DataTables></Database>"))
                .toUtf8());
        return path;
    }
    QTemporaryDir m_dir;
};

// A row of the source firm: a text key with a quote, a bit key that is Null, a counter and a binary
// column that never travel, a plain number.
class TableCopy : public DataRecords {
protected:
    void SetUp() override {
        DataRecords::SetUp();
        db->addCatalogTable(QStringLiteral("A01_ART"),
                            {Col("CODE", ado::adVarChar), Col("ACTIVE", ado::adBoolean),
                             Col("ID", ado::adInteger), Col("PIC", ado::adLongVarBinary),
                             Col("QTY", ado::adInteger)});
        identity(QStringLiteral("A01_ART"), QStringLiteral("ID"));
        db->respond(QStringLiteral("SELECT * FROM A01_ART"),
                    ScriptedConnection::Table({"CODE", "ACTIVE", "ID", "PIC", "QTY"},
                                              {{QStringLiteral("X'1"), QVariant::fromValue(nullptr), 7,
                                                QByteArray("\x01", 1), 5}}));
    }
};

TEST_F(TableCopy, BothStatementFormsByRewrite) {
    keys(QStringLiteral("A01_ART"), {QStringLiteral("CODE"), QStringLiteral("ACTIVE")});
    const QString insert =
        QStringLiteral("INSERT INTO B02_ART\r\n\r\n(\r\n  CODE,\r\n  ACTIVE,\r\n  QTY\r\n) "
                       "VALUES (\r\n  'X''1',\r\n  0,\r\n  5\r\n)");
    const QString head = QStringLiteral("SELECT * FROM B02_ART\r\nWHERE CODE='X''1'AND ACTIVE=0)\r\n");
    EXPECT_TRUE(database.ImportTable("A01_", "B02_", "ART", true));
    EXPECT_EQ(
        dataStatements(),
        QStringList({"SELECT * FROM A01_ART",
                     "IF EXISTS (\r\n" + head +
                         "UPDATE B02_ART\r\nSET CODE = 'X''1',\r\n    ACTIVE = 0,\r\n    QTY = 5\r\n\r\n"
                         "WHERE CODE='X''1'AND ACTIVE=0\r\n ELSE\r\n" +
                         insert}));
    db->clearCalls();
    EXPECT_TRUE(database.ImportTable("A01_", "B02_", "ART", false));
    EXPECT_EQ(dataStatements(),
              QStringList({"SELECT * FROM A01_ART", "IF NOT EXISTS (\r\n" + head + insert}));
}

TEST_F(TableCopy, WithoutKeyPlainInsertsAndFailuresCollected) {
    keys(QStringLiteral("A01_ART"), {});
    RecordingProgressBar bar;
    bar.setMax(1);
    bar.calls.clear();
    raiseMode();
    db->failIf([](const QString& s) { return s.startsWith(QLatin1String("INSERT")); }, kErrIntegrity,
               QStringLiteral("duplicate key"));
    EXPECT_FALSE(database.ImportTable("A01_", "B02_", "ART", false, QString(), &bar));
    const QStringList s = dataStatements();
    ASSERT_EQ(s.size(), 2);
    EXPECT_TRUE(s[1].startsWith(QLatin1String("INSERT INTO B02_ART"))) << s[1].toStdString();
    EXPECT_EQ(bar.calls, QStringList({"Value=1"}));
}

TEST_F(TableCopy, MissingTableSendsNothing) {
    EXPECT_TRUE(database.ImportTable("A01_", "B02_", "NONE"));
    EXPECT_TRUE(dataStatements().isEmpty());
}

TEST_F(DataRecords, ExportWritesValueFormsAndFilter) {
    db->addCatalogTable(
        QStringLiteral("A01_ART"),
        {Col("CODE", ado::adVarChar), Col("ACTIVE", ado::adBoolean), Col("NOTE", ado::adVarChar)});
    const QString query = QStringLiteral("SELECT * FROM A01_ART where CODE > 'A'");
    db->respond(QStringLiteral("SELECT COUNT(*) AS MAX FROM A01_ART where CODE > 'A'"),
                ScriptedConnection::Table({"MAX"}, {{2}}));
    db->respond(query, ScriptedConnection::Table({"CODE", "ACTIVE", "NOTE"},
                                                 {{QStringLiteral("B"), true, QVariant::fromValue(nullptr)},
                                                  {QStringLiteral("C"), false, QStringLiteral("Null")}}));
    RecordingProgressBar bar;
    bar.calls.clear();
    QString replace = QStringLiteral("a01_");
    QDomDocument doc;
    doc.appendChild(
        doc.importNode(database.GetXmlDataTable("a01_art", &replace, "[#firm#]", query, &bar), true));
    EXPECT_EQ(replace, QStringLiteral("A01_"));
    EXPECT_EQ(doc.toString(-1),
              "<DataTable><TableName>[#FIRM#]ART</TableName><Filter>CODE > 'A'</Filter><Records>"
              "<Record><Field><FieldName>CODE</FieldName><Value>B</Value></Field>"
              "<Field><FieldName>ACTIVE</FieldName><Value>True</Value></Field>"
              "<Field><FieldName>NOTE</FieldName><Value>Null</Value></Field></Record>"
              "<Record><Field><FieldName>CODE</FieldName><Value>C</Value></Field>"
              "<Field><FieldName>ACTIVE</FieldName><Value>False</Value></Field>"
              "<Field><FieldName>NOTE</FieldName><Value>Null</Value></Field></Record></Records></DataTable>");
    EXPECT_EQ(bar.calls, QStringList({"Value=0.0001", "Max=2.0001", "Visible=1", "Value=1.0001",
                                      "Value=2.0001", "Visible=0"}));
}

class RecordImport : public DataRecords {
protected:
    void SetUp() override {
        DataRecords::SetUp();
        db->addCatalogTable(QStringLiteral("A01_TAB_CAU"),
                            {Col("CACOD", ado::adVarWChar), Col("CADES", ado::adVarWChar),
                             Col("USINS", ado::adVarWChar), Col("DTINS", ado::adDBTimeStamp),
                             Col("USMDF", ado::adVarWChar), Col("CAQTY", ado::adInteger)});
        keys(QStringLiteral("A01_TAB_CAU"), {QStringLiteral("CACOD")});
    }
    static QString record(const QString& code) {
        return "<Record><Field><FieldName>CACOD</FieldName><Value>" + code +
               "</Value></Field><Field><FieldName>CADES</FieldName><Value>Desc</Value></Field>"
               "<Field><FieldName>USINS</FieldName><Value>bob</Value></Field>"
               "<Field><FieldName>DTINS</FieldName><Value>2020-01-02T03:04:05</Value></Field>"
               "<Field><FieldName>USMDF</FieldName><Value>x</Value></Field>"
               "<Field><FieldName>CAQTY</FieldName><Value>Null</Value></Field></Record>";
    }
    static QString table(const QString& records) {
        return "<DataTable><TableName>[#FIRM#]TAB_CAU</TableName><Filter/><Records>" + records +
               "</Records></DataTable>";
    }
    // The present time the insert writes into DTINS, as a placeholder.
    static QString withoutNow(QString s) {
        static const QRegularExpression now(QStringLiteral("'2[0-9]{7} [0-9:]{8}(\\.[0-9]{3})?'"));
        QRegularExpressionMatchIterator it = now.globalMatch(s);
        while (it.hasNext()) {
            const QString m = it.next().captured(0);
            if (m != QLatin1String("'20200102 03:04:05'"))
                s.replace(m, QStringLiteral("<NOW>"));
        }
        return s;
    }
};

TEST_F(RecordImport, UpdateKeepsColumnsAndInsertMarksTheImport) {
    QString only = QStringLiteral("tab_cau");
    EXPECT_TRUE(database.ReadXmlDataTable(writeFile(table(record("A"))), &only, "A01_"));
    ASSERT_EQ(dataStatements().size(), 1);
    EXPECT_EQ(
        withoutNow(dataStatements()[0]),
        "IF EXISTS (\r\nSELECT * FROM A01_TAB_CAU\r\nWHERE CACOD='A')\r\n"
        "UPDATE A01_TAB_CAU\r\nSET CACOD = 'A',\r\n    USINS = 'bob',\r\n    DTINS = '20200102 03:04:05',\r\n"
        "    CAQTY = NULL\r\n\r\nWHERE CACOD='A'\r\n ELSE\r\n"
        "INSERT INTO A01_TAB_CAU\r\n\r\n(\r\n  CACOD,\r\n  CADES,\r\n  USINS,\r\n  DTINS,\r\n  CAQTY\r\n) "
        "VALUES "
        "(\r\n  'A',\r\n  'Desc',\r\n  'SYSTEM_IMPORT',\r\n  <NOW>,\r\n  NULL\r\n)");
    EXPECT_TRUE(log->Text().contains(QLatin1String("Import Data Table:A01_TAB_CAU")));
    EXPECT_TRUE(log->Text().contains(QLatin1String("Total Record(s) for A01_TAB_CAU:1")));
}

TEST_F(RecordImport, FailingStatementLoggedAndImportGoesOn) {
    raiseMode();
    db->failIf([](const QString& s) { return s.contains(QLatin1String("CACOD='A'")); }, kErrSyntax,
               QStringLiteral("bad statement"));
    EXPECT_FALSE(database.ReadXmlDataTable(writeFile(table(record("A") + record("B"))), nullptr, "A01_"));
    const QStringList s = dataStatements();
    ASSERT_EQ(s.size(), 2);
    EXPECT_TRUE(s[1].contains(QLatin1String("CACOD='B'")));
    EXPECT_TRUE(log->Text().contains(QLatin1String("(Error Description:bad statement)")));
    EXPECT_TRUE(log->Text().contains(QLatin1String("Total Record(s) for A01_TAB_CAU:2")));
}

TEST_F(RecordImport, OtherTableNameIsSkipped) {
    QString only = QStringLiteral("OTHER");
    EXPECT_TRUE(database.ReadXmlDataTable(writeFile(table(record("A"))), &only, "A01_"));
    EXPECT_TRUE(dataStatements().isEmpty());
}

TEST_F(RecordImport, SystemTableEmptiedFirstLosesTheCondition) {
    db->addCatalogTable(QStringLiteral("SYS_CFG"), {Col("CFKEY", ado::adVarWChar)});
    keys(QStringLiteral("SYS_CFG"), {QStringLiteral("CFKEY")});
    keys(QStringLiteral("SYS_TSK"), {});
    database.setDeleteDataBeforeImport(true);
    const QString file = writeFile(
        "<DataTable><TableName>SYS_CFG</TableName><Filter/><Records><Record><Field><FieldName>CFKEY</"
        "FieldName>"
        "<Value>K</Value></Field></Record></Records></DataTable>"
        "<DataTable><TableName>SYS_TSK</TableName><Filter>TSAZI = 'X'</Filter><Records/></DataTable>");
    EXPECT_TRUE(database.ReadXmlDataTable(file)) << log->Text().toStdString();
    EXPECT_EQ(dataStatements(),
              QStringList({"DELETE FROM SYS_CFG\r\n",
                           "INSERT INTO SYS_CFG\r\n\r\n(\r\n  CFKEY\r\n) VALUES (\r\n  'K'\r\n)"}));
    EXPECT_TRUE(log->Text().contains(QLatin1String("Delete Data Table:SYS_CFG")));
    EXPECT_FALSE(log->Text().contains(QLatin1String("Delete Data Table:SYS_TSK")));
}

TEST_F(RecordImport, MalformedSectionLoggedAndNothingImported) {
    const QString file =
        writeFile("<DataTable><Filter/><Records>" + record("A") +
                  "</Records></DataTable>"
                  "<DataTable><TableName>[#FIRM#]TAB_CAU</TableName><Filter/><Records><Record/>"
                  "</Records></DataTable>"
                  "<DataTable><TableName>[#FIRM#]TAB_CAU</TableName><Filter/>"
                  "<RecordsCount>12x</RecordsCount></DataTable>");
    EXPECT_FALSE(database.ReadXmlDataTable(file, nullptr, "A01_"));
    EXPECT_TRUE(dataStatements().isEmpty());
    const QString text = log->Text();
    EXPECT_TRUE(text.contains(QLatin1String("no table name"))) << text.toStdString();
    EXPECT_TRUE(text.contains(QLatin1String("The record has no fields: skipped.")));
    EXPECT_TRUE(text.contains(QLatin1String("RecordsCount \"12x\" is not a number of records")));
}

} // namespace
} // namespace qldb::test
