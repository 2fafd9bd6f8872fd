#include "platform/sql_literal.h"
#include "sql/ql_query_constructor.h"
#include "sql_test_support.h"

#include <QDateTime>

using namespace qldb;
using T = ql_eDataType;
using Op = ql_eAritmeticOperator;

TEST(DataStatementsTest, SelectWithOrderAndBothKindsOfWhere) {
    qlQueryConstructor q;
    q.SetTable("CLIENTS", "A01");
    q.AddSelectField("CODE");
    q.AddSelectField("NAME");
    q.AddSelectField("COUNT(*) AS N");
    q.AddOrderBy("NAME", ql_eOrder::Order_DESC);
    q.AddOrderBy("CODE");
    const QString columns = "SELECT CODE,\r\n       NAME,\r\n       COUNT(*) AS N\r\nFROM A01_CLIENTS\r\n";
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::SelectFrom), columns + "ORDER BY NAME DESC, CODE");

    q.setWhereString("WHERE CODE > 3");
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::SelectFrom), columns + "WHERE CODE > 3\r\nORDER BY NAME DESC, CODE");

    // A tree with data wins over the text, and renders with the constructor's provider.
    q.setProviderType(ql_eProviderType::MsAccess);
    const QDateTime since(QDate(2023, 12, 1), QTime(8, 0, 0));
    q.WhereConditions()->AddField("CODE", T::TypeChar, Op::OperatorIn, {"a", "b"});
    q.WhereConditions()->AddField("SINCE", T::TypeDateTime, Op::OperatorMajorEqual, {since});
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::SelectFromDistinct),
              "SELECT DISTINCT CODE,\r\n       NAME,\r\n       COUNT(*) AS N\r\nFROM A01_CLIENTS\r\n"
              "WHERE CODE IN ('a', 'b') AND\r\n     SINCE >= " +
                  FormatSqlValue(since, T::TypeDateTime, ql_eProviderType::MsAccess) +
                  "\r\nORDER BY NAME DESC, CODE");

    // An empty tree leaves the text in charge again; no prefix gives the bare table name.
    q.setWhereConditions(std::make_shared<qlWhereCondition>());
    q.SetTable("CLIENTS");
    EXPECT_EQ(q.MakeQuery(9), "SELECT CODE,\r\n       NAME,\r\n       COUNT(*) AS N\r\nFROM CLIENTS\r\n"
                              "WHERE CODE > 3\r\nORDER BY NAME DESC, CODE");

    // No fields is no failure.
    qlQueryConstructor bare;
    bare.SetTable("T");
    EXPECT_EQ(bare.MakeQuery(ql_eQueryType::SelectFrom), QString("SELECT \r\nFROM T\r\n"));
    bare.setWhereConditions(nullptr);
    EXPECT_EQ(test::RaisedBy([&] { bare.MakeQuery(ql_eQueryType::SelectFrom); }).Number, kErrObjectNotSet);
}

TEST(DataStatementsTest, InsertLayoutAndValues) {
    qlQueryConstructor q;
    q.SetTable("ITEMS", "SYS");
    q.AddUpdateField("CODE", "O'Brien", T::TypeChar);
    q.AddUpdateField("QTY", 12, T::TypeInt);
    q.AddUpdateField("STAMP", "GETDATE()", T::TypeSqlExpression);
    q.AddUpdateField("NOTE", QVariant::fromValue(nullptr), T::TypeMemo);
    EXPECT_EQ(
        q.MakeQuery(ql_eQueryType::Insert),
        QString("INSERT INTO SYS_ITEMS\r\n\r\n(\r\n  CODE,\r\n  QTY,\r\n  STAMP,\r\n  NOTE\r\n) VALUES (\r\n"
                "  'O''Brien',\r\n  12,\r\n  GETDATE(),\r\n  NULL\r\n)"));

    // The provider reaches the literals.
    const QDateTime when(QDate(2024, 2, 29), QTime(23, 59, 58));
    qlQueryConstructor dated;
    dated.setProviderType(ql_eProviderType::MsAccess);
    dated.SetTable("LOG");
    dated.AddUpdateField("AT", when, T::TypeDateTime);
    dated.AddUpdateField("OK", true, T::TypeBit);
    EXPECT_EQ(dated.MakeQuery(ql_eQueryType::Insert),
              "INSERT INTO LOG\r\n\r\n(\r\n  AT,\r\n  OK\r\n) VALUES (\r\n  " +
                  FormatSqlValue(when, T::TypeDateTime, ql_eProviderType::MsAccess) + ",\r\n  " +
                  FormatSqlValue(true, T::TypeBit, ql_eProviderType::MsAccess) + "\r\n)");
}

TEST(DataStatementsTest, UpdateAndDelete) {
    qlQueryConstructor q;
    q.SetTable("SYS_QRY");
    q.AddUpdateField("QYVER", "1.2", T::TypeChar);
    q.AddUpdateField("QYTAC", 3, T::TypeInt);
    q.AddUpdateField("QYDATE", "CURRENT_TIMESTAMP", T::TypeSqlExpression);
    const QString set =
        "UPDATE SYS_QRY\r\nSET QYVER = '1.2',\r\n    QYTAC = 3,\r\n    QYDATE = CURRENT_TIMESTAMP\r\n";
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::Update), set);
    // The text is copied as it stands, leading blank included.
    q.setWhereString(" WHERE X IS NULL");
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::Update), set + " WHERE X IS NULL\r\n");
    q.WhereConditions()->AddField("RECORD_ID", T::TypeLong, Op::OperatorEqual, {17});
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::Update), set + "WHERE RECORD_ID = 17\r\n");
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::Delete), QString("DELETE FROM SYS_QRY\r\nWHERE RECORD_ID = 17\r\n"));

    qlQueryConstructor all;
    all.SetTable("DBS", "SYS");
    EXPECT_EQ(all.MakeQuery(ql_eQueryType::Delete), QString("DELETE FROM SYS_DBS\r\n"));
    all.setWhereString("WHERE SYS_DATABASE='A01'");
    EXPECT_EQ(all.MakeQuery(ql_eQueryType::Delete),
              QString("DELETE FROM SYS_DBS\r\nWHERE SYS_DATABASE='A01'\r\n"));

    // A query type outside the enumeration gives no text.
    EXPECT_EQ(all.MakeQuery(14), QString());
    EXPECT_EQ(all.MakeQuery(-1), QString());
    EXPECT_EQ(all.MakeQuery(12), all.MakeQuery(ql_eQueryType::Delete));
}
