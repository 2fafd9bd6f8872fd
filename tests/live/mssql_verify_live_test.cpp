// A verify run and then an update run of a small structure against a real SQL Server. SQL Server
// cannot run on this platform, so the test runs only when QLDB_TEST_MSSQL holds an ODBC connection
// string to one (for example "DRIVER=FreeTDS;SERVER=host;PORT=1433;UID=sa;PWD=...;TDS_Version=7.4").
// It creates a database of its own and drops it afterwards.
#include "connection/ql_connection.h"
#include "platform/errors/error_service.h"
#include "platform/host/host_services.h"
#include "structure/ql_database.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

namespace qldb {
namespace {

QString ServerString() {
    const char* value = std::getenv("QLDB_TEST_MSSQL");
    return value ? QString::fromLocal8Bit(value) : QString();
}

// The connection's own settings from the parts of the string: "SERVER" and "PORT" make "host,port".
std::unique_ptr<qlConnection> Connect(const QString& sConnectionString, const QString& sDatabase) {
    QString server, port, user, password;
    for (const QString& part : sConnectionString.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const QString key = part.section(QLatin1Char('='), 0, 0).trimmed().toUpper();
        const QString value = part.section(QLatin1Char('='), 1).trimmed();
        if (key == QLatin1String("SERVER"))
            server = value;
        else if (key == QLatin1String("PORT"))
            port = value;
        else if (key == QLatin1String("UID"))
            user = value;
        else if (key == QLatin1String("PWD"))
            password = value;
    }
    auto cn = std::make_unique<qlConnection>();
    cn->setErrors(std::make_shared<HeadlessErrorService>(kDecisionLeave, kErrorModeRaise));
    cn->setHostServices(std::make_shared<HeadlessHostServices>());
    cn->setProviderType(ql_eProviderType::SQLServer);
    cn->setServer(port.isEmpty() ? server : server + QLatin1Char(',') + port);
    cn->setDatabaseName(sDatabase);
    cn->setUser(user);
    cn->setPassword(password);
    cn->OpenConnection();
    return cn;
}

const char* kStructure =
    "<?xml version=\"1.0\"?><Database><DatabaseName>LIVE</DatabaseName><Company>C</Company>"
    "<ProductName>P</ProductName><StructureVersion>1.0.0001</StructureVersion>"
    "<DataTimeVersion>2024-01-01T00:00:00</DataTimeVersion><Tables>"
    "<Table><TableName>SYS_DBS</TableName><Fields>"
    "<Field><FieldName>ID</FieldName><Index>1</Index><Description/><DataType>TypeCounter</DataType>"
    "<FieldSize>4</FieldSize><AllowsNull>False</AllowsNull><DefaultValue/><PrimaryKey>True</PrimaryKey></"
    "Field>"
    "<Field><FieldName>SYS_DATABASE</FieldName><Index>2</Index><Description/><DataType>TypeChar</DataType>"
    "<FieldSize>10</FieldSize><AllowsNull>True</AllowsNull><DefaultValue/><PrimaryKey>False</PrimaryKey></"
    "Field>"
    "<Field><FieldName>SYS_VERSION</FieldName><Index>3</Index><Description/><DataType>TypeChar</DataType>"
    "<FieldSize>20</FieldSize><AllowsNull>True</AllowsNull><DefaultValue/><PrimaryKey>False</PrimaryKey></"
    "Field>"
    "<Field><FieldName>SYS_CREATION</FieldName><Index>4</Index><Description/><DataType>TypeBit</DataType>"
    "<FieldSize>1</FieldSize><AllowsNull>True</AllowsNull><DefaultValue/><PrimaryKey>False</PrimaryKey></"
    "Field>"
    "<Field><FieldName>SYS_COMPLETED</FieldName><Index>5</Index><Description/><DataType>TypeBit</DataType>"
    "<FieldSize>1</FieldSize><AllowsNull>True</AllowsNull><DefaultValue/><PrimaryKey>False</PrimaryKey></"
    "Field>"
    "<Field><FieldName>SYS_DATE</FieldName><Index>6</Index><Description/><DataType>TypeDateTime</DataType>"
    "<FieldSize>8</FieldSize><AllowsNull>True</AllowsNull><DefaultValue/><PrimaryKey>False</PrimaryKey></"
    "Field>"
    "<Field><FieldName>SYS_DCC</FieldName><Index>7</Index><Description/><DataType>TypeVarChar</DataType>"
    "<FieldSize>100</FieldSize><AllowsNull>True</AllowsNull><DefaultValue/><PrimaryKey>False</PrimaryKey></"
    "Field>"
    "</Fields></Table>"
    "<Table><TableName>[#FIRM#]ITEMS</TableName><Fields>"
    "<Field><FieldName>CODE</FieldName><Index>1</Index><Description/><DataType>TypeVarChar</DataType>"
    "<FieldSize>20</FieldSize><AllowsNull>False</AllowsNull><DefaultValue/><PrimaryKey>True</PrimaryKey></"
    "Field>"
    "</Fields></Table></Tables><Functions/><Views>"
    "<View><ViewName>[#FIRM#]V_ITEMS</ViewName><ViewSql>CREATE VIEW [#FIRM#]V_ITEMS AS SELECT CODE FROM "
    "[#FIRM#]ITEMS</ViewSql></View></Views><Procedures/><Triggers/></Database>";

class MsSqlVerifyLive : public ::testing::Test {
protected:
    void SetUp() override {
        const QString server = ServerString();
        if (server.isEmpty())
            GTEST_SKIP() << "QLDB_TEST_MSSQL is not set: the live verification test was skipped";
        m_name = QStringLiteral("qldb_verify_%1").arg(QCoreApplication::applicationPid());
        m_master = Connect(server, QStringLiteral("master"));
        m_master->Execute(QStringLiteral("CREATE DATABASE ") + m_name);
        m_cn = Connect(server, m_name);
        ASSERT_TRUE(m_dir.isValid());
        m_file = m_dir.filePath(QStringLiteral("LIVE.xml"));
        QFile f(m_file);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(kStructure);
    }
    void TearDown() override {
        if (m_cn)
            m_cn->Finalize();
        if (m_master) {
            m_master->Execute(
                QStringLiteral("ALTER DATABASE %1 SET SINGLE_USER WITH ROLLBACK IMMEDIATE").arg(m_name));
            m_master->Execute(QStringLiteral("DROP DATABASE ") + m_name);
            m_master->Finalize();
        }
    }

