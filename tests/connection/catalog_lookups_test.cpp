// The lookups beyond their statements (the table directory cache, the flags they set, how their
// failures reach the caller, the type maps) and the order of views by dependency.
#include "connection_fixture.h"
#include "platform/tools/conversions.h"

namespace qldb::test {
namespace {

using Lookups = ConnectionTest;
using enum ql_eDataType;
using I = ql_eTableInfo;
const auto T = ScriptedConnection::Table;

TEST_F(Lookups, TableInfoIsCachedWhateverItsAnswer) {
    db->respond("SELECT TBKEY FROM SYS_TBL_TBC\rWHERE TBNAM = 'A01_ART'", T({"TBKEY"}, {{"CODE"}}));
    db->respond("SELECT TBGRD FROM SYS_TBL_TBC\rWHERE TBNAM = 'A01_ART'", T({"TBGRD"}, {{NullVariant()}}));
    db->respond("SELECT TBKEY FROM SYS_TBL_TBC\rWHERE TBNAM = 'NONE'", T({"TBKEY"}, {}));
    // A failure reads as no entry, also where the statement routine would raise it.
    raiseMode();
    db->fail("SELECT TBDES FROM SYS_TBL_TBC\rWHERE TBNAM = 'X'", kErrUnknownTable, "Invalid object name");
    for (const char* table : {"A01_ART", "a01_art"})
        EXPECT_EQ(conn->GetTableInfo(table, I::KeyField) + "|" + conn->GetTableInfo(table, I::LayoutName) +
                      "|" + conn->GetTableInfo("NONE", I::KeyField) + "|" +
                      conn->GetTableInfo("X", I::Description),
                  "CODE|||");
    EXPECT_EQ(db->statements().size(), 4);
    EXPECT_TRUE(errors->reports().empty());
    // The cache outlives a reconnection.
    conn->CloseConnection();
    conn->OpenConnection();
    db->clearCalls();
    EXPECT_EQ(conn->GetTableInfo("A01_ART", I::KeyField), "CODE");
    EXPECT_TRUE(db->statements().isEmpty());
}

TEST_F(Lookups, FlagsAndTheRecordsetHandedBack) {
    db->respond("SELECT D\rFROM ART\rWHERE ID = 7", T({"D"}, {}));
    // A missing row leaves bRecordPresent as the caller had it.
    for (bool present : {false, true}) {
        const bool before = present;
        EXPECT_TRUE(IsEmpty(conn->GetDbValue("ART", "ID", 7, TypeLong, "D", &present)));
        EXPECT_EQ(present, before);
    }
    // The LIKE search hands back its rows from the first.
    db->respond("SELECT C\rFROM ART\rWHERE C = 'bo'", T({"C"}, {}));
    db->respond("SELECT C\rFROM ART\rWHERE C LIKE '%bo%'", T({"C"}, {{"BOLT"}, {"BOX"}}));
    std::shared_ptr<Recordset> rs;
    EXPECT_EQ(conn->CheckExistValueWithLike("ART", "C", "bo", TypeChar, &rs), 2);
    ASSERT_NE(rs, nullptr);
    EXPECT_EQ(rs->Value(0), QVariant("BOLT"));
}

// Float, money and scaled decimal columns arrive as doubles; their texts must not turn exponential.
TEST_F(Lookups, FloatingValuesReadInPlainText) {
    db->respond("SELECT MAX(PRICE), COUNT(PRICE) FROM ART\r", T({"M", "C"}, {{100000.0, 3}}));
    EXPECT_EQ(conn->GetMaxValue("ART", "PRICE"), 100000);
    db->respond("SELECT PRICE\rFROM ART\rWHERE KIND = 1", T({"PRICE"}, {{100000.0}, {123456.5}, {1e15}}));
    EXPECT_EQ(conn->GetDbValues("ART", "KIND", 1, TypeLong, "PRICE"), QVariant("100000,123456.5,1E+15"));
}

TEST_F(Lookups, FailureKindsCharFilterAndTypeMaps) {
    raiseMode();
    db->fail("SELECT D\rFROM ART\rWHERE C = 'X'", kErrUnknownTable, "Invalid object name 'ART'.");
    db->fail("UPDATE ART\rSET D = 'Y'\rWHERE C = 'X'", kErrIntegrity, "conflicted with a constraint");
    // The lookups leave their failures to the caller; SetDbValue clears them and answers False.
    EXPECT_THROW(conn->GetDbValue("ART", "C", "X", TypeChar, "D"), qlException);
    EXPECT_FALSE(conn->SetDbValue("ART", "C", TypeChar, "X", "D", TypeChar, "Y"));
    // A function value of another type has no statement: the empty one goes out and fails.
    db->fail(QString(), kErrSyntax, "Command text was not set for the command object.");
    EXPECT_THROW(conn->GetFunctionValue("fn_Price", "A1", TypeMemo), qlException);
    EXPECT_TRUE(errors->reports().empty());

    EXPECT_EQ(conn->GetCharFilter("*") + conn->GetCharFilter("%") + conn->GetCharFilter("?"), "%%");
    conn->setProviderType(ql_eProviderType::Oracle);
    EXPECT_EQ(conn->GetCharFilter("*"), "");
    // Binary counts as numeric on purpose; a boolean is neither.
    Recordset rs({{"bin", ado::adBinary, 8}, {"b", ado::adBoolean, 0}}, {{QByteArray("x"), true}});
    EXPECT_TRUE(conn->IsNumericField(rs.Fields(0)) && !conn->IsDateField(rs.Fields(0)));
    EXPECT_FALSE(conn->IsNumericField(rs.Fields(1)) || conn->IsDateField(rs.Fields(1)));
}

const QString kAll =
    "From sysobjects\rWHERE type = 'V' AND name NOT LIKE 'sysco%' AND name NOT LIKE 'sysseg%'";

QString ViewsQuery(const QString& from) {
    return "SELECT name, id\r" + from;
}
QString DependencyQuery(const QString& from) {
    const QString indent(28, QLatin1Char(' '));
    return "SELECT DISTINCT sysdepends.id, sysdepends.depid\rFROM sysdepends LEFT OUTER JOIN\r     "
           "sysobjects "
           "ON sysobjects.id = sysdepends.id\rWHERE sysdepends.depid IN (\r" +
           indent + "SELECT id\r" + indent + from + ")";
}

class Views : public ConnectionTest {
protected:
    // The views query and the dependency records (id uses depid) on a fresh database.
    void serve(const std::vector<Row>& views, const std::vector<Row>& uses, const QString& from = kAll) {
        use(true);
        db->respond(ViewsQuery(from), ScriptedConnection::Table({"name", "id"}, views));
        db->respond(DependencyQuery(from), ScriptedConnection::Table({"id", "depid"}, uses));
    }
};

TEST_F(Views, OrderByLevelThenNameAndTheListNarrowsBothQueries) {
    serve({}, {});
    EXPECT_EQ(conn->GetViews(), "");
    EXPECT_EQ(db->statements(), (QStringList{ViewsQuery(kAll), DependencyQuery(kAll)}));
    // v_b uses v_a; 900 is a function that v_d uses and counts for nothing.
    serve({{"v_d", 4}, {"v_b", 2}, {"V_C", 3}, {"v_a", 1}}, {{2, 1}, {4, 900}});
    EXPECT_EQ(conn->GetViews(), "V_A,V_C,V_D,V_B");
    // The chain v_a <- v_c <- v_b: levels add up only along the record order, so when "v_b uses v_c"
    // comes first both get level 1 and v_b stands before the v_c it uses.
    serve({{"v_a", 1}, {"v_b", 2}, {"v_c", 3}}, {{2, 3}, {3, 1}});
    EXPECT_EQ(conn->GetViews(), "V_A,V_B,V_C");
    serve({{"v_a", 1}, {"v_b", 2}, {"v_c", 3}}, {{3, 1}, {2, 3}});
    EXPECT_EQ(conn->GetViews(), "V_A,V_C,V_B");

    const QString from = "From sysobjects\rWHERE name IN ( 'v_a','v_o''k') AND \r" + kAll.mid(22);
    serve({{"v_a", 1}, {"v_o'k", 2}}, {{1, 2}}, from);
    // Without a delimiter the list splits by ","; a given one splits the list and joins the answer.
    EXPECT_EQ(conn->GetViews("v_a,v_o'k"), "V_O'K,V_A");
    EXPECT_EQ(conn->GetViews("v_a;v_o'k", ";"), "V_O'K;V_A");
    EXPECT_EQ(db->statements(), (QStringList{ViewsQuery(from), DependencyQuery(from), ViewsQuery(from),
                                             DependencyQuery(from)}));
}

TEST_F(Views, AFailedDependencyQueryIsReportedWithThePointerBack) {
    raiseMode();
    db->respond(ViewsQuery(kAll), ScriptedConnection::Table({"name", "id"}, {{"v_a", 1}}));
    db->fail(DependencyQuery(kAll), kErrSyntax, "Invalid object name 'sysdepends'.");
    int32_t pointerAtReport = -1;
    errors->setOnReport([&](const ReportedError&) { pointerAtReport = host->MousePointer(); });
    EXPECT_EQ(conn->GetViews(), "");
    ASSERT_EQ(errors->reports().size(), 1u);
    EXPECT_EQ(errors->reports()[0].Routine, "GetViews");
    EXPECT_EQ(pointerAtReport, kPointerDefault);
    EXPECT_EQ(host->MousePointer(), kPointerDefault);
}

} // namespace
} // namespace qldb::test
