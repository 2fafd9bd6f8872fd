// The run state of qlDatabase: its result lists, the update log, the selection test, the options
// applied to the statuses and the run's result.
#include "structure/structure_fixture.h"

namespace qldb {

struct StateArea;
template <> struct qlDatabaseTestAccess<StateArea> {
    static void Log(qlDatabase& d, const QString& text, bool error = false,
                    const QString& description = QString(), bool count = true, bool transaction = false) {
        d.AddRTFText(text, error, description, count, transaction);
    }
    static bool IsUpdateMode(qlDatabase& d, const QString& name) { return d.IsUpdateMode(name); }
    static void CheckOptions(qlDatabase& d, VariantArray2& list) { d.CheckOptions(list); }
    static void Remember(qlDatabase& d, const VariantArray2& list) {
        qlDatabase::SetObjectDefinition(list, d.m_objectDefinition);
    }
    static QString DeleteSpace(const QString& text) { return qlDatabase::DeleteSpace(text); }
    static QString AddOwner(const QString& name, const QString& script) {
        return qlDatabase::AddOwnerForCreate(name, script);
    }
    static void SetResult(qlDatabase& d, bool noChange) {
        d.m_noChange = noChange;
        d.SetVerifyDatabaseResult();
    }
};

namespace test {
namespace {

using Access = qlDatabaseTestAccess<StateArea>;

VariantArray2 Objects(std::initializer_list<std::tuple<bool, const char*, const char*, int>> rows) {
    VariantArray2 list;
    list.Redim(1, 4, 0, 0);
    for (const auto& [selected, name, kind, status] : rows) {
        const int32_t row = list.AddRow(1, 4);
        list(kObjectSelected, row) = selected;
        list(kObjectName, row) = QString::fromUtf8(name);
        list(kObjectKind, row) = QString::fromUtf8(kind);
        list(kObjectStatus, row) = status;
    }
    return list;
}

QString Raise(const std::function<void()>& call) {
    return Raised(call);
}

TEST(VariantArray2, KeepsTheBoundsOfTheEngineLists) {
    VariantArray2 list;
    EXPECT_FALSE(list.IsAllocated());
    EXPECT_EQ(list.UBound(2), -1);

    list.Redim(1, 5, 0, 0); // no rows yet
    EXPECT_EQ(list.RowCount(), 0);
    list(3, 0) = QStringLiteral("left over");
    EXPECT_EQ(list.AddRow(1, 5), 1); // a fresh allocation: nothing of "0 to 0" survives
    EXPECT_EQ(list.LBound(2), 1);
    list(1, 1) = QStringLiteral("CODE");
    list(5, 1) = 40;
    EXPECT_EQ(list.AddRow(1, 5), 2);
    EXPECT_EQ(list(1, 1).toString(), QStringLiteral("CODE"));
    EXPECT_EQ(list(5, 1).toInt(), 40);
    EXPECT_FALSE(list(1, 2).isValid());
    EXPECT_EQ(list.RowCount(), 2);

    EXPECT_EQ(Raise([&] { (void)list(6, 1); }), QStringLiteral("9 qlDatabase: Subscript out of range"));
    EXPECT_EQ(Raise([&] { (void)list(1, 3); }), QStringLiteral("9 qlDatabase: Subscript out of range"));
    EXPECT_EQ(Raise([&] { (void)list.UBound(3); }), QStringLiteral("9 qlDatabase: Subscript out of range"));
}

TEST(CodeText, WhiteSpaceNeverMakesCodeDifferent) {
    EXPECT_EQ(Access::DeleteSpace(QStringLiteral("CREATE VIEW V\r\nAS\tSELECT  A,\n B FROM T")),
              Access::DeleteSpace(QStringLiteral("CREATE VIEW V AS SELECT A,B FROM T")));
    EXPECT_EQ(Access::DeleteSpace(QStringLiteral("SELECT A FROM T")), QStringLiteral("SELECTAFROMT"));
}

TEST(CodeText, OwnerGoesBeforeEachCreatedNameThatHasNone) {
    const struct {
        const char* name;
        const char* script;
        const char* expected;
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
        EXPECT_EQ(Access::AddOwner(QString::fromUtf8(c.name), QString::fromUtf8(c.script)),
                  QString::fromUtf8(c.expected))
            << c.script;
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
    struct Case {
        ql_eVerifyMode mode;
        bool autoUpdate;
        const char* name;
        bool expected;
    };
    const Case cases[] = {
        {ql_eVerifyMode::VerifyModality, false, "A01_ORDERS", false},
        {ql_eVerifyMode::UpdateModality, false, "A01_ORDERS", true},
        {ql_eVerifyMode::UpdateModality, false, "A01_ITEMS", false},
        {ql_eVerifyMode::UpdateModality, true, "A01_ITEMS", true},
        {ql_eVerifyMode::CreateModality, false, "ANY", true},
        {ql_eVerifyMode::DeleteModality, false, "ANY", true},
        {ql_eVerifyMode::HistoryModality, false, "ANY", true},
        {static_cast<ql_eVerifyMode>(5), true, "A01_ORDERS", false},
    };
    for (const Case& c : cases) {
        database.setVerifyDatabaseMode(c.mode);
        database.setAutoUpdate(c.autoUpdate);
        EXPECT_EQ(Access::IsUpdateMode(database, QString::fromUtf8(c.name)), c.expected)
            << static_cast<int>(c.mode) << ' ' << c.name;
    }
    errors->setErrorCount(1);
    database.setVerifyDatabaseMode(ql_eVerifyMode::CreateModality);
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
    struct Case {
        ql_eVerifyMode mode;
        int pendingStatus;
        bool noChange;
        ql_eVerifyResult expected;
    };
    const Case cases[] = {
        {ql_eVerifyMode::VerifyModality, 1, true, ql_eVerifyResult::evrUpdateRequest},
        {ql_eVerifyMode::VerifyModality, 4, true, ql_eVerifyResult::evrUpdateRequest},
        {ql_eVerifyMode::UpdateModality, 2, false, ql_eVerifyResult::evrUpdateRequest},
        {ql_eVerifyMode::UpdateModality, 5, true, ql_eVerifyResult::evrUpdatedWithoutChange},
        {ql_eVerifyMode::CreateModality, 0, false, ql_eVerifyResult::evrUpdatedCorrectly},
    };
    for (const Case& c : cases) {
        qlDatabase fresh;
        fresh.setErrors(errors);
        fresh.setVerifyDatabaseMode(c.mode);
        Access::Remember(fresh, Objects({{false, "X", "T", 0}, {false, "Y", "T", c.pendingStatus}}));
        Access::SetResult(fresh, c.noChange);
        EXPECT_EQ(fresh.VerifyDatabaseResult(), c.expected)
            << static_cast<int>(c.mode) << ' ' << c.pendingStatus;
        EXPECT_EQ(fresh.VerifyDatabaseMode(), c.mode);
    }
    // An error of the run is never overwritten, and it puts 5 into the mode.
    Access::Log(database, QStringLiteral("X"), true, QStringLiteral("e"));
    errors->setErrorCount(2);
    database.setVerifyDatabaseMode(ql_eVerifyMode::UpdateModality);
    Access::SetResult(database, false);
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedWithErrors);
    EXPECT_EQ(static_cast<int>(database.VerifyDatabaseMode()), 5);
}

} // namespace
} // namespace test
} // namespace qldb
