// VerifyDatabase over a scripted database: a verify run, then the update of the selection it
// listed, and the ways a run fails or is cut short.
#include "structure/structure_fixture.h"
#include "support/recording_service_control.h"

namespace qldb::test {
namespace {

const QString kEnd = QStringLiteral("End Time:06/05/2024 07:08:09");

QString Object(const QString& element, const QString& name, const QString& code) {
    return QStringLiteral("<%1><%1Name>%2</%1Name><%1Sql>%3</%1Sql></%1>")
        .arg(element, name, code.toHtmlEscaped());
}
QString TableXml(const QString& name, const QString& field, bool key) {
    return "<Table><TableName>[#FIRM#]" + name + "</TableName><Fields><Field><FieldName>" + field +
           "</FieldName><Index>1</Index><Description/><DataType>TypeLong</DataType><FieldSize>4</FieldSize>"
           "<AllowsNull>False</AllowsNull><DefaultValue/><PrimaryKey>" +
           (key ? "True" : "False") + "</PrimaryKey></Field></Fields></Table>";
}

// The structure file of the cycle: two tables (one the database lacks), a function, two views (one
// missing, whose script needs the other), a procedure and a trigger.
const QString kStructure =
    "<?xml version=\"1.0\"?><Database><DatabaseName>ERP</DatabaseName><Company>C</Company><ProductName>P"
    "</ProductName><StructureVersion>4.2.100</StructureVersion><DataTimeVersion>2024-01-01T00:00:00"
    "</DataTimeVersion><Tables>" +
    TableXml("ORDERS", "ID", true) + TableXml("NEW", "CODE", false) + "</Tables><Functions>" +
    Object("Function", "[#FIRM#]FN_A", "CREATE FUNCTION [#FIRM#]FN_A() RETURNS INT AS BEGIN RETURN 2 END") +
    "</Functions><Views>" +
    Object("View", "[#FIRM#]V_CHANGED", "CREATE VIEW [#FIRM#]V_CHANGED AS SELECT ID FROM [#FIRM#]ORDERS") +
    Object("View", "[#FIRM#]V_NEW", "CREATE VIEW [#FIRM#]V_NEW AS SELECT ID FROM [#FIRM#]V_CHANGED") +
    "</Views><Procedures>" + Object("Procedure", "[#FIRM#]P_X", "CREATE PROCEDURE [#FIRM#]P_X AS SELECT 2") +
    "</Procedures><Triggers>" +
    Object("Trigger", "[#FIRM#]TR_ORDERS",
           "CREATE TRIGGER [#FIRM#]TR_ORDERS ON [#FIRM#]ORDERS FOR INSERT AS RETURN") +
    "</Triggers><DataTables><DataTable><TableName>[#FIRM#]ORDERS</TableName><Filter/><RecordsCount>0"
    "</RecordsCount></DataTable></DataTables></Database>";

// Sets CancelVerify at its n-th yield, as a Cancel button would.
class CancellingHost : public ScriptedHostServices {
public:
    void DoEvents() override {
        ScriptedHostServices::DoEvents();
        if (++yields == 2)
            database->setCancelVerify(true);
    }
    int yields = 0;
    qlDatabase* database = nullptr;
};

class Driver : public DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        file = write("ERP.xml", kStructure);
        database.setServiceControl(services);
        Access::FixClock(database);
        for (const char* table : {"A01_ORDERS", "A01_USER", "B02_OTHER"})
            db->addCatalogTable(table, {CatalogColumn{table == QString("A01_ORDERS") ? "ID" : "X", 3, 4}});
        db->addCatalogTable("A01_V_CHANGED", {}, "VIEW");
        answer("SELECT name FROM sysobjects\rWHERE type IN ('FN', 'TF', 'IF')\rORDER BY name", {"name"},
               {{"A01_FN_A"}});
        helpText("A01_FN_A", {"CREATE FUNCTION A01_FN_A() RETURNS INT AS BEGIN RETURN 1 END"});
        answer(kViewList, {"name", "id"}, {{"A01_V_CHANGED", 1}});
        answer(kViewDependencies, {"id", "depid"}, {});
        helpText("A01_V_CHANGED", {"CREATE VIEW dbo.A01_V_CHANGED AS SELECT 1 ID"});
        answer("SELECT name FROM sysobjects\rWHERE type = 'P' AND NAME NOT LIKE 'DT_%' AND NAME NOT LIKE "
               "'SP_%' AND NAME NOT LIKE 'LIST%'\rORDER BY name",
               {"name"}, {{"A01_P_X"}, {"XSC_A01_Y"}});
        helpText("A01_P_X", {"CREATE PROCEDURE dbo.A01_P_X AS SELECT 1"});
        answer("SELECT name FROM sysobjects\rWHERE type = 'TR'", {"name"}, {{"A01_TR_ORDERS"}, {"B02_TR"}});
        helpText("A01_TR_ORDERS", {"CREATE TRIGGER A01_TR_ORDERS ON A01_ORDERS FOR UPDATE AS RETURN"});
    }

