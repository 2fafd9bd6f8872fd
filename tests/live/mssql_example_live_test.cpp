// The example of examples/ on a real SQL Server (see mssql_live_fixture.h): the database that
// example-database.sql builds, exported by the qldb program with make-example.sh's options, gives a
// structure file holding every kind of object the example promises, the firm's prefix turned into
// the marker. Verified against that database, with the example's query file beside it, every object is
// up to date and only the newer version's queries are due; an update plays them and records them.
#include "live/live_files.h"
#include "live/mssql_live_fixture.h"
#include "structure/structure_document.h"

#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <gmock/gmock.h>

namespace qldb::test {
namespace {

const QString kExamples = QStringLiteral(QLDB_EXAMPLES_DIR);

// The script's batches as make-example.sh splits them: a line holding only GO ends a batch; comment
// lines, and blank lines before a batch's first statement, are left out.
QStringList ScriptBatches(const QString& sPath) {
    static const QRegularExpression go(QStringLiteral("^\\s*GO\\s*$"),
                                       QRegularExpression::CaseInsensitiveOption),
        comment(QStringLiteral("^\\s*--"));
    QStringList batches{QString()};
    for (QString line : QString::fromUtf8(FileBytes(sPath)).split(u'\n')) {
        if (line.endsWith(u'\r'))
            line.chop(1);
        if (go.match(line).hasMatch())
            batches << QString();
        else if (!comment.match(line).hasMatch() && (!batches.back().isEmpty() || !line.trimmed().isEmpty()))
            batches.back() += line + u'\n';
    }
    batches.removeAll(QString());
    return batches;
}

// The children of a container by their first child's text (the object's name).
QMap<QString, QDomNode> ByName(const QDomNode& container) {
    QMap<QString, QDomNode> out;
    for (QDomNode child = container.firstChild(); !child.isNull(); child = child.nextSibling())
        out.insert(ChildText(child, 0), child);
    return out;
}

enum FieldChild { kName = 0, kDescription = 2, kDataType = 3, kDefault = 6, kPrimaryKey = 7 };

class MsSqlExampleLive : public MsSqlLiveTest {
protected:
    // Builds the example database on the test's database and exports it as make-example.sh does.
    void SetUp() override {
        MsSqlLiveTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        ASSERT_TRUE(m_dir.isValid());
        const QStringList batches = ScriptBatches(kExamples + QStringLiteral("/example-database.sql"));
        ASSERT_GE(batches.size(), 15) << "example-database.sql was not found or holds too few batches";
        for (const QString& batch : batches) {
            QString why;
            ASSERT_TRUE(RunStatement(cn(), batch, &why)) << why.toStdString() << "\nin:\n"
                                                         << batch.toStdString();
        }
        m_file = m_dir.filePath(QStringLiteral("Example.xml"));
        m_workbook = m_dir.filePath(QStringLiteral("Example.xlsx"));
        // The options of examples/make-example.sh: keep them in step.
        // clang-format off
        const QStringList args = {
            "export", "--provider", "SQLServer", "--server", server().Server, "--database", databaseName(),
            "--user", server().User, "--password", server().Password,
            "--output", m_file, "--version", "1.1.0",
            "--database-name", "qldb Example", "--company", "Example Trading", "--product", "qldb example",
            "--tables", "SYS_*", "--tables", "A01_*", "--views", "A01_*", "--functions", "A01_*",
            "--procedures", "A01_*", "--triggers",
            "--data", "A01_UOM=SELECT * FROM A01_UOM", "--prefix", "A01_", "--marker", "[#FIRM#]",
            "--workbook", m_workbook};
        // clang-format on
        QProcess qldb;
        qldb.start(QStringLiteral(QLDB_PROGRAM), args);
        ASSERT_TRUE(qldb.waitForFinished(300000)) << "qldb export did not finish";
        ASSERT_EQ(qldb.exitCode(), 0) << qldb.readAllStandardError().toStdString();
        ASSERT_TRUE(LoadStructureDocument(m_file, m_doc));
    }

