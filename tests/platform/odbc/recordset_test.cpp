// The client-side recordset on its own: moves, filter, Null and Empty, errors, and the hand-over of
// AddNew and Update to a writer, which writes back to the one table of the statement.
#include "platform/odbc/odbc_recordset_writer.h"
#include "platform/odbc/recordset.h"
#include "platform/tools/conversions.h"
#include "sql/sql_test_support.h"

#include <QDateTime>

using namespace qldb;
using test::RaisedBy;

static Recordset Items() {
    return Recordset({{"ID", ado::adInteger, 4},
                      {"Name", ado::adVarWChar, 20},
                      {"Price", ado::adDouble, 8},
                      {"Added", ado::adDBTimeStamp, 16}},
                     {{1, QStringLiteral("Bolt"), 0.5, QDateTime(QDate(2024, 1, 10), QTime(8, 0))},
                      {2, QStringLiteral("nut"), 0.25, QDateTime(QDate(2024, 2, 1), QTime(9, 30))},
                      {3, QString(""), NullVariant(), NullVariant()},
                      {4, QStringLiteral("O'Ring"), 2.0, QDateTime(QDate(2023, 12, 31), QTime(23, 0))}});
}

static std::vector<int> VisibleIds(Recordset& rs) {
    std::vector<int> ids;
    for (; !rs.IsEOF(); rs.MoveNext())
        ids.push_back(rs.Value(0).toInt());
    return ids;
}

TEST(Recordset, MovesStopAtBothEndsAndClosedRefuses) {
    Recordset rs = Items();
    rs.MoveLast();
    rs.MoveNext();
    EXPECT_TRUE(rs.IsEOF() && rs.AbsolutePosition() == -1);
    const ErrorRecord pastEnd = RaisedBy([&] { rs.MoveNext(); });
    EXPECT_EQ(pastEnd.Number, 3021);
    EXPECT_EQ(pastEnd.Description, QStringLiteral("Either BOF or EOF is True, or the current record has been "
                                                  "deleted. Requested operation requires a current record."));
    EXPECT_EQ(RaisedBy([&] { rs.Value(0); }).Number, 3021);
    rs.MovePrevious();
    EXPECT_EQ(rs.Value(QStringLiteral("id")).toInt(), 4);
    rs.MoveFirst();
    rs.MovePrevious();
    EXPECT_TRUE(rs.IsBOF() && !rs.IsEOF());
    EXPECT_EQ(RaisedBy([&] { rs.MovePrevious(); }).Number, 3021);

    Recordset empty({{"A", ado::adInteger, 4}}, {});
    EXPECT_TRUE(empty.IsBOF() && empty.IsEOF());
    EXPECT_EQ(RaisedBy([&] { empty.MoveFirst(); }).Number, 3021);

    rs.Close();
    const ErrorRecord closed = RaisedBy([&] { rs.IsEOF(); });
    EXPECT_EQ(closed.Number, kErrObjectClosed);
    EXPECT_EQ(closed.Description, QStringLiteral("Operation is not allowed when the object is closed."));
}

TEST(Recordset, FieldsNullAndEmpty) {
    Recordset rs = Items();
    EXPECT_EQ(rs.Fields(QStringLiteral("name")).ActualSize(), 4);
    rs.MoveNext();
    rs.MoveNext();
    EXPECT_TRUE(IsNull(rs.Value(2)) && !IsEmpty(rs.Value(2)));
    EXPECT_FALSE(IsNull(rs.Value(1))) << "an empty text is a value, not a Null";
    EXPECT_EQ(rs.Fields(1).ActualSize() + rs.Fields(2).ActualSize(), 0);
    const ErrorRecord byName = RaisedBy([&] { rs.Fields(QStringLiteral("Cost")); });
    EXPECT_EQ(byName.Number, kErrItemNotFound);
    EXPECT_EQ(byName.Description, QStringLiteral("Item cannot be found in the collection corresponding to "
                                                 "the requested name or ordinal."));
    EXPECT_EQ(RaisedBy([&] { rs.Value(4); }).Number, kErrItemNotFound);
}

