// Views against their file node, the retry of failed view scripts, and the rebuild of the views
// and functions from the database's own text.
#include "structure/structure_fixture.h"

#include <QDomDocument>

namespace qldb::test {
namespace {

class CodeObjects : public DatabaseTest {
protected:
    // A View node as the file holds it: name and code.
    QDomElement view(const QString& name, const QString& code) {
        QDomElement v = doc.createElement("View");
        for (const auto& [element, text] : {std::pair{"ViewName", name}, {"ViewSql", code}})
            v.appendChild(doc.createElement(element)).appendChild(doc.createTextNode(text));
        return v;
    }
    QDomDocument doc;
};

TEST_F(CodeObjects, ViewThatDiffersOnlyInWhiteSpaceIsEqualAndNothingIsSent) {
    helpText("V_ITEMS", {"CREATE VIEW dbo.V_ITEMS\r\n", "AS SELECT A,\tB FROM T"});
    database.setVerifyDatabaseMode(ql_eVerifyMode::UpdateModality);
    database.setAutoUpdate(true);
    QString oldCode = QStringLiteral("untouched");
    EXPECT_TRUE(database.CheckView("V_ITEMS", view("V_ITEMS", "CREATE VIEW V_ITEMS AS SELECT A, B FROM T"),
                                   QString(), QString(), nullptr, &oldCode));
    EXPECT_EQ(sent(), QStringList{"EXEC sp_helptext 'V_ITEMS'"});
    EXPECT_EQ(oldCode, QStringLiteral("untouched"));
    EXPECT_TRUE(logged().isEmpty());
}

TEST_F(CodeObjects, ChangedViewIsReportedInVerifyAndReplacedInAnUpdate) {
    helpText("A01_V", {"CREATE VIEW dbo.A01_V AS SELECT 1 X"});
    const QDomElement node =
        view("[#FIRM#]V", "CREATE VIEW [#firm#]V AS SELECT N COLLATE database_default X FROM [#FIRM#]T");
    const QString wanted = "CREATE VIEW dbo.A01_V AS SELECT N COLLATE Latin1_General_CI_AS X FROM A01_T";
    bool removePrefix = true;
    for (const bool update : {false, true}) {
        db->clearCalls();
        newLog();
        database.setVerifyDatabaseMode(update ? ql_eVerifyMode::UpdateModality
                                              : ql_eVerifyMode::VerifyModality);
        select("a01_v");
        QString oldCode, newCode;
        EXPECT_EQ(database.CheckView("A01_V", node, QString(), "A01_|B02_", &removePrefix, &oldCode, &newCode,
                                     "Latin1_General_CI_AS"),
                  update);
        EXPECT_EQ(oldCode, "CREATE VIEW dbo.A01_V AS SELECT 1 X");
        EXPECT_EQ(newCode, wanted);
        const QStringList repair = update ? QStringList{"DROP VIEW A01_V", wanted} : QStringList();
        EXPECT_EQ(sent(), QStringList{"EXEC sp_helptext 'A01_V'"} + repair);
        EXPECT_EQ(logged(), repair);
    }
    EXPECT_TRUE(Access::Failed(database).isEmpty());
}

TEST_F(CodeObjects, EachRetryPassRunsTheScriptsThatStillFailed) {
    // A's view stands on B's; C never succeeds. With the list closing up behind each removal, the
    // passes must still run exactly the failed scripts.
    const QString a = "CREATE VIEW dbo.A AS SELECT * FROM B", b = "CREATE VIEW dbo.B AS SELECT 1 X",
                  c = "CREATE VIEW dbo.C AS SELECT * FROM MISSING", d = "CREATE VIEW dbo.D AS SELECT 2 X";
    db->fail(a, 208, "Invalid object name 'B'.", true);
    db->fail(c, 208, "Invalid object name 'MISSING'.");
    Access::Failed(database) = QStringList{a, b, c, d};
    host->queueAnswer(MsgAnswer::Yes);
    Access::Rerun(database);
    EXPECT_EQ(sent(), (QStringList{a, b, c, d, a, c, c}));
    EXPECT_EQ(Access::Failed(database), QStringList{c});
    ASSERT_EQ(host->messages().size(), 2u);
    EXPECT_EQ(host->messages()[0].Text, "Nella crezione delle viste si sono verificati errori.\r\n"
                                        "Si desidera rieseguire gli script relativi?");
    EXPECT_EQ(host->messages()[0].Buttons, MsgButtons::YesNo);
    EXPECT_EQ(host->messages()[0].Title, "Mirando ERP");
    EXPECT_EQ(host->messages()[1].Text, "Nella riecreazione gli script si sono verificati errori.\r\n"
                                        "Impossibile completare l'aggiornamento");
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
    answer(kViewList, {"name", "id"}, {{"V1", 1}, {"V2", 2}, {"V3", 3}});
    answer(kViewDependencies, {"id", "depid"}, {});
    for (const QString v : {"V1", "V2", "V3"})
        helpText(v, {"CREATE VIEW " + v + " AS SELECT 1 X"});
    db->fail("CREATE VIEW V2 AS SELECT 1 X", 156, "Incorrect syntax.");
    host->queueAnswer(MsgAnswer::Yes);
    RecordingProgressBar bar;
    EXPECT_FALSE(database.RebuildDBViews(QString(), &bar));
    QStringList trace;
    for (const QString& t : db->trace())
        if (t.startsWith("Execute:") || t.contains("Trans"))
            trace << t;
    EXPECT_EQ(trace,
              (QStringList{"BeginTrans", "Execute:DROP VIEW V1", "Execute:CREATE VIEW V1 AS SELECT 1 X",
                           "CommitTrans", "BeginTrans", "Execute:DROP VIEW V2",
                           "Execute:CREATE VIEW V2 AS SELECT 1 X", "RollbackTrans", "BeginTrans",
                           "Execute:DROP VIEW V3", "Execute:CREATE VIEW V3 AS SELECT 1 X", "RollbackTrans"}));
    ASSERT_EQ(host->messages().size(), 2u);
    EXPECT_EQ(host->messages()[0].Title, "Tavoleno Mirando");
    EXPECT_EQ(host->messages()[1].Text, "Operazione Conclusa (Con Errori)!");
    EXPECT_EQ(bar.calls,
              (QStringList{"Value=0", "Max=3", "Visible=1", "Value=1", "Value=2", "Value=3", "Visible=0"}));
    EXPECT_EQ(host->MousePointer(), kPointerDefault);
}

TEST_F(CodeObjects, RebuildOfNamedViewsDeclinedAndOfFunctionsWithoutQuestions) {
    host->queueAnswer(MsgAnswer::No); // declined: nothing runs
    EXPECT_FALSE(database.RebuildDBViews("V1"));
    EXPECT_EQ(host->messages().back().Text, "Ricreare le viste?");
    EXPECT_TRUE(sent().isEmpty());
    // Functions, without questions: every one is dropped and created from its text.
    answer("SELECT name FROM sysobjects\rWHERE type IN ('FN', 'TF', 'IF')\rORDER BY name", {"name"},
           {{"fn_a"}});
    helpText("FN_A", {"CREATE FUNCTION FN_A() RETURNS INT AS BEGIN RETURN 1 END"});
    db->clearCalls();
    EXPECT_TRUE(database.RebuildDBFunctions(nullptr, false));
    EXPECT_EQ(sent().mid(1), (QStringList{"EXEC sp_helptext 'FN_A'", "DROP FUNCTION FN_A",
                                          "CREATE FUNCTION FN_A() RETURNS INT AS BEGIN RETURN 1 END"}));
    EXPECT_EQ(host->messages().size(), 1u);
}

} // namespace
} // namespace qldb::test