    QMap<QString, QDomNode> container(int position) const { return ByName(ChildPath(m_doc, {1, position})); }

    QTemporaryDir m_dir;
    QString m_file, m_workbook;
    QDomDocument m_doc;
};

TEST_F(MsSqlExampleLive, TheExportCarriesEveryObjectWithTheFirmMarker) {
    EXPECT_EQ(ChildText(ChildAt(m_doc, 1), kHeaderStructureVersion), QStringLiteral("1.1.0"));
    EXPECT_FALSE(FileBytes(m_file).contains("A01_")) << "the firm prefix is left somewhere in the file";
    EXPECT_TRUE(QFileInfo(m_workbook).size() > 0);

    // Every table, with its key, and a description on every column.
    const QMap<QString, QDomNode> tables = container(kContainerTables);
    QStringList keys;               // "table:key columns"
    QMap<QString, QDomNode> fields; // "table.field"
    for (auto it = tables.cbegin(); it != tables.cend(); ++it) {
        QStringList primary;
        for (QDomNode f = ChildAt(it.value(), 1).firstChild(); !f.isNull(); f = f.nextSibling()) {
            fields.insert(it.key() + u'.' + ChildText(f, kName), f);
            if (ChildText(f, kPrimaryKey) == QLatin1String("True"))
                primary << ChildText(f, kName);
            EXPECT_FALSE(ChildText(f, kDescription).isEmpty())
                << (it.key() + u'.' + ChildText(f, kName)).toStdString();
        }
        keys << it.key() + u':' + primary.join(u',');
    }
    EXPECT_EQ(keys.join(u' '),
              "SYS_DBS:ID SYS_PAR:PAR_CODE SYS_QRY:RECORD_ID SYS_USR:USER_CODE "
              "[#FIRM#]CUSTOMERS:CUSTOMER_ID [#FIRM#]ITEMS:ITEM_CODE [#FIRM#]ORDERS:ORDER_ID "
              "[#FIRM#]ORDER_LINES:ORDER_ID,LINE_NO [#FIRM#]PAYMENT_TERMS:TERM_CODE "
              "[#FIRM#]STOCK_MOVES:MOVE_ID [#FIRM#]UOM:UOM_CODE [#FIRM#]VAT:VAT_CODE");

    // Data types and defaults as the catalog gives them ("field type default": the default contains
    // the text, ignoring case; none when not given); the description keeps its remark.
    for (const char* c :
         {"[#FIRM#]CUSTOMERS.CUSTOMER_ID TypeCounter", "[#FIRM#]CUSTOMERS.CREATED_AT TypeDateTime getdate()",
          "[#FIRM#]CUSTOMERS.IS_ACTIVE TypeBit 1", "[#FIRM#]ITEMS.UOM_CODE TypeVarCharUnicode PCS",
          "[#FIRM#]ITEMS.WEIGHT_KG TypeDbl", "[#FIRM#]ORDERS.STATUS TypeChar 'O'",
          "[#FIRM#]UOM.UOM_DECIMALS TypeByte 0", "SYS_DBS.SYS_COMPLETED TypeBit 0"}) {
        const QStringList want = QString::fromLatin1(c).split(u' ');
        const QDomNode field = fields.value(want[0]);
        ASSERT_FALSE(field.isNull()) << c;
        EXPECT_EQ(ChildText(field, kDataType), want[1]) << c;
        const QString value = ChildText(field, kDefault);
        EXPECT_TRUE(want.size() > 2 ? value.contains(want[2], Qt::CaseInsensitive) : value.isEmpty())
            << c << ": " << value.toStdString();
    }
    EXPECT_EQ(ChildText(fields.value("[#FIRM#]ORDERS.STATUS"), kDescription),
              QStringLiteral("Status [O open, D delivered, C closed, X cancelled]"));

    // The secondary indexes, with the text that makes them; no primary key among them.
    const auto indexes = [&](const char* table) { return ByName(ChildAt(tables.value(table), 2)); };
    EXPECT_EQ(indexes("[#FIRM#]ORDERS").keys(),
              (QStringList{"IX_[#FIRM#]ORDERS_CUSTOMER", "UX_[#FIRM#]ORDERS_NUMBER"}));
    EXPECT_TRUE(indexes("[#FIRM#]UOM").isEmpty());
    const auto indexSql = [&](const char* table, const char* index) {
        return ChildText(indexes(table).value(index), 1).simplified().toStdString();
    };
    EXPECT_THAT(indexSql("[#FIRM#]ORDERS", "IX_[#FIRM#]ORDERS_CUSTOMER"),
                testing::HasSubstr("ON dbo.[#FIRM#]ORDERS (CUSTOMER_ID ASC, ORDER_DATE DESC)"));
    EXPECT_THAT(indexSql("[#FIRM#]ORDERS", "UX_[#FIRM#]ORDERS_NUMBER"), testing::HasSubstr("UNIQUE"));
    EXPECT_THAT(
        indexSql("[#FIRM#]ORDER_LINES", "IX_[#FIRM#]ORDER_LINES_ITEM"),
        testing::AllOf(testing::HasSubstr("(ITEM_CODE ASC)"), testing::HasSubstr("INCLUDE (QUANTITY)")));

    // The code objects, the second view standing on the first, the trigger on its table.
    EXPECT_EQ(container(kContainerFunctions).keys(), QStringList{"[#FIRM#]FN_LINE_AMOUNT"});
    EXPECT_EQ(container(kContainerViews).keys(),
              (QStringList{"[#FIRM#]V_CUSTOMER_SALES", "[#FIRM#]V_ITEM_STOCK", "[#FIRM#]V_ORDER_TOTALS"}));
    EXPECT_TRUE(ChildText(container(kContainerViews).value("[#FIRM#]V_CUSTOMER_SALES"), 1)
                    .contains("LEFT JOIN [#FIRM#]V_ORDER_TOTALS T"));
    EXPECT_EQ(container(kContainerProcedures).keys(), QStringList{"[#FIRM#]PRC_CLOSE_ORDER"});
    EXPECT_EQ(container(kContainerTriggers).keys(), QStringList{"[#FIRM#]TRG_ORDER_LINES_TOTAL"});
    EXPECT_TRUE(ChildText(container(kContainerTriggers).value("[#FIRM#]TRG_ORDER_LINES_TOTAL"), 1)
                    .contains("ON [#FIRM#]ORDER_LINES"));

    // The data table: its rows in the file itself.
    const QMap<QString, QDomNode> data = container(kContainerDataTables);
    ASSERT_EQ(data.keys(), QStringList{"[#FIRM#]UOM"});
    QMap<QString, QString> decimals;
    for (QDomNode record = ChildAt(data.first(), 2).firstChild(); !record.isNull();
         record = record.nextSibling())
        decimals.insert(ChildText(ChildAt(record, 0), 1), ChildText(ChildAt(record, 2), 1));
    EXPECT_EQ(decimals,
              (QMap<QString, QString>{{"BOX", "0"}, {"KG", "3"}, {"L", "2"}, {"M", "2"}, {"PCS", "0"}}));

    // The script's trigger and views work: the orders carry the sums of their lines.
    EXPECT_NEAR(scalar("SELECT TOTAL_AMOUNT FROM A01_ORDERS WHERE ORDER_NUMBER = 'ORD-0001'").toDouble(),
                52.5, 1e-9);
    EXPECT_NEAR(
        scalar("SELECT SALES_AMOUNT FROM A01_V_CUSTOMER_SALES WHERE CUSTOMER_CODE = 'C0002'").toDouble(),
        89.9, 1e-9);
}

TEST_F(MsSqlExampleLive, VerifyFindsOnlyTheNewQueriesDueAndAnUpdatePlaysAndRecordsThem) {
    WriteFileBytes(m_dir.filePath(QStringLiteral("Query_Example.xml")),
                   FileBytes(kExamples + QStringLiteral("/Query_Example.xml")));
    // The statuses of the list's rows by object kind, and "name:status" of its SYS_ tables.
    VariantArray2 list;
    QMap<QString, QList<int>> byKind;
    QStringList system;
    const auto verify = [&](const char* prefix, bool* removePrefix) {
        database.VerifyDatabase(m_file, list, prefix, removePrefix);
        EXPECT_EQ(reported(), "");
        byKind.clear();
        system.clear();
        for (int32_t row = 1; row <= list.RowCount(); ++row) {
            const QString kind = list(kObjectKind, row).toString(), name = list(kObjectName, row).toString();
            byKind[kind] << list(kObjectStatus, row).toInt();
            if (kind == QLatin1String("T") && name.startsWith(QLatin1String("SYS_")))
                system << name + u':' + list(kObjectStatus, row).toString();
        }
        system.sort();
    };

    // The system part, verified on its own, is in step too. (Such a run doesn't read the marker, so
    // the firm's tables are then the file's to create.)
    bool keepMarker = false, removePrefix = true;
    database.setVerifyDatabaseMode(ql_eVerifyMode::VerifyModality);
    verify("SYS_", &keepMarker);
    EXPECT_EQ(system, (QStringList{"SYS_DBS:0", "SYS_PAR:0", "SYS_QRY:0", "SYS_USR:0"}))
        << log->Text().toStdString();

    // Objects up to date; the data table always listed for import; the Before and After queries of
    // 1.1.0 due, as the registry has firm A01 at 1.0.0.
    verify("A01_", &removePrefix);
    EXPECT_EQ(byKind, (QMap<QString, QList<int>>{{"T", QList<int>(8, kStatusUpToDate)},
                                                 {"F", {kStatusUpToDate}},
                                                 {"V", QList<int>(3, kStatusUpToDate)},
                                                 {"P", {kStatusUpToDate}},
                                                 {"G", {kStatusUpToDate}},
                                                 {"D", {kStatusToUpdate}},
                                                 {"Q", {kStatusToUpdate, kStatusToUpdate}}}))
        << log->Text().toStdString();
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdateRequest);
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM SYS_QRY").toInt(), 2) << "a verify run recorded a query";

