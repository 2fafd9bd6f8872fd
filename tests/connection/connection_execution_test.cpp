#include "connection_fixture.h"

namespace qldb::test {
namespace {

const QString kPrefix = QStringLiteral("SET TRANSACTION ISOLATION LEVEL READ UNCOMMITTED\r");
const QString kNetworkBox = QStringLiteral("Database Error: -2147467259 - ") + kLinkFailure +
                            QStringLiteral("\r\rErrore di connessione al database: errore di rete!\r"
                                           "Verificare la connessione di rete e riprovare.");

using Execution = ConnectionTest;

TEST_F(Execution, ReadUncommittedPrefix) {
    bool ru = true;
    conn->setReadUncommitted(ru);
    conn->Execute(QStringLiteral("   select * from T"));
    conn->Execute(QStringLiteral("EXEC sp_who"));
    conn->Execute(QStringLiteral("WITH X AS (SELECT 1 A) SELECT * FROM X"));
    conn->Execute(QStringLiteral("-- note\nSELECT 1"));
    conn->Execute(QStringLiteral("Update T SET A = 1"));
    conn->ExecuteWC(QStringLiteral("DELETE FROM T"));
    conn->ExecuteCommand(QStringLiteral("SELECT 2"));
    EXPECT_EQ(db->statements(),
              (QStringList{kPrefix + "   select * from T", "EXEC sp_who",
                           "WITH X AS (SELECT 1 A) SELECT * FROM X", "-- note\nSELECT 1",
                           kPrefix + "Update T SET A = 1", kPrefix + "DELETE FROM T", "SELECT 2"}));

    db->clearCalls();
    conn->setProviderType(ql_eProviderType::MsAccess);
    conn->Execute(QStringLiteral("SELECT 1"));
    conn->setProviderType(ql_eProviderType::SQLServer);
    conn->setReadUncommitted(false);
    conn->ExecuteWC(QStringLiteral("SELECT 1"));
    EXPECT_EQ(db->statements(), (QStringList{"SELECT 1", "SELECT 1"}));
}

TEST_F(Execution, OptionsOfEachRoutine) {
    const Recordset rows = ScriptedConnection::Table({"A"}, {{1}, {2}});
    db->respond(QStringLiteral("SELECT A FROM T"), rows);
    bool bError = true;
    QString description = QStringLiteral("old");
    conn->Execute(QStringLiteral("SELECT A FROM T"), &bError, &description);
    EXPECT_FALSE(bError);
    EXPECT_EQ(description, "");
    auto rs = conn->ExecuteWC(QStringLiteral("SELECT A FROM T"), ado::adLockOptimistic);
    ASSERT_NE(rs, nullptr);
    EXPECT_EQ(rs->RecordCount(), 2);
    rs = conn->ExecuteCommand(QStringLiteral("SELECT A FROM T"));
    ASSERT_NE(rs, nullptr);
    EXPECT_EQ(rs->RecordCount(), 2);

    const auto& calls = db->calls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].Kind, CallKind::Execute);
    EXPECT_EQ(calls[0].Options, ado::adExecuteNoRecords);
    EXPECT_EQ(calls[1].Kind, CallKind::OpenRecordset);
    EXPECT_EQ(calls[1].CursorType, ado::adOpenStatic);
    EXPECT_EQ(calls[1].LockType, ado::adLockOptimistic);
    EXPECT_EQ(calls[1].Options, ado::adOptionUnspecified);
    EXPECT_EQ(calls[2].Kind, CallKind::ExecuteCommand);
    EXPECT_EQ(calls[2].Cmd.CommandType, ado::adCmdText);
    EXPECT_EQ(calls[2].Cmd.CommandTimeout, 0);
    EXPECT_TRUE(calls[2].Cmd.Parameters.empty());
    EXPECT_EQ(calls[2].Options, ado::adOptionUnspecified);
    // ExecuteWC alone does not trace its end.
    EXPECT_EQ(errors->traceSteps(), (std::vector<QString>{"End", "End"}));
    EXPECT_EQ(errors->errorCountWrites(), (std::vector<int32_t>{0, 0, 0}));
}

