#include "platform/odbc/odbc_command.h"

#include "platform/odbc/ado_types.h"
#include "platform/tools/conversions.h"

#include <QDateTime>
#include <QStringList>
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>

namespace qldb {

namespace {

constexpr int32_t kAdCmdTable = 2;
// Output text parameters without a size get room for this many characters.
constexpr SQLULEN kDefaultOutputChars = 4000;

struct Binding {
    SQLSMALLINT CType = SQL_C_WCHAR;
    SQLSMALLINT SqlType = SQL_WVARCHAR;
    SQLULEN ColumnSize = 0;
    SQLSMALLINT Decimals = 0;
};

constexpr SQLSMALLINT Small(int value) {
    return static_cast<SQLSMALLINT>(value);
}

template <class T> void Store(OdbcParameterBuffer& buffer, const T& value) {
    buffer.Data.resize(sizeof(T));
    std::memcpy(buffer.Data.data(), &value, sizeof(T));
    buffer.Indicator = sizeof(T);
}

void StoreText(OdbcParameterBuffer& buffer, const QString& text) {
    const auto bytes = static_cast<size_t>(text.size()) * sizeof(SQLWCHAR);
    buffer.Data.resize(bytes + sizeof(SQLWCHAR), 0);
    std::memcpy(buffer.Data.data(), text.utf16(), bytes);
    buffer.Indicator = static_cast<SQLLEN>(bytes);
}

// The ADO type that a variant of no declared type stands for.
int32_t TypeOfValue(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Bool:
        return ado::adBoolean;
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::UChar:
    case QMetaType::SChar:
        return ado::adInteger;
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Long:
    case QMetaType::ULong:
        return ado::adBigInt;
    case QMetaType::Float:
        return ado::adSingle;
    case QMetaType::Double:
        return ado::adDouble;
    case QMetaType::QDate:
        return ado::adDBDate;
    case QMetaType::QTime:
        return ado::adDBTime;
    case QMetaType::QDateTime:
        return ado::adDBTimeStamp;
    case QMetaType::QByteArray:
        return ado::adVarBinary;
    default:
        return ado::adVarWChar;
    }
}

// Decimal text as the driver reads it: digits with a point, never an exponent.
QString DecimalText(const QVariant& value) {
    if (!IsFloatVariant(value))
        return value.toString().trimmed();
    QString text = QString::number(value.toDouble(), 'f', 10);
    while (text.contains(QLatin1Char('.')) &&
           (text.endsWith(QLatin1Char('0')) || text.endsWith(QLatin1Char('.'))))
        text.chop(1);
    return text;
}

// Fills the buffer with the value and says how the driver is to read it.
Binding Prepare(const Parameter& parameter, OdbcParameterBuffer& buffer) {
    const QVariant& value = parameter.Value;
    const bool isNull = IsNullOrEmpty(value);
    int32_t type = parameter.Type;
    if (type == ado::adEmpty || type == ado::adVariant)
        type = isNull ? ado::adVarWChar : TypeOfValue(value);

    Binding b;
    switch (type) {
    case ado::adBoolean:
        b = {SQL_C_BIT, SQL_BIT, 1, 0};
        Store(buffer, static_cast<unsigned char>(!isNull && ToBoolean(value) ? 1 : 0));
        break;
    case ado::adTinyInt:
    case ado::adUnsignedTinyInt:
    case ado::adSmallInt:
    case ado::adInteger:
        b = {SQL_C_SLONG,
             Small(type == ado::adInteger ? SQL_INTEGER
                                          : (type == ado::adSmallInt ? SQL_SMALLINT : SQL_TINYINT)),
             10, 0};
        Store(buffer, static_cast<SQLINTEGER>(isNull ? 0 : value.toLongLong()));
        break;
    case ado::adBigInt:
        b = {SQL_C_SBIGINT, SQL_BIGINT, 19, 0};
        Store(buffer, static_cast<SQLBIGINT>(isNull ? 0 : value.toLongLong()));
        break;
    case ado::adSingle:
    case ado::adDouble:
        b = {SQL_C_DOUBLE, Small(type == ado::adSingle ? SQL_REAL : SQL_DOUBLE), 15, 0};
        Store(buffer, static_cast<SQLDOUBLE>(isNull ? 0.0 : value.toDouble()));
        break;
    case ado::adCurrency:
    case ado::adDecimal:
    case ado::adNumeric: {
        const QString text = isNull ? QStringLiteral("0") : DecimalText(value);
        const qsizetype point = text.indexOf(QLatin1Char('.'));
        const auto decimals = static_cast<SQLSMALLINT>(point < 0 ? 0 : text.size() - point - 1);
        qsizetype digits = 0;
        for (const QChar c : text)
            digits += c.isDigit() ? 1 : 0;
        b = {SQL_C_WCHAR, Small(type == ado::adNumeric ? SQL_NUMERIC : SQL_DECIMAL),
             static_cast<SQLULEN>(std::clamp<qsizetype>(std::max<qsizetype>(digits, decimals + 1), 1, 38)),
             decimals};
        if (type == ado::adCurrency)
            b.ColumnSize = std::max<SQLULEN>(b.ColumnSize, 19);
        StoreText(buffer, text);
        break;
    }
    case ado::adDate:
    case ado::adDBTimeStamp: {
        b = {SQL_C_TYPE_TIMESTAMP, SQL_TYPE_TIMESTAMP, 23, 3};
        const QDateTime dt = value.toDateTime();
        SQL_TIMESTAMP_STRUCT ts{};
        if (!isNull && dt.isValid()) {
            ts.year = static_cast<SQLSMALLINT>(dt.date().year());
            ts.month = static_cast<SQLUSMALLINT>(dt.date().month());
            ts.day = static_cast<SQLUSMALLINT>(dt.date().day());
            ts.hour = static_cast<SQLUSMALLINT>(dt.time().hour());
            ts.minute = static_cast<SQLUSMALLINT>(dt.time().minute());
            ts.second = static_cast<SQLUSMALLINT>(dt.time().second());
            ts.fraction = static_cast<SQLUINTEGER>(dt.time().msec()) * 1000000u;
        }
        Store(buffer, ts);
        break;
    }
    case ado::adDBDate: {
        b = {SQL_C_TYPE_DATE, SQL_TYPE_DATE, 10, 0};
        const QDate d = value.toDate();
        SQL_DATE_STRUCT ds{};
        if (!isNull && d.isValid()) {
            ds.year = static_cast<SQLSMALLINT>(d.year());
            ds.month = static_cast<SQLUSMALLINT>(d.month());
            ds.day = static_cast<SQLUSMALLINT>(d.day());
        }
        Store(buffer, ds);
        break;
    }
    case ado::adDBTime: {
        b = {SQL_C_TYPE_TIME, SQL_TYPE_TIME, 8, 0};
        const QTime t = value.typeId() == QMetaType::QDateTime ? value.toDateTime().time() : value.toTime();
        SQL_TIME_STRUCT ts{};
        if (!isNull && t.isValid()) {
            ts.hour = static_cast<SQLUSMALLINT>(t.hour());
            ts.minute = static_cast<SQLUSMALLINT>(t.minute());
            ts.second = static_cast<SQLUSMALLINT>(t.second());
        }
        Store(buffer, ts);
        break;
    }
    case ado::adBinary:
    case ado::adVarBinary:
    case ado::adLongVarBinary: {
        const QByteArray bytes = isNull ? QByteArray() : value.toByteArray();
        b = {SQL_C_BINARY, Small(type == ado::adLongVarBinary ? SQL_LONGVARBINARY : SQL_VARBINARY),
             static_cast<SQLULEN>(std::max<qsizetype>({bytes.size(), parameter.Size, 1})), 0};
        buffer.Data.assign(bytes.begin(), bytes.end());
        buffer.Data.resize(std::max<size_t>(buffer.Data.size(), 1));
        buffer.Indicator = bytes.size();
        break;
    }
    default: {
        // Text of every kind goes through the wide API; the driver converts for narrow columns.
        const QString text = isNull ? QString() : ToText(value);
        const bool isLong = type == ado::adLongVarWChar || type == ado::adLongVarChar;
        const bool isNarrow = type == ado::adChar || type == ado::adVarChar || type == ado::adLongVarChar;
        b.CType = SQL_C_WCHAR;
        b.SqlType = Small(isLong ? (isNarrow ? SQL_LONGVARCHAR : SQL_WLONGVARCHAR)
                                 : (isNarrow ? SQL_VARCHAR : SQL_WVARCHAR));
        b.ColumnSize = static_cast<SQLULEN>(std::max<qsizetype>({text.size(), parameter.Size, 1}));
        StoreText(buffer, text);
        break;
    }
    }
    if (isNull)
        buffer.Indicator = SQL_NULL_DATA;
    return b;
}

SQLSMALLINT OdbcDirection(int32_t direction) {
    switch (direction) {
    case ado::adParamOutput:
        return SQL_PARAM_OUTPUT;
    case ado::adParamInputOutput:
        return SQL_PARAM_INPUT_OUTPUT;
    default:
        return SQL_PARAM_INPUT;
    }
}

bool Passed(const Parameter& parameter) {
    return parameter.Direction != ado::adParamReturnValue;
}

void NameParameter(SQLHSTMT stmt, SQLUSMALLINT number, const QString& name) {
    SQLHDESC ipd = SQL_NULL_HDESC;
    if (!SQL_SUCCEEDED(SQLGetStmtAttr(stmt, SQL_ATTR_IMP_PARAM_DESC, &ipd, 0, nullptr)))
        return;
    // Drivers that know no parameter names refuse these; the parameter then goes by position,
    // which is the order the caller appended them in.
    if (SQL_SUCCEEDED(SQLSetDescFieldW(ipd, static_cast<SQLSMALLINT>(number), SQL_DESC_NAME, ToSqlWChar(name),
                                       SQL_NTS)))
        SQLSetDescFieldW(ipd, static_cast<SQLSMALLINT>(number), SQL_DESC_UNNAMED,
                         reinterpret_cast<SQLPOINTER>(static_cast<SQLLEN>(SQL_NAMED)), 0);
}

} // namespace

