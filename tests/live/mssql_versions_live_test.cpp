// The version registry and the update-query records against a real SQL Server: the version order
// computed by the server, the write-then-complete of a version, and the order of recorded queries.
// Runs only when QLDB_TEST_MSSQL holds an ODBC connection string to a server (SERVER, PORT, UID,
// PWD are read from it); it creates its own database and drops it afterwards.
#include "connection/ql_connection.h"
#include "platform/tools/conversions.h"
#include "structure/ql_database.h"

#include <QCoreApplication>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

namespace qldb {
namespace {

// The value of a key of "KEY=value;KEY=value", case-insensitive; braces around a value dropped.
QString Piece(const QString& s, const QString& key) {
    for (const QString& pair : s.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const qsizetype eq = pair.indexOf(QLatin1Char('='));
        if (eq > 0 && pair.left(eq).trimmed().compare(key, Qt::CaseInsensitive) == 0) {
            QString value = pair.mid(eq + 1).trimmed();
            if (value.startsWith(QLatin1Char('{')) && value.endsWith(QLatin1Char('}')))
                value = value.mid(1, value.size() - 2);
            return value;
        }
    }
    return {};
}

std::unique_ptr<qlConnection> Connect(const QString& s, const QString& sDatabase) {
    auto cn = std::make_unique<qlConnection>();
    cn->setErrors(std::make_shared<HeadlessErrorService>(kDecisionLeave, kErrorModeRaise));
    cn->setProviderType(ql_eProviderType::SQLServer);
    const QString port = Piece(s, QStringLiteral("PORT"));
    cn->setServer(Piece(s, QStringLiteral("SERVER")) +
                  (port.isEmpty() ? QString() : QLatin1Char(',') + port));
    cn->setUser(Piece(s, QStringLiteral("UID")));
    cn->setPassword(Piece(s, QStringLiteral("PWD")));
    cn->setDatabaseName(sDatabase);
    cn->OpenConnection();
    return cn;
}

class MsSqlVersionsLive : public ::testing::Test {
protected:
    void SetUp() override {
        const char* value = std::getenv("QLDB_TEST_MSSQL");
        if (value == nullptr || *value == '\0')
            GTEST_SKIP()
                << "QLDB_TEST_MSSQL is not set: the live SQL Server version registry tests were skipped";
        const QString server = QString::fromLocal8Bit(value);
        m_name = QStringLiteral("qldb_versions_%1").arg(QCoreApplication::applicationPid());
        m_master = Connect(server, QStringLiteral("master"));
        m_master->Execute(QStringLiteral("CREATE DATABASE ") + m_name);
        m_cn = Connect(server, m_name);
        m_cn->Execute(
            QStringLiteral("CREATE TABLE SYS_DBS (ID INT IDENTITY PRIMARY KEY, SYS_DATABASE VARCHAR(10), "
                           "SYS_VERSION VARCHAR(20), SYS_CREATION BIT, SYS_COMPLETED BIT, "
                           "SYS_DATE DATETIME, SYS_DCC VARCHAR(128))"));
        m_cn->Execute(
            QStringLiteral("CREATE TABLE SYS_QRY (RECORD_ID INT IDENTITY PRIMARY KEY, QYDBE VARCHAR(10), "
                           "QYTAC SMALLINT, QYVER VARCHAR(20), QYORD INT, QYDES VARCHAR(200), "
                           "QYTXT NVARCHAR(MAX), IDQRY INT NULL, QYCHK SMALLINT NULL)"));
        m_db.setConnection(m_cn.get());
        m_db.setErrors(m_cn->Errors());
    }

    void TearDown() override {
        // Best effort: a failed clean-up must not hide the test's own result.
        try {
            if (m_cn)
                m_cn->Finalize();
            if (m_master) {
                m_master->Execute(
                    QStringLiteral("ALTER DATABASE %1 SET SINGLE_USER WITH ROLLBACK IMMEDIATE").arg(m_name));
                m_master->Execute(QStringLiteral("DROP DATABASE ") + m_name);
                m_master->Finalize();
            }
        } catch (...) {
        }
    }

    int32_t Count(const QString& sql) {
        const auto rs = m_cn->ExecuteWC(sql);
        return rs && rs->State() == ado::adStateOpen && !rs->IsEOF() ? ToLong(rs->Value(0)) : -1;
    }