TEST_F(Execution, GeneralFailureShowsTheNetworkBoxAndRetryReconnects) {
    raiseMode();
    db->fail(QStringLiteral("UPDATE T SET A = 1"), kErrGeneral, kLinkFailure, true);
    host->queueAnswer(MsgAnswer::Retry);
    bool bError = true;
    QString description;
    conn->Execute(QStringLiteral("UPDATE T SET A = 1"), &bError, &description);
    ASSERT_EQ(host->messages().size(), 1u);
    const ShownMessage& box = host->messages()[0];
    EXPECT_EQ(box.Text, kNetworkBox);
    EXPECT_EQ(box.Buttons, MsgButtons::RetryCancel);
    EXPECT_EQ(box.Icon, MsgIcon::Exclamation);
    EXPECT_EQ(box.Title, "Mirando ERP");
    EXPECT_EQ(db->trace(),
              (QStringList{"Execute:UPDATE T SET A = 1", "Close", "Open", "Execute:UPDATE T SET A = 1"}));
    EXPECT_FALSE(bError);
    EXPECT_EQ(description, kLinkFailure);
    EXPECT_EQ(errors->lastStatement(), "UPDATE T SET A = 1");
    EXPECT_TRUE(errors->reports().empty());
    EXPECT_TRUE(host->sleeps().empty());
}

TEST_F(Execution, FailedReopenBringsTheBoxBack) {
    raiseMode();
    db->fail(QStringLiteral("SELECT 1"), kErrGeneral, kLinkFailure, true);
    db->failOpen(kErrGeneral, QStringLiteral("Server does not exist"), 1);
    host->queueAnswers({MsgAnswer::Retry, MsgAnswer::Retry});
    auto rs = conn->ExecuteWC(QStringLiteral("SELECT 1"));
    ASSERT_NE(rs, nullptr);
    ASSERT_EQ(host->messages().size(), 2u);
    EXPECT_TRUE(
        host->messages()[1].Text.startsWith("Database Error: -2147467259 - Server does not exist\r\r"));
    EXPECT_EQ(db->trace(), (QStringList{"OpenRecordset:SELECT 1", "Close", "Open", "Close", "Open",
                                        "OpenRecordset:SELECT 1"}));
}

TEST_F(Execution, CancelInTheBoxGivesUpQuietly) {
    raiseMode();
    db->failIf([](const QString&) { return true; }, kErrGeneral, kLinkFailure);
    bool bError = false;
    QString description;
    conn->Execute(QStringLiteral("DELETE FROM T"), &bError, &description);
    EXPECT_TRUE(bError);
    EXPECT_EQ(description, kLinkFailure);

    // ExecuteWC hands back the error service's last description, not the error's.
    errors->setLastDescription(QStringLiteral("kept by the service"));
    bError = false;
    EXPECT_EQ(conn->ExecuteWC(QStringLiteral("SELECT 1"), ado::adLockReadOnly, &bError, &description),
              nullptr);
    EXPECT_TRUE(bError);
    EXPECT_EQ(description, "kept by the service");

    bError = false;
    EXPECT_EQ(conn->ExecuteCommand(QStringLiteral("SELECT 1"), &bError, &description), nullptr);
    EXPECT_TRUE(bError);
    EXPECT_EQ(description, kLinkFailure);
    // Without bError the routines behave the same.
    EXPECT_EQ(conn->ExecuteWC(QStringLiteral("SELECT 1")), nullptr);

    EXPECT_EQ(host->messages().size(), 4u);
    EXPECT_EQ(db->count(CallKind::Open), 0);
    EXPECT_TRUE(errors->reports().empty());
    EXPECT_EQ(errors->traceSteps().size(), 2u);
}

TEST_F(Execution, AutoReconnectGivesUpWithoutAMessage) {
    raiseMode();
    conn->setAutoReconnect(true);
    db->failIf([](const QString&) { return true; }, kErrGeneral, kDeadlockVictim);
    bool bError = false;
    conn->Execute(QStringLiteral("UPDATE T SET A = 1"), &bError);
    EXPECT_TRUE(bError);
    bError = false;
    conn->ExecuteCommand(QStringLiteral("SELECT 1"), &bError);
    EXPECT_TRUE(bError);
    EXPECT_TRUE(host->messages().empty());
    EXPECT_TRUE(host->sleeps().empty());
    EXPECT_EQ(db->count(CallKind::Open), 0);
}

