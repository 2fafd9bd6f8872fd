#include "platform/tools/profile_string.h"

#include "platform/tools/conversions.h"
#include "platform/tools/product_folders.h"

#include <QFile>
#include <QStringDecoder>
#include <QStringList>

namespace qldb {

namespace {

bool IsBlank(QChar c) {
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

QStringView TrimBlanks(QStringView text) {
    while (!text.isEmpty() && IsBlank(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && IsBlank(text.back()))
        text.chop(1);
    return text;
}

QString ChopTrailingBlanks(QString text) {
    while (!text.isEmpty() && IsBlank(text.back()))
        text.chop(1);
    return text;
}

QString DecodeFile(const QByteArray& bytes) {
    QStringDecoder utf8(QStringDecoder::Utf8);
    QString text = utf8.decode(bytes);
    if (utf8.hasError())
        text = QString::fromLatin1(bytes);
    if (text.startsWith(QChar(0xFEFF)))
        text.remove(0, 1);
    return text;
}

QStringView Unquoted(QStringView value) {
    if (value.size() >= 2 && value.front() == value.back() &&
        (value.front() == QLatin1Char('"') || value.front() == QLatin1Char('\'')))
        return value.sliced(1, value.size() - 2);
    return value;
}

std::optional<QString> FindValue(const QString& sText, const QString& sSection, const QString& sKey) {
    const QStringView wantedSection = TrimBlanks(sSection);
    const QStringView wantedKey = TrimBlanks(sKey);
    bool inSection = false;
    bool sectionSeen = false;
    for (QStringView line : QStringView(sText).split(QLatin1Char('\n'))) {
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
        line = TrimBlanks(line);
        if (line.isEmpty() || line.front() == QLatin1Char(';'))
            continue;
        if (line.front() == QLatin1Char('[')) {
            // Only the first section of a name counts; a later one of the same name is not read.
            if (inSection)
                return std::nullopt;
            const qsizetype close = line.indexOf(QLatin1Char(']'));
            const QStringView name = TrimBlanks(close < 0 ? line.sliced(1) : line.sliced(1, close - 1));
            inSection = !sectionSeen && name.compare(wantedSection, Qt::CaseInsensitive) == 0;
            sectionSeen = sectionSeen || inSection;
            continue;
        }
        if (!inSection)
            continue;
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (equals < 0)
            continue;
        if (TrimBlanks(line.first(equals)).compare(wantedKey, Qt::CaseInsensitive) == 0)
            return Unquoted(TrimBlanks(line.sliced(equals + 1))).toString();
    }
    return std::nullopt;
}

} // namespace

QString GetPrivateProfileString(const QString& sSection, const QString& sKey, const QString& sDefault,
                                const QString& sFile, int nSize) {
    if (nSize < 1)
        return QString();
    QString result = ChopTrailingBlanks(sDefault);
    QFile file(sFile);
    if (file.open(QIODevice::ReadOnly)) {
        if (const std::optional<QString> value = FindValue(DecodeFile(file.readAll()), sSection, sKey))
            result = *value;
    }
    return result.left(nSize - 1);
}

QString GlobalSettingsFilePath() {
    return WithTrailingSeparator(ProductFolder(QStringLiteral("Config"))) + QStringLiteral("Mirando.ini");
}

std::optional<bool> ReadGlobalReadUncommitted() {
    try {
        const QString value =
            GetPrivateProfileString(QStringLiteral("DATABASE"), QStringLiteral("GlobalReadUncommitted"),
                                    QString(), GlobalSettingsFilePath(), 128);
        if (!IsNumericText(value))
            return std::nullopt;
        return ToBoolean(value);
    } catch (...) {
        // A setting that cannot be read leaves the product setting in force, whatever went wrong.
        return std::nullopt;
    }
}

} // namespace qldb
