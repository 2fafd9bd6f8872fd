// Update queries: version-bound SQL scripts kept in the companion "Query_" file of a structure file,
// run before or after the structural update, and recorded in SYS_QRY so that each runs once per
// database and a failed one runs again.
//
// The query file, read by position: the root's child 5 holds two children, Before (0) and After
// (1). Each holds version nodes; a version node's child 0 is the version ("4.3.12") and every
// further element child is one query, with the description as its child 0 and the SQL text as its
// child 1.
#include "connection/object_checks.h"
#include "platform/errors/error_rule.h"
#include "platform/host/host_services.h"
#include "platform/tools/conversions.h"
#include "platform/tools/sql_literal.h"
#include "sql/ql_query_constructor.h"
#include "structure/ql_database.h"
#include "structure/structure_document.h"

namespace qldb {

namespace {

const QString kClass = QStringLiteral("qlDatabase");
const QString CR = QStringLiteral("\r");
// The root's child that holds the Before and After queries.
constexpr int kQueriesContainer = 5;
// The error of a query file that can't be read as one.
constexpr int32_t kErrBadQueryFile = 321;

QString Q(const QVariant& value) {
    return FormatSqlValue(value, ql_eDataType::TypeChar, ql_eProviderType::SQLServer);
}

// The form in which a stored script is recognised: upper case, without any blank, tab or line end,
// so that a script reformatted in the file is still the one that already ran.
QString ScriptKey(const QString& sText) {
    QString out;
    out.reserve(sText.size());
    for (const QChar c : sText.toUpper()) {
        if (c != QLatin1Char(' ') && c != QLatin1Char('\t') && c != QLatin1Char('\r') &&
            c != QLatin1Char('\n'))
            out += c;
    }
    return out;
}

// One part of a version, five digits wide: "12" gives "00012". A part that is no number stays as
// it is.
QString VersionPart(const QString& sPart) {
    bool number = false;
    const qlonglong n = sPart.toLongLong(&number);
    if (!number)
        return sPart;
    const QString digits = QStringLiteral("%1").arg(n < 0 ? -n : n, 5, 10, QLatin1Char('0'));
    return n < 0 ? QLatin1Char('-') + digits : digits;
}

// Replaces sKey with the comparable form of a version of three parts: 4.3.12 gives
// 000040000300012. A version of another shape leaves sKey as it was.
void VersionKey(const QString& sVersion, QString& sKey) {
    const QStringList parts = sVersion.split(QLatin1Char('.'));
    if (parts.size() == 3)
        sKey = VersionPart(parts[0]) + VersionPart(parts[1]) + VersionPart(parts[2]);
}

// A query id of 0 (or none) means the query has no outside key.
bool IsZeroId(const QVariant& v) {
    if (IsNullOrEmpty(v))
        return true;
    if (IsIntegerVariant(v) || IsFloatVariant(v) || v.typeId() == QMetaType::Bool)
        return ToDouble(v) == 0;
    const QString text = ToText(v);
    return IsNumericText(text) && ToDouble(v) == 0;
}

// The first field of the first row; Empty when the statement gave no rowset or no row (a batch may
// answer with messages only).
QVariant FirstValue(Recordset& set) {
    if (set.State() != ado::adStateOpen || set.IsEOF())
        return {};
    return set.Value(0);
}

struct QueryItem {
    QString Description;
    QString Text;
};

// The queries of a version node: its element children after the version.
std::vector<QueryItem> QueriesOf(const QDomNode& versionNode) {
    std::vector<QueryItem> items;
    for (int i = 1; i < ChildCount(versionNode); ++i) {
        const QDomNode query = ChildAt(versionNode, i);
        if (query.isElement())
            items.push_back({ChildText(query, 0), ChildText(query, 1)});
    }
    return items;
}

} // namespace

int32_t qlDatabase::GetNewOrderQuery(const QString& sAziName, const QString& sVersion, int16_t iEventAction) {
    const QString routine = QStringLiteral("GetNewOrderQuery");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    int32_t result = 0;
    const QString sql = QStringList{QStringLiteral("SELECT MAX(QYORD) AS MAX"),
                                    QStringLiteral("FROM SYS_QRY"),
                                    QStringLiteral("WHERE "),
                                    QStringLiteral("     QYTAC=") + Q(iEventAction) + QStringLiteral(" AND"),
                                    QStringLiteral("     QYDBE=") + Q(sAziName) + QStringLiteral(" AND"),
                                    QStringLiteral("     QYVER=") + Q(sVersion)}
                            .join(CR);
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = connection().ExecuteWC(sql, ado::adLockReadOnly); }))
        return result;
    rule.run([&] {
        // MAX over no rows is Null: the first query of its version gets 1.
        result = ToLong(FirstValue(RequireRecordset(rs, kClass + QLatin1Char('.') + routine))) + 1;
    });
    return result;
}