    int16_t run(ql_eVerifyMode mode, VariantArray2& list) {
        database.setVerifyDatabaseMode(mode);
        db->clearCalls();
        newLog();
        bool removePrefix = true;
        return database.VerifyDatabase(file, list, "A01_", &removePrefix, true, true, &bar, &label);
    }
    // The statements that change something, in order.
    QStringList changes() const {
        QStringList out;
        for (const QString& s : sent())
            if (!s.startsWith("SELECT") && !s.startsWith("EXEC sp_") && !s.startsWith("sp_"))
                out << s;
        return out;
    }
    static QStringList rows(const VariantArray2& list) {
        QStringList out;
        for (int32_t row = 1; row <= list.RowCount(); ++row)
            out << QStringLiteral("%1 %2 %3 %4")
                       .arg(list(kObjectSelected, row).toBool() ? 1 : 0)
                       .arg(list(kObjectName, row).toString(), list(kObjectKind, row).toString())
                       .arg(list(kObjectStatus, row).toInt());
        return out;
    }

    QString file;
    std::shared_ptr<RecordingServiceControl> services = std::make_shared<RecordingServiceControl>();
    RecordingProgressBar bar;
    RecordingLabel label;
};

TEST_F(Driver, VerifyThenUpdateOfTheSelection) {
    VariantArray2 list;
    EXPECT_EQ(run(ql_eVerifyMode::VerifyModality, list), 9);
    // The user selects every changed object but the user table, the first table and the data.
    for (int32_t row = 3; row <= 8; ++row)
        list(kObjectSelected, row) = true;
    // clang-format off
    EXPECT_EQ(rows(list), (QStringList{"0 A01_ORDERS T 1", "0 A01_USER T 5", "1 A01_NEW T 2", "1 A01_FN_A F 2",
                                       "1 A01_V_CHANGED V 1", "1 A01_V_NEW V 2", "1 A01_P_X P 1", "1 A01_TR_ORDERS G 1",
                                       "0 [Data].[#FIRM#]ORDERS D 1"}));
    // clang-format on
    // Catalog reads only (the table comparison sends its reads as sp_executesql); no time lines,
    // no version, no services.
    EXPECT_TRUE(changes().isEmpty()) << changes().join("|").toStdString();
    EXPECT_TRUE(logged().isEmpty());
    EXPECT_TRUE(services->commands.isEmpty());
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdateRequest);
    EXPECT_EQ(bar.Value(), bar.Max());
    EXPECT_EQ(label.captions.first(), "Elaborazione in corso dell'oggetto A01_ORDERS");
    EXPECT_EQ(label.captions.last(), "Aggiornamento in corso dei dati della tabella [#FIRM#]ORDERS");

    database.setStopServices(true);
    const QString newView = "CREATE VIEW dbo.A01_V_NEW AS SELECT ID FROM A01_V_CHANGED";
    db->fail(newView, 208, "Invalid object name 'A01_V_CHANGED'.", true);
    host->queueAnswer(MsgAnswer::Yes);
    EXPECT_EQ(run(ql_eVerifyMode::UpdateModality, list), 8);
    // Unselected tables get no row in an update; the repaired objects are up to date.
    EXPECT_EQ(rows(list), (QStringList{"0 A01_USER T 5", "0 A01_NEW T 0", "0 A01_FN_A F 0",
                                       "0 A01_V_CHANGED V 0", "0 A01_V_NEW V 2", "0 A01_P_X P 0",
                                       "0 A01_TR_ORDERS G 0", "0 [Data].[#FIRM#]ORDERS D 1"}));
    const QString property = "EXEC sp_addextendedproperty 'MS_Description', '', 'user', dbo, 'table', "
                             "'A01_NEW', 'column', 'CODE';";
    const QString create =
        "CREATE TABLE dbo.A01_NEW\r\n(\r\n  CODE BIGINT NOT NULL\r\n);\r\n" + property + "\r\n";
    // clang-format off
    const QStringList repairs{create, "DROP FUNCTION A01_FN_A", "CREATE FUNCTION A01_FN_A() RETURNS INT AS BEGIN RETURN 2 END",
                              "DROP VIEW A01_V_CHANGED", "CREATE VIEW dbo.A01_V_CHANGED AS SELECT ID FROM A01_ORDERS",
                              newView, newView, // the retry pass, once the view it stands on exists
                              "DROP PROCEDURE A01_P_X", "CREATE PROCEDURE dbo.A01_P_X AS SELECT 2", "DROP TRIGGER A01_TR_ORDERS",
                              "CREATE TRIGGER dbo.A01_TR_ORDERS ON A01_ORDERS FOR INSERT AS RETURN"};
    // clang-format on
    const QStringList changed = changes();
    ASSERT_EQ(changed.size(), repairs.size() + 1);
    EXPECT_EQ(changed.mid(0, repairs.size()), repairs);
    // The version row last: not completed, since the run had an error.
    EXPECT_TRUE(changed.last().startsWith("INSERT INTO SYS_DBS") &&
                changed.last().contains("  0,\r\n  0,\r\n") &&
                changed.last().contains("'A01_',\r\n  '4.2.100'"))
        << changed.last().toStdString();
    QStringList shown = QStringList{"Start Time:06/05/2024 07:08:09"} +
                        create.split("\r\n", Qt::SkipEmptyParts) + repairs.mid(1);
    shown.insert(shown.indexOf(newView) + 1, "(Error Description:Invalid object name 'A01_V_CHANGED'.)");
    EXPECT_EQ(logged(), shown + QStringList({"Database updated with error(s)!", kEnd}));
    EXPECT_EQ(services->commands.join('|'),
              "net stop Tavoleno.Services.Controller|net stop Tavoleno.NET.Services.Controller|net stop "
              "Orlina.NET.ServiceController|net stop Orlina.NET.Servers|net stop Orlina.NET.Service|net stop "
              "Orlina.NET.TraxService|net start Tavoleno.NET.Services.Controller|net start "
              "Orlina.NET.ServiceController");
    // The first failure of the new view was counted: the run closes "with error(s)".
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedWithErrors);
    EXPECT_TRUE(database.TableVersionsUpdate());
}

