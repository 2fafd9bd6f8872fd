// qlConnection: trigger status, change tracking, the history mode check and table cloning, the
// database-wide switches that an update turns around itself (SQL Server).
#include "connection/ql_connection.h"
#include "connection/record_walk.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"
#include "platform/tools/sql_literal.h"

#include <QDateTime>
#include <QRandomGenerator>
#include <QStringList>

namespace qldb {

using record_walk::kClass;
using record_walk::Opened;
using record_walk::WalkRows;

namespace {

const QString CR = QStringLiteral("\r");
const QString CRLF = QStringLiteral("\r\n");

// The procedure of the application's structure that lists what keeps the history mode from
// working: one row (ERRID, ERRDS) per defect, none when all is in order.
const QString kStructureCheck = QStringLiteral("SYS_XSP_SYS_SYS_CHK");

QString AllTriggersScript(const QString& word) {
    const QStringList lines = {
        QStringLiteral("DECLARE @SQL NVARCHAR(1024)"),
        QStringLiteral("DECLARE @TABLE NVARCHAR(255)"),
        QStringLiteral("DECLARE trg_cursor CURSOR LOCAL FAST_FORWARD FOR"),
        QStringLiteral("  SELECT NAME"),
        QStringLiteral("  FROM dbo.sysobjects"),
        QStringLiteral(
            "  WHERE XTYPE = 'U' AND uid = (select schema_id from sys.schemas where name = 'dbo')"),
        QStringLiteral("OPEN trg_cursor"),
        QStringLiteral("FETCH NEXT FROM trg_cursor"),
        QStringLiteral("INTO @TABLE"),
        QStringLiteral("WHILE @@FETCH_STATUS = 0"),
        QStringLiteral("BEGIN"),
        QStringLiteral("  SET @SQL = 'ALTER TABLE ' + @TABLE + ' ") + word + QStringLiteral(" TRIGGER ALL'"),
        QStringLiteral("  EXEC sp_executesql @stmt = @SQL"),
        QStringLiteral("  FETCH NEXT FROM trg_cursor"),
        QStringLiteral("  INTO @TABLE"),
        QStringLiteral("END"),
        QStringLiteral("CLOSE trg_cursor"),
        QStringLiteral("DEALLOCATE trg_cursor"),
    };
    return lines.join(CRLF);
}

QString DefaultConstraintsScript(const QString& sTable, const QString& sNewTable, const QString& tag) {
    const QStringList lines = {
        QStringLiteral("DECLARE @cmd VARCHAR(max); SET @cmd = '';"),
        QStringLiteral("SELECT @cmd = @cmd + 'ALTER TABLE ") + sNewTable +
            QStringLiteral(" ADD CONSTRAINT [DF_") + sNewTable + tag +
            QStringLiteral(
                "_' + col.name + '] DEFAULT ' + con.definition + ' FOR [' + col.name + '];' + CHAR(13)"),
        QStringLiteral("FROM sys.columns col INNER JOIN sys.default_constraints con on col.object_id = "
                       "con.parent_object_id and col.column_id = con.parent_column_id"),
        QStringLiteral("WHERE col.object_id = object_id('") + sTable + QStringLiteral("');"),
        QStringLiteral("EXEC(@cmd);"),
    };
    return lines.join(CR);
}

// Constraint names are database-wide, also for temporary tables: a clone into a "#" table gets a
// suffix of the moment and a random number so that two sessions cloning the same table don't
// collide.
QString ConstraintTag(const QString& sNewTable) {
    if (!sNewTable.startsWith(QLatin1Char('#')))
        return QString();
    return QStringLiteral("_") + QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddHHmmsszzz")) +
           QString::number(QRandomGenerator::global()->bounded(100));
}

} // namespace

void qlConnection::setHistoryMode(bool v) {
    if (v && !m_historyMode) {
        m_historyMode = true;
        m_historyModePending = true;
        // On a closed connection the check waits for the next OpenConnection.
        if (m_connection && m_connection->State() != ado::adStateClosed) {
            const bool passed = CheckHistoryMode(true, true);
            m_historyModePending = false;
            m_historyMode = passed;
        }
    } else {
        m_historyMode = v;
    }
    if (!m_historyMode)
        m_historyModePending = false;
}

bool qlConnection::CheckTriggerStatus(QString* sTriggerDisabled, const QString& sFilter) {
    Q_UNUSED(sFilter) // accepted from callers; the status is always that of every trigger
    const QString routine = QStringLiteral("CheckTriggerStatus");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    bool result = false;
    const QString sql = QStringLiteral("SELECT name") + CR + QStringLiteral("FROM sys.triggers") + CR +
                        QStringLiteral("WHERE is_disabled = ") +
                        FormatSqlValue(true, ql_eDataType::TypeBit, m_providerType);
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteWC(sql, ado::adLockReadOnly); }))
        return result;
    bool allEnabled = false;
    if (!rule.run([&] { allEnabled = Opened(rs, routine).IsEOF(); }))
        return result;
    if (allEnabled)
        return true;
    // The caller's text stays at the head of the list.
    QString local;
    QString& names = sTriggerDisabled ? *sTriggerDisabled : local;
    WalkRows(rule, rs, routine, [&](Recordset& r) {
        if (!names.isEmpty())
            names += CR;
        names += ToText(r.Value(QStringLiteral("name")));
    });
    return result;
}

