// Views against their file node, the retry of failed view scripts, and the rebuild of the views
// and functions from the database's own text.
#include "structure/structure_fixture.h"

#include <QDomDocument>
#include <QFile>
#include <QTemporaryDir>

namespace qldb {

struct CodeObjectsArea;
template <> struct qlDatabaseTestAccess<CodeObjectsArea> {
    static QStringList& Failed(qlDatabase& d) { return d.m_failedViewScripts; }
    static void Rerun(qlDatabase& d) { d.RerunFailedScripts(); }
    static void Select(qlDatabase& d, const QString& name) {
        VariantArray2 list;
        list.Redim(1, 4, 0, 0);
        const int32_t row = list.AddRow(1, 4);
        list(kObjectSelected, row) = true;
        list(kObjectName, row) = name;
        qlDatabase::SetObjectDefinition(list, d.m_objectDefinition);
    }
};

namespace test {
namespace {

using Access = qlDatabaseTestAccess<CodeObjectsArea>;

Recordset Text(const QStringList& pieces) {
    std::vector<Row> rows;
    for (const QString& piece : pieces)
        rows.push_back(Row{piece});
    return ScriptedConnection::Table({QStringLiteral("Text")}, rows);
}

// A View node as the file holds it: name and code.
QDomElement ViewNode(QDomDocument& doc, const QString& name, const QString& code) {
    QDomElement view = doc.createElement(QStringLiteral("View"));
    QDomElement n = doc.createElement(QStringLiteral("ViewName"));
    n.appendChild(doc.createTextNode(name));
    QDomElement c = doc.createElement(QStringLiteral("ViewSql"));
    c.appendChild(doc.createTextNode(code));
    view.appendChild(n);
    view.appendChild(c);
    return view;
}

class CodeObjects : public DatabaseTest {
protected:
    QStringList lines() const {
        QStringList out;
        for (const LogLine& line : log->Lines())
            if (!line.Text.isEmpty())
                out << line.Text;
        return out;
    }
    QDomDocument doc;
};

TEST_F(CodeObjects, ViewThatDiffersOnlyInWhiteSpaceIsEqualAndNothingIsSent) {
    db->respond(
        QStringLiteral("EXEC sp_helptext 'V_ITEMS'"),
        Text({QStringLiteral("CREATE VIEW dbo.V_ITEMS\r\n"), QStringLiteral("AS SELECT A,\tB FROM T")}));
    database.setVerifyDatabaseMode(ql_eVerifyMode::UpdateModality);
    database.setAutoUpdate(true);
    QString oldCode = QStringLiteral("untouched");
    EXPECT_TRUE(database.CheckView(
        QStringLiteral("V_ITEMS"),
        ViewNode(doc, QStringLiteral("V_ITEMS"), QStringLiteral("CREATE VIEW V_ITEMS AS SELECT A, B FROM T")),
        QString(), QString(), nullptr, &oldCode));
    EXPECT_EQ(sent(), QStringList{QStringLiteral("EXEC sp_helptext 'V_ITEMS'")});
    EXPECT_EQ(oldCode, QStringLiteral("untouched"));
    EXPECT_TRUE(lines().isEmpty());
}

TEST_F(CodeObjects, ChangedViewIsReportedInVerifyAndReplacedInAnUpdate) {
    db->respond(QStringLiteral("EXEC sp_helptext 'A01_V'"),
                Text({QStringLiteral("CREATE VIEW dbo.A01_V AS SELECT 1 X")}));
    const QDomElement node = ViewNode(
        doc, QStringLiteral("[#FIRM#]V"),
        QStringLiteral("CREATE VIEW [#firm#]V AS SELECT N COLLATE database_default X FROM [#FIRM#]T"));
    const QString wanted =
        QStringLiteral("CREATE VIEW dbo.A01_V AS SELECT N COLLATE Latin1_General_CI_AS X FROM A01_T");
    bool removePrefix = true;

    for (const bool update : {false, true}) {
        db->clearCalls();
        log = std::make_shared<RecordingRichTextLog>();
        database.setOutputBox(log);
        database.setVerifyDatabaseMode(update ? ql_eVerifyMode::UpdateModality
                                              : ql_eVerifyMode::VerifyModality);
        Access::Select(database, QStringLiteral("a01_v"));
        QString oldCode, newCode;
        EXPECT_EQ(database.CheckView(QStringLiteral("A01_V"), node, QString(), QStringLiteral("A01_|B02_"),
                                     &removePrefix, &oldCode, &newCode,
                                     QStringLiteral("Latin1_General_CI_AS")),
                  update)
            << update;
        EXPECT_EQ(oldCode, QStringLiteral("CREATE VIEW dbo.A01_V AS SELECT 1 X"));
        EXPECT_EQ(newCode, wanted);
        QStringList expected{QStringLiteral("EXEC sp_helptext 'A01_V'")};
        if (update)
            expected << QStringLiteral("DROP VIEW A01_V") << wanted;
        EXPECT_EQ(sent(), expected);
        EXPECT_EQ(lines(), update ? QStringList({QStringLiteral("DROP VIEW A01_V"), wanted}) : QStringList());
    }
    EXPECT_TRUE(Access::Failed(database).isEmpty());
}

TEST_F(CodeObjects, FailedViewCreationIsLoggedRedAndKeptForTheRetry) {
    db->respond(QStringLiteral("EXEC sp_helptext 'V2'"),
                Text({QStringLiteral("CREATE VIEW dbo.V2 AS SELECT 1 X")}));
    db->fail(QStringLiteral("CREATE VIEW dbo.V2 AS SELECT X FROM V1"), 208,
             QStringLiteral("Invalid object name 'V1'."));
    database.setVerifyDatabaseMode(ql_eVerifyMode::CreateModality);
    EXPECT_FALSE(database.CheckView(
        QStringLiteral("V2"),
        ViewNode(doc, QStringLiteral("V2"), QStringLiteral("CREATE VIEW V2 AS SELECT X FROM V1"))));
    EXPECT_EQ(Access::Failed(database),
              QStringList{QStringLiteral("CREATE VIEW dbo.V2 AS SELECT X FROM V1")});
    std::vector<std::pair<QString, int32_t>> shown;
    for (const LogLine& line : log->Lines())
        shown.emplace_back(line.Text, line.Color);
    const std::vector<std::pair<QString, int32_t>> expected{
        {"", kColorBlack},
        {"DROP VIEW V2", kColorBlue},
        {"CREATE VIEW dbo.V2 AS SELECT X FROM V1", kColorRed},
        {"(Error Description:Invalid object name 'V1'.)", kColorRed},
        {"", kColorRed}};
    EXPECT_EQ(shown, expected);
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedWithErrors);
}

TEST_F(CodeObjects, EqualViewIsRebuiltOnRequestAndAPathAloneFindsNoView) {
    db->respond(QStringLiteral("EXEC sp_helptext 'V'"),
                Text({QStringLiteral("CREATE VIEW dbo.V AS SELECT 1 X")}));
    database.setRebuildViews(true);
    EXPECT_FALSE(
        database.CheckView(QStringLiteral("V"), ViewNode(doc, QStringLiteral("V"),
                                                         QStringLiteral("CREATE VIEW V AS SELECT 1 X"))));
    EXPECT_EQ(sent().size(), 1);

    // The views of a file are not where a call with a path looks for them.
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("s.xml"));
    QFile f(file);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("<?xml version=\"1.0\"?><Database><DatabaseName/><Company/><ProductName/><StructureVersion/>"
            "<DataTimeVersion/><Tables/><Functions/><Views><View><ViewName>V</ViewName><ViewSql>X</ViewSql>"
            "</View></Views></Database>");
    f.close();
    db->clearCalls();
    EXPECT_TRUE(database.CheckView(QStringLiteral("V"), QDomNode(), file));
    EXPECT_TRUE(
        database.CheckView(QStringLiteral("V"), QDomNode(), dir.filePath(QStringLiteral("missing.xml"))));
    EXPECT_TRUE(sent().isEmpty());
}

TEST_F(CodeObjects, EachRetryPassRunsTheScriptsThatStillFailed) {
    // B's view stands on A's, which stands on nothing that is missing; C never succeeds. With the
    // list closing up behind each removal, the passes must still run exactly the failed scripts.
    const QString a = QStringLiteral("CREATE VIEW dbo.A AS SELECT * FROM B");
    const QString b = QStringLiteral("CREATE VIEW dbo.B AS SELECT 1 X");
    const QString c = QStringLiteral("CREATE VIEW dbo.C AS SELECT * FROM MISSING");
    const QString d = QStringLiteral("CREATE VIEW dbo.D AS SELECT 2 X");
    db->fail(a, 208, QStringLiteral("Invalid object name 'B'."), true);
    db->fail(c, 208, QStringLiteral("Invalid object name 'MISSING'."));
    Access::Failed(database) = QStringList{a, b, c, d};
    host->queueAnswer(MsgAnswer::Yes);
    Access::Rerun(database);
    EXPECT_EQ(sent(), (QStringList{a, b, c, d, a, c, c}));
    EXPECT_EQ(Access::Failed(database), QStringList{c});
    ASSERT_EQ(host->messages().size(), 2u);
    EXPECT_EQ(host->messages()[0].Text,
              QStringLiteral("Nella crezione delle viste si sono verificati errori.\r\n"
                             "Si desidera rieseguire gli script relativi?"));
    EXPECT_EQ(host->messages()[0].Buttons, MsgButtons::YesNo);
    EXPECT_EQ(host->messages()[0].Title, QStringLiteral("Mirando ERP"));
    EXPECT_EQ(host->messages()[1].Text,
              QStringLiteral("Nella riecreazione gli script si sono verificati errori.\r\n"
                             "Impossibile completare l'aggiornamento"));
    EXPECT_EQ(host->messages()[1].Icon, MsgIcon::Exclamation);

    // Declined, or nothing failed: nothing runs.
    db->clearCalls();
    host->queueAnswer(MsgAnswer::No);
    Access::Rerun(database);
    Access::Failed(database).clear();
    Access::Rerun(database);
    EXPECT_TRUE(sent().isEmpty());
    EXPECT_EQ(host->messages().size(), 3u);
}

TEST_F(CodeObjects, RebuildRollsBackEveryViewFromTheFirstFailure) {
    const QString list = QStringLiteral("SELECT name, id\rFrom sysobjects\rWHERE type = 'V' AND name NOT "
                                        "LIKE 'sysco%' AND name NOT LIKE 'sysseg%'");
    db->respond(list, ScriptedConnection::Table({QStringLiteral("name"), QStringLiteral("id")},
                                                {Row{QStringLiteral("V1"), 1}, Row{QStringLiteral("V2"), 2},
                                                 Row{QStringLiteral("V3"), 3}}));
    const QString indent(28, QLatin1Char(' '));
    db->respond(
        QStringLiteral(
            "SELECT DISTINCT sysdepends.id, sysdepends.depid\rFROM sysdepends LEFT OUTER JOIN\r     "
            "sysobjects ON sysobjects.id = sysdepends.id\rWHERE sysdepends.depid IN (\r") +
            indent + QStringLiteral("SELECT id\r") + indent +
            QStringLiteral(
                "From sysobjects\rWHERE type = 'V' AND name NOT LIKE 'sysco%' AND name NOT LIKE 'sysseg%')"),
        ScriptedConnection::Table({QStringLiteral("id"), QStringLiteral("depid")}, {}));
    for (const char* v : {"V1", "V2", "V3"})
        db->respond(QStringLiteral("EXEC sp_helptext '%1'").arg(QLatin1String(v)),
                    Text({QStringLiteral("CREATE VIEW %1 AS SELECT 1 X").arg(QLatin1String(v))}));
    db->fail(QStringLiteral("CREATE VIEW V2 AS SELECT 1 X"), 156, QStringLiteral("Incorrect syntax."));
    host->queueAnswer(MsgAnswer::Yes);
    RecordingProgressBar bar;
    EXPECT_FALSE(database.RebuildDBViews(QString(), &bar));
    QStringList trace;
    for (const QString& t : db->trace())
        if (t.startsWith(QLatin1String("Execute:")) || t.contains(QLatin1String("Trans")))
            trace << t;
    EXPECT_EQ(trace,
              (QStringList{"BeginTrans", "Execute:DROP VIEW V1", "Execute:CREATE VIEW V1 AS SELECT 1 X",
                           "CommitTrans", "BeginTrans", "Execute:DROP VIEW V2",
                           "Execute:CREATE VIEW V2 AS SELECT 1 X", "RollbackTrans", "BeginTrans",
                           "Execute:DROP VIEW V3", "Execute:CREATE VIEW V3 AS SELECT 1 X", "RollbackTrans"}));
    ASSERT_EQ(host->messages().size(), 2u);
    EXPECT_EQ(host->messages()[0].Text, QStringLiteral("Ricreare tutte le viste?"));
    EXPECT_EQ(host->messages()[0].Title, QStringLiteral("Tavoleno Mirando"));
    EXPECT_EQ(host->messages()[1].Text, QStringLiteral("Operazione Conclusa (Con Errori)!"));
    EXPECT_EQ(bar.calls,
              (QStringList{"Value=0", "Max=3", "Visible=1", "Value=1", "Value=2", "Value=3", "Visible=0"}));
    EXPECT_EQ(host->MousePointer(), kPointerDefault);
}

TEST_F(CodeObjects, RebuildAsksItsQuestionAndDoesNothingWhenDeclined) {
    const struct {
        bool views;
        const char* names;
        const char* question;
    } cases[] = {{true, "", "Ricreare tutte le viste?"},
                 {true, "V1", "Ricreare le viste?"},
                 {false, "", "Ricreare tutte le funzioni?"}};
    for (const auto& c : cases) {
        host->queueAnswer(MsgAnswer::No);
        EXPECT_FALSE(c.views ? database.RebuildDBViews(QString::fromUtf8(c.names))
                             : database.RebuildDBFunctions());
        EXPECT_EQ(host->messages().back().Text, QString::fromUtf8(c.question));
    }
    EXPECT_TRUE(sent().isEmpty());

    // Functions, without questions: every one is dropped and created from its text.
    db->respond(
        QStringLiteral("SELECT name FROM sysobjects\rWHERE type IN ('FN', 'TF', 'IF')\rORDER BY name"),
        ScriptedConnection::Table({QStringLiteral("name")}, {Row{QStringLiteral("fn_a")}}));
    db->respond(QStringLiteral("EXEC sp_helptext 'FN_A'"),
                Text({QStringLiteral("CREATE FUNCTION FN_A() RETURNS INT AS BEGIN RETURN 1 END")}));
    db->clearCalls();
    EXPECT_TRUE(database.RebuildDBFunctions(nullptr, false));
    EXPECT_EQ(sent().mid(1), (QStringList{"EXEC sp_helptext 'FN_A'", "DROP FUNCTION FN_A",
                                          "CREATE FUNCTION FN_A() RETURNS INT AS BEGIN RETURN 1 END"}));
    EXPECT_EQ(host->messages().size(), 3u);
}

} // namespace
} // namespace test
} // namespace qldb
