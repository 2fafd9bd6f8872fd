// Table verification against a real SQL Server: the differences of a table read from the server's
// own catalog in verify mode, then repaired in update mode, after which the table compares equal.
// Runs only when QLDB_TEST_MSSQL holds an ODBC connection string to a server (for example
// "DRIVER=FreeTDS;SERVER=host;PORT=1433;UID=sa;PWD=...;TDS_Version=7.4"); it makes its own
// database and drops it afterwards.
#include "platform/tools/conversions.h"
#include "structure/ql_database.h"
#include "structure/structure_document.h"
#include "support/recording_host_objects.h"

#include <QCoreApplication>
#include <QMap>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

namespace qldb {

struct MsSqlTableCheckArea;
template <> struct qlDatabaseTestAccess<MsSqlTableCheckArea> {
    static void Select(qlDatabase& d, const QString& name) {
        VariantArray2 list;
        list.Redim(1, 4, 0, 0);
        const int32_t row = list.AddRow(1, 4);
        list(kObjectSelected, row) = true;
        list(kObjectName, row) = name;
        list(kObjectKind, row) = QStringLiteral("T");
        list(kObjectStatus, row) = kStatusToUpdate;
        d.m_objectDefinition = list;
    }
};

namespace {

// The settings of an ODBC connection string by upper-case key.
QMap<QString, QString> Settings(const QString& sConnectionString) {
    QMap<QString, QString> out;
    for (const QString& part : sConnectionString.split(';', Qt::SkipEmptyParts)) {
        const qsizetype eq = part.indexOf('=');
        if (eq > 0)
            out.insert(part.left(eq).trimmed().toUpper(), part.mid(eq + 1).trimmed());
    }
    return out;
}

// A connection made from the parts of the string, as a host sets them.
std::unique_ptr<qlConnection> Connect(const QMap<QString, QString>& settings, const QString& sDatabase) {
    auto cn = std::make_unique<qlConnection>();
    cn->setErrors(std::make_shared<HeadlessErrorService>(kDecisionLeave, kErrorModeRaise));
    cn->setProviderType(ql_eProviderType::SQLServer);
    const QString port = settings.value("PORT");
    cn->setServer(settings.value("SERVER") + (port.isEmpty() ? QString() : "," + port));
    cn->setDatabaseName(sDatabase);
    cn->setUser(settings.value("UID"));
    cn->setPassword(settings.value("PWD"));
    cn->OpenConnection();
    return cn;
}

class MsSqlTableCheckLive : public ::testing::Test {
protected:
    void SetUp() override {
        const char* value = std::getenv("QLDB_TEST_MSSQL");
        if (value == nullptr || *value == '\0')
            GTEST_SKIP() << "QLDB_TEST_MSSQL is not set: the live SQL Server table check was skipped";
        const auto settings = Settings(QString::fromLocal8Bit(value));
        m_databaseName = QStringLiteral("qldb_check_%1").arg(QCoreApplication::applicationPid());
        m_master = Connect(settings, "master");
        m_master->Execute("CREATE DATABASE " + m_databaseName);
        m_cn = Connect(settings, m_databaseName);
        database.setConnection(m_cn.get());
        database.setErrors(std::make_shared<HeadlessErrorService>(kDecisionLeave, 0));
        database.setOutputBox(log);
        database.setCollate(
            ToText(Scalar("SELECT CONVERT(varchar(128), DATABASEPROPERTYEX(DB_NAME(), 'Collation'))")));
    }

    void TearDown() override {
        m_cn.reset();
        if (!m_master)
            return;
        // Best effort: a failed drop leaves a database named after this process, nothing else.
        try {
            m_master->Execute("ALTER DATABASE " + m_databaseName +
                              " SET SINGLE_USER WITH ROLLBACK IMMEDIATE");
            m_master->Execute("DROP DATABASE " + m_databaseName);
        } catch (const qlException&) {
        }
        m_master->Finalize();
    }

    QVariant Scalar(const QString& sql) {
        const auto rs = m_cn->ExecuteWC(sql);
        return rs && rs->State() == ado::adStateOpen && !rs->IsEOF() ? rs->Value(0) : QVariant();
    }

    static QStringList RowsOf(const VariantArray2& rows) {
        QStringList out;
        for (int32_t r = 1; r <= rows.RowCount(); ++r)
            out << QStringList({rows(1, r).toString(), rows(2, r).toString(), rows(3, r).toString(),
                                rows(4, r).toString(), rows(5, r).toString()})
                       .join('|');
        return out;
    }

    QString m_databaseName;
    std::unique_ptr<qlConnection> m_master;
    std::unique_ptr<qlConnection> m_cn;
    qlDatabase database;
    std::shared_ptr<test::RecordingRichTextLog> log = std::make_shared<test::RecordingRichTextLog>();
};

TEST_F(MsSqlTableCheckLive, VerifyThenUpdateThenEqual) {
    m_cn->Execute("CREATE TABLE CHK (ID INTEGER IDENTITY(1, 1) NOT NULL PRIMARY KEY, NAME VARCHAR(10) NULL, "
                  "QTY INTEGER NULL)");
    QDomDocument doc;
    const QString field =
        "<Field><FieldName>%1</FieldName><O/><Description>%2</Description><DataType>%3</DataType>"
        "<FieldSize>%4</FieldSize><AllowsNull>%5</AllowsNull><DefaultValue>%6</DefaultValue>"
        "<PrimaryKey>%7</PrimaryKey></Field>";
    ASSERT_TRUE(ParseStructureDocument(("<Table><TableName>CHK</TableName><Fields>" +
                                        field.arg("ID", "", "TypeCounter", "4", "False", "", "True") +
                                        field.arg("NAME", "", "TypeVarChar", "20", "True", "", "False") +
                                        field.arg("QTY", "", "TypeInt", "4", "True", "(0)", "False") +
                                        field.arg("ADDED", "Added", "TypeVarChar", "5", "True", "", "False") +
                                        "</Fields><Indexes><Index><IndexName>IX_CHK_QTY</"
                                        "IndexName><IndexSql>CREATE INDEX IX_CHK_QTY ON CHK (QTY)"
                                        "</IndexSql></Index></Indexes></Table>")
                                           .toUtf8(),
                                       doc));
    const QDomNode node = doc.documentElement();

    VariantArray2 rows;
    EXPECT_EQ(database.CheckTable("CHK", rows, node), ql_eTableStatus::TableMustUpdated);
    EXPECT_EQ(RowsOf(rows),
              QStringList({"NAME|Field|Data Size Changed|10|20", "QTY|Field|Default Value Changed||(0)",
                           "ADDED|Field|New Field||", "IX_CHK_QTY|Index|New Index||"}));

    database.setVerifyDatabaseMode(ql_eVerifyMode::UpdateModality);
    qlDatabaseTestAccess<MsSqlTableCheckArea>::Select(database, "CHK");
    EXPECT_EQ(database.CheckTable("CHK", rows, node), ql_eTableStatus::TableUpdated);
    EXPECT_NE(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedWithErrors)
        << log->Text().toStdString();

    // The columns now compare equal. The index's text as the server writes it back may differ
    // from the file's in more than white space, so only its presence is asserted.
    database.setVerifyDatabaseMode(ql_eVerifyMode::VerifyModality);
    database.CheckTable("CHK", rows, node);
    for (const QString& row : RowsOf(rows)) {
        EXPECT_FALSE(row.contains("|Field|")) << row.toStdString() << "\n" << log->Text().toStdString();
        EXPECT_FALSE(row.contains("New Index")) << row.toStdString();
    }
}

} // namespace
} // namespace qldb
