#include "structure/bulk_copy/bulk_copy_files.h"

#include <QDate>
#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>
#include <QTime>
#include <QtEndian>

namespace qldb {

namespace {

// Characters a wide export gives a value of the type at most, as the copy program counts them.
int WideCharacters(const CatalogColumn& column) {
    switch (column.Type) {
    case ado::adBoolean:
        return 1;
    case ado::adTinyInt:
    case ado::adUnsignedTinyInt:
        return 5;
    case ado::adSmallInt:
        return 7;
    case ado::adInteger:
        return 12;
    case ado::adBigInt:
        return 20;
    case ado::adSingle:
    case ado::adDouble:
        return 30;
    case ado::adCurrency:
        return 30;
    case ado::adDecimal:
    case ado::adNumeric:
        return 41;
    case ado::adDBDate:
        return 11;
    case ado::adDBTime:
        return 16;
    case ado::adDate:
    case ado::adDBTimeStamp:
        return 24;
    case ado::adGUID:
        return 37;
    case ado::adBinary:
    case ado::adVarBinary:
        return column.DefinedSize > 0 && column.DefinedSize <= 8000 ? column.DefinedSize * 2 : 0;
    case ado::adLongVarBinary:
    case ado::adLongVarChar:
    case ado::adLongVarWChar:
        return 0;
    default:
        // Text: its size; the long kinds have no length.
        return column.DefinedSize > 0 && column.DefinedSize <= 8000 ? column.DefinedSize : 0;
    }
}

// Words of a format line: blanks split, "..." keeps a terminator or a collation whole.
QStringList FormatWords(const QString& sLine) {
    QStringList words;
    qsizetype i = 0;
    const qsizetype n = sLine.size();
    while (i < n) {
        while (i < n && sLine.at(i).isSpace())
            ++i;
        if (i >= n)
            break;
        QString word;
        if (sLine.at(i) == QLatin1Char('"')) {
            ++i;
            while (i < n && sLine.at(i) != QLatin1Char('"')) {
                if (sLine.at(i) == QLatin1Char('\\') && i + 1 < n)
                    word += sLine.at(i++);
                word += sLine.at(i++);
            }
            ++i;
            words << word;
            continue;
        }
        while (i < n && !sLine.at(i).isSpace())
            word += sLine.at(i++);
        words << word;
    }
    return words;
}

// The bytes an escaped terminator stands for.
std::optional<QByteArray> TerminatorBytes(const QString& sEscaped) {
    QByteArray bytes;
    for (qsizetype i = 0; i < sEscaped.size(); ++i) {
        const QChar c = sEscaped.at(i);
        if (c != QLatin1Char('\\')) {
            if (c.unicode() > 0xFF)
                return std::nullopt;
            bytes += static_cast<char>(c.unicode());
            continue;
        }
        if (++i >= sEscaped.size())
            return std::nullopt;
        switch (sEscaped.at(i).toLatin1()) {
        case 't':
            bytes += '\t';
            break;
        case 'n':
            bytes += '\n';
            break;
        case 'r':
            bytes += '\r';
            break;
        case '0':
            bytes += '\0';
            break;
        case '\\':
            bytes += '\\';
            break;
        case '"':
            bytes += '"';
            break;
        default:
            return std::nullopt;
        }
    }
    return bytes;
}

} // namespace

BulkFormat WideFormatFor(const std::vector<CatalogColumn>& columns) {
    BulkFormat format;
    const int count = static_cast<int>(columns.size());
    for (int i = 0; i < count; ++i) {
        BulkFormatField field;
        field.HostOrder = i + 1;
        field.DataLength = WideCharacters(columns[static_cast<size_t>(i)]) * 2;
        field.Terminator = i + 1 < count ? kWideFieldTerminator : kWideRowTerminator;
        field.ServerOrder = i + 1;
        field.Name = columns[static_cast<size_t>(i)].Name;
        format.Fields.push_back(field);
    }
    return format;
}

QString FormatFileText(const BulkFormat& format) {
    QString text =
        format.Version + QLatin1Char('\n') + QString::number(format.Fields.size()) + QLatin1Char('\n');
    for (const BulkFormatField& f : format.Fields) {
        text += QStringLiteral("%1       %2            %3       %4      \"%5\"    %6     %7   \"%8\"\n")
                    .arg(f.HostOrder)
                    .arg(f.HostType)
                    .arg(f.PrefixLength)
                    .arg(f.DataLength)
                    .arg(f.Terminator)
                    .arg(f.ServerOrder)
                    .arg(f.Name, f.Collation);
    }
    return text;
}

std::optional<BulkFormat> ParseFormatFile(const QString& sText, QString* sError) {
    auto fail = [&](const QString& why) -> std::optional<BulkFormat> {
        if (sError)
            *sError = why;
        return std::nullopt;
    };
    QStringList lines = sText.split(QRegularExpression(QStringLiteral("\r?\n")));
    while (!lines.isEmpty() && lines.last().trimmed().isEmpty())
        lines.removeLast();
    if (lines.size() < 2)
        return fail(QStringLiteral("The format file has no version and column count."));
    BulkFormat format;
    format.Version = lines.at(0).trimmed();
    bool ok = false;
    const int count = lines.at(1).trimmed().toInt(&ok);
    if (!ok || count < 1 || lines.size() < count + 2)
        return fail(QStringLiteral("The format file's column count does not match its lines."));
    for (int i = 0; i < count; ++i) {
        const QStringList w = FormatWords(lines.at(i + 2));
        BulkFormatField f;
        bool okOrder = false, okPrefix = false, okLength = false, okServer = false;
        if (w.size() >= 7) {
            f.HostOrder = w.at(0).toInt(&okOrder);
            f.HostType = w.at(1);
            f.PrefixLength = w.at(2).toInt(&okPrefix);
            f.DataLength = w.at(3).toInt(&okLength);
            f.Terminator = w.at(4);
            f.ServerOrder = w.at(5).toInt(&okServer);
            f.Name = w.at(6);
            f.Collation = w.size() > 7 ? w.at(7) : QString();
        }
        if (!(okOrder && okPrefix && okLength && okServer))
            return fail(QStringLiteral("Line %1 of the format file cannot be read.").arg(i + 3));
        if (!TerminatorCharacters(f.Terminator))
            return fail(QStringLiteral("Line %1 of the format file has a terminator that is not wide text.")
                            .arg(i + 3));
        format.Fields.push_back(f);
    }
    return format;
}

std::optional<QString> TerminatorCharacters(const QString& sEscaped) {
    const std::optional<QByteArray> bytes = TerminatorBytes(sEscaped);
    if (!bytes || bytes->isEmpty() || bytes->size() % 2 != 0)
        return std::nullopt;
    return QString::fromUtf16(reinterpret_cast<const char16_t*>(bytes->constData()), bytes->size() / 2);
}

QString EscapedTerminator(const QString& sCharacters) {
    QString out;
    auto escapeByte = [&](char16_t b) {
        switch (b) {
        case u'\t':
            out += QStringLiteral("\\t");
            break;
        case u'\n':
            out += QStringLiteral("\\n");
            break;
        case u'\r':
            out += QStringLiteral("\\r");
            break;
        case 0:
            out += QStringLiteral("\\0");
            break;
        case u'\\':
            out += QStringLiteral("\\\\");
            break;
        case u'"':
            out += QStringLiteral("\\\"");
            break;
        default:
            out += QChar(b);
        }
    };
    for (const QChar c : sCharacters) {
        escapeByte(c.unicode() & 0xFF);
        escapeByte(c.unicode() >> 8);
    }
    return out;
}

QString BulkFieldText(const QVariant& vValue) {
    if (vValue.isNull() || !vValue.isValid())
        return QString();
    switch (vValue.metaType().id()) {
    case QMetaType::Bool:
        return vValue.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case QMetaType::Double:
    case QMetaType::Float:
        return QString::number(vValue.toDouble(), 'g', QLocale::FloatingPointShortest);
    case QMetaType::QDateTime:
        return vValue.toDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
    case QMetaType::QDate:
        return vValue.toDate().toString(QStringLiteral("yyyy-MM-dd"));
    case QMetaType::QTime:
        return vValue.toTime().toString(QStringLiteral("HH:mm:ss.zzz"));
    case QMetaType::QByteArray:
        return QString::fromLatin1(vValue.toByteArray().toHex().toUpper());
    default:
        break;
    }
    const QString text = vValue.toString();
    // An empty text is told from a Null by a lone NUL character.
    return text.isEmpty() ? QString(QChar(0)) : text;
}

QString SafeTerminator(const QString& sBase, const std::vector<QStringList>& rows) {
    QString terminator = sBase;
    for (;;) {
        bool clash = false;
        for (const QStringList& row : rows) {
            for (const QString& value : row) {
                if (value.contains(terminator)) {
                    clash = true;
                    break;
                }
            }
            if (clash)
                break;
        }
        if (!clash)
            return terminator;
        terminator.prepend(QLatin1Char('~'));
    }
}

std::vector<QStringView> SplitBulkData(QStringView sData, const std::vector<QString>& terminators,
                                       QString* sError) {
    std::vector<QStringView> fields;
    qsizetype pos = 0;
    const qsizetype end = sData.size();
    while (pos < end) {
        const size_t rowStart = fields.size();
        for (const QString& terminator : terminators) {
            const qsizetype at = sData.indexOf(terminator, pos);
            if (at < 0) {
                if (sError)
                    *sError = QStringLiteral("Unexpected EOF encountered in BCP data-file");
                fields.resize(rowStart);
                return fields;
            }
            fields.push_back(sData.mid(pos, at - pos));
            pos = at + terminator.size();
        }
    }
    return fields;
}

QByteArray EncodeBulkData(const QString& sText) {
    QByteArray bytes("\xFF\xFE", 2);
    bytes.reserve(2 + sText.size() * 2);
    for (const QChar c : sText) {
        bytes += static_cast<char>(c.unicode() & 0xFF);
        bytes += static_cast<char>(c.unicode() >> 8);
    }
    return bytes;
}

QString DecodeBulkData(const QByteArray& bytes) {
    qsizetype start = 0;
    if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
        static_cast<unsigned char>(bytes[1]) == 0xFE)
        start = 2;
    const qsizetype chars = (bytes.size() - start) / 2;
    QString text(chars, Qt::Uninitialized);
    qFromLittleEndian<char16_t>(bytes.constData() + start, chars, text.data());
    return text;
}

} // namespace qldb
