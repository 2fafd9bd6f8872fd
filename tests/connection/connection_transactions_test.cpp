#include "connection_fixture.h"

namespace qldb::test {
namespace {

class Transactions : public ConnectionTest {
protected:
    void SetUp() override {
        ConnectionTest::SetUp();
        db->setTrackSqlTransactions(true);
    }
};

TEST_F(Transactions, TheSqlWayFollowsTheServersCount) {
    EXPECT_EQ(conn->BeginTrans(VB_FALSE), 1);
    EXPECT_EQ(conn->BeginTrans(VB_FALSE, QStringLiteral("T1")), 2);
    EXPECT_EQ(conn->CommitTrans(VB_FALSE), 1);
    EXPECT_EQ(conn->BeginTrans(VB_FALSE), 2);
    EXPECT_EQ(conn->TransactionCount(), 2);
    // A rollback ends every level at once.
    EXPECT_EQ(conn->RollbackTrans(VB_FALSE), 0);
    EXPECT_EQ(db->trace(), (QStringList{"Execute:BEGIN TRANSACTION", "Execute:SELECT @@TRANCOUNT",
                                        "Execute:BEGIN TRANSACTION T1", "Execute:SELECT @@TRANCOUNT",
                                        "Execute:COMMIT TRANSACTION", "Execute:SELECT @@TRANCOUNT",
                                        "Execute:BEGIN TRANSACTION", "Execute:SELECT @@TRANCOUNT",
                                        "OpenRecordset:SELECT @@TRANCOUNT", "Execute:ROLLBACK TRANSACTION",
                                        "OpenRecordset:SELECT @@TRANCOUNT"}));
    const auto& calls = db->calls();
    EXPECT_EQ(calls[0].Options, ado::adExecuteNoRecords);
    EXPECT_EQ(calls[1].Options, ado::adOptionUnspecified);
    EXPECT_EQ(calls.back().LockType, ado::adLockReadOnly);
    // Begin and Commit bypass the statement family; Rollback's count and TransactionCount use it.
    EXPECT_EQ(errors->errorCountWrites().size(), 2u);
    EXPECT_EQ(db->count(CallKind::BeginTrans), 0);

    db->clearCalls();
    EXPECT_EQ(conn->BeginTrans(1, QStringLiteral("X")), 1);
    EXPECT_EQ(conn->CommitTrans(2, QStringLiteral("X")), 0);
    EXPECT_EQ(conn->BeginTrans(VB_FALSE), 1);
    EXPECT_EQ(conn->RollbackTrans(VB_FALSE, QStringLiteral("X")), 0);
    EXPECT_EQ(db->statements().filter("TRANSACTION"),
              (QStringList{"BEGIN TRANSACTION X", "COMMIT TRANSACTION X", "BEGIN TRANSACTION",
                           "ROLLBACK TRANSACTION X"}));
}

TEST_F(Transactions, TheAdoWay) {
    EXPECT_EQ(conn->BeginTrans(VB_FALSE), 1);
    // The ADO level is its own, whatever the server holds.
    EXPECT_EQ(conn->BeginTrans(), 1);
    EXPECT_EQ(conn->BeginTrans(VB_TRUE, QStringLiteral("ignored")), 2);
    EXPECT_EQ(conn->CommitTrans(), -1);
    EXPECT_EQ(conn->RollbackTrans(), -1);
    EXPECT_EQ(db->AdoTranLevel(), 0);
    EXPECT_EQ(db->SqlTranCount(), 1);
    try {
        conn->CommitTrans();
        FAIL() << "commit without a transaction";
    } catch (const qlException& e) {
        EXPECT_EQ(e.number(), kErrGeneral);
        EXPECT_EQ(e.description(), "No transaction is active.");
    }
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(Transactions, FailuresPassThrough) {
    errors->setErrorMode(kErrorModeRaise);
    db->fail(QStringLiteral("BEGIN TRANSACTION"), kErrGeneral, kLinkFailure, true);
    try {
        conn->BeginTrans(VB_FALSE);
        FAIL() << "begin should fail";
    } catch (const qlException& e) {
        EXPECT_EQ(e.description(), kLinkFailure);
        EXPECT_EQ(e.record().Source, "Microsoft OLE DB Provider for ODBC Drivers");
    }
    EXPECT_TRUE(host->messages().empty());

    // Rollback's count goes through the statement family: the network box, and when the user gives
    // up there is no recordset, which fails as an object error.
    EXPECT_EQ(conn->BeginTrans(VB_FALSE), 1);
    db->fail(QStringLiteral("SELECT @@TRANCOUNT"), kErrGeneral, kLinkFailure, true);
    try {
        conn->RollbackTrans(VB_FALSE);
        FAIL() << "rollback should fail";
    } catch (const qlException& e) {
        EXPECT_EQ(e.number(), kErrObjectNotSet);
    }
    EXPECT_EQ(host->messages().size(), 1u);
}

} // namespace
} // namespace qldb::test
