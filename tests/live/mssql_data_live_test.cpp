// Table data on a real SQL Server (see mssql_live_fixture.h): the record route's statements
// (IF EXISTS ... ELSE) run by the server, the copy between firms, and the bulk route through the
// built-in copier.
#include "live/live_files.h"
#include "live/mssql_live_fixture.h"

namespace qldb::test {
namespace {

class MsSqlDataLive : public MsSqlLiveTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_root.isValid());
        MsSqlLiveTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        database.setPathXML(m_root.filePath("xml"));
        for (const char* firm : {"A01_", "B02_"})
            cn().Execute(
                QString("CREATE TABLE %1ART (CODE nvarchar(20) NOT NULL PRIMARY KEY, DES nvarchar(100), "
                        "QTY int, ACTIVE bit, USINS nvarchar(20), DTINS datetime)")
                    .arg(firm));
        cn().Execute("INSERT INTO A01_ART VALUES (N'A', N'Perché ''sì''', 1, 1, N'bob', '20200101'), "
                     "(N'B', NULL, NULL, 0, N'bob', NULL)");
    }
    QString save(const QDomElement& dataTable) {
        return WriteDataTableFile(dataTable, m_root.filePath("s.xml"));
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
    EXPECT_EQ(scalar("SELECT DES FROM B02_ART WHERE CODE = N'A'").toString(), QString("Perché 'sì'"));
    EXPECT_EQ(scalar("SELECT USINS FROM B02_ART WHERE CODE = N'B'").toString(), QString("SYSTEM_IMPORT"));
}

TEST_F(MsSqlDataLive, CopyBetweenFirmsKeepsExistingRowsWithoutRewrite) {
    cn().Execute("INSERT INTO B02_ART (CODE, DES) VALUES (N'A', N'kept')");
    EXPECT_TRUE(database.ImportTable("A01_", "B02_", "ART", false));
    EXPECT_EQ(scalar("SELECT DES FROM B02_ART WHERE CODE = N'A'").toString(), QString("kept"));
    EXPECT_TRUE(database.ImportTable("A01_", "B02_", "ART", true));
    EXPECT_EQ(scalar("SELECT DES FROM B02_ART WHERE CODE = N'A'").toString(), QString("Perché 'sì'"));
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM B02_ART").toInt(), 2);
}

TEST_F(MsSqlDataLive, BulkRouteThroughTheBuiltInCopier) {
    const QString file = save(database.GetXmlDataTable("A01_ART"));
    cn().Execute("DELETE FROM A01_ART");
    EXPECT_TRUE(database.ReadXmlDataTable(file));
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM A01_ART").toInt(), 2);
    EXPECT_EQ(scalar("SELECT DES FROM A01_ART WHERE CODE = N'A'").toString(), QString("Perché 'sì'"));
}

} // namespace
} // namespace qldb::test
