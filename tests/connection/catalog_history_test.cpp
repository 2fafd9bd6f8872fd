// Trigger status, change tracking, the history check with HistoryMode, and table cloning, against
// a scripted SQL Server.
#include "connection_fixture.h"
#include "platform/tools/conversions.h"

#include <QRegularExpression>

namespace qldb::test {
namespace {

const QString kOnStart = "SELECT MAX(CFVAL) FROM SYS_CFG\rWHERE KEYCF = 'HISTORY_CHECK_ON_START'";
const QString kCheck = "SYS_XSP_SYS_SYS_CHK";

class History : public ConnectionTest {
protected:
    // A new connection, open or closed, whose database asks for the check at start (a Null
    // setting is no row at all) and lists defects or none.
    void serve(bool open, const QVariant& onStart, bool defective) {
        use(open);
        db->respond(kOnStart, ScriptedConnection::Table({"v"}, {{onStart}}));
        db->respond(kCheck,
                    ScriptedConnection::Table(
                        {"ERRID", "ERRDS"}, defective ? std::vector<Row>{{3, "Manca la tabella A01_ART_HIS"},
                                                                         {7, "Trigger disabilitato"}}
                                                      : std::vector<Row>{}));
    }
    int checks() const { return static_cast<int>(db->statements().count(kCheck)); }
};

TEST_F(History, TriggersAndChangeTracking) {
    const QString sql = "SELECT name\rFROM sys.triggers\rWHERE is_disabled = 1";
    db->respond(sql, ScriptedConnection::Table({"name"}, {}), /*once=*/true);
    db->respond(sql, ScriptedConnection::Table({"name"}, {{"trg_a"}, {"trg_b"}}));
    QString disabled = "kept", none;
    EXPECT_TRUE(conn->CheckTriggerStatus(&disabled, "ignored"));
    // Disabled triggers go after the caller's text, one per line.
    EXPECT_FALSE(conn->CheckTriggerStatus(&disabled) || conn->CheckTriggerStatus(&none));
    EXPECT_EQ(disabled + "|" + none, "kept\rtrg_a\rtrg_b|trg_a\rtrg_b");
    EXPECT_EQ(db->statements(), (QStringList{sql, sql, sql}));

    db->clearCalls();
    EXPECT_EQ(conn->AlterTriggersStatus(true, "X"), QVariant(true));
    conn->AlterTriggersStatus(false);
    db->respond("SELECT DISTINCT t.name\rFROM sys.change_tracking_tables ctt\rINNER JOIN sys.tables t on "
                "t.object_id = ctt.object_id\rWHERE ctt.is_track_columns_updated_on = 1;",
                ScriptedConnection::Table({"name"}, {{"A01_ART"}, {"A01 DOC"}}));
    conn->setDatabaseName("ERP");
    EXPECT_TRUE(conn->DisableChangeTracking());
    // The texts handed to sp_executesql, their line ends made line feeds.
    EXPECT_EQ(
        pieces(),
        (QStringList{"ALTER TABLE X ENABLE TRIGGER ALL",
                     "DECLARE @SQL NVARCHAR(1024)\nDECLARE @TABLE NVARCHAR(255)\nDECLARE trg_cursor CURSOR "
                     "LOCAL FAST_FORWARD FOR\n  SELECT NAME\n  FROM dbo.sysobjects\n  WHERE XTYPE = 'U' AND "
                     "uid = (select schema_id from sys.schemas where name = 'dbo')\nOPEN trg_cursor\nFETCH "
                     "NEXT FROM trg_cursor\nINTO @TABLE\nWHILE @@FETCH_STATUS = 0\nBEGIN\n  SET @SQL = "
                     "'ALTER TABLE ' + @TABLE + ' DISABLE TRIGGER ALL'\n  EXEC sp_executesql @stmt = "
                     "@SQL\n  FETCH NEXT FROM trg_cursor\n  INTO @TABLE\nEND\nCLOSE trg_cursor\nDEALLOCATE "
                     "trg_cursor",
                     "ALTER TABLE [A01_ART] DISABLE CHANGE_TRACKING;",
                     "ALTER TABLE [A01 DOC] DISABLE CHANGE_TRACKING;",
                     "IF EXISTS(SELECT * FROM sys.change_tracking_databases WHERE database_id = "
                     "DB_ID('ERP'))\nALTER DATABASE [ERP] SET CHANGE_TRACKING = OFF;"}));
}

TEST_F(History, CheckHistoryMode) {
    // At start the check runs only when the setting asks for it.
    for (const QVariant& setting : {NullVariant(), QVariant("0")}) {
        serve(true, setting, true);
        EXPECT_TRUE(conn->CheckHistoryMode(true, true));
        EXPECT_EQ(db->statements(), QStringList{kOnStart});
    }
    // A defective database is told, with the pointer plain for the messages and back at the end.
    serve(true, "1", true);
    host->clear();
    EXPECT_FALSE(conn->CheckHistoryMode(true, true));
    ASSERT_EQ(host->messages().size(), 2u);
    EXPECT_EQ(host->messages()[0].Text,
              "La definizione della struttura del database non è completa. Si sono verificati i seguenti "
              "errori:\r\nErrore #3: Manca la tabella A01_ART_HIS\r\nErrore #7: Trigger disabilitato");
    EXPECT_TRUE(host->messages()[1].Text.contains(kCheck) && host->messages()[0].Icon == MsgIcon::Critical &&
                host->messages()[1].Icon == MsgIcon::Exclamation);
    EXPECT_EQ(host->events(), (QStringList{"MousePointer:11", "MousePointer:0", "MessageBox", "MessageBox",
                                           "MousePointer:11", "MousePointer:0"}));
    EXPECT_EQ(db->callsOf(CallKind::ExecuteCommand).at(0).Cmd.CommandType, ado::adCmdStoredProc);
    // A failed check is not remembered; without bShowError nothing is shown.
    EXPECT_FALSE(conn->CheckHistoryMode(false));
    EXPECT_EQ(checks(), 2);
    EXPECT_EQ(host->messages().size(), 2u);

    // A passed check holds for the object's life.
    serve(true, "1", false);
    EXPECT_TRUE(conn->CheckHistoryMode());
    EXPECT_TRUE(conn->CheckHistoryMode());
    EXPECT_EQ(checks(), 1);
}

TEST_F(History, HistoryMode) {
    // On an open connection the check runs at once and nothing stays pending for a reopen.
    serve(true, "1", true);
    conn->setHistoryMode(true);
    EXPECT_FALSE(conn->HistoryMode());
    conn->CloseConnection();
    conn->OpenConnection();
    EXPECT_EQ(checks(), 1);
    // Without the setting the check is skipped and the mode holds; True again checks nothing.
    serve(true, NullVariant(), true);
    conn->setHistoryMode(true);
    conn->setHistoryMode(true);
    EXPECT_TRUE(conn->HistoryMode());
    EXPECT_EQ(db->statements(), QStringList{kOnStart});

    // On a closed connection the check waits for the open, with the same outcomes, and runs once.
    const std::pair<QVariant, bool> rows[] = {{"1", true}, {NullVariant(), true}, {"1", false}};
    for (const auto& [setting, defective] : rows) {
        serve(false, setting, defective);
        conn->setHistoryMode(false);
        conn->setHistoryMode(true);
        EXPECT_TRUE(conn->HistoryMode());
        EXPECT_TRUE(db->statements().isEmpty());
        conn->OpenConnection();
        conn->CloseConnection();
        conn->OpenConnection();
        EXPECT_EQ(conn->HistoryMode(), IsNull(setting) || !defective);
        EXPECT_EQ(db->statements(),
                  (IsNull(setting) ? QStringList{kOnStart} : QStringList{kOnStart, kCheck}));
    }
    // Switched off again before the open, nothing is checked.
    serve(false, "1", true);
    conn->setHistoryMode(true);
    conn->setHistoryMode(false);
    conn->OpenConnection();
    EXPECT_TRUE(db->statements().isEmpty());
}

TEST_F(History, CloneTable) {
    EXPECT_TRUE(conn->CloneTable("A01_ART", "A01_ART_CPY", true, true));
    EXPECT_TRUE(conn->CloneTable("A01_ART", "#ART", true));
    const QStringList sent = db->statements();
    ASSERT_EQ(sent.size(), 4);
    EXPECT_EQ(sent.mid(0, 3),
              (QStringList{
                  "SELECT * INTO A01_ART_CPY FROM A01_ART;\r",
                  "DECLARE @cmd VARCHAR(max); SET @cmd = '';\rSELECT @cmd = @cmd + 'ALTER TABLE A01_ART_CPY "
                  "ADD CONSTRAINT [DF_A01_ART_CPY_' + col.name + '] DEFAULT ' + con.definition + ' FOR [' "
                  "+ col.name + '];' + CHAR(13)\rFROM sys.columns col INNER JOIN sys.default_constraints "
                  "con on col.object_id = con.parent_object_id and col.column_id = "
                  "con.parent_column_id\rWHERE col.object_id = object_id('A01_ART');\rEXEC(@cmd);",
                  "SELECT * INTO #ART FROM A01_ART WHERE 1=0;\r"}));
    // A temporary table's constraints carry the moment and a random number.
    EXPECT_TRUE(QRegularExpression("\\[DF_#ART_\\d{17}\\d{1,2}_' \\+ col\\.name").match(sent[3]).hasMatch())
        << sent[3].toStdString();

    // A failed copy leaves at once with False; the error service hears of it under CloneTable.
    raiseMode();
    db->clearCalls();
    db->fail("SELECT * INTO A01_ART FROM A01_ART WHERE 1=0;\r", kErrSyntax, "There is already an object");
    EXPECT_FALSE(conn->CloneTable("A01_ART", "A01_ART", true));
    EXPECT_EQ(db->statements().size(), 1);
    ASSERT_EQ(errors->reports().size(), 1u);
    EXPECT_EQ(errors->reports()[0].Routine, "CloneTable");
}

} // namespace
} // namespace qldb::test
