// Statements built by qlQueryConstructor run on real servers and the rows read back: SQLite takes the
// file database's type words, PostgreSQL the MySQL ones. Each server first gets CreateTable's "dbo.".
#include "platform/tools/conversions.h"
#include "sql/ql_query_constructor.h"
#include "support/live_servers.h"

#include <QDate>

namespace qldb::test {
namespace {

using T = ql_eDataType;
using Op = ql_eAritmeticOperator;

class SqlStatementsLive : public LiveServerTest {};

TEST_P(SqlStatementsLive, CreateInsertUpdateDeleteSelect) {
    auto db = connect();
    addDboOwner(*db);
    ScopedTable table(*db, "qc");
    qlQueryConstructor q;
    q.setProviderType(constructorProvider());
    q.SetTable(table.name());
    const auto run = [&](ql_eQueryType type) {
        const QString sql = q.MakeQuery(type);
        SCOPED_TRACE(sql.toStdString());
        auto rs = db->Execute(sql, ado::adCmdText);
        q.Reset();
        q.SetTable(table.name());
        return rs;
    };
    q.AddField({.FieldName = "ID", .FieldType = T::TypeInt, .KeyField = true});
    q.AddField({.FieldName = "NAME", .FieldType = T::TypeVarChar, .Size = 40, .AllowNull = true});
    q.AddField({.FieldName = "CODE", .FieldType = T::TypeChar, .Size = 3, .DefaultValue = "('XX')"});
    q.AddField({.FieldName = "QTY", .FieldType = T::TypeLong, .DefaultValue = "((0))"});
    q.AddField({.FieldName = "DAY", .FieldType = T::TypeDate, .AllowNull = true});
    run(ql_eQueryType::CreateTable);
    struct Row {
        int id;
        QVariant name, code, qty, day;
    };
    for (const Row& r : {Row{1, "O'Brien", "AB", 10, QDate(2024, 1, 31)},
                         Row{2, "Smith", "CD", 20, QDate(2024, 2, 29)}, Row{3, NullVariant(), {}, {}, {}}}) {
        q.AddUpdateField("ID", r.id, T::TypeInt);
        q.AddUpdateField("NAME", r.name, T::TypeVarChar);
        if (r.id < 3) { // the third row leaves the rest to the created table's defaults
            q.AddUpdateField("CODE", r.code, T::TypeChar);
            q.AddUpdateField("QTY", r.qty, T::TypeLong);
            q.AddUpdateField("DAY", r.day, T::TypeDate);
        }
        run(ql_eQueryType::Insert);
    }
    q.AddSelectField("ID"); // a quoted text finds its row again
    q.WhereConditions()->AddField("NAME", T::TypeVarChar, Op::OperatorEqual, {"O'Brien"});
    auto rs = run(ql_eQueryType::SelectFrom);
    ASSERT_EQ(rs->RecordCount(), 1);
    EXPECT_EQ(ToLong(rs->Value(0)), 1);

    // (ID = 2 OR ID = 3) AND CODE = 'XX': only the third row.
    q.AddUpdateField("QTY", 99, T::TypeLong);
    auto either = std::make_shared<qlWhereCondition>();
    either->setLogicOperator(ql_eLogicOperator::Operator_OR);
    either->AddField("ID", T::TypeInt, Op::OperatorEqual, {2});
    either->AddField("ID", T::TypeInt, Op::OperatorEqual, {3});
    q.WhereConditions()->AddGroupCondition(either);
    q.WhereConditions()->AddField("CODE", T::TypeChar, Op::OperatorEqual, {"XX"});
    run(ql_eQueryType::Update);
    q.setWhereString("WHERE ID = 1");
    run(ql_eQueryType::Delete);

    for (const char* name : {"ID", "NAME", "CODE", "QTY", "DAY"})
        q.AddSelectField(name);
    q.WhereConditions()->AddField("ID", T::TypeInt, Op::OperatorIn, {1, 2, 3});
    q.AddOrderBy("ID", ql_eOrder::Order_DESC);
    rs = run(ql_eQueryType::SelectFrom);
    QStringList rows;
    for (rs->MoveFirst(); !rs->IsEOF(); rs->MoveNext()) {
        QStringList values;
        for (int i = 0; i < rs->FieldCount(); ++i)
            values << (IsNull(rs->Value(i)) ? QStringLiteral("Null") : ToText(rs->Value(i)).trimmed());
        rows << values.join('|');
    }
    EXPECT_EQ(rows.join('\n'), "3|Null|XX|99|Null\n2|Smith|CD|20|20240229");
}

QLDB_INSTANTIATE_LIVE_TEST(SqlStatementsLive, LiveServer::SQLite, LiveServer::PostgreSQL);

} // namespace
} // namespace qldb::test
