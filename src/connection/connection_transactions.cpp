// Transactions of qlConnection, through the data access calls or through SQL text. The level that
// callers see is always the server's; nothing is counted here. Errors reach the caller as they came.
#include "connection/object_checks.h"
#include "connection/ql_connection.h"
#include "platform/tools/conversions.h"

namespace qldb {

namespace {

const QString kTranCount = QStringLiteral("SELECT @@TRANCOUNT");

QString TransactionStatement(const QString& sVerb, const QString& TransactionName) {
    QString s = sVerb + QStringLiteral(" TRANSACTION");
    if (!TransactionName.isEmpty())
        s += QLatin1Char(' ') + TransactionName;
    return s;
}

int32_t FirstValue(const std::shared_ptr<Recordset>& rs, const QString& sSource) {
    return ToLong(RequireRecordset(rs, sSource).Value(0));
}

// The SQL way of Begin and Commit: the statement, then the server's level read on the same link.
int32_t SqlTransaction(IDbConnection& connection, const QString& sVerb, const QString& TransactionName,
                       const QString& sSource) {
    connection.Execute(TransactionStatement(sVerb, TransactionName), ado::adExecuteNoRecords);
    return FirstValue(connection.Execute(kTranCount, ado::adOptionUnspecified), sSource);
}

} // namespace

int32_t qlConnection::BeginTrans(int16_t UseADOTransaction, const QString& TransactionName) {
    const QString source = QStringLiteral("qlConnection.BeginTrans");
    IDbConnection& connection = RequireConnection(m_connection, source);
    if (UseADOTransaction == VB_TRUE)
        return connection.BeginTrans();
    return SqlTransaction(connection, QStringLiteral("BEGIN"), TransactionName, source);
}

int32_t qlConnection::CommitTrans(int16_t UseADOTransaction, const QString& TransactionName) {
    const QString source = QStringLiteral("qlConnection.CommitTrans");
    IDbConnection& connection = RequireConnection(m_connection, source);
    if (UseADOTransaction == VB_TRUE) {
        connection.CommitTrans();
        return -1;
    }
    return SqlTransaction(connection, QStringLiteral("COMMIT"), TransactionName, source);
}

int32_t qlConnection::RollbackTrans(int16_t UseADOTransaction, const QString& TransactionName) {
    const QString source = QStringLiteral("qlConnection.RollbackTrans");
    IDbConnection& connection = RequireConnection(m_connection, source);
    if (UseADOTransaction == VB_TRUE) {
        connection.RollbackTrans();
        return -1;
    }
    connection.Execute(TransactionStatement(QStringLiteral("ROLLBACK"), TransactionName),
                       ado::adExecuteNoRecords);
    // Unlike Begin and Commit, the level after a rollback is read through the statement family: a
    // rollback is what callers do after a failure, when the link itself may be what failed.
    return FirstValue(ExecuteWC(kTranCount, ado::adLockReadOnly, nullptr, nullptr, false), source);
}

int32_t qlConnection::TransactionCount() {
    return FirstValue(ExecuteWC(kTranCount, ado::adLockReadOnly, nullptr, nullptr, false),
                      QStringLiteral("qlConnection.TransactionCount"));
}

} // namespace qldb
