// The ODBC connection against real servers: SQLite on a fresh file, PostgreSQL and MariaDB from
// the environment (scripts/services.sh). Each test runs once per server.
#include "platform/conversions.h"
#include "platform/error_record.h"
#include "support/live_servers.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <chrono>
#include <future>
#include <ostream>
#include <thread>

// Readable texts in failure messages.
static void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

namespace qldb::test {
namespace {

const QString kClosed = QStringLiteral("Operation is not allowed when the object is closed.");

template <class F> ErrorRecord ErrorOf(F&& f) {
    try {
        f();
    } catch (const qlException& e) {
        return e.record();
    }
    ADD_FAILURE() << "no error was raised";
    return {};
}

QString WithKey(QString s, const char* key, const QString& value) {
    const QRegularExpression pattern(QStringLiteral("%1=[^;]*").arg(QLatin1String(key)),
                                     QRegularExpression::CaseInsensitiveOption);
    return s.replace(pattern, QLatin1String(key) + QLatin1Char('=') + value);
}

class OdbcLive : public LiveServerTest {
protected:
    void SetUp() override {
        LiveServerTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        db = connect();
    }

    bool isSqlite() const { return server() == LiveServer::SQLite; }
    bool isPg() const { return server() == LiveServer::PostgreSQL; }

    void exec(const QString& sql) { db->Execute(sql, ado::adExecuteNoRecords); }
    std::shared_ptr<Recordset> query(const QString& sql) {
        return db->Execute(sql, ado::adOptionUnspecified);
    }
    QVariant scalar(IDbConnection& connection, const QString& sql) {
        auto rs = connection.Execute(sql, ado::adOptionUnspecified);
        return rs->IsEOF() ? QVariant() : rs->Value(0);
    }

