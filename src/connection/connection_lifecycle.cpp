// Opening, cancelling and closing the connection of qlConnection. Every error of the data access
// layer reaches the caller as it came.
#include "connection/object_checks.h"
#include "connection/ql_connection.h"

namespace qldb {

namespace {
const QString kSetReadUncommitted = QStringLiteral("SET TRANSACTION ISOLATION LEVEL READ UNCOMMITTED");
}

void qlConnection::OpenConnection() {
    IDbConnection& connection =
        RequireConnection(m_connection, QStringLiteral("qlConnection.OpenConnection"));
    // A string set by the host, or kept from an earlier open, wins over the settings.
    if (m_connectionString.isEmpty())
        m_connectionString = MakeConnectionString();
    connection.setConnectionString(m_connectionString);
    connection.setMode(ado::adModeReadWrite);
    connection.setCursorLocation(ado::adUseClient);
    connection.setCommandTimeout(m_commandTimeout);
    const bool readUncommitted = m_providerType == ql_eProviderType::SQLServer && m_readUncommitted;
    if (readUncommitted)
        connection.setIsolationLevel(ado::adXactReadUncommitted);
    connection.Open();
    // The isolation level of the open alone does not hold on every provider; the statement does.
    if (readUncommitted)
        connection.Execute(kSetReadUncommitted, ado::adExecuteNoRecords);
    // HistoryMode was asked for while the connection was closed: its check runs now.
    if (m_historyModePending) {
        m_historyMode = CheckHistoryMode(true, true);
        m_historyModePending = false;
    }
}

void qlConnection::CloseConnection() {
    RequireConnection(m_connection, QStringLiteral("qlConnection.CloseConnection")).Close();
}

void qlConnection::Cancel() {
    RequireConnection(m_connection, QStringLiteral("qlConnection.Cancel")).Cancel();
}

} // namespace qldb
