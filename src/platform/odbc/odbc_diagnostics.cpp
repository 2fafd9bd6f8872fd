#include "platform/odbc/odbc_diagnostics.h"

#include <algorithm>

namespace qldb {

namespace {

constexpr SQLSMALLINT kMessageBuffer = 1024;

// SQLite's result codes that the driver passes as native error.
constexpr int32_t kSqliteError = 1;
constexpr int32_t kSqliteConstraint = 19;
constexpr int32_t kSqlServerDeadlockVictim = 1205;

// The SQLSTATE that the condition would have on a driver that reports states properly.
QString EffectiveState(const QString& sSqlState, int32_t nativeError, const QString& sMessage) {
    // PostgreSQL cancels a statement that outlasts its timeout with the state of any cancel.
    if (sSqlState == QLatin1String("57014") && sMessage.contains(QLatin1String("statement timeout")))
        return QStringLiteral("HYT00");
    if (sSqlState != QLatin1String("HY000") || !sMessage.startsWith(QLatin1String("[SQLite]")))
        return sSqlState;
    if (nativeError == kSqliteConstraint)
        return QStringLiteral("23000");
    if (nativeError == kSqliteError) {
        if (sMessage.contains(QLatin1String("no such table")))
            return QStringLiteral("42S02");
        if (sMessage.contains(QLatin1String("syntax error")) ||
            sMessage.contains(QLatin1String("no such column")) ||
            sMessage.contains(QLatin1String("incomplete input")) ||
            sMessage.contains(QLatin1String("already exists")))
            return QStringLiteral("42000");
    }
    return sSqlState;
}

} // namespace

std::vector<OdbcDiagnostic> ReadOdbcDiagnostics(SQLSMALLINT handleType, SQLHANDLE handle) {
    std::vector<OdbcDiagnostic> result;
    if (handle == SQL_NULL_HANDLE)
        return result;
    for (SQLSMALLINT record = 1;; ++record) {
        SQLWCHAR state[6] = {};
        SQLINTEGER native = 0;
        std::vector<SQLWCHAR> message(kMessageBuffer);
        SQLSMALLINT length = 0;
        SQLRETURN rc = SQLGetDiagRecW(handleType, handle, record, state, &native, message.data(),
                                      kMessageBuffer, &length);
        if (rc == SQL_SUCCESS_WITH_INFO && length >= kMessageBuffer) {
            message.resize(static_cast<size_t>(length) + 1);
            rc = SQLGetDiagRecW(handleType, handle, record, state, &native, message.data(),
                                static_cast<SQLSMALLINT>(message.size()), &length);
        }
        if (!SQL_SUCCEEDED(rc))
            break;
        const qsizetype kept = std::min<qsizetype>(length, static_cast<qsizetype>(message.size()) - 1);
        QString text = FromSqlWChar(message.data(), std::max<qsizetype>(kept, 0));
        text.remove(QChar(u'\0'));
        result.push_back(OdbcDiagnostic{FromSqlWChar(state, 5), static_cast<int32_t>(native), text});
    }
    return result;
}

int32_t OdbcErrorNumber(const QString& sSqlState, int32_t nativeError, const QString& sMessage) {
    const QString state = EffectiveState(sSqlState, nativeError, sMessage);
    if (state.startsWith(QLatin1String("08")) || nativeError == kSqlServerDeadlockVictim ||
        state == QLatin1String("40001") || state == QLatin1String("40P01"))
        return kErrGeneral;
    if (state == QLatin1String("42S02") || state == QLatin1String("42P01"))
        return kErrUnknownTable;
    if (state.startsWith(QLatin1String("42")))
        return kErrSyntax;
    if (state.startsWith(QLatin1String("23")))
        return kErrIntegrity;
    if (state == QLatin1String("HYT00"))
        return kErrTimeout;
    return kErrGeneral;
}

ErrorRecord MakeOdbcErrorRecord(const OdbcDiagnostic& diagnostic, const OdbcCallSite& site) {
    ErrorRecord record;
    record.Number = OdbcErrorNumber(diagnostic.SqlState, diagnostic.NativeError, diagnostic.Message);
    record.Source = site.Source;
    record.Description = diagnostic.Message;
    record.SqlState = diagnostic.SqlState;
    record.NativeError = diagnostic.NativeError;
    record.Statement = site.Statement;
    return record;
}

SQLRETURN OdbcCheck(SQLRETURN rc, SQLSMALLINT handleType, SQLHANDLE handle, const OdbcCallSite& site) {
    if (SQL_SUCCEEDED(rc) || rc == SQL_NO_DATA)
        return rc;
    std::vector<OdbcDiagnostic> diagnostics;
    if (rc == SQL_INVALID_HANDLE)
        diagnostics.push_back(
            OdbcDiagnostic{QStringLiteral("HY000"), 0, QStringLiteral("Invalid ODBC handle")});
    else
        diagnostics = ReadOdbcDiagnostics(handleType, handle);
    if (diagnostics.empty())
        diagnostics.push_back(
            OdbcDiagnostic{QStringLiteral("HY000"), 0,
                           QStringLiteral("The ODBC driver reported a failure without a message")});

    std::vector<ErrorRecord> records;
    records.reserve(diagnostics.size());
    for (const OdbcDiagnostic& diagnostic : diagnostics)
        records.push_back(MakeOdbcErrorRecord(diagnostic, site));
    // Warnings (class 01) can come before the error that made the call fail; the error decides.
    size_t primary = 0;
    while (primary < records.size() && records[primary].SqlState.startsWith(QLatin1String("01")))
        ++primary;
    if (primary == records.size())
        primary = 0;
    ErrorRecord first = records[primary];
    if (site.LastErrors != nullptr)
        *site.LastErrors = std::move(records);
    throw qlException(std::move(first));
}

} // namespace qldb
