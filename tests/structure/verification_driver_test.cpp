// VerifyDatabase over a scripted database: a verify run, then the update of the selection it
// listed, and the ways a run fails or is cut short.
#include "structure/structure_fixture.h"
#include "support/recording_service_control.h"

#include <QFile>
#include <QTemporaryDir>

namespace qldb {

struct DriverArea;
template <> struct qlDatabaseTestAccess<DriverArea> {
    static void FixClock(qlDatabase& d) {
        d.m_clock = [] { return QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9)); };
    }
};

namespace test {
namespace {

const QString kAll =
    QStringLiteral("From sysobjects\rWHERE type = 'V' AND name NOT LIKE 'sysco%' AND name NOT "
                   "LIKE 'sysseg%'");
const QString kViews = QStringLiteral("SELECT name, id\r") + kAll;
const QString kFunctions =
    QStringLiteral("SELECT name FROM sysobjects\rWHERE type IN ('FN', 'TF', 'IF')\rORDER BY name");
const QString kProcedures =
    QStringLiteral("SELECT name FROM sysobjects\rWHERE type = 'P' AND NAME NOT LIKE 'DT_%' AND "
                   "NAME NOT LIKE 'SP_%' AND NAME NOT LIKE 'LIST%'\rORDER BY name");
const QString kTriggers = QStringLiteral("SELECT name FROM sysobjects\rWHERE type = 'TR'");

QString Dependencies() {
    const QString indent(28, QLatin1Char(' '));
    return QStringLiteral(
               "SELECT DISTINCT sysdepends.id, sysdepends.depid\rFROM sysdepends LEFT OUTER JOIN\r     "
               "sysobjects ON sysobjects.id = sysdepends.id\rWHERE sysdepends.depid IN (\r") +
           indent + QStringLiteral("SELECT id\r") + indent + kAll + QStringLiteral(")");
}

QString HelpText(const QString& name) {
    return QStringLiteral("EXEC sp_helptext '%1'").arg(name);
}

Recordset Names(const QStringList& names) {
    std::vector<Row> rows;
    for (const QString& n : names)
        rows.push_back(Row{n});
    return ScriptedConnection::Table({QStringLiteral("name")}, rows);
}

Recordset Code(const QString& text) {
    return ScriptedConnection::Table({QStringLiteral("Text")}, {Row{text}});
}

QString Object(const char* element, const QString& name, const QString& code) {
    const QString e = QString::fromLatin1(element);
    return QStringLiteral("<%1><%1Name>%2</%1Name><%1Sql>%3</%1Sql></%1>").arg(e, name, code.toHtmlEscaped());
}

// The structure file of the cycle: two tables (one the database lacks), a function, two views (one
// missing, whose script needs the other), a procedure and a trigger.
QString StructureXml() {
    QString xml =
        QStringLiteral("<?xml version=\"1.0\"?><Database><DatabaseName>ERP</DatabaseName><Company>C</Company>"
                       "<ProductName>P</ProductName><StructureVersion>4.2.100</StructureVersion>"
                       "<DataTimeVersion>2024-01-01T00:00:00</DataTimeVersion><Tables>");
    xml += QStringLiteral(
        "<Table><TableName>[#FIRM#]ORDERS</TableName><Fields><Field><FieldName>ID</FieldName><Index>1</Index>"
        "<Description/><DataType>TypeLong</DataType><FieldSize>4</FieldSize><AllowsNull>False</AllowsNull>"
        "<DefaultValue/><PrimaryKey>True</PrimaryKey></Field></Fields></Table>");
    xml += QStringLiteral(
        "<Table><TableName>[#FIRM#]NEW</TableName><Fields><Field><FieldName>CODE</FieldName><Index>1</Index>"
        "<Description/><DataType>TypeLong</DataType><FieldSize>4</FieldSize><AllowsNull>False</AllowsNull>"
        "<DefaultValue/><PrimaryKey>False</PrimaryKey></Field></Fields></Table>");
    xml += QStringLiteral("</Tables><Functions>");
    xml += Object("Function", "[#FIRM#]FN_A",
                  "CREATE FUNCTION [#FIRM#]FN_A() RETURNS INT AS BEGIN RETURN 2 END");
    xml += QStringLiteral("</Functions><Views>");
    xml +=
        Object("View", "[#FIRM#]V_CHANGED", "CREATE VIEW [#FIRM#]V_CHANGED AS SELECT ID FROM [#FIRM#]ORDERS");
    xml += Object("View", "[#FIRM#]V_NEW", "CREATE VIEW [#FIRM#]V_NEW AS SELECT ID FROM [#FIRM#]V_CHANGED");
    xml += QStringLiteral("</Views><Procedures>");
    xml += Object("Procedure", "[#FIRM#]P_X", "CREATE PROCEDURE [#FIRM#]P_X AS SELECT 2");
    xml += QStringLiteral("</Procedures><Triggers>");
    xml += Object("Trigger", "[#FIRM#]TR_ORDERS",
                  "CREATE TRIGGER [#FIRM#]TR_ORDERS ON [#FIRM#]ORDERS FOR INSERT AS RETURN");
    xml += QStringLiteral("</Triggers><DataTables><DataTable><TableName>[#FIRM#]ORDERS</TableName><Filter/>"
                          "<RecordsCount>0</RecordsCount></DataTable></DataTables></Database>");
    return xml;
}

// Sets CancelVerify at its n-th yield, as a Cancel button would.
class CancellingHost : public ScriptedHostServices {
public:
    void DoEvents() override {
        ScriptedHostServices::DoEvents();
        if (++yields == cancelAt)
            database->setCancelVerify(true);
    }
    int yields = 0;
    int cancelAt = 0;
    qlDatabase* database = nullptr;
};

class Driver : public DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        ASSERT_TRUE(dir.isValid());
        file = dir.filePath(QStringLiteral("ERP.xml"));
        write(file, StructureXml());
        database.setServiceControl(services);
        qlDatabaseTestAccess<DriverArea>::FixClock(database);
        db->addCatalogTable(QStringLiteral("A01_ORDERS"), {CatalogColumn{QStringLiteral("ID"), 3, 4}});
        db->addCatalogTable(QStringLiteral("A01_USER"), {CatalogColumn{QStringLiteral("X"), 3, 4}});
        db->addCatalogTable(QStringLiteral("B02_OTHER"), {CatalogColumn{QStringLiteral("X"), 3, 4}});
        db->addCatalogTable(QStringLiteral("A01_V_CHANGED"), {}, QStringLiteral("VIEW"));
        db->respond(kFunctions, Names({QStringLiteral("A01_FN_A")}));
        db->respond(HelpText(QStringLiteral("A01_FN_A")),
                    Code(QStringLiteral("CREATE FUNCTION A01_FN_A() RETURNS INT AS BEGIN RETURN 1 END")));
        db->respond(kViews, ScriptedConnection::Table({QStringLiteral("name"), QStringLiteral("id")},
                                                      {Row{QStringLiteral("A01_V_CHANGED"), 1}}));
        db->respond(Dependencies(),
                    ScriptedConnection::Table({QStringLiteral("id"), QStringLiteral("depid")}, {}));
        db->respond(HelpText(QStringLiteral("A01_V_CHANGED")),
                    Code(QStringLiteral("CREATE VIEW dbo.A01_V_CHANGED AS SELECT 1 ID")));
        db->respond(kProcedures, Names({QStringLiteral("A01_P_X"), QStringLiteral("XSC_A01_Y")}));
        db->respond(HelpText(QStringLiteral("A01_P_X")),
                    Code(QStringLiteral("CREATE PROCEDURE dbo.A01_P_X AS SELECT 1")));
        db->respond(kTriggers, Names({QStringLiteral("A01_TR_ORDERS"), QStringLiteral("B02_TR")}));
        db->respond(HelpText(QStringLiteral("A01_TR_ORDERS")),
                    Code(QStringLiteral("CREATE TRIGGER A01_TR_ORDERS ON A01_ORDERS FOR UPDATE AS RETURN")));
    }

