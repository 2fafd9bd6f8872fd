#include "platform/odbc/odbc_fetch.h"

#include "platform/odbc/ado_types.h"
#include "platform/tools/conversions.h"

#include <QDateTime>
#include <limits>

namespace qldb {

namespace {

// FreeTDS's type number for sql_variant columns.
constexpr SQLSMALLINT kSqlVariant = -150;

enum class Reader { Text, Binary, Int, BigInt, Float, Double, Decimal, Bit, Date, Time, Timestamp };

struct Column {
    FieldInfo Info;
    Reader Read = Reader::Text;
    SQLSMALLINT Decimals = 0;
};

Reader ReaderOf(SQLSMALLINT sqlType, bool isUnsigned) {
    switch (sqlType) {
    case SQL_SMALLINT:
    case SQL_TINYINT:
        return Reader::Int;
    case SQL_INTEGER:
        // An unsigned 32-bit number does not fit an int.
        return isUnsigned ? Reader::BigInt : Reader::Int;
    case SQL_BIGINT:
        return Reader::BigInt;
    case SQL_REAL:
        return Reader::Float;
    case SQL_FLOAT:
    case SQL_DOUBLE:
        return Reader::Double;
    case SQL_DECIMAL:
    case SQL_NUMERIC:
        return Reader::Decimal;
    case SQL_BIT:
        return Reader::Bit;
    case SQL_TYPE_DATE:
    case SQL_DATE:
        return Reader::Date;
    case SQL_TYPE_TIME:
    case SQL_TIME:
        return Reader::Time;
    case SQL_TYPE_TIMESTAMP:
    case SQL_TIMESTAMP:
        return Reader::Timestamp;
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY:
        return Reader::Binary;
    default:
        // Text, GUIDs, sql_variant and whatever else a driver has: read as the driver writes it.
        return Reader::Text;
    }
}

QString ColumnText(SQLHSTMT stmt, SQLUSMALLINT column, SQLUSMALLINT field, const OdbcCallSite& site) {
    SQLWCHAR buffer[256];
    SQLSMALLINT length = 0;
    OdbcCheck(SQLColAttributeW(stmt, column, field, buffer, sizeof buffer, &length, nullptr), SQL_HANDLE_STMT,
              stmt, site);
    const auto chars = std::min<qsizetype>(length / static_cast<SQLSMALLINT>(sizeof(SQLWCHAR)), 255);
    return FromSqlWChar(buffer, std::max<qsizetype>(chars, 0));
}

std::vector<Column> DescribeColumns(SQLHSTMT stmt, SQLSMALLINT count, const OdbcCallSite& site) {
    std::vector<Column> columns(static_cast<size_t>(count));
    for (SQLUSMALLINT c = 1; c <= static_cast<SQLUSMALLINT>(count); ++c) {
        std::vector<SQLWCHAR> name(256);
        SQLSMALLINT nameLength = 0, sqlType = 0, decimals = 0, nullable = 0;
        SQLULEN size = 0;
        OdbcCheck(SQLDescribeColW(stmt, c, name.data(), static_cast<SQLSMALLINT>(name.size()), &nameLength,
                                  &sqlType, &size, &decimals, &nullable),
                  SQL_HANDLE_STMT, stmt, site);
        if (nameLength >= static_cast<SQLSMALLINT>(name.size())) {
            name.resize(static_cast<size_t>(nameLength) + 1);
            OdbcCheck(SQLDescribeColW(stmt, c, name.data(), static_cast<SQLSMALLINT>(name.size()),
                                      &nameLength, &sqlType, &size, &decimals, &nullable),
                      SQL_HANDLE_STMT, stmt, site);
        }
        SQLLEN isUnsigned = SQL_FALSE;
        if (sqlType == SQL_TINYINT || sqlType == SQL_INTEGER)
            OdbcCheck(SQLColAttributeW(stmt, c, SQL_DESC_UNSIGNED, nullptr, 0, nullptr, &isUnsigned),
                      SQL_HANDLE_STMT, stmt, site);
        QString typeName;
        if (sqlType == SQL_DECIMAL || sqlType == SQL_NUMERIC)
            typeName = ColumnText(stmt, c, SQL_DESC_TYPE_NAME, site);

        Column& column = columns[c - 1];
        column.Info.Name = FromSqlWChar(name.data(), nameLength);
        column.Info.Type = AdoTypeOfSqlType(sqlType, isUnsigned == SQL_TRUE, typeName);
        column.Info.DefinedSize = AdoDefinedSize(column.Info.Type, size);
        column.Read = ReaderOf(sqlType, isUnsigned == SQL_TRUE);
        column.Decimals = decimals;
    }
    return columns;
}

// Longer values are read in pieces of this size.
constexpr size_t kTextBufferChars = 2048;
constexpr size_t kBinaryBufferBytes = 8192;

// Reads one cell. The buffers are the statement's, reused from cell to cell, so that a cell costs
// no allocation beyond its value.
class CellReader {
public:
    CellReader(SQLHSTMT stmt, const OdbcCallSite& site) : m_stmt(stmt), m_site(site) {}

