#include "support/scripted_connection.h"

#include <utility>

namespace qldb::test {
namespace {

// ADO's number for "operation is not allowed when the object is open".
constexpr int32_t kErrObjectOpen = 3705;

ScriptedConnection::Matcher exactly(const QString& sText) {
    return [sText](const QString& s) { return s == sText; };
}

int32_t guessType(const QVariant& v) {
    static const std::pair<int, int32_t> kTypes[] = {
        {QMetaType::Int, ado::adInteger},           {QMetaType::Short, ado::adInteger},
        {QMetaType::UInt, ado::adInteger},          {QMetaType::LongLong, ado::adBigInt},
        {QMetaType::ULongLong, ado::adBigInt},      {QMetaType::Double, ado::adDouble},
        {QMetaType::Float, ado::adDouble},          {QMetaType::Bool, ado::adBoolean},
        {QMetaType::QDateTime, ado::adDBTimeStamp}, {QMetaType::QDate, ado::adDBTimeStamp},
        {QMetaType::QTime, ado::adDBTime},          {QMetaType::QByteArray, ado::adLongVarBinary}};
    for (const auto& [typeId, adoType] : kTypes)
        if (v.typeId() == typeId)
            return adoType;
    return ado::adVarWChar;
}

bool isStatement(CallKind kind) {
    return kind >= CallKind::Execute && kind <= CallKind::ExecuteCommand;
}

// Execute and Command.Execute skip the recordset only for the no-records option itself, not for -1.
bool skipsRecords(int32_t options) {
    return (options & ado::adExecuteNoRecords) != 0 && options != ado::adOptionUnspecified;
}

} // namespace

ErrorRecord ProviderError(int32_t number, const QString& sDescription) {
    ErrorRecord e;
    e.Number = number;
    e.Source = QStringLiteral("Microsoft OLE DB Provider for ODBC Drivers");
    e.Description = sDescription;
    return e;
}

void ScriptedConnection::respond(const QString& sText, const Recordset& rs, bool once) {
    m_responses.push_back(Response{exactly(sText), rs, std::nullopt, once, false});
}

void ScriptedConnection::fail(const QString& sText, int32_t number, const QString& sDescription, bool once) {
    failIf(exactly(sText), number, sDescription, once);
}

void ScriptedConnection::failIf(Matcher match, int32_t number, const QString& sDescription, bool once) {
    m_responses.push_back(
        Response{std::move(match), Recordset(), ProviderError(number, sDescription), once, false});
}

QStringList ScriptedConnection::statements() const {
    QStringList out;
    for (const Call& c : m_calls)
        if (isStatement(c.Kind))
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
    static const QStringList kNames =
        QStringLiteral("SetConnectionString SetMode SetCursorLocation "
                       "SetIsolationLevel Open Close Cancel Execute OpenRecordset "
                       "ExecuteCommand BeginTrans CommitTrans RollbackTrans")
            .split(QLatin1Char(' '));
    QStringList out;
    for (const Call& c : m_calls) {
        QString line = kNames[static_cast<int>(c.Kind)];
        if (isStatement(c.Kind))
            line += QLatin1Char(':') + c.Text;
        else if (c.Kind >= CallKind::SetMode && c.Kind <= CallKind::SetIsolationLevel)
            line += QLatin1Char(':') + QString::number(c.Value);
        out << line;
    }
    return out;
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

Call& ScriptedConnection::record(CallKind kind, const QString& sText, int32_t value) {
    m_calls.push_back(Call{.Kind = kind, .Text = sText, .Value = value});
    return m_calls.back();
}

void ScriptedConnection::raise(ErrorRecord error) {
    m_lastErrors = {error};
    throw qlException(std::move(error));
}

void ScriptedConnection::requireOpen() {
    if (m_state == ado::adStateClosed)
        raise(ProviderError(kErrObjectClosed,
                            QStringLiteral("Operation is not allowed when the object is closed.")));
}

void ScriptedConnection::setConnectionString(const QString& s) {
    record(CallKind::SetConnectionString, s);
    m_connectionString = s;
}

void ScriptedConnection::Open() {
    record(CallKind::Open, m_connectionString);
    if (m_state != ado::adStateClosed)
        raise(ProviderError(kErrObjectOpen,
                            QStringLiteral("Operation is not allowed when the object is open.")));
    if (auto failure = std::exchange(m_openFailure, std::nullopt))
        raise(*failure);
    m_state = ado::adStateOpen;
    m_sqlTranCount = 0;
    m_adoTranLevel = 0;
}

void ScriptedConnection::Close() {
    record(CallKind::Close);
    if (m_closeFailure)
        raise(*m_closeFailure);
    requireOpen();
    m_state = ado::adStateClosed;
}

void ScriptedConnection::Cancel() {
    record(CallKind::Cancel);
    if (m_cancelFailure)
        raise(*m_cancelFailure);
}

std::optional<std::shared_ptr<Recordset>> ScriptedConnection::trackTransaction(const QString& sText,
                                                                               bool noRecords) {
    const QString s = sText.trimmed().toUpper();
    const bool begin = s.startsWith(QLatin1String("BEGIN TRANSACTION"));
    const bool commit = s.startsWith(QLatin1String("COMMIT TRANSACTION"));
    if (begin || commit || s.startsWith(QLatin1String("ROLLBACK TRANSACTION"))) {
        if (!begin && m_sqlTranCount == 0)
            raise(ProviderError(kErrGeneral, QStringLiteral("The %1 TRANSACTION request has no "
                                                            "corresponding BEGIN TRANSACTION.")
                                                 .arg(commit ? "COMMIT" : "ROLLBACK")));
        m_sqlTranCount = begin ? m_sqlTranCount + 1 : commit ? m_sqlTranCount - 1 : 0;
        return std::shared_ptr<Recordset>();
    }
    if (s != QLatin1String("SELECT @@TRANCOUNT"))
        return std::nullopt;
    return noRecords ? nullptr
                     : std::make_shared<Recordset>(Table({QString()}, {{QVariant(m_sqlTranCount)}}));
}

std::shared_ptr<Recordset> ScriptedConnection::answer(const QString& sText, bool noRecords) {
    requireOpen();
    for (Response& r : m_responses) {
        if ((r.Once && r.Used) || !r.Match(sText))
            continue;
        r.Used = true;
        if (r.Error)
            raise(*r.Error);
        return noRecords ? nullptr : std::make_shared<Recordset>(r.Rows);
    }
    if (auto tracked = trackTransaction(sText, noRecords))
        return *tracked;
    return noRecords ? nullptr : std::make_shared<Recordset>();
}

std::shared_ptr<Recordset> ScriptedConnection::Execute(const QString& sCommandText, int32_t options) {
    record(CallKind::Execute, sCommandText).Options = options;
    return answer(sCommandText, skipsRecords(options));
}

std::shared_ptr<Recordset> ScriptedConnection::OpenRecordset(const QString& sSource, int32_t cursorType,
                                                             int32_t lockType, int32_t options) {
    m_calls.push_back(Call{.Kind = CallKind::OpenRecordset,
                           .Text = sSource,
                           .Options = options,
                           .CursorType = cursorType,
                           .LockType = lockType});
    auto rs = answer(sSource, false);
    return rs ? rs : std::make_shared<Recordset>();
}

std::shared_ptr<Recordset> ScriptedConnection::ExecuteCommand(const Command& command, int32_t options) {
    m_calls.push_back(Call{
        .Kind = CallKind::ExecuteCommand, .Text = command.CommandText, .Options = options, .Cmd = command});
    return answer(command.CommandText, skipsRecords(options));
}

int32_t ScriptedConnection::BeginTrans() {
    record(CallKind::BeginTrans);
    requireOpen();
    return ++m_adoTranLevel;
}

void ScriptedConnection::endTrans(CallKind kind) {
    record(kind);
    requireOpen();
    if (m_adoTranLevel == 0)
        raise(ProviderError(kErrGeneral, QStringLiteral("No transaction is active.")));
    --m_adoTranLevel;
}

std::vector<CatalogTable> ScriptedConnection::Tables() {
    std::vector<CatalogTable> out;
    for (const auto& [table, columns] : m_catalog)
        out.push_back(table);
    return out;
}

std::vector<CatalogColumn> ScriptedConnection::Columns(const QString& sTableName) {
    for (const auto& [table, columns] : m_catalog) {
        if (table.Name.compare(sTableName, Qt::CaseInsensitive) == 0)
            return columns;
    }
    return {};
}

} // namespace qldb::test
