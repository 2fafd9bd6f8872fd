// Update queries on a scripted connection: which scripts of the query file run, in which order,
// how they are recorded in SYS_QRY, and what a verify run reports.
#include "structure/structure_fixture.h"

#include "platform/tools/conversions.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

namespace qldb {

struct QueriesArea;
template <> struct qlDatabaseTestAccess<QueriesArea> {
    static bool VerifyQuery(qlDatabase& d, const QString& file, bool before, bool removePrefix = true) {
        return d.VerifyQuery(QStringLiteral("A01"), file, before, QStringLiteral("Query_Before_A01"),
                             removePrefix);
    }
};

namespace test {
namespace {

using Access = qlDatabaseTestAccess<QueriesArea>;

const QString kOrder = QStringLiteral("ORDER BY SUBSTRING(SYS_VERSION, 1, 1) + REPLACE(STR(0, "
                                      "4-CHARINDEX('.', SUBSTRING(SYS_VERSION, 3, 100)), "
                                      "0), ' ', '0') + SUBSTRING(SYS_VERSION, 3, 100) DESC");
const QString kNewestAnyRow = "SELECT SYS_VERSION FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'A01'\r\n" + kOrder;
const QString kQryExists =
    "IF EXISTS (SELECT 1\rFROM INFORMATION_SCHEMA.Tables\rWHERE     TABLE_TYPE = 'BASE "
    "TABLE' AND TABLE_NAME = 'SYS_QRY')\r    SELECT 1 ELSE\rSELECT 0";

QString OrderQuery(const QString& version, int action = 0) {
    return QStringLiteral(
               "SELECT MAX(QYORD) AS MAX\rFROM SYS_QRY\rWHERE \r     QYTAC='%1' AND\r     QYDBE='A01' "
               "AND\r     QYVER='%2'")
        .arg(action)
        .arg(version);
}

QString FindQuery(const QString& version, int action = 0) {
    return QStringLiteral(
               "SELECT * FROM SYS_QRY\rWHERE QYDBE='A01' AND\r     QYTAC='%1' AND\r     QYVER = '%2' "
               "AND\r     (QYCHK = '1' OR\r     QYCHK = '2')")
        .arg(action)
        .arg(version);
}

QString Record(const QString& version, int order, const QString& description, const QString& text,
               int action = 0) {
    return QStringLiteral(
               "INSERT INTO SYS_QRY\r\n\r\n(\r\n  QYDBE,\r\n  QYTAC,\r\n  QYVER,\r\n  QYORD,\r\n  QYDES,\r\n "
               " "
               "QYTXT\r\n) VALUES (\r\n  'A01',\r\n  %1,\r\n  '%2',\r\n  %3,\r\n  '%4',\r\n  '%5'\r\n)")
        .arg(action)
        .arg(version)
        .arg(order)
        .arg(description, text);
}

QString Status(int id, int check) {
    return QStringLiteral("UPDATE SYS_QRY\r\nSET QYCHK = %1\r\nWHERE RECORD_ID='%2'\r\n").arg(check).arg(id);
}

const QString kLastId = QStringLiteral("SELECT MAX(RECORD_ID) FROM SYS_QRY");

struct Query {
    const char* description;
    const char* text;
};
struct Version {
    const char* number;
    std::vector<Query> queries;
};

class UpdateQueries : public DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        raiseMode();
        database.setVerifyDatabaseMode(ql_eVerifyMode::UpdateModality);
        database.setAutoUpdate(true);
        db->respond(kQryExists, ScriptedConnection::Table({"X"}, {{1}}));
        db->respond(kNewestAnyRow, ScriptedConnection::Table({"SYS_VERSION"}, {{"4.3.11"}}));
        db->respond("SELECT DISTINCT t.name\rFROM sys.change_tracking_tables ctt\rINNER JOIN sys.tables t on "
                    "t.object_id = ctt.object_id\rWHERE ctt.is_track_columns_updated_on = 1;",
                    ScriptedConnection::Table({"name"}, {}));
    }

    // A new connection, error service, host and log for the next case of a table.
    void fresh() {
        errors = std::make_shared<ScriptedErrorService>();
        host = std::make_shared<ScriptedHostServices>();
        log = std::make_shared<RecordingRichTextLog>();
        SetUp();
    }

