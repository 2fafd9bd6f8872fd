#include "platform/odbc/odbc_connection.h"

#include "platform/odbc/ado_types.h"
#include "platform/odbc/odbc_catalog.h"
#include "platform/odbc/odbc_command.h"
#include "platform/odbc/odbc_fetch.h"
#include "platform/odbc/odbc_recordset_writer.h"
#include "platform/odbc/provider_map.h"

#include <langinfo.h>
#include <locale.h>

namespace qldb {

namespace {

// ADO's default wait for a server to answer a login.
constexpr SQLULEN kLoginTimeoutSeconds = 15;

constexpr int32_t kAdCmdTable = 2;
constexpr int32_t kAdCmdTableDirect = 512;
constexpr int32_t kAdXactUnspecified = -1;
constexpr int32_t kAdXactRepeatableRead = 65536;
constexpr int32_t kAdXactSerializable = 1048576;

// Drivers without the wide API (SQLite's) get their text through the driver manager, which
// converts with the character set of the locale in force when the connection's handles are made.
// In a process that never chose a locale that is ASCII, and every other character would be lost,
// so the handles are made under a UTF-8 character locale on this thread; the process keeps its
// own.
class Utf8CharactersWhileConnecting {
public:
    Utf8CharactersWhileConnecting() {
        if (QByteArray(nl_langinfo(CODESET)).toUpper().replace("-", "") == "UTF8")
            return;
        for (const char* name : {"C.UTF-8", "en_US.UTF-8"}) {
            m_locale = newlocale(LC_CTYPE_MASK, name, static_cast<locale_t>(nullptr));
            if (m_locale != static_cast<locale_t>(nullptr))
                break;
        }
        if (m_locale != static_cast<locale_t>(nullptr))
            m_previous = uselocale(m_locale);
    }
    ~Utf8CharactersWhileConnecting() {
        if (m_locale == static_cast<locale_t>(nullptr))
            return;
        uselocale(m_previous);
        freelocale(m_locale);
    }
    Utf8CharactersWhileConnecting(const Utf8CharactersWhileConnecting&) = delete;
    Utf8CharactersWhileConnecting& operator=(const Utf8CharactersWhileConnecting&) = delete;

private:
    locale_t m_locale = static_cast<locale_t>(nullptr);
    locale_t m_previous = static_cast<locale_t>(nullptr);
};

bool HasOption(int32_t options, int32_t option) {
    // -1 (unspecified) is no set of flags.
    return options != ado::adOptionUnspecified && (options & option) != 0;
}

SQLULEN OdbcIsolation(int32_t level) {
    switch (level) {
    case ado::adXactReadUncommitted:
        return SQL_TXN_READ_UNCOMMITTED;
    case kAdXactRepeatableRead:
        return SQL_TXN_REPEATABLE_READ;
    case kAdXactSerializable:
        return SQL_TXN_SERIALIZABLE;
    default:
        return SQL_TXN_READ_COMMITTED;
    }
}

void SetAutocommit(SQLHDBC dbc, bool on, const OdbcCallSite& site) {
    OdbcCheck(SQLSetConnectAttrW(dbc, SQL_ATTR_AUTOCOMMIT,
                                 reinterpret_cast<SQLPOINTER>(
                                     static_cast<SQLULEN>(on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF)),
                                 0),
              SQL_HANDLE_DBC, dbc, site);
}

} // namespace

std::shared_ptr<IDbConnection> CreateOdbcConnection() {
    return std::make_shared<OdbcConnection>();
}

OdbcConnection::~OdbcConnection() {
    disconnect();
}

void OdbcConnection::disconnect() noexcept {
    if (!m_open)
        return;
    // Closing ends an open transaction the way the server would on a lost session: undone.
    if (m_inTransaction) {
        SQLEndTran(SQL_HANDLE_DBC, m_dbc.get(), SQL_ROLLBACK);
        m_inTransaction = false;
    }
    SQLDisconnect(m_dbc.get());
    m_dbc.reset();
    m_open = false;
}

int32_t OdbcConnection::State() const {
    return m_open ? ado::adStateOpen : ado::adStateClosed;
}

SQLHDBC OdbcConnection::requireOpen(const QString& sSource) const {
    if (!m_open)
        throw qlException(kErrObjectClosed, sSource,
                          QStringLiteral("Operation is not allowed when the object is closed."));
    return m_dbc.get();
}

void OdbcConnection::setIsolationLevel(int32_t level) {
    m_isolationLevel = level;
    m_isolationSet = level != kAdXactUnspecified;
    if (m_open && m_isolationSet)
        applyIsolation(QStringLiteral("Connection.IsolationLevel"));
}

void OdbcConnection::applyIsolation(const QString& sSource) {
    const OdbcCallSite site{sSource, {}, &m_errors};
    OdbcCheck(SQLSetConnectAttrW(m_dbc.get(), SQL_ATTR_TXN_ISOLATION,
                                 reinterpret_cast<SQLPOINTER>(OdbcIsolation(m_isolationLevel)), 0),
              SQL_HANDLE_DBC, m_dbc.get(), site);
}

void OdbcConnection::Open() {
    const QString source = QStringLiteral("Connection.Open");
    if (m_open)
        throw qlException(kErrObjectOpen, source,
                          QStringLiteral("Operation is not allowed when the object is open."));
    const QString odbc = TranslateConnectionString(m_connectionString);
    // The connection string holds the password, so it is not kept as the statement of an error.
    const OdbcCallSite site{source, {}, &m_errors};
    const Utf8CharactersWhileConnecting utf8;

    if (!m_env) {
        SQLHANDLE env = SQL_NULL_HANDLE;
        if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env)))
            throw qlException(kErrGeneral, source,
                              QStringLiteral("The ODBC driver manager cannot be initialised."));
        m_env = OdbcEnvHandle(env);
        OdbcCheck(
            SQLSetEnvAttr(m_env.get(), SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
            SQL_HANDLE_ENV, m_env.get(), site);
    }
    SQLHANDLE dbc = SQL_NULL_HANDLE;
    OdbcCheck(SQLAllocHandle(SQL_HANDLE_DBC, m_env.get(), &dbc), SQL_HANDLE_ENV, m_env.get(), site);
    m_dbc = OdbcDbcHandle(dbc);
    SQLSetConnectAttrW(dbc, SQL_ATTR_LOGIN_TIMEOUT, reinterpret_cast<SQLPOINTER>(kLoginTimeoutSeconds), 0);

    SQLWCHAR completed[1024];
    SQLSMALLINT completedLength = 0;
    QString request = odbc;
    try {
        OdbcCheck(SQLDriverConnectW(dbc, nullptr, ToSqlWChar(request), SQL_NTS, completed,
                                    static_cast<SQLSMALLINT>(std::size(completed)), &completedLength,
                                    SQL_DRIVER_NOPROMPT),
                  SQL_HANDLE_DBC, dbc, site);
    } catch (...) {
        m_dbc.reset();
        throw;
    }
    m_open = true;
    m_inTransaction = false;
    try {
        if (m_isolationSet)
            applyIsolation(source);
    } catch (...) {
        disconnect();
        throw;
    }

    SQLWCHAR quote[8] = {};
    SQLSMALLINT quoteLength = 0;
    m_quote.clear();
    if (SQL_SUCCEEDED(SQLGetInfoW(dbc, SQL_IDENTIFIER_QUOTE_CHAR, quote, sizeof quote, &quoteLength)))
        m_quote = FromSqlWChar(quote, quoteLength / static_cast<SQLSMALLINT>(sizeof(SQLWCHAR))).trimmed();
}

