// Update queries on a scripted connection: which scripts of the query file run, in which order,
// how they are recorded in SYS_QRY, and what a verify run reports.
#include "structure/structure_fixture.h"

#include "platform/tools/conversions.h"

#include <QRegularExpression>

namespace qldb::test {
namespace {

const QString kQryExists =
    "IF EXISTS (SELECT 1\rFROM INFORMATION_SCHEMA.Tables\rWHERE     TABLE_TYPE = 'BASE "
    "TABLE' AND TABLE_NAME = 'SYS_QRY')\r    SELECT 1 ELSE\rSELECT 0";
const QString kLastId = QStringLiteral("SELECT MAX(RECORD_ID) FROM SYS_QRY");

QString OrderQuery(const QString& version, int action = 0) {
    return QStringLiteral("SELECT MAX(QYORD) AS MAX\rFROM SYS_QRY\rWHERE \r     QYTAC='%1' AND\r     "
                          "QYDBE='A01' AND\r     QYVER='%2'")
        .arg(QString::number(action), version);
}
QString FindQuery(const QString& version) {
    return QStringLiteral("SELECT * FROM SYS_QRY\rWHERE QYDBE='A01' AND\r     QYTAC='0' AND\r     QYVER = "
                          "'%1' AND\r     (QYCHK = '1' OR\r     QYCHK = '2')")
        .arg(version);
}
QString Record(const QString& version, int order, const QString& description, const QString& text) {
    return QStringLiteral("INSERT INTO SYS_QRY\r\n\r\n(\r\n  QYDBE,\r\n  QYTAC,\r\n  QYVER,\r\n  QYORD,\r\n  "
                          "QYDES,\r\n  QYTXT\r\n) VALUES (\r\n  'A01',\r\n  0,\r\n  '%1',\r\n  %2,\r\n  "
                          "'%3',\r\n  '%4'\r\n)")
        .arg(version, QString::number(order), description, text);
}
QString Status(int id, int check) {
    return QStringLiteral("UPDATE SYS_QRY\r\nSET QYCHK = %1\r\nWHERE RECORD_ID='%2'\r\n")
        .arg(QString::number(check), QString::number(id));
}

// A version of the query file: its number and its (description, script) pairs.
using Version = std::pair<const char*, std::vector<std::pair<const char*, const char*>>>;

class UpdateQueries : public DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        raiseMode();
        database.setVerifyDatabaseMode(ql_eVerifyMode::UpdateModality);
        database.setAutoUpdate(true);
        answer(kQryExists, {"X"}, {{1}});
        answer("SELECT SYS_VERSION FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'A01'\r\n" + kVersionOrder,
               {"SYS_VERSION"}, {{"4.3.11"}});
        answer("SELECT DISTINCT t.name\rFROM sys.change_tracking_tables ctt\rINNER JOIN sys.tables t on "
               "t.object_id = ctt.object_id\rWHERE ctt.is_track_columns_updated_on = 1;",
               {"name"}, {});
    }
    // A new connection, error service, host and log for the next case of a table.
    void fresh() {
        errors = std::make_shared<ScriptedErrorService>();
        host = std::make_shared<ScriptedHostServices>();
        log = std::make_shared<RecordingRichTextLog>();
        SetUp();
    }
    // A query file with the given Before queries (and no After ones), indented.
    QString queryFile(const std::vector<Version>& before) {
        QString xml = "<?xml version=\"1.0\"?>\n<Queries>\n <DatabaseName>ERP</DatabaseName>\n <Company/>\n"
                      " <ProductName/>\n <StructureVersion>4.3.12</StructureVersion>\n <DataTimeVersion/>\n"
                      " <Events>\n  <Before>\n";
        for (const auto& [number, queries] : before) {
            xml += "   <Version>\n    <Number>" + QString(number) + "</Number>\n";
            for (const auto& [description, text] : queries)
                xml += "    <Query><Description>" + QString(description) + "</Description><Sql><![CDATA[" +
                       QString(text) + "]]></Sql></Query>\n";
            xml += "   </Version>\n";
        }
        return write("Query_Structure.xml", xml + "  </Before>\n  <After/>\n </Events>\n</Queries>\n");
    }
    // Scripts run as sp_executesql with the text as @stmt: the call just recorded tells which.
    void failScript(const QString& text, const QString& description) {
        ScriptedConnection* scripted = db.get();
        db->failIf(
            [scripted, text](const QString& command) {
                return command == "sp_executesql" &&
                       scripted->calls().back().Cmd.Parameters.at(0).Value == text;
            },
            kErrSyntax, description);
    }
    // Every statement in order, scripts by the text they ran.
    QStringList trail() const {
        QStringList out = sent();
        int i = 0;
        for (const Call& c : db->calls())
            if (c.Kind == CallKind::Execute || c.Kind == CallKind::OpenRecordset ||
                c.Kind == CallKind::ExecuteCommand)
                if (out[i++] == "sp_executesql")
                    out[i - 1] = c.Cmd.Parameters.at(0).Value.toString();
        return out;
    }
    // The statements of the walk: after change tracking went off, before the triggers went back on.
    QStringList work() const {
        const QStringList all = trail();
        const auto start = std::find_if(all.begin(), all.end(), [](const QString& s) {
            return s.startsWith("IF EXISTS(SELECT * FROM sys.change_tracking_databases");
        });
        EXPECT_TRUE(start != all.end() && all.last().contains("ENABLE TRIGGER ALL"));
        return start == all.end() ? QStringList() : QStringList(start + 1, all.end() - 1);
    }
};

