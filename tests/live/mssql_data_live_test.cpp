// Table data on a real SQL Server: the record route's statements (IF EXISTS ... ELSE) run by the
// server, the copy between firms, and the bulk route through the built-in copier. Runs only when
// QLDB_TEST_MSSQL holds an ODBC connection string; each run makes its own database and drops it.
#include "platform/tools/configuration.h"
#include "platform/tools/product_folders.h"
#include "structure/ql_database.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>

namespace qldb {
namespace {

QString ServerString() {
    const char* value = std::getenv("QLDB_TEST_MSSQL");
    return value ? QString::fromLocal8Bit(value) : QString();
}

// The value of KEY= in a connection string, or empty.
QString Part(const QString& sConnection, const QString& sKey) {
    for (const QString& item : sConnection.split(';', Qt::SkipEmptyParts)) {
        const qsizetype eq = item.indexOf('=');
        if (eq > 0 && item.left(eq).trimmed().compare(sKey, Qt::CaseInsensitive) == 0)
            return item.mid(eq + 1).trimmed();
    }
    return QString();
}

std::unique_ptr<qlConnection> Connect(const QString& sConnectionString, const QString& sDatabase) {
    auto cn = std::make_unique<qlConnection>();
    cn->setErrors(std::make_shared<HeadlessErrorService>(kDecisionLeave, kErrorModeRaise));
    cn->setProviderType(ql_eProviderType::SQLServer);
    QString server = Part(sConnectionString, "SERVER");
    const QString port = Part(sConnectionString, "PORT");
    if (!port.isEmpty())
        server += "," + port;
    cn->setServer(server);
    cn->setUser(Part(sConnectionString, "UID"));
    cn->setPassword(Part(sConnectionString, "PWD"));
    cn->setDatabaseName(sDatabase);
    cn->setConnectionString(sDatabase.isEmpty() ? sConnectionString
                                                : sConnectionString + ";DATABASE=" + sDatabase);
    cn->OpenConnection();
    return cn;
}

class MsSqlDataLive : public ::testing::Test {
protected:
    void SetUp() override {
        const QString server = ServerString();
        if (server.isEmpty())
            GTEST_SKIP() << "QLDB_TEST_MSSQL is not set: the live SQL Server data suite was skipped";
        ASSERT_TRUE(m_root.isValid());
        setProductRoot(m_root.path());
        WriteSetting("BulkCopyProgram", "builtin");
        m_name = QStringLiteral("qldb_data_%1").arg(QCoreApplication::applicationPid());
        m_master = Connect(server, QString());
        m_master->Execute("CREATE DATABASE " + m_name);
        m_cn = Connect(server, m_name);
        database.setConnection(m_cn.get());
        database.setErrors(m_cn->Errors());
        database.setPathXML(m_root.filePath("xml"));
        for (const char* firm : {"A01_", "B02_"})
            m_cn->Execute(
                QString("CREATE TABLE %1ART (CODE nvarchar(20) NOT NULL PRIMARY KEY, DES nvarchar(100), "
                        "QTY int, ACTIVE bit, USINS nvarchar(20), DTINS datetime)")
                    .arg(firm));
        m_cn->Execute("INSERT INTO A01_ART VALUES (N'A', N'Perché ''sì''', 1, 1, N'bob', '20200101'), "
                      "(N'B', NULL, NULL, 0, N'bob', NULL)");
    }
    void TearDown() override {
        m_cn.reset();
        if (m_master) {
            m_master->Execute("ALTER DATABASE " + m_name + " SET SINGLE_USER WITH ROLLBACK IMMEDIATE");
            m_master->Execute("DROP DATABASE " + m_name);
            m_master->Finalize();
        }
        setProductRoot(QString());
    }
    QVariant scalar(const QString& sql) {
        auto rs = m_cn->ExecuteWC(sql);
        return rs && !rs->IsEOF() ? rs->Value(0) : QVariant();
    }
    QString save(const QDomElement& dataTable) {
        QDomDocument doc;
        QDomElement root = doc.createElement("Database");
        doc.appendChild(root);
        QDomElement tables = doc.createElement("DataTables");
        root.appendChild(tables);
        tables.appendChild(doc.importNode(dataTable, true));
        const QString file = m_root.filePath("s.xml");
        QFile f(file);
        f.open(QIODevice::WriteOnly);
        f.write(doc.toByteArray());
        return file;
    }

    QTemporaryDir m_root;
    QString m_name;
    std::unique_ptr<qlConnection> m_master;
    std::unique_ptr<qlConnection> m_cn;
    qlDatabase database;
};

TEST_F(MsSqlDataLive, RecordRouteUpdatesAndInserts) {
    QString replace = "A01_";
    const QString file =
        save(database.GetXmlDataTable("A01_ART", &replace, "[#FIRM#]", "SELECT * FROM A01_ART"));
    m_cn->Execute("INSERT INTO B02_ART (CODE, DES, QTY, ACTIVE) VALUES (N'A', N'old', 9, 0)");
    EXPECT_TRUE(database.ReadXmlDataTable(file, nullptr, "B02_"));
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM B02_ART").toInt(), 2);
    EXPECT_EQ(scalar("SELECT DES FROM B02_ART WHERE CODE = N'A'").toString(), QString("Perché 'sì'"));
    EXPECT_EQ(scalar("SELECT USINS FROM B02_ART WHERE CODE = N'B'").toString(), QString("SYSTEM_IMPORT"));
}

TEST_F(MsSqlDataLive, CopyBetweenFirmsKeepsExistingRowsWithoutRewrite) {
    m_cn->Execute("INSERT INTO B02_ART (CODE, DES) VALUES (N'A', N'kept')");
    EXPECT_TRUE(database.ImportTable("A01_", "B02_", "ART", false));
    EXPECT_EQ(scalar("SELECT DES FROM B02_ART WHERE CODE = N'A'").toString(), QString("kept"));
    EXPECT_TRUE(database.ImportTable("A01_", "B02_", "ART", true));
    EXPECT_EQ(scalar("SELECT DES FROM B02_ART WHERE CODE = N'A'").toString(), QString("Perché 'sì'"));
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM B02_ART").toInt(), 2);
}

TEST_F(MsSqlDataLive, BulkRouteThroughTheBuiltInCopier) {
    const QString file = save(database.GetXmlDataTable("A01_ART"));
    m_cn->Execute("DELETE FROM A01_ART");
    EXPECT_TRUE(database.ReadXmlDataTable(file));
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM A01_ART").toInt(), 2);
    EXPECT_EQ(scalar("SELECT DES FROM A01_ART WHERE CODE = N'A'").toString(), QString("Perché 'sì'"));
}

} // namespace
} // namespace qldb