TEST_F(Execution, DeadlockWaitsThenAsks) {
    raiseMode();
    db->failIf([](const QString& s) { return s == "UPDATE T SET A = 1"; }, kErrGeneral, kDeadlockVictim);
    host->queueAnswers({MsgAnswer::Retry, MsgAnswer::Cancel});
    bool bError = false;
    QString description;
    conn->Execute(QStringLiteral("UPDATE T SET A = 1"), &bError, &description);
    // Five waits, the box; Retry sends once more without reconnecting; the next deadlock asks at once.
    EXPECT_EQ(host->events(), (QStringList{"Sleep:1000", "Sleep:2000", "Sleep:3000", "Sleep:4000",
                                           "Sleep:5000", "MessageBox", "MessageBox"}));
    EXPECT_EQ(db->count(CallKind::Execute), 7);
    EXPECT_EQ(db->count(CallKind::Open), 0);
    EXPECT_EQ(db->count(CallKind::Close), 0);
    EXPECT_TRUE(bError);
    EXPECT_EQ(description, kDeadlockVictim);
    EXPECT_EQ(errors->traceSteps(), std::vector<QString>{"End"});
}

TEST_F(Execution, DeadlockCuredOnTheThirdTry) {
    raiseMode();
    db->fail(QStringLiteral("UPDATE T SET A = 1"), kErrGeneral, kDeadlockVictim, true);
    db->fail(QStringLiteral("UPDATE T SET A = 1"), kErrGeneral, QStringLiteral("DEADLOCK detected"), true);
    bool bError = true;
    conn->Execute(QStringLiteral("UPDATE T SET A = 1"), &bError);
    EXPECT_EQ(host->sleeps(), (std::vector<int32_t>{1000, 2000}));
    EXPECT_TRUE(host->messages().empty());
    EXPECT_FALSE(bError);
    EXPECT_EQ(errors->ErrorCount(), 0);
    EXPECT_EQ(db->count(CallKind::Execute), 3);
}

TEST_F(Execution, NoDeadlockWaitOutsideExecute) {
    raiseMode();
    db->fail(QStringLiteral("SELECT 1"), kErrGeneral, kDeadlockVictim, true);
    host->queueAnswer(MsgAnswer::Retry);
    ASSERT_NE(conn->ExecuteWC(QStringLiteral("SELECT 1")), nullptr);
    EXPECT_EQ(host->events(), QStringList{"MessageBox"});
    // Retry outside Execute reconnects, deadlock or not.
    EXPECT_EQ(db->trace(),
              (QStringList{"OpenRecordset:SELECT 1", "Close", "Open", "OpenRecordset:SELECT 1"}));
}

TEST_F(Execution, OtherNumbersAreRaisedInErrorMode3) {
    raiseMode();
    const struct {
        QString routine;
        std::function<void(bool*)> call;
    } cases[] = {
        {"Execute", [&](bool* e) { conn->Execute(QStringLiteral("SELEC 1"), e); }},
        {"ExecuteWC", [&](bool* e) { conn->ExecuteWC(QStringLiteral("SELEC 1"), ado::adLockReadOnly, e); }},
        {"ExecuteCommand", [&](bool* e) { conn->ExecuteCommand(QStringLiteral("SELEC 1"), e); }},
    };
    db->fail(QStringLiteral("SELEC 1"), kErrSyntax, QStringLiteral("Incorrect syntax near '1'."));
    for (const auto& c : cases) {
        bool bError = false;
        errors->setErrorCount(0);
        try {
            c.call(&bError);
            ADD_FAILURE() << "no error raised by " << c.routine.toStdString();
        } catch (const qlException& e) {
            EXPECT_EQ(e.number(), kErrSyntax);
            EXPECT_EQ(e.record().Source, "qlConnection." + c.routine);
            EXPECT_EQ(e.description(), "Incorrect syntax near '1'.");
        }
        EXPECT_TRUE(bError);
        EXPECT_EQ(errors->ErrorCount(), 1);
        EXPECT_EQ(errors->LastNumber(), kErrSyntax);
        EXPECT_EQ(errors->LastDescription(), "Incorrect syntax near '1'.");
    }
    EXPECT_TRUE(errors->reports().empty());
    EXPECT_TRUE(host->messages().empty());
    EXPECT_TRUE(errors->traceSteps().empty());
}

