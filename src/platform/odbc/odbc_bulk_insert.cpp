// The bulk insert over ODBC: one prepared INSERT, its parameters bound column-wise as arrays of
// a whole batch, executed once per batch. A batch the database refuses is rolled back and tried
// again row by row, so that only the bad rows stay out and each gets its own message.
#include "platform/odbc/bulk_insert.h"
#include "platform/odbc/odbc_connection.h"
#include "platform/odbc/odbc_diagnostics.h"
#include "platform/odbc/odbc_handle.h"

#include <QDate>
#include <QDateTime>
#include <QTime>
#include <algorithm>
#include <cstring>

namespace qldb {

namespace {

const QString kSource = QStringLiteral("BulkInsert");

enum class BindKind { Int64, Double, Numeric, Bit, Date, Time, Timestamp, Binary, Text };

BindKind KindOf(int32_t adoType) {
    switch (adoType) {
    case ado::adSmallInt:
    case ado::adInteger:
    case ado::adTinyInt:
    case ado::adUnsignedTinyInt:
    case 18: // unsigned small, unsigned, unsigned big integers
    case 19:
    case ado::adBigInt:
    case 21:
        return BindKind::Int64;
    case ado::adSingle:
    case ado::adDouble:
    case ado::adCurrency:
        return BindKind::Double;
    case ado::adDecimal:
    case ado::adNumeric:
    case 139: // variable numeric
        return BindKind::Numeric;
    case ado::adBoolean:
        return BindKind::Bit;
    case ado::adDBDate:
        return BindKind::Date;
    case ado::adDBTime:
        return BindKind::Time;
    case ado::adDate:
    case ado::adDBTimeStamp:
        return BindKind::Timestamp;
    case ado::adBinary:
    case ado::adVarBinary:
    case ado::adLongVarBinary:
        return BindKind::Binary;
    default:
        return BindKind::Text;
    }
}

QString InsertText(const QString& sTable, const std::vector<BulkInsertColumn>& columns) {
    QStringList names;
    QStringList markers;
    for (const BulkInsertColumn& c : columns) {
        names << c.Name;
        markers << QStringLiteral("?");
    }
    return QStringLiteral("INSERT INTO ") + sTable + QStringLiteral(" (") + names.join(QLatin1Char(',')) +
           QStringLiteral(") VALUES (") + markers.join(QLatin1Char(',')) + QLatin1Char(')');
}

// One column's values for the rows of one execution, laid out as ODBC reads a bound array.
struct ColumnArray {
    SQLSMALLINT CType = SQL_C_WCHAR;
    SQLSMALLINT SqlType = SQL_WVARCHAR;
    SQLULEN ColumnSize = 1;
    SQLSMALLINT Digits = 0;
    SQLLEN Width = 0; // bytes per element
    std::vector<char> Data;
    std::vector<SQLLEN> Indicators;
};

template <class T> void Put(ColumnArray& a, size_t i, const T& value) {
    std::memcpy(a.Data.data() + i * static_cast<size_t>(a.Width), &value, sizeof(T));
    a.Indicators[i] = sizeof(T);
}

ColumnArray FillColumn(BindKind kind, const std::vector<Row>& rows, size_t first, size_t count, size_t col) {
    ColumnArray a;
    a.Indicators.assign(count, SQL_NULL_DATA);
    auto valueAt = [&](size_t i) -> const QVariant& { return rows[first + i][col]; };
    auto isNull = [&](size_t i) { return valueAt(i).isNull() || !valueAt(i).isValid(); };
    switch (kind) {
    case BindKind::Int64:
        a.CType = SQL_C_SBIGINT, a.SqlType = SQL_BIGINT, a.ColumnSize = 19, a.Width = sizeof(qint64);
        break;
    case BindKind::Double:
        a.CType = SQL_C_DOUBLE, a.SqlType = SQL_DOUBLE, a.ColumnSize = 15, a.Width = sizeof(double);
        break;
    case BindKind::Bit:
        a.CType = SQL_C_BIT, a.SqlType = SQL_BIT, a.ColumnSize = 1, a.Width = sizeof(unsigned char);
        break;
    case BindKind::Date:
        a.CType = SQL_C_TYPE_DATE, a.SqlType = SQL_TYPE_DATE, a.ColumnSize = 10,
        a.Width = sizeof(SQL_DATE_STRUCT);
        break;
    case BindKind::Time:
        a.CType = SQL_C_TYPE_TIME, a.SqlType = SQL_TYPE_TIME, a.ColumnSize = 8,
        a.Width = sizeof(SQL_TIME_STRUCT);
        break;
    case BindKind::Timestamp:
        a.CType = SQL_C_TYPE_TIMESTAMP, a.SqlType = SQL_TYPE_TIMESTAMP, a.ColumnSize = 23, a.Digits = 3;
        a.Width = sizeof(SQL_TIMESTAMP_STRUCT);
        break;
    case BindKind::Numeric:
    case BindKind::Text:
    case BindKind::Binary: {
        // Variable widths: the widest value of the batch sets the element size.
        qsizetype widest = 1;
        for (size_t i = 0; i < count; ++i) {
            if (isNull(i))
                continue;
            const QVariant& v = valueAt(i);
            const qsizetype n = kind == BindKind::Binary ? v.toByteArray().size() : v.toString().size();
            widest = std::max(widest, n);
        }
        if (kind == BindKind::Binary) {
            a.CType = SQL_C_BINARY, a.SqlType = widest > 8000 ? SQL_LONGVARBINARY : SQL_VARBINARY;
            a.Width = widest;
        } else if (kind == BindKind::Numeric) {
            a.CType = SQL_C_CHAR, a.SqlType = SQL_NUMERIC, a.Width = widest + 1;
            int digits = 0;
            for (size_t i = 0; i < count; ++i) {
                const QString s = isNull(i) ? QString() : valueAt(i).toString();
                const qsizetype dot = s.indexOf(QLatin1Char('.'));
                if (dot >= 0)
                    digits = std::max(digits, static_cast<int>(s.size() - dot - 1));
            }
            a.Digits = static_cast<SQLSMALLINT>(digits);
            widest = std::max<qsizetype>(widest, 38);
        } else {
            a.SqlType = widest > 4000 ? SQL_WLONGVARCHAR : SQL_WVARCHAR;
            a.Width = (widest + 1) * static_cast<SQLLEN>(sizeof(char16_t));
        }
        a.ColumnSize = static_cast<SQLULEN>(widest);
        break;
    }
    }
    a.Data.assign(count * static_cast<size_t>(a.Width), 0);
    for (size_t i = 0; i < count; ++i) {
        if (isNull(i))
            continue;
        const QVariant& v = valueAt(i);
        char* slot = a.Data.data() + i * static_cast<size_t>(a.Width);
        switch (kind) {
        case BindKind::Int64:
            Put(a, i, static_cast<qint64>(v.toLongLong()));
            break;
        case BindKind::Double:
            Put(a, i, v.toDouble());
            break;
        case BindKind::Bit:
            Put(a, i, static_cast<unsigned char>(v.toBool() ? 1 : 0));
            break;
        case BindKind::Date: {
            const QDate d = v.toDate();
            Put(a, i,
                SQL_DATE_STRUCT{static_cast<SQLSMALLINT>(d.year()), static_cast<SQLUSMALLINT>(d.month()),
                                static_cast<SQLUSMALLINT>(d.day())});
            break;
        }
        case BindKind::Time: {
            const QTime t = v.toTime();
            Put(a, i,
                SQL_TIME_STRUCT{static_cast<SQLUSMALLINT>(t.hour()), static_cast<SQLUSMALLINT>(t.minute()),
                                static_cast<SQLUSMALLINT>(t.second())});
            break;
        }
        case BindKind::Timestamp: {
            const QDateTime dt = v.toDateTime();
            const QDate d = dt.date();
            const QTime t = dt.time();
            Put(a, i,
                SQL_TIMESTAMP_STRUCT{static_cast<SQLSMALLINT>(d.year()), static_cast<SQLUSMALLINT>(d.month()),
                                     static_cast<SQLUSMALLINT>(d.day()), static_cast<SQLUSMALLINT>(t.hour()),
                                     static_cast<SQLUSMALLINT>(t.minute()),
                                     static_cast<SQLUSMALLINT>(t.second()),
                                     static_cast<SQLUINTEGER>(t.msec()) * 1000000u});
            break;
        }
        case BindKind::Binary: {
            const QByteArray bytes = v.toByteArray();
            std::memcpy(slot, bytes.constData(), static_cast<size_t>(bytes.size()));
            a.Indicators[i] = bytes.size();
            break;
        }
        case BindKind::Numeric: {
            const QByteArray text = v.toString().toLatin1();
            std::memcpy(slot, text.constData(), static_cast<size_t>(text.size()));
            a.Indicators[i] = SQL_NTS;
            break;
        }
        case BindKind::Text: {
            const QString text = v.toString();
            std::memcpy(slot, text.utf16(), static_cast<size_t>(text.size()) * sizeof(char16_t));
            a.Indicators[i] = static_cast<SQLLEN>(text.size() * sizeof(char16_t));
            break;
        }
        }
    }
    return a;
}

class OdbcBulkInsert : public IBulkInsert {
public:
    OdbcBulkInsert(OdbcConnection& connection, const QString& sTable, std::vector<BulkInsertColumn> columns)
        : m_connection(connection), m_columns(std::move(columns)), m_sql(InsertText(sTable, m_columns)) {
        bool binary = false;
        for (const BulkInsertColumn& c : m_columns) {
            m_kinds.push_back(KindOf(c.Type));
            binary = binary || m_kinds.back() == BindKind::Binary;
        }
        // The SQLite driver reads the length of a binary parameter once for a whole array: with
        // binary columns its batches go one row per execution, still one transaction per batch.
        m_singleRows = binary && DriverName().contains(QLatin1String("sqlite"), Qt::CaseInsensitive);
    }