void OdbcConnection::Close() {
    requireOpen(QStringLiteral("Connection.Close"));
    disconnect();
}

void OdbcConnection::Cancel() {
    // Nothing runs: nothing to cancel, and no error either.
    std::lock_guard lock(m_runningMutex);
    if (m_running != SQL_NULL_HSTMT)
        SQLCancel(m_running);
}

OdbcConnection::Run OdbcConnection::run(const QString& sStatement, const std::vector<Parameter>* parameters,
                                        bool named, int32_t timeout, bool wantRows, const QString& sSource) {
    SQLHDBC dbc = requireOpen(sSource);
    const OdbcCallSite site{sSource, sStatement, &m_errors};
    SQLHANDLE raw = SQL_NULL_HANDLE;
    OdbcCheck(SQLAllocHandle(SQL_HANDLE_STMT, dbc, &raw), SQL_HANDLE_DBC, dbc, site);
    OdbcStmtHandle stmt(raw);
    OdbcParameterBuffers buffers;
    SetOdbcQueryTimeout(stmt.get(), timeout, site);
    if (parameters != nullptr)
        BindOdbcParameters(stmt.get(), *parameters, named, buffers, site);

    struct Running {
        OdbcConnection& connection;
        Running(OdbcConnection& c, SQLHSTMT s) : connection(c) {
            std::lock_guard lock(connection.m_runningMutex);
            connection.m_running = s;
        }
        ~Running() {
            std::lock_guard lock(connection.m_runningMutex);
            connection.m_running = SQL_NULL_HSTMT;
        }
    } running(*this, stmt.get());

    QString text = sStatement;
    SQLRETURN rc = SQL_SUCCESS;
    {
        OdbcTimeoutWatch watch(stmt.get(), timeout);
        try {
            rc = OdbcCheck(SQLExecDirectW(stmt.get(), ToSqlWChar(text), SQL_NTS), SQL_HANDLE_STMT, stmt.get(),
                           site);
        } catch (const qlException&) {
            if (watch.stop())
                ThrowOdbcTimeout(site);
            throw;
        }
        // A statement that the watch cancelled may still answer (MariaDB's SLEEP returns early
        // without an error): it ran out of time all the same.
        if (watch.stop())
            ThrowOdbcTimeout(site);
    }
    Run result;
    if (wantRows) {
        result.Rows = FetchFirstRowset(stmt.get(), rc, site);
        return result;
    }
    SQLLEN affected = 0;
    if (rc != SQL_NO_DATA && SQL_SUCCEEDED(SQLRowCount(stmt.get(), &affected)))
        result.Affected = affected;
    DrainResults(stmt.get(), rc, site);
    return result;
}

