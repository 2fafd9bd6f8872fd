#include "structure/variant_array.h"

#include "platform/errors/error_record.h"

#include <algorithm>

namespace qldb {

namespace {

[[noreturn]] void ThrowSubscript() {
    throw qlException(kErrSubscript, QStringLiteral("qlDatabase"), QStringLiteral("Subscript out of range"));
}

std::size_t Extent(int32_t lower, int32_t upper) {
    return upper >= lower ? static_cast<std::size_t>(upper - lower + 1) : 0;
}

} // namespace

void VariantArray2::Redim(int32_t lower1, int32_t upper1, int32_t lower2, int32_t upper2) {
    m_lower1 = lower1;
    m_upper1 = upper1;
    m_lower2 = lower2;
    m_upper2 = upper2;
    m_items.assign(Extent(lower1, upper1) * Extent(lower2, upper2), QVariant());
}

void VariantArray2::RedimPreserve(int32_t upper2) {
    // Rows are stored one after the other, so growing or shrinking the last dimension keeps every
    // element that stays inside the bounds.
    m_upper2 = upper2;
    m_items.resize(Extent(m_lower1, m_upper1) * Extent(m_lower2, m_upper2));
}

int32_t VariantArray2::LBound(int dimension) const {
    if (dimension == 1)
        return m_lower1;
    if (dimension == 2)
        return m_lower2;
    ThrowSubscript();
}

int32_t VariantArray2::UBound(int dimension) const {
    if (dimension == 1)
        return m_upper1;
    if (dimension == 2)
        return m_upper2;
    ThrowSubscript();
}

std::size_t VariantArray2::offset(int32_t column, int32_t row) const {
    if (column < m_lower1 || column > m_upper1 || row < m_lower2 || row > m_upper2)
        ThrowSubscript();
    return static_cast<std::size_t>(row - m_lower2) * Extent(m_lower1, m_upper1) +
           static_cast<std::size_t>(column - m_lower1);
}

const QVariant& VariantArray2::operator()(int32_t column, int32_t row) const {
    return m_items[offset(column, row)];
}

QVariant& VariantArray2::operator()(int32_t column, int32_t row) {
    return m_items[offset(column, row)];
}

int32_t VariantArray2::AddRow(int32_t lower1, int32_t upper1) {
    if (m_upper2 <= 0) {
        Redim(lower1, upper1, 1, 1);
        return 1;
    }
    RedimPreserve(m_upper2 + 1);
    return m_upper2;
}

} // namespace qldb