    QVariant read(SQLUSMALLINT column, const Column& info) {
        switch (info.Read) {
        case Reader::Text:
            return readText(column);
        case Reader::Binary:
            return readBinary(column);
        case Reader::Int: {
            SQLINTEGER value = 0;
            return get(column, SQL_C_SLONG, &value, sizeof value) ? QVariant(static_cast<int>(value))
                                                                  : NullVariant();
        }
        case Reader::BigInt: {
            SQLBIGINT value = 0;
            return get(column, SQL_C_SBIGINT, &value, sizeof value) ? QVariant(static_cast<qlonglong>(value))
                                                                    : NullVariant();
        }
        case Reader::Float: {
            SQLREAL value = 0;
            return get(column, SQL_C_FLOAT, &value, sizeof value) ? QVariant(static_cast<float>(value))
                                                                  : NullVariant();
        }
        case Reader::Double: {
            SQLDOUBLE value = 0;
            return get(column, SQL_C_DOUBLE, &value, sizeof value) ? QVariant(static_cast<double>(value))
                                                                   : NullVariant();
        }
        case Reader::Decimal:
            return readDecimal(column, info.Decimals);
        case Reader::Bit: {
            unsigned char value = 0;
            return get(column, SQL_C_BIT, &value, sizeof value) ? QVariant(value != 0) : NullVariant();
        }
        case Reader::Date: {
            SQL_DATE_STRUCT d{};
            if (!get(column, SQL_C_TYPE_DATE, &d, sizeof d))
                return NullVariant();
            const QDate date(d.year, d.month, d.day);
            // A zero date (MariaDB's 0000-00-00) has no value.
            return date.isValid() ? QVariant(date) : NullVariant();
        }
        case Reader::Time: {
            SQL_TIME_STRUCT t{};
            if (!get(column, SQL_C_TYPE_TIME, &t, sizeof t))
                return NullVariant();
            return QVariant(QTime(t.hour, t.minute, t.second));
        }
        case Reader::Timestamp: {
            SQL_TIMESTAMP_STRUCT ts{};
            if (!get(column, SQL_C_TYPE_TIMESTAMP, &ts, sizeof ts))
                return NullVariant();
            const QDate date(ts.year, ts.month, ts.day);
            if (!date.isValid())
                return NullVariant();
            return QVariant(QDateTime(
                date, QTime(ts.hour, ts.minute, ts.second, static_cast<int>(ts.fraction / 1000000))));
        }
        }
        return NullVariant();
    }

private:
    // False for NULL.
    bool get(SQLUSMALLINT column, SQLSMALLINT cType, void* target, SQLLEN size) {
        SQLLEN indicator = 0;
        OdbcCheck(SQLGetData(m_stmt, column, cType, target, size, &indicator), SQL_HANDLE_STMT, m_stmt,
                  m_site);
        return indicator != SQL_NULL_DATA;
    }