QString OdbcCommandText(const Command& command) {
    if (command.CommandType == kAdCmdTable)
        return QStringLiteral("SELECT * FROM ") + command.CommandText;
    if (command.CommandType != ado::adCmdStoredProc ||
        command.CommandText.trimmed().startsWith(QLatin1Char('{')))
        return command.CommandText;
    QStringList markers;
    for (const Parameter& parameter : command.Parameters)
        if (Passed(parameter))
            markers << QStringLiteral("?");
    return QStringLiteral("{call %1(%2)}").arg(command.CommandText.trimmed(), markers.join(QLatin1Char(',')));
}

void BindOdbcParameters(SQLHSTMT stmt, const std::vector<Parameter>& parameters, bool named,
                        OdbcParameterBuffers& buffers, const OdbcCallSite& site) {
    SQLUSMALLINT number = 0;
    for (const Parameter& parameter : parameters) {
        if (!Passed(parameter))
            continue;
        ++number;
        OdbcParameterBuffer& buffer = buffers.emplace_back();
        const Binding b = Prepare(parameter, buffer);
        const SQLSMALLINT direction = OdbcDirection(parameter.Direction);
        if (direction != SQL_PARAM_INPUT && b.CType == SQL_C_WCHAR) {
            // Room for what the procedure writes back, which is then dropped.
            const size_t room = (std::max<SQLULEN>(b.ColumnSize, kDefaultOutputChars) + 1) * sizeof(SQLWCHAR);
            buffer.Data.resize(std::max(buffer.Data.size(), room), 0);
        }
        OdbcCheck(SQLBindParameter(stmt, number, direction, b.CType, b.SqlType, b.ColumnSize, b.Decimals,
                                   buffer.Data.data(), static_cast<SQLLEN>(buffer.Data.size()),
                                   &buffer.Indicator),
                  SQL_HANDLE_STMT, stmt, site);
        if (named && !parameter.Name.isEmpty())
            NameParameter(stmt, number, parameter.Name);
    }
}

