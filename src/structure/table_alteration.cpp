// Table alteration, the columns: the repairs that table verification runs in an update mode. Every
// statement goes out with its error returned, is logged at once, and a failure doesn't stop the
// pass: the log in red and the run's result tell of it.
#include "platform/tools/conversions.h"
#include "platform/tools/data_type_names.h"
#include "platform/tools/sql_literal.h"
#include "structure/table_pass.h"

namespace qldb {

bool qlDatabase::ExecuteAndLog(const QString& sStatement) {
    // Providers without comments or default constraints give no text for them: nothing to run.
    if (sStatement.isEmpty())
        return true;
    bool bError = false;
    QString sError;
    // A host that asks for raised errors gets them from the connection; here a failed repair is a
    // logged line all the same, and the pass goes on.
    try {
        connection().ExecuteCommand(sStatement, &bError, &sError, false);
    } catch (const qlException& e) {
        bError = true;
        sError = e.description();
    }
    AddRTFText(sStatement, bError, sError);
    return !bError;
}

void qlDatabase::ExecuteAndLogPieces(const QString& sScript) {
    for (const QString& piece : sScript.split(kAlterSeparator))
        ExecuteAndLog(piece);
}

void qlDatabase::DropColumnDefault(TablePass& pass, const QString& sColumn) {
    pass.Query.Reset();
    const QString query = pass.Query.GetDefaultConstraintName(pass.TableName, sColumn).toString();
    if (query.isEmpty())
        return;
    QString name;
    bool found = false;
    pass.Step([&] {
        const auto rs = connection().ExecuteWC(query, ado::adLockReadOnly);
        if (rs && rs->State() == ado::adStateOpen && !rs->IsEOF()) {
            name = ToText(rs->Value(0));
            found = true;
        }
        if (rs && rs->State() == ado::adStateOpen)
            rs->Close();
    });
    if (found)
        ExecuteAndLog(pass.Query.DropDefaultValue(pass.TableName, name));
}

void qlDatabase::DropColumnIndexes(TablePass& pass, const QString& sColumn) {
    qlConnection& conn = connection();
    QStringList indexes;
    pass.Step([&] { indexes = SplitNames(conn.GetIndexesUseColumn(pass.TableName, sColumn)); });
    if (indexes.isEmpty())
        return;
    QString primary;
    pass.Step([&] { primary = conn.GetPrimaryIndexName(pass.TableName); });
    // Neither comes back here: the key and index stages of the same pass find them gone and make
    // them again from the file.
    for (const QString& index : indexes) {
        QString sql;
        pass.Step([&] {
            pass.Query.Reset();
            pass.Query.SetTable(pass.TableName, QString());
            const bool isPrimary = index.toUpper() == primary.toUpper();
            pass.Query.AddDropIndex(isPrimary ? primary : index, false);
            sql = pass.Query.MakeQuery(ql_eQueryType::DropIndex, ql_eAlterAction::Alter_AddField,
                                       isPrimary ? ql_KeyType::KeyTypePrimary : ql_KeyType::KeyTypeSecondary);
        });
        ExecuteAndLog(sql);
    }
}

void qlDatabase::RebuildColumn(TablePass& pass, ql_tField& fldColumn, const QString& sXmlDefault) {
    QVariant dbDefault;
    pass.Step([&] {
        dbDefault = connection().GetColumnAttribute(pass.TableName, fldColumn.FieldName,
                                                    ql_eColumnAttribute::DefaultValue);
    });
    if (!ToText(dbDefault).isEmpty())
        DropColumnDefault(pass, fldColumn.FieldName);
    fldColumn.DefaultValue = sXmlDefault;
    DropColumnIndexes(pass, fldColumn.FieldName);

    QString sql;
    pass.Step([&] {
        pass.Query.Reset();
        pass.Query.SetTable(pass.TableName, QString());
        pass.Query.AddField(fldColumn, false);
        sql = pass.Query.MakeQuery(ql_eQueryType::AlterTable, ql_eAlterAction::Alter_ModifyField,
                                   ql_KeyType::KeyTypeSecondary, &pass.UseTransaction);
    });
    if (pass.UseTransaction)
        TranAlterTable(sql);
    else
        ExecuteAndLogPieces(sql);

    if (!fldColumn.DefaultValue.isEmpty())
        AddColumnDefault(pass, fldColumn, fldColumn.DefaultValue);
}

void qlDatabase::AddColumnDefault(TablePass& pass, const ql_tField& fldColumn, const QString& sDefault) {
    // The constraint takes a literal of SQL Server, whatever the connection's provider.
    const QString value = FormatSqlValue(pass.Query.FormatDefaultValue(sDefault, fldColumn.FieldType),
                                         fldColumn.FieldType, ql_eProviderType::SQLServer);
    ExecuteAndLog(pass.Query.AddDefaultValue(pass.TableName, fldColumn.FieldName, value));
}

void qlDatabase::SwapColumnDefault(TablePass& pass, const ql_tField& fldColumn, const QString& sXmlDefault) {
    DropColumnDefault(pass, fldColumn.FieldName);
    if (!sXmlDefault.isEmpty())
        AddColumnDefault(pass, fldColumn, sXmlDefault);
}

void qlDatabase::WriteColumnDescription(TablePass& pass, const QString& sColumn, const QString& sText,
                                        bool bAlter) {
    pass.Query.Reset();
    ExecuteAndLog(pass.Query.SetCommentOnColumn(pass.TableName, sColumn, sText, bAlter));
}

void qlDatabase::DropColumn(TablePass& pass, const QString& sColumn) {
    QVariant dbDefault;
    pass.Step([&] {
        dbDefault =
            connection().GetColumnAttribute(pass.TableName, sColumn, ql_eColumnAttribute::DefaultValue);
    });
    if (!ToText(dbDefault).isEmpty())
        DropColumnDefault(pass, sColumn);
    DropColumnIndexes(pass, sColumn);
    QString sql;
    pass.Step([&] {
        pass.Query.Reset();
        pass.Query.SetTable(pass.TableName, QString());
        pass.Query.AddUpdateField(sColumn, QString(), ql_eDataType::TypeChar);
        sql = pass.Query.MakeQuery(ql_eQueryType::AlterTable, ql_eAlterAction::Alter_DropField,
                                   ql_KeyType::KeyTypeSecondary);
    });
    ExecuteAndLogPieces(sql);
}

void qlDatabase::AddColumn(TablePass& pass, const QDomNode& xmlField) {
    const bool history = m_verifyDatabaseMode == ql_eVerifyMode::HistoryModality;
    ql_tField fld;
    // No old type: the routes of an alteration that look at the old type don't apply to a column
    // that is new.
    fld.OldFieldType = static_cast<ql_eDataType>(-100);
    fld.FieldName = ChildText(xmlField, kFieldName);
    fld.FieldType = GetDataTypeFromName(ChildText(xmlField, kFieldDataType), true, history);
    switch (fld.FieldType) {
    case ql_eDataType::TypeChar:
    case ql_eDataType::TypeVarChar:
    case ql_eDataType::TypeCharUnicode:
    case ql_eDataType::TypeVarCharUnicode:
        fld.Size = static_cast<int32_t>(ChildText(xmlField, kFieldSize).trimmed().toDouble());
        break;
    default:
        fld.Size = 0;
        break;
    }
    fld.AllowNull = XmlTrue(ChildText(xmlField, kFieldAllowsNull));
    fld.DefaultValue = ChildText(xmlField, kFieldDefaultValue);
    if (IsTextType(fld.FieldType))
        fld.Collate = WantedCollation();

    QString sql;
    pass.Step([&] {
        pass.Query.Reset();
        pass.Query.SetTable(pass.TableName, QString());
        pass.Query.AddField(fld, false);
        sql = pass.Query.MakeQuery(ql_eQueryType::AlterTable, ql_eAlterAction::Alter_AddField,
                                   ql_KeyType::KeyTypeSecondary);
    });
    ExecuteAndLogPieces(sql);

    const QString description = ChildText(xmlField, kFieldDescription);
    if (!description.isEmpty())
        WriteColumnDescription(pass, fld.FieldName, description, false);
    if (!fld.DefaultValue.isEmpty())
        AddColumnDefault(pass, fld, fld.DefaultValue);
}

} // namespace qldb
