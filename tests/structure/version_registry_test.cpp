// The version registry: the statements it sends to SYS_DBS, in order and whole, and the reading of
// a structure file's header from real files.
#include "structure/structure_fixture.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

namespace qldb::test {
namespace {

const QString ORDER = QStringLiteral("ORDER BY SUBSTRING(SYS_VERSION, 1, 1) + REPLACE(STR(0, "
                                     "4-CHARINDEX('.', SUBSTRING(SYS_VERSION, 3, 100)), "
                                     "0), ' ', '0') + SUBSTRING(SYS_VERSION, 3, 100) DESC");

Recordset Rows(const QStringList& names, const std::vector<Row>& rows) {
    return ScriptedConnection::Table(names, rows);
}

// The statement that compares the newest completed version of A01 with the new one.
QString CompareQuery(const QString& version) {
    const QString q = QLatin1Char('\'') + version + QLatin1Char('\'');
    return QStringLiteral("SELECT\r   SUBSTRING(SYS_VERSION, 1, 1) + REPLACE(STR(0, 4-CHARINDEX('.', "
                          "SUBSTRING(SYS_VERSION, 3, 100)), 0), ' ', '0') + SUBSTRING(SYS_VERSION, 3, 100) "
                          "OLD_VER, \r   SUBSTRING(") +
           q + QStringLiteral(", 1, 1) + REPLACE(STR(0, 4-CHARINDEX('.', SUBSTRING(") + q +
           QStringLiteral(", 3, 100)), 0), ' ', '0') + SUBSTRING(") + q +
           QStringLiteral(", 3, 100) NEW_VER\rFROM SYS_DBS\r\nWHERE SYS_DATABASE = 'A01' AND\r\n"
                          "      SYS_COMPLETED = 1\r\n") +
           ORDER;
}

QString FindQuery(const QString& version) {
    return QStringLiteral("SELECT ID\r\nFROM SYS_DBS\r\nWHERE SYS_DATABASE ='A01' AND\r\n  SYS_VERSION ='") +
           version + QStringLiteral("'\r\n");
}

// The insert the constructor writes for SYS_DBS, with the columns and values given.
QString Insert(const QStringList& columns, const QStringList& values) {
    return "INSERT INTO SYS_DBS\r\n\r\n(\r\n  " + columns.join(",\r\n  ") + "\r\n) VALUES (\r\n  " +
           values.join(",\r\n  ") + "\r\n)";
}
const QStringList kColumns{"SYS_CREATION", "SYS_COMPLETED", "SYS_DATE",
                           "SYS_DCC",      "SYS_DATABASE",  "SYS_VERSION"};

// The time of writing is the present: tests see it as a placeholder.
QStringList WithoutTime(QStringList statements) {
    static const QRegularExpression stamp(
        QStringLiteral("'\\d{8} \\d\\d:\\d\\d:\\d\\d\\.\\d{3}'|TO_DATE\\('[-\\d]{10} [:\\d]{8}','YYYY-MM-DD "
                       "HH24:MI:SS'\\)"));
    for (QString& s : statements)
        s.replace(stamp, QStringLiteral("<now>"));
    return statements;
}

class VersionRegistry : public DatabaseTest {};

TEST_F(VersionRegistry, NewestVersionOfCompletedRowsOrOfAnyRow) {
    const QString completed =
        "SELECT SYS_VERSION FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'A01' AND\r\n      SYS_COMPLETED = 1\r\n" +
        ORDER;
    const QString any = "SELECT SYS_VERSION FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'A01'\r\n" + ORDER;
    db->respond(completed, Rows({"SYS_VERSION"}, {{" 4.10.100 "}, {"4.9.200"}}));
    db->respond(any, Rows({"SYS_VERSION"}, {{"4.11.000"}}));

    EXPECT_EQ(database.GetDbVersion("A01"), "4.10.100");
    EXPECT_EQ(database.GetDbVersion("A01", true), "4.11.000");
    EXPECT_EQ(database.GetDbVersion("B02"), "0.0.0000"); // no rows
    EXPECT_EQ(sent().mid(0, 2), (QStringList{completed, any}));

    db->respond("SELECT * FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'SYS'\r\n" + ORDER,
                Rows({"SYS_VERSION", "SYS_DCC"}, {{"1.0.1", "Latin1_General_CI_AS"}}));
    EXPECT_EQ(database.GetSYSComparisonRoule("SYS", true), "Latin1_General_CI_AS");
    EXPECT_EQ(database.GetSYSComparisonRoule("SYS"), ""); // no completed row answers
    EXPECT_EQ(sent().last(),
              "SELECT * FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'SYS' AND\r\n      SYS_COMPLETED = 1\r\n" +
                  ORDER);

    conn->setDatabaseName("ERP");
    db->respond("SELECT DATABASEPROPERTYEX('ERP', 'Collation') AS MIRANDO_COLLATION",
                Rows({"MIRANDO_COLLATION"}, {{"Latin1_General_CI_AS"}}));
    EXPECT_EQ(database.GetDbComparisonRoule(), "Latin1_General_CI_AS");
}

TEST_F(VersionRegistry, DateOfCreationOrOfTheLastUpdate) {
    const auto query = [](const char* creation) {
        return QStringLiteral("SELECT SYS_DATE FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'A01' AND\r\n      "
                              "SYS_CREATION = ") +
               creation + QStringLiteral(" AND\r\n      SYS_COMPLETED = 1\r\n") + ORDER;
    };
    const QDateTime created(QDate(2019, 3, 1), QTime(8, 30));
    const QDateTime updated(QDate(2024, 6, 30), QTime(17, 5));
    db->respond(query("1"), Rows({"SYS_DATE"}, {{created}}));
    db->respond(query("0"), Rows({"SYS_DATE"}, {{updated}}));
    EXPECT_EQ(database.GetDbDate("A01", 0), created);
    EXPECT_EQ(database.GetDbDate("A01", 1), updated);
    EXPECT_EQ(database.GetDbDate("A01", 7), updated); // any other number is the last update
    EXPECT_EQ(sent(), (QStringList{query("1"), query("0"), query("0")}));
    EXPECT_TRUE(database.GetDbDate("B02", 0).isNull());
}

TEST_F(VersionRegistry, SetDbVersionInsertsThenUpdatesTheSameRow) {
    // First write: no completed version yet, no row of this version.
    EXPECT_TRUE(database.SetDbVersion("A01", " 4.10.100 ", true, false, "Latin1_General_CI_AS"));
    const QString insert =
        Insert(kColumns, {"1", "0", "<now>", "'Latin1_General_CI_AS'", "'A01'", "'4.10.100'"});
    EXPECT_EQ(WithoutTime(sent()), (QStringList{CompareQuery("4.10.100"), FindQuery("4.10.100"), insert}));
    EXPECT_EQ(host->pointerChanges(), (std::vector<int32_t>{kPointerHourglass, kPointerDefault}));

    // Second write, once the work is done: the row is found and completed.
    db->clearCalls();
    db->respond(CompareQuery("4.10.100"), Rows({"OLD_VER", "NEW_VER"}, {{"4010.099", "4010.100"}}));
    db->respond(FindQuery("4.10.100"), Rows({"ID"}, {{7}}));
    EXPECT_TRUE(database.SetDbVersion("A01", "4.10.100", true, true, "Latin1_General_CI_AS"));
    const QString update =
        "UPDATE SYS_DBS\r\nSET SYS_CREATION = 1,\r\n    SYS_COMPLETED = 1,\r\n    SYS_DATE = <now>,"
        "\r\n    SYS_DCC = 'Latin1_General_CI_AS'\r\nWHERE ID =7\r\n";
    EXPECT_EQ(WithoutTime(sent()), (QStringList{CompareQuery("4.10.100"), FindQuery("4.10.100"), update}));
}

TEST_F(VersionRegistry, SetDbVersionNeverGoesBackAndCancelDeletes) {
    // 4.9.200 sorts below 4.10.100 once the middle part is padded.
    db->respond(CompareQuery("4.9.200"), Rows({"OLD_VER", "NEW_VER"}, {{"4010.100", "4009.200"}}));
    EXPECT_FALSE(database.SetDbVersion("A01", "4.9.200", false, true, ""));
    EXPECT_EQ(sent(), QStringList{CompareQuery("4.9.200")});
    EXPECT_EQ(host->MousePointer(), kPointerDefault);

    db->clearCalls();
    EXPECT_FALSE(database.SetDbVersion("", "4.9.200", false, true, ""));
    EXPECT_TRUE(sent().isEmpty());

    // A cancel deletes every row of the code, whatever the version.
    bool cancel = true;
    EXPECT_TRUE(database.SetDbVersion("A01", "4.10.100", false, false, "", &cancel));
    EXPECT_EQ(sent(), QStringList{"DELETE FROM SYS_DBS\r\nWHERE SYS_DATABASE='A01'\r\n"});
}

TEST_F(VersionRegistry, OracleGetsTheNextIdFromTheProgram) {
    conn->setProviderType(ql_eProviderType::Oracle);
    db->respond("SELECT MAX(ID) FROM SYS_DBS", Rows({"MAX"}, {{41}}));
    EXPECT_TRUE(database.SetDbVersion("A01", "1.0.1", true, true, ""));
    const QStringList statements = sent();
    ASSERT_EQ(statements.size(), 4);
    EXPECT_EQ(statements[2], "SELECT MAX(ID) FROM SYS_DBS");
    EXPECT_EQ(WithoutTime(statements)[3],
              Insert(kColumns + QStringList{"ID"}, {"1", "1", "<now>", "''", "'A01'", "'1.0.1'", "42"}));
}

TEST_F(VersionRegistry, FailuresGoThroughTheReportOfTheRoutine) {
    raiseMode(); // statement errors come back to the registry's own rule
    const QString insertStart = "INSERT INTO SYS_DBS";
    struct Case {
        int32_t decision;
        bool expected;
        int inserts;
    };
    // Repeat runs the insert again (and it works the second time); going on leaves the error
    // counted; leaving gives up.
    for (const Case c :
         {Case{kDecisionRepeat, true, 2}, Case{kDecisionGoOn, false, 1}, Case{kDecisionLeave, false, 1}}) {
        use(true);
        db->failIf([&](const QString& s) { return s.startsWith(insertStart); }, kErrIntegrity, "duplicate",
                   true);
        errors->queueDecision(c.decision);
        EXPECT_EQ(database.SetDbVersion("A01", "1.0.1", true, false, ""), c.expected) << c.decision;
        EXPECT_EQ(sent().filter(insertStart).size(), c.inserts) << c.decision;
        EXPECT_EQ(errors->reports().back().Class, "qlDatabase");
        EXPECT_EQ(errors->reports().back().Routine, "SetDbVersion");
        EXPECT_EQ(host->MousePointer(), kPointerDefault);
    }

    db->failIf([](const QString& s) { return s.startsWith("SELECT SYS_VERSION"); }, kErrUnknownTable,
               "Invalid object name 'SYS_DBS'.");
    EXPECT_EQ(database.GetDbVersion("A01"), "0.0.0000");
    EXPECT_EQ(errors->reports().back().Routine, "GetDbVersion");
}

// Structure files on disk.
class XmlVersion : public DatabaseTest {
protected:
    QString write(const QString& name, const QString& body) {
        const QString path = dir.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(body.toUtf8());
        return path;
    }
    // A header in the format's order, flat or indented.
    QString structure(const QString& name, const QString& version, bool indented = false) {
        const QString nl = indented ? QStringLiteral("\n  ") : QString();
        return write(name, "<?xml version=\"1.0\"?>\n<Structure>" + nl + "<DatabaseName>ERP</DatabaseName>" +
                               nl + "<Company>Company Name</Company>" + nl +
                               "<ProductName>Product</ProductName>" + nl + "<StructureVersion>" + version +
                               "</StructureVersion>" + nl + "<DataTimeVersion>2024-01-01</DataTimeVersion>" +
                               nl + "<Tables/>\n</Structure>");
    }
    QTemporaryDir dir;
};

TEST_F(XmlVersion, HeaderValuesByPosition) {
    const QString flat = structure("flat.xml", "2.03.1219");
    const QString indented = structure("indented.xml", "2.03.1219", true);
    for (const QString& file : {flat, indented}) {
        EXPECT_EQ(database.GetXmlVersion(file), "2.03.1219");
        EXPECT_EQ(database.GetXmlVersion(file, "DataTimeVersion"), "2024-01-01");
        EXPECT_EQ(database.GetXmlVersion(file, "Tables"), "WRONG_XML"); // not a header word
    }
    EXPECT_EQ(database.GetXmlVersion(dir.filePath("none.xml")), "XML Structure Not Present");

    const QString swapped =
        write("swapped.xml", "<?xml version=\"1.0\"?><Structure><DatabaseName>ERP</DatabaseName>"
                             "<Company/><ProductName/><DataTimeVersion>x</DataTimeVersion>"
                             "<StructureVersion>2.0.1</StructureVersion></Structure>");
    EXPECT_EQ(database.GetXmlVersion(swapped), "WRONG_XML");
    EXPECT_EQ(database.CheckDatabaseVersion("A01", swapped), ql_eDbUpdate::WrongXmlStructure);

    for (const char* broken : {"<Structure><DatabaseName>", "", "not xml at all"}) {
        const QString file = write("broken.xml", broken);
        EXPECT_EQ(database.GetXmlVersion(file), "WRONG_XML") << broken;
        EXPECT_EQ(database.CheckDatabaseVersion("A01", file), ql_eDbUpdate::WrongXmlStructure) << broken;
    }
    EXPECT_TRUE(sent().isEmpty());
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(XmlVersion, DatabaseIsOldWhenTheFileTextIsGreater) {
    db->respond(
        "SELECT SYS_VERSION FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'A01' AND\r\n      SYS_COMPLETED = 1\r\n" +
            ORDER,
        Rows({"SYS_VERSION"}, {{"2.03.1219"}}));
    struct Case {
        const char* file;
        ql_eDbUpdate expected;
    };
    const Case cases[] = {
        {"2.03.1000", ql_eDbUpdate::DatabaseUpdated},
        {"2.03.1219", ql_eDbUpdate::DatabaseUpdated},
        {"2.03.1300", ql_eDbUpdate::DatabaseOldVersion},
        // The texts are compared as they stand: "2.3.219" counts as newer than "2.03.1219".
        {"2.3.219", ql_eDbUpdate::DatabaseOldVersion},
    };
    for (const Case& c : cases) {
        QString newVersion = "untouched";
        const QString file = structure("s.xml", c.file, true);
        EXPECT_EQ(database.CheckDatabaseVersion("A01", file, &newVersion), c.expected) << c.file;
        EXPECT_EQ(newVersion, c.expected == ql_eDbUpdate::DatabaseOldVersion ? QString(c.file) : "untouched");
    }
    EXPECT_EQ(database.CheckDatabaseVersion("A01", dir.filePath("none.xml")), ql_eDbUpdate::DatabaseUpdated);
}

} // namespace
} // namespace qldb::test
