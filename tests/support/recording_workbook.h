#pragma once
// A documentation workbook for tests: it keeps cells and sheet names, refuses the names it is told
// to, and records every call in order ("CopyLastSheet", "Name 2=ART:0", "Cell 2,3,2=ART",
// "Format 2 $A7:$H7>$A8:$H8").
#include "platform/host/workbook.h"

#include <QSet>
#include <QStringList>
#include <map>
#include <tuple>

namespace qldb::test {

class RecordingWorkbook : public IWorkbook {
public:
    int32_t SheetCount() const override { return static_cast<int32_t>(m_names.size()); }
    void CopyLastSheet() override {
        calls << QStringLiteral("CopyLastSheet");
        m_names << m_names.last() + QStringLiteral(" (2)");
    }
    QString SheetName(int32_t iSheet) const override { return m_names.value(iSheet - 1); }
    int32_t SetSheetName(int32_t iSheet, const QString& sName) override {
        const int32_t error = refused.contains(sName) ? kErrWorkbookName : 0;
        calls << QStringLiteral("Name %1=%2:%3").arg(iSheet).arg(sName).arg(error);
        if (error == 0)
            m_names[iSheet - 1] = sName;
        return error;
    }
    QVariant Cell(int32_t iSheet, int32_t iRow, int32_t iColumn) const override {
        const auto it = m_cells.find({iSheet, iRow, iColumn});
        return it == m_cells.end() ? QVariant() : it->second;
    }
    void SetCell(int32_t iSheet, int32_t iRow, int32_t iColumn, const QVariant& vValue) override {
        calls << QStringLiteral("Cell %1,%2,%3=%4").arg(iSheet).arg(iRow).arg(iColumn).arg(vValue.toString());
        m_cells[{iSheet, iRow, iColumn}] = vValue;
    }
    void CopyRangeFormat(int32_t iSheet, const QString& sSource, const QString& sTarget) override {
        calls << QStringLiteral("Format %1 %2>%3").arg(iSheet).arg(sSource, sTarget);
    }
    void Save(const QString& sFileName) override { calls << QStringLiteral("Save ") + sFileName; }

    QStringList calls;
    // Names SetSheetName refuses with kErrWorkbookName.
    QSet<QString> refused;

private:
    QStringList m_names{QStringLiteral("Template")};
    std::map<std::tuple<int32_t, int32_t, int32_t>, QVariant> m_cells;
};

} // namespace qldb::test