TEST_F(Driver, MissingFileOrCancelDuringTheTables) {
    // A missing file: no rows, nothing sent, in either mode.
    VariantArray2 list = Objects({{false, "OLD", "T", 1}});
    file = dir.filePath("missing.xml");
    database.setStopServices(true);
    for (const auto mode : {ql_eVerifyMode::VerifyModality, ql_eVerifyMode::UpdateModality}) {
        EXPECT_EQ(run(mode, list), 0);
        EXPECT_EQ(list.RowCount(), 0);
        EXPECT_TRUE(sent().isEmpty() && logged().isEmpty() && services->commands.isEmpty());
        EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrNotVerify);
    }
    // Cancel at the second yield: the rows made so far stay, no other kind of object is read.
    file = dir.filePath("ERP.xml");
    auto cancelling = std::make_shared<CancellingHost>();
    cancelling->database = &database;
    conn->setHostServices(cancelling);
    EXPECT_EQ(run(ql_eVerifyMode::VerifyModality, list), 0);
    EXPECT_EQ(rows(list), (QStringList{"0 A01_ORDERS T 1", "0 A01_USER T 5"}));
    for (const QString& s : sent())
        EXPECT_FALSE(s.startsWith("SELECT name")) << s.toStdString();
}

TEST_F(Driver, DeleteModeDropsEveryUserObjectOfTheFirm) {
    database.setDeleteObjects(true);
    VariantArray2 list;
    EXPECT_EQ(run(ql_eVerifyMode::DeleteModality, list), 6);
    EXPECT_EQ(rows(list), (QStringList{"0 A01_ORDERS T 0", "0 A01_USER T 0", "0 A01_FN_A F 0",
                                       "0 A01_V_CHANGED V 0", "0 A01_P_X P 0", "0 A01_TR_ORDERS G 0"}));
    const QStringList drops =
        QString("DROP TABLE A01_ORDERS|DROP TABLE A01_USER|DROP FUNCTION A01_FN_A|DROP VIEW "
                "A01_V_CHANGED|DROP PROCEDURE A01_P_X|DROP TRIGGER A01_TR_ORDERS")
            .split('|');
    // The other firm's table and trigger stay; the firm's version rows go.
    EXPECT_EQ(changes(), drops + QStringList{"DELETE FROM SYS_DBS\r\nWHERE SYS_DATABASE='A01_'\r\n"});
    EXPECT_EQ(logged(), QStringList{"Start Time:06/05/2024 07:08:09"} + drops +
                            QStringList({"Database updated correctly!", kEnd}));
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedCorrectly);
}

} // namespace
} // namespace qldb::test
