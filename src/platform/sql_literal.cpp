#include "platform/sql_literal.h"

#include "platform/conversions.h"

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QLocale>
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

bool IsWholeNumber(const QVariant& v) {
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
    if (IsWholeNumber(vValue))
        return QString::number(vValue.toLongLong());
    if (vValue.typeId() == QMetaType::Double || vValue.typeId() == QMetaType::Float)
        return DoubleText(vValue.toDouble());
    const QString text = ToText(vValue).trimmed();
    bool ok = false;
    const qlonglong whole = text.toLongLong(&ok);
    if (ok)
        return QString::number(whole);
    if (IsNumericText(text))
        return DoubleText(text.toDouble());
    return QStringLiteral("0");
}

QString BitLiteral(const QVariant& vValue, ql_eProviderType iProviderType) {
    const bool value = ToBoolean(vValue);
    if (iProviderType == ql_eProviderType::MsAccess)
        return value ? QStringLiteral("True") : QStringLiteral("False");
    return value ? QStringLiteral("1") : QStringLiteral("0");
}

// Dates and times of day are stored as CHAR(8) "yyyyMMdd" and CHAR(6) "HHmmss" texts, so they are
// quoted texts on every provider.
QString DateLiteral(const QVariant& vValue, ql_eProviderType iProviderType) {
    if (vValue.typeId() == QMetaType::QDate)
        return Quoted(vValue.toDate().toString(QStringLiteral("yyyyMMdd")), iProviderType);
    if (vValue.typeId() == QMetaType::QDateTime)
        return Quoted(vValue.toDateTime().date().toString(QStringLiteral("yyyyMMdd")), iProviderType);
    return Quoted(ToText(vValue), iProviderType);
}

QString TimeLiteral(const QVariant& vValue, ql_eProviderType iProviderType) {
    if (vValue.typeId() == QMetaType::QTime)
        return Quoted(vValue.toTime().toString(QStringLiteral("HHmmss")), iProviderType);
    if (vValue.typeId() == QMetaType::QDateTime)
        return Quoted(vValue.toDateTime().time().toString(QStringLiteral("HHmmss")), iProviderType);
    return Quoted(ToText(vValue), iProviderType);
}

// Only unambiguous forms are read: ISO 8601 and the compact forms the library writes itself. A
// day-month order depends on who typed it, so such a text is passed on for the server to judge.
QDateTime ParseDateTimeText(const QString& sText) {
    const QString text = sText.trimmed();
    static const std::array<QString, 8> kFormats = {
        QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz"),
        QStringLiteral("yyyy-MM-ddTHH:mm:ss"),
        QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"),
        QStringLiteral("yyyy-MM-dd HH:mm:ss"),
        QStringLiteral("yyyy-MM-dd"),
        QStringLiteral("yyyyMMdd HH:mm:ss"),
        QStringLiteral("yyyyMMddHHmmss"),
        QStringLiteral("yyyyMMdd"),
    };
    for (const QString& format : kFormats) {
        if (text.size() != format.size())
            continue;
        QDateTime value = QDateTime::fromString(text, format);
        if (value.isValid())
            return value;
    }
    return QDateTime();
}

QString DateTimeLiteral(const QVariant& vValue, ql_eProviderType iProviderType) {
    QDateTime value;
    if (vValue.typeId() == QMetaType::QDateTime)
        value = vValue.toDateTime();
    else if (vValue.typeId() == QMetaType::QDate)
        value = QDateTime(vValue.toDate(), QTime(0, 0));
    else if (vValue.typeId() == QMetaType::QString)
        value = ParseDateTimeText(vValue.toString());
    if (!value.isValid())
        return Quoted(ToText(vValue), iProviderType);

    const bool withMs = value.time().msec() != 0;
    switch (iProviderType) {
    case ql_eProviderType::SQLServer:
    case ql_eProviderType::SyBase:
        // The compact date is read the same way under every language and DATEFORMAT setting.
        return Quoted(value.toString(withMs ? QStringLiteral("yyyyMMdd HH:mm:ss.zzz")
                                            : QStringLiteral("yyyyMMdd HH:mm:ss")),
                      iProviderType);
    case ql_eProviderType::MsAccess:
        return QLatin1Char('#') + value.toString(QStringLiteral("MM/dd/yyyy HH:mm:ss")) + QLatin1Char('#');
    case ql_eProviderType::MySql:
        return Quoted(value.toString(withMs ? QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")
                                            : QStringLiteral("yyyy-MM-dd HH:mm:ss")),
                      iProviderType);
    case ql_eProviderType::Oracle:
        return QStringLiteral("TO_DATE('") + value.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) +
               QStringLiteral("','YYYY-MM-DD HH24:MI:SS')");
    case ql_eProviderType::FoxPro:
        return QStringLiteral("{^") + value.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) +
               QLatin1Char('}');
    case ql_eProviderType::ODBC:
        break;
    }
    return QStringLiteral("{ts '") +
           value.toString(withMs ? QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")
                                 : QStringLiteral("yyyy-MM-dd HH:mm:ss")) +
           QStringLiteral("'}");
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
    case ql_eDataType::TypeChar:
    case ql_eDataType::TypeVarChar:
    case ql_eDataType::TypeMemo:
    case ql_eDataType::TypeGUID:
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
