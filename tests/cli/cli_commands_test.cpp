// qldb's structure commands run as separate processes on the SQLite demo database, with their
// output, JSON and exit status checked as a pipeline would read them.
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

struct Outcome {
    int Exit = -1;
    QString Out;
    QString Err;
};

class QldbCommands : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_dir.isValid()); }

    Outcome qldb(const QStringList& args) const {
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("QLDB_DATA_ROOT"), m_dir.path());
        process.setProcessEnvironment(env);
        process.setWorkingDirectory(m_dir.path());
        process.start(QStringLiteral(QLDB_PROGRAM), args);
        EXPECT_TRUE(process.waitForFinished(60000)) << args.join(' ').toStdString();
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }
    void sql(const QStringList& statements) const {
        const Outcome o = qldb(QStringList{QStringLiteral("sql")} + statements);
        ASSERT_EQ(o.Exit, 0) << o.Err.toStdString();
    }
    QString file(const char* name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    // A managed demo database: the version registry and one table, written to a structure file.
    void managedDatabase() {
        sql({"CREATE TABLE SYS_DBS (ID INTEGER PRIMARY KEY, SYS_DATABASE NVARCHAR(10), SYS_VERSION "
             "NVARCHAR(20), "
             "SYS_CREATION BIT, SYS_COMPLETED BIT, SYS_DATE DATETIME, SYS_DCC NVARCHAR(50))",
             "CREATE TABLE ITEMS (ID INTEGER NOT NULL, NAME VARCHAR(40) NOT NULL, PRICE FLOAT)"});
        const Outcome exported = qldb({"export", "--output", file("s.xml"), "--version", "1.0.1"});
        ASSERT_EQ(exported.Exit, 0) << exported.Err.toStdString();
        ASSERT_TRUE(exported.Out.startsWith(QStringLiteral("Wrote "))) << exported.Out.toStdString();
    }

    QTemporaryDir m_dir;
};

QJsonObject ObjectNamed(const QJsonObject& report, const QString& name) {
    for (const QJsonValue& v : report.value(QStringLiteral("objects")).toArray())
        if (v.toObject().value(QStringLiteral("name")).toString() == name)
            return v.toObject();
    return {};
}

TEST_F(QldbCommands, VerifyTellsACleanDatabaseFromADriftedOne) {
    managedDatabase();
    const Outcome clean = qldb({"verify", "--structure", file("s.xml")});
    EXPECT_EQ(clean.Exit, 0) << clean.Out.toStdString() << clean.Err.toStdString();
    EXPECT_TRUE(clean.Out.contains(QRegularExpression(QStringLiteral("table\\s+ITEMS\\s+up to date"))));

    sql({"ALTER TABLE ITEMS DROP COLUMN PRICE", "CREATE TABLE NOTES (ID INTEGER)"});
    const Outcome drift = qldb({"verify", "--structure", file("s.xml"), "--json"});
    EXPECT_EQ(drift.Exit, 2) << drift.Err.toStdString();
    QJsonParseError error;
    const QJsonObject report = QJsonDocument::fromJson(drift.Out.toUtf8(), &error).object();
    ASSERT_EQ(error.error, QJsonParseError::NoError) << drift.Out.toStdString();
    EXPECT_FALSE(report.value(QStringLiteral("upToDate")).toBool());
    EXPECT_EQ(report.value(QStringLiteral("result")).toString(), QStringLiteral("evrUpdateRequest"));
    const QJsonObject items = ObjectNamed(report, QStringLiteral("ITEMS"));
    EXPECT_EQ(items.value(QStringLiteral("kind")).toString(), QStringLiteral("table"));
    EXPECT_EQ(items.value(QStringLiteral("status")).toInt(), 1);
    const QJsonObject difference = items.value(QStringLiteral("differences")).toArray().at(0).toObject();
    EXPECT_EQ(difference.value(QStringLiteral("element")).toString(), QStringLiteral("PRICE"));
    EXPECT_EQ(difference.value(QStringLiteral("status")).toString(), QStringLiteral("New Field"));
    EXPECT_EQ(ObjectNamed(report, QStringLiteral("NOTES")).value(QStringLiteral("statusText")).toString(),
              QStringLiteral("user object"));
}

TEST_F(QldbCommands, DryRunPrintsThePlanAndSendsNothing) {
    managedDatabase();
    sql({"ALTER TABLE ITEMS DROP COLUMN PRICE"});
    const Outcome plan = qldb({"update", "--structure", file("s.xml"), "--only", "items", "--dry-run"});
    EXPECT_EQ(plan.Exit, 0) << plan.Err.toStdString();
    EXPECT_TRUE(plan.Out.contains(QStringLiteral("planned against the database as it is now")));
    EXPECT_TRUE(plan.Out.contains(QRegularExpression(QStringLiteral("ALTER TABLE ITEMS\\s+ADD\\s+PRICE"))))
        << plan.Out.toStdString();
    EXPECT_TRUE(plan.Out.contains(QStringLiteral("none sent")));
    // The database is as it was: the column is still missing.
    const Outcome after = qldb({"verify", "--structure", file("s.xml")});
    EXPECT_EQ(after.Exit, 2);
    EXPECT_TRUE(after.Out.contains(QStringLiteral("New Field"))) << after.Out.toStdString();

    const Outcome unknown = qldb({"update", "--structure", file("s.xml"), "--only", "NOPE", "--dry-run"});
    EXPECT_EQ(unknown.Exit, 1);
    EXPECT_EQ(unknown.Err, QStringLiteral("qldb: no object named NOPE in the verification\n"));
}

