// The ODBC connection against SQLite on a fresh file and the PostgreSQL and MariaDB test servers.
#include "platform/tools/conversions.h"
#include "support/live_servers.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <functional>
#include <tuple>

namespace qldb::test {
namespace {

class OdbcLive : public LiveServerTest {
protected:
    void SetUp() override {
        LiveServerTest::SetUp();
        if (!IsSkipped() && !HasFatalFailure())
            db = connect();
    }
    bool isSqlite() const { return server() == LiveServer::SQLite; }
    bool isPg() const { return server() == LiveServer::PostgreSQL; }
    QString blobType() const { return isPg() ? "BYTEA" : "BLOB"; }
    void exec(const QString& sql) { db->Execute(sql, ado::adExecuteNoRecords); }
    auto query(const QString& sql) { return db->Execute(sql, ado::adOptionUnspecified); }
    static QVariant scalar(IDbConnection& c, const QString& sql) {
        auto rs = c.Execute(sql, ado::adOptionUnspecified);
        return rs->IsEOF() ? QVariant() : rs->Value(0);
    }
    std::shared_ptr<IDbConnection> db;
};

TEST_P(OdbcLive, OpensClosesAndRefusesWorkWhenClosed) {
    EXPECT_EQ(db->State(), ado::adStateOpen);
    EXPECT_EQ(ErrorOf([&] { db->Open(); }).Number, 3705);
    db->Close();
    EXPECT_EQ(db->State(), ado::adStateClosed);
    db->Cancel(); // nothing runs: harmless
    for (const auto& call : std::vector<std::function<void()>>{
             [&] { db->Close(); }, [&] { exec("SELECT 1"); },
             [&] { db->OpenRecordset("SELECT 1", ado::adOpenStatic, ado::adLockReadOnly, -1); },
             [&] { db->ExecuteCommand(Command{.CommandText = "SELECT 1", .Parameters = {}}, -1); },
             [&] { db->BeginTrans(); }, [&] { db->Tables(); }})
        EXPECT_EQ(Raised(call),
                  QString::number(kErrObjectClosed) + " Operation is not allowed when the object is closed.");
    db->Open(); // on the string it kept
    EXPECT_EQ(scalar(*db, "SELECT 7").toInt(), 7);
}

TEST_P(OdbcLive, FailedOpensReportTheDriversReason) {
    const auto withKey = [&](const char* key, const char* value) {
        return QString(connectionString())
            .replace(QRegularExpression(QString(key) + "=[^;]*", QRegularExpression::CaseInsensitiveOption),
                     QString(key) + "=" + value);
    };
    std::vector<QString> wrong{"DRIVER={No Such Driver};SERVER=x;"};
    if (isSqlite())
        wrong.push_back("DRIVER=SQLite3;Database=/nonexistent-qldb-folder/sub/db.sqlite");
    else // a wrong password, and port 1 of the loopback where nothing listens
        wrong.insert(wrong.end(), {withKey("PWD", "not-the-password"), withKey("PORT", "1")});
    for (const QString& s : wrong) {
        auto connection = CreateOdbcConnection();
        connection->setConnectionString(s);
        const ErrorRecord e = ErrorOf([&] { connection->Open(); });
        EXPECT_EQ(e.Number, kErrGeneral) << s.toStdString();
        EXPECT_FALSE(e.Description.isEmpty() || e.SqlState.isEmpty());
        EXPECT_EQ(connection->State(), ado::adStateClosed);
        EXPECT_EQ(connection->Errors().empty() ? QString() : connection->Errors().front().Description,
                  e.Description);
    }
}

TEST_P(OdbcLive, ParametersOfEveryKindAndValuesKeepTheirTypesWithNullNotEmpty) {
    ScopedTable t(*db);
    exec("CREATE TABLE " + t.name() + " (ID INTEGER, NAME VARCHAR(30), AMOUNT DECIMAL(12,3), BIG BIGINT, " +
         "RATIO FLOAT, BORN DATE, STAMP TIMESTAMP, NOTE VARCHAR(10), MEMO TEXT, DATA " + blobType() + ")");
    // Long values come back in pieces; both must arrive whole.
    const QString memo = QStringLiteral("0123456789ä").repeated(600);
    QByteArray data;
    for (int i = 0; i < 20000; ++i)
        data.append(static_cast<char>(i % 251));
    const QDateTime stamp(QDate(2024, 3, 1), QTime(13, 14, 15));
    const auto in = [](int32_t type, const QVariant& value, int32_t size = 0) {
        return Parameter{QString(), type, ado::adParamInput, size, value};
    };
    Command insert{.CommandText = "INSERT INTO " + t.name() + " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                   .Parameters = {in(ado::adInteger, 42), in(ado::adVarWChar, "Grüße €", 30),
                                  in(ado::adNumeric, 1234.5), in(ado::adBigInt, 9000000000LL),
                                  in(ado::adDouble, 0.5), in(ado::adDBDate, QDate(2024, 2, 29)),
                                  in(ado::adDBTimeStamp, stamp), in(ado::adVarWChar, ""),
                                  in(ado::adLongVarWChar, memo), in(ado::adLongVarBinary, data)}};
    EXPECT_EQ(db->ExecuteCommand(insert, ado::adExecuteNoRecords), nullptr);
    insert.Parameters[0].Value = 43;
    for (size_t i = 1; i < insert.Parameters.size(); ++i)
        insert.Parameters[i].Value = NullVariant();
    db->ExecuteCommand(insert, ado::adExecuteNoRecords);

