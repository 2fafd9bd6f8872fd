// Table alteration, a whole table: one of the file that the database lacks, made with its key,
// its column comments and the file's indexes.
#include "platform/errors/error_rule.h"
#include "platform/tools/data_type_names.h"
#include "structure/table_pass.h"

namespace qldb {

bool qlDatabase::CreateTableFromXml(const QString& sTableName, const QDomNode& xmlNodeTable,
                                    const QString& sPrefixTable, bool bRemovePrefix) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), QStringLiteral("qlDatabase"),
                   QStringLiteral("CreateTableFromXml"));
    rule.setAfterDecision([&] { DoEvents(); });
    const QStringList prefixes = SplitNames(sPrefixTable);
    const bool history = m_verifyDatabaseMode == ql_eVerifyMode::HistoryModality;
    const QString tableName = sTableName.toUpper();
    // The system tables take the database's own collation.
    const bool systemTable = tableName.startsWith(QLatin1String("SYS_"));
    bool ok = true;

    const bool completed = [&] {
        qlQueryConstructor query;
        query.setProviderType(connection().ProviderType());
        query.SetTable(tableName, QString());
        const QDomNode fields = ChildAt(xmlNodeTable, kTableFields);
        // A table is made whole or not at all: one incomplete field keeps it from being created.
        for (QDomNode field = fields.firstChild(); !field.isNull(); field = field.nextSibling()) {
            if (!FieldNodeComplete(field)) {
                AddRTFText(QStringLiteral("Table ") + tableName + QStringLiteral(": field ") +
                               ChildText(field, kFieldName) +
                               QStringLiteral(" is incomplete in the structure file: table not created"),
                           true,
                           QStringLiteral("The structure file gives no data type or attributes for it"));
                ok = false;
                return true;
            }
        }
        for (QDomNode field = fields.firstChild(); !field.isNull(); field = field.nextSibling()) {
            ql_tField fld;
            const QString type = ChildText(field, kFieldDataType);
            fld.FieldName = ChildText(field, kFieldName);
            fld.FieldType = GetDataTypeFromName(type, true, history);
            fld.Size = 0;
            const ql_eDataType plain = GetDataTypeFromName(type, false, false);
            if (plain == ql_eDataType::TypeChar || plain == ql_eDataType::TypeVarChar) {
                fld.Size = static_cast<int32_t>(ChildText(field, kFieldSize).trimmed().toDouble());
                if (!systemTable)
                    fld.Collate = WantedCollation();
            }
            fld.AllowNull = XmlTrue(ChildText(field, kFieldAllowsNull));
            fld.DefaultValue = ChildText(field, kFieldDefaultValue);
            fld.Desciption = ChildText(field, kFieldDescription);
            fld.KeyField = XmlTrue(ChildText(field, kFieldPrimaryKey));
            if (!rule.run([&] { query.AddField(fld, false); }))
                return false;
        }
        QString sql;
        if (!rule.run([&] {
                sql = query.MakeQuery(ql_eQueryType::CreateTable, ql_eAlterAction::Alter_AddField,
                                      ql_KeyType::KeyTypeSecondary);
            }))
            return false;
        ok = ExecuteAndLog(sql) && ok;

        const QDomNode indexes = ChildAt(xmlNodeTable, kTableIndexes);
        for (QDomNode index = indexes.firstChild(); !index.isNull(); index = index.nextSibling()) {
            QString code = ChildText(index, kIndexSql);
            if (bRemovePrefix && !prefixes.isEmpty())
                code.replace(QString::fromUtf16(kFirmMarker), prefixes.first(), Qt::CaseInsensitive);
            ok = ExecuteAndLog(code) && ok;
        }
        return true;
    }();
    return completed && ok && ErrorCount() <= 0;
}

} // namespace qldb
