#include "connection_fixture.h"

namespace qldb::test {
namespace {

using Transactions = ConnectionTest;

TEST_F(Transactions, TheSqlWayFollowsTheServersCount) {
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

TEST_F(Transactions, TheAdoWayKeepsItsOwnLevel) {
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

TEST_F(Transactions, FailuresPassThrough) {
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
