// The schema statements of qlQueryConstructor: create and alter table, primary key, drop index.
#include "platform/tools/sql_literal.h"
#include "sql/ql_query_constructor.h"
#include "sql/sql_errors.h"

#include <algorithm>

namespace qldb {

namespace {

using T = ql_eDataType;
const QString kCrLf = QStringLiteral("\r\n");

std::function<QDateTime()>& ClockSlot() {
    static std::function<QDateTime()> clock;
    return clock;
}

QDateTime Now() {
    const auto& clock = ClockSlot();
    return clock ? clock() : QDateTime::currentDateTime();
}

bool IsMemo(T iType) {
    return iType == T::TypeMemo || iType == T::TypeMemoUnicode;
}
bool IsCounter(T iType) {
    return iType == T::TypeCounter || iType == T::TypeBigCounter;
}

// A text column cannot be altered to or from a memo in place: it is rebuilt through a rename.
bool NeedsRename(const ql_tField& fld, ql_eAlterAction iAlterAction) {
    if (iAlterAction != ql_eAlterAction::Alter_ModifyField)
        return false;
    return IsMemo(fld.FieldType) || (fld.FieldType == T::TypeVarChar && IsMemo(fld.OldFieldType));
}

QString ActionWord(ql_eAlterAction iAlterAction) {
    switch (iAlterAction) {
    case ql_eAlterAction::Alter_AddField:
        return QStringLiteral(" ADD ");
    case ql_eAlterAction::Alter_ModifyField:
        return QStringLiteral(" ALTER COLUMN ");
    case ql_eAlterAction::Alter_DropField:
        return QStringLiteral(" DROP COLUMN ");
    }
    return QString();
}

} // namespace

void qlQueryConstructor::setClockForTesting(std::function<QDateTime()> clock) {
    ClockSlot() = std::move(clock);
}

QString qlQueryConstructor::MakeCreateTable() const {
    const QString table = TableExpression();
    QString sql = QStringLiteral("CREATE TABLE dbo.") + table + kCrLf + QStringLiteral("(") + kCrLf;
    QString keys;
    for (size_t i = 0; i < m_fields.size(); ++i) {
        const ql_tField& fld = m_fields[i];
        if (i > 0)
            sql += QStringLiteral(",\r\n");
        sql += QStringLiteral("  ") + fld.FieldName + QLatin1Char(' ') +
               TranslateType(fld.FieldType, fld.Size) + CollateClause(fld) +
               (fld.AllowNull ? QStringLiteral(" NULL") : QStringLiteral(" NOT NULL")) + DefaultClause(fld);
        if (fld.KeyField) {
            if (!keys.isEmpty())
                keys += QStringLiteral(", ");
            keys += fld.FieldName;
        }
    }
    if (!keys.isEmpty())
        sql += QStringLiteral(",\r\n  PRIMARY KEY (") + keys + QLatin1Char(')') + kCrLf;
    else
        sql += kCrLf;
    sql += QStringLiteral(");") + kCrLf;
    // Every column gets its comment line, also where the provider writes no comment statement and
    // the line is a bare ";".
    for (const ql_tField& fld : m_fields)
        sql += SetCommentOnColumn(table, fld.FieldName, fld.Desciption, false) + QLatin1Char(';') + kCrLf;
    return sql;
}

QString qlQueryConstructor::FillNullsStatement(const ql_tField& fld) const {
    QVariant value;
    if (!fld.DefaultValue.isEmpty())
        value = FormatDefaultValue(fld.DefaultValue, fld.FieldType);
    else if (IsTextType(fld.FieldType))
        value = QString(QLatin1String(""));
    else if (IsDateType(fld.FieldType))
        value = Now();
    else
        value = 0;
    // A fresh constructor, at its own provider, so that the fill reads as it always has.
    qlQueryConstructor update;
    update.SetTable(m_table.TableName, m_table.Prefix);
    update.AddUpdateField(fld.FieldName, value, fld.FieldType);
    update.setWhereString(QStringLiteral(" WHERE ") + fld.FieldName + QStringLiteral(" IS NULL"));
    return update.MakeQuery(ql_eQueryType::Update);
}

QString qlQueryConstructor::RenameRoute(const ql_tField& fld) const {
    const QString table = TableExpression();
    const QString old = fld.FieldName + QStringLiteral("_OLD");
    QString sql = QStringLiteral("EXEC sp_rename '") + table + QLatin1Char('.') + fld.FieldName +
                  QStringLiteral("', '") + old + QStringLiteral("', 'COLUMN' ") + kAlterSeparator;
    sql += QStringLiteral("ALTER TABLE ") + table + QStringLiteral(" ADD ") + fld.FieldName +
           QLatin1Char(' ') + TranslateType(fld.FieldType, IsMemo(fld.FieldType) ? 0 : fld.Size);
    if (!fld.Collate.isEmpty())
        sql += QStringLiteral(" COLLATE ") + fld.Collate;
    sql += fld.AllowNull ? QStringLiteral(" NULL") : QStringLiteral(" NOT NULL");
    if (!fld.DefaultValue.isEmpty()) {
        sql += DefaultClause(fld);
    } else if (!fld.AllowNull) {
        // The rebuilt column must accept the existing rows before the copy fills it.
        const QString empty =
            FormatSqlValue(FormatDefaultValue(QString(), fld.FieldType), fld.FieldType, m_providerType);
        sql += QStringLiteral(" DEFAULT (") + empty + QLatin1Char(')');
    }
    sql += kAlterSeparator;
    sql += QStringLiteral("UPDATE ") + table + QStringLiteral(" SET ") + fld.FieldName +
           QStringLiteral(" =") + old + kAlterSeparator;
    sql += QStringLiteral("ALTER TABLE ") + table + QStringLiteral(" DROP COLUMN ") + old + QLatin1Char(' ');
    return sql;
}

QString qlQueryConstructor::MakeAlterTable(ql_eAlterAction iAlterAction, bool* bUseTransaction) const {
    const QString table = TableExpression();
    const QString alter = QStringLiteral("ALTER TABLE ") + table + kCrLf + ActionWord(iAlterAction);
    const QString alterColumn =
        QStringLiteral("ALTER TABLE ") + table + kCrLf + QStringLiteral(" ALTER COLUMN ");
    const bool dropping = iAlterAction == ql_eAlterAction::Alter_DropField;
    // The column texts accumulate over the fields and each field's statement repeats those of the
    // fields before it. Callers pass one field per statement, which is the supported use.
    QString columns;
    QString sql;
    for (const ql_tField& fld : m_fields) {
        const QString type = TranslateType(fld.FieldType, fld.Size);
        if (!columns.isEmpty())
            columns += kAlterSeparator;
        columns += QLatin1Char(' ') + fld.FieldName;
        if (!dropping) {
            const QString collate = CollateClause(fld);
            columns += QLatin1Char(' ') + type;
            if (!fld.AllowNull)
                columns += (collate.isEmpty() ? QString() : collate + QLatin1Char(' ')) +
                           QStringLiteral(" NOT NULL");
            else
                columns += collate + QStringLiteral(" NULL");
        }

        if (NeedsRename(fld, iAlterAction)) {
            if (bUseTransaction)
                *bUseTransaction = true;
            sql += RenameRoute(fld);
        } else if (IsCounter(fld.FieldType)) {
            // An identity column that only widens keeps its identity: no second identity clause.
            if (fld.FieldType == T::TypeBigCounter && fld.OldFieldType == T::TypeCounter)
                columns.replace(QStringLiteral("BIGINT IDENTITY(1, 1)"), QStringLiteral("BIGINT"));
            sql += alter + kCrLf + columns;
        } else if (!fld.AllowNull && !dropping) {
            // Add or change the column as nullable, fill its Nulls, then make it NOT NULL.
            const QString bare =
                QLatin1Char(' ') + fld.FieldName + QLatin1Char(' ') + type + CollateClause(fld);
            sql += alter + kCrLf + bare + kAlterSeparator + FillNullsStatement(fld) + kAlterSeparator +
                   alterColumn + kCrLf + columns;
        } else {
            sql += alter + kCrLf + columns;
        }
    }
    return sql;
}

QString qlQueryConstructor::MakeCreatePrimaryKey() const {
    const QString table = TableExpression();
    const auto taken = [this](const QString& sName) {
        const QString constraint = QStringLiteral("PK_") + sName;
        return std::any_of(m_indexes.begin(), m_indexes.end(), [&](const ql_tIndex& idx) {
            return idx.IndexName.compare(constraint, Qt::CaseInsensitive) == 0;
        });
    };
    QString name = table;
    for (int counter = 1; taken(name); ++counter)
        name = table + QString::number(counter);
    QString sql = QStringLiteral("ALTER TABLE ") + table + QStringLiteral(" ADD CONSTRAINT PK_") + name +
                  kCrLf + QStringLiteral(" PRIMARY KEY (") + kCrLf;
    for (size_t i = 0; i < m_fields.size(); ++i) {
        if (i > 0)
            sql += QLatin1Char(',');
        sql += m_fields[i].FieldName;
    }
    return sql + QLatin1Char(')');
}

QString qlQueryConstructor::MakeDropIndex(ql_KeyType iKeyType) const {
    const ql_tIndex& index = sql_errors::ElementAt(m_indexes, 0);
    switch (iKeyType) {
    case ql_KeyType::KeyTypePrimary:
        return QStringLiteral("ALTER TABLE ") + TableExpression() + QStringLiteral(" DROP CONSTRAINT ") +
               index.IndexName;
    case ql_KeyType::KeyTypeSecondary:
        return QStringLiteral("DROP INDEX ") + TableExpression() + QLatin1Char('.') + index.IndexName;
    }
    return QString();
}

} // namespace qldb
