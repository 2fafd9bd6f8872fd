#include "sql/ql_where_condition.h"
#include "sql_test_support.h"

#include <tuple>

using namespace qldb;
using Op = ql_eAritmeticOperator;
using Logic = ql_eLogicOperator;
using T = ql_eDataType;

static QString Render(const qlWhereCondition& node, int indent = 5) {
    const int entry = indent;
    const QString text = node.RenderWhere(ql_eProviderType::SQLServer, indent);
    EXPECT_EQ(indent, entry) << "the indent must be back at its entry value";
    return text;
}

TEST(WhereConditionTest, OperatorTextsAndValues) {
    const std::tuple<Op, std::vector<QVariant>, const char*> rows[] = {
        {Op::OperatorEqual, {7, 8}, "F = 7"}, // a comparison uses the first value only
        // "Not equal" has always compared for equality; hosts that use it get exactly that.
        {Op::OperatorNotEquel, {7}, "F = 7"},
        {Op::OperatorMinor, {7}, "F < 7"},
        {Op::OperatorMajor, {7}, "F > 7"},
        {Op::OperatorMinorEqual, {7}, "F <= 7"},
        {Op::OperatorMajorEqual, {7}, "F >= 7"},
        {Op::OperatorIn, {7}, "F IN (7)"},
        {Op::OperatorNotIn, {7, -1}, "F NOT IN (7, -1)"},
    };
    for (const auto& [op, values, text] : rows) {
        qlWhereCondition node;
        node.AddField("F", T::TypeInt, op, values);
        EXPECT_EQ(Render(node), QString(text));
    }
}

TEST(WhereConditionTest, LogicOperatorsJoinTheMembers) {
    qlWhereCondition node;
    EXPECT_EQ(Render(node), QString());
    EXPECT_EQ(node.AddField("A", T::TypeInt, Op::OperatorEqual, {1}), 0);
    EXPECT_EQ(node.AddField("A", T::TypeInt, Op::OperatorIn, {1, 2}), 1);
    EXPECT_EQ(Render(node), QString("A = 1 AND\r\n     A IN (1, 2)"));
    node.setLogicOperator(Logic::Operator_OR);
    EXPECT_EQ(Render(node, 2), QString("A = 1 OR\r\n  A IN (1, 2)"));
    // NOT never stands before the first member.
    node.setLogicOperator(Logic::Operator_ANDNOT);
    EXPECT_EQ(Render(node), QString("A = 1 AND\r\n     NOT A IN (1, 2)"));
    node.setLogicOperator(Logic::Operator_ORNOT);
    EXPECT_EQ(Render(node, 0), QString("A = 1 OR\r\nNOT A IN (1, 2)"));
}

TEST(WhereConditionTest, ChildrenComeFirstInParenthesesOneBlankDeeper) {
    auto child = std::make_shared<qlWhereCondition>();
    child->AddField("B", T::TypeInt, Op::OperatorEqual, {2});
    child->AddField("C", T::TypeInt, Op::OperatorEqual, {3});
    auto grandchild = std::make_shared<qlWhereCondition>();
    grandchild->setLogicOperator(Logic::Operator_OR);
    grandchild->AddField("X", T::TypeInt, Op::OperatorEqual, {0});
    grandchild->AddField("Y", T::TypeInt, Op::OperatorEqual, {0});
    child->AddGroupCondition(grandchild);
    qlWhereCondition root;
    root.AddField("A", T::TypeInt, Op::OperatorEqual, {1});
    EXPECT_EQ(root.AddGroupCondition(child), 1) << "one more than the index of the child";
    root.setLogicOperator(Logic::Operator_ORNOT);
    // The child stands first whatever the order of adding, so it is not negated and the field is.
    EXPECT_EQ(Render(root),
              QString("((X = 0 OR\r\n       Y = 0) AND\r\n      B = 2 AND\r\n      C = 3) OR\r\n"
                      "     NOT A = 1"));
    // Children are shared references: a change made after adding shows in the parent's text.
    qlWhereCondition two;
    two.setLogicOperator(Logic::Operator_ORNOT);
    two.AddGroupCondition(grandchild);
    two.AddGroupCondition(grandchild);
    grandchild->setLogicOperator(Logic::Operator_AND);
    EXPECT_EQ(Render(two, 0), QString("(X = 0 AND\r\n Y = 0) OR\r\nNOT (X = 0 AND\r\n Y = 0)"));

    // A child slot that is not set is an object error, also deeper in the tree.
    auto middle = std::make_shared<qlWhereCondition>();
    middle->AddGroupCondition(nullptr);
    qlWhereCondition top;
    top.AddGroupCondition(middle);
    int indent = 5;
    EXPECT_EQ(test::RaisedBy([&] { top.RenderWhere(ql_eProviderType::SQLServer, indent); }).Number,
              kErrObjectNotSet);
    EXPECT_EQ(indent, 5);
}
