#include "platform/tools/sql_literal.h"

#include "platform/tools/conversions.h"

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>
#include <QTime>
#include <QUuid>

#include <array>
#include <cctype>
#include <cmath>

namespace qldb {

namespace {

QString Quoted(const QString& sText, ql_eProviderType iProviderType) {
    QString body = sText;
    // MySQL reads a backslash in a string as an escape unless the server runs with
    // NO_BACKSLASH_ESCAPES; doubling it keeps the text as written in both modes.
    if (iProviderType == ql_eProviderType::MySql)
        body.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    body.replace(QLatin1Char('\''), QLatin1String("''"));
    return QLatin1Char('\'') + body + QLatin1Char('\'');
}

// A default or value of a date, time or GUID column that the server computes: "getdate()",
// "(newid())", "CURRENT_TIMESTAMP", "dateadd(day, 1, getdate())". Such a text is SQL and must not
// be quoted. Only whole shapes count, so that a value can carry no clause of its own: one call or
// one parenthesised group that spans the whole text, with balanced parentheses and quotes and no
// statement separator, comment or subquery; or one of the niladic date functions.
bool IsSqlExpression(const QString& sText) {
    static const QRegularExpression niladic(
        QStringLiteral(R"(^(?:CURRENT_TIMESTAMP|CURRENT_DATE|CURRENT_TIME|SYSDATE)$)"),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression call(QStringLiteral(R"(^[A-Za-z_][\w.]*\s*\()"));
    static const QRegularExpression forbidden(QStringLiteral(R"(;|--|/\*|\bSELECT\b)"),
                                              QRegularExpression::CaseInsensitiveOption);
    const QString text = sText.trimmed();
    if (niladic.match(text).hasMatch())
        return true;
    const QRegularExpressionMatch head = call.match(text);
    qsizetype open = -1;
    if (head.hasMatch())
        open = head.capturedEnd() - 1;
    else if (text.startsWith(QLatin1Char('(')))
        open = 0;
    if (open < 0 || !text.endsWith(QLatin1Char(')')) || forbidden.match(text).hasMatch())
        return false;
    // The parenthesis opened at the head must close at the very end; quoted texts are skipped.
    int depth = 0;
    bool quoted = false;
    for (qsizetype k = open; k < text.size(); ++k) {
        const QChar c = text.at(k);
        if (c == QLatin1Char('\'')) {
            quoted = !quoted;
        } else if (quoted) {
            continue;
        } else if (c == QLatin1Char('(')) {
            ++depth;
        } else if (c == QLatin1Char(')') && --depth == 0) {
            return k == text.size() - 1;
        }
    }
    return false;
}

bool IsUnicodeType(ql_eDataType iFieldType) {
    return iFieldType == ql_eDataType::TypeCharUnicode || iFieldType == ql_eDataType::TypeVarCharUnicode ||
           iFieldType == ql_eDataType::TypeMemoUnicode;
}

QString TextLiteral(const QVariant& vValue, ql_eDataType iFieldType, ql_eProviderType iProviderType) {
    QString text;
    if (vValue.typeId() == QMetaType::QUuid)
        text = vValue.toUuid().toString(QUuid::WithoutBraces);
    else
        text = ToText(vValue);
    const QString literal = Quoted(text, iProviderType);
    // Without the N the server reads the literal in the database's code page and loses every
    // character outside it before the Unicode column ever sees it.
    if (IsUnicodeType(iFieldType) && iProviderType == ql_eProviderType::SQLServer)
        return QLatin1Char('N') + literal;
    return literal;
}

QString DoubleText(double value) {
    if (!std::isfinite(value))
        return QStringLiteral("0");
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

// Whatever comes in, what goes out is a number: a text that is no number becomes 0 so that a
// value can never carry SQL of its own into the statement.
QString NumberLiteral(const QVariant& vValue) {
    if (vValue.typeId() == QMetaType::Bool)
        return vValue.toBool() ? QStringLiteral("-1") : QStringLiteral("0");
    if (vValue.typeId() == QMetaType::ULongLong || vValue.typeId() == QMetaType::ULong)
        return QString::number(vValue.toULongLong());
    if (IsIntegerVariant(vValue))
        return QString::number(vValue.toLongLong());
    if (IsFloatVariant(vValue))
        return DoubleText(vValue.toDouble());
    const QString text = ToText(vValue).trimmed();
    bool ok = false;
    const qlonglong whole = text.toLongLong(&ok);
    if (ok)
        return QString::number(whole);
    // Both parsers read only the invariant form; DoubleText turns inf and nan into 0.
    const double number = text.toDouble(&ok);
    return ok ? DoubleText(number) : QStringLiteral("0");
}

QString BitLiteral(const QVariant& vValue, ql_eProviderType iProviderType) {
    const bool value = ToBoolean(vValue);
    if (iProviderType == ql_eProviderType::MsAccess)
        return value ? QStringLiteral("True") : QStringLiteral("False");
    return value ? QStringLiteral("1") : QStringLiteral("0");
}

// Calendar date and wall-clock time kept apart: a QDateTime would look up the local time zone for
// every value, and the statements carry the time as written anyway.
struct DateAndTime {
    QDate date;
    QTime time;
    bool isValid() const { return date.isValid() && time.isValid(); }
};

void AppendDigits(QString& out, int value, int width) {
    const QString digits = QString::number(value);
    for (qsizetype k = digits.size(); k < width; ++k)
        out.append(QLatin1Char('0'));
    out.append(digits);
}

// The date in the order of its parts' letters: "ymd" gives yyyy<sep>MM<sep>dd, "mdy" MM<sep>dd<sep>yyyy.
void AppendDate(QString& out, QDate date, const char* order, QLatin1String separator) {
    for (const char* part = order; *part != '\0'; ++part) {
        if (part != order)
            out.append(separator);
        if (*part == 'y')
            AppendDigits(out, date.year(), 4);
        else if (*part == 'm')
            AppendDigits(out, date.month(), 2);
        else
            AppendDigits(out, date.day(), 2);
    }
}

void AppendTime(QString& out, QTime time, QLatin1String separator, bool withMs) {
    AppendDigits(out, time.hour(), 2);
    out.append(separator);
    AppendDigits(out, time.minute(), 2);
    out.append(separator);
    AppendDigits(out, time.second(), 2);
    if (withMs) {
        out.append(QLatin1Char('.'));
        AppendDigits(out, time.msec(), 3);
    }
}

// A text that is no value of its type: an expression goes as it stands, anything else quoted for
// the server to judge.
QString TextOrExpression(const QVariant& vValue, ql_eProviderType iProviderType) {
    const QString text = ToText(vValue);
    return vValue.typeId() == QMetaType::QString && IsSqlExpression(text) ? text
                                                                          : Quoted(text, iProviderType);
}

// A GUID, as a QUuid or as text, is quoted; a text that computes one ("newid()") is not.
QString GuidLiteral(const QVariant& vValue, ql_eProviderType iProviderType) {
    if (vValue.typeId() == QMetaType::QString && IsSqlExpression(vValue.toString()))
        return vValue.toString();
    return TextLiteral(vValue, ql_eDataType::TypeGUID, iProviderType);
}

// Dates and times of day are stored as CHAR(8) "yyyyMMdd" and CHAR(6) "HHmmss" texts, so they are
// quoted texts on every provider.
QString DateLiteral(const QVariant& vValue, ql_eProviderType iProviderType) {
    QDate date;
    if (vValue.typeId() == QMetaType::QDate)
        date = vValue.toDate();
    else if (vValue.typeId() == QMetaType::QDateTime)
        date = vValue.toDateTime().date();
    if (!date.isValid())
        return TextOrExpression(vValue, iProviderType);
    QString text;
    AppendDate(text, date, "ymd", QLatin1String(""));
    return Quoted(text, iProviderType);
}

QString TimeLiteral(const QVariant& vValue, ql_eProviderType iProviderType) {
    QTime time;
    if (vValue.typeId() == QMetaType::QTime)
        time = vValue.toTime();
    else if (vValue.typeId() == QMetaType::QDateTime)
        time = vValue.toDateTime().time();
    if (!time.isValid())
        return TextOrExpression(vValue, iProviderType);
    QString text;
    AppendTime(text, time, QLatin1String(""), false);
    return Quoted(text, iProviderType);
}

// Only unambiguous forms are read: ISO 8601 and the compact forms the library writes itself. A
// day-month order depends on who typed it, so such a text is passed on for the server to judge.
// In the shapes, 9 is a digit and _ the "T" or blank between date and time. (Read by hand: the
// format parser of QDateTime costs microseconds a call, and an import formats every value.)
DateAndTime ParseDateTimeText(const QString& sText) {
    static const std::array<QLatin1String, 7> kShapes = {
        QLatin1String("9999-99-99_99:99:99.999"),
        QLatin1String("9999-99-99_99:99:99"),
        QLatin1String("9999-99-99"),
        QLatin1String("99999999 99:99:99.999"),
        QLatin1String("99999999 99:99:99"),
        QLatin1String("99999999999999"),
        QLatin1String("99999999"),
    };
    const QString text = sText.trimmed();
    for (const QLatin1String shape : kShapes) {
        if (text.size() != shape.size())
            continue;
        std::array<int, 17> digits{};
        qsizetype count = 0;
        bool fits = true;
        for (qsizetype k = 0; fits && k < shape.size(); ++k) {
            const QChar c = text.at(k);
            if (shape.at(k) == QLatin1Char('9')) {
                fits = c >= QLatin1Char('0') && c <= QLatin1Char('9');
                digits[static_cast<std::size_t>(count++)] = c.unicode() - '0';
            } else if (shape.at(k) == QLatin1Char('_')) {
                fits = c == QLatin1Char('T') || c == QLatin1Char(' ');
            } else {
                fits = c == shape.at(k);
            }
        }
        if (!fits)
            continue;
        const auto part = [&digits](std::size_t from, std::size_t length) {
            int value = 0;
            for (std::size_t k = from; k < from + length; ++k)
                value = value * 10 + digits[k];
            return value;
        };
        return DateAndTime{QDate(part(0, 4), part(4, 2), part(6, 2)),
                           QTime(part(8, 2), part(10, 2), part(12, 2), part(14, 3))};
    }
    return DateAndTime{};
}

// How one provider writes a date and time: the text around it, the order and separator of the
// date's parts, and whether milliseconds are written when there are any.
struct DateTimeForm {
    QLatin1String open;
    const char* order;
    QLatin1String dateSeparator;
    bool withMs;
    QLatin1String close;
};

DateTimeForm DateTimeFormOf(ql_eProviderType iProviderType) {
    switch (iProviderType) {
    case ql_eProviderType::SQLServer:
    case ql_eProviderType::SyBase:
        // The compact date is read the same way under every language and DATEFORMAT setting.
        return {QLatin1String("'"), "ymd", QLatin1String(""), true, QLatin1String("'")};
    case ql_eProviderType::MsAccess:
        return {QLatin1String("#"), "mdy", QLatin1String("/"), false, QLatin1String("#")};
    case ql_eProviderType::MySql:
        return {QLatin1String("'"), "ymd", QLatin1String("-"), true, QLatin1String("'")};
    case ql_eProviderType::Oracle:
        return {QLatin1String("TO_DATE('"), "ymd", QLatin1String("-"), false,
                QLatin1String("','YYYY-MM-DD HH24:MI:SS')")};
    case ql_eProviderType::FoxPro:
        return {QLatin1String("{^"), "ymd", QLatin1String("-"), false, QLatin1String("}")};
    case ql_eProviderType::ODBC:
        break;
    }
    return {QLatin1String("{ts '"), "ymd", QLatin1String("-"), true, QLatin1String("'}")};
}

QString DateTimeLiteral(const QVariant& vValue, ql_eProviderType iProviderType) {
    DateAndTime value;
    if (vValue.typeId() == QMetaType::QDateTime) {
        const QDateTime moment = vValue.toDateTime();
        value = DateAndTime{moment.date(), moment.time()};
    } else if (vValue.typeId() == QMetaType::QDate) {
        value = DateAndTime{vValue.toDate(), QTime(0, 0)};
    } else if (vValue.typeId() == QMetaType::QString) {
        value = ParseDateTimeText(vValue.toString());
    }
    if (!value.isValid())
        return TextOrExpression(vValue, iProviderType);

    const DateTimeForm form = DateTimeFormOf(iProviderType);
    QString text;
    text.reserve(64);
    text.append(form.open);
    AppendDate(text, value.date, form.order, form.dateSeparator);
    text.append(QLatin1Char(' '));
    AppendTime(text, value.time, QLatin1String(":"), form.withMs && value.time.msec() != 0);
    text.append(form.close);
    return text;
}

QByteArray BinaryBytes(const QVariant& vValue) {
    if (vValue.typeId() == QMetaType::QByteArray)
        return vValue.toByteArray();
    const QString text = ToText(vValue).trimmed();
    // A text already in hex form (as the library writes binary values into files) is taken as
    // those bytes; any other text stands for its own UTF-8 bytes.
    if (text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)) {
        const QByteArray digits = text.mid(2).toLatin1();
        bool hex = digits.size() % 2 == 0;
        for (const char c : digits)
            hex = hex && std::isxdigit(static_cast<unsigned char>(c));
        if (hex)
            return QByteArray::fromHex(digits);
    }
    return text.toUtf8();
}

QString BinaryLiteral(const QVariant& vValue, ql_eProviderType iProviderType) {
    const QString hex = QString::fromLatin1(BinaryBytes(vValue).toHex().toUpper());
    switch (iProviderType) {
    case ql_eProviderType::SQLServer:
    case ql_eProviderType::SyBase:
        return QStringLiteral("0x") + hex;
    case ql_eProviderType::MySql:
        // MySQL has no empty 0x literal; the standard form covers that one case.
        return hex.isEmpty() ? QStringLiteral("X''") : QStringLiteral("0x") + hex;
    case ql_eProviderType::Oracle:
        return QStringLiteral("HEXTORAW('") + hex + QStringLiteral("')");
    case ql_eProviderType::FoxPro:
        return QStringLiteral("0h") + hex;
    case ql_eProviderType::MsAccess:
    case ql_eProviderType::ODBC:
        break;
    }
    return QStringLiteral("X'") + hex + QLatin1Char('\'');
}

} // namespace

QString FormatSqlValue(const QVariant& vValue, ql_eDataType iFieldType, ql_eProviderType iProviderType) {
    if (IsNullOrEmpty(vValue))
        return QStringLiteral("NULL");
    switch (iFieldType) {
    case ql_eDataType::TypeInt:
    case ql_eDataType::TypeLong:
    case ql_eDataType::TypeDbl:
    case ql_eDataType::TypeCounter:
    case ql_eDataType::TypeBigCounter:
    case ql_eDataType::TypeByte:
        return NumberLiteral(vValue);
    case ql_eDataType::TypeBit:
        return BitLiteral(vValue, iProviderType);
    case ql_eDataType::TypeDate:
        return DateLiteral(vValue, iProviderType);
    case ql_eDataType::TypeTime:
        return TimeLiteral(vValue, iProviderType);
    case ql_eDataType::TypeDateTime:
        return DateTimeLiteral(vValue, iProviderType);
    case ql_eDataType::TypeBinary:
    case ql_eDataType::TypeOLEObject:
        return BinaryLiteral(vValue, iProviderType);
    case ql_eDataType::TypeSqlExpression:
        return ToText(vValue);
    case ql_eDataType::TypeGUID:
        return GuidLiteral(vValue, iProviderType);
    case ql_eDataType::TypeChar:
    case ql_eDataType::TypeVarChar:
    case ql_eDataType::TypeMemo:
    case ql_eDataType::TypeCharUnicode:
    case ql_eDataType::TypeVarCharUnicode:
    case ql_eDataType::TypeMemoUnicode:
    case ql_eDataType::TypeNotSupported:
        break;
    }
    // Text types, and any number a host passes that is no known type: a quoted text is the one
    // form that is always safe.
    return TextLiteral(vValue, iFieldType, iProviderType);
}

} // namespace qldb
