#include "platform/tools/stable_sort.h"

#include "platform/tools/conversions.h"

#include <QDateTime>

#include <algorithm>

namespace qldb {

namespace {

enum class SortRank { Missing = 0, Number = 1, Date = 2, Text = 3 };

SortRank RankOf(const QVariant& v) {
    if (IsNullOrEmpty(v))
        return SortRank::Missing;
    if (v.typeId() == QMetaType::Bool || IsIntegerVariant(v) || IsFloatVariant(v))
        return SortRank::Number;
    if (v.typeId() == QMetaType::QDate || v.typeId() == QMetaType::QDateTime)
        return SortRank::Date;
    return SortRank::Text;
}

QDateTime AsDateTime(const QVariant& v) {
    if (v.typeId() == QMetaType::QDate)
        return QDateTime(v.toDate(), QTime(0, 0));
    return v.toDateTime();
}

template <typename T> int ThreeWay(const T& a, const T& b) {
    return a < b ? -1 : (b < a ? 1 : 0);
}

} // namespace

int CompareForSort(const QVariant& a, const QVariant& b) {
    const SortRank rankA = RankOf(a);
    const SortRank rankB = RankOf(b);
    if (rankA != rankB)
        return ThreeWay(static_cast<int>(rankA), static_cast<int>(rankB));
    switch (rankA) {
    case SortRank::Missing:
        return 0;
    case SortRank::Number:
        return ThreeWay(ToDouble(a), ToDouble(b));
    case SortRank::Date:
        return ThreeWay(AsDateTime(a), AsDateTime(b));
    case SortRank::Text:
        break;
    }
    return QString::compare(ToText(a), ToText(b), Qt::CaseInsensitive);
}

void StableSortRows(VariantTable& rows, std::size_t iColumn) {
    static const QVariant kMissing;
    const auto key = [iColumn](const VariantRow& row) -> const QVariant& {
        return iColumn < row.size() ? row[iColumn] : kMissing;
    };
    std::stable_sort(rows.begin(), rows.end(), [&key](const VariantRow& left, const VariantRow& right) {
        return CompareForSort(key(left), key(right)) < 0;
    });
}

} // namespace qldb
