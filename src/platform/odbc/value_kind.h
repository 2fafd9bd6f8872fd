#pragma once
// How a value of a column of a data access type travels in bulk: read from a data file and bound
// as a parameter. One classification for both, so that a column is parsed as it is bound.
#include <cstdint>

namespace qldb {

enum class ValueKind { Integer, Real, Numeric, Bit, Date, Time, Timestamp, Binary, Text };

ValueKind ValueKindOf(int32_t adoType);

} // namespace qldb