    // A query file with the given Before queries (and no After ones).
    QString queryFile(const std::vector<Version>& before) {
        QString xml = "<?xml version=\"1.0\"?>\n<Queries>\n <DatabaseName>ERP</DatabaseName>\n <Company/>\n"
                      " <ProductName/>\n <StructureVersion>4.3.12</StructureVersion>\n <DataTimeVersion/>\n"
                      " <Events>\n  <Before>\n";
        for (const Version& v : before) {
            xml += "   <Version>\n    <Number>" + QString(v.number) + "</Number>\n";
            for (const Query& q : v.queries)
                xml += "    <Query><Description>" + QString(q.description) + "</Description><Sql><![CDATA[" +
                       QString(q.text) + "]]></Sql></Query>\n";
            xml += "   </Version>\n";
        }
        xml += "  </Before>\n  <After/>\n </Events>\n</Queries>\n";
        return write(xml);
    }
    QString write(const QString& body) {
        const QString path = dir.filePath("Query_Structure.xml");
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(body.toUtf8());
        return path;
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
        QStringList out;
        for (const Call& c : db->calls()) {
            if (c.Kind == CallKind::ExecuteCommand && c.Text == "sp_executesql")
                out << c.Cmd.Parameters.at(0).Value.toString();
            else if (c.Kind == CallKind::Execute || c.Kind == CallKind::OpenRecordset ||
                     c.Kind == CallKind::ExecuteCommand)
                out << c.Text;
        }
        return out;
    }
    // The statements of the walk: after change tracking went off, before the triggers went back on.
    QStringList work() const {
        QStringList all = trail();
        const auto start = std::find_if(all.begin(), all.end(), [](const QString& s) {
            return s.startsWith("IF EXISTS(SELECT * FROM sys.change_tracking_databases");
        });
        EXPECT_NE(start, all.end());
        EXPECT_TRUE(!all.isEmpty() && all.last().contains("ENABLE TRIGGER ALL"));
        return start == all.end() ? QStringList() : QStringList(start + 1, all.end() - 1);
    }

