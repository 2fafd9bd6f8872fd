// The table writer and table alteration on real servers. Alteration runs the statements the query
// constructor writes (SQLite the file database's words, PostgreSQL the MySQL ones): a missing table
// created from its node, a column added, and a column script that fails half way rolled back whole.
#include "live/live_files.h"
#include "platform/tools/conversions.h"
#include "structure/structure_document.h"
#include "structure/table_pass.h"
#include "support/live_servers.h"

namespace qldb {

struct LiveAlterationArea;
template <> struct qlDatabaseTestAccess<LiveAlterationArea> {
    static bool Create(qlDatabase& d, const QString& name, const QDomNode& node) {
        return d.CreateTableFromXml(name, node, QStringLiteral("A01_"), true);
    }
    static bool Tran(qlDatabase& d, const QString& script) { return d.TranAlterTable(script); }
    static void AddColumn(qlDatabase& d, const QString& table, const QDomNode& field) {
        VariantArray2 rows;
        ErrorRule rule(ErrorKind::Report, d.m_errors.get(), "qlDatabase", "CheckTable");
        int32_t counter = 0;
        qlDatabase::TablePass pass(rows, rule, false, counter);
        pass.TableName = table;
        pass.Update = true;
        pass.Query.setProviderType(d.connection().ProviderType());
        d.AddColumn(pass, field);
    }
};

namespace test {
namespace {

using Access = qlDatabaseTestAccess<LiveAlterationArea>;

QDomElement Parse(QDomDocument& doc, const QString& xml) {
    EXPECT_TRUE(ParseStructureDocument(xml.toUtf8(), doc));
    return doc.documentElement();
}

class StructureAlterationLive : public LiveDatabaseTest {
protected:
    void SetUp() override {
        LiveDatabaseTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        session->conn->setProviderType(constructorProvider());
        addDboOwner(*session->conn->ADODBConnection());
        // System tables are made without a collation clause, which neither server here would know.
        table = std::make_unique<ScopedTable>(*session->conn->ADODBConnection(), "sys_");
    }

    // The table's columns as a query reads them, upper case.
    QStringList columns() {
        QStringList out;
        const auto rs = session->conn->ExecuteWC("SELECT * FROM " + table->name());
        for (const FieldInfo& f : rs->FieldInfos())
            out << f.Name.toUpper();
        return out;
    }