TEST(Recordset, FilterShowsMatchingRows) {
    Recordset rs = Items();
    const std::pair<const char*, std::vector<int>> filters[] = {
        {"Price > 0.3", {1, 4}},
        {"name = 'NUT' OR [Name] = 'O''Ring'", {2, 4}},
        {"Name LIKE 'b*' or Name like '%ing'", {1, 4}},
        {"Name = ''", {3}},
        {"(ID >= 2 AND ID <= 3) OR ID = 1 AND Name <> 'Bolt'", {2, 3}},
        {"Added < #2024-01-15#", {1, 4}},
        {"Added >= #1/10/2024 08:00:00#", {1, 2}},
        // Null matches nothing but a test for Null.
        {"Price = NULL", {3}},
        {"Price <> NULL AND Price < 100", {1, 2, 4}},
    };
    for (const auto& [filter, ids] : filters) {
        rs.setFilter(QString::fromUtf8(filter));
        EXPECT_EQ(VisibleIds(rs), ids) << filter;
        EXPECT_EQ(rs.RecordCount(), static_cast<int>(ids.size())) << filter;
    }
    // An unreadable filter fails and keeps the old one.
    rs.setFilter(QStringLiteral("ID < 3"));
    EXPECT_EQ(RaisedBy([&] { rs.setFilter(QStringLiteral("Cost = 1")); }).Number, kErrItemNotFound);
    for (const char* bad : {"ID = ", "ID 3", "(ID = 1", "Name = 'open", "Added = #nodate#", "Name LIKE 3"})
        EXPECT_EQ(RaisedBy([&] { rs.setFilter(QLatin1String(bad)); }).Number, 3001) << bad;
    EXPECT_EQ(rs.Filter(), QStringLiteral("ID < 3"));
    EXPECT_EQ(rs.RecordCount(), 2);
    rs.setFilter(QString());
    EXPECT_EQ(rs.RecordCount(), 4);
}

namespace {
struct RecordingWriter : IRecordsetWriter {
    std::vector<Row> inserted;
    std::vector<std::pair<Row, Row>> updated;
    int failuresLeft = 0;
    void InsertRow(const std::vector<FieldInfo>&, const Row& values) override {
        if (failuresLeft-- > 0)
            throw qlException(kErrIntegrity, QStringLiteral("test"), QStringLiteral("duplicate"));
        inserted.push_back(values);
    }
    void UpdateRow(const std::vector<FieldInfo>&, const Row& original, const Row& values) override {
        updated.emplace_back(original, values);
    }
};
} // namespace

TEST(Recordset, ChangesGoThroughTheWriter) {
    Recordset rs = Items();
    EXPECT_EQ(RaisedBy([&] { rs.AddNew(); }).Number, 3251);
    EXPECT_EQ(RaisedBy([&] { rs.Fields(1).setValue(QStringLiteral("x")); }).Number, 3251);

    auto writer = std::make_shared<RecordingWriter>();
    rs.setWriter(writer);
    rs.AddNew();
    EXPECT_EQ(rs.AbsolutePosition(), 5);
    rs.Fields(QStringLiteral("ID")).setValue(5);
    rs.Fields(QStringLiteral("Name")).setValue(QStringLiteral("Pin"));
    writer->failuresLeft = 1;
    EXPECT_EQ(RaisedBy([&] { rs.Update(); }).Number, kErrIntegrity);
    // The failed row stays pending and goes out again with the next Update.
    rs.Update();
    ASSERT_EQ(writer->inserted.size(), 1u);
    EXPECT_EQ(writer->inserted[0][1].toString(), QStringLiteral("Pin"));

    rs.MoveFirst();
    rs.Fields(2).setValue(0.75);
    rs.MoveNext(); // moving on writes the pending edit first
    ASSERT_EQ(writer->updated.size(), 1u);
    EXPECT_EQ(writer->updated[0].first[2].toDouble(), 0.5);
    EXPECT_EQ(writer->updated[0].second[2].toDouble(), 0.75);
    rs.MovePrevious();
    EXPECT_EQ(rs.Value(2).toDouble(), 0.75);
    rs.Update();
    EXPECT_EQ(writer->updated.size(), 1u);
}

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
