#include "platform/odbc/bulk_parameters.h"
#include "platform/odbc/ado_types.h"

#include <QDate>
#include <QDateTime>
#include <QTime>
#include <algorithm>
#include <cstring>

namespace qldb {

namespace {

bool IsNull(const QVariant& v) {
    return v.isNull() || !v.isValid();
}

template <class T> void Put(char* slot, SQLLEN& indicator, const T& value) {
    std::memcpy(slot, &value, sizeof(T));
    indicator = sizeof(T);
}

} // namespace

ParameterLayout LayoutFor(ValueKind kind, const std::vector<Row>& rows, size_t col) {
    ParameterLayout a;
    switch (kind) {
    case ValueKind::Integer:
        a.CType = SQL_C_SBIGINT, a.SqlType = SQL_BIGINT, a.ColumnSize = 19, a.Width = sizeof(qint64);
        return a;
    case ValueKind::Real:
        a.CType = SQL_C_DOUBLE, a.SqlType = SQL_DOUBLE, a.ColumnSize = 15, a.Width = sizeof(double);
        return a;
    case ValueKind::Bit:
        a.CType = SQL_C_BIT, a.SqlType = SQL_BIT, a.ColumnSize = 1, a.Width = sizeof(unsigned char);
        return a;
    case ValueKind::Date:
        a.CType = SQL_C_TYPE_DATE, a.SqlType = SQL_TYPE_DATE, a.ColumnSize = 10;
        a.Width = sizeof(SQL_DATE_STRUCT);
        return a;
    case ValueKind::Time:
        a.CType = SQL_C_TYPE_TIME, a.SqlType = SQL_TYPE_TIME, a.ColumnSize = 8;
        a.Width = sizeof(SQL_TIME_STRUCT);
        return a;
    case ValueKind::Timestamp:
        a.CType = SQL_C_TYPE_TIMESTAMP, a.SqlType = SQL_TYPE_TIMESTAMP, a.ColumnSize = 23, a.Digits = 3;
        a.Width = sizeof(SQL_TIMESTAMP_STRUCT);
        return a;
    case ValueKind::Numeric:
    case ValueKind::Text:
    case ValueKind::Binary:
        break;
    }
    // Variable widths: the widest value of the rows sets the slot size.
    qsizetype widest = 1;
    int digits = 0;
    for (const Row& row : rows) {
        const QVariant& v = row[col];
        if (IsNull(v))
            continue;
        if (kind == ValueKind::Binary) {
            widest = std::max(widest, v.toByteArray().size());
            continue;
        }
        const QString s = v.toString();
        widest = std::max(widest, s.size());
        const qsizetype dot = kind == ValueKind::Numeric ? s.indexOf(QLatin1Char('.')) : -1;
        if (dot >= 0)
            digits = std::max(digits, static_cast<int>(s.size() - dot - 1));
    }
    if (kind == ValueKind::Binary) {
        a.CType = SQL_C_BINARY, a.SqlType = widest > 8000 ? SQL_LONGVARBINARY : SQL_VARBINARY;
        a.Width = widest;
    } else if (kind == ValueKind::Numeric) {
        a.CType = SQL_C_CHAR, a.SqlType = SQL_NUMERIC, a.Width = widest + 1;
        a.Digits = static_cast<SQLSMALLINT>(digits);
        widest = std::max<qsizetype>(widest, 38);
    } else {
        a.SqlType = widest > 4000 ? SQL_WLONGVARCHAR : SQL_WVARCHAR;
        a.Width = (widest + 1) * static_cast<SQLLEN>(sizeof(char16_t));
    }
    a.ColumnSize = static_cast<SQLULEN>(widest);
    return a;
}

void PutParameter(ValueKind kind, const QVariant& v, char* slot, SQLLEN& indicator) {
    if (IsNull(v)) {
        indicator = SQL_NULL_DATA;
        return;
    }
    switch (kind) {
    case ValueKind::Integer:
        Put(slot, indicator, static_cast<qint64>(v.toLongLong()));
        return;
    case ValueKind::Real:
        Put(slot, indicator, v.toDouble());
        return;
    case ValueKind::Bit:
        Put(slot, indicator, static_cast<unsigned char>(v.toBool() ? 1 : 0));
        return;
    case ValueKind::Date: {
        const QDate d = v.toDate();
        Put(slot, indicator,
            SQL_DATE_STRUCT{static_cast<SQLSMALLINT>(d.year()), static_cast<SQLUSMALLINT>(d.month()),
                            static_cast<SQLUSMALLINT>(d.day())});
        return;
    }
    case ValueKind::Time: {
        const QTime t = v.toTime();
        Put(slot, indicator,
            SQL_TIME_STRUCT{static_cast<SQLUSMALLINT>(t.hour()), static_cast<SQLUSMALLINT>(t.minute()),
                            static_cast<SQLUSMALLINT>(t.second())});
        return;
    }
    case ValueKind::Timestamp: {
        const QDateTime dt = v.toDateTime();
        const QDate d = dt.date();
        const QTime t = dt.time();
        Put(slot, indicator,
            SQL_TIMESTAMP_STRUCT{static_cast<SQLSMALLINT>(d.year()), static_cast<SQLUSMALLINT>(d.month()),
                                 static_cast<SQLUSMALLINT>(d.day()), static_cast<SQLUSMALLINT>(t.hour()),
                                 static_cast<SQLUSMALLINT>(t.minute()), static_cast<SQLUSMALLINT>(t.second()),
                                 static_cast<SQLUINTEGER>(t.msec()) * 1000000u});
        return;
    }
    case ValueKind::Binary: {
        const QByteArray bytes = v.toByteArray();
        std::memcpy(slot, bytes.constData(), static_cast<size_t>(bytes.size()));
        indicator = bytes.size();
        return;
    }
    case ValueKind::Numeric: {
        const QByteArray text = v.toString().toLatin1();
        std::memcpy(slot, text.constData(), static_cast<size_t>(text.size()));
        slot[text.size()] = '\0';
        indicator = SQL_NTS;
        return;
    }
    case ValueKind::Text: {
        const QString text = v.toString();
        std::memcpy(slot, text.utf16(), static_cast<size_t>(text.size()) * sizeof(char16_t));
        indicator = static_cast<SQLLEN>(text.size() * sizeof(char16_t));
        return;
    }
    }
}

} // namespace qldb