TEST_F(UpdateQueries, NewVersionRunsInOrderAndIsRecordedWhileReachedScriptsAreRecognised) {
    const QString file = queryFile(
        {{"4.3.11", {{"Stored", "UPDATE [#FIRM#]ORDERS SET FLAG = 1"}}},
         {"4.3.12", {{"First", "UPDATE [#FIRM#]ITEMS SET A = 1"}, {"Second", "DELETE FROM [#FIRM#]ITEMS"}}}});
    // The stored copy of the reached script differs in case and white space only.
    answer(FindQuery("4.3.11"), {"RECORD_ID", "QYTXT", "QYCHK"},
           {{2, "update [#FIRM#]orders\r\n   set flag=1", 1}});
    answer(OrderQuery("4.3.12"), {"MAX"}, {{2}}, true);
    answer(OrderQuery("4.3.12"), {"MAX"}, {{NullVariant()}}, true);
    answer(kLastId, {"ID"}, {{10}}, true);
    answer(kLastId, {"ID"}, {{11}}, true);
    EXPECT_TRUE(Access::VerifyQuery(database, file, true));
    EXPECT_EQ(trail().filter("DISABLE TRIGGER ALL").size(), 1);
    EXPECT_EQ(work(), (QStringList{
                          FindQuery("4.3.11"),
                          OrderQuery("4.3.12"),
                          Record("4.3.12", 3, "First", "UPDATE [#FIRM#]ITEMS SET A = 1"),
                          kLastId,
                          "UPDATE A01_ITEMS SET A = 1",
                          Status(10, 1),
                          OrderQuery("4.3.12"), // Null: a first order would be 1
                          Record("4.3.12", 1, "Second", "DELETE FROM [#FIRM#]ITEMS"),
                          kLastId,
                          "DELETE FROM A01_ITEMS",
                          Status(11, 1),
                      }));
    EXPECT_EQ(logged(), (QStringList{"UPDATE A01_ITEMS SET A = 1", "DELETE FROM A01_ITEMS"}));
    EXPECT_EQ(host->MousePointer(), kPointerDefault);
}

