// The data tables of a structure file brought into the database: side files through the bulk
// copy, records of the file one statement each. A statement that fails is logged and the import
// goes on with the next.
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"
#include "platform/tools/sql_literal.h"
#include "sql/ql_query_constructor.h"
#include "structure/bulk_copy/bulk_copy.h"
#include "structure/catalog_walk.h"
#include "structure/ql_database.h"
#include "structure/structure_document.h"

#include <QFileInfo>
#include <optional>

namespace qldb {

namespace {

const QString kClass = QStringLiteral("qlDatabase");
const QString kRoutine = QStringLiteral("ReadXmlDataTable");
const QString kBoxTitle = QStringLiteral("Tavoleno Mirando");
const QString kCrLf = QStringLiteral("\r\n");

// Columns that an import leaves as the customer has them, by table; USMDF and DTMDF of every table.
bool KeptColumn(const QString& sTable, const QString& sColumn) {
    static const QList<QPair<QString, QStringList>> kept = {
        {QStringLiteral("CAU_MOV"), {QStringLiteral("CMDES")}},
        {QStringLiteral("ART_DEC"),
         {QStringLiteral("ACCAP"), QStringLiteral("ACTYP"), QStringLiteral("ACSEQ"), QStringLiteral("ACMAX"),
          QStringLiteral("ACMIN"), QStringLiteral("ACDEC"), QStringLiteral("ACREQ"),
          QStringLiteral("ACHFL")}},
        {QStringLiteral("SYS_RUL"), {QStringLiteral("RUDES"), QStringLiteral("RUDET")}},
        {QStringLiteral("TAB_CAU"), {QStringLiteral("CADES"), QStringLiteral("CADET")}},
        {QStringLiteral("TAB_CCT"), {QStringLiteral("CADES"), QStringLiteral("CACAU")}},
        {QStringLiteral("TAB_CCR"),
         {QStringLiteral("CR102"), QStringLiteral("CR118"), QStringLiteral("CR112"), QStringLiteral("CR122"),
          QStringLiteral("CRNCM"), QStringLiteral("CRNTB"), QStringLiteral("CRNCS")}},
        {QStringLiteral("SYS_REP"),
         {QStringLiteral("RSDES"), QStringLiteral("RSNOT"), QStringLiteral("RSNO2"), QStringLiteral("RSATT"),
          QStringLiteral("RSWUS"), QStringLiteral("RSWHS"), QStringLiteral("RSPRI"), QStringLiteral("RSGRG"),
          QStringLiteral("RSSAV"), QStringLiteral("RSTAT"), QStringLiteral("RSFAT"),
          QStringLiteral("RSEAP")}},
        {QStringLiteral("SYS_TSK"),
         {QStringLiteral("TSAZI"), QStringLiteral("TSTIP"), QStringLiteral("TSKAT"), QStringLiteral("TSOUT"),
          QStringLiteral("TSDES"), QStringLiteral("TSDST"), QStringLiteral("TSORD")}},
    };
    const QString column = sColumn.toUpper();
    if (column == QLatin1String("USMDF") || column == QLatin1String("DTMDF"))
        return true;
    const QString table = sTable.trimmed().toUpper();
    for (const auto& entry : kept) {
        if (entry.first == table)
            return entry.second.contains(column);
    }
    return false;
}

// System tables are replaced whole when the import deletes first; the task, rule and report
// tables keep what the customer made of them, as all firm tables do.
bool OpenToDeleting(const QString& sTable) {
    const QString name = sTable.trimmed().toUpper();
    return name.startsWith(QLatin1String("SYS")) && name != QLatin1String("SYS_TSK") &&
           name != QLatin1String("SYS_RUL") && name != QLatin1String("SYS_REP");
}

QString SeeErrorFile(const QString& sErrorFile) {
    return QStringLiteral("\r\nPer ulteriori informazioni consultare il file \"") + sErrorFile +
           QStringLiteral("\".");
}

void StartBar(IProgressBar* bar, int count) {
    if (bar == nullptr || count < 1)
        return;
    bar->setValue(0.0001);
    bar->setMax(count + 0.0001);
    bar->setVisible(true);
}

} // namespace

bool qlDatabase::ReadXmlDataTable(const QString& sXmlStructureFile, QString* sOnlyTableName,
                                  const QString& sReplaceWith, IProgressBar* objProgressbar,
                                  const QString& sDataPrefix) {
    Q_UNUSED(sDataPrefix);
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, kRoutine);
    rule.setAfterDecision([this] { DoEvents(); });
    QDomDocument doc;
    QString why;
    if (!LoadStructureDocument(sXmlStructureFile, doc, &why)) {
        AddRTFText(QStringLiteral("Import Data: ") + sXmlStructureFile, true, why);
        return false;
    }
    // The root is the document's element; its DataTables container is found by name.
    QDomNode dataTables;
    const QDomElement root = doc.documentElement();
    for (int i = 0; i < ChildCount(root); ++i) {
        if (BaseName(ChildAt(root, i)) == QLatin1String("DataTables")) {
            dataTables = ChildAt(root, i);
            break;
        }
    }
    if (dataTables.isNull())
        return true;