    QString m_name;
    QTemporaryDir m_dir;
    QString m_file;
    std::unique_ptr<qlConnection> m_master;
    std::unique_ptr<qlConnection> m_cn;
};

TEST_F(MsSqlVerifyLive, VerifyListsTheMissingObjectsAndAnUpdateCreatesThem) {
    qlDatabase database;
    database.setConnection(m_cn.get());
    database.setErrors(std::make_shared<HeadlessErrorService>());
    auto log = std::make_shared<PlainTextLog>();
    database.setOutputBox(log);
    bool removePrefix = true;

    VariantArray2 list;
    database.setVerifyDatabaseMode(ql_eVerifyMode::VerifyModality);
    EXPECT_EQ(database.VerifyDatabase(m_file, list, QStringLiteral("A01_"), &removePrefix), 3);
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdateRequest);
    for (int32_t row = 1; row <= list.RowCount(); ++row)
        EXPECT_EQ(list(kObjectStatus, row).toInt(), kStatusToCreate)
            << list(kObjectName, row).toString().toStdString();

    database.setAutoUpdate(true);
    database.setVerifyDatabaseMode(ql_eVerifyMode::UpdateModality);
    database.VerifyDatabase(m_file, list, QStringLiteral("A01_"), &removePrefix);
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedCorrectly)
        << log->Text().toStdString();
    EXPECT_TRUE(m_cn->TableExist(QStringLiteral("A01_ITEMS")));
    EXPECT_FALSE(m_cn->GetFunctionCode(QStringLiteral("A01_V_ITEMS")).isEmpty());
    EXPECT_EQ(database.GetDbVersion(QStringLiteral("A01_")), QStringLiteral("1.0.0001"));

    // A second verify finds everything in step.
    database.setAutoUpdate(false);
    database.setVerifyDatabaseMode(ql_eVerifyMode::VerifyModality);
    database.VerifyDatabase(m_file, list, QStringLiteral("A01_"), &removePrefix);
    for (int32_t row = 1; row <= list.RowCount(); ++row)
        EXPECT_EQ(list(kObjectStatus, row).toInt(), kStatusUpToDate)
            << list(kObjectName, row).toString().toStdString();
}

} // namespace
} // namespace qldb