    QString m_name;
    std::unique_ptr<qlConnection> m_master;
    std::unique_ptr<qlConnection> m_cn;
    qlDatabase m_db;
};

TEST_F(MsSqlVersionsLive, VersionsAreOrderedWrittenOnceAndNeverGoBack) {
    EXPECT_EQ(m_db.GetDbVersion(QStringLiteral("A01")), QStringLiteral("0.0.0000"));
    EXPECT_TRUE(m_db.SetDbVersion(QStringLiteral("A01"), QStringLiteral("4.9.200"), true, true, QString()));
    EXPECT_TRUE(
        m_db.SetDbVersion(QStringLiteral("A01"), QStringLiteral("4.10.100"), false, false, QString()));
    // Not completed yet: only the form that takes any row sees it.
    EXPECT_EQ(m_db.GetDbVersion(QStringLiteral("A01")), QStringLiteral("4.9.200"));
    EXPECT_EQ(m_db.GetDbVersion(QStringLiteral("A01"), true), QStringLiteral("4.10.100"));
    EXPECT_TRUE(m_db.SetDbVersion(QStringLiteral("A01"), QStringLiteral("4.10.100"), false, true,
                                  QStringLiteral("Latin1_General_CI_AS")));
    EXPECT_EQ(Count(QStringLiteral("SELECT COUNT(*) FROM SYS_DBS WHERE SYS_VERSION = '4.10.100'")), 1);
    EXPECT_EQ(m_db.GetDbVersion(QStringLiteral("A01")), QStringLiteral("4.10.100")); // 4.10 sorts above 4.9
    EXPECT_EQ(m_db.GetSYSComparisonRoule(QStringLiteral("A01")), QStringLiteral("Latin1_General_CI_AS"));

    EXPECT_FALSE(m_db.SetDbVersion(QStringLiteral("A01"), QStringLiteral("4.9.300"), false, true, QString()));
    EXPECT_EQ(Count(QStringLiteral("SELECT COUNT(*) FROM SYS_DBS")), 2);

    const QDateTime created = m_db.GetDbDate(QStringLiteral("A01"), 0);
    const QDateTime updated = m_db.GetDbDate(QStringLiteral("A01"), 1);
    EXPECT_TRUE(created.isValid());
    EXPECT_LE(created, updated);
    EXPECT_FALSE(m_db.GetDbComparisonRoule().isEmpty());

    bool cancel = true;
    EXPECT_TRUE(m_db.SetDbVersion(QStringLiteral("A01"), QString(), false, false, QString(), &cancel));
    EXPECT_EQ(Count(QStringLiteral("SELECT COUNT(*) FROM SYS_DBS")), 0);
}

TEST_F(MsSqlVersionsLive, QueriesAreRecordedInOrderPerVersion) {
    const int32_t first = m_db.AddNewQuery(QStringLiteral("A01"), 0, QStringLiteral("4.3.12"),
                                           QStringLiteral("One"), QStringLiteral("UPDATE X SET A = 'it''s'"));
    const int32_t second = m_db.AddNewQuery(QStringLiteral("A01"), 0, QStringLiteral("4.3.12"),
                                            QStringLiteral("Two"), QStringLiteral("SELECT 2"));
    EXPECT_GT(first, 0);
    EXPECT_EQ(second, first + 1);
    EXPECT_EQ(m_db.GetNewOrderQuery(QStringLiteral("A01"), QStringLiteral("4.3.12"), 0), 3);
    EXPECT_EQ(m_db.GetNewOrderQuery(QStringLiteral("A01"), QStringLiteral("4.3.12"), 1), 1);
    EXPECT_EQ(m_db.AddNewQuery(QStringLiteral("A01"), 1, QString(), QStringLiteral("Keyed"),
                               QStringLiteral("SELECT 3"), 9),
              second + 1);
    EXPECT_EQ(Count(QStringLiteral("SELECT IDQRY FROM SYS_QRY WHERE QYVER = 'Unknown' AND QYORD = 1")), 9);
    EXPECT_EQ(
        Count(QStringLiteral("SELECT COUNT(*) FROM SYS_QRY WHERE QYTXT = N'UPDATE X SET A = ''it''''s'''")),
        1);
}

} // namespace
} // namespace qldb
