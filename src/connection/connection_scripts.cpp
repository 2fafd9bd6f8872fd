// Scripts and stored procedures of qlConnection: ExecuteScript runs a batch piece by piece between
// its GO lines, ExecuteSP calls a procedure with the parameters of a query constructor, and GetSP
// writes that call as text.
#include "connection/object_checks.h"
#include "connection/ql_connection.h"
#include "connection/statement_runner.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/sql_literal.h"
#include "sql/ql_query_constructor.h"

#include <QStringList>

namespace qldb {

namespace {

const StatementRoutine kExecuteScript{
    QStringLiteral("ExecuteScript"), false, MsgAnswer::Cancel, false, false, true};
const StatementRoutine kExecuteSP{QStringLiteral("ExecuteSP"), false, MsgAnswer::Retry, false, true, false};

// The pieces of a script. Only a GO alone on its own line separates; on other servers the whole
// script is one piece.
QStringList ScriptPieces(const QString& sSQL, ql_eProviderType iProviderType) {
    if (iProviderType != ql_eProviderType::SQLServer)
        return {sSQL};
    QString text = sSQL;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return text.split(QStringLiteral("\nGO\n"), Qt::KeepEmptyParts, Qt::CaseInsensitive);
}

bool HoldsOnlyLineFeeds(const QString& s) {
    for (const QChar c : s)
        if (c != QLatin1Char('\n'))
            return false;
    return true;
}

Command ScriptPieceCommand(const QString& sPiece, int32_t lCommandTimeout) {
    Parameter stmt;
    stmt.Name = QStringLiteral("@stmt");
    stmt.Type = ado::adLongVarWChar;
    stmt.Value = sPiece;
    stmt.Size = static_cast<int32_t>(sPiece.size());
    return Command{.CommandText = QStringLiteral("sp_executesql"),
                   .CommandType = ado::adCmdStoredProc,
                   .CommandTimeout = lCommandTimeout,
                   .NamedParameters = true,
                   .Parameters = {stmt}};
}

// The call of a stored procedure, without a time limit, with the fields of the query constructor
// as its parameters; one named field names them all.
Command ProcedureCommand(qlConnection& connection, const QString& CommandName,
                         qlQueryConstructor* qryConstructor) {
    Command command{.CommandText = CommandName,
                    .CommandType = ado::adCmdStoredProc,
                    .CommandTimeout = 0,
                    .Parameters = {}};
    if (qryConstructor == nullptr)
        return command;
    for (int32_t i = 0; i <= qryConstructor->GetFieldsCount(); ++i) {
        const ql_tField field = qryConstructor->Fields(i);
        Parameter parameter;
        parameter.Name = field.FieldName;
        parameter.Value = field.Value;
        parameter.Type = connection.GetAdoDataType(field.FieldType);
        if (field.Size > 0)
            parameter.Size = field.Size;
        if (!parameter.Name.isEmpty())
            command.NamedParameters = true;
        command.Parameters.push_back(parameter);
    }
    return command;
}

} // namespace

bool qlConnection::ExecuteScript(const QString& sSQL, bool bManageErrors, bool* bError,
                                 QString* sErrDescription, int32_t lCommandTimeout) {
    StatementRunner run(kExecuteScript,
                        {m_connection, m_errors.get(), *m_host, m_autoReconnect, m_productName},
                        bManageErrors, bError, sErrDescription);
    run.Enter();
    bool restart = true;
    while (restart) {
        restart = false;
        for (const QString& piece : ScriptPieces(sSQL, m_providerType)) {
            const QString sPiece = TrimBlanks(piece);
            if (HoldsOnlyLineFeeds(sPiece))
                continue;
            const Command command = ScriptPieceCommand(sPiece, lCommandTimeout);
            const StatementRunner::Next next = run.Run([&] {
                RequireConnection(m_connection, QStringLiteral("qlConnection.ExecuteScript"))
                    .ExecuteCommand(command, ado::adExecuteNoRecords);
            });
            // After a reconnection the pieces that had run are gone with their session, so the
            // whole script runs again.
            if (next == StatementRunner::Next::Restart) {
                restart = true;
                break;
            }
            if (next == StatementRunner::Next::Leave)
                break;
        }
    }
    run.End();
    return !run.Failed();
}

std::shared_ptr<Recordset> qlConnection::ExecuteSP(const QString& CommandName,
                                                   qlQueryConstructor* qryConstructor, bool* bError,
                                                   bool bManageErrors) {
    return RunStatement(
        kExecuteSP, CommandName, bManageErrors, bError, nullptr, [&](IDbConnection& connection) {
            return connection.ExecuteCommand(ProcedureCommand(*this, CommandName, qryConstructor),
                                             ado::adOptionUnspecified);
        });
}

QString qlConnection::GetSP(const QString& CommandName, qlQueryConstructor* qryConstructor, bool*) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), QStringLiteral("qlConnection"),
                   QStringLiteral("GetSP"));
    BusyPointer busy(*m_host);
    rule.setBeforeDecision([&] { busy.restore(); });
    QString result;
    rule.run([&] {
        QStringList lines;
        if (qryConstructor != nullptr) {
            for (int32_t i = 0; i <= qryConstructor->GetFieldsCount(); ++i) {
                const ql_tField field = qryConstructor->Fields(i);
                lines << QStringLiteral("    ") + field.FieldName + QStringLiteral(" = ") +
                             FormatSqlValue(field.Value, field.FieldType, m_providerType);
            }
        }
        result =
            QStringLiteral("EXEC ") + CommandName + QLatin1Char('\r') + lines.join(QStringLiteral(",\r"));
    });
    return result;
}

} // namespace qldb
