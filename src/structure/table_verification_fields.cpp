// Table verification, the columns: each column of the database against its Field node, then the
// Field nodes that the table lacks.
#include "platform/tools/conversions.h"
#include "platform/tools/data_type_names.h"
#include "structure/table_pass.h"

namespace qldb {

namespace {

const QString kField = QStringLiteral("Field");

// The Field node whose name matches the column's in upper case, or a null node.
QDomNode FindField(const QDomNode& fields, const QString& sColumn) {
    const QString wanted = sColumn.toUpper();
    for (QDomNode field = fields.firstChild(); !field.isNull(); field = field.nextSibling()) {
        if (ChildText(field, kFieldName).toUpper() == wanted)
            return field;
    }
    return QDomNode();
}

// Only these types have a length that the file states and the database can differ in.
bool IsSizedTypeName(const QString& sType) {
    return sType == QLatin1String("TypeChar") || sType == QLatin1String("TypeVarChar") ||
           sType == QLatin1String("TypeCharUnicode") || sType == QLatin1String("TypeVarCharUnicode");
}

// The file's size text as a whole number; fractions are cut, not rounded.
int32_t XmlSize(const QString& sSize) {
    return static_cast<int32_t>(sSize.trimmed().toDouble());
}

} // namespace

bool FieldNodeComplete(const QDomNode& field) {
    return ChildCount(field) > kFieldPrimaryKey &&
           GetDataTypeFromName(ChildText(field, kFieldDataType), true, false) !=
               ql_eDataType::TypeNotSupported;
}

void qlDatabase::LogIncompleteField(const TablePass& pass, const QString& sFieldName) {
    AddRTFText(QStringLiteral("Field ") + pass.TableName + QLatin1Char('.') + sFieldName +
                   QStringLiteral(" is incomplete in the structure file: not changed"),
               true, QStringLiteral("The structure file gives no data type or attributes for it"));
}

void qlDatabase::CheckTableColumns(TablePass& pass) {
    qlConnection& conn = connection();
    const bool history = m_verifyDatabaseMode == ql_eVerifyMode::HistoryModality;
    for (const CatalogColumn& column : pass.Columns) {
        const QDomNode field = FindField(pass.XmlFields, column.Name);
        if (field.isNull()) {
            pass.AddRow(column.Name, kField, QStringLiteral("User Defined"));
            ++pass.UserDefined;
            if (pass.Update && (m_deleteFields || m_deleteObjects))
                DropColumn(pass, column.Name);
            continue;
        }

        const bool repairable = FieldNodeComplete(field);
        if (pass.Update && !repairable)
            LogIncompleteField(pass, column.Name);
        const bool update = pass.Update && repairable;
        ql_tField fld;
        fld.FieldName = column.Name;
        bool changed = false;
        const auto differs = [&](const QString& sStatus, const QVariant& vDatabase, const QVariant& vXml) {
            changed = true;
            pass.AddRow(column.Name, kField, sStatus, vDatabase, vXml);
        };

        // A counter in the database stays a counter against any other type of the file, unless the
        // file asks for the wider counter or the database keeps history.
        ql_eDataType oldType = ql_eDataType::TypeChar;
        QString dbType;
        pass.Step([&] { dbType = GetQlFieldType(pass.TableName, column.Name, column.Type, &oldType, true); });
        fld.OldFieldType = oldType;
        const QString xmlType = ChildText(field, kFieldDataType);
        const bool dbCounter = dbType == QLatin1String("TypeCounter");
        if (dbType != xmlType &&
            (!dbCounter || history || (dbCounter && xmlType == QLatin1String("TypeBigCounter")))) {
            differs(QStringLiteral("Data Type Changed"), dbType, xmlType);
            fld.FieldType = GetDataTypeFromName(xmlType, true, history);
        } else {
            fld.FieldType = GetDataTypeFromName(dbType, true, history);
        }

        fld.Size = XmlSize(ChildText(field, kFieldSize));
        if (IsSizedTypeName(xmlType)) {
            if (column.DefinedSize != fld.Size)
                differs(QStringLiteral("Data Size Changed"), column.DefinedSize, fld.Size);
            else
                fld.Size = column.DefinedSize;
        }

        QVariant dbNullable;
        pass.Step([&] {
            dbNullable =
                conn.GetColumnAttribute(pass.CatalogName, column.Name, ql_eColumnAttribute::IsNullable);
        });
        const bool dbNull = ToBoolean(dbNullable);
        const QString xmlNullText = ChildText(field, kFieldAllowsNull);
        const bool xmlNull = XmlTrue(xmlNullText);
        fld.AllowNull = dbNull;
        if (dbNull != xmlNull) {
            differs(QStringLiteral("Allow Null Changed"),
                    dbNull ? QStringLiteral("True") : QStringLiteral("False"), xmlNullText);
            fld.AllowNull = xmlNull;
        }

        if (IsTextType(fld.FieldType)) {
            fld.Collate = WantedCollation();
            QVariant dbCollation;
            pass.Step([&] {
                dbCollation = conn.GetColumnAttribute(pass.CatalogName, column.Name,
                                                      ql_eColumnAttribute::CollationName);
            });
            if (ToText(dbCollation).toUpper() != fld.Collate.toUpper())
                differs(QStringLiteral("Comparison Roule"), ToText(dbCollation), fld.Collate);
        }

        const QString xmlDefault = ChildText(field, kFieldDefaultValue);
        // The repair comes before the default and description checks, which then read the column
        // as it was rebuilt.
        if (update && changed)
            RebuildColumn(pass, fld, xmlDefault);

        QVariant dbDefault;
        pass.Step([&] {
            dbDefault =
                conn.GetColumnAttribute(pass.CatalogName, column.Name, ql_eColumnAttribute::DefaultValue);
        });
        if (ToText(dbDefault) != xmlDefault) {
            differs(QStringLiteral("Default Value Changed"), ToText(dbDefault), xmlDefault);
            if (update)
                SwapColumnDefault(pass, fld, xmlDefault);
        }

        // A description alone never rebuilds the column: it doesn't touch the changed flag.
        QVariant dbDescription;
        pass.Step([&] { dbDescription = conn.GetColumnDesciption(pass.CatalogName, column.Name); });
        const QString xmlDescription = ChildText(field, kFieldDescription);
        if (ToText(dbDescription) != xmlDescription) {
            pass.AddRow(column.Name, kField, QStringLiteral("Description Changed"), ToText(dbDescription),
                        xmlDescription);
            if (update)
                WriteColumnDescription(pass, fld.FieldName, xmlDescription, !IsNull(dbDescription));
        }
    }
}

void qlDatabase::CheckNewColumns(TablePass& pass) {
    for (QDomNode field = pass.XmlFields.firstChild(); !field.isNull(); field = field.nextSibling()) {
        const QString name = ChildText(field, kFieldName);
        const QString wanted = name.toUpper();
        const bool present = std::any_of(pass.Columns.begin(), pass.Columns.end(),
                                         [&](const CatalogColumn& c) { return c.Name.toUpper() == wanted; });
        if (present)
            continue;
        pass.AddRow(name, kField, QStringLiteral("New Field"));
        if (pass.Update && !FieldNodeComplete(field))
            LogIncompleteField(pass, name);
        else if (pass.Update)
            AddColumn(pass, field);
    }
}

} // namespace qldb