    bool bOk = true;
    const QString only = sOnlyTableName != nullptr ? *sOnlyTableName : QString();
    for (int t = 0; t < ChildCount(dataTables); ++t) {
        const QDomNode dataTable = ChildAt(dataTables, t);
        const QString fileName = ChildText(dataTable, 0).trimmed();
        const QString filter = ChildText(dataTable, 1);
        const QDomNode content = ChildAt(dataTable, 2);
        if (fileName.isEmpty() || content.isNull()) {
            AddRTFText(QStringLiteral("Import Data Table:") + QString::number(t + 1), true,
                       QStringLiteral("The data table has no table name or no data: skipped."));
            bOk = false;
            continue;
        }
        // The name in comparisons has no firm; the target has the firm the caller names.
        QString name = fileName;
        QString target = fileName;
        if (!sReplaceWith.isEmpty()) {
            name = QString(fileName).remove(QString::fromUtf16(kFirmMarker), Qt::CaseInsensitive);
            target =
                QString(fileName).replace(QString::fromUtf16(kFirmMarker), sReplaceWith, Qt::CaseInsensitive);
        }
        if (!only.isEmpty() && only.compare(name, Qt::CaseInsensitive) != 0)
            continue;

        const bool bulk = BaseName(content).toLower() == QLatin1String("recordscount");
        int64_t expected = 0;
        if (bulk) {
            bool number = false;
            expected = ChildText(dataTable, 2).trimmed().toLongLong(&number);
            if (!number || expected < 0) {
                AddRTFText(QStringLiteral("Import Data Table:") + target, true,
                           QStringLiteral("RecordsCount \"") + ChildText(dataTable, 2) +
                               QStringLiteral("\" is not a number of records: the table is not imported."));
                bOk = false;
                continue;
            }
        }
        AddRTFText(QStringLiteral("Import Data Table:") + target);

        bool emptied = false;
        if (DeleteDataBeforeImport() && OpenToDeleting(target)) {
            if (!rule.run([&] {
                    AddRTFText(QStringLiteral("Delete Data Table:") + target);
                    qlQueryConstructor remove;
                    remove.setProviderType(connection().ProviderType());
                    remove.Reset();
                    remove.SetTable(target);
                    if (!filter.isEmpty())
                        remove.setWhereString(QStringLiteral("WHERE ") + filter);
                    const QString statement = remove.MakeQuery(ql_eQueryType::Delete);
                    bool bError = false;
                    QString sError;
                    if (!rule.tolerate([&] { connection().Execute(statement, &bError, &sError); })) {
                        bError = true;
                        sError = rule.lastError()->Description;
                    }
                    if (bError) {
                        AddRTFText(statement, true, sError);
                        bOk = false;
                    }
                    emptied = !bError;
                }))
                return false;
        }
        m_localFieldTypes.clear();

        bool done = true;
        if (!rule.run([&] {
                done = bulk ? ImportDataBulk(fileName, target, expected)
                            : ImportDataRecords(
                                  content, target,
                                  QString(name).remove(QString::fromUtf16(kFirmMarker), Qt::CaseInsensitive),
                                  emptied && filter.isEmpty(), objProgressbar);
            }))
            return false;
        bOk = bOk && done;
    }
    return bOk;
}

