// The structure file writers against a real SQL Server: a table with keys, defaults, a
// varchar(max), a description and an index, a view, a function, a procedure and a trigger, each
// written with the firm's prefix turned into the marker. Runs only when QLDB_TEST_MSSQL holds an
// ODBC connection string ("DRIVER=FreeTDS;SERVER=host;PORT=1433;UID=sa;PWD=..."); it creates its
// own database and drops it afterwards.
#include "structure/ql_database.h"
#include "structure/structure_document.h"
#include "support/scripted_error_service.h"
#include "support/scripted_host_services.h"

#include <QCoreApplication>
#include <QDateTime>
#include <gtest/gtest.h>

#include <memory>

namespace qldb::test {
namespace {

// The keys of an ODBC connection string, by upper-cased name.
std::map<QString, QString> OdbcKeys(const QString& s) {
    std::map<QString, QString> keys;
    for (const QString& part : s.split(u';', Qt::SkipEmptyParts)) {
        const qsizetype eq = part.indexOf(u'=');
        if (eq > 0)
            keys[part.left(eq).trimmed().toUpper()] = part.mid(eq + 1).trimmed();
    }
    return keys;
}

class MsSqlWritersLive : public ::testing::Test {
protected:
    void SetUp() override {
        const QString server = qEnvironmentVariable("QLDB_TEST_MSSQL");
        if (server.isEmpty())
            GTEST_SKIP() << "QLDB_TEST_MSSQL is not set: the live SQL Server writers test was skipped";
        m_name = QStringLiteral("qldb_writers_%1_%2")
                     .arg(QCoreApplication::applicationPid())
                     .arg(QDateTime::currentMSecsSinceEpoch() % 100000);
        m_master = connect(server, QStringLiteral("master"));
        m_master->Execute(QStringLiteral("CREATE DATABASE ") + m_name);
        m_cn = connect(server, m_name);
        database.setConnection(m_cn.get());
        database.setErrors(errors);
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

    // A connection set up the way a host sets one: provider, server, database and login.
    std::unique_ptr<qlConnection> connect(const QString& odbc, const QString& sDatabase) {
        auto keys = OdbcKeys(odbc);
        if (keys.count("DRIVER"))
            qputenv("QLDB_ODBC_DRIVER_SQLSERVER", keys["DRIVER"].remove(u'{').remove(u'}').toUtf8());
        auto cn = std::make_unique<qlConnection>();
        cn->setErrors(errors);
        cn->setHostServices(host);
        cn->setProductName(QStringLiteral("Mirando ERP"));
        cn->setProviderType(ql_eProviderType::SQLServer);
        cn->setServer(keys.count("PORT") ? keys["SERVER"] + QLatin1Char(',') + keys["PORT"] : keys["SERVER"]);
        cn->setDatabaseName(sDatabase);
        cn->setUser(keys["UID"]);
        cn->setPassword(keys["PWD"]);
        cn->OpenConnection();
        return cn;
    }

    QString collation() {
        auto rs = m_cn->ExecuteWC(
            QStringLiteral("SELECT CONVERT(nvarchar(128), DATABASEPROPERTYEX(DB_NAME(), 'Collation'))"));
        return rs && !rs->IsEOF() ? rs->Value(0).toString() : QString();
    }

    std::shared_ptr<ScriptedErrorService> errors = std::make_shared<ScriptedErrorService>(kDecisionLeave);
    std::shared_ptr<ScriptedHostServices> host = std::make_shared<ScriptedHostServices>();
    qlDatabase database;
    QString m_name;
    std::unique_ptr<qlConnection> m_master;
    std::unique_ptr<qlConnection> m_cn;
};

QStringList Texts(const QDomNode& node) {
    QStringList out;
    for (int i = 0; i < ChildCount(node); ++i)
        out << ChildText(node, i);
    return out;
}

TEST_F(MsSqlWritersLive, EveryObjectIsWrittenWithTheMarker) {
    const QString coll = collation();
    ASSERT_FALSE(coll.isEmpty());
    const QStringList setup = {
        "CREATE TABLE A01_ART (CODICE nvarchar(20) NOT NULL CONSTRAINT PK_A01_ART PRIMARY KEY, "
        "DES nvarchar(60) NULL CONSTRAINT DF_A01_ART_DES DEFAULT (''), "
        "PREZZO float NOT NULL CONSTRAINT DF_A01_ART_PREZZO DEFAULT (0), NOTE varchar(max) NULL, "
        "ID int IDENTITY(1,1) NOT NULL)",
        "CREATE INDEX IX_A01_ART_DES ON A01_ART (DES)",
        "EXEC sp_addextendedproperty 'MS_Description', 'Cod. [nota]', 'user', 'dbo', 'table', 'A01_ART', "
        "'column', 'DES'",
        "CREATE TABLE SYS_DBS (SYS_DATABASE nvarchar(3), SYS_VERSION nvarchar(20), SYS_CREATION bit, "
        "SYS_COMPLETED bit, SYS_DATE datetime, SYS_DCC nvarchar(128))",
        "INSERT INTO SYS_DBS VALUES ('SYS', '1.0.0001', 1, 1, GETDATE(), '" + coll + "')",
        "CREATE VIEW A01_VIEW_ART AS SELECT CODICE COLLATE " + coll + " AS C FROM A01_ART",
        "CREATE FUNCTION A01_FN_UNO() RETURNS int AS BEGIN RETURN 1 END",
        "CREATE PROCEDURE A01_SP_UNO AS SELECT 1 AS UNO",
        "CREATE TRIGGER TR_A01_ART ON A01_ART AFTER INSERT AS SET NOCOUNT ON",
    };
    for (const QString& sql : setup)
        m_cn->Execute(sql);
    ASSERT_TRUE(errors->reports().empty()) << errors->reports()[0].Error.Description.toStdString();

    QString prefix = QStringLiteral("a01_");
    const QString marker = QString::fromUtf16(kFirmMarker);
    const QDomElement table = database.GetXmlTableDefinition("A01_ART", true, true, &prefix, marker);
    EXPECT_EQ(ChildText(table, 0), QStringLiteral("[#FIRM#]ART"));
    const QDomNode fields = ChildAt(table, 1);
    ASSERT_EQ(ChildCount(fields), 5);
    EXPECT_EQ(Texts(ChildAt(fields, 0)),
              (QStringList{"CODICE", "1", "", "TypeVarCharUnicode", "20", "False", "", "True"}));
    EXPECT_EQ(Texts(ChildAt(fields, 1)),
              (QStringList{"DES", "2", "Cod. [nota]", "TypeVarCharUnicode", "60", "True", "('')", "False"}));
    EXPECT_EQ(Texts(ChildAt(fields, 2)),
              (QStringList{"PREZZO", "3", "", "TypeDbl", "8", "False", "(0)", "False"}));
    EXPECT_EQ(Texts(ChildAt(fields, 3)).mid(3, 2), (QStringList{"TypeVarChar", "-1"}));
    EXPECT_EQ(ChildText(ChildAt(fields, 4), 3), QStringLiteral("TypeCounter"));
    const QDomNode indexes = ChildAt(table, 2);
    ASSERT_EQ(ChildCount(indexes), 1);
    EXPECT_EQ(ChildText(ChildAt(indexes, 0), 0), QStringLiteral("IX_[#FIRM#]ART_DES"));
    EXPECT_TRUE(ChildText(ChildAt(indexes, 0), 1).contains(QStringLiteral("[#FIRM#]ART")));

    const QDomElement view = database.GetXmlViewDefinition("a01_view_art", &prefix, marker);
    EXPECT_EQ(prefix, QStringLiteral("A01_"));
    EXPECT_EQ(ChildText(view, 0), QStringLiteral("[#FIRM#]VIEW_ART"));
    EXPECT_TRUE(ChildText(view, 1).contains(QStringLiteral("COLLATE database_default AS C FROM [#FIRM#]ART")))
        << ChildText(view, 1).toStdString();
    EXPECT_EQ(Texts(database.GetXmlFunctionDefinition("A01_FN_UNO", prefix, marker)),
              (QStringList{"[#FIRM#]FN_UNO",
                           "CREATE FUNCTION [#FIRM#]FN_UNO() RETURNS int AS BEGIN RETURN 1 END"}));
    EXPECT_EQ(Texts(database.GetXmlProcedureDefinition("A01_SP_UNO")),
              (QStringList{"A01_SP_UNO", "CREATE PROCEDURE A01_SP_UNO AS SELECT 1 AS UNO"}));
    EXPECT_EQ(Texts(database.GetXmlTriggerDefinition("TR_A01_ART", prefix, marker)),
              (QStringList{"TR_[#FIRM#]ART",
                           "CREATE TRIGGER TR_[#FIRM#]ART ON [#FIRM#]ART AFTER INSERT AS SET NOCOUNT ON"}));
    EXPECT_TRUE(errors->reports().empty());
}

} // namespace
} // namespace qldb::test
