// The order of views by dependency: one pass over the dependency records, then a name sort and a
// stable level sort.
#include "connection_fixture.h"

namespace qldb::test {
namespace {

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