bool qlDatabase::ImportDataRecords(const QDomNode& records, const QString& sTable, const QString& sKeptTable,
                                   bool bWithoutCondition, IProgressBar* objProgressbar) {
    qlConnection& conn = connection();
    CatalogWalk cat(*conn.ADODBConnection());
    qlQueryConstructor insert;
    qlQueryConstructor update;
    insert.setProviderType(conn.ProviderType());
    update.setProviderType(conn.ProviderType());
    // The key stays the same through the table: asked once.
    const QStringList keys = conn.GetTableKeys(sTable).split(QLatin1Char('|'), Qt::SkipEmptyParts);
    QString table = sTable;
    bool bOk = true;
    const int count = ChildCount(records);
    StartBar(objProgressbar, count);
    for (int r = 0; r < count; ++r) {
        const QDomNode record = ChildAt(records, r);
        insert.Reset();
        update.Reset();
        insert.SetTable(sTable);
        update.SetTable(sTable);
        QString condition;
        int fields = 0;
        for (int f = 0; f < ChildCount(record); ++f) {
            const QDomNode field = ChildAt(record, f);
            const QString name = ChildText(field, 0).trimmed();
            if (name.isEmpty())
                continue;
            const QString text = ChildText(field, 1);
            const QVariant value = text == QLatin1String("Null") ? NullVariant() : QVariant(text);
            const int32_t index = GetLocalQlDataType(name);
            if (index < 0) {
                LocalFieldType& entry = m_localFieldTypes.back();
                entry.FieldName = name;
                entry.DataType = GetQlDataType(cat, table, name);
                entry.AutoIncrement = conn.IsAutoincrementField(sTable, name);
            }
            const LocalFieldType& type = index < 0 ? m_localFieldTypes.back() : m_localFieldTypes[index];
            if (type.AutoIncrement)
                continue;
            ++fields;
            if (keys.contains(name, Qt::CaseInsensitive)) {
                // The joint has no blank before AND: the server reads it as the next word all the same.
                if (!condition.isEmpty())
                    condition += QStringLiteral("AND ");
                condition += name + QLatin1Char('=') +
                             FormatSqlValue(value, type.DataType, ql_eProviderType::SQLServer);
            }
            if (!KeptColumn(sKeptTable, name))
                update.AddUpdateField(name, value, type.DataType);
            const QString upper = name.toUpper();
            if (upper == QLatin1String("USINS"))
                insert.AddUpdateField(name, QStringLiteral("SYSTEM_IMPORT"), type.DataType);
            else if (upper == QLatin1String("DTINS"))
                insert.AddUpdateField(name, QDateTime::currentDateTime(), type.DataType);
            else if (upper != QLatin1String("USMDF") && upper != QLatin1String("DTMDF"))
                insert.AddUpdateField(name, value, type.DataType);
        }
        if (fields == 0) {
            AddRTFText(QStringLiteral("Record %1 of ").arg(r + 1) + sTable, true,
                       QStringLiteral("The record has no fields: skipped."));
            bOk = false;
            continue;
        }
        if (bWithoutCondition)
            condition.clear();
        QString statement = insert.MakeQuery(ql_eQueryType::Insert);
        if (!condition.isEmpty()) {
            statement = QStringLiteral("IF EXISTS (") + kCrLf + QStringLiteral("SELECT * FROM ") + sTable +
                        kCrLf + QStringLiteral("WHERE ") + condition + QLatin1Char(')') + kCrLf +
                        update.MakeQuery(ql_eQueryType::Update) + kCrLf + QStringLiteral("WHERE ") +
                        condition + kCrLf + QStringLiteral(" ELSE") + kCrLf + statement;
        }
        bool bError = false;
        QString sError;
        try {
            conn.Execute(statement, &bError, &sError);
        } catch (const qlException& e) {
            bError = true;
            sError = e.description();
        }
        if (bError) {
            AddRTFText(statement, true, sError);
            bOk = false;
        }
        if (objProgressbar != nullptr)
            objProgressbar->setValue(objProgressbar->Value() + 1 < objProgressbar->Max()
                                         ? objProgressbar->Value() + 1
                                         : objProgressbar->Max());
    }
    if (objProgressbar != nullptr && count >= 1)
        objProgressbar->setVisible(false);
    AddRTFText(QStringLiteral("Total Record(s) for ") + sTable + QLatin1Char(':') + QString::number(count));
    return bOk;
}

bool qlDatabase::ImportDataBulk(const QString& sBaseName, const QString& sTable, int64_t lExpected) {
    qlConnection& conn = connection();
    IHostServices& ui = host();
    const DataSideFiles files = SideFilesFor(sBaseName, PathXML());
    DeleteFiles({files.Log, files.Output, files.Error});
    const BulkCopyLogin login{conn.Server(),   conn.DatabaseName(),      conn.User(),
                              conn.Password(), conn.NetworkCredential(), conn.BulkCopyVersion()};
    const BulkCopyJob job{BulkCopyPass::In, sTable, files.Data, files.Format, files.Error, files.Log};
    auto box = [&](const QString& text) {
        ui.MessageBox(text, MsgButtons::OK, MsgIcon::Exclamation, kBoxTitle);
    };
    bool bOk = true;
    if (!RunBulkCopy(job, login, conn.BulkCopyMode(), *conn.ADODBConnection(), &ui)) {
        box(QStringLiteral("Si sono verificati errori durante l'eseguzione del comando \"bcp.exe\" per "
                           "l'importazione della tabella \"") +
            sTable + QStringLiteral("\"."));
        bOk = false;
    }
    if (QFileInfo(files.Error).size() > 0) {
        box(QStringLiteral("Si sono verificati errori durante l'importazione della tabella \"") + sTable +
            QStringLiteral("\".") + SeeErrorFile(files.Error));
        bOk = false;
    }
    const auto rs = conn.ExecuteWC(QStringLiteral("SELECT COUNT(*) FROM ") + sTable);
    const int64_t found =
        rs && rs->State() != ado::adStateClosed && !rs->IsEOF() ? rs->Value(0).toLongLong() : 0;
    if (found != lExpected) {
        // The files stay for whoever looks into the difference.
        box(QStringLiteral("Il numero di record importati non corrisponde. Da importare: ") +
            QString::number(lExpected) + QStringLiteral(". Importati: ") + QString::number(found) +
            SeeErrorFile(files.Error));
        return false;
    }
    DeleteFiles({files.Output, files.Error});
    return bOk;
}

} // namespace qldb
