// Which table an updatable recordset writes back to, read from the statement that opened it.
#include "platform/odbc/odbc_recordset_writer.h"
#include "sql/sql_test_support.h"

#include <utility>

using namespace qldb;

TEST(SingleTableOf, OneTableOrNone) {
    const std::pair<const char*, const char*> rows[] = {
        {"SELECT * FROM SYS_ATT", "SYS_ATT"},
        {"  select A, B from dbo.[My Table] t where A = 1 order by B;", "dbo.[My Table]"},
        // The isolation prefix of a read on SQL Server is no part of the table's statement.
        {"SET TRANSACTION ISOLATION LEVEL READ UNCOMMITTED\rSELECT * FROM SYS_ATT WHERE 1 = 0", "SYS_ATT"},
        {"set transaction isolation level read committed;\r\nSELECT ID FROM T", "T"},
        {"SET TRANSACTION ISOLATION LEVEL READ UNCOMMITTED\rSELECT * FROM A JOIN B ON A.ID = B.ID", ""},
        {"SET NOCOUNT ON\rSELECT * FROM T", ""},
        {"SELECT * FROM A, B", ""},
        {"SELECT * FROM (SELECT 1 AS X) Q", ""},
        {"UPDATE T SET A = 1", ""},
    };
    for (const auto& [statement, table] : rows)
        EXPECT_EQ(SingleTableOf(QString::fromUtf8(statement)), QString::fromUtf8(table)) << statement;
}
