// The statements of qlConnection: Execute (no rows), ExecuteWC (a static recordset) and
// ExecuteCommand (a recordset through a command). Their failures go through StatementRunner.
#include "connection/object_checks.h"
#include "connection/ql_connection.h"
#include "connection/statement_runner.h"

namespace qldb {

namespace {

const StatementRoutine kExecute{QStringLiteral("Execute"), true, MsgAnswer::Cancel, false, true, false};
const StatementRoutine kExecuteWC{
    QStringLiteral("ExecuteWC"), false, MsgAnswer::Cancel, true, true, false, false};
const StatementRoutine kExecuteCommand{
    QStringLiteral("ExecuteCommand"), false, MsgAnswer::Cancel, false, true, false};

// Reads on SQL Server must not wait for writers' locks when the site asks for it; only the four
// data statements are prefixed, since the prefix would break WITH, EXEC and the like.
QString WithReadUncommittedPrefix(const QString& sText, ql_eProviderType iProviderType,
                                  bool bReadUncommitted) {
    if (iProviderType != ql_eProviderType::SQLServer || !bReadUncommitted)
        return sText;
    const QString head = TrimBlanks(sText).left(6).toUpper();
    if (head == QLatin1String("SELECT") || head == QLatin1String("INSERT") ||
        head == QLatin1String("UPDATE") || head == QLatin1String("DELETE"))
        return QStringLiteral("SET TRANSACTION ISOLATION LEVEL READ UNCOMMITTED\r") + sText;
    return sText;
}

} // namespace

std::shared_ptr<Recordset>
qlConnection::RunStatement(const StatementRoutine& routine, const QString& sStatement, bool bManageErrors,
                           bool* bError, QString* sErrDescription,
                           const std::function<std::shared_ptr<Recordset>(IDbConnection&)>& fnStep) {
    StatementRunner run(routine, {m_connection, m_errors.get(), *m_host, m_autoReconnect, m_productName},
                        bManageErrors, bError, sErrDescription);
    run.Enter();
    run.setStatement(sStatement);
    std::shared_ptr<Recordset> rs;
    run.Run([&] {
        rs.reset();
        rs = fnStep(RequireConnection(m_connection, QStringLiteral("qlConnection.") + routine.Name));
    });
    run.End();
    return rs;
}

void qlConnection::Execute(const QString& sCommandText, bool* bError, QString* sErrDescription,
                           int32_t* bManageErrors) {
    const bool manage = bManageErrors != nullptr && *bManageErrors != 0;
    // No timeout of its own: the connection's CommandTimeout bounds it, as it bounds ExecuteWC.
    const QString sText = WithReadUncommittedPrefix(sCommandText, m_providerType, m_readUncommitted);
    RunStatement(kExecute, sText, manage, bError, sErrDescription, [&](IDbConnection& connection) {
        connection.Execute(sText, ado::adExecuteNoRecords);
        return std::shared_ptr<Recordset>();
    });
}

std::shared_ptr<Recordset> qlConnection::ExecuteWC(const QString& sCommandText, int32_t iLockType,
                                                   bool* bError, QString* sErrDescription,
                                                   bool bManageErrors) {
    const QString sText = WithReadUncommittedPrefix(sCommandText, m_providerType, m_readUncommitted);
    // Callers count the rows and walk back to the first, hence the static cursor.
    return RunStatement(
        kExecuteWC, sText, bManageErrors, bError, sErrDescription, [&](IDbConnection& connection) {
            return connection.OpenRecordset(sText, ado::adOpenStatic, iLockType, ado::adOptionUnspecified);
        });
}

std::shared_ptr<Recordset> qlConnection::ExecuteCommand(const QString& sCommandQuery, bool* bError,
                                                        QString* sErrDescription, bool bManageErrors) {
    // Long repairs and imports run through here: no time limit.
    const Command command{
        .CommandText = sCommandQuery, .CommandType = ado::adCmdText, .CommandTimeout = 0, .Parameters = {}};
    return RunStatement(kExecuteCommand, sCommandQuery, bManageErrors, bError, sErrDescription,
                        [&](IDbConnection& connection) {
                            return connection.ExecuteCommand(command, ado::adOptionUnspecified);
                        });
}

} // namespace qldb