    std::vector<BulkRowError> InsertBatch(const std::vector<Row>& rows) override {
        std::vector<BulkRowError> refused;
        if (rows.empty())
            return refused;
        m_connection.NativeHandle(kSource);
        // Inside a caller's transaction the batch is part of it; otherwise it is one of its own.
        bool own = false;
        try {
            m_connection.BeginTrans();
            own = true;
        } catch (const qlException&) {
        }
        try {
            if (m_singleRows) {
                for (size_t i = 0; i < rows.size(); ++i)
                    execute(rows, i, 1);
            } else {
                execute(rows, 0, rows.size());
            }
            if (own)
                m_connection.CommitTrans();
            return refused;
        } catch (const qlException&) {
            if (own)
                rollback();
        }
        // Row by row without a transaction around them: on some servers a failed statement spoils
        // the rest of its transaction, and each good row must stay in.
        for (size_t i = 0; i < rows.size(); ++i) {
            try {
                execute(rows, i, 1);
            } catch (const qlException& e) {
                refused.push_back({static_cast<int64_t>(i), e.description()});
            }
        }
        return refused;
    }

private:
    QString DriverName() const {
        SQLWCHAR name[256] = {0};
        SQLSMALLINT length = 0;
        SQLHDBC dbc = m_connection.NativeHandle(kSource);
        if (!SQL_SUCCEEDED(SQLGetInfoW(dbc, SQL_DRIVER_NAME, name, sizeof(name), &length)))
            return QString();
        return FromSqlWChar(name, length / static_cast<SQLSMALLINT>(sizeof(SQLWCHAR)));
    }