int32_t qlDatabase::AddNewQuery(const QString& sAziName, int16_t iEventAction,
                                const QString& sStructureVersion, const QString& sDescription,
                                const QString& sSqlText, const QVariant& vQueryId) {
    const QString routine = QStringLiteral("AddNewQuery");
    const bool hasId = !IsZeroId(vQueryId);
    // A query with an outside key belongs to a caller that tests the answer: a failure is only 0.
    ErrorRule rule(hasId ? ErrorKind::Clear : ErrorKind::Report, m_errors.get(), kClass, routine);
    int32_t result = 0;
    QString version = TrimBlanks(sStructureVersion);
    if (version.isEmpty())
        version = QStringLiteral("Unknown");

    qlQueryConstructor query;
    QString insert;
    if (!rule.run([&] {
            query.setProviderType(connection().ProviderType());
            query.SetTable(QStringLiteral("SYS_QRY"), QString());
        }))
        return result;
    const int32_t order = GetNewOrderQuery(sAziName, version, iEventAction);
    if (!rule.run([&] {
            query.AddUpdateField(QStringLiteral("QYDBE"), sAziName, ql_eDataType::TypeChar);
            query.AddUpdateField(QStringLiteral("QYTAC"), iEventAction, ql_eDataType::TypeInt);
            query.AddUpdateField(QStringLiteral("QYVER"), version, ql_eDataType::TypeChar);
            query.AddUpdateField(QStringLiteral("QYORD"), order, ql_eDataType::TypeLong);
            query.AddUpdateField(QStringLiteral("QYDES"), sDescription, ql_eDataType::TypeChar);
            query.AddUpdateField(QStringLiteral("QYTXT"), sSqlText, ql_eDataType::TypeMemo);
            if (hasId) {
                const bool number = IsIntegerVariant(vQueryId) || IsNumericText(ToText(vQueryId));
                query.AddUpdateField(QStringLiteral("IDQRY"), vQueryId,
                                     number ? ql_eDataType::TypeLong : ql_eDataType::TypeChar);
            }
            insert = query.MakeQuery(ql_eQueryType::Insert, ql_eAlterAction::Alter_AddField,
                                     ql_KeyType::KeyTypeSecondary);
        }))
        return result;
    if (!rule.run([&] { connection().Execute(insert); }))
        return result;
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] { rs = connection().ExecuteWC(QStringLiteral("SELECT MAX(RECORD_ID) FROM SYS_QRY")); }))
        return result;
    rule.run([&] { result = ToLong(FirstValue(RequireRecordset(rs, kClass + QLatin1Char('.') + routine))); });
    return result;
}

