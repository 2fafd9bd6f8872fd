#include "support/scripted_connection.h"

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QTime>

namespace qldb::test {

namespace {

const QString kProviderSource = QStringLiteral("Microsoft OLE DB Provider for ODBC Drivers");

ScriptedConnection::Matcher exactly(const QString& sText) {
    return [sText](const QString& s) { return s == sText; };
}

int32_t guessType(const QVariant& v) {
    switch (v.typeId()) {
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::UInt:
        return ado::adInteger;
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return ado::adBigInt;
    case QMetaType::Double:
    case QMetaType::Float:
        return ado::adDouble;
    case QMetaType::Bool:
        return ado::adBoolean;
    case QMetaType::QDateTime:
    case QMetaType::QDate:
        return ado::adDBTimeStamp;
    case QMetaType::QTime:
        return ado::adDBTime;
    case QMetaType::QByteArray:
        return ado::adLongVarBinary;
    default:
        return ado::adVarWChar;
    }
}

} // namespace

QString CallKindName(CallKind kind) {
    switch (kind) {
    case CallKind::SetConnectionString:
        return QStringLiteral("SetConnectionString");
    case CallKind::SetMode:
        return QStringLiteral("SetMode");
    case CallKind::SetCursorLocation:
        return QStringLiteral("SetCursorLocation");
    case CallKind::SetIsolationLevel:
        return QStringLiteral("SetIsolationLevel");
    case CallKind::Open:
        return QStringLiteral("Open");
    case CallKind::Close:
        return QStringLiteral("Close");
    case CallKind::Cancel:
        return QStringLiteral("Cancel");
    case CallKind::Execute:
        return QStringLiteral("Execute");
    case CallKind::OpenRecordset:
        return QStringLiteral("OpenRecordset");
    case CallKind::ExecuteCommand:
        return QStringLiteral("ExecuteCommand");
    case CallKind::BeginTrans:
        return QStringLiteral("BeginTrans");
    case CallKind::CommitTrans:
        return QStringLiteral("CommitTrans");
    case CallKind::RollbackTrans:
        return QStringLiteral("RollbackTrans");
    case CallKind::Tables:
        return QStringLiteral("Tables");
    case CallKind::Columns:
        return QStringLiteral("Columns");
    }
    return QString();
}

ErrorRecord ProviderError(int32_t number, const QString& sDescription) {
    ErrorRecord e;
    e.Number = number;
    e.Source = kProviderSource;
    e.Description = sDescription;
    return e;
}

// ---- Programming answers ----

void ScriptedConnection::addResponse(Response r) {
    m_responses.push_back(std::move(r));
}

void ScriptedConnection::respond(const QString& sText, const Recordset& rs, bool once) {
    respondIf(exactly(sText), rs, once);
}

void ScriptedConnection::respondIf(Matcher match, const Recordset& rs, bool once) {
    addResponse(Response{std::move(match), AnswerKind::Rows, rs, {}, {}, once, false});
}

void ScriptedConnection::respondNoRowset(const QString& sText, bool once) {
    respondNoRowsetIf(exactly(sText), once);
}

void ScriptedConnection::respondNoRowsetIf(Matcher match, bool once) {
    addResponse(Response{std::move(match), AnswerKind::NoRowset, Recordset(), {}, {}, once, false});
}

void ScriptedConnection::fail(const QString& sText, int32_t number, const QString& sDescription, bool once) {
    failIf(exactly(sText), number, sDescription, once);
}

void ScriptedConnection::failIf(Matcher match, int32_t number, const QString& sDescription, bool once) {
    addResponse(Response{std::move(match),
                         AnswerKind::Error,
                         Recordset(),
                         ProviderError(number, sDescription),
                         {},
                         once,
                         false});
}

void ScriptedConnection::onStatement(Matcher match, std::function<void()> action, bool once) {
    addResponse(
        Response{std::move(match), AnswerKind::Action, Recordset(), {}, std::move(action), once, false});
}

void ScriptedConnection::failOpen(int32_t number, const QString& sDescription, int times) {
    m_openFailure = ProviderError(number, sDescription);
    m_openFailures = times;
}

void ScriptedConnection::setColumns(const QString& sTableName, std::vector<CatalogColumn> columns) {
    m_columns[sTableName.toUpper()] = std::move(columns);
}

// ---- What happened ----

QStringList ScriptedConnection::statements() const {
    QStringList out;
    for (const Call& c : m_calls)
        if (c.Kind == CallKind::Execute || c.Kind == CallKind::OpenRecordset ||
            c.Kind == CallKind::ExecuteCommand)
            out << c.Text;
    return out;
}

std::vector<Call> ScriptedConnection::callsOf(CallKind kind) const {
    std::vector<Call> out;
    for (const Call& c : m_calls)
        if (c.Kind == kind)
            out.push_back(c);
    return out;
}

QStringList ScriptedConnection::trace() const {
    QStringList out;
    for (const Call& c : m_calls) {
        QString line = CallKindName(c.Kind);
        switch (c.Kind) {
        case CallKind::Execute:
        case CallKind::OpenRecordset:
        case CallKind::ExecuteCommand:
        case CallKind::Columns:
            line += QLatin1Char(':') + c.Text;
            break;
        case CallKind::SetMode:
        case CallKind::SetCursorLocation:
        case CallKind::SetIsolationLevel:
            line += QLatin1Char(':') + QString::number(c.Value);
            break;
        default:
            break;
        }
        out << line;
    }
    return out;
}

int ScriptedConnection::count(CallKind kind) const {
    int n = 0;
    for (const Call& c : m_calls)
        if (c.Kind == kind)
            ++n;
    return n;
}

Recordset ScriptedConnection::Table(const QStringList& names, const std::vector<Row>& rows) {
    std::vector<FieldInfo> fields;
    for (int i = 0; i < names.size(); ++i) {
        FieldInfo f;
        f.Name = names[i];
        f.Type = ado::adVarWChar;
        for (const Row& r : rows) {
            if (static_cast<int>(r.size()) > i && r[i].isValid() && !r[i].isNull()) {
                f.Type = guessType(r[i]);
                break;
            }
        }
        f.DefinedSize = f.Type == ado::adVarWChar ? 255 : 8;
        fields.push_back(f);
    }
    return Recordset(std::move(fields), rows);
}

// ---- IDbConnection ----

std::size_t ScriptedConnection::record(Call call) {
    m_calls.push_back(std::move(call));
    return m_calls.size() - 1;
}

void ScriptedConnection::raise(std::size_t call, ErrorRecord error) {
    m_calls[call].Failed = true;
    m_lastErrors = {error};
    throw qlException(std::move(error));
}

void ScriptedConnection::requireOpen(std::size_t call) {
    if (m_state == ado::adStateClosed)
        raise(call, ProviderError(kErrObjectClosed,
                                  QStringLiteral("Operation is not allowed when the object is closed.")));
}

void ScriptedConnection::setConnectionString(const QString& s) {
    record(Call{CallKind::SetConnectionString, s, 0, 0, 0, 0, {}, false});
    m_connectionString = s;
}

void ScriptedConnection::setMode(int32_t mode) {
    record(Call{CallKind::SetMode, {}, 0, 0, 0, mode, {}, false});
    m_mode = mode;
}

void ScriptedConnection::setCursorLocation(int32_t location) {
    record(Call{CallKind::SetCursorLocation, {}, 0, 0, 0, location, {}, false});
    m_cursorLocation = location;
}

void ScriptedConnection::setIsolationLevel(int32_t level) {
    record(Call{CallKind::SetIsolationLevel, {}, 0, 0, 0, level, {}, false});
    m_isolationLevel = level;
}

void ScriptedConnection::Open() {
    const std::size_t call = record(Call{CallKind::Open, m_connectionString, 0, 0, 0, 0, {}, false});
    if (m_state != ado::adStateClosed)
        raise(call, ProviderError(kErrObjectOpen,
                                  QStringLiteral("Operation is not allowed when the object is open.")));
    if (m_openFailures != 0) {
        if (m_openFailures > 0)
            --m_openFailures;
        raise(call, m_openFailure);
    }
    m_state = ado::adStateOpen;
    m_sqlTranCount = 0;
    m_adoTranLevel = 0;
}

void ScriptedConnection::Close() {
    const std::size_t call = record(Call{CallKind::Close, {}, 0, 0, 0, 0, {}, false});
    if (m_closeFailure)
        raise(call, *m_closeFailure);
    requireOpen(call);
    m_state = ado::adStateClosed;
}

void ScriptedConnection::Cancel() {
    const std::size_t call = record(Call{CallKind::Cancel, {}, 0, 0, 0, 0, {}, false});
    if (m_cancelFailure)
        raise(call, *m_cancelFailure);
}

std::optional<std::shared_ptr<Recordset>> ScriptedConnection::trackTransaction(const QString& sText,
                                                                               bool noRecords) {
    if (!m_trackSqlTransactions)
        return std::nullopt;
    const QString s = sText.trimmed().toUpper();
    if (s.startsWith(QLatin1String("BEGIN TRANSACTION"))) {
        ++m_sqlTranCount;
        return std::shared_ptr<Recordset>();
    }
    if (s.startsWith(QLatin1String("COMMIT TRANSACTION")) ||
        s.startsWith(QLatin1String("ROLLBACK TRANSACTION"))) {
        if (m_sqlTranCount == 0) {
            const bool commit = s.startsWith(QLatin1String("COMMIT"));
            throw qlException(ProviderError(
                kErrGeneral,
                commit ? QStringLiteral("The COMMIT TRANSACTION request has no corresponding BEGIN "
                                        "TRANSACTION.")
                       : QStringLiteral("The ROLLBACK TRANSACTION request has no corresponding BEGIN "
                                        "TRANSACTION.")));
        }
        m_sqlTranCount = s.startsWith(QLatin1String("COMMIT")) ? m_sqlTranCount - 1 : 0;
        return std::shared_ptr<Recordset>();
    }
    if (s == QLatin1String("SELECT @@TRANCOUNT")) {
        if (noRecords)
            return std::shared_ptr<Recordset>();
        return std::make_shared<Recordset>(Table({QString()}, {{QVariant(m_sqlTranCount)}}));
    }
    return std::nullopt;
}

std::shared_ptr<Recordset> ScriptedConnection::answer(std::size_t call, bool noRecords) {
    requireOpen(call);
    // Copied: an action may record further calls and move the vector.
    const QString sText = m_calls[call].Text;
    for (Response& r : m_responses) {
        if (r.Once && r.Used)
            continue;
        if (!r.Match(sText))
            continue;
        if (r.Once)
            r.Used = true;
        switch (r.Kind) {
        case AnswerKind::Action:
            // An action may fail the statement by throwing.
            try {
                r.Action();
            } catch (const qlException& e) {
                raise(call, e.record());
            }
            continue;
        case AnswerKind::Error:
            raise(call, r.Error);
        case AnswerKind::NoRowset:
            return noRecords ? nullptr : std::make_shared<Recordset>();
        case AnswerKind::Rows:
            return noRecords ? nullptr : std::make_shared<Recordset>(r.Rows);
        }
    }
    try {
        if (auto tracked = trackTransaction(sText, noRecords))
            return *tracked;
    } catch (const qlException& e) {
        raise(call, e.record());
    }
    if (m_failUnmatched)
        raise(call, ProviderError(kErrGeneral, QStringLiteral("No scripted answer for: ") + sText));
    return noRecords ? nullptr : std::make_shared<Recordset>();
}

std::shared_ptr<Recordset> ScriptedConnection::Execute(const QString& sCommandText, int32_t options) {
    const std::size_t call = record(Call{CallKind::Execute, sCommandText, options, 0, 0, 0, {}, false});
    return answer(call, (options & ado::adExecuteNoRecords) != 0 && options != ado::adOptionUnspecified);
}

std::shared_ptr<Recordset> ScriptedConnection::OpenRecordset(const QString& sSource, int32_t cursorType,
                                                             int32_t lockType, int32_t options) {
    const std::size_t call =
        record(Call{CallKind::OpenRecordset, sSource, options, cursorType, lockType, 0, {}, false});
    auto rs = answer(call, false);
    return rs ? rs : std::make_shared<Recordset>();
}

std::shared_ptr<Recordset> ScriptedConnection::ExecuteCommand(const Command& command, int32_t options) {
    const std::size_t call =
        record(Call{CallKind::ExecuteCommand, command.CommandText, options, 0, 0, 0, command, false});
    return answer(call, (options & ado::adExecuteNoRecords) != 0 && options != ado::adOptionUnspecified);
}

int32_t ScriptedConnection::BeginTrans() {
    const std::size_t call = record(Call{CallKind::BeginTrans, {}, 0, 0, 0, 0, {}, false});
    requireOpen(call);
    return ++m_adoTranLevel;
}

void ScriptedConnection::CommitTrans() {
    const std::size_t call = record(Call{CallKind::CommitTrans, {}, 0, 0, 0, 0, {}, false});
    requireOpen(call);
    if (m_adoTranLevel == 0)
        raise(call, ProviderError(kErrGeneral, QStringLiteral("No transaction is active.")));
    --m_adoTranLevel;
}

void ScriptedConnection::RollbackTrans() {
    const std::size_t call = record(Call{CallKind::RollbackTrans, {}, 0, 0, 0, 0, {}, false});
    requireOpen(call);
    if (m_adoTranLevel == 0)
        raise(call, ProviderError(kErrGeneral, QStringLiteral("No transaction is active.")));
    --m_adoTranLevel;
}

std::vector<CatalogTable> ScriptedConnection::Tables() {
    const std::size_t call = record(Call{CallKind::Tables, {}, 0, 0, 0, 0, {}, false});
    requireOpen(call);
    return m_tables;
}

std::vector<CatalogColumn> ScriptedConnection::Columns(const QString& sTableName) {
    const std::size_t call = record(Call{CallKind::Columns, sTableName, 0, 0, 0, 0, {}, false});
    requireOpen(call);
    auto it = m_columns.find(sTableName.toUpper());
    return it == m_columns.end() ? std::vector<CatalogColumn>() : it->second;
}

} // namespace qldb::test
