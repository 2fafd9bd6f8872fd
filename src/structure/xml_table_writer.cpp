// qlDatabase: the Table element of a structure file, read from the catalog walk and the server's
// catalog, and the table's sheet in the documentation workbook.
#include "connection/ql_connection.h"
#include "platform/errors/error_rule.h"
#include "platform/host/host_services.h"
#include "platform/host/workbook.h"
#include "platform/tools/conversions.h"
#include "platform/tools/data_type_names.h"
#include "platform/tools/sql_literal.h"
#include "structure/catalog_walk.h"
#include "structure/ql_database.h"
#include "structure/structure_document.h"

#include <optional>

namespace qldb {

namespace {

const QString kClass = QStringLiteral("qlDatabase");
const QString kRoutine = QStringLiteral("GetXmlTableDefinition");
const QString CR = QStringLiteral("\r");
// The template's field row: its format is copied to every field's row, the first being row 7.
constexpr int32_t kFirstFieldRow = 7;
// Sizes from this on are the "max" types' and mean nothing to a reader.
constexpr int32_t kSizeShownBelow = 999999;
constexpr qsizetype kSheetNameLength = 31;

QString ReplaceIgnoringCase(QString text, const QString& sReplace, const QString& sReplaceWith) {
    if (!sReplace.isEmpty())
        text.replace(sReplace, sReplaceWith, Qt::CaseInsensitive);
    return text;
}

// The real type of a column that the catalog walk reports as memo: varchar(max) and
// nvarchar(max) are memo to the walk, but the file keeps them as variable text without a limit.
QString MemoTypeQuery(ql_eProviderType provider, const QString& sTable, const QString& sColumn) {
    return QStringLiteral("SELECT p.name type_name") + CR + QStringLiteral("FROM sys.tables t") + CR +
           QStringLiteral("INNER JOIN sys.all_columns c ON t.object_id = c.object_id") + CR +
           QStringLiteral("INNER JOIN sys.types p ON c.user_type_id = p.system_type_id") + CR +
           QStringLiteral("WHERE t.name = ") + FormatSqlValue(sTable, ql_eDataType::TypeChar, provider) +
           QStringLiteral(" AND c.name = ") + FormatSqlValue(sColumn, ql_eDataType::TypeChar, provider);
}

// The system tables keep all their text in Unicode, whatever the catalog says.
ql_eDataType SystemTableType(ql_eDataType iDataType) {
    switch (iDataType) {
    case ql_eDataType::TypeChar:
        return ql_eDataType::TypeCharUnicode;
    case ql_eDataType::TypeMemo:
        return ql_eDataType::TypeMemoUnicode;
    case ql_eDataType::TypeVarChar:
        return ql_eDataType::TypeVarCharUnicode;
    default:
        return iDataType;
    }
}

// The table's name without the firm: "A01_ART" gives "ART"; system, lookup and work tables keep
// their whole name.
QString ShortTableName(const QString& sTableName) {
    const QString name = sTableName.trimmed().toUpper();
    const QString kind = name.left(3);
    if (kind == QLatin1String("SYS") || kind == QLatin1String("TAB") || kind == QLatin1String("TMP"))
        return name;
    return name.mid(4);
}

QString SheetName(QString sName) {
    for (const QChar c : {u':', u'\\', u'/', u'?', u'*', u'.'})
        sName.replace(c, u'_');
    return sName.left(kSheetNameLength);
}

struct FieldFacts {
    QString Name;
    int32_t Position = 0; // in the catalog's columns, from 0
    QString Description;
    QString Remark;
    QString DataType;
    ql_eDataType Type = ql_eDataType::TypeChar;
    QString Size;
    bool AllowsNull = true;
    QString DefaultValue;
    bool PrimaryKey = false;