TEST_F(UpdateQueries, FailedOrUnrecordedScriptsOfReachedVersionsRunAgain) {
    const QString file = queryFile({{"4.3.10",
                                     {{"Failed before", "UPDATE T SET A = 1"},
                                      {"Never recorded", "UPDATE T SET B = 2"},
                                      {"Failing now", "UPDATE T SET C = 3"},
                                      {"Still runs", "UPDATE T SET D = 4"}}}});
    answer(FindQuery("4.3.10"), {"RECORD_ID", "QYTXT", "QYCHK"}, {{5, "UPDATE T SET A = 1", 2}});
    for (const int id : {20, 21, 22})
        answer(kLastId, {"ID"}, {{id}}, true);
    // The connection reports the failing script itself and hands back its flag and text.
    errors->setErrorMode(0);
    failScript("UPDATE T SET C = 3", "Invalid column name 'C'.");
    EXPECT_FALSE(Access::VerifyQuery(database, file, true, false));
    const QStringList statements = work();
    // The failed one runs under its old record; the others are recorded first, then run.
    EXPECT_EQ(statements.filter(QRegularExpression("^UPDATE T SET")).join('|'),
              "UPDATE T SET A = 1|UPDATE T SET B = 2|UPDATE T SET C = 3|UPDATE T SET D = 4");
    EXPECT_EQ(statements.filter("INSERT INTO SYS_QRY").size(), 3);
    EXPECT_EQ(statements.filter("UPDATE SYS_QRY"),
              (QStringList{Status(5, 1), Status(20, 1), Status(21, 2), Status(22, 1)}));
    EXPECT_EQ(logged().filter("C = 3").size(), 1);
    EXPECT_TRUE(logged().contains("(Error Description:Invalid column name 'C'.)"));
}

TEST_F(UpdateQueries, VerifyModeRunsNothingAndReportsPending) {
    const struct {
        const char* name;
        std::vector<Version> versions;
        int32_t recordedCheck; // QYCHK of the stored copy of every reached script; 0: none stored
        bool expected;
    } cases[] = {
        {"new version", {{"4.3.12", {{"New", "SELECT 1"}}}}, 0, false},
        {"reached, done", {{"4.3.11", {{"Done", "SELECT 2"}}}}, 1, true},
        {"reached, failed", {{"4.3.11", {{"Failed", "SELECT 2"}}}}, 2, false},
        {"reached, never recorded", {{"4.3.11", {{"Missing", "SELECT 2"}}}}, 0, false},
        {"no queries", {}, 0, true},
    };
    for (const auto& c : cases) {
        fresh();
        database.setVerifyDatabaseMode(ql_eVerifyMode::VerifyModality);
        if (c.recordedCheck != 0)
            answer(FindQuery("4.3.11"), {"RECORD_ID", "QYTXT", "QYCHK"}, {{1, "SELECT 2", c.recordedCheck}});
        EXPECT_EQ(Access::VerifyQuery(database, queryFile(c.versions), true), c.expected) << c.name;
        for (const QString& s : work())
            EXPECT_TRUE(s.startsWith("SELECT * FROM SYS_QRY")) << c.name << ": " << s.toStdString();
        EXPECT_TRUE(log->Lines().empty()) << c.name;
    }
}

