// The example of the examples/ folder against a real SQL Server (see mssql_live_fixture.h): the
// database that example-database.sql builds, exported by the qldb program with the options of
// make-example.sh, gives a structure file that holds every kind of object the example promises,
// with the firm's prefix turned into the marker. Verified against that database, with the example's
// query file beside it, every object is up to date and only the queries of the newer version are
// due; an update run plays them and records them in SYS_QRY.
#include "live/live_files.h"
#include "live/mssql_live_fixture.h"
#include "structure/structure_document.h"

#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

namespace qldb::test {
namespace {

const QString kExamples = QStringLiteral(QLDB_EXAMPLES_DIR);

// The batches of the script, split as make-example.sh splits them: a line holding only GO ends a
// batch; comment lines, and blank lines before a batch's first statement, are left out.
QStringList ScriptBatches(const QString& sPath) {
    QFile file(sPath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    static const QRegularExpression go(QStringLiteral("^\\s*GO\\s*$"),
                                       QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression comment(QStringLiteral("^\\s*--"));
    QStringList batches;
    QString batch;
    const auto close = [&] {
        if (!batch.trimmed().isEmpty())
            batches << batch;
        batch.clear();
    };
    for (QString line : QString::fromUtf8(file.readAll()).split(u'\n')) {
        if (line.endsWith(u'\r'))
            line.chop(1);
        if (go.match(line).hasMatch())
            close();
        else if (!comment.match(line).hasMatch() && (!batch.isEmpty() || !line.trimmed().isEmpty()))
            batch += line + u'\n';
    }
    close();
    return batches;
}

// The children of a container by the text of their first child (the object's name).
QMap<QString, QDomNode> ByName(const QDomNode& container) {
    QMap<QString, QDomNode> out;
    for (QDomNode child = container.firstChild(); !child.isNull(); child = child.nextSibling())
        out.insert(ChildText(child, 0), child);
    return out;
}

// Positions of a Field's children in the structure file.
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
            bool bError = false;
            QString sError;
            try {
                cn().Execute(batch, &bError, &sError);
            } catch (const qlException& e) {
                bError = true;
                sError = e.description();
            }
            ASSERT_FALSE(bError) << sError.toStdString() << "\nin the batch:\n" << batch.toStdString();
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

    QDomNode container(int position) const { return ChildPath(m_doc, {1, position}); }

    QTemporaryDir m_dir;
    QString m_file;
    QString m_workbook;
    QDomDocument m_doc;
};

TEST_F(MsSqlExampleLive, TheExportCarriesEveryObjectWithTheFirmMarker) {
    EXPECT_EQ(ChildText(ChildAt(m_doc, 1), kHeaderStructureVersion), QStringLiteral("1.1.0"));
    const QByteArray bytes = FileBytes(m_file);
    EXPECT_FALSE(bytes.contains("A01_")) << "the firm prefix is left somewhere in the file";
    EXPECT_TRUE(QFileInfo(m_workbook).size() > 0);

    // Every table, with its key, and a description on every column.
    const QMap<QString, QStringList> keys = {
        {"SYS_DBS", {"ID"}},
        {"SYS_QRY", {"RECORD_ID"}},
        {"SYS_USR", {"USER_CODE"}},
        {"SYS_PAR", {"PAR_CODE"}},
        {"[#FIRM#]UOM", {"UOM_CODE"}},
        {"[#FIRM#]VAT", {"VAT_CODE"}},
        {"[#FIRM#]PAYMENT_TERMS", {"TERM_CODE"}},
        {"[#FIRM#]CUSTOMERS", {"CUSTOMER_ID"}},
        {"[#FIRM#]ITEMS", {"ITEM_CODE"}},
        {"[#FIRM#]ORDERS", {"ORDER_ID"}},
        {"[#FIRM#]ORDER_LINES", {"ORDER_ID", "LINE_NO"}},
        {"[#FIRM#]STOCK_MOVES", {"MOVE_ID"}},
    };
    const QMap<QString, QDomNode> tables = ByName(container(kContainerTables));
    EXPECT_EQ(tables.keys(), keys.keys());
    QMap<QString, QDomNode> fields; // "table.field"
    for (auto it = tables.cbegin(); it != tables.cend(); ++it) {
        QStringList primary;
        const QDomNode list = ChildAt(it.value(), 1);
        for (QDomNode field = list.firstChild(); !field.isNull(); field = field.nextSibling()) {
            const QString name = ChildText(field, kName);
            fields.insert(it.key() + u'.' + name, field);
            if (ChildText(field, kPrimaryKey) == QLatin1String("True"))
                primary << name;
            EXPECT_FALSE(ChildText(field, kDescription).isEmpty()) << (it.key() + u'.' + name).toStdString();
        }
        EXPECT_EQ(primary, keys.value(it.key())) << it.key().toStdString();
    }

    // Data types and defaults as the catalog gives them; the description keeps its remark.
    struct Column {
        const char* Field;
        const char* DataType;
        const char* Default; // contained in the default text, ignoring case; "" for none
    };
    for (const Column& c : {Column{"[#FIRM#]CUSTOMERS.CUSTOMER_ID", "TypeCounter", ""},
                            Column{"[#FIRM#]CUSTOMERS.CREATED_AT", "TypeDateTime", "getdate()"},
                            Column{"[#FIRM#]CUSTOMERS.IS_ACTIVE", "TypeBit", "1"},
                            Column{"[#FIRM#]ITEMS.UOM_CODE", "TypeVarCharUnicode", "PCS"},
                            Column{"[#FIRM#]ITEMS.WEIGHT_KG", "TypeDbl", ""},
                            Column{"[#FIRM#]ORDERS.STATUS", "TypeChar", "'O'"},
                            Column{"[#FIRM#]UOM.UOM_DECIMALS", "TypeByte", "0"},
                            Column{"SYS_DBS.SYS_COMPLETED", "TypeBit", "0"}}) {
        const QDomNode field = fields.value(QString::fromLatin1(c.Field));
        ASSERT_FALSE(field.isNull()) << c.Field;
        EXPECT_EQ(ChildText(field, kDataType), QLatin1String(c.DataType)) << c.Field;
        const QString value = ChildText(field, kDefault);
        if (*c.Default == '\0')
            EXPECT_TRUE(value.isEmpty()) << c.Field << ": " << value.toStdString();
        else
            EXPECT_TRUE(value.contains(QLatin1String(c.Default), Qt::CaseInsensitive))
                << c.Field << ": " << value.toStdString();
    }
    EXPECT_EQ(ChildText(fields.value("[#FIRM#]ORDERS.STATUS"), kDescription),
              QStringLiteral("Status [O open, D delivered, C closed, X cancelled]"));

    // The secondary indexes, with the text that makes them; no primary key among them.
    const auto indexes = [&](const char* table) { return ByName(ChildAt(tables.value(table), 2)); };
    EXPECT_EQ(indexes("[#FIRM#]ORDERS").keys(),
              (QStringList{"IX_[#FIRM#]ORDERS_CUSTOMER", "UX_[#FIRM#]ORDERS_NUMBER"}));
    EXPECT_TRUE(indexes("[#FIRM#]UOM").isEmpty());
    const auto indexSql = [&](const char* table, const char* index) {
        return ChildText(indexes(table).value(index), 1).simplified();
    };
    EXPECT_TRUE(indexSql("[#FIRM#]ORDERS", "IX_[#FIRM#]ORDERS_CUSTOMER")
                    .contains("ON dbo.[#FIRM#]ORDERS (CUSTOMER_ID ASC, ORDER_DATE DESC)"))
        << indexSql("[#FIRM#]ORDERS", "IX_[#FIRM#]ORDERS_CUSTOMER").toStdString();
    EXPECT_TRUE(indexSql("[#FIRM#]ORDERS", "UX_[#FIRM#]ORDERS_NUMBER").contains("UNIQUE"));
    const QString covering = indexSql("[#FIRM#]ORDER_LINES", "IX_[#FIRM#]ORDER_LINES_ITEM");
    EXPECT_TRUE(covering.contains("(ITEM_CODE ASC)") && covering.contains("INCLUDE (QUANTITY)"))
        << covering.toStdString();

    // The code objects, the second view standing on the first, the trigger on its table.
    const auto names = [&](int position) { return ByName(container(position)).keys(); };
    EXPECT_EQ(names(kContainerFunctions), QStringList{"[#FIRM#]FN_LINE_AMOUNT"});
    EXPECT_EQ(names(kContainerViews),
              (QStringList{"[#FIRM#]V_CUSTOMER_SALES", "[#FIRM#]V_ITEM_STOCK", "[#FIRM#]V_ORDER_TOTALS"}));
    EXPECT_TRUE(ChildText(ByName(container(kContainerViews)).value("[#FIRM#]V_CUSTOMER_SALES"), 1)
                    .contains("LEFT JOIN [#FIRM#]V_ORDER_TOTALS T"));
    EXPECT_EQ(names(kContainerProcedures), QStringList{"[#FIRM#]PRC_CLOSE_ORDER"});
    EXPECT_EQ(names(kContainerTriggers), QStringList{"[#FIRM#]TRG_ORDER_LINES_TOTAL"});
    EXPECT_TRUE(ChildText(ByName(container(kContainerTriggers)).value("[#FIRM#]TRG_ORDER_LINES_TOTAL"), 1)
                    .contains("ON [#FIRM#]ORDER_LINES"));

    // The data table: its rows in the file itself.
    const QDomNode data = container(kContainerDataTables);
    ASSERT_EQ(ChildCount(data), 1);
    EXPECT_EQ(ChildText(ChildAt(data, 0), 0), QStringLiteral("[#FIRM#]UOM"));
    QMap<QString, QString> decimals;
    const QDomNode records = ChildAt(ChildAt(data, 0), 2);
    for (QDomNode record = records.firstChild(); !record.isNull(); record = record.nextSibling())
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
    const auto statuses = [](const VariantArray2& list) {
        QMap<QString, QList<int>> byKind; // kind: the statuses of its rows
        for (int32_t row = 1; row <= list.RowCount(); ++row)
            byKind[list(kObjectKind, row).toString()] << list(kObjectStatus, row).toInt();
        return byKind;
    };
    const auto reports = [&] {
        return errors->reports().empty() ? std::string()
                                         : errors->reports()[0].Error.Description.toStdString();
    };

    // The system part, verified on its own, is in step too. (Such a run doesn't read the marker,
    // so the firm's tables are then the file's to create.)
    bool keepMarker = false;
    VariantArray2 list;
    database.setVerifyDatabaseMode(ql_eVerifyMode::VerifyModality);
    database.VerifyDatabase(m_file, list, "SYS_", &keepMarker);
    EXPECT_EQ(reports(), "");
    QStringList system;
    for (int32_t row = 1; row <= list.RowCount(); ++row) {
        const QString name = list(kObjectName, row).toString();
        if (list(kObjectKind, row).toString() == QLatin1String("T") && name.startsWith(QLatin1String("SYS_")))
            system << name + u':' + list(kObjectStatus, row).toString();
    }
    system.sort();
    EXPECT_EQ(system, (QStringList{"SYS_DBS:0", "SYS_PAR:0", "SYS_QRY:0", "SYS_USR:0"}))
        << log->Text().toStdString();

    // Objects up to date; the data table always listed for import; the Before and After queries of
    // 1.1.0 due, as the registry has firm A01 at 1.0.0.
    bool removePrefix = true;
    database.VerifyDatabase(m_file, list, "A01_", &removePrefix);
    EXPECT_EQ(reports(), "");
    EXPECT_EQ(statuses(list), (QMap<QString, QList<int>>{{"T", QList<int>(8, kStatusUpToDate)},
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
    database.VerifyDatabase(m_file, list, "A01_", &removePrefix);
    EXPECT_EQ(reports(), "");
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedCorrectly)
        << log->Text().toStdString();
    for (int32_t row = 1; row <= list.RowCount(); ++row)
        EXPECT_EQ(list(kObjectStatus, row).toInt(), kStatusUpToDate)
            << list(kObjectName, row).toString().toStdString();

    // The queries of 1.0.0 were known as run; those of 1.1.0 ran, with the firm's prefix, and are
    // recorded as run without error.
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM SYS_QRY WHERE QYVER = '1.0.0'").toInt(), 2);
    EXPECT_EQ(
        scalar("SELECT COUNT(*) FROM SYS_QRY WHERE QYDBE = 'A01' AND QYVER = '1.1.0' AND QYCHK = 1").toInt(),
        3);
    EXPECT_EQ(scalar("SELECT EMAIL FROM A01_CUSTOMERS WHERE CUSTOMER_CODE = 'C0001'").toString(),
              QStringLiteral("orders@harbour-tools.example"));
    EXPECT_EQ(scalar("SELECT STATUS FROM A01_ORDERS WHERE ORDER_NUMBER = 'ORD-0001'").toString(),
              QStringLiteral("C"));
    EXPECT_EQ(scalar("SELECT PAR_VALUE FROM SYS_PAR WHERE PAR_CODE = 'A01_NEXT_INVOICE'").toString(),
              QStringLiteral("1"));
    EXPECT_EQ(database.GetDbVersion("A01_"), QStringLiteral("1.1.0"));
}

} // namespace
} // namespace qldb::test
