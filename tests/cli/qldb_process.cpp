#include "qldb_process.h"

#include <QCoreApplication>
#include <QRandomGenerator>
#include <QRegularExpression>

namespace qldb::test {

namespace {

bool UnderCi() {
    return qEnvironmentVariable("CI").trimmed().toLower() == QLatin1String("true");
}

QString WithDatabase(QString sConnection, const QString& sDatabase) {
    static const QRegularExpression database(QStringLiteral("DATABASE=[^;]*"),
                                             QRegularExpression::CaseInsensitiveOption);
    return sConnection.replace(database, QStringLiteral("DATABASE=") + sDatabase);
}

} // namespace

const char* QldbProcessTest::serverVariable() const {
    return GetParam() == CliDatabase::PostgreSQL ? "QLDB_TEST_PG" : "QLDB_TEST_MARIADB";
}

// PostgreSQL is an ODBC source to the library; MariaDB speaks MySQL's SQL, and the provider says so.
QString QldbProcessTest::provider() const {
    return GetParam() == CliDatabase::PostgreSQL ? QStringLiteral("ODBC") : QStringLiteral("MySql");
}

Outcome QldbProcessTest::onServer(const QString& sStatement) const {
    return qldb({"sql", "--provider", provider(), "--connstr", m_serverString, sStatement}, false);
}

void QldbProcessTest::SetUp() {
    ASSERT_TRUE(m_dir.isValid());
    if (GetParam() == CliDatabase::SQLite)
        return; // the demo database, created in the test's own data folder on first use
    m_serverString = qEnvironmentVariable(serverVariable());
    if (m_serverString.isEmpty()) {
        if (UnderCi())
            FAIL() << serverVariable() << " is not set (CI=true: a missing server is a failure, not a skip)";
        GTEST_SKIP() << serverVariable() << " is not set: scripts/services.sh starts the server";
    }
    m_serverDatabase = QStringLiteral("qldb_cli_%1_%2")
                           .arg(QCoreApplication::applicationPid())
                           .arg(QRandomGenerator::global()->bounded(1000000));
    const Outcome created = onServer("CREATE DATABASE " + m_serverDatabase);
    ASSERT_EQ(created.Exit, 0) << created.Err.toStdString();
    m_connection = {"--provider", provider(), "--connstr", WithDatabase(m_serverString, m_serverDatabase)};
}

void QldbProcessTest::TearDown() {
    if (m_serverDatabase.isEmpty())
        return;
    // PostgreSQL refuses to drop a database with sessions left on it unless forced.
    const QString force = GetParam() == CliDatabase::PostgreSQL ? QStringLiteral(" WITH (FORCE)") : QString();
    const Outcome dropped = onServer("DROP DATABASE IF EXISTS " + m_serverDatabase + force);
    EXPECT_EQ(dropped.Exit, 0) << dropped.Err.toStdString();
}

Outcome QldbProcessTest::qldb(const QStringList& args, bool bOnDatabase) const {
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QLDB_DATA_ROOT"), m_dir.path());
    process.setProcessEnvironment(env);
    process.setWorkingDirectory(m_dir.path());
    process.start(QStringLiteral(QLDB_PROGRAM), bOnDatabase ? args + m_connection : args);
    EXPECT_TRUE(process.waitForFinished(120000)) << args.join(' ').toStdString();
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

void QldbProcessTest::sql(const QStringList& statements) const {
    const Outcome o = qldb(QStringList{QStringLiteral("sql")} + statements);
    ASSERT_EQ(o.Exit, 0) << o.Err.toStdString();
}

QStringList QldbProcessTest::unreachable() const {
    if (GetParam() == CliDatabase::SQLite)
        return {"--provider", "SQLServer", "--server", "127.0.0.1,1", "--database",
                "x",          "--user",    "sa",       "--password",  "x"};
    if (GetParam() == CliDatabase::PostgreSQL)
        return {"--provider", "ODBC", "--connstr",
                "DRIVER={PostgreSQL Unicode};SERVER=127.0.0.1;PORT=1;DATABASE=x;UID=x;PWD=x;"};
    return {"--provider", "MySql", "--connstr",
            "DRIVER={MariaDB Unicode};SERVER=127.0.0.1;PORT=1;DATABASE=x;UID=x;PWD=x;"};
}

QStringList QldbProcessTest::managedTables() const {
    if (GetParam() == CliDatabase::SQLite)
        return {
            "CREATE TABLE SYS_DBS (ID INTEGER PRIMARY KEY, SYS_DATABASE NVARCHAR(10), SYS_VERSION "
            "NVARCHAR(20), SYS_CREATION BIT, SYS_COMPLETED BIT, SYS_DATE DATETIME, SYS_DCC NVARCHAR(50))",
            "CREATE TABLE ITEMS (ID INTEGER NOT NULL, NAME VARCHAR(40) NOT NULL, PRICE FLOAT, QTY INTEGER)"};
    if (GetParam() == CliDatabase::MariaDB)
        return {
            "CREATE TABLE SYS_DBS (ID INTEGER AUTO_INCREMENT PRIMARY KEY, SYS_DATABASE VARCHAR(10), "
            "SYS_VERSION VARCHAR(20), SYS_CREATION INTEGER, SYS_COMPLETED INTEGER, SYS_DATE DATETIME, "
            "SYS_DCC VARCHAR(50))",
            "CREATE TABLE ITEMS (ID INTEGER NOT NULL, NAME VARCHAR(40) NOT NULL, PRICE FLOAT, QTY INTEGER)"};
    return {"CREATE TABLE SYS_DBS (ID SERIAL PRIMARY KEY, SYS_DATABASE VARCHAR(10), SYS_VERSION VARCHAR(20), "
            "SYS_CREATION INTEGER, SYS_COMPLETED INTEGER, SYS_DATE TIMESTAMP, SYS_DCC VARCHAR(50))",
            "CREATE TABLE ITEMS (ID INTEGER NOT NULL, NAME VARCHAR(40) NOT NULL, PRICE FLOAT, QTY INTEGER)"};
}

} // namespace qldb::test