std::shared_ptr<Recordset> OdbcConnection::Execute(const QString& sCommandText, int32_t options) {
    const bool noRecords = HasOption(options, ado::adExecuteNoRecords);
    return run(sCommandText, nullptr, false, m_commandTimeout, !noRecords,
               QStringLiteral("Connection.Execute"))
        .Rows;
}

std::shared_ptr<Recordset> OdbcConnection::OpenRecordset(const QString& sSource, int32_t, int32_t lockType,
                                                         int32_t options) {
    QString statement = sSource;
    if (HasOption(options, kAdCmdTable) || HasOption(options, kAdCmdTableDirect))
        statement = QStringLiteral("SELECT * FROM ") + sSource;
    auto rs = run(statement, nullptr, false, m_commandTimeout, true, QStringLiteral("Recordset.Open")).Rows;
    if (lockType != ado::adLockReadOnly && rs->State() == ado::adStateOpen) {
        const QString table = SingleTableOf(statement);
        if (!table.isEmpty())
            rs->setWriter(std::make_shared<OdbcRecordsetWriter>(weak_from_this(), table));
    }
    return rs;
}

std::shared_ptr<Recordset> OdbcConnection::ExecuteCommand(const Command& command, int32_t options) {
    const bool noRecords = HasOption(options, ado::adExecuteNoRecords);
    return run(OdbcCommandText(command), &command.Parameters, command.NamedParameters, command.CommandTimeout,
               !noRecords, QStringLiteral("Command.Execute"))
        .Rows;
}

int64_t OdbcConnection::ExecuteCounted(const QString& sStatement, const std::vector<Parameter>& parameters,
                                       const QString& sSource) {
    return run(sStatement, &parameters, false, m_commandTimeout, false, sSource).Affected;
}

QString OdbcConnection::QuoteIdentifier(const QString& sName) const {
    if (m_quote.isEmpty())
        return sName;
    QString inner = sName;
    inner.replace(m_quote, m_quote + m_quote);
    return m_quote + inner + m_quote;
}

int32_t OdbcConnection::BeginTrans() {
    const QString source = QStringLiteral("Connection.BeginTrans");
    SQLHDBC dbc = requireOpen(source);
    if (m_inTransaction)
        throw qlException(kErrTransactionExists, source,
                          QStringLiteral("Only one transaction can be active on this session."));
    SetAutocommit(dbc, false, OdbcCallSite{source, {}, &m_errors});
    m_inTransaction = true;
    return 1;
}

void OdbcConnection::CommitTrans() {
    endTransaction(SQL_COMMIT, QStringLiteral("Connection.CommitTrans"));
}

void OdbcConnection::RollbackTrans() {
    endTransaction(SQL_ROLLBACK, QStringLiteral("Connection.RollbackTrans"));
}

void OdbcConnection::endTransaction(SQLSMALLINT completion, const QString& sSource) {
    SQLHDBC dbc = requireOpen(sSource);
    if (!m_inTransaction)
        throw qlException(kErrNoTransaction, sSource, QStringLiteral("No transaction is active."));
    const OdbcCallSite site{sSource, {}, &m_errors};
    // Whatever the end gives, the transaction is over: a failed commit is undone by the server.
    m_inTransaction = false;
    try {
        OdbcCheck(SQLEndTran(SQL_HANDLE_DBC, dbc, completion), SQL_HANDLE_DBC, dbc, site);
    } catch (...) {
        SQLSetConnectAttrW(dbc, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON), 0);
        throw;
    }
    SetAutocommit(dbc, true, site);
}

std::vector<CatalogTable> OdbcConnection::Tables() {
    const QString source = QStringLiteral("Catalog.Tables");
    return ReadOdbcTables(requireOpen(source), OdbcCallSite{source, {}, &m_errors});
}

std::vector<CatalogColumn> OdbcConnection::Columns(const QString& sTableName) {
    const QString source = QStringLiteral("Catalog.Columns");
    return ReadOdbcColumns(requireOpen(source), sTableName, OdbcCallSite{source, sTableName, &m_errors});
}

QStringList OdbcConnection::PrimaryKey(const QString& sTableName) {
    const QString source = QStringLiteral("Catalog.PrimaryKey");
    return ReadOdbcPrimaryKey(requireOpen(source), sTableName, OdbcCallSite{source, sTableName, &m_errors});
}

} // namespace qldb
