// The structure engine on a real SQL Server (see mssql_live_fixture.h): the structure file writers,
// table data (the record route's IF EXISTS ... ELSE statements, the copy between firms, the bulk route
// through the built-in copier), and the version registry and update-query records.
#include "live/live_files.h"
#include "live/mssql_live_fixture.h"
#include "platform/tools/conversions.h"
#include "structure/structure_document.h"

namespace qldb::test {
namespace {

// A table with keys, defaults, a varchar(max), a description and an index, a view, a function, a
// procedure and a trigger, each written with the firm's prefix turned into the marker.
using MsSqlWritersLive = MsSqlLiveTest;

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
        "EXEC sp_addextendedproperty N'MS_Description', N'Cod. [nota]', N'SCHEMA', N'dbo', N'TABLE', "
        "N'A01_ART', N'COLUMN', N'DES'",
        "CREATE TABLE SYS_DBS (SYS_DATABASE nvarchar(3), SYS_VERSION nvarchar(20), SYS_CREATION bit, "
        "SYS_COMPLETED bit, SYS_DATE datetime, SYS_DCC nvarchar(128))",
        "INSERT INTO SYS_DBS VALUES ('SYS', '1.0.0001', 1, 1, GETDATE(), '" + coll + "')",
        "CREATE VIEW A01_VIEW_ART AS SELECT CODICE COLLATE " + coll + " AS C FROM A01_ART",
        "CREATE FUNCTION A01_FN_UNO() RETURNS int AS BEGIN RETURN 1 END",
        "CREATE PROCEDURE A01_SP_UNO AS SELECT 1 AS UNO",
        "CREATE TRIGGER TR_A01_ART ON A01_ART AFTER INSERT AS SET NOCOUNT ON",
    };
    for (const QString& sql : setup)
        cn().Execute(sql);

    QString prefix = QStringLiteral("a01_");
    const QString marker = QString::fromUtf16(kFirmMarker);
    const QDomElement table = database.GetXmlTableDefinition("A01_ART", true, true, &prefix, marker);
    EXPECT_EQ(ChildText(table, 0), QStringLiteral("[#FIRM#]ART"));
    const QDomNode fields = ChildAt(table, 1);
    ASSERT_EQ(ChildCount(fields), 5);
    QStringList texts;
    for (int i = 0; i < 5; ++i)
        texts << Texts(ChildAt(fields, i)).join(u'|');
    EXPECT_EQ(texts.mid(0, 3), (QStringList{"CODICE|1||TypeVarCharUnicode|20|False||True",
                                            "DES|2|Cod. [nota]|TypeVarCharUnicode|60|True|('')|False",
                                            "PREZZO|3||TypeDbl|8|False|(0)|False"}));
    EXPECT_TRUE(texts[3].contains("|TypeVarChar|-1|") && texts[4].contains("|TypeCounter|"))
        << texts.join(u'\n').toStdString();
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
    EXPECT_EQ(reported(), "");
}

class MsSqlDataLive : public MsSqlLiveTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_root.isValid());
        MsSqlLiveTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        database.setPathXML(m_root.filePath("xml"));
        for (const QString firm : {"A01_", "B02_"})
            cn().Execute("CREATE TABLE " + firm +
                         "ART (CODE nvarchar(20) NOT NULL PRIMARY KEY, DES nvarchar(100), "
                         "QTY int, ACTIVE bit, USINS nvarchar(20), DTINS datetime)");
        cn().Execute("INSERT INTO A01_ART VALUES (N'A', N'Perché ''sì''', 1, 1, N'bob', '20200101'), "
                     "(N'B', NULL, NULL, 0, N'bob', NULL)");
    }
    QString save(const QDomElement& dataTable) {
        return WriteDataTableFile(dataTable, m_root.filePath("s.xml"));
    }
    QString des(const char* table) {
        return scalar("SELECT DES FROM " + QString(table) + " WHERE CODE = N'A'").toString();
    }

    ScopedProductRoot m_root;
};

TEST_F(MsSqlDataLive, RecordRouteUpdatesAndInserts) {
    QString replace = "A01_";
    const QString file =
        save(database.GetXmlDataTable("A01_ART", &replace, "[#FIRM#]", "SELECT * FROM A01_ART"));
    cn().Execute("INSERT INTO B02_ART (CODE, DES, QTY, ACTIVE) VALUES (N'A', N'old', 9, 0)");
    EXPECT_TRUE(database.ReadXmlDataTable(file, nullptr, "B02_"));
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM B02_ART").toInt(), 2);
    EXPECT_EQ(des("B02_ART"), QString("Perché 'sì'"));
    EXPECT_EQ(scalar("SELECT USINS FROM B02_ART WHERE CODE = N'B'").toString(), QString("SYSTEM_IMPORT"));
}

