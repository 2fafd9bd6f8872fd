// The client-side recordset on its own: moves, filter, Null and Empty, errors, and the hand-over of
// AddNew and Update to a writer.
#include "platform/conversions.h"
#include "platform/error_record.h"
#include "platform/recordset.h"

#include <QDateTime>
#include <gtest/gtest.h>
#include <ostream>

// Readable texts in failure messages.
static void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

namespace qldb {
namespace {

const QString kNoCurrentRecord = QStringLiteral("Either BOF or EOF is True, or the current record has been "
                                                "deleted. Requested operation requires a current record.");
const QString kItemNotFound =
    QStringLiteral("Item cannot be found in the collection corresponding to the requested name or ordinal.");
const QString kClosed = QStringLiteral("Operation is not allowed when the object is closed.");

template <class F> ErrorRecord ErrorOf(F&& f) {
    try {
        f();
    } catch (const qlException& e) {
        return e.record();
    }
    ADD_FAILURE() << "no error was raised";
    return {};
}

Recordset Items() {
    std::vector<FieldInfo> fields{{"ID", ado::adInteger, 4},
                                  {"Name", ado::adVarWChar, 20},
                                  {"Price", ado::adDouble, 8},
                                  {"Added", ado::adDBTimeStamp, 16}};
    std::vector<Row> rows{
        {1, QStringLiteral("Bolt"), 0.5, QDateTime(QDate(2024, 1, 10), QTime(8, 0))},
        {2, QStringLiteral("nut"), 0.25, QDateTime(QDate(2024, 2, 1), QTime(9, 30))},
        {3, QStringLiteral("Washer"), NullVariant(), NullVariant()},
        {4, QStringLiteral("O'Ring"), 2.0, QDateTime(QDate(2023, 12, 31), QTime(23, 0))},
    };
    return Recordset(std::move(fields), std::move(rows));
}

std::vector<int> VisibleIds(Recordset& rs) {
    std::vector<int> ids;
    if (rs.RecordCount() == 0)
        return ids;
    for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext())
        ids.push_back(rs.Value(0).toInt());
    return ids;
}

TEST(Recordset, MovesThroughRowsAndStopsAtBothEnds) {
    Recordset rs = Items();
    EXPECT_EQ(rs.State(), ado::adStateOpen);
    EXPECT_EQ(rs.RecordCount(), 4);
    EXPECT_FALSE(rs.IsBOF());
    EXPECT_EQ(rs.AbsolutePosition(), 1);
    rs.MoveLast();
    EXPECT_EQ(rs.Value(QStringLiteral("id")).toInt(), 4);
    rs.MoveNext();
    EXPECT_TRUE(rs.IsEOF());
    EXPECT_EQ(rs.AbsolutePosition(), -1);
    const ErrorRecord pastEnd = ErrorOf([&] { rs.MoveNext(); });
    EXPECT_EQ(pastEnd.Number, 3021);
    EXPECT_EQ(pastEnd.Description, kNoCurrentRecord);
    EXPECT_EQ(ErrorOf([&] { rs.Value(0); }).Number, 3021);
    rs.MovePrevious();
    EXPECT_EQ(rs.AbsolutePosition(), 4);
    rs.MoveFirst();
    rs.MovePrevious();
    EXPECT_TRUE(rs.IsBOF());
    EXPECT_FALSE(rs.IsEOF());
    EXPECT_EQ(ErrorOf([&] { rs.MovePrevious(); }).Number, 3021);
    rs.MoveNext();
    EXPECT_EQ(rs.Value(1).toString(), QStringLiteral("Bolt"));

    Recordset empty({{"A", ado::adInteger, 4}}, {});
    EXPECT_TRUE(empty.IsBOF());
    EXPECT_TRUE(empty.IsEOF());
    EXPECT_EQ(empty.RecordCount(), 0);
    EXPECT_EQ(ErrorOf([&] { empty.MoveFirst(); }).Description, kNoCurrentRecord);
    EXPECT_EQ(ErrorOf([&] { empty.MoveLast(); }).Number, 3021);
}

TEST(Recordset, NullIsNotEmptyAndSizesFollowTheValue) {
    Recordset rs({{"T", ado::adVarWChar, 10}, {"B", ado::adVarBinary, 50}, {"N", ado::adInteger, 4}},
                 {{QStringLiteral("abc"), QByteArray("\x00\x01\x02\x03\x04", 5), 7},
                  {QString(""), QByteArray(), NullVariant()}});
    EXPECT_EQ(rs.Fields(0).ActualSize(), 3);
    EXPECT_EQ(rs.Fields(1).ActualSize(), 5);
    EXPECT_EQ(rs.Fields(2).ActualSize(), 4);
    EXPECT_EQ(rs.Fields(2).DefinedSize(), 4);
    rs.MoveNext();
    EXPECT_TRUE(IsNull(rs.Value(2)));
    EXPECT_FALSE(IsEmpty(rs.Value(2)));
    EXPECT_EQ(rs.Fields(QStringLiteral("n")).ActualSize(), 0);
    // An empty text is a value, not a Null.
    EXPECT_FALSE(IsNull(rs.Value(0)));
    EXPECT_EQ(rs.Value(0).toString(), QString());
    EXPECT_EQ(rs.Fields(0).ActualSize(), 0);
}

TEST(Recordset, FieldsAreFoundByAnyCaseAndUnknownOnesFail) {
    Recordset rs = Items();
    EXPECT_EQ(rs.FieldCount(), 4);
    EXPECT_EQ(rs.FieldIndex(QStringLiteral("PRICE")), 2);
    EXPECT_EQ(rs.FieldIndex(QStringLiteral("Cost")), -1);
    EXPECT_EQ(rs.Fields(QStringLiteral("name")).Name(), QStringLiteral("Name"));
    EXPECT_EQ(rs.Fields(3).Type(), ado::adDBTimeStamp);
    const ErrorRecord byName = ErrorOf([&] { rs.Fields(QStringLiteral("Cost")); });
    EXPECT_EQ(byName.Number, kErrItemNotFound);
    EXPECT_EQ(byName.Description, kItemNotFound);
    EXPECT_EQ(ErrorOf([&] { rs.Fields(4); }).Number, kErrItemNotFound);
    EXPECT_EQ(ErrorOf([&] { rs.Value(-1); }).Number, kErrItemNotFound);
    EXPECT_EQ(ErrorOf([&] { rs.Value(QStringLiteral("Cost")); }).Number, kErrItemNotFound);
}

TEST(Recordset, ClosedRecordsetRefusesEverything) {
    Recordset none;
    EXPECT_EQ(none.State(), ado::adStateClosed);
    const ErrorRecord closed = ErrorOf([&] { none.IsEOF(); });
    EXPECT_EQ(closed.Number, kErrObjectClosed);
    EXPECT_EQ(closed.Description, kClosed);
    EXPECT_EQ(ErrorOf([&] { none.Close(); }).Number, kErrObjectClosed);

    Recordset rs = Items();
    rs.Close();
    EXPECT_EQ(rs.State(), ado::adStateClosed);
    EXPECT_EQ(ErrorOf([&] { rs.RecordCount(); }).Number, kErrObjectClosed);
    EXPECT_EQ(ErrorOf([&] { rs.MoveFirst(); }).Number, kErrObjectClosed);
    EXPECT_EQ(ErrorOf([&] { rs.Fields(0); }).Number, kErrObjectClosed);
    EXPECT_EQ(ErrorOf([&] { rs.Close(); }).Number, kErrObjectClosed);
}

TEST(Recordset, FilterShowsMatchingRowsAndCountsThem) {
    Recordset rs = Items();
    rs.setFilter(QStringLiteral("Price > 0.3"));
    EXPECT_EQ(VisibleIds(rs), (std::vector<int>{1, 4}));
    EXPECT_EQ(rs.Filter(), QStringLiteral("Price > 0.3"));

    rs.setFilter(QStringLiteral("name = 'NUT' OR [Name] = 'O''Ring'"));
    EXPECT_EQ(VisibleIds(rs), (std::vector<int>{2, 4}));
    rs.setFilter(QStringLiteral("Name LIKE 'b*' or Name like '%ashe%'"));
    EXPECT_EQ(VisibleIds(rs), (std::vector<int>{1, 3}));
    rs.setFilter(QStringLiteral("(ID >= 2 AND ID <= 3) OR ID = 1 AND Name <> 'Bolt'"));
    EXPECT_EQ(VisibleIds(rs), (std::vector<int>{2, 3}));
    rs.setFilter(QStringLiteral("Added < #2024-01-15#"));
    EXPECT_EQ(VisibleIds(rs), (std::vector<int>{1, 4}));
    rs.setFilter(QStringLiteral("Added >= #1/10/2024 08:00:00#"));
    EXPECT_EQ(VisibleIds(rs), (std::vector<int>{1, 2}));
    // Null matches nothing but a test for Null.
    rs.setFilter(QStringLiteral("Price = NULL"));
    EXPECT_EQ(VisibleIds(rs), (std::vector<int>{3}));
    rs.setFilter(QStringLiteral("Price <> NULL AND Price < 100"));
    EXPECT_EQ(VisibleIds(rs), (std::vector<int>{1, 2, 4}));
    rs.setFilter(QStringLiteral("ID = 99"));
    EXPECT_TRUE(rs.IsEOF());
    EXPECT_TRUE(rs.IsBOF());
    EXPECT_EQ(rs.RecordCount(), 0);

    rs.setFilter(QString());
    EXPECT_EQ(rs.RecordCount(), 4);
    EXPECT_EQ(rs.Filter(), QString());
    EXPECT_EQ(rs.Rows().size(), 4u);
}

TEST(Recordset, UnreadableFilterFailsAndKeepsTheOldOne) {
    Recordset rs = Items();
    rs.setFilter(QStringLiteral("ID < 3"));
    EXPECT_EQ(ErrorOf([&] { rs.setFilter(QStringLiteral("Cost = 1")); }).Number, kErrItemNotFound);
    for (const char* bad :
         {"ID = ", "ID 3", "(ID = 1", "Name = 'open", "Added = #nodate#", "ID = 1 AND", "Name LIKE 3"}) {
        const ErrorRecord e = ErrorOf([&] { rs.setFilter(QLatin1String(bad)); });
        EXPECT_EQ(e.Number, 3001) << bad;
    }
    EXPECT_EQ(rs.Filter(), QStringLiteral("ID < 3"));
    EXPECT_EQ(rs.RecordCount(), 2);
}

struct RecordingWriter : IRecordsetWriter {
    std::vector<Row> inserted;
    std::vector<std::pair<Row, Row>> updated;
    int failuresLeft = 0;
    void InsertRow(const std::vector<FieldInfo>& fields, const Row& values) override {
        EXPECT_EQ(fields.size(), values.size());
        if (failuresLeft > 0) {
            --failuresLeft;
            throw qlException(kErrIntegrity, QStringLiteral("test"), QStringLiteral("duplicate"));
        }
        inserted.push_back(values);
    }
    void UpdateRow(const std::vector<FieldInfo>&, const Row& original, const Row& values) override {
        updated.emplace_back(original, values);
    }
};

TEST(Recordset, WithoutWriterNothingCanBeChanged) {
    Recordset rs = Items();
    const ErrorRecord addNew = ErrorOf([&] { rs.AddNew(); });
    EXPECT_EQ(addNew.Number, 3251);
    EXPECT_EQ(addNew.Description, QStringLiteral("Current Recordset does not support updating. This may be a "
                                                 "limitation of the provider, or of the selected locktype."));
    EXPECT_EQ(ErrorOf([&] { rs.Fields(1).setValue(QStringLiteral("x")); }).Number, 3251);
    EXPECT_EQ(rs.RecordCount(), 4);
    EXPECT_EQ(rs.Value(1).toString(), QStringLiteral("Bolt"));
}

TEST(Recordset, AddNewAndEditsGoToTheWriter) {
    Recordset rs = Items();
    auto writer = std::make_shared<RecordingWriter>();
    rs.setWriter(writer);

    rs.AddNew();
    EXPECT_EQ(rs.RecordCount(), 5);
    EXPECT_EQ(rs.AbsolutePosition(), 5);
    rs.Fields(QStringLiteral("ID")).setValue(5);
    rs.Fields(QStringLiteral("Name")).setValue(QStringLiteral("Pin"));
    writer->failuresLeft = 1;
    EXPECT_EQ(ErrorOf([&] { rs.Update(); }).Number, kErrIntegrity);
    // The failed row stays pending and goes out again with the next Update.
    rs.Update();
    ASSERT_EQ(writer->inserted.size(), 1u);
    EXPECT_EQ(writer->inserted[0][0].toInt(), 5);
    EXPECT_EQ(writer->inserted[0][1].toString(), QStringLiteral("Pin"));
    // Fields that were never set stay Empty, so the table's defaults apply.
    EXPECT_TRUE(IsEmpty(writer->inserted[0][2]));
    EXPECT_TRUE(IsEmpty(writer->inserted[0][3]));

    rs.MoveFirst();
    rs.Fields(2).setValue(0.75);
    // Moving on writes the pending edit first.
    rs.MoveNext();
    ASSERT_EQ(writer->updated.size(), 1u);
    EXPECT_EQ(writer->updated[0].first[2].toDouble(), 0.5);
    EXPECT_EQ(writer->updated[0].second[2].toDouble(), 0.75);
    rs.MovePrevious();
    EXPECT_EQ(rs.Value(2).toDouble(), 0.75);
    rs.Update();
    EXPECT_EQ(writer->updated.size(), 1u);
}

} // namespace
} // namespace qldb
