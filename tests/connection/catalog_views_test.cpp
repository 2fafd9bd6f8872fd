// The order of views by dependency: one pass over the dependency records, then a name sort and a
// stable level sort.
#include "connection_fixture.h"
#include "platform/conversions.h"

namespace qldb::test {
namespace {

const QString kAllFrom =
    QStringLiteral("From sysobjects\rWHERE type = 'V' AND name NOT LIKE 'sysco%' AND name NOT "
                   "LIKE 'sysseg%'");

QString ViewsQuery(const QString& from) {
    return QStringLiteral("SELECT name, id\r") + from;
}

QString DependencyQuery(const QString& from) {
    const QString indent(28, QLatin1Char(' '));
    return QStringLiteral("SELECT DISTINCT sysdepends.id, sysdepends.depid\rFROM sysdepends LEFT OUTER JOIN\r"
                          "     sysobjects ON sysobjects.id = sysdepends.id\rWHERE sysdepends.depid IN (\r") +
           indent + QStringLiteral("SELECT id\r") + indent + from + QStringLiteral(")");
}

class Views : public ConnectionTest {
protected:
    void views(const std::vector<Row>& rows, const QString& from = kAllFrom) {
        db->respond(ViewsQuery(from), ScriptedConnection::Table({"name", "id"}, rows));
    }
    void dependencies(const std::vector<Row>& rows, const QString& from = kAllFrom) {
        db->respond(DependencyQuery(from), ScriptedConnection::Table({"id", "depid"}, rows));
    }
};

TEST_F(Views, NoViewsGiveAnEmptyListAfterBothQueries) {
    views({});
    dependencies({});
    EXPECT_EQ(conn->GetViews(), "");
    EXPECT_EQ(db->statements(), (QStringList{ViewsQuery(kAllFrom), DependencyQuery(kAllFrom)}));
    EXPECT_EQ(host->pointerChanges(), (std::vector<int32_t>{kPointerHourglass, kPointerDefault}));
}

TEST_F(Views, DependentViewsComeAfterTheirsAndOthersInNameOrder) {
    // v_b uses v_a; v_c and v_d stand alone; 900 is a function that v_d uses and counts for nothing.
    views({{"v_d", 4}, {"v_b", 2}, {"V_C", 3}, {"v_a", 1}});
    dependencies({{2, 1}, {4, 900}});
    EXPECT_EQ(conn->GetViews(), "V_A,V_C,V_D,V_B");
}

TEST_F(Views, TheSinglePassFollowsTheRecordOrder) {
    // A chain v_a <- v_c <- v_b (v_c uses v_a, v_b uses v_c). When the record "v_b uses v_c"
    // arrives before "v_c uses v_a", both get level 1 and v_b stands before the v_c it uses.
    views({{"v_a", 1}, {"v_b", 2}, {"v_c", 3}});
    dependencies({{2, 3}, {3, 1}});
    EXPECT_EQ(conn->GetViews(), "V_A,V_B,V_C");

    // In the other record order the levels add up along the chain: 0, 1, 2.
    db = std::make_shared<ScriptedConnection>();
    db->setOpen(true);
    conn->setADODBConnection(db);
    views({{"v_a", 1}, {"v_b", 2}, {"v_c", 3}});
    dependencies({{3, 1}, {2, 3}});
    EXPECT_EQ(conn->GetViews(), "V_A,V_C,V_B");
}

TEST_F(Views, AListOfViewsNarrowsBothQueries) {
    const QString from =
        QStringLiteral("From sysobjects\rWHERE name IN ( 'v_a','v_o''k') AND \rtype = 'V' AND name "
                       "NOT LIKE 'sysco%' AND name NOT LIKE 'sysseg%'");
    views({{"v_a", 1}, {"v_o'k", 2}}, from);
    dependencies({{1, 2}}, from);
    // The delimiter left out splits by ","; a given one splits and joins.
    EXPECT_EQ(conn->GetViews(QStringLiteral("v_a,v_o'k")), "V_O'K,V_A");
    EXPECT_EQ(conn->GetViews(QStringLiteral("v_a;v_o'k"), QStringLiteral(";")), "V_O'K;V_A");
    EXPECT_EQ(db->statements(), (QStringList{ViewsQuery(from), DependencyQuery(from), ViewsQuery(from),
                                             DependencyQuery(from)}));
}

TEST_F(Views, AFailedDependencyQueryIsReportedWithThePointerBack) {
    raiseMode();
    views({{"v_a", 1}});
    db->fail(DependencyQuery(kAllFrom), kErrSyntax, QStringLiteral("Invalid object name 'sysdepends'."));
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