void SetOdbcQueryTimeout(SQLHSTMT stmt, int32_t seconds, const OdbcCallSite& site) {
    if (seconds <= 0)
        return;
    OdbcCheck(SQLSetStmtAttr(stmt, SQL_ATTR_QUERY_TIMEOUT,
                             reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(seconds)), 0),
              SQL_HANDLE_STMT, stmt, site);
}

} // namespace qldb

namespace qldb {

struct OdbcTimeoutWatch::State {
    std::mutex mutex;
    std::condition_variable wake;
    bool stopped = false;
    bool fired = false;
};

OdbcTimeoutWatch::OdbcTimeoutWatch(SQLHSTMT stmt, int32_t seconds) {
    if (seconds <= 0)
        return;
    m_state = std::make_shared<State>();
    m_thread = std::thread([state = m_state, stmt, seconds] {
        std::unique_lock lock(state->mutex);
        if (state->wake.wait_for(lock, std::chrono::seconds(seconds), [&] { return state->stopped; }))
            return;
        // Cancelled under the lock, so that stop() cannot return while the cancel is under way.
        state->fired = true;
        SQLCancel(stmt);
    });
}

OdbcTimeoutWatch::~OdbcTimeoutWatch() {
    stop();
}

bool OdbcTimeoutWatch::stop() {
    if (!m_state)
        return false;
    {
        std::lock_guard lock(m_state->mutex);
        m_state->stopped = true;
    }
    m_state->wake.notify_all();
    if (m_thread.joinable())
        m_thread.join();
    return m_state->fired;
}

void ThrowOdbcTimeout(const OdbcCallSite& site) {
    ErrorRecord record;
    record.Number = kErrTimeout;
    record.Source = site.Source;
    record.Description = QStringLiteral("Query timeout expired");
    record.SqlState = QStringLiteral("HYT00");
    record.Statement = site.Statement;
    if (site.LastErrors != nullptr)
        *site.LastErrors = {record};
    throw qlException(std::move(record));
}

} // namespace qldb
