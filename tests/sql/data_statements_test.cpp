#include "sql/ql_query_constructor.h"
#include "sql_test_support.h"

#include <QDateTime>
#include <functional>
#include <tuple>

using namespace qldb;
using T = ql_eDataType;
using Op = ql_eAritmeticOperator;
using Q = ql_eQueryType;

TEST(DataStatementsTest, SelectWithOrderAndBothKindsOfWhere) {
    qlQueryConstructor q;
    q.SetTable("CLIENTS", "A01");
    for (const char* field : {"CODE", "NAME", "COUNT(*) AS N"})
        q.AddSelectField(field);
    q.AddOrderBy("NAME", ql_eOrder::Order_DESC);
    q.AddOrderBy("CODE");
    const QString columns = "CODE,\r\n       NAME,\r\n       COUNT(*) AS N\r\nFROM A01_CLIENTS\r\n";
    EXPECT_EQ(q.MakeQuery(Q::SelectFrom), "SELECT " + columns + "ORDER BY NAME DESC, CODE");
    q.setWhereString("WHERE CODE > 3");
    EXPECT_EQ(q.MakeQuery(9), "SELECT " + columns + "WHERE CODE > 3\r\nORDER BY NAME DESC, CODE");

    // A tree with data wins over the text, and renders with the constructor's provider.
    q.setProviderType(ql_eProviderType::MsAccess);
    const QDateTime since(QDate(2023, 12, 1), QTime(8, 0, 0));
    q.WhereConditions()->AddField("SINCE", T::TypeDateTime, Op::OperatorMajorEqual, {since});
    EXPECT_EQ(q.MakeQuery(Q::SelectFromDistinct),
              "SELECT DISTINCT " + columns +
                  "WHERE SINCE >= #12/01/2023 08:00:00#\r\nORDER BY NAME DESC, CODE");

    q.setWhereConditions(nullptr);
    EXPECT_EQ(test::RaisedBy([&] { q.MakeQuery(Q::SelectFrom); }).Number, kErrObjectNotSet);
}

TEST(DataStatementsTest, InsertUpdateDeleteAndDrops) {
    qlQueryConstructor q;
    q.SetTable("ITEMS", "SYS");
    q.AddUpdateField("CODE", "O'Brien", T::TypeChar);
    q.AddUpdateField("QTY", 12, T::TypeInt);
    q.AddUpdateField("STAMP", "GETDATE()", T::TypeSqlExpression);
    q.AddUpdateField("OK", true, T::TypeBit);
    EXPECT_EQ(q.MakeQuery(Q::Insert),
              QString("INSERT INTO SYS_ITEMS\r\n\r\n(\r\n  CODE,\r\n  QTY,\r\n  STAMP,\r\n  "
                      "OK\r\n) VALUES (\r\n  'O''Brien',\r\n  12,\r\n  GETDATE(),\r\n  1\r\n)"));
    const QString set =
        "UPDATE SYS_ITEMS\r\nSET CODE = 'O''Brien',\r\n    QTY = 12,\r\n    STAMP = GETDATE(),\r\n"
        "    OK = True\r\n";
    q.setProviderType(ql_eProviderType::MsAccess);
    EXPECT_EQ(q.MakeQuery(Q::Update), set);
    // The text is copied as it stands, leading blank included.
    q.setWhereString(" WHERE X IS NULL");
    EXPECT_EQ(q.MakeQuery(Q::Update), set + " WHERE X IS NULL\r\n");
    EXPECT_EQ(q.MakeQuery(Q::Delete), QString("DELETE FROM SYS_ITEMS\r\n WHERE X IS NULL\r\n"));
    q.WhereConditions()->AddField("RECORD_ID", T::TypeLong, Op::OperatorEqual, {17});
    EXPECT_EQ(q.MakeQuery(Q::Delete), QString("DELETE FROM SYS_ITEMS\r\nWHERE RECORD_ID = 17\r\n"));

    q.setTriggerName("TR");
    q.setFunctionName("FN");
    q.setProcedureName("SP");
    q.setSetViewName("V");
    EXPECT_EQ(q.MakeQuery(Q::DropTable) + "|" + q.MakeQuery(Q::DropTrigger) + "|" +
                  q.MakeQuery(Q::DropFunction) + "|" + q.MakeQuery(Q::DropProcedure) + "|" +
                  q.MakeQuery(Q::DropView),
              QString("DROP TABLE SYS_ITEMS|DROP TRIGGER TR|DROP FUNCTION FN|DROP PROCEDURE SP|DROP VIEW V"));
}