    database.setAutoUpdate(true);
    database.setVerifyDatabaseMode(ql_eVerifyMode::UpdateModality);
    verify("A01_", &removePrefix);
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedCorrectly)
        << log->Text().toStdString();
    for (auto it = byKind.cbegin(); it != byKind.cend(); ++it)
        EXPECT_EQ(it.value(), QList<int>(it.value().size(), kStatusUpToDate)) << it.key().toStdString();

    // The queries of 1.0.0 were known as run; those of 1.1.0 ran, with the firm's prefix, and are
    // recorded as run without error.
    for (const auto& [sql, value] : std::initializer_list<std::pair<const char*, const char*>>{
             {"SELECT COUNT(*) FROM SYS_QRY WHERE QYVER = '1.0.0'", "2"},
             {"SELECT COUNT(*) FROM SYS_QRY WHERE QYDBE = 'A01' AND QYVER = '1.1.0' AND QYCHK = 1", "3"},
             {"SELECT EMAIL FROM A01_CUSTOMERS WHERE CUSTOMER_CODE = 'C0001'",
              "orders@harbour-tools.example"},
             {"SELECT STATUS FROM A01_ORDERS WHERE ORDER_NUMBER = 'ORD-0001'", "C"},
             {"SELECT PAR_VALUE FROM SYS_PAR WHERE PAR_CODE = 'A01_NEXT_INVOICE'", "1"}})
        EXPECT_EQ(scalar(sql).toString(), QLatin1String(value)) << sql;
    EXPECT_EQ(database.GetDbVersion("A01_"), QStringLiteral("1.1.0"));
}

} // namespace
} // namespace qldb::test
