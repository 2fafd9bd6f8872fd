#include "platform/tools/conversions.h"

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QTime>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

namespace qldb {

namespace {

// Texts are read in the invariant form only ("." decimal point, no thousands separators): a value
// that reached us as text came from a file or a statement, never from a user's locale. QString's
// parser also takes "inf" and "nan", which no caller means as a number.
bool ParseNumber(const QString& s, double* pValue) {
    const QString trimmed = s.trimmed();
    if (trimmed.isEmpty())
        return false;
    bool ok = false;
    const double value = trimmed.toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return false;
    if (pValue != nullptr)
        *pValue = value;
    return true;
}

bool IsBoolVariant(const QVariant& v) {
    return v.typeId() == QMetaType::Bool;
}

bool IsTextVariant(const QVariant& v) {
    return v.typeId() == QMetaType::QString || v.typeId() == QMetaType::QByteArray ||
           v.typeId() == QMetaType::QChar;
}

int32_t ClampToLong(double value) {
    // The host's long is 32 bits; out-of-range values stop at its limits instead of wrapping.
    if (value >= static_cast<double>(std::numeric_limits<int32_t>::max()))
        return std::numeric_limits<int32_t>::max();
    if (value <= static_cast<double>(std::numeric_limits<int32_t>::min()))
        return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(value);
}

} // namespace

bool IsIntegerVariant(const QVariant& v) {
    switch (v.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        return true;
    default:
        return false;
    }
}

bool IsFloatVariant(const QVariant& v) {
    return v.typeId() == QMetaType::Double || v.typeId() == QMetaType::Float;
}

QString ToText(const QVariant& v) {
    if (IsNullOrEmpty(v))
        return QString();
    switch (v.typeId()) {
    case QMetaType::Bool:
        return v.toBool() ? QStringLiteral("True") : QStringLiteral("False");
    case QMetaType::QDate:
        return v.toDate().toString(Qt::ISODate);
    case QMetaType::QTime: {
        const QTime t = v.toTime();
        return t.toString(t.msec() != 0 ? Qt::ISODateWithMs : Qt::ISODate);
    }
    case QMetaType::QDateTime: {
        // The zone is left out: the library's dates are wall-clock values of the server.
        const QDateTime dt = v.toDateTime();
        const QString format = dt.time().msec() != 0 ? QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz")
                                                     : QStringLiteral("yyyy-MM-ddTHH:mm:ss");
        return dt.toString(format);
    }
    case QMetaType::Double:
        return FloatText(v.toDouble(), 15);
    case QMetaType::Float:
        return FloatText(static_cast<double>(v.toFloat()), 7);
    default:
        return v.toString();
    }
}

QString FloatText(double dValue, int iSignificant) {
    if (!std::isfinite(dValue))
        return QString::number(dValue);
    if (dValue == 0.0)
        return QStringLiteral("0");
    iSignificant = std::clamp(iSignificant, 1, 17);
    // to_chars, not printf: the decimal point must not follow the locale the host runs in.
    char buffer[48];
    const auto written = std::to_chars(std::begin(buffer), std::end(buffer), dValue,
                                       std::chars_format::scientific, iSignificant - 1);
    // "-d.dddde+XX": the rounded digits and the exponent of the first one.
    const std::string scientific(buffer, written.ptr);
    const size_t mark = scientific.find('e');
    const bool negative = scientific.front() == '-';
    std::string digits;
    for (size_t k = negative ? 1 : 0; k < mark; ++k)
        if (scientific[k] != '.')
            digits += scientific[k];
    while (digits.size() > 1 && digits.back() == '0')
        digits.pop_back();
    const int exponent = std::atoi(scientific.c_str() + mark + 1);
    const auto digitCount = static_cast<int>(digits.size());

    std::string text = negative ? "-" : "";
    if (exponent >= -4 && exponent < iSignificant) {
        if (exponent < 0) {
            text += "0." + std::string(static_cast<size_t>(-exponent - 1), '0') + digits;
        } else if (digitCount <= exponent + 1) {
            text += digits + std::string(static_cast<size_t>(exponent + 1 - digitCount), '0');
        } else {
            const auto whole = static_cast<size_t>(exponent + 1);
            text += digits.substr(0, whole) + '.' + digits.substr(whole);
        }
    } else {
        text += digits.front();
        if (digitCount > 1)
            text += '.' + digits.substr(1);
        const std::string power = std::to_string(std::abs(exponent));
        text += exponent < 0 ? "E-" : "E+";
        text += (power.size() < 2 ? "0" : "") + power;
    }
    return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
}

double ToDouble(const QVariant& v) {
    if (IsNullOrEmpty(v))
        return 0.0;
    if (IsBoolVariant(v))
        return v.toBool() ? -1.0 : 0.0;
    if (IsIntegerVariant(v) || IsFloatVariant(v)) {
        const double value = v.toDouble();
        return std::isfinite(value) ? value : 0.0;
    }
    double value = 0.0;
    if (IsTextVariant(v) && ParseNumber(v.toString(), &value))
        return value;
    return 0.0;
}

int32_t ToLong(const QVariant& v) {
    if (IsNullOrEmpty(v))
        return 0;
    // Whole numbers keep every digit (a 64-bit key does not survive a trip through double).
    if (IsIntegerVariant(v)) {
        const qlonglong value = v.toLongLong();
        if (v.typeId() == QMetaType::ULongLong || v.typeId() == QMetaType::ULong) {
            const qulonglong u = v.toULongLong();
            if (u > static_cast<qulonglong>(std::numeric_limits<int32_t>::max()))
                return std::numeric_limits<int32_t>::max();
        }
        return ClampToLong(static_cast<double>(value));
    }
    // Fractions round to the nearest whole number, halves to the even one, as the host's own
    // conversion does (2.5 gives 2, 3.5 gives 4).
    return ClampToLong(std::nearbyint(ToDouble(v)));
}

bool ToBoolean(const QVariant& v) {
    if (IsNullOrEmpty(v))
        return false;
    if (IsBoolVariant(v))
        return v.toBool();
    if (IsIntegerVariant(v) || IsFloatVariant(v))
        return v.toDouble() != 0.0;
    if (!IsTextVariant(v))
        return false;
    const QString text = v.toString().trimmed();
    double value = 0.0;
    if (ParseNumber(text, &value))
        return value != 0.0;
    return text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0 ||
           text.compare(QLatin1String("yes"), Qt::CaseInsensitive) == 0;
}

bool IsNumericText(const QString& s) {
    return ParseNumber(s, nullptr);
}

} // namespace qldb
