#pragma once
// Helpers of the SQL builder tests: readable QString output in failures, and checks of the error
// that a builder raises.
#include "platform/error_record.h"

#include <QString>
#include <gtest/gtest.h>
#include <ostream>

// gtest prints a QString through this; CR and LF are shown escaped so that line ends are visible.
inline void PrintTo(const QString& text, std::ostream* os) {
    QString shown = text;
    shown.replace(QLatin1Char('\r'), QLatin1String("\\r"));
    shown.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    shown.replace(QChar(1), QLatin1String("<SEP>"));
    *os << '"' << shown.toStdString() << '"';
}

namespace qldb::test {

// Runs the step, expects a qlException, and hands back its record for assertions.
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
