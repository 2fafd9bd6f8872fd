#pragma once
// Conversions between variants and plain values, with Null and Empty read as empty or zero.
#include <QString>
#include <QVariant>
#include <cstdint>

namespace qldb {

// Empty is an invalid variant; Null is a variant that holds no value (as a database NULL does).
inline QVariant NullVariant() {
    return QVariant::fromValue(nullptr);
}
inline bool IsEmpty(const QVariant& v) {
    return !v.isValid();
}
inline bool IsNull(const QVariant& v) {
    return v.isValid() && v.isNull();
}
inline bool IsNullOrEmpty(const QVariant& v) {
    return !v.isValid() || v.isNull();
}

// The variant holds a whole number of any width, signed or not (a bool is none).
bool IsIntegerVariant(const QVariant& v);
// The variant holds a floating number (double or float).
bool IsFloatVariant(const QVariant& v);

// Text of a value; Null and Empty give "".
QString ToText(const QVariant& v);
// Whole number of a value; Null, Empty and text that is no number give 0.
int32_t ToLong(const QVariant& v);
double ToDouble(const QVariant& v);
// True for non-zero numbers, for texts that read as a non-zero number ("-1", "1", "2.5"), and
// for the texts "true" and "yes" in any case. A bool True is -1 to ToLong and ToDouble.
bool ToBoolean(const QVariant& v);
// True when the text reads as a number (blanks around it allowed).
bool IsNumericText(const QString& s);

} // namespace qldb
