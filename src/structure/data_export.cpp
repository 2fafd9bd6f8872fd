// The data of one table for the structure file: its records inside the DataTable element, or its
// rows through the bulk copy into side files with only their count in the element.
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"
#include "structure/bulk_copy/bulk_copy.h"
#include "structure/catalog_walk.h"
#include "structure/ql_database.h"
#include "structure/structure_document.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <optional>

namespace qldb {

namespace {

const QString kClass = QStringLiteral("qlDatabase");
const QString kBoxTitle = QStringLiteral("Tavoleno Mirando");

QString SeeErrorFile(const QString& sErrorFile) {
    return QStringLiteral("\r\nPer ulteriori informazioni consultare il file \"") + sErrorFile +
           QStringLiteral("\".");
}

// The text of a value in the file: Null and the bit words are keywords, binary data is written as
// a 0x literal so that it reads back as the same bytes.
QString XmlValueText(const QVariant& value, ql_eDataType type) {
    if (IsNullOrEmpty(value))
        return QStringLiteral("Null");
    if (type == ql_eDataType::TypeBit)
        return ToBoolean(value) ? QStringLiteral("True") : QStringLiteral("False");
    if (value.typeId() == QMetaType::QByteArray)
        return QStringLiteral("0x") + QString::fromLatin1(value.toByteArray().toHex().toUpper());
    return ToText(value);
}

void StepBar(IProgressBar* bar) {
    if (bar == nullptr)
        return;
    bar->setValue(bar->Value() + 1 < bar->Max() ? bar->Value() + 1 : bar->Max());
}

// The first line of a format file is the version of the program that wrote it; the importing
// program reads it as a decimal number with a dot, whatever the locale says.
bool RewriteFormatVersion(const QString& sFormatFile, int32_t iVersion) {
    QFile in(sFormatFile);
    if (!in.open(QIODevice::ReadOnly))
        return false;
    QByteArray text = in.readAll();
    in.close();
    const qsizetype end = text.indexOf('\n');
    const QByteArray rest = end < 0 ? QByteArray() : text.mid(end);
    const bool cr = end > 0 && text.at(end - 1) == '\r';
    const QByteArray version = QString::number(iVersion / 10.0, 'f', 1).toLatin1() + (cr ? "\r" : "");
    QSaveFile out(sFormatFile);
    if (!out.open(QIODevice::WriteOnly))
        return false;
    out.write(version + rest);
    return out.commit();
}

void WriteTextFile(const QString& sFile, const QString& sText) {
    QFile file(sFile);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(sText.toLocal8Bit());
}

} // namespace

QDomElement qlDatabase::GetXmlDataTable(const QString& sTableName, QString* sReplace,
                                        const QString& sReplaceWith, const QString& sDataQuery,
                                        IProgressBar* objProgressbar, const QString& sDataPrefix) {
    Q_UNUSED(sDataPrefix);
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("GetXmlDataTable"));
    rule.setAfterDecision([this] { DoEvents(); });
    QDomDocument factory;
    QDomElement node = factory.createElement(QStringLiteral("DataTable"));
    std::optional<BusyPointer> busy;

    const QString table = sTableName.toUpper();
    QString replace;
    if (sReplace != nullptr) {
        *sReplace = sReplace->toUpper();
        replace = *sReplace;
    }
    const QString replaceWith = sReplaceWith.toUpper();
    QString name = table;
    if (!replace.isEmpty())
        name = QString(table).replace(replace, replaceWith, Qt::CaseInsensitive).toUpper();
    QString filter;
    const qsizetype where = sDataQuery.indexOf(QLatin1String("WHERE"), 0, Qt::CaseInsensitive);
    if (where >= 0)
        filter = sDataQuery.mid(where + 6);

    if (!rule.run([&] {
            busy.emplace(host());
            node.appendChild(TextElement(factory, QStringLiteral("TableName"), name));
            node.appendChild(TextElement(factory, QStringLiteral("Filter"), filter));
        }))
        return node;

