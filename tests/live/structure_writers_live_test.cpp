// The table writer on servers other than SQL Server: their catalog walk gives the columns, and the
// catalog reads that only SQL Server answers leave descriptions, defaults and keys empty.
#include "structure/ql_database.h"
#include "structure/structure_document.h"
#include "support/live_servers.h"

namespace qldb::test {
namespace {

using WritersLive = LiveDatabaseTest;

TEST_P(WritersLive, TableElementFromTheCatalogWalk) {
    ScopedTable table(*session->conn->ADODBConnection(), QStringLiteral("w"));
    session->conn->Execute(
        QStringLiteral("CREATE TABLE ") + table.name() +
        QStringLiteral(" (a INTEGER NOT NULL PRIMARY KEY, b VARCHAR(20), c DOUBLE PRECISION)"));
    const QDomElement element = database.GetXmlTableDefinition(table.name());
    EXPECT_TRUE(session->errors->reports().empty());
    EXPECT_EQ(ChildText(element, 0), table.name().toUpper());
    const QDomNode fields = ChildAt(element, 1);
    ASSERT_EQ(ChildCount(fields), 3);
    QStringList seen;
    for (int i = 0; i < 3; ++i) {
        const QDomNode f = ChildAt(fields, i);
        seen << QStringLiteral("%1 %2 %3 %4")
                    .arg(ChildText(f, 0), ChildText(f, 1), ChildText(f, 3), ChildText(f, 4));
    }
    // The Unicode driver of PostgreSQL reports its text columns as wide ones.
    const QString text = server() == LiveServer::PostgreSQL ? QStringLiteral("TypeVarCharUnicode")
                                                            : QStringLiteral("TypeVarChar");
    EXPECT_EQ(seen, (QStringList{"a 1 TypeInt 4", "b 2 " + text + " 20", "c 3 TypeDbl 8"}));
    // Only SQL Server answers the questions of keys, nullability and indexes.
    EXPECT_EQ(ChildText(ChildAt(fields, 0), 7), QStringLiteral("False"));
    EXPECT_EQ(ChildCount(ChildAt(element, 2)), 0);
}

QLDB_INSTANTIATE_LIVE_TEST(WritersLive, LiveServer::SQLite, LiveServer::PostgreSQL);

} // namespace
} // namespace qldb::test
