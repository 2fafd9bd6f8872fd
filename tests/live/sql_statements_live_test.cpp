// Statements built by qlQueryConstructor run on real servers and the rows read back: the texts are
// SQL that a server accepts, not just the strings the unit tests expect. SQLite stands in for the
// file database (Access type words); PostgreSQL takes the MySQL words, which it shares for the
// types used here. The "dbo." owner that CreateTable always writes is given to each server first.
#include "platform/conversions.h"
#include "sql/ql_query_constructor.h"
#include "support/live_servers.h"

#include <QDate>
#include <gtest/gtest.h>

namespace qldb::test {
namespace {

using T = ql_eDataType;
using Op = ql_eAritmeticOperator;

class SqlStatementsLive : public LiveServerTest {
protected:
    // A provider whose type words the server under test accepts.
    ql_eProviderType provider() const {
        return server() == LiveServer::SQLite ? ql_eProviderType::MsAccess : ql_eProviderType::MySql;
    }

    // Makes "dbo.<table>" name a table that plain "<table>" finds too.
    void giveOwner(IDbConnection& db) const {
        if (server() == LiveServer::SQLite) {
            // Unqualified names are looked up in the attached databases after main.
            db.Execute(QStringLiteral("ATTACH DATABASE ':memory:' AS dbo"), ado::adExecuteNoRecords);
            return;
        }
        db.Execute(QStringLiteral("CREATE SCHEMA IF NOT EXISTS dbo"), ado::adExecuteNoRecords);
        db.Execute(QStringLiteral("SET search_path TO public, dbo"), ado::adExecuteNoRecords);
    }

