#pragma once
// The errors that the SQL builders raise to their caller. They carry the library's own source,
// as a failing array access of the builders always has.
#include <cstdint>

namespace qldb::sql_errors {

// "Subscript out of range": an index outside an array of the query model or of a WHERE node.
[[noreturn]] void RaiseSubscriptOutOfRange();
// A child of a WHERE node, or the constructor's WHERE tree, that is not set.
[[noreturn]] void RaiseObjectNotSet();
// Reads arr[index] or raises "Subscript out of range".
template <class Array> const auto& ElementAt(const Array& arr, int32_t index) {
    if (index < 0 || static_cast<size_t>(index) >= arr.size())
        RaiseSubscriptOutOfRange();
    return arr[static_cast<size_t>(index)];
}
// True when index names an existing element; writes outside the array are silently dropped.
template <class Array> bool IsWritable(const Array& arr, int32_t index) {
    return index >= 0 && static_cast<size_t>(index) < arr.size();
}

} // namespace qldb::sql_errors
