// qlConnection against real servers: a lost link and a deadlock made real on PostgreSQL, and the
// plain statement routines, transactions and connection failures on SQLite and through the driver
// manager. The user interface is the scripted one, so the boxes a user would see are asserted.
#include "connection/ql_connection.h"
#include "platform/conversions.h"
#include "support/live_servers.h"
#include "support/scripted_error_service.h"
#include "support/scripted_host_services.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QThread>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

namespace qldb::test {
namespace {

const QString kNetworkTail = QStringLiteral("\r\rErrore di connessione al database: errore di rete!\r"
                                            "Verificare la connessione di rete e riprovare.");

// One qlConnection with its own scripted user interface and error service.
struct Session {
    std::shared_ptr<ScriptedErrorService> errors;
    std::shared_ptr<ScriptedHostServices> host = std::make_shared<ScriptedHostServices>();
    std::unique_ptr<qlConnection> conn = std::make_unique<qlConnection>();

    // Opened on the given string; ProviderType ODBC, so that nothing of SQL Server's dialect is added.
    Session(const QString& sConnectionString, int32_t errorMode)
        : errors(std::make_shared<ScriptedErrorService>(kDecisionLeave, errorMode)) {
        conn->setErrors(errors);
        conn->setHostServices(host);
        conn->setProviderType(ql_eProviderType::ODBC);
        conn->setProductName(QStringLiteral("qldb live"));
        conn->setConnectionString(sConnectionString);
        conn->OpenConnection();
    }
    ~Session() {
        if (conn)
            conn->Finalize();
    }

    int32_t value(const QString& sql) {
        auto rs = conn->ExecuteWC(sql);
        if (!rs || rs->IsEOF())
            throw qlException(kErrGeneral, QStringLiteral("test"), QStringLiteral("no row for ") + sql);
        return ToLong(rs->Value(0));
    }
};

// Polls until the condition holds or the time is up.
template <class Condition> bool WaitFor(Condition condition, int timeoutMs = 10000) {
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QThread::msleep(20);
    }
    return true;
}

class PostgresLive : public ::testing::Test {
protected:
    void SetUp() override { QLDB_REQUIRE_LIVE_SERVER(m_pg, "QLDB_TEST_PG"); }
    QString m_pg;
};

TEST_F(PostgresLive, LostLinkShowsTheBoxAndRetryReconnects) {
    Session a(m_pg, kErrorModeRaise);
    Session admin(m_pg, kErrorModeRaise);
    const int32_t pid = a.value(QStringLiteral("SELECT pg_backend_pid()"));
    ASSERT_EQ(
        admin.value(QStringLiteral("SELECT CASE WHEN pg_terminate_backend(%1) THEN 1 ELSE 0 END").arg(pid)),
        1);
    ASSERT_TRUE(WaitFor([&] {
        return admin.value(QStringLiteral("SELECT COUNT(*) FROM pg_stat_activity WHERE pid = %1").arg(pid)) ==
               0;
    }));

    a.host->queueAnswer(MsgAnswer::Retry);
    bool bError = true;
    QString description;
    a.conn->Execute(QStringLiteral("SELECT 1"), &bError, &description);
    ASSERT_EQ(a.host->messages().size(), 1u);
    const ShownMessage& box = a.host->messages()[0];
    // The driver's own words stand between the number and the fixed text.
    EXPECT_TRUE(box.Text.startsWith(QStringLiteral("Database Error: -2147467259 - ") + description))
        << box.Text.toStdString();
    EXPECT_TRUE(box.Text.endsWith(kNetworkTail));
    EXPECT_FALSE(description.isEmpty());
    EXPECT_EQ(box.Buttons, MsgButtons::RetryCancel);
    EXPECT_EQ(box.Icon, MsgIcon::Exclamation);
    EXPECT_EQ(box.Title, "qldb live");
    EXPECT_FALSE(bError);
    EXPECT_TRUE(a.errors->reports().empty());
    // The statement ran again on a new session.
    EXPECT_NE(a.value(QStringLiteral("SELECT pg_backend_pid()")), pid);
    EXPECT_EQ(a.conn->State(), 1);

    // With AutoReconnect the same loss gives up without a word.
    const int32_t pid2 = a.value(QStringLiteral("SELECT pg_backend_pid()"));
    admin.value(QStringLiteral("SELECT CASE WHEN pg_terminate_backend(%1) THEN 1 ELSE 0 END").arg(pid2));
    ASSERT_TRUE(WaitFor([&] {
        return admin.value(
                   QStringLiteral("SELECT COUNT(*) FROM pg_stat_activity WHERE pid = %1").arg(pid2)) == 0;
    }));
    a.conn->setAutoReconnect(true);
    EXPECT_EQ(a.conn->ExecuteWC(QStringLiteral("SELECT 1"), ado::adLockReadOnly, &bError), nullptr);
    EXPECT_TRUE(bError);
    EXPECT_EQ(a.host->messages().size(), 1u);
}

// Two sessions lock two rows in opposite order. The victim is the session with the short deadlock
// timeout: PostgreSQL aborts the statement of the session whose deadlock check finds the cycle.
class PostgresDeadlock : public PostgresLive {
protected:
    struct Outcome {
        bool victimError = false;
        QString victimDescription;
        bool winnerError = true;
    };