TEST_F(Execution, ManagedErrorsAndOtherModesGoToTheReport) {
    // Mode 3 with bManageErrors: the report decides, also for a general failure; no box.
    raiseMode();
    db->fail(QStringLiteral("UPDATE T SET A = 1"), kErrGeneral, kLinkFailure, true);
    int32_t manage = 1;
    bool bError = false;
    conn->Execute(QStringLiteral("UPDATE T SET A = 1"), &bError, nullptr, &manage);
    EXPECT_TRUE(bError);
    ASSERT_EQ(errors->reports().size(), 1u);
    EXPECT_EQ(errors->reports()[0].Class, "qlConnection");
    EXPECT_EQ(errors->reports()[0].Routine, "Execute");
    EXPECT_EQ(errors->reports()[0].Error.Description, kLinkFailure);
    EXPECT_TRUE(host->messages().empty());

    // Another mode: the report, whatever the error; 0 repeats and 1 goes on, each after a yield.
    errors->setErrorMode(0);
    db->fail(QStringLiteral("SELECT 1"), kErrGeneral, kLinkFailure, true);
    db->fail(QStringLiteral("SELECT 2"), kErrIntegrity, QStringLiteral("duplicate key"), true);
    errors->queueDecisions({kDecisionRepeat, kDecisionGoOn});
    bError = true;
    EXPECT_NE(conn->ExecuteWC(QStringLiteral("SELECT 1"), ado::adLockReadOnly, &bError), nullptr);
    EXPECT_FALSE(bError);
    EXPECT_EQ(conn->ExecuteCommand(QStringLiteral("SELECT 2"), &bError), nullptr);
    EXPECT_FALSE(bError);
    EXPECT_EQ(host->doEventsCount(), 2);
    EXPECT_EQ(errors->reports()[1].Routine, "ExecuteWC");
    EXPECT_EQ(errors->reports()[2].Routine, "ExecuteCommand");
    EXPECT_EQ(db->statements(), (QStringList{"UPDATE T SET A = 1", "SELECT 1", "SELECT 1", "SELECT 2"}));

    // Going on after an error that the service counted still sets bError at the end point.
    db->fail(QStringLiteral("SELECT 3"), kErrSyntax, QStringLiteral("bad"), true);
    errors->setOnReport([&](const ReportedError&) { errors->setErrorCount(1); });
    errors->queueDecision(kDecisionGoOn);
    conn->Execute(QStringLiteral("SELECT 3"), &bError);
    EXPECT_TRUE(bError);
}

TEST_F(Execution, LastStatementKeepsThePrefix) {
    raiseMode();
    conn->setReadUncommitted(true);
    db->fail(kPrefix + "SELECT 1", kErrGeneral, kLinkFailure, true);
    conn->Execute(QStringLiteral("SELECT 1"));
    EXPECT_EQ(errors->lastStatement(), kPrefix + "SELECT 1");
}

TEST_F(Execution, WithoutErrorsTheFamilyRaisesTheObjectError) {
    conn->setErrors(nullptr);
    const std::function<void()> calls[] = {
        [&] { conn->Execute(QStringLiteral("SELECT 1")); },
        [&] { conn->ExecuteWC(QStringLiteral("SELECT 1")); },
        [&] { conn->ExecuteCommand(QStringLiteral("SELECT 1")); },
        [&] { conn->ExecuteSP(QStringLiteral("P")); },
        [&] { conn->ExecuteScript(QStringLiteral("SELECT 1")); },
        [&] { conn->TransactionCount(); },
    };
    for (const auto& call : calls) {
        try {
            call();
            ADD_FAILURE() << "no error";
        } catch (const qlException& e) {
            EXPECT_EQ(e.number(), kErrObjectNotSet);
        }
    }
    EXPECT_TRUE(db->calls().empty());
}

} // namespace
} // namespace qldb::test
