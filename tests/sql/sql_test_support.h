#pragma once
// Test helpers: QString output with visible line ends, and the raised error.
#include "platform/errors/error_record.h"

#include <QString>
#include <gtest/gtest.h>
#include <ostream>

inline void PrintTo(const QString& text, std::ostream* os) {
    QString shown = text;
    shown.replace(QLatin1Char('\r'), QLatin1String("\\r")).replace(QLatin1Char('\n'), QLatin1String("\\n"));
    *os << '"' << shown.replace(QChar(1), QLatin1String("<SEP>")).toStdString() << '"';
}

namespace qldb::test {

template <class Step> ErrorRecord RaisedBy(Step&& step) {
    try {
        step();
    } catch (const qlException& e) {
        return e.record();
    }
    ADD_FAILURE() << "no qlException was raised";
    return ErrorRecord{};
}

} // namespace qldb::test