TEST_F(MsSqlDataLive, CopyBetweenFirmsKeepsExistingRowsWithoutRewrite) {
    cn().Execute("INSERT INTO B02_ART (CODE, DES) VALUES (N'A', N'kept')");
    EXPECT_TRUE(database.ImportTable("A01_", "B02_", "ART", false));
    EXPECT_EQ(des("B02_ART"), QString("kept"));
    EXPECT_TRUE(database.ImportTable("A01_", "B02_", "ART", true));
    EXPECT_EQ(des("B02_ART"), QString("Perché 'sì'"));
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM B02_ART").toInt(), 2);
}

TEST_F(MsSqlDataLive, BulkRouteThroughTheBuiltInCopier) {
    const QString file = save(database.GetXmlDataTable("A01_ART"));
    cn().Execute("DELETE FROM A01_ART");
    EXPECT_TRUE(database.ReadXmlDataTable(file));
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM A01_ART").toInt(), 2);
    EXPECT_EQ(des("A01_ART"), QString("Perché 'sì'"));
}

// The version order computed by the server, the write-then-complete of a version, and the order of
// recorded queries.
class MsSqlVersionsLive : public MsSqlLiveTest {
protected:
    void SetUp() override {
        MsSqlLiveTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        cn().Execute(
            "CREATE TABLE SYS_DBS (ID INT IDENTITY PRIMARY KEY, SYS_DATABASE VARCHAR(10), SYS_VERSION "
            "VARCHAR(20), SYS_CREATION BIT, SYS_COMPLETED BIT, SYS_DATE DATETIME, SYS_DCC VARCHAR(128))");
        cn().Execute(
            "CREATE TABLE SYS_QRY (RECORD_ID INT IDENTITY PRIMARY KEY, QYDBE VARCHAR(10), QYTAC SMALLINT, "
            "QYVER VARCHAR(20), QYORD INT, QYDES VARCHAR(200), QYTXT NVARCHAR(MAX), IDQRY INT NULL, "
            "QYCHK SMALLINT NULL)");
    }
    int32_t Count(const QString& sql) { return ToLong(scalar(sql)); }
};

TEST_F(MsSqlVersionsLive, VersionsAreOrderedWrittenOnceAndNeverGoBack) {
    EXPECT_EQ(database.GetDbVersion("A01"), "0.0.0000");
    EXPECT_TRUE(database.SetDbVersion("A01", "4.9.200", true, true, QString()));
    EXPECT_TRUE(database.SetDbVersion("A01", "4.10.100", false, false, QString()));
    // Not completed yet: only the form that takes any row sees it.
    EXPECT_EQ(database.GetDbVersion("A01"), "4.9.200");
    EXPECT_EQ(database.GetDbVersion("A01", true), "4.10.100");
    EXPECT_TRUE(database.SetDbVersion("A01", "4.10.100", false, true, "Latin1_General_CI_AS"));
    EXPECT_EQ(Count("SELECT COUNT(*) FROM SYS_DBS WHERE SYS_VERSION = '4.10.100'"), 1);
    EXPECT_EQ(database.GetDbVersion("A01"), "4.10.100"); // 4.10 sorts above 4.9
    EXPECT_EQ(database.GetSYSComparisonRoule("A01"), "Latin1_General_CI_AS");

    EXPECT_FALSE(database.SetDbVersion("A01", "4.9.300", false, true, QString()));
    EXPECT_EQ(Count("SELECT COUNT(*) FROM SYS_DBS"), 2);

    const QDateTime created = database.GetDbDate("A01", 0);
    EXPECT_TRUE(created.isValid() && created <= database.GetDbDate("A01", 1));
    EXPECT_FALSE(database.GetDbComparisonRoule().isEmpty());

    bool cancel = true;
    EXPECT_TRUE(database.SetDbVersion("A01", QString(), false, false, QString(), &cancel));
    EXPECT_EQ(Count("SELECT COUNT(*) FROM SYS_DBS"), 0);
}

TEST_F(MsSqlVersionsLive, QueriesAreRecordedInOrderPerVersion) {
    const int32_t first = database.AddNewQuery("A01", 0, "4.3.12", "One", "UPDATE X SET A = 'it''s'");
    const int32_t second = database.AddNewQuery("A01", 0, "4.3.12", "Two", "SELECT 2");
    EXPECT_TRUE(first > 0 && second == first + 1) << first << " " << second;
    EXPECT_EQ(std::pair(database.GetNewOrderQuery("A01", "4.3.12", 0),
                        database.GetNewOrderQuery("A01", "4.3.12", 1)),
              std::pair(3, 1));
    EXPECT_EQ(database.AddNewQuery("A01", 1, QString(), "Keyed", "SELECT 3", 9), second + 1);
    EXPECT_EQ(Count("SELECT IDQRY FROM SYS_QRY WHERE QYVER = 'Unknown' AND QYORD = 1"), 9);
    EXPECT_EQ(Count("SELECT COUNT(*) FROM SYS_QRY WHERE QYTXT = N'UPDATE X SET A = ''it''''s'''"), 1);
}

} // namespace
} // namespace qldb::test
