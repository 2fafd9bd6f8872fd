// SQL Server behaviour against a real server: transactions the SQL way, GO-separated scripts run
// through sp_executesql, stored procedures with parameters, the read-uncommitted prefix and the
// catalog reads. SQL Server cannot run on this platform, so the suite runs only when
// QLDB_TEST_MSSQL holds an ODBC connection string to one (for example
// "DRIVER=FreeTDS;SERVER=host;PORT=1433;UID=sa;PWD=...;TDS_Version=7.4"). It creates its own
// database and drops it afterwards.
#include "connection/ql_connection.h"
#include "platform/tools/conversions.h"
#include "sql/ql_query_constructor.h"

#include <QCoreApplication>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

namespace qldb {
namespace {

QString ServerString() {
    const char* value = std::getenv("QLDB_TEST_MSSQL");
    return value ? QString::fromLocal8Bit(value) : QString();
}

std::unique_ptr<qlConnection> Connect(const QString& sConnectionString) {
    auto cn = std::make_unique<qlConnection>();
    cn->setErrors(std::make_shared<HeadlessErrorService>(kDecisionLeave, kErrorModeRaise));
    cn->setProviderType(ql_eProviderType::SQLServer);
    cn->setConnectionString(sConnectionString);
    cn->OpenConnection();
    return cn;
}

class MsSqlLive : public ::testing::Test {
protected:
    void SetUp() override {
        const QString server = ServerString();
        if (server.isEmpty())
            GTEST_SKIP() << "QLDB_TEST_MSSQL is not set: the live SQL Server suite was skipped";
        m_database = QStringLiteral("qldb_live_%1").arg(QCoreApplication::applicationPid());
        m_master = Connect(server);
        m_master->Execute(QStringLiteral("CREATE DATABASE ") + m_database);
        m_cn = Connect(server + QStringLiteral(";DATABASE=") + m_database);
    }

    void TearDown() override {
        if (m_cn)
            m_cn->Finalize();
        if (m_master) {
            m_master->Execute(
                QStringLiteral("ALTER DATABASE %1 SET SINGLE_USER WITH ROLLBACK IMMEDIATE").arg(m_database));
            m_master->Execute(QStringLiteral("DROP DATABASE ") + m_database);
            m_master->Finalize();
        }
    }

    QVariant Scalar(const QString& sql) {
        auto rs = m_cn->ExecuteWC(sql);
        EXPECT_TRUE(rs && rs->State() == ado::adStateOpen) << sql.toStdString();
        if (!rs || rs->State() != ado::adStateOpen || rs->IsEOF())
            return {};
        return rs->Value(0);
    }

    QString m_database;
    std::unique_ptr<qlConnection> m_master;
    std::unique_ptr<qlConnection> m_cn;
};

TEST_F(MsSqlLive, TransactionsTheSqlWayFollowTheServerCount) {
    EXPECT_EQ(m_cn->BeginTrans(VB_FALSE), 1);
    EXPECT_EQ(m_cn->BeginTrans(VB_FALSE, QStringLiteral("T1")), 2);
    EXPECT_EQ(m_cn->TransactionCount(), 2);
    EXPECT_EQ(m_cn->CommitTrans(VB_FALSE), 1);
    EXPECT_EQ(m_cn->BeginTrans(VB_FALSE), 2);
    // A rollback without a savepoint name ends every level at once.
    EXPECT_EQ(m_cn->RollbackTrans(VB_FALSE), 0);
    EXPECT_EQ(m_cn->TransactionCount(), 0);
}

TEST_F(MsSqlLive, ScriptsRunPieceByPieceAndProceduresTakeParameters) {
    const QString script = QStringLiteral("CREATE TABLE LIVE_T (A INT, B NVARCHAR(20))\r\n"
                                          "GO\r\n"
                                          "CREATE PROCEDURE LIVE_ADD @A INT, @B NVARCHAR(20) AS\r\n"
                                          "INSERT INTO LIVE_T (A, B) VALUES (@A, @B)\r\n"
                                          "go\n"
                                          "\n"
                                          "GO\n"
                                          "CREATE VIEW LIVE_V AS SELECT A FROM LIVE_T\n");
    bool bError = true;
    EXPECT_TRUE(m_cn->ExecuteScript(script, false, &bError));
    EXPECT_FALSE(bError);

    qlQueryConstructor params;
    params.AddProcedureParam(QStringLiteral("@A"), 7, ql_eDataType::TypeInt);
    params.AddProcedureParam(QStringLiteral("@B"), QStringLiteral("O'Brien"),
                             ql_eDataType::TypeVarCharUnicode, 20);
    m_cn->ExecuteSP(QStringLiteral("LIVE_ADD"), &params, &bError);
    EXPECT_FALSE(bError);
    EXPECT_EQ(ToLong(Scalar(QStringLiteral("SELECT COUNT(*) FROM LIVE_V WHERE A = 7"))), 1);
    EXPECT_EQ(ToText(Scalar(QStringLiteral("SELECT B FROM LIVE_T"))), QStringLiteral("O'Brien"));

    // The same call written as text runs as a batch of its own.
    const QString call = m_cn->GetSP(QStringLiteral("LIVE_ADD"), &params);
    m_cn->Execute(call, &bError);
    EXPECT_FALSE(bError) << call.toStdString();
    EXPECT_EQ(ToLong(Scalar(QStringLiteral("SELECT COUNT(*) FROM LIVE_T"))), 2);
}

TEST_F(MsSqlLive, ReadUncommittedPrefixAndCatalogReads) {
    m_cn->setReadUncommitted(true);
    EXPECT_EQ(ToLong(Scalar(QStringLiteral("   select 1 AS X"))), 1);
    m_cn->setReadUncommitted(false);

    m_cn->Execute(QStringLiteral("CREATE TABLE LIVE_K (ID INT NOT NULL PRIMARY KEY, C INT DEFAULT ((0)))"));
    m_cn->Execute(QStringLiteral("CREATE INDEX IX_LIVE_K_C ON LIVE_K (C)"));
    EXPECT_EQ(m_cn->GetTableKeys(QStringLiteral("LIVE_K")), QStringLiteral("ID"));
    EXPECT_EQ(m_cn->GetIndexes(QStringLiteral("LIVE_K")), QStringLiteral("IX_LIVE_K_C"));
    m_cn->Execute(QStringLiteral("CREATE INDEX IX_LIVE_K_COVER ON LIVE_K (C DESC) INCLUDE (ID)"));
    EXPECT_EQ(
        m_cn->GetIndexCode(QStringLiteral("LIVE_K"), QStringLiteral("IX_LIVE_K_COVER")),
        QStringLiteral("CREATE NONCLUSTERED INDEX IX_LIVE_K_COVER ON dbo.LIVE_K (C DESC)  INCLUDE (ID) "));
    EXPECT_TRUE(m_cn->TableExist(QStringLiteral("LIVE_K")));
    EXPECT_TRUE(m_cn->ColumnExist(QStringLiteral("LIVE_K"), QStringLiteral("C")));
    EXPECT_FALSE(m_cn->ColumnExist(QStringLiteral("LIVE_K"), QStringLiteral("NOPE")));
    EXPECT_EQ(m_cn->GetColumnAttribute(QStringLiteral("LIVE_K"), QStringLiteral("C"),
                                       ql_eColumnAttribute::DefaultValue)
                  .toString(),
              QStringLiteral("(0)"));
    EXPECT_FALSE(m_cn->CollectionName().isEmpty());
}

} // namespace
} // namespace qldb
