#pragma once
// The documentation workbook as an .xlsx file. The file format library can only write, so the
// sheets live in memory (values, cell formats, column widths) and Save writes them all at once.
//
// A new workbook holds one sheet, "Template", the layout every table sheet is copied from:
//   row 1  A: "Database structure" (bold, 14 pt)
//   row 2  A: "One sheet per table: its name, description and fields." (italic)
//   row 3  A: "Table" (bold); B: the table's short name and C: its description, written per table
//          (B bold)
//   row 5  A: "Fields" (bold)
//   row 6  A to H: the column heads "Field", "Type", "Size", "Description", "Not null",
//          "Default", "Remark", "Notes" (bold, grey, thin borders)
//   row 7  A to H: no values, the format of a field row (thin borders; Size and Not null centred;
//          Description and Remark wrapped). The table writer copies it to each field's row, the
//          first field being row 7 itself. "Notes" is left for the reader's own notes.
// Column widths A to H: 30, 18, 8, 45, 9, 18, 35, 20.
#include "platform/host/workbook.h"

#include <QString>
#include <QVariant>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

struct lxw_workbook;

namespace qldb {

struct CellFormat {
    bool Bold = false;
    bool Italic = false;
    double FontSize = 11;
    bool Border = false;
    bool Wrap = false;
    bool Center = false;
    // RGB, as 0xRRGGBB; none for the sheet's default.
    std::optional<uint32_t> Fill;

    bool operator==(const CellFormat&) const = default;
};

class XlsxWorkbook : public IWorkbook {
public:
    // A workbook holding the template sheet.
    XlsxWorkbook();

    int32_t SheetCount() const override { return static_cast<int32_t>(m_sheets.size()); }
    void CopyLastSheet() override;
    QString SheetName(int32_t iSheet) const override;
    int32_t SetSheetName(int32_t iSheet, const QString& sName) override;
    QVariant Cell(int32_t iSheet, int32_t iRow, int32_t iColumn) const override;
    void SetCell(int32_t iSheet, int32_t iRow, int32_t iColumn, const QVariant& vValue) override;
    void CopyRangeFormat(int32_t iSheet, const QString& sSource, const QString& sTarget) override;
    void Save(const QString& sFileName) override;

    // The format of a cell, none when it has the default one.
    std::optional<CellFormat> Format(int32_t iSheet, int32_t iRow, int32_t iColumn) const;
    void SetFormat(int32_t iSheet, int32_t iRow, int32_t iColumn, const CellFormat& format);
    void SetColumnWidth(int32_t iSheet, int32_t iColumn, double width);

private:
    struct CellData {
        QVariant Value;
        std::optional<CellFormat> Format;
    };
    struct Sheet {
        QString Name;
        // Keyed by (row, column) so that a sheet is written row by row.
        std::map<std::pair<int32_t, int32_t>, CellData> Cells;
        std::map<int32_t, double> ColumnWidths;
    };

    Sheet& sheet(int32_t iSheet);
    const Sheet& sheet(int32_t iSheet) const;
    bool NameTaken(const QString& sName, int32_t iExcept) const;
    void AddTemplate();
    void WriteSheets(lxw_workbook* wb) const;

    std::vector<Sheet> m_sheets;
};

} // namespace qldb
