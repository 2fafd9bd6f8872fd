// The documentation workbook: its template, sheet copies and names, format copies, and the file it
// saves, read back from the zip.
#include "platform/errors/error_record.h"
#include "platform/tools/xlsx_workbook.h"
#include "sql/sql_test_support.h"
#include "support/xlsx_reader.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace qldb::test {
namespace {

int32_t RaisedNumber(const std::function<void()>& call) {
    return RaisedBy(call).Number;
}

TEST(XlsxWorkbook, CopiesTheLastSheetUnderAUniqueName) {
    XlsxWorkbook wkb;
    ASSERT_EQ(wkb.SheetCount(), 1);
    EXPECT_EQ(wkb.SheetName(1), QStringLiteral("Template"));
    EXPECT_EQ(wkb.Cell(1, 6, 8).toString(), QStringLiteral("Notes"));
    wkb.SetCell(1, 3, 2, QStringLiteral("ART"));
    wkb.CopyLastSheet();
    wkb.CopyLastSheet();
    EXPECT_EQ(wkb.SheetCount(), 3);
    EXPECT_EQ(wkb.SheetName(2), QStringLiteral("Template (2)"));
    EXPECT_EQ(wkb.SheetName(3), QStringLiteral("Template (3)"));
    EXPECT_EQ(wkb.Cell(3, 3, 2).toString(), QStringLiteral("ART"));
    EXPECT_EQ(wkb.Format(3, 7, 4), wkb.Format(1, 7, 4));
    wkb.SetCell(3, 3, 2, QStringLiteral("CLI"));
    EXPECT_EQ(wkb.Cell(2, 3, 2).toString(), QStringLiteral("ART")) << "a copy is a sheet of its own";

    ASSERT_EQ(wkb.SetSheetName(3, QString(31, u'x')), 0);
    wkb.CopyLastSheet();
    EXPECT_EQ(wkb.SheetName(4), QString(27, u'x') + QStringLiteral(" (2)")) << "cut so the number fits";
    EXPECT_EQ(RaisedNumber([&] { wkb.SheetName(5); }), kErrSubscript);
}

TEST(XlsxWorkbook, RefusesTheNamesASpreadsheetRefuses) {
    XlsxWorkbook wkb;
    wkb.CopyLastSheet();
    std::vector<std::pair<QString, int32_t>> cases = {
        {QString(), kErrWorkbookName},
        {QString(32, u'a'), kErrWorkbookName},
        {QString(31, u'a'), 0},
        {QStringLiteral("'ab"), kErrWorkbookName},
        {QStringLiteral("ab'"), kErrWorkbookName},
        {QStringLiteral("a'b"), 0},
        {QStringLiteral("TEMPLATE"), kErrWorkbookName}, // another sheet's, in any case
        {QStringLiteral("Anagrafica è"), 0},
        {QStringLiteral("anagrafica È"), 0}, // its own name again
    };
    for (const QChar c : QStringLiteral(":\\/?*[]"))
        cases.push_back({QStringLiteral("a%1b").arg(c), kErrWorkbookName});
    for (const auto& [name, error] : cases) {
        const QString before = wkb.SheetName(2);
        EXPECT_EQ(wkb.SetSheetName(2, name), error) << name.toStdString();
        EXPECT_EQ(wkb.SheetName(2), error == 0 ? name : before) << name.toStdString();
    }
}

TEST(XlsxWorkbook, CopiesARowsFormatWithoutItsValues) {
    XlsxWorkbook wkb;
    wkb.SetCell(1, 9, 1, QStringLiteral("kept"));
    wkb.CopyRangeFormat(1, QStringLiteral("$A7:$H7"), QStringLiteral("$A9:$H9"));
    for (int32_t column = 1; column <= 8; ++column)
        EXPECT_EQ(wkb.Format(1, 9, column), wkb.Format(1, 7, column)) << column;
    EXPECT_TRUE(wkb.Format(1, 9, 4)->Wrap);
    EXPECT_FALSE(wkb.Format(1, 9, 9).has_value());
    EXPECT_EQ(wkb.Cell(1, 9, 1).toString(), QStringLiteral("kept"));
    // A source without formats clears the target's.
    wkb.CopyRangeFormat(1, QStringLiteral("A20:H20"), QStringLiteral("A9:H9"));
    EXPECT_FALSE(wkb.Format(1, 9, 1).has_value());
    EXPECT_EQ(RaisedNumber([&] { wkb.CopyRangeFormat(1, QStringLiteral("A7"), QStringLiteral("A9:H9")); }),
              kErrWorkbookName);
    EXPECT_EQ(
        RaisedNumber([&] { wkb.CopyRangeFormat(1, QStringLiteral("$A7:$H7"), QStringLiteral("$A9:$G9")); }),
        kErrWorkbookName);
}

TEST(XlsxWorkbook, SavedFileReadsBackSheetNamesAndCells) {
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("doc.xlsx"));
    XlsxWorkbook wkb;
    wkb.CopyLastSheet();
    ASSERT_EQ(wkb.SetSheetName(2, QStringLiteral("Articoli è")), 0);
    wkb.SetCell(2, 3, 2, QStringLiteral("ART"));
    wkb.SetCell(2, 7, 3, 20);
    QFile old(file);
    ASSERT_TRUE(old.open(QIODevice::WriteOnly));
    old.write("not a workbook");
    old.close();
    wkb.Save(file);

    QString error;
    const auto content = ReadXlsx(file, &error);
    ASSERT_TRUE(content) << error.toStdString();
    EXPECT_EQ(content->SheetNames, (QStringList{"Template", "Articoli è"}));
    const auto& sheet = content->Cells.at(1);
    EXPECT_EQ(sheet.at("B3"), QStringLiteral("ART"));
    EXPECT_EQ(sheet.at("C7"), QStringLiteral("20"));
    EXPECT_EQ(content->Cells.at(0).count("B3"), 0u);

    const QString nowhere = dir.filePath(QStringLiteral("missing/doc.xlsx"));
    EXPECT_EQ(RaisedNumber([&] { wkb.Save(nowhere); }), kErrGeneral);
    EXPECT_FALSE(QFile::exists(nowhere));
}

} // namespace
} // namespace qldb::test