    Outcome provoke(Session& victim) {
        Session winner(m_pg, kErrorModeRaise);
        Session admin(m_pg, kErrorModeRaise);
        ScopedTable table(*admin.conn->ADODBConnection(), QStringLiteral("deadlock"));
        const QString t = table.name();
        admin.conn->Execute(QStringLiteral("CREATE TABLE %1 (id INT PRIMARY KEY, v INT)").arg(t));
        admin.conn->Execute(QStringLiteral("INSERT INTO %1 VALUES (1, 0), (2, 0)").arg(t));
        victim.conn->Execute(QStringLiteral("SET deadlock_timeout = '100ms'"));
        winner.conn->Execute(QStringLiteral("SET deadlock_timeout = '20s'"));
        // Nothing here may hang the suite: a lock wait ends after half a minute at most.
        victim.conn->Execute(QStringLiteral("SET lock_timeout = '30s'"));
        winner.conn->Execute(QStringLiteral("SET lock_timeout = '30s'"));
        const int32_t winnerPid = winner.value(QStringLiteral("SELECT pg_backend_pid()"));

        victim.conn->BeginTrans();
        winner.conn->BeginTrans();
        victim.conn->Execute(QStringLiteral("UPDATE %1 SET v = v + 1 WHERE id = 1").arg(t));
        winner.conn->Execute(QStringLiteral("UPDATE %1 SET v = v + 1 WHERE id = 2").arg(t));

        Outcome out;
        std::thread second([&] {
            winner.conn->Execute(QStringLiteral("UPDATE %1 SET v = v + 10 WHERE id = 1").arg(t),
                                 &out.winnerError);
            if (!out.winnerError)
                winner.conn->CommitTrans();
        });
        // The victim asks for its second row only once the winner waits for the first.
        const bool waiting = WaitFor([&] {
            return admin.value(QStringLiteral("SELECT COUNT(*) FROM pg_stat_activity WHERE pid = %1 AND "
                                              "wait_event_type = 'Lock'")
                                   .arg(winnerPid)) == 1;
        });
        if (waiting)
            victim.conn->Execute(QStringLiteral("UPDATE %1 SET v = v + 10 WHERE id = 2").arg(t),
                                 &out.victimError, &out.victimDescription);
        victim.conn->RollbackTrans();
        second.join();
        EXPECT_TRUE(waiting) << "the second session never waited for the lock";
        EXPECT_FALSE(out.winnerError);
        // The winner's work is all there; the victim's is gone.
        EXPECT_EQ(admin.value(QStringLiteral("SELECT v FROM %1 WHERE id = 1").arg(t)), 10);
        EXPECT_EQ(admin.value(QStringLiteral("SELECT v FROM %1 WHERE id = 2").arg(t)), 1);
        return out;
    }
};

TEST_F(PostgresDeadlock, TheVictimsErrorIsTheGeneralNumberWithTheDriversText) {
    Session victim(m_pg, 0);
    const Outcome out = provoke(victim);
    EXPECT_TRUE(out.victimError);
    ASSERT_EQ(victim.errors->reports().size(), 1u);
    const ErrorRecord& e = victim.errors->reports()[0].Error;
    EXPECT_EQ(e.Number, kErrGeneral);
    EXPECT_TRUE(e.Description.contains(QLatin1String("deadlock"), Qt::CaseInsensitive))
        << e.Description.toStdString();
    EXPECT_EQ(e.SqlState, "40P01");
    EXPECT_EQ(out.victimDescription, e.Description);
    EXPECT_EQ(victim.errors->reports()[0].Routine, "Execute");
}

TEST_F(PostgresDeadlock, TheVictimWaitsAndRetriesThenAsks) {
    Session victim(m_pg, kErrorModeRaise);
    const Outcome out = provoke(victim);
    // The deadlock wait ran (only a general failure that names a deadlock gets there), then the
    // box, answered Cancel, ended the call quietly.
    // With the driver's statement-level rollback the victim keeps its first lock, so each retry
    // deadlocks again and all five waits run; with a transaction-level rollback the first retry
    // fails otherwise. Either way the waits grow by a second each.
    const std::vector<int32_t>& sleeps = victim.host->sleeps();
    ASSERT_FALSE(sleeps.empty());
    ASSERT_LE(sleeps.size(), 5u);
    for (std::size_t i = 0; i < sleeps.size(); ++i)
        EXPECT_EQ(sleeps[i], static_cast<int32_t>(i + 1) * 1000);
    ASSERT_EQ(victim.host->messages().size(), 1u);
    EXPECT_TRUE(victim.host->messages()[0].Text.startsWith("Database Error: -2147467259 - "));
    EXPECT_TRUE(out.victimError);
    EXPECT_TRUE(victim.errors->reports().empty());
}

// ---- SQLite and the driver manager: plain use and clear failures ----

class SqliteLive : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_db.isValid()); }
    SqliteTempDatabase m_db;
};