    Command select{.CommandText = "SELECT * FROM " + t.name() + " WHERE ID = ? OR NAME = ?",
                   .Parameters = {in(ado::adEmpty, 42), in(ado::adVarWChar, NullVariant())}};
    auto rs = db->ExecuteCommand(select, ado::adOptionUnspecified);
    ASSERT_EQ(rs->State(), ado::adStateOpen);
    ASSERT_EQ(rs->RecordCount(), 1);
    EXPECT_TRUE(rs->Fields(1).Type() == ado::adVarChar || rs->Fields(1).Type() == ado::adVarWChar);
    EXPECT_EQ((std::vector<int32_t>{rs->Fields(0).Type(), rs->Fields(3).Type(), rs->Fields(1).DefinedSize(),
                                    rs->Fields(1).ActualSize(), rs->Fields(9).ActualSize()}),
              (std::vector<int32_t>{ado::adInteger, ado::adBigInt, 30, 7, 20000}));
    EXPECT_EQ(rs->Value(0), QVariant(42));
    EXPECT_EQ(rs->Value(1).toString(), "Grüße €");
    EXPECT_DOUBLE_EQ(rs->Value(2).toDouble(), 1234.5);
    EXPECT_EQ(rs->Value(3).toLongLong(), 9000000000LL);
    EXPECT_DOUBLE_EQ(rs->Value(4).toDouble(), 0.5);
    EXPECT_EQ(rs->Value(5).toDate(), QDate(2024, 2, 29));
    EXPECT_EQ(rs->Value(6).toDateTime(), stamp);
    EXPECT_TRUE(!IsNullOrEmpty(rs->Value(7)) && rs->Value(7).toString().isEmpty()); // an empty text, not Null
    EXPECT_EQ(rs->Value(8).toString(), memo);
    EXPECT_EQ(rs->Value(9).toByteArray(), data);
    select.Parameters[0].Value = 43;
    rs = db->ExecuteCommand(select, ado::adOptionUnspecified);
    ASSERT_EQ(rs->RecordCount(), 1);
    for (int i = 1; i < rs->FieldCount(); ++i)
        EXPECT_TRUE(IsNull(rs->Value(i))) << rs->Fields(i).Name().toStdString();