    static void write(const QString& path, const QString& text) {
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(text.toUtf8());
    }

    int16_t run(ql_eVerifyMode mode, VariantArray2& list, const QString& prefix = QStringLiteral("A01_")) {
        database.setVerifyDatabaseMode(mode);
        db->clearCalls();
        log = std::make_shared<RecordingRichTextLog>();
        database.setOutputBox(log);
        bool removePrefix = true;
        return database.VerifyDatabase(file, list, prefix, &removePrefix, true, true, &bar, &label);
    }

    QStringList lines() const {
        QStringList out;
        for (const LogLine& line : log->Lines())
            if (!line.Text.isEmpty())
                out << line.Text;
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

    QTemporaryDir dir;
    QString file;
    std::shared_ptr<RecordingServiceControl> services = std::make_shared<RecordingServiceControl>();
    RecordingProgressBar bar;
    RecordingLabel label;
};

// The statements that change something, in order.
QStringList Changes(const QStringList& statements) {
    QStringList out;
    for (const QString& s : statements)
        if (!s.startsWith(QLatin1String("SELECT")) && !s.startsWith(QLatin1String("EXEC sp_")) &&
            !s.startsWith(QLatin1String("sp_")))
            out << s;
    return out;
}

TEST_F(Driver, VerifyThenUpdateOfTheSelection) {
    VariantArray2 list;
    EXPECT_EQ(run(ql_eVerifyMode::VerifyModality, list), 9);
    EXPECT_EQ(rows(list),
              (QStringList{"0 A01_ORDERS T 1", "0 A01_USER T 5", "0 A01_NEW T 2", "0 A01_FN_A F 2",
                           "0 A01_V_CHANGED V 1", "0 A01_V_NEW V 2", "0 A01_P_X P 1", "0 A01_TR_ORDERS G 1",
                           "0 [Data].[#FIRM#]ORDERS D 1"}));
    // Catalog reads only (the table comparison sends its reads as sp_executesql); no time lines,
    // no version, no services.
    EXPECT_TRUE(Changes(sent()).isEmpty()) << Changes(sent()).join("|").toStdString();
    EXPECT_TRUE(lines().isEmpty());
    EXPECT_TRUE(services->commands.isEmpty());
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdateRequest);
    EXPECT_EQ(bar.Value(), bar.Max());
    EXPECT_EQ(label.captions.first(), QStringLiteral("Elaborazione in corso dell'oggetto A01_ORDERS"));
    EXPECT_EQ(label.captions.last(),
              QStringLiteral("Aggiornamento in corso dei dati della tabella [#FIRM#]ORDERS"));