    void rollback() noexcept {
        try {
            m_connection.RollbackTrans();
        } catch (...) {
        }
    }

    void execute(const std::vector<Row>& rows, size_t first, size_t count) {
        SQLHDBC dbc = m_connection.NativeHandle(kSource);
        const OdbcCallSite site{kSource, m_sql, nullptr};
        SQLHANDLE raw = SQL_NULL_HANDLE;
        OdbcCheck(SQLAllocHandle(SQL_HANDLE_STMT, dbc, &raw), SQL_HANDLE_DBC, dbc, site);
        OdbcStmtHandle stmt(raw);
        OdbcCheck(SQLPrepareW(stmt.get(), ToSqlWChar(m_sql), SQL_NTS), SQL_HANDLE_STMT, stmt.get(), site);
        std::vector<SQLUSMALLINT> statuses(count, SQL_PARAM_UNUSED);
        SQLULEN processed = 0;
        auto setAttr = [&](SQLINTEGER attr, SQLPOINTER value) {
            OdbcCheck(SQLSetStmtAttrW(stmt.get(), attr, value, 0), SQL_HANDLE_STMT, stmt.get(), site);
        };
        setAttr(SQL_ATTR_PARAM_BIND_TYPE,
                reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(SQL_PARAM_BIND_BY_COLUMN)));
        setAttr(SQL_ATTR_PARAMSET_SIZE, reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(count)));
        setAttr(SQL_ATTR_PARAM_STATUS_PTR, statuses.data());
        setAttr(SQL_ATTR_PARAMS_PROCESSED_PTR, &processed);

