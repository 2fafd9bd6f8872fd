#include "cli/dry_run_connection.h"

#include "platform/odbc/ado_types.h"

#include <QRegularExpression>

namespace qldb::cli {

bool DryRunConnection::IsRead(const QString& sStatement) {
    static const QRegularExpression prefix(
        QStringLiteral("^\\s*SET\\s+TRANSACTION\\s+ISOLATION\\s+LEVEL\\s+READ\\s+"
                       "UNCOMMITTED\\s*;?\\s*"),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression read(
        QStringLiteral("^\\s*(SELECT|WITH|EXEC(UTE)?\\s+(sp_help|sp_columns|sp_tables|sp_pkeys|sp_fkeys|sp_"
                       "stored_procedures)|sp_help)\\b"),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression selectInto(QStringLiteral("^\\s*SELECT\\b[^;]*\\bINTO\\s+[#\\w\\[]"),
                                               QRegularExpression::CaseInsensitiveOption);
    QString text = sStatement;
    text.remove(prefix);
    return read.match(text).hasMatch() && !selectInto.match(text).hasMatch();
}

std::shared_ptr<Recordset> DryRunConnection::skip(const QString& sStatement) {
    ++m_printed;
    m_printer(sStatement);
    // What a statement without rows answers: a closed recordset.
    return std::make_shared<Recordset>();
}

std::shared_ptr<Recordset> DryRunConnection::Execute(const QString& sCommandText, int32_t options) {
    if (IsRead(sCommandText))
        return m_inner->Execute(sCommandText, options);
    auto rs = skip(sCommandText);
    return (options & ado::adExecuteNoRecords) ? std::shared_ptr<Recordset>() : rs;
}

std::shared_ptr<Recordset> DryRunConnection::OpenRecordset(const QString& sSource, int32_t cursorType,
                                                           int32_t lockType, int32_t options) {
    if (IsRead(sSource))
        return m_inner->OpenRecordset(sSource, cursorType, lockType, options);
    return skip(sSource);
}

std::shared_ptr<Recordset> DryRunConnection::ExecuteCommand(const Command& command, int32_t options) {
    // A script piece travels as the statement parameter of sp_executesql: that text is what would run.
    if (command.CommandText.compare(QLatin1String("sp_executesql"), Qt::CaseInsensitive) == 0 &&
        !command.Parameters.empty()) {
        const QString piece = command.Parameters.front().Value.toString();
        return IsRead(piece) ? m_inner->ExecuteCommand(command, options) : skip(piece);
    }
    if (command.CommandType == ado::adCmdText && IsRead(command.CommandText))
        return m_inner->ExecuteCommand(command, options);
    return skip(command.CommandText);
}

int32_t DryRunConnection::BeginTrans() {
    skip(QStringLiteral("BEGIN TRANSACTION"));
    return ++m_transactionLevel;
}

void DryRunConnection::CommitTrans() {
    skip(QStringLiteral("COMMIT TRANSACTION"));
    if (m_transactionLevel > 0)
        --m_transactionLevel;
}

void DryRunConnection::RollbackTrans() {
    skip(QStringLiteral("ROLLBACK TRANSACTION"));
    m_transactionLevel = 0;
}

} // namespace qldb::cli
