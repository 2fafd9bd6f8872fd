// qlConnection on PostgreSQL with the boxes a user would see asserted: a lost link and a deadlock
// made real.
#include "platform/tools/conversions.h"
#include "support/live_servers.h"

#include <QElapsedTimer>
#include <QThread>
#include <algorithm>
#include <thread>

namespace qldb::test {
namespace {

class PostgresLive : public LiveServerTest {
protected:
    // Polls pg_stat_activity, for up to ten seconds, until `count` backends of the pid meet the condition.
    static bool waitForCount(LiveSession& admin, int32_t pid, const char* condition, int32_t count) {
        QElapsedTimer timer;
        timer.start();
        while (ToLong(admin.scalar(QStringLiteral("SELECT COUNT(*) FROM pg_stat_activity WHERE pid = %1%2")
                                       .arg(pid)
                                       .arg(QLatin1String(condition)))) != count) {
            if (timer.elapsed() > 10000)
                return false;
            QThread::msleep(20);
        }
        return true;
    }
    static int32_t backend(LiveSession& s) { return ToLong(s.scalar("SELECT pg_backend_pid()")); }
};
QLDB_INSTANTIATE_LIVE_TEST(PostgresLive, LiveServer::PostgreSQL);

TEST_P(PostgresLive, LostLinkShowsTheBoxAndRetryReconnects) {
    LiveSession a(connectionString()), admin(connectionString());
    const int32_t pid = backend(a);
    admin.scalar(QStringLiteral("SELECT CASE WHEN pg_terminate_backend(%1) THEN 1 ELSE 0 END").arg(pid));
    ASSERT_TRUE(waitForCount(admin, pid, "", 0));

    a.host->queueAnswer(MsgAnswer::Retry);
    bool bError = true;
    QString description;
    a.conn->Execute("SELECT 1", &bError, &description);
    ASSERT_EQ(a.host->messages().size(), 1u);
    EXPECT_FALSE(description.isEmpty() || bError || !a.errors->reports().empty());
    // The driver's own words stand between the number and the fixed text.
    EXPECT_EQ(a.host->messages()[0].Text, "Database Error: -2147467259 - " + description +
                                              "\r\rErrore di connessione al database: errore di rete!\r"
                                              "Verificare la connessione di rete e riprovare.");
    EXPECT_EQ(a.host->messages()[0].Buttons, MsgButtons::RetryCancel);
    EXPECT_NE(backend(a), pid); // a new session
    EXPECT_EQ(a.conn->State(), 1);
}

// Two sessions lock two rows in opposite order; the one with the short deadlock timeout finds the
// cycle and is the victim, which waits and retries, then asks (answered Cancel).
TEST_P(PostgresLive, ARealDeadlockWaitsRetriesThenAsks) {
    LiveSession victim(connectionString()), winner(connectionString()), admin(connectionString());
    ScopedTable table(*admin.conn->ADODBConnection(), "deadlock");
    const QString t = table.name();
    admin.conn->Execute("CREATE TABLE " + t + " (id INT PRIMARY KEY, v INT)");
    admin.conn->Execute("INSERT INTO " + t + " VALUES (1, 0), (2, 0)");
    victim.conn->Execute("SET deadlock_timeout = '100ms'");
    winner.conn->Execute("SET deadlock_timeout = '20s'");
    for (LiveSession* s : {&victim, &winner}) // nothing may hang the suite
        s->conn->Execute("SET lock_timeout = '30s'");
    const int32_t winnerPid = backend(winner);
    victim.conn->BeginTrans();
    winner.conn->BeginTrans();
    victim.conn->Execute("UPDATE " + t + " SET v = v + 1 WHERE id = 1");
    winner.conn->Execute("UPDATE " + t + " SET v = v + 1 WHERE id = 2");
    bool winnerError = true, victimError = false;
    std::thread second([&] {
        winner.conn->Execute("UPDATE " + t + " SET v = v + 10 WHERE id = 1", &winnerError);
        if (!winnerError)
            winner.conn->CommitTrans();
    });
    // The victim asks for its second row only once the winner waits for the first.
    const bool waiting = waitForCount(admin, winnerPid, " AND wait_event_type = 'Lock'", 1);
    if (waiting)
        victim.conn->Execute("UPDATE " + t + " SET v = v + 10 WHERE id = 2", &victimError);
    victim.conn->RollbackTrans();
    second.join();
    ASSERT_TRUE(waiting) << "the second session never waited for the lock";
    EXPECT_FALSE(winnerError);

    // Only a general failure that names a deadlock waits. The driver's statement-level rollback keeps
    // the victim's first lock, so retries may deadlock again: up to five waits, each a second longer.
    const std::vector<int32_t> sleeps = victim.host->sleeps(), steps{1000, 2000, 3000, 4000, 5000};
    EXPECT_TRUE(!sleeps.empty() && sleeps.size() <= 5 &&
                std::equal(sleeps.begin(), sleeps.end(), steps.begin()))
        << testing::PrintToString(sleeps);
    ASSERT_EQ(victim.host->messages().size(), 1u);
    const QString& text = victim.host->messages()[0].Text;
    EXPECT_TRUE(text.startsWith("Database Error: -2147467259 - ") && text.contains("deadlock"))
        << text.toStdString();
    EXPECT_TRUE(victimError && victim.errors->reports().empty());
}

// ExecuteWC on SQL Server puts the read-uncommitted statement in front of a read. PostgreSQL takes
// that statement too when a semicolon ends it (SQL Server's batch needs none), so the data access
// connection underneath shows that such a recordset still writes back to its one table.
TEST_P(PostgresLive, ReadUncommittedRecordsetsStillWriteBack) {
    LiveSession s(connectionString());
    IDbConnection& db = *s.conn->ADODBConnection();
    ScopedTable table(db, "uncommitted");
    const QString t = table.name();
    s.conn->Execute("CREATE TABLE " + t + " (id INT PRIMARY KEY, name VARCHAR(20))");
    s.conn->Execute("INSERT INTO " + t + " VALUES (1, 'one')");
    auto rs = db.OpenRecordset("SET TRANSACTION ISOLATION LEVEL READ UNCOMMITTED;\rSELECT id, name FROM " + t,
                               ado::adOpenStatic, ado::adLockOptimistic, ado::adOptionUnspecified);
    ASSERT_TRUE(rs && !rs->IsEOF());
    rs->Fields("name").setValue("first");
    rs->Update();
    rs->AddNew();
    rs->Fields("id").setValue(2);
    rs->Fields("name").setValue("two");
    rs->Update();
    EXPECT_EQ(ToText(s.scalar("SELECT string_agg(id || ':' || name, ',' ORDER BY id) FROM " + t)),
              "1:first,2:two");
}

// Execute and ExecuteWC stop at the connection's timeout, and the connection goes on working.
TEST_P(PostgresLive, ExecuteAndExecuteWCStopAtTheCommandTimeout) {
    LiveSession s(connectionString());
    s.conn->setCommandTimeout(1);
    QElapsedTimer timer;
    timer.start();
    // The driver's own statement timeout and our watch race; either way the number is the timeout's.
    EXPECT_EQ(ErrorOf([&] { s.conn->Execute("SELECT pg_sleep(5)"); }).Number, kErrTimeout);
    EXPECT_EQ(ErrorOf([&] { s.conn->ExecuteWC("SELECT pg_sleep(5)"); }).Number, kErrTimeout);
    EXPECT_LT(timer.elapsed(), 6000);
    EXPECT_EQ(ToLong(s.scalar("SELECT 7")), 7);
    s.conn->setCommandTimeout(0);
    EXPECT_EQ(ToLong(s.scalar("SELECT 8 FROM pg_sleep(1.2)")), 8);
}

} // namespace
} // namespace qldb::test