QVariant qlConnection::AlterTriggersStatus(bool bEnable, const QString& sTableName) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("AlterTriggersStatus"));
    QVariant result;
    // Switching every trigger of a table at once is SQL Server's; elsewhere there is nothing to do.
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    const QString word = bEnable ? QStringLiteral("ENABLE") : QStringLiteral("DISABLE");
    const QString script = sTableName.isEmpty()
                               ? AllTriggersScript(word)
                               : QStringLiteral("ALTER TABLE ") + sTableName + QLatin1Char(' ') + word +
                                     QStringLiteral(" TRIGGER ALL");
    rule.run([&] { result = ExecuteScript(script); });
    return result;
}

bool qlConnection::DisableChangeTracking() {
    const QString routine = QStringLiteral("DisableChangeTracking");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    bool result = false;
    // Change tracking is SQL Server's; no other server has it to switch off.
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    const QString tracked =
        QStringList{QStringLiteral("SELECT DISTINCT t.name"),
                    QStringLiteral("FROM sys.change_tracking_tables ctt"),
                    QStringLiteral("INNER JOIN sys.tables t on t.object_id = ctt.object_id"),
                    QStringLiteral("WHERE ctt.is_track_columns_updated_on = 1;")}
            .join(CR);
    // Tables that track rows only are left to the database switch below.
    if (!WalkQuery(rule, routine, tracked, [&](Recordset& r) {
            ExecuteScript(QStringLiteral("ALTER TABLE [") + ToText(r.Value(QStringLiteral("name"))) +
                          QStringLiteral("] DISABLE CHANGE_TRACKING;"));
        }))
        return result;
    const QString database =
        QStringLiteral("IF EXISTS(SELECT * FROM sys.change_tracking_databases WHERE database_id = DB_ID('") +
        m_databaseName + QStringLiteral("'))") + CR + QStringLiteral("ALTER DATABASE [") + m_databaseName +
        QStringLiteral("] SET CHANGE_TRACKING = OFF;");
    rule.run([&] { result = ExecuteScript(database); });
    return result;
}

bool qlConnection::CheckHistoryMode(bool bShowError, bool bOnStart) {
    const QString routine = QStringLiteral("CheckHistoryMode");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    bool result = false;
    BusyPointer busy(*m_host);
    rule.setBeforeDecision([&] { busy.restore(); });

    if (bOnStart) {
        // At start the check runs only when the database asks for it; no setting means no check.
        const QString sql =
            QStringLiteral("SELECT MAX(CFVAL) FROM SYS_CFG") + CR + QStringLiteral("WHERE KEYCF = ") +
            FormatSqlValue(QStringLiteral("HISTORY_CHECK_ON_START"), ql_eDataType::TypeChar, m_providerType);
        if (!ReadQuery(rule, routine, sql, [&](Recordset& set) {
                if (!set.IsEOF())
                    bOnStart = !ToBoolean(set.Value(0));
            }))
            return result;
    }
    if (bOnStart || m_historyChecked)
        return true;

    bool bError = false;
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = ExecuteSP(kStructureCheck, nullptr, &bError, false); }))
        return result;
    if (!rule.run([&] { result = Opened(rs, routine).IsEOF(); }))
        return result;
    if (!result && bShowError) {
        QString text = QStringLiteral("La definizione della struttura del database non è completa. Si sono "
                                      "verificati i seguenti errori:");
        if (!WalkRows(rule, rs, routine, [&](Recordset& r) {
                text += CRLF + QStringLiteral("Errore #") + ToText(r.Value(QStringLiteral("ERRID"))) +
                        QStringLiteral(": ") + ToText(r.Value(QStringLiteral("ERRDS")));
            }))
            return result;
        m_host->setMousePointer(kPointerDefault);
        m_host->MessageBox(text, MsgButtons::OK, MsgIcon::Critical, m_productName);
        m_host->MessageBox(
            QStringLiteral("La modalità di storicizzazione non è attivabile per la connessione "
                           "corrente. Eseguire la stored procedure SYS_XSP_SYS_SYS_CHK per "
                           "ulteriori dettagli."),
            MsgButtons::OK, MsgIcon::Exclamation, m_productName);
        m_host->setMousePointer(kPointerHourglass);
    }
    if (!rule.run([&] { Opened(rs, routine).Close(); }))
        return result;
    m_historyChecked = result;
    return result;
}

bool qlConnection::CloneTable(const QString& sTable, const QString& sNewTable, bool bCopyConstraint,
                              bool bCopyData) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("CloneTable"));
    bool result = false;
    bool bError = false;
    const QString copy = QStringLiteral("SELECT * INTO ") + sNewTable + QStringLiteral(" FROM ") + sTable +
                         (bCopyData ? QStringLiteral(";") : QStringLiteral(" WHERE 1=0;")) + CR;
    if (!rule.run([&] { Execute(copy, &bError); }) || bError)
        return result;
    if (!bCopyConstraint)
        return true;
    const QString constraints = DefaultConstraintsScript(sTable, sNewTable, ConstraintTag(sNewTable));
    if (!rule.run([&] { Execute(constraints, &bError); }))
        return result;
    result = !bError;
    return result;
}

} // namespace qldb
