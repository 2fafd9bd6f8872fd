// The run state of qlDatabase: its result lists, the update log, the selection test, the options
// applied to the statuses, the run's result, and the code-text helpers.
#include "structure/structure_fixture.h"

namespace qldb::test {
namespace {

TEST(VariantArray2, KeepsTheBoundsOfTheEngineLists) {
    VariantArray2 list;
    EXPECT_EQ(list.UBound(2), -1);
    list.Redim(1, 5, 0, 0); // no rows yet
    EXPECT_EQ(list.RowCount(), 0);
    list(3, 0) = QStringLiteral("left over");
    EXPECT_EQ(list.AddRow(1, 5), 1); // a fresh allocation: nothing of "0 to 0" survives
    EXPECT_EQ(list.LBound(2), 1);
    list(1, 1) = QStringLiteral("CODE");
    EXPECT_EQ(list.AddRow(1, 5), 2);
    EXPECT_EQ(list(1, 1).toString(), QStringLiteral("CODE"));
    EXPECT_FALSE(list(3, 1).isValid());
    for (const auto& bad : std::vector<std::function<void()>>{
             [&] { (void)list(6, 1); }, [&] { (void)list(1, 3); }, [&] { (void)list.UBound(3); }})
        EXPECT_EQ(Raised(bad), QStringLiteral("9 qlDatabase: Subscript out of range"));
}

TEST(CodeText, WhiteSpaceIsDroppedAndOwnerGoesBeforeEachCreatedNameThatHasNone) {
    EXPECT_EQ(Access::DeleteSpace(QStringLiteral("CREATE VIEW V\r\nAS\tSELECT  A,\n B FROM T")),
              QStringLiteral("CREATEVIEWVASSELECTA,BFROMT"));
    const struct {
        const char *name, *script, *expected;
    } cases[] = {
        {"V_ITEMS", "CREATE VIEW V_ITEMS AS SELECT 1", "CREATE VIEW dbo.V_ITEMS AS SELECT 1"},
        {"V_ITEMS", "create view [V_ITEMS] as select 1", "create view dbo.[V_ITEMS] as select 1"},
        {"V_ITEMS", "CREATE VIEW dbo.V_ITEMS AS SELECT 1", "CREATE VIEW dbo.V_ITEMS AS SELECT 1"},
        {"V_ITEMS", "CREATE VIEW dbo.[V_ITEMS] AS SELECT 1", "CREATE VIEW dbo.[V_ITEMS] AS SELECT 1"},
        {"T1", "CREATE TABLE #T1 (A INT)", "CREATE TABLE #T1 (A INT)"},
        {"FN_TOTAL", "CREATE FUNCTION FN_TOTAL() -- CREATE FN_TOTAL\nRETURNS INT",
         "CREATE FUNCTION dbo.FN_TOTAL() -- CREATE dbo.FN_TOTAL\nRETURNS INT"},
        {"P_X", "ALTER PROCEDURE P_X AS SELECT 1", "ALTER PROCEDURE P_X AS SELECT 1"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Access::AddOwner(c.name, c.script), QString::fromUtf8(c.expected)) << c.script;
}

class RunState : public DatabaseTest {};

TEST_F(RunState, LogLinesAreInsertedSelectedColouredAndCounted) {
    Access::Log(database, QStringLiteral("Start Time:1"), false, QString(), true, true);
    EXPECT_EQ(log->calls, (QStringList{"SelStart=0", "SelLength=0", "SelRTF=\r\nStart Time:1", "SelStart=0",
                                       "SelLength=14", "SelColor=-2147483631", "Refresh"}));
    Access::Log(database, QStringLiteral("ALTER A"));
    Access::Log(database, QStringLiteral("ALTER B"));
    Access::Log(database, QStringLiteral("DROP C"), true, QStringLiteral("denied"), false);
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrNotVerify); // not counted
    Access::Log(database, QStringLiteral("ALTER D"));
    Access::Log(database, QStringLiteral("DROP E"), true, QStringLiteral("gone"));
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedWithErrors);
    std::vector<std::pair<QString, int32_t>> lines;
    for (const LogLine& line : log->Lines())
        lines.emplace_back(line.Text, line.Color);
    const std::vector<std::pair<QString, int32_t>> expected{
        {"", kColorBlack},       {"Start Time:1", kColorGrayText},
        {"ALTER A", kColorBlue}, {"ALTER B", kColorBlack},
        {"DROP C", kColorRed},   {"(Error Description:denied)", kColorRed},
        {"", kColorRed},         {"ALTER D", kColorBlue}, // errors don't flip the toggle
        {"DROP E", kColorRed},   {"(Error Description:gone)", kColorRed},
        {"", kColorRed},
    };
    EXPECT_EQ(lines, expected);
}

TEST_F(RunState, OnlySelectedObjectsChangeInAnUpdateAndNothingAfterAnError) {
    Access::Remember(database, Objects({{true, "a01_orders", "T", 1}, {false, "A01_ITEMS", "T", 1}}));
    using M = ql_eVerifyMode;
    const struct {
        M mode;
        bool autoUpdate;
        const char* name;
        bool expected;
    } cases[] = {
        {M::VerifyModality, false, "A01_ORDERS", false}, {M::UpdateModality, false, "A01_ORDERS", true},
        {M::UpdateModality, false, "A01_ITEMS", false},  {M::UpdateModality, true, "A01_ITEMS", true},
        {M::CreateModality, false, "ANY", true},         {M::DeleteModality, false, "ANY", true},
        {M::HistoryModality, false, "ANY", true},        {static_cast<M>(5), true, "A01_ORDERS", false},
    };
    for (const auto& c : cases) {
        database.setVerifyDatabaseMode(c.mode);
        database.setAutoUpdate(c.autoUpdate);
        EXPECT_EQ(Access::IsUpdateMode(database, c.name), c.expected) << static_cast<int>(c.mode) << c.name;
    }
    errors->setErrorCount(1);
    database.setVerifyDatabaseMode(M::CreateModality);
    EXPECT_FALSE(Access::IsUpdateMode(database, QStringLiteral("ANY")));
}

TEST_F(RunState, OptionsTurnStatusesInTheirOrder) {
    VariantArray2 list = Objects({{false, "U", "T", 5},
                                  {false, "T", "T", 4},
                                  {false, "V1", "V", 1},
                                  {false, "V0", "V", 0},
                                  {false, "V5", "V", 5},
                                  {false, "F", "F", 2},
                                  {false, "P", "P", 1},
                                  {false, "G", "G", 1}});
    database.setDeleteObjects(true);
    database.setDeleteFields(true);
    database.setRebuildViews(true);
    database.setRebuildProcedures(true);
    Access::CheckOptions(database, list);
    QList<int> statuses;
    for (int32_t row = 1; row <= list.UBound(2); ++row)
        statuses << list(kObjectStatus, row).toInt();
    // A user view became "to delete" first, and so is rebuilt too: the order of the options matters.
    EXPECT_EQ(statuses, (QList<int>{3, 1, 6, 0, 6, 6, 6, 1}));
}

TEST_F(RunState, ResultFollowsPendingRowsModeAndErrors) {
    using M = ql_eVerifyMode;
    using R = ql_eVerifyResult;
    const struct {
        M mode;
        int pendingStatus;
        bool noChange;
        R expected;
    } cases[] = {
        {M::VerifyModality, 4, true, R::evrUpdateRequest},
        {M::UpdateModality, 2, false, R::evrUpdateRequest},
        {M::UpdateModality, 5, true, R::evrUpdatedWithoutChange},
        {M::CreateModality, 0, false, R::evrUpdatedCorrectly},
    };
    for (const auto& c : cases) {
        qlDatabase fresh;
        fresh.setErrors(errors);
        fresh.setVerifyDatabaseMode(c.mode);
        Access::Remember(fresh, Objects({{false, "X", "T", 0}, {false, "Y", "T", c.pendingStatus}}));
        Access::SetResult(fresh, c.noChange);
        EXPECT_EQ(fresh.VerifyDatabaseResult(), c.expected) << static_cast<int>(c.mode) << c.pendingStatus;
    }
    // An error of the run is never overwritten, and it puts 5 into the mode.
    Access::Log(database, QStringLiteral("X"), true, QStringLiteral("e"));
    errors->setErrorCount(2);
    database.setVerifyDatabaseMode(M::UpdateModality);
    Access::SetResult(database, false);
    EXPECT_EQ(database.VerifyDatabaseResult(), R::evrUpdatedWithErrors);
    EXPECT_EQ(static_cast<int>(database.VerifyDatabaseMode()), 5);
}

} // namespace
} // namespace qldb::test
