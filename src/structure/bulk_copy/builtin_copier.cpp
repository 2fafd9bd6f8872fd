#include "structure/bulk_copy/builtin_copier.h"

#include "platform/errors/error_record.h"
#include "platform/odbc/bulk_insert.h"
#include "platform/tools/conversions.h"
#include "structure/bulk_copy/bulk_copy_files.h"
#include "structure/bulk_copy/bulk_field_values.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace qldb {

namespace {

bool WriteFile(const QString& sFile, const QByteArray& bytes) {
    if (sFile.isEmpty())
        return false;
    QDir().mkpath(QFileInfo(sFile).absolutePath());
    QFile file(sFile);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return file.write(bytes) == bytes.size();
}

// The copier's account of a pass, where the program prints its own.
class PassReport {
public:
    PassReport(const BulkCopyJob& job, int32_t iMode) : m_job(job), m_mode(iMode) {}
    ~PassReport() {
        if (!m_errors.isEmpty())
            WriteFile(m_job.ErrorFile, m_errors.toUtf8());
        if (m_mode == 2)
            WriteFile(m_job.LogFile, m_log.toUtf8());
    }
    void error(const QString& sMessage) {
        m_errors += QStringLiteral("#@ ") + sMessage + QStringLiteral(" @#\n");
    }
    void rowError(int64_t row, const QString& sMessage, const QString& sRowText) {
        error(QStringLiteral("Row %1: %2").arg(row).arg(sMessage));
        m_errors += sRowText + QLatin1Char('\n');
    }
    void line(const QString& sText) { m_log += sText + QLatin1Char('\n'); }
    bool hasErrors() const { return !m_errors.isEmpty(); }

private:
    const BulkCopyJob& m_job;
    int32_t m_mode;
    QString m_errors;
    QString m_log;
};

// The table's name as the catalog spells it: the structure file's names are upper case, and
// servers that fold names to lower case find their catalog entries only under their own spelling.
QString CatalogName(IDbConnection& connection, const QString& sTable) {
    for (const CatalogTable& table : connection.Tables()) {
        if (table.Name.compare(sTable, Qt::CaseInsensitive) == 0)
            return table.Name;
    }
    return sTable;
}

QString UnknownTable(const QString& sTable) {
    return QStringLiteral("Invalid object name '%1'.").arg(sTable);
}

bool FormatPass(const BulkCopyJob& job, PassReport& report, IDbConnection& connection) {
    const std::vector<CatalogColumn> columns = connection.Columns(CatalogName(connection, job.Table));
    if (columns.empty()) {
        report.error(UnknownTable(job.Table));
        return true;
    }
    if (!WriteFile(job.FormatFile, FormatFileText(WideFormatFor(columns)).toUtf8()))
        report.error(QStringLiteral("Unable to open host data-file"));
    return true;
}

// With values that hold a tab or a line end the fields need longer terminators; the format file
// made by the format pass learns them, so that the data reads back whole.
void AdjustFormatTerminators(const QString& sFormatFile, const QString& sField, const QString& sRow) {
    QFile file(sFormatFile);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QString text = QString::fromUtf8(file.readAll());
    file.close();
    std::optional<BulkFormat> format = ParseFormatFile(text, nullptr);
    if (!format)
        return;
    for (size_t i = 0; i < format->Fields.size(); ++i)
        format->Fields[i].Terminator = EscapedTerminator(i + 1 < format->Fields.size() ? sField : sRow);
    WriteFile(sFormatFile, FormatFileText(*format).toUtf8());
}

bool OutPass(const BulkCopyJob& job, PassReport& report, IDbConnection& connection) {
    std::shared_ptr<Recordset> rs;
    try {
        rs = connection.OpenRecordset(QStringLiteral("SELECT * FROM ") + CatalogName(connection, job.Table),
                                      ado::adOpenStatic, ado::adLockReadOnly, ado::adOptionUnspecified);
    } catch (const qlException& e) {
        report.error(e.description());
        return true;
    }
    std::vector<QStringList> rows;
    rows.reserve(rs->Rows().size());
    for (const Row& row : rs->Rows()) {
        QStringList texts;
        for (const QVariant& v : row)
            texts << BulkFieldText(v);
        rows.push_back(std::move(texts));
    }
    const QString field = SafeTerminator(QStringLiteral("\t"), rows);
    const QString rowEnd = SafeTerminator(QStringLiteral("\n"), rows);
    if (field.size() > 1 || rowEnd.size() > 1)
        AdjustFormatTerminators(job.FormatFile, field, rowEnd);
    QString data;
    for (const QStringList& row : rows)
        data += row.join(field) + rowEnd;
    report.line(QStringLiteral("Starting copy..."));
    if (!WriteFile(job.DataFile, EncodeBulkData(data))) {
        report.error(QStringLiteral("Unable to open host data-file"));
        return true;
    }
    report.line(QStringLiteral("%1 rows copied.").arg(rows.size()));
    return true;
}

bool InPass(const BulkCopyJob& job, PassReport& report, IDbConnection& connection) {
    QFile formatFile(job.FormatFile);
    if (!formatFile.open(QIODevice::ReadOnly)) {
        report.error(QStringLiteral("Unable to open BCP format-file"));
        return true;
    }
    QString why;
    const std::optional<BulkFormat> format = ParseFormatFile(QString::fromUtf8(formatFile.readAll()), &why);
    if (!format) {
        report.error(why);
        return true;
    }
    QFile dataFile(job.DataFile);
    if (!dataFile.open(QIODevice::ReadOnly)) {
        report.error(QStringLiteral("Unable to open host data-file"));
        return true;
    }
    const QString table = CatalogName(connection, job.Table);
    const std::vector<CatalogColumn> catalog = connection.Columns(table);
    if (catalog.empty()) {
        report.error(UnknownTable(job.Table));
        return true;
    }
    std::vector<QString> terminators;
    std::vector<BulkInsertColumn> columns;
    std::vector<size_t> hostField; // per target column, the field of the file it takes
    std::vector<ValueKind> kinds;
    for (size_t i = 0; i < format->Fields.size(); ++i) {
        const BulkFormatField& f = format->Fields[i];
        terminators.push_back(*TerminatorCharacters(f.Terminator));
        if (f.ServerOrder <= 0)
            continue;
        if (f.ServerOrder > static_cast<int>(catalog.size())) {
            report.error(QStringLiteral("Invalid column number in the format file: %1").arg(f.ServerOrder));
            return true;
        }
        const CatalogColumn& target = catalog[static_cast<size_t>(f.ServerOrder - 1)];
        columns.push_back({target.Name, target.Type, target.DefinedSize});
        hostField.push_back(i);
        kinds.push_back(ValueKindOf(target.Type));
    }
    const QString data = DecodeBulkData(dataFile.readAll());
    dataFile.close();
    const std::vector<QStringView> fields = SplitBulkData(data, terminators, &why);
    const size_t width = terminators.size();
    const size_t rowCount = fields.size() / width;
    auto rowText = [&](size_t r) {
        QString text;
        for (size_t f = 0; f < width; ++f) {
            if (f > 0)
                text += QLatin1Char('\t');
            text += fields[r * width + f];
        }
        return text;
    };
    report.line(QStringLiteral("Starting copy..."));
    std::unique_ptr<IBulkInsert> insert = CreateBulkInsert(connection, table, columns);
    int64_t copied = 0;
    std::vector<Row> batch;
    std::vector<size_t> batchRows; // the file's row (from 0) of each row of the batch
    auto flush = [&] {
        if (batch.empty())
            return;
        const std::vector<BulkRowError> refused = insert->InsertBatch(batch);
        copied += static_cast<int64_t>(batch.size() - refused.size());
        for (const BulkRowError& e : refused) {
            const size_t fileRow = batchRows[static_cast<size_t>(e.Row)];
            report.rowError(static_cast<int64_t>(fileRow + 1), e.Message, rowText(fileRow));
        }
        batch.clear();
        batchRows.clear();
    };
    try {
        for (size_t r = 0; r < rowCount; ++r) {
            Row values;
            values.reserve(columns.size());
            QString bad;
            for (size_t c = 0; c < columns.size() && bad.isEmpty(); ++c) {
                QVariant v = BulkFieldValue(fields[r * width + hostField[c]], kinds[c]);
                // The driver's own wording for a value that doesn't convert (SQLSTATE 22018), so an
                // error file reads the same whichever copier wrote it.
                if (!v.isValid())
                    bad = QStringLiteral("Column %1: Invalid character value for cast specification")
                              .arg(c + 1);
                values.push_back(std::move(v));
            }
            if (!bad.isEmpty()) {
                report.rowError(static_cast<int64_t>(r + 1), bad, rowText(r));
                continue;
            }
            batch.push_back(std::move(values));
            batchRows.push_back(r);
            if (static_cast<int>(batch.size()) >= kBulkBatchRows)
                flush();
        }
        flush();
    } catch (const qlException& e) {
        report.error(e.description());
    }
    if (!why.isEmpty())
        report.error(why);
    report.line(QStringLiteral("%1 rows copied.").arg(copied));
    return true;
}

} // namespace

bool RunBuiltInCopy(const BulkCopyJob& job, int32_t iMode, IDbConnection& connection) {
    PassReport report(job, iMode);
    switch (job.Pass) {
    case BulkCopyPass::Format:
        return FormatPass(job, report, connection);
    case BulkCopyPass::Out:
        return OutPass(job, report, connection);
    case BulkCopyPass::In:
        break;
    }
    return InPass(job, report, connection);
}

} // namespace qldb