    QVariant readText(SQLUSMALLINT column) {
        if (m_text.empty())
            m_text.resize(kTextBufferChars);
        const auto bufferBytes = static_cast<SQLLEN>(m_text.size() * sizeof(SQLWCHAR));
        QString value;
        for (bool first = true;; first = false) {
            SQLLEN indicator = 0;
            const SQLRETURN rc =
                OdbcCheck(SQLGetData(m_stmt, column, SQL_C_WCHAR, m_text.data(), bufferBytes, &indicator),
                          SQL_HANDLE_STMT, m_stmt, m_site);
            if (rc == SQL_NO_DATA)
                break;
            if (indicator == SQL_NULL_DATA)
                return NullVariant();
            // A longer text arrives in pieces; each full piece ends with the terminator.
            const bool partial = indicator == SQL_NO_TOTAL || indicator >= bufferBytes;
            const qsizetype chars =
                partial ? static_cast<qsizetype>(m_text.size()) - 1
                        : static_cast<qsizetype>(indicator / static_cast<SQLLEN>(sizeof(SQLWCHAR)));
            if (first && !partial)
                return QVariant(FromSqlWChar(m_text.data(), chars));
            value += FromSqlWChar(m_text.data(), chars);
            if (!partial)
                break;
        }
        return QVariant(value);
    }

    QVariant readBinary(SQLUSMALLINT column) {
        if (m_bytes.empty())
            m_bytes.resize(kBinaryBufferBytes);
        const auto bufferBytes = static_cast<SQLLEN>(m_bytes.size());
        QByteArray value;
        for (;;) {
            SQLLEN indicator = 0;
            const SQLRETURN rc =
                OdbcCheck(SQLGetData(m_stmt, column, SQL_C_BINARY, m_bytes.data(), bufferBytes, &indicator),
                          SQL_HANDLE_STMT, m_stmt, m_site);
            if (rc == SQL_NO_DATA)
                break;
            if (indicator == SQL_NULL_DATA)
                return NullVariant();
            const bool partial = indicator == SQL_NO_TOTAL || indicator > bufferBytes;
            value.append(m_bytes.data(), partial ? bufferBytes : indicator);
            if (!partial)
                break;
        }
        return QVariant(value);
    }

    // Decimals come as text, so that no driver rounds them on the way: whole numbers become
    // 64-bit integers, others doubles.
    QVariant readDecimal(SQLUSMALLINT column, SQLSMALLINT decimals) {
        char text[80];
        SQLLEN indicator = 0;
        OdbcCheck(SQLGetData(m_stmt, column, SQL_C_CHAR, text, sizeof text, &indicator), SQL_HANDLE_STMT,
                  m_stmt, m_site);
        if (indicator == SQL_NULL_DATA)
            return NullVariant();
        const QByteArray digits(text, static_cast<qsizetype>(std::min<SQLLEN>(indicator, sizeof text - 1)));
        bool ok = false;
        if (decimals == 0 && !digits.contains('.')) {
            const qlonglong whole = digits.toLongLong(&ok);
            if (ok)
                return QVariant(whole);
        }
        const double number = digits.toDouble(&ok);
        return ok ? QVariant(number) : QVariant(QString::fromLatin1(digits));
    }