TEST(QueryModelTest, DuplicatesRaiseWithTheirTextsAndLeaveTheArray) {
    qlQueryConstructor q;
    EXPECT_EQ(q.AddCreateField("A", T::TypeInt), 0);
    EXPECT_EQ(q.AddCreateField("B", T::TypeChar, 10), 1);
    q.AddOrderBy("A");
    q.AddDropIndex("IX");
    const std::tuple<std::function<void()>, const char*, const char*> duplicates[] = {
        {[&] { q.AddCreateField("B", T::TypeInt); }, "AddField", "Duplicated element!"},
        {[&] { q.AddSelectField("A"); }, "AddField", "Duplicated element!"},
        {[&] { q.AddUpdateField("A", 1, T::TypeInt); }, "AddField", "Field: A - Error: Duplicated element!"},
        {[&] { q.AddProcedureParam("A", 1, T::TypeInt); }, "AddProcedureParam", "Duplicated element!"},
        {[&] { q.AddOrderBy("A", ql_eOrder::Order_DESC); }, "AddField", "Duplicated element!"},
        {[&] { q.AddIndex("IX", "T", {}); }, "AddField", "Duplicated element!"},
    };
    for (const auto& [step, source, description] : duplicates) {
        const ErrorRecord error = test::RaisedBy(step);
        EXPECT_EQ(error.Number, static_cast<int32_t>(0x80040001u));
        EXPECT_EQ(error.Source, QString("Database.QueryConstructor.") + source);
        EXPECT_EQ(error.Description, QString(description));
    }
    EXPECT_EQ(q.GetFieldsCount(), 1);
    EXPECT_EQ(q.Fields(1).FieldType, T::TypeChar);
    // Names that differ only in case are different elements.
    EXPECT_EQ(q.AddSelectField("a"), 2);
    EXPECT_EQ(q.AddDropIndex("ix"), 1);
    // Overwriting keeps the index and writes only what the operation takes.
    EXPECT_EQ(q.AddField(ql_tField{.FieldName = "C", .Size = 20}), 0)
        << "AddField reports 0 whatever the index";
    EXPECT_EQ(q.AddUpdateField("C", 5, T::TypeInt, true), 3);
    EXPECT_EQ(q.Fields(3).Size, 20);
}

TEST(QueryModelTest, BoundsListsAndRemoval) {
    qlQueryConstructor q;
    EXPECT_EQ(q.GetFieldsCount(), -1);
    const ErrorRecord bounds = test::RaisedBy([&] { q.Fields(0); });
    EXPECT_EQ(bounds.Number, kErrSubscript);
    EXPECT_EQ(bounds.Description, QString("Subscript out of range"));
    q.setFields(0, ql_tField{.FieldName = "X"});
    EXPECT_EQ(q.GetFieldsCount(), -1) << "writes outside the array are ignored";
    EXPECT_EQ(q.RemoveUpdateField("A"), -1);
    for (const char* name : {"A", "B", "C", "D"})
        q.AddUpdateField(name, 1, T::TypeInt);
    q.setFields(1, ql_tField{.FieldName = "b", .FieldType = T::TypeDbl});
    EXPECT_EQ(q.FieldsList(", ", "t."), QString("t.A, t.b, t.C, t.D"));
    EXPECT_EQ(q.FieldByName("B").FieldName, QString()) << "the lookup is case-sensitive";
    EXPECT_EQ(q.RemoveUpdateField("X"), -1);
    EXPECT_EQ(q.RemoveUpdateField("b"), 1);
    EXPECT_EQ(q.RemoveUpdateField("D"), 2);
    EXPECT_EQ(q.FieldsList(), QString("A,C"));
    // From two fields the list empties, whichever is removed.
    EXPECT_EQ(q.RemoveUpdateField("C"), 1);
    EXPECT_EQ(q.GetFieldsCount(), -1);
    EXPECT_EQ(q.AddUpdateField("A", 1, T::TypeInt), 0) << "the emptied list takes new fields";
}

TEST(QueryModelTest, ResetKeepsProviderAndObjectNames) {
    qlQueryConstructor q;
    q.setProviderType(ql_eProviderType::MySql);
    q.setTriggerName("TR_X");
    q.SetTable("T", "A01");
    q.AddSelectField("A");
    q.AddOrderBy("A");
    q.AddDropIndex("IX");
    q.setWhereString("WHERE 1=1");
    const auto oldWhere = q.WhereConditions();
    oldWhere->AddField("A", T::TypeInt, ql_eAritmeticOperator::OperatorEqual, {1});
    q.Reset();
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::SelectFrom), QString("SELECT \r\nFROM \r\n"));
    EXPECT_THROW(q.Indexes(0), qlException);
    EXPECT_NE(q.WhereConditions(), oldWhere) << "a new tree, not the old one emptied";
    EXPECT_EQ(q.ProviderType(), ql_eProviderType::MySql);
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::DropTrigger), QString("DROP TRIGGER TR_X"));
}
