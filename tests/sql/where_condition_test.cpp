#include "platform/sql_literal.h"
#include "sql/ql_where_condition.h"
#include "sql_test_support.h"

#include <QDateTime>

using namespace qldb;
using Op = ql_eAritmeticOperator;
using Logic = ql_eLogicOperator;
using T = ql_eDataType;

namespace {

QString Render(const qlWhereCondition& node, int indent = 5,
               ql_eProviderType provider = ql_eProviderType::SQLServer) {
    const int entry = indent;
    QString text = node.RenderWhere(provider, indent);
    EXPECT_EQ(indent, entry) << "the indent must be back at its entry value";
    return text;
}

} // namespace

TEST(WhereConditionTest, FieldConditionsJoinedByTheNodeOperator) {
    qlWhereCondition node;
    EXPECT_FALSE(node.ContainData());
    EXPECT_EQ(Render(node), QString());

    EXPECT_EQ(node.AddField("A", T::TypeInt, Op::OperatorEqual, {1}), 0);
    EXPECT_EQ(node.AddField("B", T::TypeInt, Op::OperatorIn, {1, 2}), 1);
    EXPECT_TRUE(node.ContainData());
    EXPECT_EQ(Render(node), QString("A = 1 AND\r\n     B IN (1, 2)"));

    node.setLogicOperator(Logic::Operator_OR);
    EXPECT_EQ(Render(node, 2), QString("A = 1 OR\r\n  B IN (1, 2)"));
    // NOT never stands before the first member.
    node.setLogicOperator(Logic::Operator_ANDNOT);
    EXPECT_EQ(Render(node), QString("A = 1 AND\r\n     NOT B IN (1, 2)"));
    node.setLogicOperator(Logic::Operator_ORNOT);
    EXPECT_EQ(Render(node, 0), QString("A = 1 OR\r\nNOT B IN (1, 2)"));

    // The same field twice is two conditions, both rendered.
    node.Reset();
    EXPECT_EQ(node.LogicOperator(), Logic::Operator_AND);
    EXPECT_FALSE(node.ContainData());
    node.AddField("N", T::TypeInt, Op::OperatorMajorEqual, {1});
    node.AddField("N", T::TypeInt, Op::OperatorMinor, {9});
    EXPECT_EQ(Render(node), QString("N >= 1 AND\r\n     N < 9"));
}

TEST(WhereConditionTest, OperatorTextsAndValues) {
    const auto one = [](Op op, std::vector<QVariant> values, T type = T::TypeInt) {
        qlWhereCondition node;
        node.AddField("F", type, op, values);
        return Render(node);
    };
    EXPECT_EQ(one(Op::OperatorEqual, {7}), QString("F = 7"));
    // "Not equal" has always compared for equality; hosts that use it get exactly that.
    EXPECT_EQ(one(Op::OperatorNotEquel, {7}), QString("F = 7"));
    // A comparison uses the first value only.
    EXPECT_EQ(one(Op::OperatorEqual, {7, 8, 9}), QString("F = 7"));
    EXPECT_EQ(one(Op::OperatorIn, {"x"}, T::TypeChar), QString("F IN ('x')"));
    EXPECT_EQ(one(Op::OperatorNotIn, {"a", "O'Brien"}, T::TypeChar), QString("F NOT IN ('a', 'O''Brien')"));
    EXPECT_EQ(one(Op::OperatorIn, {}), QString("F IN ()"));
    // An operator from outside the enumeration writes no operator text.
    EXPECT_EQ(one(static_cast<Op>(42), {7}), QString("F7"));

    // Values are formatted for the provider that the caller names.
    const QDateTime when(QDate(2024, 1, 31), QTime(13, 45, 0));
    qlWhereCondition node;
    node.AddField("D", T::TypeDateTime, Op::OperatorMajor, {when});
    EXPECT_EQ(Render(node, 5, ql_eProviderType::MsAccess),
              "D > " + FormatSqlValue(when, T::TypeDateTime, ql_eProviderType::MsAccess));
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
    // The order of adding between the two kinds is lost: the child stands first, so it is not
    // negated and the field condition is.
    EXPECT_EQ(Render(root),
              QString("((X = 0 OR\r\n       Y = 0) AND\r\n      B = 2 AND\r\n      C = 3) OR\r\n"
                      "     NOT A = 1"));

    // A child in second place under OR NOT is negated as a whole.
    qlWhereCondition two;
    two.setLogicOperator(Logic::Operator_ORNOT);
    two.AddGroupCondition(grandchild);
    EXPECT_EQ(two.AddGroupCondition(grandchild), 2);
    EXPECT_EQ(Render(two), QString("(X = 0 OR\r\n      Y = 0) OR\r\n     NOT (X = 0 OR\r\n      Y = 0)"));

    // Children are shared references: a change made after adding shows in the parent's text.
    grandchild->setLogicOperator(Logic::Operator_AND);
    EXPECT_EQ(Render(two, 0), QString("(X = 0 AND\r\n Y = 0) OR\r\nNOT (X = 0 AND\r\n Y = 0)"));

    // A node whose only child is empty holds data, and the child gives "()".
    qlWhereCondition holder;
    holder.AddGroupCondition(std::make_shared<qlWhereCondition>());
    EXPECT_TRUE(holder.ContainData());
    EXPECT_EQ(Render(holder), QString("()"));
}

TEST(WhereConditionTest, ElementAccessAndFailures) {
    qlWhereCondition node;
    EXPECT_EQ(test::RaisedBy([&] { node.FieldsWhere(0); }).Number, kErrSubscript);
    EXPECT_EQ(test::RaisedBy([&] { node.GroupConditions(0); }).Description,
              QString("Subscript out of range"));
    // Writes into an empty array, or past its end, are ignored.
    node.setFieldsWhere(0, ql_tFieldCondition{"Z", T::TypeInt, {1}, Op::OperatorEqual});
    node.setGroupConditions(0, std::make_shared<qlWhereCondition>());
    EXPECT_FALSE(node.ContainData());

    node.AddField("A", T::TypeInt, Op::OperatorEqual, {1});
    node.setFieldsWhere(1, ql_tFieldCondition{"Z", T::TypeInt, {1}, Op::OperatorEqual});
    node.setFieldsWhere(0, ql_tFieldCondition{"B", T::TypeChar, {"b"}, Op::OperatorMajor});
    EXPECT_EQ(node.FieldsWhere(0).FieldName, QString("B"));
    EXPECT_EQ(test::RaisedBy([&] { node.FieldsWhere(1); }).Number, kErrSubscript);
    EXPECT_EQ(Render(node), QString("B > 'b'"));

    // A comparison without a value is a bounds failure raised to the caller.
    qlWhereCondition empty;
    empty.AddField("A", T::TypeInt, Op::OperatorEqual, {});
    int indent = 5;
    const ErrorRecord noValue =
        test::RaisedBy([&] { empty.RenderWhere(ql_eProviderType::SQLServer, indent); });
    EXPECT_EQ(noValue.Number, kErrSubscript);

    // A child slot that is not set is an object error, also when it sits deeper in the tree.
    auto middle = std::make_shared<qlWhereCondition>();
    middle->AddGroupCondition(nullptr);
    qlWhereCondition top;
    top.AddGroupCondition(middle);
    EXPECT_TRUE(top.ContainData());
    EXPECT_EQ(test::RaisedBy([&] { top.RenderWhere(ql_eProviderType::SQLServer, indent); }).Number,
              kErrObjectNotSet);
    EXPECT_EQ(indent, 5);
}
