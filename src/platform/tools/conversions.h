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

// Text of a value; Null and Empty give "". Floating numbers are written by FloatText, a double
// with 15 significant digits, a single with 7.
QString ToText(const QVariant& v);
// A floating number as hosts write one in text: rounded to iSignificant significant digits, in
// plain notation from 0.0001 up to below 10^iSignificant ("100000", "123456.5", "0.0001"), in the
// exponent form outside that range ("1E+15", "1E-05", "-2.5E+20"), "." as decimal separator and
// no trailing zeros. Infinities and NaN give "inf", "-inf" and "nan".
QString FloatText(double dValue, int iSignificant = 15);
// Whole number of a value; Null, Empty and text that is no number give 0.
int32_t ToLong(const QVariant& v);
double ToDouble(const QVariant& v);
// True for non-zero numbers, for texts that read as a non-zero number ("-1", "1", "2.5"), and
// for the texts "true" and "yes" in any case. A bool True is -1 to ToLong and ToDouble.
bool ToBoolean(const QVariant& v);
// True when the text reads as a number (blanks around it allowed).
bool IsNumericText(const QString& s);

} // namespace qldb