    std::unique_ptr<ScopedTable> table;
};

TEST_P(StructureAlterationLive, CreateFromTheFileThenAddAColumn) {
    // SQLite makes an index in the database its name names, and looks for the table there.
    const QString owner = server() == LiveServer::SQLite ? "dbo." : "";
    QDomDocument doc;
    const QDomElement node = Parse(
        doc, "<Table><TableName>x</TableName><Fields>" + FieldXml("ID", "TypeInt", "4", "False", "", "True") +
                 FieldXml("DES", "TypeVarChar", "20", "True", "('-')", "False") +
                 "</Fields><Indexes><Index>"
                 "<IndexName>IX_[#FIRM#]" +
                 table->name() + "</IndexName><IndexSql>CREATE INDEX " + owner + "ix_[#FIRM#]" +
                 table->name() + " ON " + table->name() + " (DES)</IndexSql></Index></Indexes></Table>");
    ASSERT_TRUE(Access::Create(database, table->name(), node)) << log->Text().toStdString();
    EXPECT_EQ(columns(), QStringList({"ID", "DES"}));
    session->conn->Execute("INSERT INTO " + table->name() + " (ID) VALUES (1)");
    EXPECT_EQ(ToText(session->scalar("SELECT DES FROM " + table->name())), "-");

    QDomDocument fieldDoc;
    Access::AddColumn(database, table->name(),
                      Parse(fieldDoc, FieldXml("QTY", "TypeInt", "4", "True", "", "False")));
    EXPECT_EQ(columns(), QStringList({"ID", "DES", "QTY"}));
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrNotVerify) << log->Text().toStdString();
}

TEST_P(StructureAlterationLive, FailingColumnScriptIsRolledBackWhole) {
    session->conn->Execute("CREATE TABLE " + table->name() + " (NOTE VARCHAR(10))");
    session->conn->Execute("INSERT INTO " + table->name() + " (NOTE) VALUES ('kept')");
    // The constructor's rename route: its first statement is SQL Server's own procedure.
    qlQueryConstructor q;
    q.setProviderType(session->conn->ProviderType());
    q.SetTable(table->name());
    q.AddField({.FieldName = "NOTE", .FieldType = ql_eDataType::TypeMemo, .AllowNull = true});
    bool useTransaction = false;
    const QString rename = q.MakeQuery(ql_eQueryType::AlterTable, ql_eAlterAction::Alter_ModifyField,
                                       ql_KeyType::KeyTypeSecondary, &useTransaction);
    ASSERT_TRUE(useTransaction);
    EXPECT_FALSE(Access::Tran(database, rename));
    // Two statements that work and a third that fails: the column added by the first goes too.
    const QString script = QStringList({"ALTER TABLE " + table->name() + " ADD NOTE_NEW VARCHAR(20)",
                                        "UPDATE " + table->name() + " SET NOTE_NEW = NOTE",
                                        "UPDATE " + table->name() + " SET NO_SUCH_COLUMN = 1"})
                               .join(kAlterSeparator);
    EXPECT_FALSE(Access::Tran(database, script));
    EXPECT_EQ(columns(), QStringList({"NOTE"}));
    EXPECT_EQ(ToText(session->scalar("SELECT NOTE FROM " + table->name())), "kept");
    int rollbacks = 0;
    for (const QString& call : log->calls)
        rollbacks += call == "SelRTF=\r\n(ROLLBACK TRANSACTION)" ? 1 : 0;
    EXPECT_EQ(rollbacks, 2);
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedWithErrors);
}

QLDB_INSTANTIATE_LIVE_TEST(StructureAlterationLive, LiveServer::SQLite, LiveServer::PostgreSQL);

// The table writer on servers other than SQL Server: their catalog walk gives the columns, and the
// catalog reads that only SQL Server answers leave descriptions, defaults and keys empty.
using WritersLive = LiveDatabaseTest;
TEST_P(WritersLive, TableElementFromTheCatalogWalk) {
    ScopedTable table(*session->conn->ADODBConnection(), QStringLiteral("w"));
    session->conn->Execute("CREATE TABLE " + table.name() +
                           " (a INTEGER NOT NULL PRIMARY KEY, b VARCHAR(20), c DOUBLE PRECISION)");
    const QDomElement element = database.GetXmlTableDefinition(table.name());
    EXPECT_TRUE(session->errors->reports().empty());
    EXPECT_EQ(ChildText(element, 0), table.name().toUpper());
    QStringList seen; // name, position, type, size, primary key
    for (QDomNode f = ChildAt(element, 1).firstChild(); !f.isNull(); f = f.nextSibling())
        seen << QStringList{ChildText(f, 0), ChildText(f, 1), ChildText(f, 3), ChildText(f, 4),
                            ChildText(f, 7)}
                    .join(u' ');
    // The Unicode driver of PostgreSQL reports its text columns as wide ones.
    const QString text = server() == LiveServer::PostgreSQL ? "TypeVarCharUnicode" : "TypeVarChar";
    EXPECT_EQ(seen, (QStringList{"a 1 TypeInt 4 False", "b 2 " + text + " 20 False", "c 3 TypeDbl 8 False"}));
    EXPECT_EQ(ChildCount(ChildAt(element, 2)), 0); // no indexes either
}

QLDB_INSTANTIATE_LIVE_TEST(WritersLive, LiveServer::SQLite, LiveServer::PostgreSQL);

} // namespace
} // namespace test
} // namespace qldb
