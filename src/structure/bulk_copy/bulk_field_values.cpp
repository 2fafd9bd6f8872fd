#include "structure/bulk_copy/bulk_field_values.h"

#include "platform/odbc/ado_types.h"
#include "platform/tools/conversions.h"

#include <QDate>
#include <QDateTime>
#include <QLocale>
#include <QTime>
#include <charconv>
#include <optional>

namespace qldb {

namespace {

// The plain forms that fill data files are read here directly; anything else goes to QLocale or
// QDate, whose verdict stands. A file of many rows spends most of its reading in those otherwise.

bool IsDigit(QChar c) {
    return c.unicode() >= u'0' && c.unicode() <= u'9';
}

// The digits at [from, from + count) as a number; -1 when one is not a digit or they run out.
int Digits(QStringView s, qsizetype from, qsizetype count) {
    if (from + count > s.size())
        return -1;
    int n = 0;
    for (qsizetype i = from; i < from + count; ++i) {
        if (!IsDigit(s[i]))
            return -1;
        n = n * 10 + (s[i].unicode() - u'0');
    }
    return n;
}

// Length of the run of digits from i.
qsizetype DigitRun(QStringView s, qsizetype i) {
    qsizetype n = 0;
    while (i + n < s.size() && IsDigit(s[i + n]))
        ++n;
    return n;
}

// "-?digits" of up to 18 digits, which cannot overflow.
bool PlainInteger(QStringView s, qlonglong* value) {
    const qsizetype start = !s.isEmpty() && s[0] == u'-' ? 1 : 0;
    const qsizetype digits = DigitRun(s, start);
    if (digits == 0 || digits > 18 || start + digits != s.size())
        return false;
    qlonglong n = 0;
    for (qsizetype i = start; i < s.size(); ++i)
        n = n * 10 + (s[i].unicode() - u'0');
    *value = start ? -n : n;
    return true;
}

// "-?digits(.digits)?([eE][+-]?digits)?", read with correct rounding as QLocale reads it.
bool PlainReal(QStringView s, double* value) {
    qsizetype i = !s.isEmpty() && s[0] == u'-' ? 1 : 0;
    qsizetype run = DigitRun(s, i);
    if (run == 0)
        return false;
    i += run;
    if (i < s.size() && s[i] == u'.') {
        run = DigitRun(s, i + 1);
        if (run == 0)
            return false;
        i += 1 + run;
    }
    if (i < s.size() && (s[i] == u'e' || s[i] == u'E')) {
        ++i;
        if (i < s.size() && (s[i] == u'+' || s[i] == u'-'))
            ++i;
        run = DigitRun(s, i);
        if (run == 0)
            return false;
        i += run;
    }
    if (i != s.size() || s.size() > 64)
        return false;
    char text[64];
    for (qsizetype k = 0; k < s.size(); ++k)
        text[k] = static_cast<char>(s[k].unicode());
    const auto [end, error] = std::from_chars(text, text + s.size(), *value);
    return error == std::errc() && end == text + s.size();
}

std::optional<double> RealValue(QStringView s) {
    double d = 0;
    if (PlainReal(s, &d))
        return d;
    bool ok = false;
    d = QLocale::c().toDouble(s, &ok);
    return ok ? std::optional<double>(d) : std::nullopt;
}

// "yyyy-MM-dd" (the first ten characters of s), the format QDate reads more leniently.
QDate DateValue(QStringView s) {
    const QStringView head = s.left(10);
    const int y = Digits(head, 0, 4), m = Digits(head, 5, 2), d = Digits(head, 8, 2);
    if (head.size() == 10 && y >= 0 && m >= 0 && d >= 0 && head[4] == u'-' && head[7] == u'-')
        return QDate(y, m, d);
    return QDate::fromString(head.toString(), QStringLiteral("yyyy-MM-dd"));
}

// "HH:mm:ss" with up to seven digits of fraction, of which milliseconds are kept.
QTime TimeValue(QStringView s) {
    const int h = Digits(s, 0, 2), m = Digits(s, 3, 2), sec = Digits(s, 6, 2);
    if (h < 0 || m < 0 || sec < 0 || s[2] != u':' || s[5] != u':')
        return QTime();
    int ms = 0;
    if (s.size() > 8) {
        const qsizetype fraction = s.size() - 9;
        if (s[8] != u'.' || fraction < 1 || fraction > 7 || DigitRun(s, 9) != fraction)
            return QTime();
        for (qsizetype i = 9; i < 12; ++i)
            ms = ms * 10 + (i < s.size() ? s[i].unicode() - u'0' : 0);
    }
    return QTime(h, m, sec, ms);
}

bool IsHexDigit(QChar c) {
    const char16_t u = c.unicode();
    return (u >= u'0' && u <= u'9') || (u >= u'a' && u <= u'f') || (u >= u'A' && u <= u'F');
}

} // namespace

QVariant BulkFieldValue(QStringView s, ValueKind kind) {
    const bool nulChar = s.size() == 1 && s[0].unicode() == 0;
    if (s.isEmpty())
        return NullVariant();
    if (kind == ValueKind::Text)
        return nulChar ? QVariant(QStringLiteral("")) : QVariant(s.toString());
    if (nulChar)
        return NullVariant();
    const QStringView t = s.trimmed();
    switch (kind) {
    case ValueKind::Integer: {
        qlonglong n = 0;
        if (PlainInteger(t, &n))
            return QVariant(n);
        bool ok = false;
        n = QLocale::c().toLongLong(t, &ok);
        return ok ? QVariant(n) : QVariant();
    }
    case ValueKind::Real: {
        const std::optional<double> d = RealValue(t);
        return d ? QVariant(*d) : QVariant();
    }
    case ValueKind::Numeric:
        return RealValue(t) ? QVariant(t.toString()) : QVariant();
    case ValueKind::Bit:
        if (t == u"1" || t.compare(u"true", Qt::CaseInsensitive) == 0)
            return QVariant(true);
        if (t == u"0" || t.compare(u"false", Qt::CaseInsensitive) == 0)
            return QVariant(false);
        return QVariant();
    case ValueKind::Date: {
        const QDate d = DateValue(t);
        return d.isValid() ? QVariant(d) : QVariant();
    }
    case ValueKind::Time: {
        const QTime time = TimeValue(t);
        return time.isValid() ? QVariant(time) : QVariant();
    }
    case ValueKind::Timestamp: {
        const QDate d = DateValue(t);
        const QTime time = t.size() > 11 ? TimeValue(t.mid(11)) : QTime(0, 0);
        // In UTC the fields stay as written: local time would cost a time zone lookup per value and
        // move a time that falls in a daylight saving gap.
        return d.isValid() && time.isValid() ? QVariant(QDateTime(d, time, Qt::UTC)) : QVariant();
    }
    case ValueKind::Binary: {
        const QStringView digits = t.startsWith(u"0x", Qt::CaseInsensitive) ? t.mid(2) : t;
        if (digits.size() % 2 != 0)
            return QVariant();
        if (digits.isEmpty())
            return QVariant(QByteArray());
        QByteArray bytes(digits.size() / 2, Qt::Uninitialized);
        for (qsizetype i = 0; i < digits.size(); ++i) {
            if (!IsHexDigit(digits[i]))
                return QVariant();
            const char16_t u = digits[i].unicode();
            const int nibble = u <= u'9' ? u - u'0' : (u | 0x20) - u'a' + 10;
            bytes[i / 2] = static_cast<char>(i % 2 == 0 ? nibble << 4 : bytes[i / 2] | nibble);
        }
        return QVariant(bytes);
    }
    case ValueKind::Text:
        break;
    }
    return QVariant(s.toString());
}

} // namespace qldb
