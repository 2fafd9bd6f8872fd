// Reading a data file in the built-in copier: the fields' texts as column values (the plain forms
// read directly and the rest as the C locale reads them, with the same verdict either way) and
// the data file cut into fields.
#include "platform/odbc/ado_types.h"
#include "structure/bulk_copy/bulk_copy_files.h"
#include "structure/bulk_copy/bulk_field_values.h"

#include <QDateTime>
#include <gtest/gtest.h>

namespace qldb::test {
namespace {

struct FieldCase {
    QStringView Text;
    ValueKind Kind;
    QVariant Expected; // invalid: the text is not a value of the kind
};

void PrintTo(const FieldCase& c, std::ostream* os) {
    *os << c.Text.toString().toStdString() << " as kind " << static_cast<int>(c.Kind);
}

class BulkFieldValues : public ::testing::TestWithParam<FieldCase> {};

TEST_P(BulkFieldValues, ReadAsTheColumnTakesThem) {
    const FieldCase& c = GetParam();
    const QVariant v = BulkFieldValue(c.Text, c.Kind);
    ASSERT_EQ(v.isValid(), c.Expected.isValid()) << v.toString().toStdString();
    if (!c.Expected.isValid())
        return;
    EXPECT_EQ(v.metaType(), c.Expected.metaType());
    EXPECT_EQ(v, c.Expected) << v.toString().toStdString();
}

const QDate kDay(2024, 2, 29);
const QVariant kBad;

INSTANTIATE_TEST_SUITE_P(
    Kinds, BulkFieldValues,
    ::testing::Values(
        // Empty field and the lone NUL: Null, or the empty text.
        FieldCase{u"", ValueKind::Integer, QVariant::fromValue(nullptr)},
        FieldCase{QStringView(u"\0", 1), ValueKind::Text, QVariant(QString())},
        FieldCase{u"a\tb", ValueKind::Text, "a\tb"},
        // Whole numbers: plain, padded, signed, grouped, too long or not numbers.
        FieldCase{u"-42", ValueKind::Integer, qlonglong(-42)},
        FieldCase{u" 007 ", ValueKind::Integer, qlonglong(7)},
        FieldCase{u"+5", ValueKind::Integer, qlonglong(5)},
        FieldCase{u"1,000", ValueKind::Integer, qlonglong(1000)},
        FieldCase{u"9223372036854775807", ValueKind::Integer, qlonglong(9223372036854775807LL)},
        FieldCase{u"9223372036854775808", ValueKind::Integer, kBad},
        FieldCase{u"12a", ValueKind::Integer, kBad}, FieldCase{u"-", ValueKind::Integer, kBad},
        // Floating numbers: the shortest round-trip forms, exponents, C-locale leniency, garbage.
        FieldCase{u"0.1", ValueKind::Real, 0.1}, FieldCase{u"-1.5e-3", ValueKind::Real, -0.0015},
        FieldCase{u"1E+05", ValueKind::Real, 100000.0}, FieldCase{u"1.", ValueKind::Real, 1.0},
        FieldCase{u".5", ValueKind::Real, 0.5},
        FieldCase{u"1.7976931348623157e308", ValueKind::Real, 1.7976931348623157e308},
        FieldCase{u"1e", ValueKind::Real, kBad}, FieldCase{u"1.2.3", ValueKind::Real, kBad},
        // Decimals keep their text once it reads as a number.
        FieldCase{u" 12.50 ", ValueKind::Numeric, "12.50"}, FieldCase{u"12,5x", ValueKind::Numeric, kBad},
        FieldCase{u"True", ValueKind::Bit, true}, FieldCase{u"0", ValueKind::Bit, false},
        FieldCase{u"2", ValueKind::Bit, kBad},
        // Dates: only the first ten characters count; impossible days are refused.
        FieldCase{u"2024-02-29", ValueKind::Date, kDay},
        FieldCase{u"2024-02-29 10:00:00", ValueKind::Date, kDay},
        FieldCase{u"2023-02-29", ValueKind::Date, kBad}, FieldCase{u"2024-2-29", ValueKind::Date, kBad},
        FieldCase{u"2024/02/29", ValueKind::Date, kBad},
        // Times: up to seven digits of fraction, milliseconds kept.
        FieldCase{u"23:59:58.1234567", ValueKind::Time, QTime(23, 59, 58, 123)},
        FieldCase{u"01:02:03.5", ValueKind::Time, QTime(1, 2, 3, 500)},
        FieldCase{u"01:02:03.12345678", ValueKind::Time, kBad}, FieldCase{u"24:00:00", ValueKind::Time, kBad},
        FieldCase{u"1:02:03", ValueKind::Time, kBad},
        // Timestamps: the wall-clock fields as written, a date alone at midnight.
        FieldCase{u"2024-02-29 13:45:00.250", ValueKind::Timestamp,
                  QDateTime(kDay, QTime(13, 45, 0, 250), Qt::UTC)},
        FieldCase{u"2024-02-29", ValueKind::Timestamp, QDateTime(kDay, QTime(0, 0), Qt::UTC)},
        FieldCase{u"2024-02-29 25:00:00", ValueKind::Timestamp, kBad},
        // Binary: pairs of hexadecimal digits, with or without the prefix.
        FieldCase{u"0xDEADbeef", ValueKind::Binary, QByteArray("\xDE\xAD\xBE\xEF")},
        FieldCase{u"00ff", ValueKind::Binary, QByteArray("\x00\xFF", 2)},
        FieldCase{u"0x", ValueKind::Binary, QByteArray()}, FieldCase{u"ABC", ValueKind::Binary, kBad},
        FieldCase{u"0xZZ", ValueKind::Binary, kBad}));

TEST(BulkDataFile, FieldsAreCutByTheFormatsTerminatorsAndAShortRowIsLeftOut) {
    const QString data = DecodeBulkData(EncodeBulkData(QStringLiteral("1~\tà\n2~\t\n3")));
    QString why;
    const std::vector<QStringView> fields =
        SplitBulkData(data, {QStringLiteral("~\t"), QStringLiteral("\n")}, &why);
    ASSERT_EQ(fields.size(), 4u);
    EXPECT_EQ(fields[0], u"1");
    EXPECT_EQ(fields[1], u"à");
    EXPECT_EQ(fields[2], u"2");
    EXPECT_TRUE(fields[3].isEmpty());
    EXPECT_EQ(why, QStringLiteral("Unexpected EOF encountered in BCP data-file"));
}

TEST(BulkDataFile, ReadsWithoutAByteOrderMark) {
    EXPECT_EQ(DecodeBulkData(QByteArray("a\0\xE8\0", 4)), QStringLiteral("aè"));
    EXPECT_EQ(DecodeBulkData(QByteArray("\xFF\xFE\x01\x26", 4)), QString(QChar(0x2601)));
}

} // namespace
} // namespace qldb::test