        std::vector<ColumnArray> arrays;
        arrays.reserve(m_columns.size());
        for (size_t c = 0; c < m_columns.size(); ++c) {
            arrays.push_back(FillColumn(m_kinds[c], rows, first, count, c));
            ColumnArray& a = arrays.back();
            OdbcCheck(SQLBindParameter(stmt.get(), static_cast<SQLUSMALLINT>(c + 1), SQL_PARAM_INPUT, a.CType,
                                       a.SqlType, a.ColumnSize, a.Digits, a.Data.data(), a.Width,
                                       a.Indicators.data()),
                      SQL_HANDLE_STMT, stmt.get(), site);
        }
        OdbcCheck(SQLExecute(stmt.get()), SQL_HANDLE_STMT, stmt.get(), site);
        // Some drivers answer each parameter set with a result of its own.
        for (;;) {
            const SQLRETURN rc = SQLMoreResults(stmt.get());
            if (rc == SQL_NO_DATA)
                break;
            OdbcCheck(rc, SQL_HANDLE_STMT, stmt.get(), site);
        }
        for (size_t i = 0; i < count && i < processed; ++i) {
            if (statuses[i] == SQL_PARAM_ERROR)
                throw qlException(kErrGeneral, kSource, QStringLiteral("A row of the batch was refused."));
        }
    }

    OdbcConnection& m_connection;
    std::vector<BulkInsertColumn> m_columns;
    std::vector<BindKind> m_kinds;
    QString m_sql;
    bool m_singleRows = false;
};

// Any other connection: one parameterised statement per row, through the connection's commands.
class CommandBulkInsert : public IBulkInsert {
public:
    CommandBulkInsert(IDbConnection& connection, const QString& sTable, std::vector<BulkInsertColumn> columns)
        : m_connection(connection), m_columns(std::move(columns)), m_sql(InsertText(sTable, m_columns)) {}

    std::vector<BulkRowError> InsertBatch(const std::vector<Row>& rows) override {
        std::vector<BulkRowError> refused;
        for (size_t i = 0; i < rows.size(); ++i) {
            Command command{
                .CommandText = m_sql, .CommandType = ado::adCmdText, .CommandTimeout = 0, .Parameters = {}};
            for (size_t c = 0; c < m_columns.size(); ++c)
                command.Parameters.push_back(
                    Parameter{m_columns[c].Name, m_columns[c].Type, ado::adParamInput, 0, rows[i][c]});
            try {
                m_connection.ExecuteCommand(command, ado::adExecuteNoRecords);
            } catch (const qlException& e) {
                refused.push_back({static_cast<int64_t>(i), e.description()});
            }
        }
        return refused;
    }

private:
    IDbConnection& m_connection;
    std::vector<BulkInsertColumn> m_columns;
    QString m_sql;
};

} // namespace

std::unique_ptr<IBulkInsert> CreateBulkInsert(IDbConnection& connection, const QString& sTable,
                                              const std::vector<BulkInsertColumn>& columns) {
    if (auto* odbc = dynamic_cast<OdbcConnection*>(&connection))
        return std::make_unique<OdbcBulkInsert>(*odbc, sTable, columns);
    return std::make_unique<CommandBulkInsert>(connection, sTable, columns);
}

} // namespace qldb