TEST_F(QldbCommands, VersionReadsTheRegistryAndTheFile) {
    managedDatabase();
    const Outcome none = qldb({"version", "--structure", file("s.xml")});
    EXPECT_EQ(none.Exit, 2) << none.Err.toStdString();
    EXPECT_TRUE(none.Out.contains(QStringLiteral("Version:         0.0.0000")));
    EXPECT_TRUE(none.Out.contains(QStringLiteral("an update to 1.0.1 is due")));

    // The registry's order puts 1.10.1 above 1.9.9, and rows not completed don't count.
    sql({"INSERT INTO SYS_DBS (SYS_DATABASE, SYS_VERSION, SYS_CREATION, SYS_COMPLETED, SYS_DATE) VALUES "
         "('SYS', '1.9.9', 1, 1, '2026-01-02 10:00:00'), ('SYS', '1.10.1', 0, 1, '2026-03-04 11:00:00'), "
         "('SYS', '2.0.1', 0, 0, '2026-05-06 12:00:00')"});
    const Outcome reached = qldb({"version", "--structure", file("s.xml")});
    EXPECT_EQ(reached.Exit, 0) << reached.Err.toStdString();
    EXPECT_TRUE(reached.Out.contains(QStringLiteral("Version:         1.10.1"))) << reached.Out.toStdString();
    EXPECT_TRUE(reached.Out.contains(QStringLiteral("Created:         2026-01-02 10:00:00")));
    EXPECT_TRUE(reached.Out.contains(QStringLiteral("Check:           up to date")));
}

TEST_F(QldbCommands, DataGoesOutAndComesBackByRecordsAndByBulkCopy) {
    managedDatabase();
    sql({"INSERT INTO ITEMS (ID, NAME, PRICE) VALUES (1, 'Bolt', 0.5), (2, 'Nut ''M6''', NULL)"});
    for (const QString& table : {QStringLiteral("ITEMS=SELECT * FROM ITEMS"), QStringLiteral("ITEMS")}) {
        const Outcome exported = qldb({"data", "export", "--output", file("d.xml"), "--table", table});
        ASSERT_EQ(exported.Exit, 0) << exported.Err.toStdString();
        sql({"DELETE FROM ITEMS"});
        const Outcome imported = qldb({"data", "import", "--structure", file("d.xml")});
        EXPECT_EQ(imported.Exit, 0) << imported.Out.toStdString() << imported.Err.toStdString();
        const Outcome rows = qldb({"sql", "SELECT ID, NAME, PRICE FROM ITEMS ORDER BY ID"});
        EXPECT_TRUE(
            rows.Out.contains(QRegularExpression(QStringLiteral("2\\s+\\|\\s+Nut 'M6'\\s+\\|\\s+NULL"))))
            << table.toStdString() << rows.Out.toStdString();
        EXPECT_TRUE(rows.Out.contains(QStringLiteral("(2 rows)")));
    }
    EXPECT_EQ(qldb({"data", "sideways"}).Exit, 1);
}

TEST_F(QldbCommands, ErrorsAreOneLineAndExitWithOne) {
    managedDatabase();
    QFile bad(file("bad.xml"));
    ASSERT_TRUE(bad.open(QIODevice::WriteOnly));
    bad.write("<Database><Tables>");
    bad.close();
    const struct {
        QStringList Args;
        const char* Start;
    } cases[] = {
        {{"verify", "--structure", file("bad.xml")}, "qldb: "},
        {{"verify", "--structure", file("missing.xml")}, "qldb: cannot read "},
        {{"verify", "--structure", file("s.xml"), "--provider", "SQLServer", "--server", "127.0.0.1,1",
          "--database", "x", "--user", "sa", "--password", "x"},
         "qldb: cannot open the connection: "},
        {{"verify", "--bogus"}, "qldb: Unknown option 'bogus'."},
        {{"frobnicate"}, "qldb: unknown command"},
        {{"update", "--structure", file("s.xml"), "--mode", "sideways"}, "qldb: unknown mode"},
    };
    for (const auto& c : cases) {
        const Outcome o = qldb(c.Args);
        EXPECT_EQ(o.Exit, 1) << c.Args.join(' ').toStdString();
        EXPECT_TRUE(o.Err.startsWith(QString::fromLatin1(c.Start))) << o.Err.toStdString();
        EXPECT_EQ(o.Err.count(u'\n'), 1) << o.Err.toStdString();
    }
    const Outcome help = qldb({"update", "--help"});
    EXPECT_EQ(help.Exit, 0);
    for (const char* option :
         {"--structure", "--only", "--dry-run", "--delete-fields", "--log", "--provider"})
        EXPECT_TRUE(help.Out.contains(QString::fromLatin1(option))) << option;
}

} // namespace
