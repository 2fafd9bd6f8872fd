// Verification against a real SQL Server (see mssql_live_fixture.h): the differences of one table
// read from the server's own catalog in verify mode, then repaired in update mode, after which the
// table compares equal; and a verify run and then an update run of a small structure.
#include "live/live_files.h"
#include "live/mssql_live_fixture.h"
#include "structure/structure_document.h"

#include <QTemporaryDir>

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

namespace test {
namespace {

class MsSqlTableCheckLive : public MsSqlLiveTest {
protected:
    void SetUp() override {
        MsSqlLiveTest::SetUp();
        if (!IsSkipped() && !HasFatalFailure())
            database.setCollate(collation());
    }

    static QStringList RowsOf(const VariantArray2& rows) {
        QStringList out;
        for (int32_t r = 1; r <= rows.RowCount(); ++r)
            out << QStringList({rows(1, r).toString(), rows(2, r).toString(), rows(3, r).toString(),
                                rows(4, r).toString(), rows(5, r).toString()})
                       .join('|');
        return out;
    }
};

TEST_F(MsSqlTableCheckLive, VerifyThenUpdateThenEqual) {
    cn().Execute("CREATE TABLE CHK (ID INTEGER IDENTITY(1, 1) NOT NULL PRIMARY KEY, NAME VARCHAR(10) NULL, "
                 "QTY INTEGER NULL)");
    QDomDocument doc;
    ASSERT_TRUE(ParseStructureDocument(("<Table><TableName>CHK</TableName><Fields>" +
                                        FieldXml("ID", "TypeCounter", "4", "False", "", "True") +
                                        FieldXml("NAME", "TypeVarChar", "20", "True") +
                                        FieldXml("QTY", "TypeInt", "4", "True", "(0)") +
                                        FieldXml("ADDED", "TypeVarChar", "5", "True", "", "False", "Added") +
                                        "</Fields><Indexes><Index><IndexName>IX_CHK_QTY</IndexName>"
                                        "<IndexSql>CREATE INDEX IX_CHK_QTY ON CHK (QTY)</IndexSql></Index>"
                                        "</Indexes></Table>")
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

// A verify run lists the missing objects of a small structure, an update run creates them, and a
// second verify finds everything in step.
using MsSqlVerifyLive = MsSqlLiveTest;
TEST_F(MsSqlVerifyLive, VerifyListsTheMissingObjectsAndAnUpdateCreatesThem) {
    QString sys;
    for (const char* f : {"SYS_DATABASE TypeChar 10", "SYS_VERSION TypeChar 20", "SYS_CREATION TypeBit 1",
                          "SYS_COMPLETED TypeBit 1", "SYS_DATE TypeDateTime 8", "SYS_DCC TypeVarChar 100"}) {
        const QStringList p = QString(f).split(u' ');
        sys += FieldXml(p[0], p[1], p[2], "True");
    }
    QTemporaryDir dir;
    const QString file = dir.filePath("LIVE.xml");
    WriteFileBytes(
        file, ("<?xml version=\"1.0\"?><Database><DatabaseName>LIVE</DatabaseName><Company>C</Company>"
               "<ProductName>P</ProductName><StructureVersion>1.0.0001</StructureVersion><DataTimeVersion>"
               "2024-01-01T00:00:00</DataTimeVersion><Tables><Table><TableName>SYS_DBS</TableName><Fields>" +
               FieldXml("ID", "TypeCounter", "4", "False", "", "True") + sys +
               "</Fields></Table><Table><TableName>[#FIRM#]ITEMS</TableName><Fields>" +
               FieldXml("CODE", "TypeVarChar", "20", "False", "", "True") +
               "</Fields></Table></Tables><Functions/><Views><View><ViewName>[#FIRM#]V_ITEMS</ViewName>"
               "<ViewSql>CREATE VIEW [#FIRM#]V_ITEMS AS SELECT CODE FROM [#FIRM#]ITEMS</ViewSql></View>"
               "</Views><Procedures/><Triggers/></Database>")
                  .toUtf8());
    bool removePrefix = true;
    VariantArray2 list;
    const auto statuses = [&] {
        QList<int> out;
        for (int32_t row = 1; row <= list.RowCount(); ++row)
            out << list(kObjectStatus, row).toInt();
        return out;
    };
    database.setVerifyDatabaseMode(ql_eVerifyMode::VerifyModality);
    EXPECT_EQ(database.VerifyDatabase(file, list, "A01_", &removePrefix), 3);
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdateRequest);
    EXPECT_EQ(statuses(), QList<int>(list.RowCount(), kStatusToCreate));

    database.setAutoUpdate(true);
    database.setVerifyDatabaseMode(ql_eVerifyMode::UpdateModality);
    database.VerifyDatabase(file, list, "A01_", &removePrefix);
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedCorrectly)
        << log->Text().toStdString();
    EXPECT_TRUE(cn().TableExist("A01_ITEMS") && !cn().GetFunctionCode("A01_V_ITEMS").isEmpty());
    EXPECT_EQ(database.GetDbVersion("A01_"), "1.0.0001");

    database.setAutoUpdate(false);
    database.setVerifyDatabaseMode(ql_eVerifyMode::VerifyModality);
    database.VerifyDatabase(file, list, "A01_", &removePrefix);
    EXPECT_EQ(statuses(), QList<int>(list.RowCount(), kStatusUpToDate));
}

} // namespace
} // namespace test
} // namespace qldb
