#include "structure/bulk_copy/builtin_copier.h"

#include "platform/errors/error_record.h"
#include "platform/odbc/bulk_insert.h"
#include "platform/tools/conversions.h"
#include "structure/bulk_copy/bulk_copy_files.h"

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>
#include <QTime>

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

enum class ValueKind { Integer, Real, Numeric, Bit, Date, Time, Timestamp, Binary, Text };

ValueKind KindOf(int32_t adoType) {
    switch (adoType) {
    case ado::adSmallInt:
    case ado::adInteger:
    case ado::adTinyInt:
    case ado::adUnsignedTinyInt:
    case 18:
    case 19:
    case ado::adBigInt:
    case 21:
        return ValueKind::Integer;
    case ado::adSingle:
    case ado::adDouble:
    case ado::adCurrency:
        return ValueKind::Real;
    case ado::adDecimal:
    case ado::adNumeric:
    case 139:
        return ValueKind::Numeric;
    case ado::adBoolean:
        return ValueKind::Bit;
    case ado::adDBDate:
        return ValueKind::Date;
    case ado::adDBTime:
        return ValueKind::Time;
    case ado::adDate:
    case ado::adDBTimeStamp:
        return ValueKind::Timestamp;
    case ado::adBinary:
    case ado::adVarBinary:
    case ado::adLongVarBinary:
        return ValueKind::Binary;
    default:
        return ValueKind::Text;
    }
}

QTime ParseTime(const QString& s) {
    // Fractions of a second may have up to seven digits; milliseconds are what we keep.
    static const QRegularExpression re(QStringLiteral("^(\\d{2}):(\\d{2}):(\\d{2})(?:\\.(\\d{1,7}))?$"));
    const QRegularExpressionMatch m = re.match(s);
    if (!m.hasMatch())
        return QTime();
    const int ms = m.captured(4).isEmpty() ? 0 : (m.captured(4) + QStringLiteral("00")).left(3).toInt();
    return QTime(m.captured(1).toInt(), m.captured(2).toInt(), m.captured(3).toInt(), ms);
}

// The field's text as a value of the column; an invalid QVariant when the text is not one.
QVariant FieldValue(const QString& s, ValueKind kind) {
    const bool nulChar = s.size() == 1 && s.at(0).unicode() == 0;
    if (s.isEmpty())
        return NullVariant();
    if (kind == ValueKind::Text)
        return nulChar ? QVariant(QStringLiteral("")) : QVariant(s);
    if (nulChar)
        return NullVariant();
    const QLocale c = QLocale::c();
    bool ok = false;
    switch (kind) {
    case ValueKind::Integer: {
        const qlonglong n = c.toLongLong(s.trimmed(), &ok);
        return ok ? QVariant(n) : QVariant();
    }
    case ValueKind::Real: {
        const double d = c.toDouble(s.trimmed(), &ok);
        return ok ? QVariant(d) : QVariant();
    }
    case ValueKind::Numeric:
        c.toDouble(s.trimmed(), &ok);
        return ok ? QVariant(s.trimmed()) : QVariant();
    case ValueKind::Bit: {
        const QString t = s.trimmed().toLower();
        if (t == QLatin1String("1") || t == QLatin1String("true"))
            return QVariant(true);
        if (t == QLatin1String("0") || t == QLatin1String("false"))
            return QVariant(false);
        return QVariant();
    }
    case ValueKind::Date: {
        const QDate d = QDate::fromString(s.trimmed().left(10), QStringLiteral("yyyy-MM-dd"));
        return d.isValid() ? QVariant(d) : QVariant();
    }
    case ValueKind::Time: {
        const QTime t = ParseTime(s.trimmed());
        return t.isValid() ? QVariant(t) : QVariant();
    }
    case ValueKind::Timestamp: {
        const QString t = s.trimmed();
        const QDate d = QDate::fromString(t.left(10), QStringLiteral("yyyy-MM-dd"));
        const QTime time = t.size() > 11 ? ParseTime(t.mid(11)) : QTime(0, 0);
        return d.isValid() && time.isValid() ? QVariant(QDateTime(d, time)) : QVariant();
    }
    case ValueKind::Binary: {
        const QString t = s.trimmed();
        static const QRegularExpression hex(QStringLiteral("^(?:0[xX])?([0-9A-Fa-f]{2})*$"));
        if (!hex.match(t).hasMatch())
            return QVariant();
        const QString digits = t.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? t.mid(2) : t;
        return QVariant(QByteArray::fromHex(digits.toLatin1()));
    }
    case ValueKind::Text:
        break;
    }
    return QVariant(s);
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
    std::vector<int> hostField; // per target column, the field of the file it takes
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
        hostField.push_back(static_cast<int>(i));
        kinds.push_back(KindOf(target.Type));
    }
    const std::vector<QStringList> rows =
        SplitBulkData(DecodeBulkData(dataFile.readAll()), terminators, &why);
    report.line(QStringLiteral("Starting copy..."));
    std::unique_ptr<IBulkInsert> insert = CreateBulkInsert(connection, table, columns);
    int64_t copied = 0;
    std::vector<Row> batch;
    std::vector<int64_t> batchRows; // the file's row number of each row of the batch
    auto flush = [&] {
        if (batch.empty())
            return;
        const std::vector<BulkRowError> refused = insert->InsertBatch(batch);
        copied += static_cast<int64_t>(batch.size() - refused.size());
        for (const BulkRowError& e : refused) {
            const int64_t fileRow = batchRows[static_cast<size_t>(e.Row)];
            report.rowError(fileRow, e.Message,
                            rows[static_cast<size_t>(fileRow - 1)].join(QLatin1Char('\t')));
        }
        batch.clear();
        batchRows.clear();
    };
    try {
        for (size_t r = 0; r < rows.size(); ++r) {
            Row values;
            values.reserve(columns.size());
            QString bad;
            for (size_t c = 0; c < columns.size() && bad.isEmpty(); ++c) {
                const QString& text = rows[r].at(hostField[c]);
                QVariant v = FieldValue(text, kinds[c]);
                if (!v.isValid())
                    bad = QStringLiteral("Column %1: Invalid character value for cast specification")
                              .arg(c + 1);
                values.push_back(std::move(v));
            }
            if (!bad.isEmpty()) {
                report.rowError(static_cast<int64_t>(r + 1), bad, rows[r].join(QLatin1Char('\t')));
                continue;
            }
            batch.push_back(std::move(values));
            batchRows.push_back(static_cast<int64_t>(r + 1));
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