TEST_F(SqliteLive, StatementsAndTransactions) {
    Session s(m_db.connectionString(), kErrorModeRaise);
    bool bError = true;
    s.conn->Execute(QStringLiteral("CREATE TABLE ITEMS (ID INTEGER PRIMARY KEY, NAME VARCHAR(20))"), &bError);
    EXPECT_FALSE(bError);
    s.conn->Execute(QStringLiteral("INSERT INTO ITEMS VALUES (1, 'one')"));
    auto rs = s.conn->ExecuteWC(QStringLiteral("SELECT ID, NAME FROM ITEMS"));
    ASSERT_NE(rs, nullptr);
    EXPECT_EQ(rs->RecordCount(), 1);
    EXPECT_EQ(rs->Value(QStringLiteral("NAME")).toString(), "one");
    rs = s.conn->ExecuteCommand(QStringLiteral("SELECT COUNT(*) FROM ITEMS"));
    ASSERT_NE(rs, nullptr);
    EXPECT_EQ(ToLong(rs->Value(0)), 1);

    EXPECT_EQ(s.conn->BeginTrans(), 1);
    s.conn->Execute(QStringLiteral("INSERT INTO ITEMS VALUES (2, 'two')"));
    EXPECT_EQ(s.conn->RollbackTrans(), -1);
    EXPECT_EQ(s.value(QStringLiteral("SELECT COUNT(*) FROM ITEMS")), 1);
    s.conn->BeginTrans();
    s.conn->Execute(QStringLiteral("INSERT INTO ITEMS VALUES (2, 'two')"));
    EXPECT_EQ(s.conn->CommitTrans(), -1);
    EXPECT_EQ(s.value(QStringLiteral("SELECT COUNT(*) FROM ITEMS")), 2);

    // A real syntax error in the mode that raises: the caller gets it with the routine as source.
    try {
        s.conn->Execute(QStringLiteral("SELEC 1"));
        FAIL() << "no error";
    } catch (const qlException& e) {
        EXPECT_EQ(e.number(), kErrSyntax);
        EXPECT_EQ(e.record().Source, "qlConnection.Execute");
        EXPECT_FALSE(e.description().isEmpty());
    }
    EXPECT_EQ(s.errors->ErrorCount(), 1);
    EXPECT_TRUE(s.host->messages().empty());
}

TEST_F(SqliteLive, StatementOnAClosedConnectionIsReported) {
    Session s(m_db.connectionString(), 0);
    s.conn->CloseConnection();
    EXPECT_EQ(s.conn->State(), 0);
    bool bError = false;
    QString description;
    s.conn->Execute(QStringLiteral("SELECT 1"), &bError, &description);
    EXPECT_TRUE(bError);
    EXPECT_FALSE(description.isEmpty());
    ASSERT_EQ(s.errors->reports().size(), 1u);
    EXPECT_EQ(s.errors->reports()[0].Routine, "Execute");
    EXPECT_EQ(s.conn->ExecuteWC(QStringLiteral("SELECT 1"), ado::adLockReadOnly, &bError), nullptr);
    EXPECT_TRUE(bError);
    // Closing again gets the data access error back; opening again works with the kept string.
    EXPECT_THROW(s.conn->CloseConnection(), qlException);
    s.conn->OpenConnection();
    EXPECT_EQ(s.value(QStringLiteral("SELECT 7")), 7);
}

// Each failure to open reaches the caller as a raised error with the driver's words.
void ExpectOpenFails(const QString& sConnectionString) {
    SCOPED_TRACE(sConnectionString.toStdString());
    qlConnection c;
    c.setErrors(std::make_shared<ScriptedErrorService>());
    c.setConnectionString(sConnectionString);
    try {
        c.OpenConnection();
        ADD_FAILURE() << "the open succeeded";
    } catch (const qlException& e) {
        EXPECT_EQ(e.number(), kErrGeneral);
        EXPECT_FALSE(e.description().isEmpty());
    }
    EXPECT_EQ(c.State(), 0);
    // The string is kept for the caller to look at or empty.
    EXPECT_EQ(c.ConnectionString(), sConnectionString);
}

TEST(ConnectionFailuresLive, UnreachableServerAndUnknownDriver) {
    ExpectOpenFails(QStringLiteral(
        "DRIVER={PostgreSQL Unicode};SERVER=127.0.0.1;PORT=1;DATABASE=qldb_test;UID=qldb;PWD=qldb;"));
    ExpectOpenFails(QStringLiteral("DRIVER={No Such Driver 9};SERVER=127.0.0.1;DATABASE=x;"));
}

TEST_F(PostgresLive, WrongPassword) {
    QString wrong = m_pg;
    wrong.replace(QRegularExpression(QStringLiteral("PWD=[^;]*"), QRegularExpression::CaseInsensitiveOption),
                  QStringLiteral("PWD=not-the-password"));
    ASSERT_NE(wrong, m_pg) << "QLDB_TEST_PG names no password";
    ExpectOpenFails(wrong);
}

} // namespace
} // namespace qldb::test
