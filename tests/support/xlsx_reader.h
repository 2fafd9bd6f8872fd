#pragma once
// Reads back what an .xlsx file holds, for tests: the sheet names in order and the text of every
// cell by its reference ("B3"). The file is a zip of XML parts; the system's unzip opens it.
#include <QString>
#include <QStringList>
#include <map>
#include <optional>
#include <vector>

namespace qldb::test {

struct XlsxContent {
    QStringList SheetNames;
    // One map a sheet, in the order of SheetNames; numbers as the file writes them ("20").
    std::vector<std::map<QString, QString>> Cells;
};

// Nothing, with the reason in sError, when the file can't be opened or read.
std::optional<XlsxContent> ReadXlsx(const QString& sFileName, QString* sError = nullptr);

} // namespace qldb::test
