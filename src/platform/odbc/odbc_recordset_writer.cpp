#include "platform/odbc/odbc_recordset_writer.h"

#include "platform/errors/error_record.h"
#include "platform/odbc/ado_types.h"
#include "platform/odbc/odbc_connection.h"
#include "platform/tools/conversions.h"

#include <QRegularExpression>
#include <algorithm>

namespace qldb {

namespace {

const QString kSource = QStringLiteral("Recordset.Update");

Parameter ValueParameter(const FieldInfo& field, const QVariant& value) {
    Parameter parameter;
    parameter.Type = field.Type;
    parameter.Size = field.DefinedSize;
    parameter.Value = value;
    return parameter;
}

// Long texts, binary data and floating numbers do not compare reliably (or at all) in a WHERE
// clause, so they identify no row.
bool Comparable(const FieldInfo& field) {
    switch (field.Type) {
    case ado::adLongVarChar:
    case ado::adLongVarWChar:
    case ado::adLongVarBinary:
    case ado::adBinary:
    case ado::adVarBinary:
    case ado::adSingle:
    case ado::adDouble:
        return false;
    default:
        return true;
    }
}

// "dbo.[My Table]" -> "My Table": the name the catalog knows the table by.
QString BareTableName(const QString& sTable) {
    QString name = sTable.section(QLatin1Char('.'), -1).trimmed();
    if (name.size() >= 2 && QStringLiteral("[\"`").contains(name.front()))
        name = name.mid(1, name.size() - 2);
    return name;
}

} // namespace

QString SingleTableOf(const QString& sStatement) {
    // A read on SQL Server may be sent with an isolation level statement in front of it; the rows
    // still come from the SELECT that follows, and that is the table they are written back to.
    static const QRegularExpression isolation(
        QStringLiteral(
            R"(^\s*SET\s+TRANSACTION\s+ISOLATION\s+LEVEL\s+)"
            R"((?:READ\s+UNCOMMITTED|READ\s+COMMITTED|REPEATABLE\s+READ|SERIALIZABLE|SNAPSHOT)\s*;?)"),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch prefix = isolation.match(sStatement);
    const QString statement = prefix.hasMatch() ? sStatement.mid(prefix.capturedEnd()) : sStatement;

    static const QString identifier = QStringLiteral(R"((?:\[[^\]]+\]|"[^"]+"|`[^`]+`|[\w$#@]+))");
    static const QRegularExpression pattern(
        QStringLiteral(R"(^\s*SELECT\s+.+?\s+FROM\s+(%1(?:\s*\.\s*%1)*)(?:\s+(?:AS\s+)?\w+)?\s*)"
                       R"((?:(?:WHERE|ORDER\s+BY|GROUP\s+BY)\b.*)?;?\s*$)")
            .arg(identifier),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpressionMatch match = pattern.match(statement);
    if (!match.hasMatch())
        return {};
    const QString table = match.captured(1);
    static const QRegularExpression keyword(QStringLiteral(R"(^(WHERE|ORDER|GROUP|JOIN|SELECT)$)"),
                                            QRegularExpression::CaseInsensitiveOption);
    return keyword.match(table).hasMatch() ? QString() : table;
}

OdbcRecordsetWriter::OdbcRecordsetWriter(std::weak_ptr<OdbcConnection> connection, QString sTable)
    : m_connection(std::move(connection)), m_table(std::move(sTable)) {}

std::shared_ptr<OdbcConnection> OdbcRecordsetWriter::connection() const {
    // The writer does not keep its connection alive: a recordset may outlive it, and then has
    // nowhere to write.
    auto connection = m_connection.lock();
    if (!connection || connection->State() == ado::adStateClosed)
        throw qlException(kErrObjectClosed, kSource,
                          QStringLiteral("Operation is not allowed when the object is closed."));
    return connection;
}

void OdbcRecordsetWriter::InsertRow(const std::vector<FieldInfo>& fields, const Row& values) {
    const auto cn = connection();
    QStringList names, markers;
    std::vector<Parameter> parameters;
    for (size_t i = 0; i < fields.size(); ++i) {
        // Fields that AddNew left untouched keep the table's defaults.
        if (IsEmpty(values[i]))
            continue;
        names << cn->QuoteIdentifier(fields[i].Name);
        markers << QStringLiteral("?");
        parameters.push_back(ValueParameter(fields[i], values[i]));
    }
    QString sql = QStringLiteral("INSERT INTO ") + m_table;
    if (names.isEmpty())
        // MySQL's family, which quotes with backquotes, knows no DEFAULT VALUES.
        sql += cn->QuoteIdentifier(QString()) == QLatin1String("``") ? QStringLiteral(" () VALUES ()")
                                                                     : QStringLiteral(" DEFAULT VALUES");
    else
        sql += QStringLiteral(" (") + names.join(QStringLiteral(", ")) + QStringLiteral(") VALUES (") +
               markers.join(QStringLiteral(", ")) + QLatin1Char(')');
    cn->ExecuteCounted(sql, parameters, kSource);
}

void OdbcRecordsetWriter::UpdateRow(const std::vector<FieldInfo>& fields, const Row& original,
                                    const Row& values) {
    QStringList assignments;
    std::vector<Parameter> parameters;
    const auto cn = connection();
    for (size_t i = 0; i < fields.size(); ++i) {
        if (values[i] == original[i] && IsNull(values[i]) == IsNull(original[i]))
            continue;
        assignments << cn->QuoteIdentifier(fields[i].Name) + QStringLiteral(" = ?");
        parameters.push_back(ValueParameter(fields[i], values[i]));
    }
    if (assignments.isEmpty())
        return;
    QStringList conditions;
    for (const size_t i : keyFields(fields)) {
        const QString column = cn->QuoteIdentifier(fields[i].Name);
        if (IsNullOrEmpty(original[i])) {
            conditions << column + QStringLiteral(" IS NULL");
        } else {
            conditions << column + QStringLiteral(" = ?");
            parameters.push_back(ValueParameter(fields[i], original[i]));
        }
    }
    QString sql = QStringLiteral("UPDATE ") + m_table + QStringLiteral(" SET ") +
                  assignments.join(QStringLiteral(", "));
    if (!conditions.isEmpty())
        sql += QStringLiteral(" WHERE ") + conditions.join(QStringLiteral(" AND "));
    if (cn->ExecuteCounted(sql, parameters, kSource) == 0)
        throw qlException(
            kErrRowNotFoundForUpdate, kSource,
            QStringLiteral("Row cannot be located for updating. Some values may have been changed since "
                           "it was last read."));
}

std::vector<size_t> OdbcRecordsetWriter::keyFields(const std::vector<FieldInfo>& fields) {
    if (!m_primaryKey)
        m_primaryKey = connection()->PrimaryKey(BareTableName(m_table));
    std::vector<size_t> key;
    for (const QString& column : *m_primaryKey) {
        const auto found = std::find_if(fields.begin(), fields.end(), [&](const FieldInfo& f) {
            return f.Name.compare(column, Qt::CaseInsensitive) == 0;
        });
        if (found == fields.end()) {
            key.clear();
            break;
        }
        key.push_back(static_cast<size_t>(found - fields.begin()));
    }
    if (!key.empty())
        return key;
    for (size_t i = 0; i < fields.size(); ++i)
        if (Comparable(fields[i]))
            key.push_back(i);
    return key;
}

} // namespace qldb
