// The copy of one firm's table into the same table of another firm, one statement per row.
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"
#include "platform/tools/sql_literal.h"
#include "sql/ql_query_constructor.h"
#include "structure/catalog_walk.h"
#include "structure/ql_database.h"

#include <optional>

namespace qldb {

namespace {

const QString kCrLf = QStringLiteral("\r\n");

// Columns that the copy cannot carry as literals, and numbers the target makes by itself.
bool LeftOutOfCopy(ql_eDataType type, bool bAutoIncrement) {
    return bAutoIncrement || type == ql_eDataType::TypeNotSupported || type == ql_eDataType::TypeBinary ||
           type == ql_eDataType::TypeOLEObject;
}

} // namespace

bool qlDatabase::ImportTable(const QString& sSourcePrefixAzienda, const QString& sTargetPrefixAzienda,
                             const QString& sTableName, bool bRewrite, const QString& sDataQuery,
                             IProgressBar* objProgressbar) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), QStringLiteral("qlDatabase"),
                   QStringLiteral("ImportTable"));
    rule.setAfterDecision([this] { DoEvents(); });
    bool bErrors = false;
    std::optional<BusyPointer> busy;
    std::shared_ptr<Recordset> rs;
    QStringList keys;
    const QString source = sSourcePrefixAzienda + sTableName;
    const QString target = sTargetPrefixAzienda + sTableName;
    qlQueryConstructor insert;
    qlQueryConstructor update;

    const bool ready = rule.run([&] {
        busy.emplace(host());
        errors().setErrorCount(0);
        qlConnection& conn = connection();
        insert.setProviderType(conn.ProviderType());
        update.setProviderType(conn.ProviderType());
        CatalogWalk cat(*conn.ADODBConnection());
        const CatalogTable* table = nullptr;
        for (const CatalogTable& t : cat.Tables()) {
            if (t.Name == source) {
                table = &t;
                break;
            }
        }
        if (table == nullptr)
            return;
        m_localFieldTypes.clear();
        for (const CatalogColumn& column : cat.Columns(table->Name)) {
            if (GetLocalQlDataType(column.Name) >= 0)
                continue;
            ql_eDataType type = ql_eDataType::TypeNotSupported;
            GetQlFieldType(source, column.Name, column.Type, &type, false);
            LocalFieldType& entry = m_localFieldTypes.back();
            entry.FieldName = column.Name;
            entry.DataType = type;
            entry.AutoIncrement = conn.IsAutoincrementField(source, column.Name);
        }
        keys = conn.GetTableKeys(source).split(QLatin1Char('|'), Qt::SkipEmptyParts);
        const QString read = sDataQuery.isEmpty() ? QStringLiteral("SELECT * FROM ") + source : sDataQuery;
        bool bReadError = false;
        QString sReadError;
        rs = conn.ExecuteWC(read, ado::adLockReadOnly, &bReadError, &sReadError, false);
    });
    if (!ready)
        return false;
    // A table that isn't in the catalog, or a read that failed, copies nothing.
    if (!rs)
        return ErrorCount() == 0;
    if (rs->State() == ado::adStateClosed)
        return false;

    for (; !rs->IsEOF(); rs->MoveNext()) {
        const bool go = rule.run([&] {
            insert.Reset();
            update.Reset();
            insert.SetTable(target);
            update.SetTable(target);
            QString condition;
            int added = 0;
            for (const LocalFieldType& column : m_localFieldTypes) {
                if (LeftOutOfCopy(column.DataType, column.AutoIncrement))
                    continue;
                QVariant value = rs->Value(column.FieldName);
                if (column.DataType == ql_eDataType::TypeBit)
                    value = IsNullOrEmpty(value) ? false : ToBoolean(value);
                if (keys.contains(column.FieldName, Qt::CaseInsensitive)) {
                    if (!condition.isEmpty())
                        condition += QStringLiteral("AND ");
                    condition += column.FieldName + QLatin1Char('=') +
                                 FormatSqlValue(value, column.DataType, connection().ProviderType());
                }
                insert.AddUpdateField(column.FieldName, value, column.DataType);
                update.AddUpdateField(column.FieldName, value, column.DataType);
                ++added;
            }
            if (added == 0)
                return;
            QString statement;
            if (condition.isEmpty()) {
                statement = insert.MakeQuery(ql_eQueryType::Insert);
            } else if (bRewrite) {
                statement = QStringLiteral("IF EXISTS (") + kCrLf + QStringLiteral("SELECT * FROM ") +
                            target + kCrLf + QStringLiteral("WHERE ") + condition + QLatin1Char(')') + kCrLf +
                            update.MakeQuery(ql_eQueryType::Update) + kCrLf + QStringLiteral("WHERE ") +
                            condition + kCrLf + QStringLiteral(" ELSE") + kCrLf +
                            insert.MakeQuery(ql_eQueryType::Insert);
            } else {
                statement = QStringLiteral("IF NOT EXISTS (") + kCrLf + QStringLiteral("SELECT * FROM ") +
                            target + kCrLf + QStringLiteral("WHERE ") + condition + QLatin1Char(')') + kCrLf +
                            insert.MakeQuery(ql_eQueryType::Insert);
            }
            bool bError = false;
            QString sError;
            // A failed row is counted and the copy goes on with the next one.
            if (!rule.tolerate([&] { connection().Execute(statement, &bError, &sError); }))
                bError = true;
            bErrors = bErrors || bError;
            if (objProgressbar != nullptr) {
                if (objProgressbar->Value() + 1 < objProgressbar->Max())
                    objProgressbar->setValue(objProgressbar->Value() + 1);
                else
                    objProgressbar->setValue(objProgressbar->Max());
            }
        });
        if (!go)
            break;
    }
    rs->Close();
    return !bErrors && ErrorCount() == 0;
}

} // namespace qldb
