#pragma once
// A stable sort of the rows of a two-dimensional variant table by one column, for callers that
// sort in several passes and need each pass to keep the order of the one before among equal keys
// (views by name, then by dependency level).
#include <QVariant>
#include <cstddef>
#include <vector>

namespace qldb {

using VariantRow = std::vector<QVariant>;
using VariantTable = std::vector<VariantRow>;

// Orders the rows ascending by the value at iColumn (0-based), keeping the order of rows whose
// values compare equal. Values compare as numbers when both are numbers (bools count as numbers),
// as dates when both are dates, and otherwise by their text, case-insensitively. Null and Empty,
// and a row too short to have the column, come first; then numbers, dates, and texts.
void StableSortRows(VariantTable& rows, std::size_t iColumn);

// The same order between two values: negative, zero or positive.
int CompareForSort(const QVariant& a, const QVariant& b);

} // namespace qldb
