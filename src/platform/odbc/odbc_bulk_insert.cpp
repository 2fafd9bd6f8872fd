// The bulk insert over ODBC: multi-row INSERT statements whose parameters are bound once per batch
// to a buffer of slots, refilled with the next rows before each execution. A range of rows the
// database refuses is rolled back and tried again in halves, down to single rows, so that only the
// bad rows stay out and each gets its own message.
#include "platform/odbc/bulk_insert.h"
#include "platform/odbc/bulk_parameters.h"
#include "platform/odbc/odbc_connection.h"
#include "platform/odbc/odbc_diagnostics.h"
#include "platform/odbc/odbc_handle.h"

#include <algorithm>

namespace qldb {

namespace {

const QString kSource = QStringLiteral("BulkInsert");

// Rows per execution. Drivers differ on parameter arrays: some send a whole array at once, others
// run the statement once per row (a round trip, or a fresh parse of the statement, each). A
// statement carrying many rows is one execution everywhere. Older SQLite builds take at most 999
// parameters in a statement, SQL Server 2100 and 1000 rows of values; beyond a hundred rows the
// servers here gain nothing more.
constexpr size_t kRowsPerExecution = 100;
constexpr size_t kParametersPerExecution = 999;

QString InsertText(const QString& sTable, const std::vector<BulkInsertColumn>& columns, size_t rows) {
    QStringList names;
    QStringList markers;
    for (const BulkInsertColumn& c : columns) {
        names << c.Name;
        markers << QStringLiteral("?");
    }
    const QString values = QLatin1Char('(') + markers.join(QLatin1Char(',')) + QLatin1Char(')');
    QString text = QStringLiteral("INSERT INTO ") + sTable + QStringLiteral(" (") +
                   names.join(QLatin1Char(',')) + QStringLiteral(") VALUES ") + values;
    for (size_t r = 1; r < rows; ++r)
        text += QLatin1Char(',') + values;
    return text;
}

// A prepared INSERT of a fixed number of rows. Its parameters are bound once, to one slot array per
// column; each execution copies the next rows of the batch into the slots.
class MultiRowInsert {
public:
    MultiRowInsert(SQLHDBC dbc, const QString& sSql, const std::vector<ValueKind>& kinds,
                   const std::vector<ParameterLayout>& layouts, size_t rows)
        : m_kinds(kinds), m_layouts(layouts), m_rows(rows), m_site{kSource, sSql, nullptr} {
        SQLHANDLE raw = SQL_NULL_HANDLE;
        OdbcCheck(SQLAllocHandle(SQL_HANDLE_STMT, dbc, &raw), SQL_HANDLE_DBC, dbc, m_site);
        m_stmt = OdbcStmtHandle(raw);
        OdbcCheck(SQLPrepareW(m_stmt.get(), ToSqlWChar(sSql), SQL_NTS), SQL_HANDLE_STMT, m_stmt.get(),
                  m_site);
        const size_t columns = layouts.size();
        m_data.resize(columns);
        m_indicators.resize(columns);
        for (size_t c = 0; c < columns; ++c) {
            const ParameterLayout& a = layouts[c];
            m_data[c].assign(rows * static_cast<size_t>(a.Width), 0);
            m_indicators[c].assign(rows, SQL_NULL_DATA);
            for (size_t r = 0; r < rows; ++r) {
                const auto number = static_cast<SQLUSMALLINT>(r * columns + c + 1);
                OdbcCheck(SQLBindParameter(m_stmt.get(), number, SQL_PARAM_INPUT, a.CType, a.SqlType,
                                           a.ColumnSize, a.Digits, slot(c, r), a.Width, &m_indicators[c][r]),
                          SQL_HANDLE_STMT, m_stmt.get(), m_site);
            }
        }
    }

    size_t rows() const { return m_rows; }

