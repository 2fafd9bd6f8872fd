#include "sql/ql_query_constructor.h"
#include "sql_test_support.h"

#include <QDateTime>

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