    // The user selects every changed object but the user table, the first table and the data.
    for (int32_t row = 3; row <= 8; ++row)
        list(kObjectSelected, row) = true;
    database.setStopServices(true);
    const QString newView = QStringLiteral("CREATE VIEW dbo.A01_V_NEW AS SELECT ID FROM A01_V_CHANGED");
    db->fail(newView, 208, QStringLiteral("Invalid object name 'A01_V_CHANGED'."), true);
    host->queueAnswer(MsgAnswer::Yes);
    EXPECT_EQ(run(ql_eVerifyMode::UpdateModality, list), 8);
    // Unselected tables get no row in an update; the repaired objects are up to date.
    EXPECT_EQ(rows(list), (QStringList{"0 A01_USER T 5", "0 A01_NEW T 0", "0 A01_FN_A F 0",
                                       "0 A01_V_CHANGED V 0", "0 A01_V_NEW V 2", "0 A01_P_X P 0",
                                       "0 A01_TR_ORDERS G 0", "0 [Data].[#FIRM#]ORDERS D 1"}));
    const QString createTable =
        QStringLiteral("CREATE TABLE dbo.A01_NEW\r\n(\r\n  CODE BIGINT NOT NULL\r\n);\r\nEXEC "
                       "sp_addextendedproperty 'MS_Description', '', "
                       "'user', dbo, 'table', 'A01_NEW', 'column', 'CODE';\r\n");
    const QStringList repairs{createTable,
                              "DROP FUNCTION A01_FN_A",
                              "CREATE FUNCTION A01_FN_A() RETURNS INT AS BEGIN RETURN 2 END",
                              "DROP VIEW A01_V_CHANGED",
                              "CREATE VIEW dbo.A01_V_CHANGED AS SELECT ID FROM A01_ORDERS",
                              newView,
                              newView, // the retry pass, once the view it stands on exists
                              "DROP PROCEDURE A01_P_X",
                              "CREATE PROCEDURE dbo.A01_P_X AS SELECT 2",
                              "DROP TRIGGER A01_TR_ORDERS",
                              "CREATE TRIGGER dbo.A01_TR_ORDERS ON A01_ORDERS FOR INSERT AS RETURN"};
    const QStringList changes = Changes(sent());
    ASSERT_EQ(changes.size(), repairs.size() + 1);
    EXPECT_EQ(changes.mid(0, repairs.size()), repairs);
    // The version row last: not completed, since the run had an error.
    EXPECT_TRUE(changes.last().startsWith(QLatin1String("INSERT INTO SYS_DBS")))
        << changes.last().toStdString();
    EXPECT_TRUE(changes.last().contains(QLatin1String("  0,\r\n  0,\r\n"))) << changes.last().toStdString();
    EXPECT_TRUE(changes.last().contains(QLatin1String("'A01_',\r\n  '4.2.100'")))
        << changes.last().toStdString();
    QStringList logged{"Start Time:06/05/2024 07:08:09"};
    for (const QString& r : repairs.mid(1))
        logged << r;
    logged.insert(1, QStringLiteral(
                         "EXEC sp_addextendedproperty 'MS_Description', '', 'user', dbo, 'table', 'A01_NEW', "
                         "'column', 'CODE';"));
    for (const char* l : {");", "  CODE BIGINT NOT NULL", "(", "CREATE TABLE dbo.A01_NEW"})
        logged.insert(1, QString::fromLatin1(l));
    logged.insert(logged.indexOf(newView) + 1,
                  QStringLiteral("(Error Description:Invalid object name 'A01_V_CHANGED'.)"));
    logged << "Database updated with error(s)!"
           << "End Time:06/05/2024 07:08:09";
    EXPECT_EQ(lines(), logged);
    EXPECT_EQ(services->commands,
              (QStringList{
                  "net stop Tavoleno.Services.Controller", "net stop Tavoleno.NET.Services.Controller",
                  "net stop Orlina.NET.ServiceController", "net stop Orlina.NET.Servers",
                  "net stop Orlina.NET.Service", "net stop Orlina.NET.TraxService",
                  "net start Tavoleno.NET.Services.Controller", "net start Orlina.NET.ServiceController"}));
    // The first failure of the new view was counted: the run closes "with error(s)".
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedWithErrors);
    EXPECT_TRUE(database.TableVersionsUpdate());
}

