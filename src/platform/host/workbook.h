#pragma once
// The documentation workbook a host may hand to the table writer: one sheet per table, made by
// copying the last sheet. Sheets are numbered from 1 in their order, rows and columns from 1.
// The structure engine sees only this interface; XlsxWorkbook writes a real file.
#include <QString>
#include <QVariant>
#include <cstdint>

namespace qldb {

// The error number a sheet name that the workbook refuses gives, as spreadsheet hosts report it.
inline constexpr int32_t kErrWorkbookName = 1004;

class IWorkbook {
public:
    virtual ~IWorkbook() = default;

    virtual int32_t SheetCount() const = 0;
    // Puts a copy of the last sheet (values, formats, column widths) behind it; the copy is the new
    // last sheet, named after the original with a number added ("Template (2)", then "Template (3)") so that
    // names stay unique.
    virtual void CopyLastSheet() = 0;
    virtual QString SheetName(int32_t iSheet) const = 0;
    // 0 when the sheet now has the name; kErrWorkbookName, with the old name kept, for a name that
    // is empty, longer than 31 characters, holds one of : \ / ? * [ ], starts or ends with an
    // apostrophe, or is another sheet's name in any case.
    virtual int32_t SetSheetName(int32_t iSheet, const QString& sName) = 0;
    // Empty for a cell never written.
    virtual QVariant Cell(int32_t iSheet, int32_t iRow, int32_t iColumn) const = 0;
    virtual void SetCell(int32_t iSheet, int32_t iRow, int32_t iColumn, const QVariant& vValue) = 0;
    // Copies the formats of the cells of one range ("$A7:$H7") onto those of another of the same
    // shape ("$A12:$H12"); values stay. Throws qlException kErrWorkbookName for a range that is
    // not of the form "$A1:$B2" (dollars optional) or of another shape.
    virtual void CopyRangeFormat(int32_t iSheet, const QString& sSource, const QString& sTarget) = 0;
    // Writes the whole workbook to the file, replacing it. Throws qlException when it can't.
    virtual void Save(const QString& sFileName) = 0;
};

} // namespace qldb