    // Statements without a rowset give a closed recordset, whether or not rows changed.
    EXPECT_EQ(query("UPDATE " + t.name() + " SET ID = 2 WHERE ID = 99")->State(), ado::adStateClosed);
    EXPECT_EQ(query("UPDATE " + t.name() + " SET ID = 2 WHERE ID = 43")->State(), ado::adStateClosed);
    EXPECT_EQ(scalar(*db, "SELECT MIN(ID) FROM " + t.name()).toInt(), 2);
}

TEST_P(OdbcLive, TimeoutStopsALongStatement) {
    const QString slow = isPg() ? QStringLiteral("SELECT pg_sleep(8)")
                         : isSqlite()
                             ? QStringLiteral("WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 "
                                              "FROM c WHERE x < 500000000) SELECT COUNT(*) FROM c")
                             : QStringLiteral("SELECT SLEEP(8)");
    QElapsedTimer timer;
    timer.start();
    const Command command{.CommandText = slow, .CommandTimeout = 1, .Parameters = {}};
    const ErrorRecord e = ErrorOf([&] { db->ExecuteCommand(command, -1); });
    EXPECT_EQ(e.Number, kErrTimeout) << e.Description.toStdString();
    EXPECT_LT(timer.elapsed(), 5000);
    EXPECT_EQ(scalar(*db, "SELECT 5").toInt(), 5);
}

TEST_P(OdbcLive, TransactionsCommitAndRollBack) {
    ScopedTable t(*db);
    exec("CREATE TABLE " + t.name() + " (ID INTEGER)");
    auto other = connect();
    const QString count = "SELECT COUNT(*) FROM " + t.name();
    const auto insert = [&](int id) {
        exec(QStringLiteral("INSERT INTO %1 VALUES (%2)").arg(t.name()).arg(id));
    };

    EXPECT_EQ(db->BeginTrans(), 1);
    EXPECT_EQ(Raised([&] { db->BeginTrans(); }),
              "-2147168237 Only one transaction can be active on this session.");
    insert(1);
    EXPECT_EQ(ToLong(scalar(*db, count)), 1);
    db->RollbackTrans();
    EXPECT_EQ(ToLong(scalar(*db, count)), 0);
    db->BeginTrans();
    insert(2);
    db->CommitTrans();
    EXPECT_EQ(ToLong(scalar(*other, count)), 1);
    insert(3); // autocommit is back
    EXPECT_EQ(ToLong(scalar(*other, count)), 2);
    EXPECT_EQ(Raised([&] { db->CommitTrans(); }) + "; " + Raised([&] { db->RollbackTrans(); }),
              "-2147168242 No transaction is active.; -2147168242 No transaction is active.");
    db->BeginTrans(); // closing with a transaction open undoes it
    insert(4);
    db->Close();
    EXPECT_EQ(ToLong(scalar(*other, count)), 2);
}

TEST_P(OdbcLive, CatalogListsTablesViewsAndColumns) {
    ScopedTable t(*db);
    exec("CREATE TABLE " + t.name() + " (ID INTEGER NOT NULL, CODE VARCHAR(12), PRICE DECIMAL(10,2), " +
         "PRIMARY KEY (ID))");
    // A table whose name the first one's "_" would match as a pattern.
    QString lookalike = t.name();
    lookalike[lookalike.indexOf('_', 3)] = 'x';
    exec("CREATE TABLE " + lookalike + " (OTHER INTEGER)");
    const QString view = t.name() + "v";
    exec("CREATE VIEW " + view + " AS SELECT ID, CODE FROM " + t.name());
    QStringList found;
    for (const CatalogTable& table : db->Tables())
        if (table.Name.startsWith(t.name(), Qt::CaseInsensitive))
            found << table.Name.toLower() + " " + table.Type;
    found.sort();
    EXPECT_EQ(found.join(", "), t.name() + " TABLE, " + view + " VIEW");
    QStringList described; // name, type (wide or not), size; the lookalike's column must not creep in
    for (const CatalogColumn& c : db->Columns(t.name()))
        described << QStringLiteral("%1 %2 %3")
                         .arg(c.Name.toUpper())
                         .arg(c.Type == ado::adVarWChar ? ado::adVarChar : c.Type)
                         .arg(c.DefinedSize);
    // SQLite's driver reports a DECIMAL column as text.
    EXPECT_EQ(described.join(", "),
              "ID 3 4, CODE 200 12, " + QString(isSqlite() ? "PRICE 200 2" : "PRICE 131 19"));
    EXPECT_EQ(db->Columns(view).size(), 2u);
    EXPECT_TRUE(db->Columns(t.name() + "_missing").empty());
    exec("DROP VIEW " + view);
    exec("DROP TABLE " + lookalike);
}

TEST_P(OdbcLive, AddNewAndUpdateWriteBackAndErrorsFollowTheCondition) {
    ScopedTable keyed(*db, "k"), loose(*db, "l");
    exec("CREATE TABLE " + keyed.name() +
         " (ID INTEGER NOT NULL PRIMARY KEY, NAME VARCHAR(20), QTY INTEGER DEFAULT 7, PHOTO " + blobType() +
         ")");
    exec("CREATE TABLE " + loose.name() + " (NAME VARCHAR(20), QTY INTEGER)");
    const QByteArray photo("\x89PNG\x00\x01", 6);
    auto rs = db->OpenRecordset("SELECT * FROM " + keyed.name(), ado::adOpenStatic, ado::adLockOptimistic,
                                ado::adOptionUnspecified);
    rs->AddNew();
    rs->Fields("ID").setValue(1);
    rs->Fields("NAME").setValue("first");
    rs->Fields("PHOTO").setValue(photo);
    rs->Update();
    rs->AddNew();
    rs->Fields("ID").setValue(2);
    rs->Update();
    EXPECT_EQ(rs->RecordCount(), 2);
    rs->MoveFirst();
    rs->Fields("NAME").setValue("renamed");
    rs->Update();
    auto back = query("SELECT ID, NAME, QTY, PHOTO FROM " + keyed.name() + " ORDER BY ID");
    ASSERT_EQ(back->RecordCount(), 2);
    EXPECT_EQ(back->Value(1).toString(), "renamed");
    EXPECT_EQ(back->Value(2).toInt(), 7); // never set: the table's default
    EXPECT_EQ(back->Value(3).toByteArray(), photo);
    back->MoveNext();
    EXPECT_TRUE(IsNull(back->Value(1)));

    // Without a key the row is found by its old values; changed behind our back, it is not.
    exec("INSERT INTO " + loose.name() + " VALUES ('a', 1)");
    auto edit = db->OpenRecordset("SELECT NAME, QTY FROM " + loose.name(), ado::adOpenStatic,
                                  ado::adLockOptimistic, ado::adOptionUnspecified);
    edit->Fields(1).setValue(2);
    edit->Update();
    EXPECT_EQ(scalar(*db, "SELECT QTY FROM " + loose.name()).toInt(), 2);
    exec("UPDATE " + loose.name() + " SET QTY = 9");
    edit->Fields(1).setValue(3);
    EXPECT_EQ(Raised([&] { edit->Update(); }),
              "-2147217864 Row cannot be located for updating. Some values may "
              "have been changed since it was last read.");

    // Error numbers follow the condition, and the connection stays usable.
    const std::vector<std::tuple<QString, int32_t, QString>> cases{
        {"SELEC 1", kErrSyntax, "42"},
        {"SELECT * FROM " + keyed.name() + "_none", kErrUnknownTable, "42"},
        {"INSERT INTO " + keyed.name() + " (ID) VALUES (1)", kErrIntegrity, "23"}};
    for (const auto& [sql, number, stateClass] : cases) {
        const ErrorRecord e = ErrorOf([&] { query(sql); });
        EXPECT_EQ(e.Number, number) << e.Description.toStdString();
        EXPECT_EQ(e.Source + ": " + e.Statement, "Connection.Execute: " + sql);
        EXPECT_TRUE(isSqlite() || e.SqlState.startsWith(stateClass)) << e.SqlState.toStdString();
    }
    EXPECT_EQ(ToLong(scalar(*db, "SELECT COUNT(*) FROM " + keyed.name())), 2);
}

QLDB_INSTANTIATE_LIVE_TEST(OdbcLive, LiveServer::SQLite, LiveServer::PostgreSQL, LiveServer::MariaDB);

} // namespace
} // namespace qldb::test
