// Trigger status, change tracking, the history check with HistoryMode, and table cloning, against
// a scripted SQL Server.
#include "connection_fixture.h"
#include "platform/conversions.h"

#include <QRegularExpression>

namespace qldb::test {
namespace {

const QString kOnStart =
    QStringLiteral("SELECT MAX(CFVAL) FROM SYS_CFG\rWHERE KEYCF = 'HISTORY_CHECK_ON_START'");
const QString kCheck = QStringLiteral("SYS_XSP_SYS_SYS_CHK");
const QString kDefects = QStringLiteral("La definizione della struttura del database non è completa. Si sono "
                                        "verificati i seguenti errori:\r\nErrore #3: Manca la tabella "
                                        "A01_ART_HIS\r\nErrore #7: Trigger disabilitato");
const QString kNotAvailable =
    QStringLiteral("La modalità di storicizzazione non è attivabile per la connessione "
                   "corrente. Eseguire la stored procedure SYS_XSP_SYS_SYS_CHK per "
                   "ulteriori dettagli.");

class History : public ConnectionTest {
protected:
    void onStartSetting(const QVariant& value) {
        db->respond(kOnStart, ScriptedConnection::Table({"v"}, {{value}}));
    }
    void defective() {
        db->respond(kCheck,
                    ScriptedConnection::Table({"ERRID", "ERRDS"}, {{3, "Manca la tabella A01_ART_HIS"},
                                                                   {7, "Trigger disabilitato"}}));
    }
    void sound() { db->respond(kCheck, ScriptedConnection::Table({"ERRID", "ERRDS"}, {})); }
    // A new object on a new, closed scripted connection.
    void fresh() {
        db = std::make_shared<ScriptedConnection>();
        conn = std::make_unique<qlConnection>();
        conn->setADODBConnection(db);
        conn->setHostServices(host);
        conn->setErrors(errors);
        conn->setProductName(QStringLiteral("Mirando ERP"));
    }
    // The stored-procedure calls made so far.
    int checks() const {
        int n = 0;
        for (const Call& c : db->callsOf(CallKind::ExecuteCommand))
            n += c.Text == kCheck ? 1 : 0;
        return n;
    }
    // The texts handed to sp_executesql, in order.
    QStringList scripts() const {
        QStringList out;
        for (const Call& c : db->callsOf(CallKind::ExecuteCommand))
            if (c.Text == QLatin1String("sp_executesql") && !c.Cmd.Parameters.empty())
                out << c.Cmd.Parameters[0].Value.toString();
        return out;
    }
};

TEST_F(History, TriggerStatus) {
    const QString sql = QStringLiteral("SELECT name\rFROM sys.triggers\rWHERE is_disabled = 1");
    db->respond(sql, ScriptedConnection::Table({"name"}, {}), /*once=*/true);
    db->respond(sql, ScriptedConnection::Table({"name"}, {{"trg_a"}, {"trg_b"}}));
    QString disabled = QStringLiteral("kept");
    EXPECT_TRUE(conn->CheckTriggerStatus(&disabled, QStringLiteral("ignored")));
    EXPECT_EQ(disabled, "kept");
    EXPECT_FALSE(conn->CheckTriggerStatus(&disabled));
    EXPECT_EQ(disabled, "kept\rtrg_a\rtrg_b");
    QString fresh;
    EXPECT_FALSE(conn->CheckTriggerStatus(&fresh));
    EXPECT_EQ(fresh, "trg_a\rtrg_b");
    EXPECT_FALSE(conn->CheckTriggerStatus());
    EXPECT_EQ(db->statements(), (QStringList{sql, sql, sql, sql}));
}

TEST_F(History, TriggerSwitchesAndChangeTracking) {
    EXPECT_EQ(conn->AlterTriggersStatus(true, QStringLiteral("X")), QVariant(true));
    conn->AlterTriggersStatus(false);
    db->respond(
        QStringLiteral("SELECT DISTINCT t.name\rFROM sys.change_tracking_tables ctt\rINNER JOIN sys.tables t "
                       "on t.object_id = ctt.object_id\rWHERE ctt.is_track_columns_updated_on = 1;"),
        ScriptedConnection::Table({"name"}, {{"A01_ART"}, {"A01 DOC"}}));
    conn->setDatabaseName(QStringLiteral("ERP"));
    EXPECT_TRUE(conn->DisableChangeTracking());

    // Scripts reach the server with their line ends made line feeds.
    const QString all = QStringLiteral(
        "DECLARE @SQL NVARCHAR(1024)\nDECLARE @TABLE NVARCHAR(255)\nDECLARE trg_cursor CURSOR LOCAL "
        "FAST_FORWARD FOR\n"
        "  SELECT NAME\n  FROM dbo.sysobjects\n  WHERE XTYPE = 'U' AND uid = (select schema_id from "
        "sys.schemas where "
        "name = 'dbo')\nOPEN trg_cursor\nFETCH NEXT FROM trg_cursor\nINTO @TABLE\nWHILE @@FETCH_STATUS = "
        "0\nBEGIN\n"
        "  SET @SQL = 'ALTER TABLE ' + @TABLE + ' DISABLE TRIGGER ALL'\n  EXEC sp_executesql @stmt = @SQL\n"
        "  FETCH NEXT FROM trg_cursor\n  INTO @TABLE\nEND\nCLOSE trg_cursor\nDEALLOCATE trg_cursor");
    EXPECT_EQ(scripts(),
              (QStringList{
                  "ALTER TABLE X ENABLE TRIGGER ALL", all, "ALTER TABLE [A01_ART] DISABLE CHANGE_TRACKING;",
                  "ALTER TABLE [A01 DOC] DISABLE CHANGE_TRACKING;",
                  "IF EXISTS(SELECT * FROM sys.change_tracking_databases WHERE database_id = DB_ID('ERP'))\n"
                  "ALTER DATABASE [ERP] SET CHANGE_TRACKING = OFF;"}));
}

TEST_F(History, CheckOnStartFollowsTheSetting) {
    // No row (MAX gives Null), or a False setting: the check is skipped and passes.
    onStartSetting(NullVariant());
    defective();
    EXPECT_TRUE(conn->CheckHistoryMode(true, true));
    EXPECT_EQ(checks(), 0);
    EXPECT_EQ(db->statements(), (QStringList{kOnStart}));

    db = std::make_shared<ScriptedConnection>();
    db->setOpen(true);
    conn->setADODBConnection(db);
    onStartSetting(QStringLiteral("0"));
    defective();
    EXPECT_TRUE(conn->CheckHistoryMode(true, true));
    EXPECT_EQ(checks(), 0);
}

TEST_F(History, ADefectiveDatabaseIsToldAndCheckedAgain) {
    onStartSetting(QStringLiteral("1"));
    defective();
    EXPECT_FALSE(conn->CheckHistoryMode(true, true));
    ASSERT_EQ(host->messages().size(), 2u);
    EXPECT_EQ(host->messages()[0].Text, kDefects);
    EXPECT_EQ(host->messages()[0].Icon, MsgIcon::Critical);
    EXPECT_EQ(host->messages()[0].Title, "Mirando ERP");
    EXPECT_EQ(host->messages()[1].Text, kNotAvailable);
    EXPECT_EQ(host->messages()[1].Icon, MsgIcon::Exclamation);
    EXPECT_EQ(host->messages()[1].Title, "Mirando ERP");
    // Hourglass, plain pointer for the messages, hourglass again, and the old pointer at the end.
    EXPECT_EQ(host->events(), (QStringList{"MousePointer:11", "MousePointer:0", "MessageBox", "MessageBox",
                                           "MousePointer:11", "MousePointer:0"}));
    const auto& command = db->callsOf(CallKind::ExecuteCommand).at(0).Cmd;
    EXPECT_EQ(command.CommandType, ado::adCmdStoredProc);
    EXPECT_TRUE(command.Parameters.empty());

    // A failed check is not remembered; without bShowError nothing is shown.
    EXPECT_FALSE(conn->CheckHistoryMode(false));
    EXPECT_EQ(checks(), 2);
    EXPECT_EQ(host->messages().size(), 2u);
}

TEST_F(History, APassedCheckIsNotRepeated) {
    sound();
    EXPECT_TRUE(conn->CheckHistoryMode());
    db->clearCalls();
    EXPECT_TRUE(conn->CheckHistoryMode());
    EXPECT_EQ(checks(), 0);
    EXPECT_TRUE(host->messages().empty());
}

TEST_F(History, HistoryModeOnAnOpenConnection) {
    onStartSetting(QStringLiteral("1"));
    defective();
    conn->setHistoryMode(true);
    EXPECT_FALSE(conn->HistoryMode());
    EXPECT_EQ(checks(), 1);
    // Nothing stays pending: a reopen runs no check.
    conn->CloseConnection();
    conn->OpenConnection();
    EXPECT_EQ(checks(), 1);

    // Without the setting the check is skipped and the mode holds.
    db = std::make_shared<ScriptedConnection>();
    db->setOpen(true);
    conn->setADODBConnection(db);
    onStartSetting(NullVariant());
    defective();
    conn->setHistoryMode(true);
    EXPECT_TRUE(conn->HistoryMode());
    EXPECT_EQ(db->statements(), (QStringList{kOnStart}));
    // Setting True again while True checks nothing; False is stored as it is.
    conn->setHistoryMode(true);
    EXPECT_EQ(db->statements().size(), 1);
    conn->setHistoryMode(false);
    EXPECT_FALSE(conn->HistoryMode());
}

TEST_F(History, HistoryModeOnAClosedConnectionWaitsForTheOpen) {
    db->setOpen(false);
    onStartSetting(QStringLiteral("1"));
    sound();
    conn->setHistoryMode(true);
    EXPECT_TRUE(conn->HistoryMode());
    EXPECT_TRUE(db->statements().isEmpty());
    conn->OpenConnection();
    EXPECT_TRUE(conn->HistoryMode());
    EXPECT_EQ(db->statements(), (QStringList{kOnStart, kCheck}));
    conn->CloseConnection();
    conn->OpenConnection();
    EXPECT_EQ(db->statements().size(), 2) << "the pending check runs once";

    // A defective database turns the mode off at the open (on an object that has not passed the
    // check yet: a passed check holds for the object's life).
    fresh();
    onStartSetting(QStringLiteral("1"));
    defective();
    conn->setHistoryMode(true);
    conn->OpenConnection();
    EXPECT_FALSE(conn->HistoryMode());
    EXPECT_EQ(checks(), 1);

    // Switched off again before the open, nothing is checked.
    fresh();
    conn->setHistoryMode(true);
    conn->setHistoryMode(false);
    conn->OpenConnection();
    EXPECT_EQ(db->statements().size(), 0);
}

TEST_F(History, CloneTable) {
    EXPECT_TRUE(conn->CloneTable(QStringLiteral("A01_ART"), QStringLiteral("A01_ART_BAK")));
    EXPECT_TRUE(conn->CloneTable(QStringLiteral("A01_ART"), QStringLiteral("A01_ART_CPY"), true, true));
    EXPECT_TRUE(conn->CloneTable(QStringLiteral("A01_ART"), QStringLiteral("#ART"), true));
    const QString constraints = QStringLiteral(
        "DECLARE @cmd VARCHAR(max); SET @cmd = '';\rSELECT @cmd = @cmd + 'ALTER TABLE A01_ART_CPY ADD "
        "CONSTRAINT "
        "[DF_A01_ART_CPY_' + col.name + '] DEFAULT ' + con.definition + ' FOR [' + col.name + '];' + "
        "CHAR(13)\r"
        "FROM sys.columns col INNER JOIN sys.default_constraints con on col.object_id = con.parent_object_id "
        "and "
        "col.column_id = con.parent_column_id\rWHERE col.object_id = object_id('A01_ART');\rEXEC(@cmd);");
    const QStringList sent = db->statements();
    ASSERT_EQ(sent.size(), 5);
    EXPECT_EQ(sent[0], "SELECT * INTO A01_ART_BAK FROM A01_ART WHERE 1=0;\r");
    EXPECT_EQ(sent[1], "SELECT * INTO A01_ART_CPY FROM A01_ART;\r");
    EXPECT_EQ(sent[2], constraints);
    EXPECT_EQ(sent[3], "SELECT * INTO #ART FROM A01_ART WHERE 1=0;\r");
    // A temporary table's constraints carry the moment and a random number.
    const QRegularExpression tagged(QStringLiteral("\\[DF_#ART_\\d{17}\\d{1,2}_' \\+ col\\.name"));
    EXPECT_TRUE(tagged.match(sent[4]).hasMatch()) << sent[4].toStdString();

    // A failed copy leaves at once with False; the error service hears of it under CloneTable.
    raiseMode();
    db->clearCalls();
    db->fail(QStringLiteral("SELECT * INTO A01_ART FROM A01_ART WHERE 1=0;\r"), kErrSyntax,
             QStringLiteral("There is already an object named 'A01_ART' in the database."));
    EXPECT_FALSE(conn->CloneTable(QStringLiteral("A01_ART"), QStringLiteral("A01_ART"), true));
    EXPECT_EQ(db->statements().size(), 1);
    ASSERT_EQ(errors->reports().size(), 1u);
    EXPECT_EQ(errors->reports()[0].Routine, "CloneTable");
}

} // namespace
} // namespace qldb::test