TEST_F(Driver, MissingFileGivesNoRowsAndNothingSent) {
    VariantArray2 list;
    list.Redim(1, 4, 0, 0);
    list(kObjectName, list.AddRow(1, 4)) = QStringLiteral("OLD");
    file = dir.filePath(QStringLiteral("missing.xml"));
    database.setStopServices(true);
    for (const auto mode : {ql_eVerifyMode::VerifyModality, ql_eVerifyMode::UpdateModality}) {
        EXPECT_EQ(run(mode, list), 0);
        EXPECT_EQ(list.RowCount(), 0);
        EXPECT_TRUE(sent().isEmpty());
        EXPECT_TRUE(lines().isEmpty());
        EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrNotVerify);
    }
    EXPECT_TRUE(services->commands.isEmpty());
}

TEST_F(Driver, CancelDuringTheTablesKeepsTheRowsMadeSoFar) {
    auto cancelling = std::make_shared<CancellingHost>();
    cancelling->cancelAt = 2;
    cancelling->database = &database;
    conn->setHostServices(cancelling);
    VariantArray2 list;
    EXPECT_EQ(run(ql_eVerifyMode::VerifyModality, list), 0);
    EXPECT_EQ(rows(list), (QStringList{"0 A01_ORDERS T 1", "0 A01_USER T 5"}));
    for (const QString& s : sent())
        EXPECT_FALSE(s.startsWith(QLatin1String("SELECT name"))) << s.toStdString();
}

TEST_F(Driver, FailedRepairIsLoggedAndThePassGoesOn) {
    VariantArray2 list;
    run(ql_eVerifyMode::VerifyModality, list);
    for (int32_t row = 3; row <= 8; ++row)
        list(kObjectSelected, row) = true;
    db->fail(QStringLiteral("DROP FUNCTION A01_FN_A"), 3701, QStringLiteral("Cannot drop the function."));
    host->queueAnswer(MsgAnswer::No);
    run(ql_eVerifyMode::UpdateModality, list);
    const QStringList shown = lines();
    const int at = shown.indexOf(QStringLiteral("DROP FUNCTION A01_FN_A"));
    ASSERT_GE(at, 0);
    EXPECT_EQ(shown[at + 1], QStringLiteral("(Error Description:Cannot drop the function.)"));
    EXPECT_TRUE(shown.contains(QStringLiteral("CREATE PROCEDURE dbo.A01_P_X AS SELECT 2")));
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedWithErrors);
    EXPECT_EQ(shown.mid(shown.size() - 2),
              (QStringList{"Database updated with error(s)!", "End Time:06/05/2024 07:08:09"}));
}

TEST_F(Driver, DeleteModeDropsEveryUserObjectOfTheFirm) {
    database.setDeleteObjects(true);
    VariantArray2 list;
    EXPECT_EQ(run(ql_eVerifyMode::DeleteModality, list), 6);
    EXPECT_EQ(rows(list), (QStringList{"0 A01_ORDERS T 0", "0 A01_USER T 0", "0 A01_FN_A F 0",
                                       "0 A01_V_CHANGED V 0", "0 A01_P_X P 0", "0 A01_TR_ORDERS G 0"}));
    const QStringList drops{"DROP TABLE A01_ORDERS",  "DROP TABLE A01_USER",
                            "DROP FUNCTION A01_FN_A", "DROP VIEW A01_V_CHANGED",
                            "DROP PROCEDURE A01_P_X", "DROP TRIGGER A01_TR_ORDERS"};
    // The other firm's table and trigger stay; the firm's version rows go.
    const QStringList expected = drops + QStringList{"DELETE FROM SYS_DBS\r\nWHERE SYS_DATABASE='A01_'\r\n"};
    EXPECT_EQ(Changes(sent()), expected);
    const QStringList logged = QStringList{"Start Time:06/05/2024 07:08:09"} + drops +
                               QStringList{"Database updated correctly!", "End Time:06/05/2024 07:08:09"};
    EXPECT_EQ(lines(), logged);
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedCorrectly);
}

} // namespace
} // namespace test
} // namespace qldb
