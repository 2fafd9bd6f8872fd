#pragma once
// The two-dimensional variant arrays of the structure engine (ArrayTable, ArrayFields), with the
// bounds rules hosts rely on: each dimension has its own lower and upper bound, an element is read
// and written as (column, row), and a list with the rows "0 to 0" holds no row, so callers test the
// upper bound of the rows against 0. A new array is unallocated: both upper bounds read -1.
#include <QVariant>
#include <cstdint>
#include <vector>

namespace qldb {

class VariantArray2 {
public:
    VariantArray2() = default;

    // Reallocates with the given bounds; every element becomes Empty.
    void Redim(int32_t lower1, int32_t upper1, int32_t lower2, int32_t upper2);
    // Changes the upper bound of the second dimension and keeps what stays inside the bounds.
    void RedimPreserve(int32_t upper2);
    bool IsAllocated() const { return m_upper1 >= m_lower1 && m_upper2 >= m_lower2; }

    // Dimension 1 or 2; raises "Subscript out of range" for another dimension.
    int32_t LBound(int dimension) const;
    int32_t UBound(int dimension) const;

    // Raise "Subscript out of range" (qlException, kErrSubscript) outside the bounds.
    const QVariant& operator()(int32_t column, int32_t row) const;
    QVariant& operator()(int32_t column, int32_t row);

    // Adds a row at the end the way the engine grows its lists: while the rows read "0 to 0" the
    // array is allocated afresh as (lower1 to upper1, 1 to 1), afterwards the rows grow by one
    // keeping the content. Returns the new row's index.
    int32_t AddRow(int32_t lower1, int32_t upper1);
    // The number of rows when the rows start at 1 and "0 to 0" means none.
    int32_t RowCount() const { return m_upper2 >= 1 && m_lower2 <= 1 ? m_upper2 : 0; }

    bool operator==(const VariantArray2& other) const = default;

private:
    std::size_t offset(int32_t column, int32_t row) const;

    int32_t m_lower1 = 0;
    int32_t m_upper1 = -1;
    int32_t m_lower2 = 0;
    int32_t m_upper2 = -1;
    std::vector<QVariant> m_items; // row after row
};

} // namespace qldb
