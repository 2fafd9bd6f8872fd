// The version registry: the statements it sends to SYS_DBS, in order and whole, and the reading of
// a structure file's header from real files.
#include "structure/structure_fixture.h"

#include <QDateTime>
#include <QRegularExpression>

namespace qldb::test {
namespace {

const QString kCompleted = QStringLiteral(" AND\r\n      SYS_COMPLETED = 1\r\n");

// The statement that compares the newest completed version of A01 with the new one.
QString CompareQuery(const QString& version) {
    const QString v = QLatin1Char('\'') + version + QLatin1Char('\'');
    const auto key = [](const QString& of) {
        return "SUBSTRING(" + of + ", 1, 1) + REPLACE(STR(0, 4-CHARINDEX('.', SUBSTRING(" + of +
               ", 3, 100)), 0), ' ', '0') + SUBSTRING(" + of + ", 3, 100)";
    };
    return "SELECT\r   " + key("SYS_VERSION") + " OLD_VER, \r   " + key(v) +
           " NEW_VER\rFROM SYS_DBS\r\nWHERE SYS_DATABASE = 'A01'" + kCompleted + kVersionOrder;
}

QString FindQuery(const QString& version) {
    return "SELECT ID\r\nFROM SYS_DBS\r\nWHERE SYS_DATABASE ='A01' AND\r\n  SYS_VERSION ='" + version +
           "'\r\n";
}

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

TEST_F(VersionRegistry, NewestVersionDateAndCollationReads) {
    const QString completed =
        "SELECT SYS_VERSION FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'A01'" + kCompleted + kVersionOrder;
    const QString any = "SELECT SYS_VERSION FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'A01'\r\n" + kVersionOrder;
    answer(completed, {"SYS_VERSION"}, {{" 4.10.100 "}, {"4.9.200"}});
    answer(any, {"SYS_VERSION"}, {{"4.11.000"}});
    EXPECT_EQ(database.GetDbVersion("A01"), "4.10.100");
    EXPECT_EQ(database.GetDbVersion("A01", true), "4.11.000");
    EXPECT_EQ(database.GetDbVersion("B02"), "0.0.0000"); // no rows
    EXPECT_EQ(sent().mid(0, 2), (QStringList{completed, any}));

    // The date of creation (0) or of the last update (any other number).
    const auto date = [](const char* creation) {
        return "SELECT SYS_DATE FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'A01' AND\r\n      SYS_CREATION = " +
               QString(creation) + kCompleted + kVersionOrder;
    };
    const QDateTime created(QDate(2019, 3, 1), QTime(8, 30)), updated(QDate(2024, 6, 30), QTime(17, 5));
    answer(date("1"), {"SYS_DATE"}, {{created}});
    answer(date("0"), {"SYS_DATE"}, {{updated}});
    db->clearCalls();
    EXPECT_EQ(database.GetDbDate("A01", 0), created);
    EXPECT_EQ(database.GetDbDate("A01", 7), updated);
    EXPECT_EQ(sent(), (QStringList{date("1"), date("0")}));
    EXPECT_TRUE(database.GetDbDate("B02", 0).isNull());

    answer("SELECT * FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'SYS'\r\n" + kVersionOrder,
           {"SYS_VERSION", "SYS_DCC"}, {{"1.0.1", "Latin1_General_CI_AS"}});
    EXPECT_EQ(database.GetSYSComparisonRoule("SYS", true), "Latin1_General_CI_AS");
    EXPECT_EQ(database.GetSYSComparisonRoule("SYS"), ""); // no completed row answers
    EXPECT_EQ(sent().last(),
              "SELECT * FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'SYS'" + kCompleted + kVersionOrder);
    conn->setDatabaseName("ERP");
    answer("SELECT DATABASEPROPERTYEX('ERP', 'Collation') AS MIRANDO_COLLATION", {"MIRANDO_COLLATION"},
           {{"Latin1_General_CI_AS"}});
    EXPECT_EQ(database.GetDbComparisonRoule(), "Latin1_General_CI_AS");
}

TEST_F(VersionRegistry, SetDbVersionInsertsThenUpdatesNeverGoesBackAndCancelDeletes) {
    EXPECT_TRUE(database.SetDbVersion("A01", " 4.10.100 ", true, false, "Latin1_General_CI_AS"));
    const QString insert =
        Insert(kColumns, {"1", "0", "<now>", "'Latin1_General_CI_AS'", "'A01'", "'4.10.100'"});
    EXPECT_EQ(WithoutTime(sent()), (QStringList{CompareQuery("4.10.100"), FindQuery("4.10.100"), insert}));
    EXPECT_EQ(host->pointerChanges(), (std::vector<int32_t>{kPointerHourglass, kPointerDefault}));

    // Second write, once the work is done: the row is found and completed.
    db->clearCalls();
    answer(CompareQuery("4.10.100"), {"OLD_VER", "NEW_VER"}, {{"4010.099", "4010.100"}});
    answer(FindQuery("4.10.100"), {"ID"}, {{7}});
    EXPECT_TRUE(database.SetDbVersion("A01", "4.10.100", true, true, "Latin1_General_CI_AS"));
    const QString update =
        "UPDATE SYS_DBS\r\nSET SYS_CREATION = 1,\r\n    SYS_COMPLETED = 1,\r\n    SYS_DATE = "
        "<now>,\r\n    SYS_DCC = 'Latin1_General_CI_AS'\r\nWHERE ID =7\r\n";
    EXPECT_EQ(WithoutTime(sent()), (QStringList{CompareQuery("4.10.100"), FindQuery("4.10.100"), update}));

    // Never back: 4.9.200 sorts below 4.10.100 once the middle part is padded.
    use(true);
    answer(CompareQuery("4.9.200"), {"OLD_VER", "NEW_VER"}, {{"4010.100", "4009.200"}});
    EXPECT_FALSE(database.SetDbVersion("A01", "4.9.200", false, true, ""));
    EXPECT_EQ(sent(), QStringList{CompareQuery("4.9.200")});
    EXPECT_EQ(host->MousePointer(), kPointerDefault);
    db->clearCalls();
    EXPECT_FALSE(database.SetDbVersion("", "4.9.200", false, true, ""));
    EXPECT_TRUE(sent().isEmpty());
    bool cancel = true; // a cancel deletes every row of the code, whatever the version
    EXPECT_TRUE(database.SetDbVersion("A01", "4.10.100", false, false, "", &cancel));
    EXPECT_EQ(sent(), QStringList{"DELETE FROM SYS_DBS\r\nWHERE SYS_DATABASE='A01'\r\n"});
    // Oracle: the next ID comes from the program.
    use(true);
    conn->setProviderType(ql_eProviderType::Oracle);
    answer("SELECT MAX(ID) FROM SYS_DBS", {"MAX"}, {{41}});
    EXPECT_TRUE(database.SetDbVersion("A01", "1.0.1", true, true, ""));
    EXPECT_EQ(WithoutTime(sent()).mid(2),
              (QStringList{"SELECT MAX(ID) FROM SYS_DBS",
                           Insert(kColumns + QStringList{"ID"},
                                  {"1", "1", "<now>", "''", "'A01'", "'1.0.1'", "42"})}));
}

TEST_F(VersionRegistry, FailuresGoThroughTheReportOfTheRoutine) {
    raiseMode(); // statement errors come back to the registry's own rule
    // Repeat runs the insert again (it works the second time); going on or leaving gives false.
    for (const auto& [decision, expected, inserts] :
         {std::tuple{kDecisionRepeat, true, 2}, {kDecisionGoOn, false, 1}, {kDecisionLeave, false, 1}}) {
        use(true);
        db->failIf([](const QString& s) { return s.startsWith("INSERT INTO SYS_DBS"); }, kErrIntegrity, "dup",
                   true);
        errors->queueDecision(decision);
        EXPECT_EQ(database.SetDbVersion("A01", "1.0.1", true, false, ""), expected) << decision;
        EXPECT_EQ(sent().filter("INSERT INTO SYS_DBS").size(), inserts) << decision;
        EXPECT_EQ(errors->reports().back().Class + "." + errors->reports().back().Routine,
                  "qlDatabase.SetDbVersion");
        EXPECT_EQ(host->MousePointer(), kPointerDefault);
    }
    db->failIf([](const QString& s) { return s.startsWith("SELECT SYS_VERSION"); }, kErrUnknownTable, "gone");
    EXPECT_EQ(database.GetDbVersion("A01"), "0.0.0000");
    EXPECT_EQ(errors->reports().back().Routine, "GetDbVersion");
}

// A header in the format's order, indented as a saved file is.
QString Header(const QString& version) {
    return "<?xml version=\"1.0\"?>\n<Structure>\n  <DatabaseName>ERP</DatabaseName>\n  "
           "<Company>C</Company>\n"
           "  <ProductName>P</ProductName>\n  <StructureVersion>" +
           version +
           "</StructureVersion>\n  <DataTimeVersion>2024-01-01</DataTimeVersion>\n  <Tables/>\n</Structure>";
}

TEST_F(VersionRegistry, HeaderOfTheFileByPositionAndBrokenFiles) {
    const QString file = write("s.xml", Header("2.03.1219"));
    EXPECT_EQ(database.GetXmlVersion(file), "2.03.1219");
    EXPECT_EQ(database.GetXmlVersion(file, "DataTimeVersion"), "2024-01-01");
    EXPECT_EQ(database.GetXmlVersion(file, "Tables"), "WRONG_XML"); // not a header word
    EXPECT_EQ(database.GetXmlVersion(dir.filePath("none.xml")), "XML Structure Not Present");
    // A header in another order, a truncated file, an empty one, one that is not XML.
    for (const char* broken : {"<?xml version=\"1.0\"?><Structure><DatabaseName>ERP</DatabaseName><Company/>"
                               "<ProductName/><DataTimeVersion>x</DataTimeVersion>"
                               "<StructureVersion>2.0.1</StructureVersion></Structure>",
                               "<Structure><DatabaseName>", "", "not xml at all"}) {
        const QString bad = write("broken.xml", broken);
        EXPECT_EQ(database.GetXmlVersion(bad), "WRONG_XML") << broken;
        EXPECT_EQ(database.CheckDatabaseVersion("A01", bad), ql_eDbUpdate::WrongXmlStructure) << broken;
    }
    EXPECT_TRUE(sent().isEmpty());
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(VersionRegistry, DatabaseIsOldWhenTheFileTextIsGreater) {
    answer("SELECT SYS_VERSION FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'A01'" + kCompleted + kVersionOrder,
           {"SYS_VERSION"}, {{"2.03.1219"}});
    // The texts are compared as they stand: "2.3.219" counts as newer than "2.03.1219".
    for (const auto& [version, expected] : {std::pair{"2.03.1000", ql_eDbUpdate::DatabaseUpdated},
                                            {"2.03.1219", ql_eDbUpdate::DatabaseUpdated},
                                            {"2.03.1300", ql_eDbUpdate::DatabaseOldVersion},
                                            {"2.3.219", ql_eDbUpdate::DatabaseOldVersion}}) {
        QString newVersion = "untouched";
        EXPECT_EQ(database.CheckDatabaseVersion("A01", write("s.xml", Header(version)), &newVersion),
                  expected)
            << version;
        EXPECT_EQ(newVersion, expected == ql_eDbUpdate::DatabaseOldVersion ? QString(version) : "untouched");
    }
    EXPECT_EQ(database.CheckDatabaseVersion("A01", dir.filePath("none.xml")), ql_eDbUpdate::DatabaseUpdated);
}

} // namespace
} // namespace qldb::test