    QTemporaryDir dir;
};

TEST_F(UpdateQueries, NewVersionRunsInOrderAndIsRecordedWhileReachedScriptsAreRecognised) {
    const QString file = queryFile({
        {"4.3.11", {{"Stored", "UPDATE [#FIRM#]ORDERS SET FLAG = 1"}}},
        {"4.3.12", {{"First", "UPDATE [#FIRM#]ITEMS SET A = 1"}, {"Second", "DELETE FROM [#FIRM#]ITEMS"}}},
    });
    // The stored copy of the reached script differs in case and white space only.
    db->respond(FindQuery("4.3.11"),
                ScriptedConnection::Table({"RECORD_ID", "QYTXT", "QYCHK"},
                                          {{2, "update [#FIRM#]orders\r\n   set flag=1", 1}}));
    db->respond(OrderQuery("4.3.12"), ScriptedConnection::Table({"MAX"}, {{2}}), true);
    db->respond(OrderQuery("4.3.12"), ScriptedConnection::Table({"MAX"}, {{NullVariant()}}), true);
    db->respond(kLastId, ScriptedConnection::Table({"ID"}, {{10}}), true);
    db->respond(kLastId, ScriptedConnection::Table({"ID"}, {{11}}), true);

    EXPECT_TRUE(Access::VerifyQuery(database, file, true));

    const QStringList all = trail();
    ASSERT_GE(all.size(), 5);
    EXPECT_EQ(all[0], kQryExists);
    EXPECT_EQ(all[1], kNewestAnyRow);
    EXPECT_TRUE(all[2].contains("DISABLE TRIGGER ALL")) << all[2].toStdString();
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
    QStringList logged;
    for (const LogLine& line : log->Lines())
        if (!line.Text.isEmpty())
            logged << line.Text;
    EXPECT_EQ(logged, (QStringList{"UPDATE A01_ITEMS SET A = 1", "DELETE FROM A01_ITEMS"}));
    EXPECT_EQ(host->MousePointer(), kPointerDefault);
}

TEST_F(UpdateQueries, FailedOrUnrecordedScriptsOfReachedVersionsRunAgain) {
    const QString file = queryFile({{"4.3.10",
                                     {{"Failed before", "UPDATE T SET A = 1"},
                                      {"Never recorded", "UPDATE T SET B = 2"},
                                      {"Failing now", "UPDATE T SET C = 3"},
                                      {"Still runs", "UPDATE T SET D = 4"}}}});
    db->respond(FindQuery("4.3.10"),
                ScriptedConnection::Table({"RECORD_ID", "QYTXT", "QYCHK"}, {{5, "UPDATE T SET A = 1", 2}}));
    db->respond(kLastId, ScriptedConnection::Table({"ID"}, {{20}}), true);
    db->respond(kLastId, ScriptedConnection::Table({"ID"}, {{21}}), true);
    db->respond(kLastId, ScriptedConnection::Table({"ID"}, {{22}}), true);
    // The connection reports the failing script itself and hands back its flag and text.
    errors->setErrorMode(0);
    failScript("UPDATE T SET C = 3", "Invalid column name 'C'.");

    EXPECT_FALSE(Access::VerifyQuery(database, file, true, false));
    const QStringList statements = work();
    // The failed one runs under its old record; the others are recorded first, then run.
    EXPECT_EQ(statements.filter(QRegularExpression("^UPDATE T SET")).join('|'),
              "UPDATE T SET A = 1|UPDATE T SET B = 2|UPDATE T SET C = 3|UPDATE T SET D = 4");
    EXPECT_EQ(statements.filter("INSERT INTO SYS_QRY").size(), 3);
    EXPECT_EQ(statements.filter("UPDATE SYS_QRY").join('|'),
              Status(5, 1) + '|' + Status(20, 1) + '|' + Status(21, 2) + '|' + Status(22, 1));
    QStringList red;
    for (const LogLine& line : log->Lines())
        if (line.Color == kColorRed && !line.Text.isEmpty())
            red << line.Text;
    EXPECT_EQ(red, (QStringList{"UPDATE T SET C = 3", "(Error Description:Invalid column name 'C'.)"}));
}

TEST_F(UpdateQueries, VerifyModeRunsNothingAndReportsPending) {
    struct Case {
        const char* name;
        std::vector<Version> versions;
        int32_t recordedCheck; // QYCHK of the stored copy of every reached script; 0: none stored
        bool expected;
    };
    const Case cases[] = {
        {"new version", {{"4.3.12", {{"New", "SELECT 1"}}}}, 0, false},
        {"reached, done", {{"4.3.11", {{"Done", "SELECT 2"}}}}, 1, true},
        {"reached, failed", {{"4.3.11", {{"Failed", "SELECT 2"}}}}, 2, false},
        {"reached, never recorded", {{"4.3.11", {{"Missing", "SELECT 2"}}}}, 0, false},
        {"no queries", {}, 0, true},
    };
    for (const Case& c : cases) {
        fresh();
        database.setVerifyDatabaseMode(ql_eVerifyMode::VerifyModality);
        if (c.recordedCheck != 0)
            db->respond(FindQuery("4.3.11"), ScriptedConnection::Table({"RECORD_ID", "QYTXT", "QYCHK"},
                                                                       {{1, "SELECT 2", c.recordedCheck}}));
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
    db->respond(kLastId, ScriptedConnection::Table({"ID"}, {{1}}));
    EXPECT_TRUE(Access::VerifyQuery(database, file, true, false));
    const QStringList statements = work();
    EXPECT_EQ(statements.filter(QRegularExpression("^SELECT \\d$")),
              (QStringList{"SELECT 1", "SELECT 2", "SELECT 3"}));
    // 4.3.2 (000040000300002) is reached and looked up; 4.10 was taken as new and never is.
    EXPECT_EQ(statements.filter("SELECT * FROM SYS_QRY"), QStringList{FindQuery("4.3.2")});
}

TEST_F(UpdateQueries, UnreadableQueryFilesAreReportedNotWalked) {
    const QStringList bodies = {
        "",                                                                    // empty
        "<?xml version=\"1.0\"?><Queries><Events>",                            // truncated
        "<?xml version=\"1.0\"?><Queries><DatabaseName/><Company/></Queries>", // no queries section
    };
    for (const QString& body : bodies) {
        fresh();
        EXPECT_FALSE(Access::VerifyQuery(database, write(body), true)) << body.toStdString();
        ASSERT_EQ(errors->reports().size(), 1u) << body.toStdString();
        const ReportedError& report = errors->reports().front();
        EXPECT_EQ(report.Class, "qlDatabase");
        EXPECT_EQ(report.Routine, "VerifyQuery");
        EXPECT_TRUE(
            report.Error.Description.startsWith("The query file " + dir.filePath("Query_Structure.xml")))
            << report.Error.Description.toStdString();
        // Nothing was switched off, nothing ran.
        EXPECT_EQ(trail(), QStringList{kQryExists}) << body.toStdString();
        EXPECT_EQ(host->MousePointer(), kPointerDefault);
    }
}

TEST_F(UpdateQueries, AddNewQueryWithAnOutsideKeyFailsSilently) {
    db->respond(kLastId, ScriptedConnection::Table({"ID"}, {{31}}));
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
}

TEST_F(UpdateQueries, CheckTableDataAsksTheFirmsProcedureInHistoryModeOnly) {
    EXPECT_EQ(database.CheckTableData("A01_ORDERS", "A01"), -1);
    EXPECT_TRUE(trail().isEmpty());

    use(false); // the history check waits for the next open
    conn->setHistoryMode(true);
    db->setOpen(true);
    db->respond("A01_XSP_SYS_SYS_CHK", ScriptedConnection::Table({"N"}, {{3}}));
    EXPECT_EQ(database.CheckTableData("A01_ORDERS", "A01"), 3);
    const auto commands = db->callsOf(CallKind::ExecuteCommand);
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_EQ(commands[0].Cmd.Parameters.at(0).Name, "@TABLE");
    EXPECT_EQ(commands[0].Cmd.Parameters.at(0).Value.toString(), "A01_ORDERS");
}

} // namespace
} // namespace test
} // namespace qldb
