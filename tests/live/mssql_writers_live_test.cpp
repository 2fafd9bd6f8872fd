// The structure file writers against a real SQL Server (see mssql_live_fixture.h): a table with
// keys, defaults, a varchar(max), a description and an index, a view, a function, a procedure and
// a trigger, each written with the firm's prefix turned into the marker.
#include "live/mssql_live_fixture.h"
#include "structure/structure_document.h"

namespace qldb::test {
namespace {

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