    std::shared_ptr<IDbConnection> db;
};

TEST_P(OdbcLive, OpensClosesAndRefusesWorkWhenClosed) {
    EXPECT_EQ(db->State(), ado::adStateOpen);
    EXPECT_EQ(ErrorOf([&] { db->Open(); }).Number, 3705);
    db->Cancel(); // nothing runs: harmless
    db->Close();
    EXPECT_EQ(db->State(), ado::adStateClosed);
    db->Cancel();
    for (const auto& call : std::vector<std::function<void()>>{
             [&] { db->Close(); }, [&] { exec(QStringLiteral("SELECT 1")); },
             [&] {
                 db->OpenRecordset(QStringLiteral("SELECT 1"), ado::adOpenStatic, ado::adLockReadOnly, -1);
             },
             [&] {
                 db->ExecuteCommand(Command{QStringLiteral("SELECT 1"), ado::adCmdText, 0, false, {}}, -1);
             },
             [&] { db->BeginTrans(); }, [&] { db->Tables(); }}) {
        const ErrorRecord e = ErrorOf(call);
        EXPECT_EQ(e.Number, kErrObjectClosed);
        EXPECT_EQ(e.Description, kClosed);
    }
    // The same object opens again on the string it kept.
    db->Open();
    EXPECT_EQ(scalar(*db, QStringLiteral("SELECT 7")).toInt(), 7);
}

TEST_P(OdbcLive, FailedOpensReportTheDriversReason) {
    std::vector<QString> wrong{QStringLiteral("DRIVER={No Such Driver};SERVER=x;")};
    if (isSqlite()) {
        wrong.push_back(SqliteConnectionString(QStringLiteral("/nonexistent-qldb-folder/sub/db.sqlite")));
    } else {
        wrong.push_back(WithKey(connectionString(), "PWD", QStringLiteral("not-the-password")));
        // Nothing listens on port 1 of the loopback: the connection is refused at once.
        wrong.push_back(WithKey(connectionString(), "PORT", QStringLiteral("1")));
    }
    for (const QString& s : wrong) {
        auto connection = CreateOdbcConnection();
        connection->setConnectionString(s);
        const ErrorRecord e = ErrorOf([&] { connection->Open(); });
        EXPECT_EQ(e.Number, kErrGeneral) << s.toStdString();
        EXPECT_FALSE(e.Description.isEmpty());
        EXPECT_FALSE(e.SqlState.isEmpty());
        EXPECT_EQ(connection->State(), ado::adStateClosed);
        ASSERT_FALSE(connection->Errors().empty());
        EXPECT_EQ(connection->Errors().front().Description, e.Description);
    }
}

TEST_P(OdbcLive, ValuesKeepTheirTypesAndNulls) {
    ScopedTable t(*db);
    exec(QStringLiteral("CREATE TABLE %1 (ID INTEGER, NAME VARCHAR(30), AMOUNT DECIMAL(10,2), BIG BIGINT, "
                        "RATIO FLOAT, BORN DATE, STAMP TIMESTAMP, NOTE VARCHAR(10))")
             .arg(t.name()));
    exec(QStringLiteral("INSERT INTO %1 VALUES (42, 'Grüße €', 12.34, 9000000000, 0.5, '2024-02-29', "
                        "'2024-03-01 13:14:15', '')")
             .arg(t.name()));
    exec(QStringLiteral("INSERT INTO %1 (ID) VALUES (43)").arg(t.name()));
    auto rs =
        query(QStringLiteral("SELECT ID, NAME, AMOUNT, BIG, RATIO, BORN, STAMP, NOTE FROM %1 ORDER BY ID")
                  .arg(t.name()));
    ASSERT_EQ(rs->State(), ado::adStateOpen);
    ASSERT_EQ(rs->RecordCount(), 2);

    EXPECT_EQ(rs->Fields(0).Type(), ado::adInteger);
    EXPECT_EQ(rs->Fields(3).Type(), ado::adBigInt);
    EXPECT_TRUE(rs->Fields(1).Type() == ado::adVarChar || rs->Fields(1).Type() == ado::adVarWChar);
    EXPECT_EQ(rs->Fields(1).DefinedSize(), 30);

    EXPECT_EQ(rs->Value(0), QVariant(42));
    EXPECT_EQ(rs->Value(1).toString(), QStringLiteral("Grüße €"));
    EXPECT_EQ(rs->Fields(1).ActualSize(), 7);
    EXPECT_DOUBLE_EQ(rs->Value(2).toDouble(), 12.34);
    EXPECT_EQ(rs->Value(3).toLongLong(), 9000000000LL);
    EXPECT_DOUBLE_EQ(rs->Value(4).toDouble(), 0.5);
    EXPECT_EQ(rs->Value(5).toDate(), QDate(2024, 2, 29));
    EXPECT_EQ(rs->Value(6).toDateTime(), QDateTime(QDate(2024, 3, 1), QTime(13, 14, 15)));
    EXPECT_FALSE(IsNullOrEmpty(rs->Value(7)));
    EXPECT_EQ(rs->Value(7).toString(), QString());

    rs->MoveNext();
    EXPECT_EQ(rs->Value(0), QVariant(43));
    for (int i = 1; i < rs->FieldCount(); ++i)
        EXPECT_TRUE(IsNull(rs->Value(i))) << rs->Fields(i).Name().toStdString();
}

TEST_P(OdbcLive, StatementsWithoutRowsetGiveStateZeroOrNothing) {
    ScopedTable t(*db);
    exec(QStringLiteral("CREATE TABLE %1 (ID INTEGER)").arg(t.name()));
    EXPECT_EQ(db->Execute(QStringLiteral("INSERT INTO %1 VALUES (1)").arg(t.name()), ado::adExecuteNoRecords),
              nullptr);
    auto none = query(QStringLiteral("UPDATE %1 SET ID = 2 WHERE ID = 99").arg(t.name()));
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->State(), ado::adStateClosed);
    auto changed = query(QStringLiteral("UPDATE %1 SET ID = 2").arg(t.name()));
    EXPECT_EQ(changed->State(), ado::adStateClosed);
    EXPECT_EQ(scalar(*db, QStringLiteral("SELECT ID FROM %1").arg(t.name())).toInt(), 2);
    if (isPg()) {
        // A batch whose rowset follows a statement without one: the rowset is found.
        auto rs = query(QStringLiteral("UPDATE %1 SET ID = 3; SELECT ID FROM %1").arg(t.name()));
        ASSERT_EQ(rs->State(), ado::adStateOpen);
        EXPECT_EQ(rs->Value(0).toInt(), 3);
    }
}

TEST_P(OdbcLive, CommandsBindPositionalParametersOfEveryKind) {
    ScopedTable t(*db);
    const QString blobType = isPg() ? QStringLiteral("BYTEA") : QStringLiteral("BLOB");
    const QString textType = QStringLiteral("TEXT");
    exec(QStringLiteral(
             "CREATE TABLE %1 (ID INTEGER, NAME VARCHAR(40), WHEN_AT TIMESTAMP, AMOUNT DECIMAL(12,3), "
             "MEMO %2, DATA %3)")
             .arg(t.name(), textType, blobType));

    // Long values come back in pieces; both must arrive whole.
    QString memo;
    for (int i = 0; i < 3000; ++i)
        memo += QStringLiteral("%1ä").arg(i % 10);
    QByteArray data;
    for (int i = 0; i < 20000; ++i)
        data.append(static_cast<char>(i % 251));

    Command insert;
    insert.CommandText = QStringLiteral("INSERT INTO %1 VALUES (?, ?, ?, ?, ?, ?)").arg(t.name());
    insert.Parameters = {
        {QString(), ado::adInteger, ado::adParamInput, 0, 5},
        {QString(), ado::adVarWChar, ado::adParamInput, 40, QStringLiteral("l'été")},
        {QString(), ado::adDBTimeStamp, ado::adParamInput, 0, QDateTime(QDate(2023, 7, 14), QTime(6, 7, 8))},
        {QString(), ado::adNumeric, ado::adParamInput, 0, 1234.5},
        {QString(), ado::adLongVarWChar, ado::adParamInput, 0, memo},
        {QString(), ado::adLongVarBinary, ado::adParamInput, 0, data},
    };
    EXPECT_EQ(db->ExecuteCommand(insert, ado::adExecuteNoRecords), nullptr);
    insert.Parameters[0].Value = 6;
    for (size_t i = 1; i < insert.Parameters.size(); ++i)
        insert.Parameters[i].Value = NullVariant();
    db->ExecuteCommand(insert, ado::adExecuteNoRecords);

    Command select;
    select.CommandText =
        QStringLiteral("SELECT NAME, WHEN_AT, AMOUNT, MEMO, DATA FROM %1 WHERE ID = ? OR NAME = ?")
            .arg(t.name());
    select.Parameters = {{QString(), ado::adEmpty, ado::adParamInput, 0, 5},
                         {QString(), ado::adVarWChar, ado::adParamInput, 0, NullVariant()}};
    auto rs = db->ExecuteCommand(select, ado::adOptionUnspecified);
    ASSERT_EQ(rs->RecordCount(), 1);
    EXPECT_EQ(rs->Value(0).toString(), QStringLiteral("l'été"));
    EXPECT_EQ(rs->Value(1).toDateTime(), QDateTime(QDate(2023, 7, 14), QTime(6, 7, 8)));
    EXPECT_DOUBLE_EQ(rs->Value(2).toDouble(), 1234.5);
    EXPECT_EQ(rs->Value(3).toString(), memo);
    EXPECT_EQ(rs->Value(4).toByteArray(), data);
    EXPECT_EQ(rs->Fields(4).ActualSize(), 20000);

    select.Parameters[0].Value = 6;
    rs = db->ExecuteCommand(select, ado::adOptionUnspecified);
    ASSERT_EQ(rs->RecordCount(), 1);
    for (int i = 0; i < rs->FieldCount(); ++i)
        EXPECT_TRUE(IsNull(rs->Value(i)));
}

// A statement that runs longer than a second on each server.
QString SlowStatement(LiveServer server) {
    switch (server) {
    case LiveServer::PostgreSQL:
        return QStringLiteral("SELECT pg_sleep(8)");
    case LiveServer::MariaDB:
        return QStringLiteral("SELECT SLEEP(8)");
    case LiveServer::SQLite:
        break;
    }
    return QStringLiteral(
        "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < 500000000) "
        "SELECT COUNT(*) FROM c");
}

TEST_P(OdbcLive, CommandTimeoutStopsALongStatement) {
    Command slow;
    slow.CommandText = SlowStatement(server());
    slow.CommandTimeout = 1;
    QElapsedTimer timer;
    timer.start();
    const ErrorRecord e = ErrorOf([&] { db->ExecuteCommand(slow, ado::adOptionUnspecified); });
    EXPECT_EQ(e.Number, kErrTimeout) << e.Description.toStdString();
    EXPECT_LT(timer.elapsed(), 5000);
    // The connection goes on working, and without a timeout the same kind of command runs.
    slow.CommandText = QStringLiteral("SELECT 3");
    slow.CommandTimeout = 0;
    EXPECT_EQ(db->ExecuteCommand(slow, ado::adOptionUnspecified)->Value(0).toInt(), 3);
}

TEST_P(OdbcLive, StoredProceduresTakeTheCallEscape) {
    if (isSqlite())
        GTEST_SKIP() << "SQLite has no stored procedures";
    const QString name = UniqueTableName(QStringLiteral("p"));
    if (isPg())
        exec(QStringLiteral(
                 "CREATE FUNCTION %1(a INTEGER, b VARCHAR) RETURNS TABLE (total INTEGER, label VARCHAR) "
                 "AS $$ SELECT a * 2, b || '!' $$ LANGUAGE SQL")
                 .arg(name));
    else
        exec(QStringLiteral("CREATE PROCEDURE %1(IN a INTEGER, IN b VARCHAR(20)) SELECT a * 2 AS total, "
                            "CONCAT(b, '!') AS label")
                 .arg(name));
    Command call;
    call.CommandText = name;
    call.CommandType = ado::adCmdStoredProc;
    call.CommandTimeout = 0;
    call.NamedParameters = true;
    const Parameter a{QStringLiteral("a"), ado::adInteger, ado::adParamInput, 0, 21};
    const Parameter b{QStringLiteral("b"), ado::adVarWChar, ado::adParamInput, 20, QStringLiteral("ok")};
    // PostgreSQL's driver matches parameters by name, so their order does not matter; MariaDB's
    // takes them by position.
    call.Parameters = isPg() ? std::vector<Parameter>{b, a} : std::vector<Parameter>{a, b};
    auto rs = db->ExecuteCommand(call, ado::adOptionUnspecified);
    ASSERT_EQ(rs->State(), ado::adStateOpen);
    EXPECT_EQ(rs->Value(0).toInt(), 42);
    EXPECT_EQ(rs->Value(1).toString(), QStringLiteral("ok!"));
    exec((isPg() ? QStringLiteral("DROP FUNCTION ") : QStringLiteral("DROP PROCEDURE ")) + name);
}

TEST_P(OdbcLive, TransactionsCommitAndRollBack) {
    ScopedTable t(*db);
    exec(QStringLiteral("CREATE TABLE %1 (ID INTEGER)").arg(t.name()));
    auto other = connect();
    const QString count = QStringLiteral("SELECT COUNT(*) FROM %1").arg(t.name());

    EXPECT_EQ(db->BeginTrans(), 1);
    const ErrorRecord nested = ErrorOf([&] { db->BeginTrans(); });
    EXPECT_EQ(nested.Number, -2147168237);
    EXPECT_EQ(nested.Description, QStringLiteral("Only one transaction can be active on this session."));
    exec(QStringLiteral("INSERT INTO %1 VALUES (1)").arg(t.name()));
    EXPECT_EQ(ToLong(scalar(*db, count)), 1);
    db->RollbackTrans();
    EXPECT_EQ(ToLong(scalar(*db, count)), 0);

    EXPECT_EQ(db->BeginTrans(), 1);
    exec(QStringLiteral("INSERT INTO %1 VALUES (2)").arg(t.name()));
    db->CommitTrans();
    EXPECT_EQ(ToLong(scalar(*other, count)), 1);
    // Autocommit is back: a plain statement is visible to the other session at once.
    exec(QStringLiteral("INSERT INTO %1 VALUES (3)").arg(t.name()));
    EXPECT_EQ(ToLong(scalar(*other, count)), 2);

    for (const auto& end : {std::function<void()>([&] { db->CommitTrans(); }),
                            std::function<void()>([&] { db->RollbackTrans(); })}) {
        const ErrorRecord e = ErrorOf(end);
        EXPECT_EQ(e.Number, -2147168242);
        EXPECT_EQ(e.Description, QStringLiteral("No transaction is active."));
    }

    // Closing with a transaction open undoes it.
    db->BeginTrans();
    exec(QStringLiteral("INSERT INTO %1 VALUES (4)").arg(t.name()));
    db->Close();
    EXPECT_EQ(ToLong(scalar(*other, count)), 2);
    db->Open();
}

TEST_P(OdbcLive, CatalogListsTablesViewsAndColumns) {
    ScopedTable t(*db);
    exec(QStringLiteral("CREATE TABLE %1 (ID INTEGER NOT NULL, CODE VARCHAR(12), PRICE DECIMAL(10,2), "
                        "PRIMARY KEY (ID))")
             .arg(t.name()));
    // A table whose name the first one's "_" would match as a pattern.
    QString lookalike = t.name();
    lookalike[lookalike.indexOf(QLatin1Char('_'), 3)] = QLatin1Char('x');
    exec(QStringLiteral("CREATE TABLE %1 (OTHER INTEGER)").arg(lookalike));
    const QString view = t.name() + QStringLiteral("v");
    exec(QStringLiteral("CREATE VIEW %1 AS SELECT ID, CODE FROM %2").arg(view, t.name()));

    bool tableSeen = false, viewSeen = false;
    for (const CatalogTable& table : db->Tables()) {
        if (table.Name.compare(t.name(), Qt::CaseInsensitive) == 0)
            tableSeen = table.Type == QLatin1String("TABLE");
        if (table.Name.compare(view, Qt::CaseInsensitive) == 0)
            viewSeen = table.Type == QLatin1String("VIEW");
    }
    EXPECT_TRUE(tableSeen);
    EXPECT_TRUE(viewSeen);

    const std::vector<CatalogColumn> columns = db->Columns(t.name());
    ASSERT_EQ(columns.size(), 3u);
    EXPECT_EQ(columns[0].Name.toUpper(), QStringLiteral("ID"));
    EXPECT_EQ(columns[0].Type, ado::adInteger);
    EXPECT_EQ(columns[0].DefinedSize, 4);
    EXPECT_EQ(columns[1].Name.toUpper(), QStringLiteral("CODE"));
    EXPECT_TRUE(columns[1].Type == ado::adVarChar || columns[1].Type == ado::adVarWChar);
    EXPECT_EQ(columns[1].DefinedSize, 12);
    EXPECT_EQ(columns[2].Name.toUpper(), QStringLiteral("PRICE"));
    EXPECT_EQ(db->Columns(view).size(), 2u);
    EXPECT_TRUE(db->Columns(t.name() + QStringLiteral("_missing")).empty());
    exec(QStringLiteral("DROP VIEW %1").arg(view));
    exec(QStringLiteral("DROP TABLE %1").arg(lookalike));
}

TEST_P(OdbcLive, AddNewAndUpdateWriteBackToTheTable) {
    ScopedTable keyed(*db, QStringLiteral("k"));
    ScopedTable loose(*db, QStringLiteral("l"));
    exec(QStringLiteral(
             "CREATE TABLE %1 (ID INTEGER NOT NULL PRIMARY KEY, NAME VARCHAR(20), QTY INTEGER DEFAULT 7, "
             "PHOTO %2)")
             .arg(keyed.name(), isPg() ? QStringLiteral("BYTEA") : QStringLiteral("BLOB")));
    exec(QStringLiteral("CREATE TABLE %1 (NAME VARCHAR(20), QTY INTEGER)").arg(loose.name()));

    auto rs = db->OpenRecordset(QStringLiteral("SELECT * FROM %1").arg(keyed.name()), ado::adOpenStatic,
                                ado::adLockOptimistic, ado::adOptionUnspecified);
    rs->AddNew();
    rs->Fields(QStringLiteral("ID")).setValue(1);
    rs->Fields(QStringLiteral("NAME")).setValue(QStringLiteral("first"));
    rs->Fields(QStringLiteral("PHOTO")).setValue(QByteArray("\x89PNG\x00\x01", 6));
    rs->Update();
    rs->AddNew();
    rs->Fields(QStringLiteral("ID")).setValue(2);
    rs->Update();
    EXPECT_EQ(rs->RecordCount(), 2);
    rs->MoveFirst();
    rs->Fields(QStringLiteral("NAME")).setValue(QStringLiteral("renamed"));
    rs->Update();

    auto back = query(QStringLiteral("SELECT ID, NAME, QTY, PHOTO FROM %1 ORDER BY ID").arg(keyed.name()));
    ASSERT_EQ(back->RecordCount(), 2);
    EXPECT_EQ(back->Value(1).toString(), QStringLiteral("renamed"));
    // QTY was never set: the table's default applies.
    EXPECT_EQ(back->Value(2).toInt(), 7);
    EXPECT_EQ(back->Value(3).toByteArray(), QByteArray("\x89PNG\x00\x01", 6));
    back->MoveNext();
    EXPECT_TRUE(IsNull(back->Value(1)));

    // Without a key the row is found by its old values; changed behind our back, it is not.
    exec(QStringLiteral("INSERT INTO %1 VALUES ('a', 1)").arg(loose.name()));
    auto edit = db->OpenRecordset(QStringLiteral("SELECT NAME, QTY FROM %1 WHERE QTY = 1").arg(loose.name()),
                                  ado::adOpenStatic, ado::adLockOptimistic, ado::adOptionUnspecified);
    edit->Fields(1).setValue(2);
    edit->Update();
    EXPECT_EQ(scalar(*db, QStringLiteral("SELECT QTY FROM %1").arg(loose.name())).toInt(), 2);
    exec(QStringLiteral("UPDATE %1 SET QTY = 9").arg(loose.name()));
    edit->Fields(1).setValue(3);
    const ErrorRecord lost = ErrorOf([&] { edit->Update(); });
    EXPECT_EQ(lost.Number, -2147217864);
    EXPECT_EQ(lost.Description,
              QStringLiteral("Row cannot be located for updating. Some values may have been "
                             "changed since it was last read."));

    auto readOnly = db->OpenRecordset(QStringLiteral("SELECT * FROM %1").arg(loose.name()), ado::adOpenStatic,
                                      ado::adLockReadOnly, ado::adOptionUnspecified);
    EXPECT_EQ(ErrorOf([&] { readOnly->AddNew(); }).Number, 3251);
}

TEST_P(OdbcLive, ErrorNumbersFollowTheCondition) {
    ScopedTable t(*db);
    exec(QStringLiteral("CREATE TABLE %1 (ID INTEGER NOT NULL PRIMARY KEY)").arg(t.name()));
    exec(QStringLiteral("INSERT INTO %1 VALUES (1)").arg(t.name()));

    const QString syntax = QStringLiteral("SELEC 1");
    const ErrorRecord e1 = ErrorOf([&] { query(syntax); });
    EXPECT_EQ(e1.Number, kErrSyntax) << e1.Description.toStdString();
    EXPECT_EQ(e1.Statement, syntax);
    EXPECT_EQ(e1.Source, QStringLiteral("Connection.Execute"));
    ASSERT_FALSE(db->Errors().empty());
    EXPECT_EQ(db->Errors().front().Description, e1.Description);

    const ErrorRecord e2 = ErrorOf([&] { query(QStringLiteral("SELECT * FROM %1_none").arg(t.name())); });
    EXPECT_EQ(e2.Number, kErrUnknownTable) << e2.Description.toStdString();
    EXPECT_TRUE(e2.Description.contains(t.name() + QStringLiteral("_none"), Qt::CaseInsensitive));

    const ErrorRecord e3 = ErrorOf([&] { exec(QStringLiteral("INSERT INTO %1 VALUES (1)").arg(t.name())); });
    EXPECT_EQ(e3.Number, kErrIntegrity) << e3.Description.toStdString();
    if (!isSqlite()) {
        EXPECT_TRUE(e1.SqlState.startsWith(QLatin1String("42")));
        EXPECT_TRUE(e3.SqlState.startsWith(QLatin1String("23")));
    }
    // The connection stays usable after its statements failed.
    EXPECT_EQ(ToLong(scalar(*db, QStringLiteral("SELECT COUNT(*) FROM %1").arg(t.name()))), 1);
}

TEST_P(OdbcLive, CancelStopsTheRunningStatementFromAnotherThread) {
    const QString sleep = SlowStatement(server());
    QElapsedTimer timer;
    timer.start();
    auto canceller = std::async(std::launch::async, [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        db->Cancel();
    });
    try {
        query(sleep);
    } catch (const qlException&) {
        // PostgreSQL and SQLite end the statement with an error; MariaDB's SLEEP returns early.
    }
    canceller.get();
    EXPECT_LT(timer.elapsed(), 5000);
    EXPECT_EQ(scalar(*db, QStringLiteral("SELECT 5")).toInt(), 5);
}

TEST_P(OdbcLive, ALostSessionIsAGeneralError) {
    if (isSqlite())
        GTEST_SKIP() << "SQLite has no session to lose";
    const QString pid = scalar(*db, isPg() ? QStringLiteral("SELECT pg_backend_pid()")
                                           : QStringLiteral("SELECT CONNECTION_ID()"))
                            .toString();
    auto killer = connect();
    killer->Execute(isPg() ? QStringLiteral("SELECT pg_terminate_backend(%1)").arg(pid)
                           : QStringLiteral("KILL %1").arg(pid),
                    ado::adExecuteNoRecords);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const ErrorRecord e = ErrorOf([&] { query(QStringLiteral("SELECT 1")); });
    EXPECT_EQ(e.Number, kErrGeneral) << e.SqlState.toStdString() << " " << e.Description.toStdString();
    // Closing and opening again gives a working session.
    db->Close();
    db->Open();
    EXPECT_EQ(scalar(*db, QStringLiteral("SELECT 1")).toInt(), 1);
}

TEST_P(OdbcLive, ADeadlockVictimGetsAGeneralErrorThatSaysDeadlock) {
    if (isSqlite())
        GTEST_SKIP() << "SQLite locks the whole file: two sessions cannot deadlock on rows";
    ScopedTable t(*db);
    exec(QStringLiteral("CREATE TABLE %1 (ID INTEGER PRIMARY KEY, V INTEGER)").arg(t.name()));
    exec(QStringLiteral("INSERT INTO %1 VALUES (1, 0), (2, 0)").arg(t.name()));
    auto other = connect();
    const auto update = [&](IDbConnection& c, int id) {
        c.Execute(QStringLiteral("UPDATE %1 SET V = V + 1 WHERE ID = %2").arg(t.name()).arg(id),
                  ado::adExecuteNoRecords);
    };
    db->BeginTrans();
    other->BeginTrans();
    update(*db, 1);
    update(*other, 2);
    auto blocked = std::async(std::launch::async, [&]() -> std::optional<ErrorRecord> {
        try {
            update(*db, 2);
            return std::nullopt;
        } catch (const qlException& e) {
            return e.record();
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    std::optional<ErrorRecord> second;
    try {
        update(*other, 1);
    } catch (const qlException& e) {
        second = e.record();
    }
    // The victim's transaction is gone; the survivor's update goes through once the victim ends.
    if (second)
        other->RollbackTrans();
    const std::optional<ErrorRecord> first = blocked.get();
    if (first)
        db->RollbackTrans();
    ASSERT_TRUE(first.has_value() != second.has_value()) << "exactly one session must be the victim";
    const ErrorRecord& victim = first ? *first : *second;
    EXPECT_EQ(victim.Number, kErrGeneral);
    EXPECT_TRUE(victim.Description.contains(QLatin1String("deadlock"), Qt::CaseInsensitive))
        << victim.Description.toStdString();
    if (first)
        other->CommitTrans();
    else
        db->CommitTrans();
}

QLDB_INSTANTIATE_LIVE_TEST(OdbcLive);

} // namespace
} // namespace qldb::test
