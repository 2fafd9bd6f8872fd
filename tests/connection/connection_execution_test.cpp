#include "connection_fixture.h"

namespace qldb::test {
namespace {

const QString kPrefix = "SET TRANSACTION ISOLATION LEVEL READ UNCOMMITTED\r";
const QString kDeadlock =
    "Transaction (Process ID 53) was deadlocked on lock resources with another process and "
    "has been chosen as the deadlock victim. Rerun the transaction.";
const QString kUpdate = "UPDATE T SET A = 1";

using Execution = ConnectionTest;

TEST_F(Execution, ReadUncommittedPrefixOptionsAndAFreshStartOnEntry) {
    conn->setReadUncommitted(true);
    for (const char* s :
         {"   select * from T", "EXEC sp_who", "WITH X AS (SELECT 1 A) SELECT * FROM X", "-- note\nSELECT 1"})
        conn->Execute(s);
    // An error count left by an earlier failure must not mark these calls as failed.
    bool e1 = true, e2 = true, e3 = true;
    QString description = "old";
    errors->setErrorCount(1);
    conn->Execute("Update T SET A = 1", &e1, &description);
    errors->setErrorCount(1);
    conn->ExecuteWC("DELETE FROM T", ado::adLockOptimistic, &e2);
    errors->setErrorCount(1);
    conn->ExecuteCommand("SELECT 2", &e3);
    conn->setProviderType(ql_eProviderType::MsAccess);
    conn->Execute("SELECT 3");
    EXPECT_EQ(db->statements(), (QStringList{kPrefix + "   select * from T", "EXEC sp_who",
                                             "WITH X AS (SELECT 1 A) SELECT * FROM X", "-- note\nSELECT 1",
                                             kPrefix + "Update T SET A = 1", kPrefix + "DELETE FROM T",
                                             "SELECT 2", "SELECT 3"}));
    EXPECT_FALSE(e1 || e2 || e3 || !description.isEmpty());
    // No records for Execute; a static cursor with the caller's lock; a text command without time limit.
    const auto& c = db->calls();
    EXPECT_EQ((std::vector<int32_t>{c[4].Options, c[5].CursorType, c[5].LockType, c[5].Options,
                                    c[6].Cmd.CommandType, c[6].Cmd.CommandTimeout, c[6].Options}),
              (std::vector<int32_t>{ado::adExecuteNoRecords, ado::adOpenStatic, ado::adLockOptimistic,
                                    ado::adOptionUnspecified, ado::adCmdText, 0, ado::adOptionUnspecified}));
    EXPECT_EQ(errors->traceSteps(), (std::vector<QString>(7, "End"))); // not ExecuteWC
}

TEST_F(Execution, GeneralFailureShowsTheNetworkBoxAndRetryReconnects) {
    raiseMode();
    conn->setReadUncommitted(true);
    db->fail(kPrefix + kUpdate, kErrGeneral, kLinkFailure, true);
    host->queueAnswer(MsgAnswer::Retry);
    bool bError = true;
    QString description;
    conn->Execute(kUpdate, &bError, &description);
    const ShownMessage& box = host->messages().at(0);
    EXPECT_TRUE(box.Icon == MsgIcon::Exclamation && box.Title == "Mirando ERP");
    // The prefix is added once: the retry sends the same text.
    EXPECT_EQ(db->trace(),
              (QStringList{"Execute:" + kPrefix + kUpdate, "Close", "Open", "Execute:" + kPrefix + kUpdate}));
    EXPECT_FALSE(bError);
    EXPECT_EQ(description, kLinkFailure);
    EXPECT_EQ(errors->lastStatement(), kPrefix + kUpdate);

    // A failing reopen enters the handler again, so the box comes back.
    db->clearCalls();
    db->fail(kPrefix + "SELECT 1", kErrGeneral, kLinkFailure, true);
    db->failOpen(kErrGeneral, "Server does not exist");
    host->queueAnswers({MsgAnswer::Retry, MsgAnswer::Retry});
    conn->ExecuteWC("SELECT 1");
    EXPECT_EQ(db->trace(), (QStringList{"OpenRecordset:" + kPrefix + "SELECT 1", "Close", "Open", "Close",
                                        "Open", "OpenRecordset:" + kPrefix + "SELECT 1"}));
}

TEST_F(Execution, CancelOrAutoReconnectGivesUpQuietly) {
    raiseMode();
    db->fail(kUpdate, kErrGeneral, kDeadlock);
    db->failIf([](const QString&) { return true; }, kErrGeneral, kLinkFailure);
    bool bError = false;
    QString description;
    conn->Execute("DELETE FROM T", &bError, &description);
    EXPECT_TRUE(bError);
    EXPECT_EQ(description, kLinkFailure);
    // ExecuteWC hands back the error service's last description, not the error's.
    errors->setLastDescription("kept by the service");
    EXPECT_EQ(conn->ExecuteWC("SELECT 1", ado::adLockReadOnly, &bError, &description), nullptr);
    EXPECT_EQ(description, "kept by the service");
    bError = false;
    EXPECT_EQ(conn->ExecuteCommand("SELECT 1", &bError), nullptr);
    EXPECT_TRUE(bError);
    EXPECT_EQ(host->messages().size(), 3u);
    EXPECT_EQ(errors->traceSteps().size(), 2u); // Cancel goes on to the end point

    // AutoReconnect: no box, no wait, no reconnection, even for a deadlock.
    conn->setAutoReconnect(true);
    conn->Execute(kUpdate, &bError);
    EXPECT_TRUE(bError);
    EXPECT_EQ(conn->ExecuteWC("SELECT 1"), nullptr); // the same without bError
    EXPECT_EQ(host->events().size(), 3);
    EXPECT_EQ(db->count(CallKind::Open), 0);
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(Execution, DeadlockWaitsOnlyInExecute) {
    raiseMode();
    db->fail(kUpdate, kErrGeneral, kDeadlock);
    host->queueAnswers({MsgAnswer::Retry, MsgAnswer::Cancel});
    bool bError = false;
    conn->Execute(kUpdate, &bError);
    // Five waits, the box; Retry sends once more without reconnecting; the next deadlock asks at once.
    EXPECT_EQ(host->events(), (QStringList{"Sleep:1000", "Sleep:2000", "Sleep:3000", "Sleep:4000",
                                           "Sleep:5000", "MessageBox", "MessageBox"}));
    EXPECT_EQ(db->trace(), QStringList(7, "Execute:" + kUpdate));
    EXPECT_TRUE(bError);

    // Outside Execute there is no wait, and Retry reconnects, deadlock or not.
    db->clearCalls();
    host->clear();
    db->fail("SELECT 1", kErrGeneral, kDeadlock, true);
    host->queueAnswer(MsgAnswer::Retry);
    conn->ExecuteWC("SELECT 1");
    EXPECT_EQ(host->events(), QStringList{"MessageBox"});
    EXPECT_EQ(db->trace(),
              (QStringList{"OpenRecordset:SELECT 1", "Close", "Open", "OpenRecordset:SELECT 1"}));
}

TEST_F(Execution, ErrorMode3RaisesOtherNumbers) {
    raiseMode();
    db->fail("SELEC 1", kErrSyntax, "Incorrect syntax near '1'.");
    bool bError = false;
    const std::pair<QString, std::function<void()>> calls[] = {
        {"Execute", [&] { conn->Execute("SELEC 1", &bError); }},
        {"ExecuteWC", [&] { conn->ExecuteWC("SELEC 1", ado::adLockReadOnly, &bError); }},
        {"ExecuteCommand", [&] { conn->ExecuteCommand("SELEC 1", &bError); }},
        {"ExecuteSP", [&] { conn->ExecuteSP("SELEC 1", nullptr, &bError); }}};
    for (const auto& [routine, call] : calls) {
        bError = false;
        errors->setErrorCount(0);
        EXPECT_EQ(Raised(call), "-2147217900 qlConnection." + routine + ": Incorrect syntax near '1'.");
        EXPECT_TRUE(bError);
        // Kept in the error service as well.
        EXPECT_EQ(QString::number(errors->ErrorCount()) + " " + QString::number(errors->LastNumber()) + " " +
                      errors->LastDescription(),
                  "1 -2147217900 Incorrect syntax near '1'.");
    }
    EXPECT_TRUE(errors->reports().empty() && host->messages().empty() && errors->traceSteps().empty());
}

TEST_F(Execution, ManagedErrorsAndOtherModesGoToTheReport) {
    // Mode 3 with bManageErrors: the report decides, also for a general failure; no box.
    raiseMode();
    db->fail(kUpdate, kErrGeneral, kLinkFailure, true);
    int32_t manage = 1;
    bool bError = false;
    conn->Execute(kUpdate, &bError, nullptr, &manage);
    EXPECT_TRUE(bError);
    // Another mode: the report, whatever the error; 0 repeats and 1 goes on, each after a yield.
    errors->setErrorMode(0);
    db->fail("SELECT 1", kErrGeneral, kLinkFailure, true);
    db->fail("SELECT 2", kErrIntegrity, "duplicate key", true);
    errors->queueDecisions({kDecisionRepeat, kDecisionGoOn});
    EXPECT_NE(conn->ExecuteWC("SELECT 1", ado::adLockReadOnly, &bError), nullptr); // repeated, then answered
    EXPECT_FALSE(bError);
    EXPECT_EQ(conn->ExecuteCommand("SELECT 2", &bError), nullptr);
    EXPECT_FALSE(bError);
    QStringList reported;
    for (const ReportedError& r : errors->reports())
        reported << r.Class + "." + r.Routine + ": " + r.Error.Description;
    EXPECT_EQ(reported,
              (QStringList{"qlConnection.Execute: " + kLinkFailure, "qlConnection.ExecuteWC: " + kLinkFailure,
                           "qlConnection.ExecuteCommand: duplicate key"}));
    EXPECT_EQ(host->events(), (QStringList{"DoEvents", "DoEvents"}));
}

TEST_F(Execution, WithoutErrorsTheFamilyRaisesTheObjectError) {
    conn->setErrors(nullptr);
    const std::function<void()> calls[] = {
        [&] { conn->Execute("SELECT 1"); },        [&] { conn->ExecuteWC("SELECT 1"); },
        [&] { conn->ExecuteCommand("SELECT 1"); }, [&] { conn->ExecuteSP("P"); },
        [&] { conn->ExecuteScript("SELECT 1"); },  [&] { conn->TransactionCount(); }};
    for (const auto& call : calls)
        EXPECT_TRUE(Raised(call).startsWith("91 ")) << Raised(call).toStdString();
    EXPECT_TRUE(db->calls().empty());
}

TEST_F(Execution, TransactionsTheSqlWayFollowsTheServersCount) {
    EXPECT_EQ(conn->BeginTrans(VB_FALSE), 1);
    EXPECT_EQ(conn->BeginTrans(VB_FALSE, "T1"), 2);
    EXPECT_EQ(conn->CommitTrans(VB_FALSE), 1);
    EXPECT_EQ(conn->BeginTrans(VB_FALSE), 2);
    EXPECT_EQ(conn->TransactionCount(), 2);
    EXPECT_EQ(conn->RollbackTrans(VB_FALSE), 0); // a rollback ends every level at once
    // Begin and Commit read the count on the connection itself; Rollback and TransactionCount through
    // ExecuteWC.
    EXPECT_EQ(db->trace(), (QStringList{"Execute:BEGIN TRANSACTION", "Execute:SELECT @@TRANCOUNT",
                                        "Execute:BEGIN TRANSACTION T1", "Execute:SELECT @@TRANCOUNT",
                                        "Execute:COMMIT TRANSACTION", "Execute:SELECT @@TRANCOUNT",
                                        "Execute:BEGIN TRANSACTION", "Execute:SELECT @@TRANCOUNT",
                                        "OpenRecordset:SELECT @@TRANCOUNT", "Execute:ROLLBACK TRANSACTION",
                                        "OpenRecordset:SELECT @@TRANCOUNT"}));
    EXPECT_EQ(
        (std::vector<int32_t>{db->calls()[0].Options, db->calls()[1].Options, db->calls().back().LockType}),
        (std::vector<int32_t>{ado::adExecuteNoRecords, ado::adOptionUnspecified, ado::adLockReadOnly}));

    // Anything but exactly True (-1) is the SQL way; the name goes unquoted after the keyword.
    db->clearCalls();
    EXPECT_EQ(conn->BeginTrans(1, "X"), 1);
    EXPECT_EQ(conn->CommitTrans(2, "X"), 0);
    EXPECT_EQ(conn->BeginTrans(VB_FALSE), 1);
    EXPECT_EQ(conn->RollbackTrans(VB_FALSE, "X"), 0);
    EXPECT_EQ(db->statements().filter("TRANSACTION"),
              (QStringList{"BEGIN TRANSACTION X", "COMMIT TRANSACTION X", "BEGIN TRANSACTION",
                           "ROLLBACK TRANSACTION X"}));
}

TEST_F(Execution, TransactionsTheAdoWayKeepsItsOwnLevel) {
    EXPECT_EQ(conn->BeginTrans(VB_FALSE), 1);
    EXPECT_EQ(conn->BeginTrans(), 1);
    EXPECT_EQ(conn->BeginTrans(VB_TRUE, "ignored"), 2);
    EXPECT_EQ(conn->CommitTrans(), -1);
    EXPECT_EQ(conn->RollbackTrans(), -1);
    EXPECT_EQ(Raised([&] { conn->CommitTrans(); }), kProviderGeneral + "No transaction is active.");
    EXPECT_EQ(conn->TransactionCount(), 1);
    EXPECT_EQ(db->trace().mid(2, 5),
              (QStringList{"BeginTrans", "BeginTrans", "CommitTrans", "RollbackTrans", "CommitTrans"}));
}

TEST_F(Execution, TransactionsFailuresPassThrough) {
    raiseMode();
    db->fail("BEGIN TRANSACTION", kErrGeneral, kLinkFailure, true);
    EXPECT_EQ(Raised([&] { conn->BeginTrans(VB_FALSE); }), kProviderGeneral + kLinkFailure);
    EXPECT_TRUE(host->messages().empty());
    // Rollback's count goes through the statement family: the network box, and when the user gives
    // up there is no recordset, which fails as an object error.
    EXPECT_EQ(conn->BeginTrans(VB_FALSE), 1);
    db->fail("SELECT @@TRANCOUNT", kErrGeneral, kLinkFailure, true);
    EXPECT_TRUE(Raised([&] { conn->RollbackTrans(VB_FALSE); }).startsWith("91 "));
    EXPECT_EQ(host->messages().size(), 1u);
    EXPECT_TRUE(errors->reports().empty());
}

} // namespace
} // namespace qldb::test
