#pragma once
// The progress of a running backup or restore job, read from its output file: with STATS = 10 the
// server writes a line at each tenth, and the number before the first "%" of a line is the
// percentage done. The file is read whole on every tick, so the progress replays to its last line.
#include "platform/errors/error_record.h"

#include <QString>
#include <cstdint>
#include <optional>
#include <vector>

namespace qldb::backup {

struct ProgressReading {
    // The percentages of the lines holding "%", in order, up to the first that could not be read.
    std::vector<int32_t> Values;
    // The error of a line whose text before "%" is not a number (13, type mismatch).
    std::optional<ErrorRecord> Error;
};

ProgressReading ReadProgress(const QString& sText);

} // namespace qldb::backup