    // The part before the first "[", which the file's readers show as the description.
    QString Plain() const {
        const qsizetype bracket = Description.indexOf(u'[');
        return bracket < 0 ? Description : Description.left(bracket);
    }
};

QDomElement FieldElement(QDomDocument& factory, const FieldFacts& f) {
    const auto yesNo = [](bool b) { return b ? QStringLiteral("True") : QStringLiteral("False"); };
    QDomElement field = factory.createElement(QStringLiteral("Field"));
    field.appendChild(TextElement(factory, QStringLiteral("FieldName"), f.Name));
    field.appendChild(TextElement(factory, QStringLiteral("Index"), QString::number(f.Position + 1)));
    field.appendChild(TextElement(factory, QStringLiteral("Description"), f.Description));
    field.appendChild(TextElement(factory, QStringLiteral("DataType"), f.DataType));
    field.appendChild(TextElement(factory, QStringLiteral("FieldSize"), f.Size));
    field.appendChild(TextElement(factory, QStringLiteral("AllowsNull"), yesNo(f.AllowsNull)));
    field.appendChild(TextElement(factory, QStringLiteral("DefaultValue"), f.DefaultValue));
    field.appendChild(TextElement(factory, QStringLiteral("PrimaryKey"), yesNo(f.PrimaryKey)));
    return field;
}

// The field's row of the table's sheet.
void WriteSheetRow(IWorkbook& wkb, int32_t iSheet, const FieldFacts& f) {
    const int32_t row = f.Position + kFirstFieldRow;
    wkb.CopyRangeFormat(iSheet, QStringLiteral("$A7:$H7"), QStringLiteral("$A%1:$H%1").arg(row));
    wkb.SetCell(iSheet, row, 1, f.Name);
    wkb.SetCell(iSheet, row, 2, f.DataType);
    const int32_t size = f.Size.toInt();
    if (size != 0 && size < kSizeShownBelow)
        wkb.SetCell(iSheet, row, 3, size);
    wkb.SetCell(iSheet, row, 4, f.Plain());
    if (!f.AllowsNull)
        wkb.SetCell(iSheet, row, 5, QStringLiteral("x"));
    wkb.SetCell(iSheet, row, 6, f.DefaultValue);
    wkb.SetCell(iSheet, row, 7, f.Remark);
}

} // namespace

QDomElement qlDatabase::GetXmlTableDefinition(const QString& sTableName, bool bIndexes, bool /*bReferences*/,
                                              QString* sReplace, const QString& sReplaceWith, IWorkbook* wkb,
                                              bool bCheckDescription) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, kRoutine);
    std::optional<BusyPointer> busy;
    rule.setBeforeDecision([&] {
        if (busy)
            busy->restore();
    });
    rule.setAfterDecision([this] { DoEvents(); });
    const auto step = [&](const std::function<void()>& fn) { return rule.run(fn); };
    if (!step([&] { busy.emplace(host()); }))
        return QDomElement();

    const QString replace = sReplace ? *sReplace : QString();
    QDomElement table = m_xmlFactory.createElement(QStringLiteral("Table"));
    table.appendChild(TextElement(m_xmlFactory, QStringLiteral("TableName"),
                                  ReplaceIgnoringCase(sTableName, replace, sReplaceWith).toUpper()));
    QDomElement fields = m_xmlFactory.createElement(QStringLiteral("Fields"));
    table.appendChild(fields);

    std::optional<CatalogTable> found;
    std::vector<CatalogColumn> columns;
    if (!step([&] {
            const std::shared_ptr<IDbConnection> adodb = connection().ADODBConnection();
            if (!adodb)
                ThrowObjectNotSet(kClass + QLatin1Char('.') + kRoutine);
            CatalogWalk cat(*adodb);
            if (const CatalogTable* t = cat.FindTable(sTableName)) {
                found = *t;
                columns = cat.Columns(t->Name);
            }
        }))
        return table;

    int32_t sheet = 0;
    if (found && wkb) {
        const QString shortName = ShortTableName(sTableName);
        if (!step([&] {
                wkb->CopyLastSheet();
                sheet = wkb->SheetCount();
                wkb->SetCell(sheet, 3, 2, shortName);
                wkb->SetCell(sheet, 3, 3, connection().GetTableInfo(shortName, ql_eTableInfo::Description));
            }))
            return table;
        if (!step([&] {
                const QString described = ToText(wkb->Cell(sheet, 3, 3));
                const QString name = SheetName(described.isEmpty() ? shortName : described);
                if (wkb->SetSheetName(sheet, name) != 0)
                    wkb->SetSheetName(sheet, name.left(kSheetNameLength - 2) + QStringLiteral("_1"));
            }))
            return table;
    }

    QStringList keys;
    if (found && !step([&] { keys = connection().GetTableKeys(sTableName).toUpper().split(u'|'); }))
        return table;

    for (size_t i = 0; found && i < columns.size(); ++i) {
        const CatalogColumn& column = columns[i];
        FieldFacts f;
        f.Name = column.Name;
        f.Position = static_cast<int32_t>(i);
        f.Size = QString::number(column.DefinedSize);
        qlConnection* c = nullptr;
        if (!step([&] { c = &connection(); }))
            return table;
        if (!step([&] { f.Description = ToText(c->GetColumnDesciption(sTableName, f.Name)); }))
            return table;
        const qsizetype bracket = f.Description.indexOf(u'[');
        f.Remark = bracket < 0 ? QString() : f.Description.mid(bracket);
        if (!step([&] {
                f.AllowsNull =
                    ToBoolean(c->GetColumnAttribute(sTableName, f.Name, ql_eColumnAttribute::IsNullable));
            }))
            return table;
        if (!step([&] {
                f.DefaultValue =
                    ToText(c->GetColumnAttribute(sTableName, f.Name, ql_eColumnAttribute::DefaultValue));
            }))
            return table;
        if (!step([&] { f.DataType = GetQlFieldType(sTableName, f.Name, column.Type, &f.Type, true); }))
            return table;
        // The lookup reads SQL Server's own catalog views; other providers keep the walk's type, as
        // every other catalog read leaves them alone.
        const bool memo = f.Type == ql_eDataType::TypeMemo || f.Type == ql_eDataType::TypeMemoUnicode;
        if (memo && c->ProviderType() == ql_eProviderType::SQLServer) {
            if (!step([&] {
                    const auto rs = c->ExecuteWC(MemoTypeQuery(c->ProviderType(), sTableName, f.Name));
                    if (!rs || rs->State() != ado::adStateOpen || rs->IsEOF())
                        return;
                    const QString type = ToText(rs->Value(0)).toLower();
                    if (type == QLatin1String("varchar"))
                        f.DataType = QStringLiteral("TypeVarChar");
                    else if (type == QLatin1String("nvarchar"))
                        f.DataType = QStringLiteral("TypeVarCharUnicode");
                    else
                        return;
                    f.Size = QStringLiteral("-1");
                }))
                return table;
        }
        if (sTableName.startsWith(QLatin1String("SYS_"), Qt::CaseInsensitive) &&
            SystemTableType(f.Type) != f.Type)
            f.DataType = DataTypeXmlName(SystemTableType(f.Type));
        // A column the file can't describe is left out; the positions of the others stay theirs.
        if (f.Type == ql_eDataType::TypeNotSupported)
            continue;
        f.PrimaryKey = keys.contains(f.Name.toUpper());
        fields.appendChild(FieldElement(m_xmlFactory, f));
        if (wkb && sheet > 0 && !step([&] { WriteSheetRow(*wkb, sheet, f); }))
            return table;
        if (bCheckDescription && f.Plain().isEmpty()) {
            if (!step([&] {
                    host().MessageBox(QStringLiteral("Attenzione il FieldName:") + sTableName +
                                          QLatin1Char('.') + f.Name + QStringLiteral(" è senza Descrizione!"),
                                      MsgButtons::OK, MsgIcon::Information, c->ProductName());
                }))
                return table;
        }
    }

    if (!bIndexes)
        return table;
    QDomElement indexes = m_xmlFactory.createElement(QStringLiteral("Indexes"));
    table.appendChild(indexes);
    QString list;
    QString primary;
    if (!step([&] {
            list = connection().GetIndexes(sTableName);
            primary = connection().GetPrimaryIndexName(sTableName);
        }))
        return table;
    for (const QString& name : list.split(u'|', Qt::SkipEmptyParts)) {
        if (name.compare(primary, Qt::CaseInsensitive) == 0)
            continue;
        QString code;
        if (!step([&] { code = connection().GetIndexCode(sTableName, name); }))
            return table;
        QDomElement index = m_xmlFactory.createElement(QStringLiteral("Index"));
        index.appendChild(TextElement(m_xmlFactory, QStringLiteral("IndexName"),
                                      ReplaceIgnoringCase(name, replace, sReplaceWith)));
        index.appendChild(TextElement(m_xmlFactory, QStringLiteral("IndexSql"),
                                      ReplaceIgnoringCase(code, replace, sReplaceWith)));
        indexes.appendChild(index);
    }
    return table;
}

} // namespace qldb
