#include "platform/tools/xlsx_workbook.h"

#include "platform/errors/error_record.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <xlsxwriter.h>

#include <memory>

namespace qldb {

namespace {

const QString kSource = QStringLiteral("XlsxWorkbook");
constexpr int32_t kMaxNameLength = 31;
constexpr int32_t kLastColumn = 8; // H

struct Range {
    int32_t FirstRow, FirstColumn, LastRow, LastColumn;
};

int32_t ColumnNumber(const QString& letters) {
    int32_t number = 0;
    for (const QChar c : letters)
        number = number * 26 + (c.toUpper().unicode() - u'A' + 1);
    return number;
}

Range ParseRange(const QString& sRange) {
    static const QRegularExpression pattern(
        QStringLiteral("^\\$?([A-Za-z]{1,3})\\$?(\\d{1,7}):\\$?([A-Za-z]{1,3})\\$?(\\d{1,7})$"));
    const QRegularExpressionMatch m = pattern.match(sRange);
    if (!m.hasMatch())
        throw qlException(kErrWorkbookName, kSource, QStringLiteral("Not a range: ") + sRange);
    Range r{m.captured(2).toInt(), ColumnNumber(m.captured(1)), m.captured(4).toInt(),
            ColumnNumber(m.captured(3))};
    if (r.FirstRow < 1 || r.LastRow < r.FirstRow || r.LastColumn < r.FirstColumn)
        throw qlException(kErrWorkbookName, kSource, QStringLiteral("Not a range: ") + sRange);
    return r;
}

bool ValidName(const QString& sName) {
    static const QString forbidden = QStringLiteral(":\\/?*[]");
    if (sName.isEmpty() || sName.size() > kMaxNameLength)
        return false;
    if (sName.startsWith(u'\'') || sName.endsWith(u'\''))
        return false;
    for (const QChar c : sName) {
        if (forbidden.contains(c))
            return false;
    }
    return true;
}

// The library's own failures, as text, for the error a caller gets.
QString WriterError(lxw_error error) {
    return QString::fromUtf8(lxw_strerror(error));
}

struct WorkbookCloser {
    void operator()(lxw_workbook* wb) const {
        if (wb)
            workbook_close(wb);
    }
};

} // namespace

XlsxWorkbook::XlsxWorkbook() {
    AddTemplate();
}

void XlsxWorkbook::AddTemplate() {
    m_sheets.push_back(Sheet{QStringLiteral("Template"), {}, {}});
    CellFormat title;
    title.Bold = true;
    title.FontSize = 14;
    CellFormat note;
    note.Italic = true;
    CellFormat bold;
    bold.Bold = true;
    SetCell(1, 1, 1, QStringLiteral("Database structure"));
    SetFormat(1, 1, 1, title);
    SetCell(1, 2, 1, QStringLiteral("One sheet per table: its name, description and fields."));
    SetFormat(1, 2, 1, note);
    SetCell(1, 3, 1, QStringLiteral("Table"));
    SetFormat(1, 3, 1, bold);
    SetFormat(1, 3, 2, bold);
    SetCell(1, 5, 1, QStringLiteral("Fields"));
    SetFormat(1, 5, 1, bold);

    const char* heads[] = {"Field", "Type", "Size", "Description", "Not null", "Default", "Remark", "Notes"};
    const double widths[] = {30, 18, 8, 45, 9, 18, 35, 20};
    CellFormat head;
    head.Bold = true;
    head.Border = true;
    head.Fill = 0xD9D9D9;
    for (int32_t column = 1; column <= kLastColumn; ++column) {
        SetCell(1, 6, column, QString::fromLatin1(heads[column - 1]));
        SetFormat(1, 6, column, head);
        CellFormat field;
        field.Border = true;
        field.Center = column == 3 || column == 5;
        field.Wrap = column == 4 || column == 7;
        SetFormat(1, 7, column, field);
        SetColumnWidth(1, column, widths[column - 1]);
    }
}

XlsxWorkbook::Sheet& XlsxWorkbook::sheet(int32_t iSheet) {
    if (iSheet < 1 || iSheet > SheetCount())
        throw qlException(kErrSubscript, kSource, QStringLiteral("Subscript out of range"));
    return m_sheets[static_cast<size_t>(iSheet - 1)];
}

const XlsxWorkbook::Sheet& XlsxWorkbook::sheet(int32_t iSheet) const {
    return const_cast<XlsxWorkbook*>(this)->sheet(iSheet);
}

bool XlsxWorkbook::NameTaken(const QString& sName, int32_t iExcept) const {
    for (int32_t i = 1; i <= SheetCount(); ++i) {
        if (i != iExcept &&
            m_sheets[static_cast<size_t>(i - 1)].Name.compare(sName, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

void XlsxWorkbook::CopyLastSheet() {
    Sheet copy = m_sheets.back();
    // "Name (2)", "Name (3)" ...: a copy of a copy counts on from the same base, which is cut so
    // that the number always fits.
    static const QRegularExpression numbered(QStringLiteral("^(.*) \\(\\d+\\)$"));
    const QRegularExpressionMatch m = numbered.match(copy.Name);
    const QString base = m.hasMatch() ? m.captured(1) : copy.Name;
    for (int32_t n = 2;; ++n) {
        const QString suffix = QStringLiteral(" (%1)").arg(n);
        const QString name = base.left(kMaxNameLength - suffix.size()) + suffix;
        if (!NameTaken(name, 0)) {
            copy.Name = name;
            break;
        }
    }
    m_sheets.push_back(std::move(copy));
}

QString XlsxWorkbook::SheetName(int32_t iSheet) const {
    return sheet(iSheet).Name;
}

int32_t XlsxWorkbook::SetSheetName(int32_t iSheet, const QString& sName) {
    Sheet& target = sheet(iSheet);
    if (!ValidName(sName) || NameTaken(sName, iSheet))
        return kErrWorkbookName;
    target.Name = sName;
    return 0;
}

QVariant XlsxWorkbook::Cell(int32_t iSheet, int32_t iRow, int32_t iColumn) const {
    const Sheet& s = sheet(iSheet);
    const auto it = s.Cells.find({iRow, iColumn});
    return it == s.Cells.end() ? QVariant() : it->second.Value;
}

void XlsxWorkbook::SetCell(int32_t iSheet, int32_t iRow, int32_t iColumn, const QVariant& vValue) {
    if (iRow < 1 || iColumn < 1)
        throw qlException(kErrSubscript, kSource, QStringLiteral("Subscript out of range"));
    sheet(iSheet).Cells[{iRow, iColumn}].Value = vValue;
}

std::optional<CellFormat> XlsxWorkbook::Format(int32_t iSheet, int32_t iRow, int32_t iColumn) const {
    const Sheet& s = sheet(iSheet);
    const auto it = s.Cells.find({iRow, iColumn});
    return it == s.Cells.end() ? std::nullopt : it->second.Format;
}

void XlsxWorkbook::SetFormat(int32_t iSheet, int32_t iRow, int32_t iColumn, const CellFormat& format) {
    sheet(iSheet).Cells[{iRow, iColumn}].Format = format;
}

void XlsxWorkbook::SetColumnWidth(int32_t iSheet, int32_t iColumn, double width) {
    sheet(iSheet).ColumnWidths[iColumn] = width;
}

void XlsxWorkbook::CopyRangeFormat(int32_t iSheet, const QString& sSource, const QString& sTarget) {
    Sheet& s = sheet(iSheet);
    const Range from = ParseRange(sSource);
    const Range to = ParseRange(sTarget);
    if (from.LastRow - from.FirstRow != to.LastRow - to.FirstRow ||
        from.LastColumn - from.FirstColumn != to.LastColumn - to.FirstColumn)
        throw qlException(kErrWorkbookName, kSource,
                          QStringLiteral("Ranges of another shape: ") + sSource + QStringLiteral(", ") +
                              sTarget);
    // Read first: the two ranges may overlap.
    std::vector<std::optional<CellFormat>> formats;
    for (int32_t row = from.FirstRow; row <= from.LastRow; ++row) {
        for (int32_t column = from.FirstColumn; column <= from.LastColumn; ++column) {
            const auto it = s.Cells.find({row, column});
            formats.push_back(it == s.Cells.end() ? std::nullopt : it->second.Format);
        }
    }
    size_t i = 0;
    for (int32_t row = to.FirstRow; row <= to.LastRow; ++row) {
        for (int32_t column = to.FirstColumn; column <= to.LastColumn; ++column) {
            const std::optional<CellFormat>& format = formats[i++];
            if (format)
                s.Cells[{row, column}].Format = format;
            else if (const auto it = s.Cells.find({row, column}); it != s.Cells.end())
                it->second.Format.reset();
        }
    }
}

void XlsxWorkbook::Save(const QString& sFileName) {
    // The library writes through a temporary file of its own and fails at close when the target
    // can't be made; an existing file is replaced.
    // The library would say the same on its error output; the caller gets it as an error instead.
    if (!QFileInfo(sFileName).absoluteDir().exists())
        throw qlException(kErrGeneral, kSource, QStringLiteral("No such folder for ") + sFileName);
    if (QFile::exists(sFileName) && !QFile::remove(sFileName))
        throw qlException(kErrGeneral, kSource, QStringLiteral("Can't replace ") + sFileName);
    const QByteArray path = QFile::encodeName(sFileName);
    lxw_workbook* raw = workbook_new(path.constData());
    if (!raw)
        throw qlException(kErrGeneral, kSource, QStringLiteral("Can't create ") + sFileName);
    std::unique_ptr<lxw_workbook, WorkbookCloser> wb(raw);

    try {
        WriteSheets(raw);
    } catch (...) {
        // No half-written file is left behind.
        wb.reset();
        QFile::remove(sFileName);
        throw;
    }
    const lxw_error error = workbook_close(wb.release());
    if (error != LXW_NO_ERROR)
        throw qlException(kErrGeneral, kSource, WriterError(error) + QStringLiteral(": ") + sFileName);
}

void XlsxWorkbook::WriteSheets(lxw_workbook* raw) const {
    std::vector<std::pair<CellFormat, lxw_format*>> formats;
    const auto formatOf = [&](const std::optional<CellFormat>& wanted) -> lxw_format* {
        if (!wanted)
            return nullptr;
        for (const auto& [format, made] : formats) {
            if (format == *wanted)
                return made;
        }
        lxw_format* made = workbook_add_format(raw);
        if (wanted->Bold)
            format_set_bold(made);
        if (wanted->Italic)
            format_set_italic(made);
        format_set_font_size(made, wanted->FontSize);
        if (wanted->Border)
            format_set_border(made, LXW_BORDER_THIN);
        if (wanted->Wrap)
            format_set_text_wrap(made);
        if (wanted->Center)
            format_set_align(made, LXW_ALIGN_CENTER);
        if (wanted->Fill) {
            format_set_pattern(made, LXW_PATTERN_SOLID);
            format_set_bg_color(made, *wanted->Fill);
        }
        formats.emplace_back(*wanted, made);
        return made;
    };

    for (const Sheet& s : m_sheets) {
        const QByteArray name = s.Name.toUtf8();
        lxw_worksheet* ws = workbook_add_worksheet(raw, name.constData());
        if (!ws)
            throw qlException(kErrWorkbookName, kSource, QStringLiteral("Sheet name refused: ") + s.Name);
        for (const auto& [column, width] : s.ColumnWidths)
            worksheet_set_column(ws, static_cast<lxw_col_t>(column - 1), static_cast<lxw_col_t>(column - 1),
                                 width, nullptr);
        for (const auto& [at, cell] : s.Cells) {
            const auto row = static_cast<lxw_row_t>(at.first - 1);
            const auto column = static_cast<lxw_col_t>(at.second - 1);
            lxw_format* format = formatOf(cell.Format);
            const QVariant& v = cell.Value;
            lxw_error error = LXW_NO_ERROR;
            if (!v.isValid() || v.isNull())
                error = worksheet_write_blank(ws, row, column, format);
            else if (v.typeId() == QMetaType::Bool)
                error = worksheet_write_boolean(ws, row, column, v.toBool(), format);
            else if (v.typeId() == QMetaType::Int || v.typeId() == QMetaType::LongLong ||
                     v.typeId() == QMetaType::Double || v.typeId() == QMetaType::UInt)
                error = worksheet_write_number(ws, row, column, v.toDouble(), format);
            else
                error = worksheet_write_string(ws, row, column, v.toString().toUtf8().constData(), format);
            if (error != LXW_NO_ERROR)
                throw qlException(kErrGeneral, kSource, WriterError(error));
        }
    }
}

} // namespace qldb
