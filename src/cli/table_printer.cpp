#include "cli/table_printer.h"

#include "platform/tools/conversions.h"

#include <QStringList>
#include <algorithm>
#include <vector>

namespace qldb::cli {

namespace {

// Long values are cut so that one wide column does not push the others off the screen.
constexpr int kMaxColumnWidth = 60;

QString CellText(const QVariant& value) {
    if (IsNull(value))
        return QStringLiteral("NULL");
    QString text = ToText(value)
                       .replace(QLatin1Char('\r'), QLatin1Char(' '))
                       .replace(QLatin1Char('\n'), QLatin1Char(' '));
    if (text.size() > kMaxColumnWidth)
        text = text.left(kMaxColumnWidth - 3) + QStringLiteral("...");
    return text;
}

QString Line(const QStringList& cells, const std::vector<qsizetype>& widths) {
    QStringList padded;
    for (qsizetype i = 0; i < cells.size(); ++i)
        padded << cells[i].leftJustified(widths[static_cast<size_t>(i)]);
    return padded.join(QStringLiteral(" | ")).trimmed();
}

} // namespace

void PrintTable(Recordset& recordset, QTextStream& out) {
    const int columns = recordset.FieldCount();
    QStringList header;
    std::vector<qsizetype> widths(static_cast<size_t>(columns));
    for (int c = 0; c < columns; ++c) {
        header << recordset.FieldInfos()[static_cast<size_t>(c)].Name;
        widths[static_cast<size_t>(c)] = header.back().size();
    }
    std::vector<QStringList> rows;
    if (recordset.RecordCount() > 0)
        recordset.MoveFirst();
    while (!recordset.IsEOF()) {
        QStringList cells;
        for (int c = 0; c < columns; ++c) {
            cells << CellText(recordset.Value(c));
            widths[static_cast<size_t>(c)] = std::max(widths[static_cast<size_t>(c)], cells.back().size());
        }
        rows.push_back(cells);
        recordset.MoveNext();
    }
    out << Line(header, widths) << '\n';
    QStringList rules;
    for (qsizetype w : widths)
        rules << QString(w, QLatin1Char('-'));
    out << rules.join(QStringLiteral("-+-")) << '\n';
    for (const QStringList& cells : rows)
        out << Line(cells, widths) << '\n';
    out << '(' << rows.size() << (rows.size() == 1 ? " row)" : " rows)") << '\n';
}

} // namespace qldb::cli