void qlDatabase::ModifyQueryStatus(int32_t lRecordId, bool bError) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("ModifyQueryStatus"));
    qlQueryConstructor query;
    QString update;
    if (!rule.run([&] {
            query.setProviderType(connection().ProviderType());
            query.SetTable(QStringLiteral("SYS_QRY"), QString());
            query.AddUpdateField(QStringLiteral("QYCHK"), bError ? 2 : 1, ql_eDataType::TypeInt);
            query.setWhereString(QStringLiteral("WHERE RECORD_ID=") + Q(lRecordId));
            update = query.MakeQuery(ql_eQueryType::Update, ql_eAlterAction::Alter_AddField,
                                     ql_KeyType::KeyTypeSecondary);
        }))
        return;
    rule.run([&] { connection().Execute(update); });
}

int32_t qlDatabase::CheckTableData(const QString& sTable, const QString& sFirm) {
    const QString routine = QStringLiteral("CheckTableData");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    int32_t result = -1;
    bool history = false;
    if (!rule.run([&] { history = connection().HistoryMode(); }) || !history)
        return result;
    qlQueryConstructor query;
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] {
            query.AddProcedureParam(QStringLiteral("@TABLE"), sTable, ql_eDataType::TypeChar);
            rs = connection().ExecuteSP(sFirm + QStringLiteral("_XSP_SYS_SYS_CHK"), &query);
        }))
        return result;
    rule.run([&] {
        const QVariant value = FirstValue(RequireRecordset(rs, kClass + QLatin1Char('.') + routine));
        if (!IsEmpty(value))
            result = ToLong(value);
    });
    return result;
}