    SQLHSTMT m_stmt;
    const OdbcCallSite& m_site;
    std::vector<SQLWCHAR> m_text;
    std::vector<char> m_bytes;
};

std::shared_ptr<Recordset> FetchRows(SQLHSTMT stmt, SQLSMALLINT columnCount, const OdbcCallSite& site) {
    const std::vector<Column> columns = DescribeColumns(stmt, columnCount, site);
    CellReader reader(stmt, site);
    std::vector<Row> rows;
    while (OdbcCheck(SQLFetch(stmt), SQL_HANDLE_STMT, stmt, site) != SQL_NO_DATA) {
        Row& row = rows.emplace_back(columns.size());
        for (size_t c = 0; c < columns.size(); ++c)
            row[c] = reader.read(static_cast<SQLUSMALLINT>(c + 1), columns[c]);
    }
    std::vector<FieldInfo> fields;
    fields.reserve(columns.size());
    for (const Column& column : columns)
        fields.push_back(column.Info);
    return std::make_shared<Recordset>(std::move(fields), std::move(rows));
}

} // namespace

int32_t AdoTypeOfSqlType(SQLSMALLINT sqlType, bool isUnsigned, const QString& typeName) {
    switch (sqlType) {
    case SQL_CHAR:
        return ado::adChar;
    case SQL_VARCHAR:
        return ado::adVarChar;
    case SQL_LONGVARCHAR:
        return ado::adLongVarChar;
    case SQL_WCHAR:
        return ado::adWChar;
    case SQL_WVARCHAR:
        return ado::adVarWChar;
    case SQL_WLONGVARCHAR:
        return ado::adLongVarWChar;
    case SQL_DECIMAL:
    case SQL_NUMERIC:
        return typeName.contains(QLatin1String("money"), Qt::CaseInsensitive) ? ado::adCurrency
                                                                              : ado::adNumeric;
    case SQL_SMALLINT:
        return ado::adSmallInt;
    case SQL_INTEGER:
        return ado::adInteger;
    case SQL_TINYINT:
        return isUnsigned ? ado::adUnsignedTinyInt : ado::adTinyInt;
    case SQL_BIGINT:
        return ado::adBigInt;
    case SQL_REAL:
        return ado::adSingle;
    case SQL_FLOAT:
    case SQL_DOUBLE:
        return ado::adDouble;
    case SQL_BIT:
        return ado::adBoolean;
    case SQL_TYPE_DATE:
    case SQL_DATE:
        return ado::adDBDate;
    case SQL_TYPE_TIME:
    case SQL_TIME:
        return ado::adDBTime;
    case SQL_TYPE_TIMESTAMP:
    case SQL_TIMESTAMP:
        return ado::adDBTimeStamp;
    case SQL_BINARY:
        return ado::adBinary;
    case SQL_VARBINARY:
        return ado::adVarBinary;
    case SQL_LONGVARBINARY:
        return ado::adLongVarBinary;
    case SQL_GUID:
        return ado::adGUID;
    case kSqlVariant:
        return ado::adVariant;
    default:
        return ado::adVarWChar;
    }
}

int32_t AdoDefinedSize(int32_t adoType, SQLULEN columnSize) {
    switch (adoType) {
    case ado::adTinyInt:
    case ado::adUnsignedTinyInt:
        return 1;
    case ado::adSmallInt:
    case ado::adBoolean:
        return 2;
    case ado::adInteger:
    case ado::adSingle:
        return 4;
    case ado::adBigInt:
    case ado::adDouble:
    case ado::adCurrency:
        return 8;
    case ado::adNumeric:
        return 19;
    case ado::adDBDate:
    case ado::adDBTime:
        return 6;
    case ado::adDBTimeStamp:
    case ado::adGUID:
        return 16;
    case ado::adVariant:
        return 8016;
    default:
        return static_cast<int32_t>(std::min<SQLULEN>(columnSize, std::numeric_limits<int32_t>::max()));
    }
}

std::shared_ptr<Recordset> FetchFirstRowset(SQLHSTMT stmt, SQLRETURN execResult, const OdbcCallSite& site) {
    // A statement that changed no rows answers "no data" and may still have results after it.
    bool hasResult = execResult != SQL_NO_DATA;
    for (;;) {
        if (hasResult) {
            SQLSMALLINT columnCount = 0;
            OdbcCheck(SQLNumResultCols(stmt, &columnCount), SQL_HANDLE_STMT, stmt, site);
            if (columnCount > 0) {
                auto rs = FetchRows(stmt, columnCount, site);
                SQLFreeStmt(stmt, SQL_CLOSE);
                return rs;
            }
        }
        if (OdbcCheck(SQLMoreResults(stmt), SQL_HANDLE_STMT, stmt, site) == SQL_NO_DATA)
            return std::make_shared<Recordset>();
        hasResult = true;
    }
}

void DrainResults(SQLHSTMT stmt, SQLRETURN, const OdbcCallSite& site) {
    while (OdbcCheck(SQLMoreResults(stmt), SQL_HANDLE_STMT, stmt, site) != SQL_NO_DATA) {
    }
}

} // namespace qldb