    static void run(IDbConnection& db, const QString& sql) {
        SCOPED_TRACE(sql.toStdString());
        db.Execute(sql, ado::adExecuteNoRecords);
    }
};

ql_tField Column(const QString& name, T type, int32_t size, bool allowNull,
                 const QString& defaultValue = QString()) {
    ql_tField fld;
    fld.FieldName = name;
    fld.FieldType = type;
    fld.Size = size;
    fld.AllowNull = allowNull;
    fld.DefaultValue = defaultValue;
    return fld;
}

TEST_P(SqlStatementsLive, CreateInsertUpdateDeleteSelect) {
    auto db = connect();
    giveOwner(*db);
    ScopedTable table(*db, QStringLiteral("qc"));

    qlQueryConstructor q;
    q.setProviderType(provider());
    q.SetTable(table.name());
    ql_tField id = Column("ID", T::TypeInt, 0, false);
    id.KeyField = true;
    q.AddField(id);
    q.AddField(Column("NAME", T::TypeVarChar, 40, true));
    q.AddField(Column("CODE", T::TypeChar, 3, false, "('XX')"));
    q.AddField(Column("QTY", T::TypeLong, 0, false, "((0))"));
    q.AddField(Column("DAY", T::TypeDate, 0, true));
    run(*db, q.MakeQuery(ql_eQueryType::CreateTable));

    const auto insert = [&](const std::vector<std::tuple<QString, QVariant, T>>& values) {
        q.Reset();
        q.SetTable(table.name());
        for (const auto& [name, value, type] : values)
            q.AddUpdateField(name, value, type);
        run(*db, q.MakeQuery(ql_eQueryType::Insert));
    };
    insert({{"ID", 1, T::TypeInt},
            {"NAME", "O'Brien", T::TypeVarChar},
            {"CODE", "AB", T::TypeChar},
            {"QTY", 10, T::TypeLong},
            {"DAY", QDate(2024, 1, 31), T::TypeDate}});
    insert({{"ID", 2, T::TypeInt},
            {"NAME", "Smith", T::TypeVarChar},
            {"CODE", "CD", T::TypeChar},
            {"QTY", 20, T::TypeLong},
            {"DAY", QDate(2024, 2, 29), T::TypeDate}});
    // The defaults of the created table fill what the insert leaves out.
    insert({{"ID", 3, T::TypeInt}, {"NAME", NullVariant(), T::TypeVarChar}});

    // A quoted text finds its row again.
    q.Reset();
    q.SetTable(table.name());
    q.AddSelectField("ID");
    q.WhereConditions()->AddField("NAME", T::TypeVarChar, Op::OperatorEqual, {"O'Brien"});
    auto found = db->Execute(q.MakeQuery(ql_eQueryType::SelectFrom), ado::adCmdText);
    ASSERT_TRUE(found);
    ASSERT_EQ(found->RecordCount(), 1);
    EXPECT_EQ(ToLong(found->Value(0)), 1);

    // (ID = 2 OR ID = 3) AND CODE = 'XX': only the third row.
    q.Reset();
    q.SetTable(table.name());
    q.AddUpdateField("QTY", 99, T::TypeLong);
    auto either = std::make_shared<qlWhereCondition>();
    either->setLogicOperator(ql_eLogicOperator::Operator_OR);
    either->AddField("ID", T::TypeInt, Op::OperatorEqual, {2});
    either->AddField("ID", T::TypeInt, Op::OperatorEqual, {3});
    q.WhereConditions()->AddGroupCondition(either);
    q.WhereConditions()->AddField("CODE", T::TypeChar, Op::OperatorEqual, {"XX"});
    run(*db, q.MakeQuery(ql_eQueryType::Update));

    q.Reset();
    q.SetTable(table.name());
    q.setWhereString("WHERE ID = 1");
    run(*db, q.MakeQuery(ql_eQueryType::Delete));

    // A column added by AlterTable is there to be read.
    q.Reset();
    q.SetTable(table.name());
    q.AddField(Column("EXTRA", T::TypeInt, 0, true));
    run(*db, q.MakeQuery(ql_eQueryType::AlterTable, ql_eAlterAction::Alter_AddField));

    q.Reset();
    q.SetTable(table.name());
    for (const char* name : {"ID", "NAME", "CODE", "QTY", "DAY", "EXTRA"})
        q.AddSelectField(name);
    q.WhereConditions()->AddField("ID", T::TypeInt, Op::OperatorIn, {1, 2, 3});
    q.AddOrderBy("ID", ql_eOrder::Order_DESC);
    const QString select = q.MakeQuery(ql_eQueryType::SelectFrom);
    SCOPED_TRACE(select.toStdString());
    auto rs = db->Execute(select, ado::adCmdText);
    ASSERT_TRUE(rs);
    ASSERT_EQ(rs->RecordCount(), 2);
    rs->MoveFirst();
    EXPECT_EQ(ToLong(rs->Value("ID")), 3);
    EXPECT_TRUE(IsNull(rs->Value("NAME")));
    EXPECT_EQ(ToText(rs->Value("CODE")).trimmed(), QString("XX"));
    EXPECT_EQ(ToLong(rs->Value("QTY")), 99);
    EXPECT_TRUE(IsNull(rs->Value("DAY")));
    EXPECT_TRUE(IsNull(rs->Value("EXTRA")));
    rs->MoveNext();
    EXPECT_EQ(ToLong(rs->Value("ID")), 2);
    EXPECT_EQ(ToText(rs->Value("NAME")), QString("Smith"));
    EXPECT_EQ(ToText(rs->Value("CODE")).trimmed(), QString("CD"));
    EXPECT_EQ(ToLong(rs->Value("QTY")), 20);
    EXPECT_EQ(ToText(rs->Value("DAY")), QString("20240229"));

    // DISTINCT over the codes of the rows that are left.
    q.Reset();
    q.SetTable(table.name());
    q.AddSelectField("CODE");
    q.setWhereString("WHERE ID > 1");
    rs = db->Execute(q.MakeQuery(ql_eQueryType::SelectFromDistinct), ado::adCmdText);
    ASSERT_TRUE(rs);
    EXPECT_EQ(rs->RecordCount(), 2);
}

INSTANTIATE_TEST_SUITE_P(Servers, SqlStatementsLive,
                         ::testing::Values(LiveServer::SQLite, LiveServer::PostgreSQL), LiveServerParamName);

} // namespace
} // namespace qldb::test
