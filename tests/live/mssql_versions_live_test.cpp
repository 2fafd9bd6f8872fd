// The version registry and the update-query records against a real SQL Server (see
// mssql_live_fixture.h): the version order computed by the server, the write-then-complete of a
// version, and the order of recorded queries.
#include "live/mssql_live_fixture.h"
#include "platform/tools/conversions.h"

namespace qldb::test {
namespace {

class MsSqlVersionsLive : public MsSqlLiveTest {
protected:
    void SetUp() override {
        MsSqlLiveTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        cn().Execute(
            QStringLiteral("CREATE TABLE SYS_DBS (ID INT IDENTITY PRIMARY KEY, SYS_DATABASE VARCHAR(10), "
                           "SYS_VERSION VARCHAR(20), SYS_CREATION BIT, SYS_COMPLETED BIT, "
                           "SYS_DATE DATETIME, SYS_DCC VARCHAR(128))"));
        cn().Execute(
            QStringLiteral("CREATE TABLE SYS_QRY (RECORD_ID INT IDENTITY PRIMARY KEY, QYDBE VARCHAR(10), "
                           "QYTAC SMALLINT, QYVER VARCHAR(20), QYORD INT, QYDES VARCHAR(200), "
                           "QYTXT NVARCHAR(MAX), IDQRY INT NULL, QYCHK SMALLINT NULL)"));
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
    EXPECT_EQ(database.GetDbVersion("A01"),
              "4.10.100"); // 4.10 sorts above 4.9
    EXPECT_EQ(database.GetSYSComparisonRoule("A01"), "Latin1_General_CI_AS");

    EXPECT_FALSE(database.SetDbVersion("A01", "4.9.300", false, true, QString()));
    EXPECT_EQ(Count("SELECT COUNT(*) FROM SYS_DBS"), 2);

    const QDateTime created = database.GetDbDate("A01", 0);
    const QDateTime updated = database.GetDbDate("A01", 1);
    EXPECT_TRUE(created.isValid());
    EXPECT_LE(created, updated);
    EXPECT_FALSE(database.GetDbComparisonRoule().isEmpty());

    bool cancel = true;
    EXPECT_TRUE(database.SetDbVersion("A01", QString(), false, false, QString(), &cancel));
    EXPECT_EQ(Count("SELECT COUNT(*) FROM SYS_DBS"), 0);
}

TEST_F(MsSqlVersionsLive, QueriesAreRecordedInOrderPerVersion) {
    const int32_t first = database.AddNewQuery("A01", 0, "4.3.12", "One", "UPDATE X SET A = 'it''s'");
    const int32_t second = database.AddNewQuery("A01", 0, "4.3.12", "Two", "SELECT 2");
    EXPECT_GT(first, 0);
    EXPECT_EQ(second, first + 1);
    EXPECT_EQ(database.GetNewOrderQuery("A01", "4.3.12", 0), 3);
    EXPECT_EQ(database.GetNewOrderQuery("A01", "4.3.12", 1), 1);
    EXPECT_EQ(database.AddNewQuery("A01", 1, QString(), "Keyed", "SELECT 3", 9), second + 1);
    EXPECT_EQ(Count("SELECT IDQRY FROM SYS_QRY WHERE QYVER = 'Unknown' AND QYORD = 1"), 9);
    EXPECT_EQ(Count("SELECT COUNT(*) FROM SYS_QRY WHERE QYTXT = N'UPDATE X SET A = ''it''''s'''"), 1);
}

} // namespace
} // namespace qldb::test
