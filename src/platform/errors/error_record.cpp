#include "platform/errors/error_record.h"

#include <new>
#include <utility>

namespace qldb {

qlException::qlException(ErrorRecord record) : m_record(std::move(record)) {
    m_what = QStringLiteral("%1 (%2): %3")
                 .arg(m_record.Number)
                 .arg(m_record.Source, m_record.Description)
                 .toStdString();
}

qlException::qlException(int32_t number, const QString& source, const QString& description)
    : qlException(ErrorRecord{number, source, description, {}, 0, {}, 0, {}}) {}

ErrorRecord CurrentErrorRecord() {
    try {
        throw;
    } catch (const qlException& e) {
        return e.record();
    } catch (const std::bad_alloc&) {
        return ErrorRecord{7, QStringLiteral("qldb"), QStringLiteral("Out of memory"), {}, 0, {}, 0, {}};
    } catch (const std::exception& e) {
        return ErrorRecord{
            kErrGeneral, QStringLiteral("qldb"), QString::fromLocal8Bit(e.what()), {}, 0, {}, 0, {}};
    }
}

} // namespace qldb