TEST_F(UpdateQueries, HistoryModeKeepsNoRecordsAndIgnoresFailures) {
    database.setVerifyDatabaseMode(ql_eVerifyMode::HistoryModality);
    failScript("UPDATE T SET A = 1", "Invalid column name 'A'.");
    const QString file =
        queryFile({{"4.3.11", {{"Reached", "UPDATE T SET Z = 0"}}},
                   {"4.3.12", {{"Failing", "UPDATE T SET A = 1"}, {"Next", "UPDATE T SET B = 2"}}}});
    EXPECT_TRUE(Access::VerifyQuery(database, file, true));
    EXPECT_EQ(work(), (QStringList{"UPDATE T SET A = 1", "UPDATE T SET B = 2"}));
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(UpdateQueries, VersionKeysOfOtherShapesKeepThePreviousKey) {
    database.setVerifyDatabaseMode(ql_eVerifyMode::VerifyModality);
    // "5.1" has no key of its own: first in the file it counts as reached (and is looked up under
    // its own text); after a new version it counts as new as well.
    EXPECT_FALSE(Access::VerifyQuery(database, queryFile({{"5.1", {{"Two parts", "SELECT 5"}}}}), true));
    EXPECT_EQ(work(), QStringList{FindQuery("5.1")});
    fresh();
    const QString file = queryFile({{"4.3.12", {{"New", "SELECT 1"}}},
                                    {"4.10", {{"Also new", "SELECT 2"}}},
                                    {"4.3.2", {{"Old", "SELECT 3"}}}});
    answer(kLastId, {"ID"}, {{1}});
    EXPECT_TRUE(Access::VerifyQuery(database, file, true, false));
    const QStringList statements = work();
    EXPECT_EQ(statements.filter(QRegularExpression("^SELECT \\d$")),
              (QStringList{"SELECT 1", "SELECT 2", "SELECT 3"}));
    // 4.3.2 (000040000300002) is reached and looked up; 4.10 was taken as new and never is.
    EXPECT_EQ(statements.filter("SELECT * FROM SYS_QRY"), QStringList{FindQuery("4.3.2")});
}

TEST_F(UpdateQueries, UnreadableQueryFilesAreReportedNotWalked) {
    for (const char* body : {"", "<?xml version=\"1.0\"?><Queries><Events>",
                             "<?xml version=\"1.0\"?><Queries><DatabaseName/><Company/></Queries>"}) {
        fresh();
        EXPECT_FALSE(Access::VerifyQuery(database, write("Query_Structure.xml", body), true)) << body;
        ASSERT_EQ(errors->reports().size(), 1u) << body;
        const ReportedError& report = errors->reports().front();
        EXPECT_EQ(report.Class + "." + report.Routine, "qlDatabase.VerifyQuery");
        EXPECT_TRUE(
            report.Error.Description.startsWith("The query file " + dir.filePath("Query_Structure.xml")))
            << report.Error.Description.toStdString();
        EXPECT_EQ(trail(), QStringList{kQryExists}) << body; // nothing was switched off, nothing ran
        EXPECT_EQ(host->MousePointer(), kPointerDefault);
    }
}

TEST_F(UpdateQueries, AddNewQueryAndCheckTableData) {
    // A version that is blank is recorded as "Unknown"; with an outside key a failure is silent.
    answer(kLastId, {"ID"}, {{31}});
    EXPECT_EQ(database.AddNewQuery("A01", 1, "  ", "Desc", "it's", 77), 31);
    const QStringList statements = trail();
    ASSERT_EQ(statements.size(), 3);
    EXPECT_EQ(statements[0], OrderQuery("Unknown", 1));
    EXPECT_TRUE(statements[1].contains("QYTXT,\r\n  IDQRY\r\n) VALUES (") &&
                statements[1].endsWith("'Unknown',\r\n  1,\r\n  'Desc',\r\n  'it''s',\r\n  77\r\n)"))
        << statements[1].toStdString();
    db->failIf([](const QString& s) { return s.startsWith("INSERT INTO SYS_QRY"); }, kErrIntegrity, "dup");
    EXPECT_EQ(database.AddNewQuery("A01", 0, "1.0.0", "D", "T", 77), 0);
    EXPECT_TRUE(errors->reports().empty());
    EXPECT_EQ(database.AddNewQuery("A01", 0, "1.0.0", "D", "T"), 0);
    ASSERT_EQ(errors->reports().size(), 1u);
    EXPECT_EQ(errors->reports().front().Routine, "AddNewQuery");

    // The firm's check procedure is asked in history mode only.
    use(true);
    EXPECT_EQ(database.CheckTableData("A01_ORDERS", "A01"), -1);
    EXPECT_TRUE(trail().isEmpty());
    use(false);
    conn->setHistoryMode(true); // the history check waits for the next open
    db->setOpen(true);
    answer("A01_XSP_SYS_SYS_CHK", {"N"}, {{3}});
    EXPECT_EQ(database.CheckTableData("A01_ORDERS", "A01"), 3);
    const auto commands = db->callsOf(CallKind::ExecuteCommand);
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_EQ(commands[0].Cmd.Parameters.at(0).Name, "@TABLE");
    EXPECT_EQ(commands[0].Cmd.Parameters.at(0).Value.toString(), "A01_ORDERS");
}

} // namespace
} // namespace qldb::test