    if (!sDataQuery.isEmpty()) {
        QDomElement records = factory.createElement(QStringLiteral("Records"));
        node.appendChild(records);
        std::shared_ptr<Recordset> rs;
        const bool ready = rule.run([&] {
            qlConnection& conn = connection();
            CatalogWalk cat(*conn.ADODBConnection());
            const CatalogTable* found = cat.FindTable(table);
            if (found == nullptr)
                return;
            const qsizetype from = sDataQuery.indexOf(QLatin1String("FROM"), 0, Qt::CaseInsensitive);
            const auto count =
                conn.ExecuteWC(QStringLiteral("SELECT COUNT(*) AS MAX ") + sDataQuery.mid(from));
            const int32_t total = count && count->State() != ado::adStateClosed && !count->IsEOF()
                                      ? ToLong(count->Value(0))
                                      : 0;
            if (objProgressbar != nullptr && total >= 1) {
                objProgressbar->setValue(0.0001);
                objProgressbar->setMax(total + 0.0001);
                objProgressbar->setVisible(true);
            }
            m_localFieldTypes.clear();
            for (const CatalogColumn& column : cat.Columns(found->Name)) {
                if (GetLocalQlDataType(column.Name) >= 0)
                    continue;
                ql_eDataType type = ql_eDataType::TypeNotSupported;
                GetQlFieldType(table, column.Name, column.Type, &type);
                m_localFieldTypes.back().FieldName = column.Name;
                m_localFieldTypes.back().DataType = type;
            }
            rs = conn.ExecuteWC(sDataQuery);
        });
        if (!ready || !rs || rs->State() == ado::adStateClosed)
            return node;
        // The type of each column of the answer, from the cache of the table's columns.
        std::vector<ql_eDataType> types;
        for (const FieldInfo& field : rs->FieldInfos()) {
            ql_eDataType type = ql_eDataType::TypeNotSupported;
            for (const LocalFieldType& entry : m_localFieldTypes) {
                if (entry.FieldName.compare(field.Name, Qt::CaseInsensitive) == 0)
                    type = entry.DataType;
            }
            types.push_back(type);
        }
        for (; !rs->IsEOF(); rs->MoveNext()) {
            QDomElement record = factory.createElement(QStringLiteral("Record"));
            for (int i = 0; i < rs->FieldCount(); ++i) {
                if (types[static_cast<size_t>(i)] == ql_eDataType::TypeNotSupported)
                    continue;
                QDomElement field = factory.createElement(QStringLiteral("Field"));
                field.appendChild(
                    TextElement(factory, QStringLiteral("FieldName"), rs->FieldInfos()[i].Name));
                field.appendChild(TextElement(factory, QStringLiteral("Value"),
                                              XmlValueText(rs->Value(i), types[static_cast<size_t>(i)])));
                record.appendChild(field);
            }
            records.appendChild(record);
            StepBar(objProgressbar);
        }
        rs->Close();
        if (objProgressbar != nullptr)
            objProgressbar->setVisible(false);
        return node;
    }

    // The bulk copy route.
    bool failed = false;
    const bool ran = rule.run([&] {
        qlConnection& conn = connection();
        const DataSideFiles files = SideFilesFor(name, PathXML());
        QDir().mkpath(QFileInfo(files.Data).absolutePath());
        QDir().mkpath(QFileInfo(files.Output).absolutePath());
        DeleteFiles({files.Data, files.Format, files.Output, files.Log, files.Error});
        const BulkCopyLogin login{conn.Server(),   conn.DatabaseName(),      conn.User(),
                                  conn.Password(), conn.NetworkCredential(), conn.BulkCopyVersion()};
        const int32_t mode = conn.BulkCopyMode();
        BulkCopyJob job{BulkCopyPass::Format, name, files.Data, files.Format, files.Error, files.Log};
        IHostServices& ui = host();
        auto box = [&](const QString& text) {
            ui.MessageBox(text, MsgButtons::OK, MsgIcon::Exclamation, kBoxTitle);
            failed = true;
        };
        if (!RunBulkCopy(job, login, mode, *conn.ADODBConnection(), &ui)) {
            box(QStringLiteral(
                    "Si sono verificati errori durante l'eseguzione del comando \"bcp.exe\" per la "
                    "creazione del file di formato della tabella \"") +
                name + QStringLiteral("\"."));
            return;
        }
        WriteTextFile(files.Output, BulkCopyCommand(job, login));
        if (!QFileInfo::exists(files.Format)) {
            box(QStringLiteral(
                    "Si sono verificati errori durante la creazione del file di formato della tabella \"") +
                name + QStringLiteral("\".") + SeeErrorFile(files.Error));
            return;
        }
        RewriteFormatVersion(files.Format, login.Version);

        DeleteFiles({files.Data, files.Output, files.Log, files.Error});
        job.Pass = BulkCopyPass::Out;
        if (!RunBulkCopy(job, login, mode, *conn.ADODBConnection(), &ui)) {
            box(QStringLiteral(
                    "Si sono verificati errori durante l'eseguzione del comando \"bcp.exe\" per la "
                    "creazione del file di dati della tabella \"") +
                name + QStringLiteral("\"."));
            return;
        }
        WriteTextFile(files.Output, BulkCopyCommand(job, login));
        if (!QFileInfo::exists(files.Data)) {
            box(QStringLiteral(
                    "Si sono verificati errori durante la creazione del file di dati della tabella \"") +
                name + QStringLiteral("\".") + SeeErrorFile(files.Error));
            return;
        }
    });
    QString count = QStringLiteral("0");
    if (ran && !failed) {
        rule.run([&] {
            const auto rs = connection().ExecuteWC(QStringLiteral("SELECT COUNT(*) FROM ") + table);
            if (rs && rs->State() != ado::adStateClosed && !rs->IsEOF())
                count = QString::number(ToLong(rs->Value(0)));
        });
    }
    node.appendChild(TextElement(factory, QStringLiteral("RecordsCount"), count));
    return node;
}

} // namespace qldb