    // Inserts rows first .. first + rows() - 1 of the batch.
    void Execute(const std::vector<Row>& batch, size_t first) {
        for (size_t c = 0; c < m_layouts.size(); ++c) {
            for (size_t r = 0; r < m_rows; ++r)
                PutParameter(m_kinds[c], batch[first + r][c], slot(c, r), m_indicators[c][r]);
        }
        OdbcCheck(SQLExecute(m_stmt.get()), SQL_HANDLE_STMT, m_stmt.get(), m_site);
        // Some drivers answer with more than one result; each must be taken before the next run.
        for (;;) {
            const SQLRETURN rc = SQLMoreResults(m_stmt.get());
            if (rc == SQL_NO_DATA)
                break;
            OdbcCheck(rc, SQL_HANDLE_STMT, m_stmt.get(), m_site);
        }
    }

private:
    char* slot(size_t c, size_t r) { return m_data[c].data() + r * static_cast<size_t>(m_layouts[c].Width); }

    const std::vector<ValueKind>& m_kinds;
    const std::vector<ParameterLayout>& m_layouts;
    size_t m_rows;
    OdbcCallSite m_site;
    OdbcStmtHandle m_stmt;
    std::vector<std::vector<char>> m_data;
    std::vector<std::vector<SQLLEN>> m_indicators;
};

class OdbcBulkInsert : public IBulkInsert {
public:
    OdbcBulkInsert(OdbcConnection& connection, const QString& sTable, std::vector<BulkInsertColumn> columns)
        : m_connection(connection), m_table(sTable), m_columns(std::move(columns)) {
        for (const BulkInsertColumn& c : m_columns)
            m_kinds.push_back(ValueKindOf(c.Type));
        const size_t perRow = std::max<size_t>(1, m_columns.size());
        m_rowsPerExecution = std::clamp<size_t>(kParametersPerExecution / perRow, 1, kRowsPerExecution);
    }

    std::vector<BulkRowError> InsertBatch(const std::vector<Row>& rows) override {
        std::vector<BulkRowError> refused;
        if (rows.empty())
            return refused;
        m_connection.NativeHandle(kSource);
        m_layouts.clear();
        for (size_t c = 0; c < m_columns.size(); ++c)
            m_layouts.push_back(LayoutFor(m_kinds[c], rows, c));
        insertRange(rows, 0, rows.size(), refused);
        return refused;
    }

private:
    // Inserts the range in a transaction of its own (unless the caller holds one). When the
    // database refuses it, each half is tried on its own, down to single rows: a refused row costs
    // a few transactions, not one per row of the batch, and every good row stays in.
    void insertRange(const std::vector<Row>& rows, size_t first, size_t count,
                     std::vector<BulkRowError>& refused) {
        bool own = false;
        try {
            m_connection.BeginTrans();
            own = true;
        } catch (const qlException&) {
        }
        try {
            executeRange(rows, first, count);
            if (own)
                m_connection.CommitTrans();
            return;
        } catch (const qlException& e) {
            if (own)
                rollback();
            if (count == 1) {
                refused.push_back({static_cast<int64_t>(first), e.description()});
                return;
            }
        }
        const size_t half = count / 2;
        insertRange(rows, first, half, refused);
        insertRange(rows, first + half, count - half, refused);
    }

    void executeRange(const std::vector<Row>& rows, size_t first, size_t count) {
        SQLHDBC dbc = m_connection.NativeHandle(kSource);
        const size_t step = std::min(m_rowsPerExecution, count);
        MultiRowInsert full(dbc, InsertText(m_table, m_columns, step), m_kinds, m_layouts, step);
        size_t done = 0;
        for (; count - done >= step; done += step)
            full.Execute(rows, first + done);
        if (done < count) {
            MultiRowInsert tail(dbc, InsertText(m_table, m_columns, count - done), m_kinds, m_layouts,
                                count - done);
            tail.Execute(rows, first + done);
        }
    }

    void rollback() noexcept {
        try {
            m_connection.RollbackTrans();
        } catch (...) {
        }
    }

    OdbcConnection& m_connection;
    QString m_table;
    std::vector<BulkInsertColumn> m_columns;
    std::vector<ValueKind> m_kinds;
    std::vector<ParameterLayout> m_layouts; // of the batch being inserted
    size_t m_rowsPerExecution = 1;
};

// Any other connection: one parameterised statement per row, through the connection's commands.
class CommandBulkInsert : public IBulkInsert {
public:
    CommandBulkInsert(IDbConnection& connection, const QString& sTable, std::vector<BulkInsertColumn> columns)
        : m_connection(connection), m_columns(std::move(columns)), m_sql(InsertText(sTable, m_columns, 1)) {}

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
