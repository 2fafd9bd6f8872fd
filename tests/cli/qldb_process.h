#pragma once
// The qldb program run as a separate process on a database of its own, the way a user or a pipeline
// runs it: the SQLite demo database in a fresh data folder, or a fresh database on the PostgreSQL
// or MariaDB server that the test script starts (QLDB_TEST_PG, QLDB_TEST_MARIADB).
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace qldb::test {

enum class CliDatabase { SQLite, PostgreSQL, MariaDB };

struct Outcome {
    int Exit = -1;
    QString Out;
    QString Err;
};

class QldbProcessTest : public ::testing::TestWithParam<CliDatabase> {
protected:
    // Skips (fails under CI=true) when the server is not configured; creates the database.
    void SetUp() override;
    // Drops the server database, whatever the test left in it.
    void TearDown() override;

    // Runs qldb with the arguments; the connection options of the test's database are appended
    // unless bOnDatabase is false.
    Outcome qldb(const QStringList& args, bool bOnDatabase = true) const;
    // Runs statements on the test's database; a failure fails the test.
    void sql(const QStringList& statements) const;
    QString file(const char* name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    // Connection options that name a server nobody listens on, for this provider.
    QStringList unreachable() const;

    // The statements of the tables the tests share, in this provider's words: the version
    // registry and ITEMS (ID and NAME NOT NULL, PRICE FLOAT, QTY INTEGER).
    QStringList managedTables() const;

private:
    // The server's environment variable, the provider qldb is told, and a statement run on the
    // server's own database.
    const char* serverVariable() const;
    QString provider() const;
    Outcome onServer(const QString& sStatement) const;

    QTemporaryDir m_dir;
    QStringList m_connection; // the options that name the test's database
    QString m_serverString;   // the server's connection string, for the database's creation
    QString m_serverDatabase; // the database made for the test on the server
};

} // namespace qldb::test

#define QLDB_INSTANTIATE_CLI_TEST(Fixture)                                                                   \
    INSTANTIATE_TEST_SUITE_P(Databases, Fixture,                                                             \
                             ::testing::Values(::qldb::test::CliDatabase::SQLite,                            \
                                               ::qldb::test::CliDatabase::PostgreSQL,                        \
                                               ::qldb::test::CliDatabase::MariaDB),                          \
                             [](const auto& info) {                                                          \
                                 switch (info.param) {                                                       \
                                 case ::qldb::test::CliDatabase::SQLite:                                     \
                                     return std::string("SQLite");                                           \
                                 case ::qldb::test::CliDatabase::PostgreSQL:                                 \
                                     return std::string("PostgreSQL");                                       \
                                 default:                                                                    \
                                     return std::string("MariaDB");                                          \
                                 }                                                                           \
                             })