bool qlDatabase::VerifyQuery(const QString& sDatabaseCode, const QString& sQueryFile, bool bBefore,
                             const QString& sObjectName, bool bRemovePrefix) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("VerifyQuery"));
    bool bError = false;
    QString sError;
    rule.setAfterDecision([&] {
        host().setMousePointer(kPointerHourglass);
        bError = false;
    });
    std::unique_ptr<BusyPointer> busy;
    if (!rule.run([&] { busy = std::make_unique<BusyPointer>(host()); }))
        return false;

    const bool history = m_verifyDatabaseMode == ql_eVerifyMode::HistoryModality;
    bool bBook = false;
    if (!rule.run([&] { bBook = connection().TableExist(QStringLiteral("SYS_QRY")) && !history; }))
        return false;

    const int16_t iEventAction = bBefore ? 0 : 1;
    QDomNode queries;
    bool ok = true;
    // A file that can't be read, or has no place for these queries, is reported: nothing of it can
    // be said to have run.
    if (!rule.run([&] {
            QDomDocument doc;
            QString reason;
            if (!LoadStructureDocument(sQueryFile, doc, &reason))
                throw qlException(kErrBadQueryFile, kClass + QStringLiteral(".VerifyQuery"),
                                  QStringLiteral("The query file ") + sQueryFile +
                                      QStringLiteral(" can't be read as XML: ") + reason);
            queries = ChildPath(doc, {1, kQueriesContainer, iEventAction});
            if (queries.isNull())
                throw qlException(kErrBadQueryFile, kClass + QStringLiteral(".VerifyQuery"),
                                  QStringLiteral("The query file ") + sQueryFile +
                                      QStringLiteral(" has no ") +
                                      (bBefore ? QStringLiteral("Before") : QStringLiteral("After")) +
                                      QStringLiteral(" queries"));
        }))
        return false;
    if (queries.isNull())
        ok = false;

    QString dbVersion;
    if (!rule.run([&] { dbVersion = GetDbVersion(sDatabaseCode, true).trimmed().toUpper(); }))
        return false;
    QString dbKey;
    VersionKey(dbVersion, dbKey);

    if (!rule.run([&] {
            connection().AlterTriggersStatus(false);
            connection().DisableChangeTracking();
        }))
        return false;

    // Runs one query and records its outcome. The text is recorded as the file has it, with the
    // firm's marker, and run with the firm's prefix.
    const auto play = [&](QString text, int32_t id) {
        if (bRemovePrefix)
            text.replace(QString::fromUtf16(kFirmMarker), sDatabaseCode + QLatin1Char('_'));
        if (history) {
            // History databases take what they can: a failing script is neither reported nor counted.
            rule.tolerate([&] { connection().ExecuteScript(text, false, &bError, &sError, 0); });
            bError = false;
        } else if (!rule.run([&] { connection().ExecuteScript(text, false, &bError, &sError, 0); })) {
            return false;
        }
        if (!rule.run([&] { AddRTFText(text, bError, sError); }))
            return false;
        if (bBook && id > 0 && !rule.run([&] { ModifyQueryStatus(id, bError); }))
            return false;
        if (bError)
            ok = false;
        return true;
    };

    // False when the rule says leave: the triggers still go back on.
    const auto walk = [&]() -> bool {
        QString scriptKey;
        for (int v = 0; v < ChildCount(queries); ++v) {
            const QDomNode versionNode = ChildAt(queries, v);
            if (!versionNode.isElement())
                continue;
            if (m_cancelVerify)
                break;
            if (!ok && !IsUpdateMode(sObjectName))
                break;
            const QString version = ChildText(versionNode, 0).trimmed();
            VersionKey(version, scriptKey);
            const std::vector<QueryItem> items = QueriesOf(versionNode);

            if (scriptKey > dbKey) {
                // A version the database hasn't reached: its queries are new.
                if (!IsUpdateMode(sObjectName)) {
                    ok = false; // pending
                    break;
                }
                for (const QueryItem& item : items) {
                    int32_t id = 0;
                    if (bBook && !rule.run([&] {
                            id = AddNewQuery(sDatabaseCode, iEventAction, version, item.Description,
                                             item.Text);
                        }))
                        return false;
                    if (!play(item.Text, id))
                        return false;
                }
                continue;
            }
            if (history)
                continue;

            // A version already reached: a query runs unless the record says it ran without error.
            const QString find =
                QStringList{QStringLiteral("SELECT * FROM SYS_QRY"),
                            QStringLiteral("WHERE QYDBE=") + Q(sDatabaseCode) + QStringLiteral(" AND"),
                            QStringLiteral("     QYTAC=") + Q(iEventAction) + QStringLiteral(" AND"),
                            QStringLiteral("     QYVER = ") + Q(version) + QStringLiteral(" AND"),
                            QStringLiteral("     (QYCHK = ") + Q(1) + QStringLiteral(" OR"),
                            QStringLiteral("     QYCHK = ") + Q(2) + QStringLiteral(")")}
                    .join(CR);
            for (const QueryItem& item : items) {
                const QString key = ScriptKey(item.Text);
                bool found = false;
                bool done = false;
                int32_t id = 0;
                if (bBook) {
                    std::shared_ptr<Recordset> rs;
                    if (!rule.run([&] { rs = connection().ExecuteWC(find, ado::adLockReadOnly); }))
                        return false;
                    if (!rule.run([&] {
                            Recordset& set = RequireRecordset(rs, kClass + QStringLiteral(".VerifyQuery"));
                            while (!found && set.State() == ado::adStateOpen && !set.IsEOF()) {
                                if (ScriptKey(ToText(set.Value(QStringLiteral("QYTXT")))) == key) {
                                    found = true;
                                    id = ToLong(set.Value(QStringLiteral("RECORD_ID")));
                                    done = ToLong(set.Value(QStringLiteral("QYCHK"))) == 1;
                                }
                                set.MoveNext();
                            }
                        }))
                        return false;
                }
                if (found && done)
                    continue;
                if (!IsUpdateMode(sObjectName)) {
                    ok = false; // pending
                    return true;
                }
                if (bBook && !found && !rule.run([&] {
                        id = AddNewQuery(sDatabaseCode, iEventAction, version, item.Description, item.Text);
                    }))
                    return false;
                if (!play(item.Text, id))
                    return false;
            }
        }
        return true;
    };
    const bool completed = walk();

    rule.run([&] { connection().AlterTriggersStatus(true); });
    return completed && ok && ErrorCount() == 0;
}

} // namespace qldb
