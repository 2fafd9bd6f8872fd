// Connection settings of qlConnection and the connection strings that hosts expect to see.
#include "connection/object_checks.h"
#include "connection/ql_connection.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"

namespace qldb {

namespace {

// The OLE DB row shared by the generic provider, the SQL Server native clients and Sybase.
QString OleDbString(const QString& sProvider, const QString& S, const QString& D, const QString& U,
                    const QString& P, bool bIntegrated) {
    QString s = QStringLiteral("Provider=") + sProvider + QStringLiteral(";Data Source=") + S +
                QStringLiteral(";Initial Catalog=") + D;
    if (bIntegrated)
        return s + QStringLiteral(";Integrated Security=SSPI;Persist Security Info=True;");
    return s + QStringLiteral(";Persist Security Info=True;User ID=") + U + QStringLiteral(";Password=") + P +
           QStringLiteral(";");
}

QString OleDbSqlProvider(ql_eNativeClients client) {
    switch (client) {
    case ql_eNativeClients::SQLNativeClient2005:
        return QStringLiteral("SQLNCLI.1");
    case ql_eNativeClients::SQLNativeClient2008:
        return QStringLiteral("SQLNCLI10.1");
    case ql_eNativeClients::SQLNativeClient2012:
        return QStringLiteral("SQLNCLI11");
    default:
        return QStringLiteral("SQLOLEDB.1");
    }
}

void AppendOdbcPiece(QString& s, const QString& sKey, const QString& sValue) {
    if (sValue.isEmpty())
        return;
    if (!s.isEmpty())
        s += QLatin1Char(';');
    s += sKey + sValue;
}

} // namespace

int32_t qlConnection::BulkCopyVersion() {
    // 80 is the bulk copy format every supported server reads.
    if (m_bulkCopyVersion < 1)
        m_bulkCopyVersion = 80;
    return m_bulkCopyVersion;
}

void qlConnection::setCommandTimeout(int32_t lSeconds) {
    m_commandTimeout = lSeconds;
    if (m_connection)
        m_connection->setCommandTimeout(lSeconds);
}

QString qlConnection::FieldDelimiterStart() const {
    return m_fieldDelimiterStart.isEmpty() ? QStringLiteral("[") : m_fieldDelimiterStart;
}

// A set end delimiter reads back as the start delimiter. Hosts have always seen it this way and
// their quoting code pairs the two accordingly, so it stays.
QString qlConnection::FieldDelimiterEnd() const {
    return m_fieldDelimiterEnd.isEmpty() ? QStringLiteral("]") : m_fieldDelimiterStart;
}

QString qlConnection::MakeConnectionString() {
    if (!m_forcedConnectionString.isEmpty())
        return m_forcedConnectionString;
    const QString& S = m_server;
    const QString& D = m_databaseName;
    const QString& U = m_user;
    const QString& P = m_password;
    const bool integrated = m_networkCredential;
    if (!m_providerName.isEmpty())
        return OleDbString(m_providerName, S, D, U, P, integrated);

    // The provider named in the string is remembered, so a second call takes the generic row above.
    QString s;
    switch (m_providerType) {
    case ql_eProviderType::SQLServer:
        if (m_sqlNativeClient == ql_eNativeClients::MSOLEDBSQL) {
            s = QStringLiteral("Provider=MSOLEDBSQL;Server=") + S + QStringLiteral(";Database=") + D;
            s += integrated ? QStringLiteral(";Integrated Security=SSPI")
                            : QStringLiteral(";User ID=") + U + QStringLiteral(";Password=") + P;
            s += QStringLiteral(";DataTypeCompatibility=80;MARS Connection=True;");
            m_providerName = QStringLiteral("MSOLEDBSQL");
        } else {
            m_providerName = OleDbSqlProvider(m_sqlNativeClient);
            s = OleDbString(m_providerName, S, D, U, P, integrated);
        }
        break;
    case ql_eProviderType::MsAccess:
        s = QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0; Data Source=") + D +
            QStringLiteral(";User Id=") + U + QStringLiteral(";Password=") + P + QStringLiteral(";");
        m_providerName = QStringLiteral("Microsoft.Jet.OLEDB.4.0");
        break;
    case ql_eProviderType::SyBase:
        s = OleDbString(QStringLiteral("ASAProv.90"), S, D, U, P, integrated);
        m_providerName = QStringLiteral("ASAProv.90");
        break;
    case ql_eProviderType::MySql:
        s = QStringLiteral("DRIVER={MySQL ODBC 5.2w Driver};SERVER=") + S + QStringLiteral(";DATABASE=") + D;
        if (!integrated)
            s += QStringLiteral(";USER=") + U + QStringLiteral(";PASSWORD=") + P;
        s += QStringLiteral(";OPTION=3;");
        m_providerName = QStringLiteral("MySQL");
        break;
    case ql_eProviderType::Oracle:
        s = QStringLiteral("Data Source=") + D + QStringLiteral("; Integrated Security=yes");
        break;
    case ql_eProviderType::ODBC:
        AppendOdbcPiece(s, QStringLiteral("DSN="), S);
        AppendOdbcPiece(s, QStringLiteral("UserID="), U);
        AppendOdbcPiece(s, QStringLiteral("Password="), P);
        AppendOdbcPiece(s, QStringLiteral("Database="), D);
        m_providerName = QStringLiteral("ODBC");
        break;
    case ql_eProviderType::FoxPro:
        s = QStringLiteral("Provider=MSDASQL.1;Persist Security Info=True;Data Source=") + D;
        if (!integrated)
            s += QStringLiteral(";uid=") + U + QStringLiteral(";pwd=") + P;
        m_providerName = QStringLiteral("FoxPro");
        break;
    }
    return s;
}

QString qlConnection::CollectionName() {
    // Every step goes on after a failure: a collation that cannot be read stays empty and is asked
    // for again on the next read.
    ErrorRule rule(ErrorKind::GoOn, m_errors.get(), QStringLiteral("qlConnection"),
                   QStringLiteral("CollectionName"));
    if (m_collationCache.isEmpty() && !m_databaseName.isEmpty()) {
        std::shared_ptr<Recordset> rs;
        rule.run([&] {
            rs = ExecuteWC(QStringLiteral("SELECT DATABASEPROPERTYEX('") + m_databaseName +
                           QStringLiteral("', 'Collation') AS MIRANDO_COLLATION"));
        });
        rule.run([&] {
            m_collationCache = ToText(RequireRecordset(rs, QStringLiteral("qlConnection.CollectionName"))
                                          .Value(QStringLiteral("MIRANDO_COLLATION")));
        });
        rule.run([&] { RequireRecordset(rs, QStringLiteral("qlConnection.CollectionName")).Close(); });
    }
    return m_collationCache;
}

} // namespace qldb
