#include "support/xlsx_reader.h"

#include <QDomDocument>
#include <QProcess>

namespace qldb::test {

namespace {

std::optional<QDomDocument> Part(const QString& sFileName, const QString& sMember, QString* sError) {
    QProcess unzip;
    unzip.start(QStringLiteral("unzip"), {QStringLiteral("-p"), sFileName, sMember});
    if (!unzip.waitForFinished(30000) || unzip.exitStatus() != QProcess::NormalExit ||
        unzip.exitCode() != 0) {
        if (sError)
            *sError = QStringLiteral("unzip %1 %2: %3")
                          .arg(sFileName, sMember, QString::fromLocal8Bit(unzip.readAllStandardError()));
        return std::nullopt;
    }
    QDomDocument doc;
    if (!doc.setContent(unzip.readAllStandardOutput())) {
        if (sError)
            *sError = sMember + QStringLiteral(" is not XML");
        return std::nullopt;
    }
    return doc;
}

QList<QDomElement> Elements(const QDomDocument& doc, const QString& sTag) {
    QList<QDomElement> out;
    const QDomNodeList nodes = doc.elementsByTagName(sTag);
    for (int i = 0; i < nodes.size(); ++i)
        out << nodes.at(i).toElement();
    return out;
}

} // namespace

std::optional<XlsxContent> ReadXlsx(const QString& sFileName, QString* sError) {
    const auto workbook = Part(sFileName, QStringLiteral("xl/workbook.xml"), sError);
    if (!workbook)
        return std::nullopt;
    QStringList shared;
    // A workbook without text cells has no shared strings part.
    if (const auto strings = Part(sFileName, QStringLiteral("xl/sharedStrings.xml"), nullptr)) {
        for (const QDomElement& si : Elements(*strings, QStringLiteral("si")))
            shared << si.text();
    }
    XlsxContent content;
    for (const QDomElement& sheet : Elements(*workbook, QStringLiteral("sheet"))) {
        content.SheetNames << sheet.attribute(QStringLiteral("name"));
        const QString member = QStringLiteral("xl/worksheets/sheet%1.xml").arg(content.SheetNames.size());
        const auto cells = Part(sFileName, member, sError);
        if (!cells)
            return std::nullopt;
        std::map<QString, QString> values;
        for (const QDomElement& c : Elements(*cells, QStringLiteral("c"))) {
            const QDomElement v = c.firstChildElement(QStringLiteral("v"));
            if (v.isNull())
                continue;
            const bool isShared = c.attribute(QStringLiteral("t")) == QLatin1String("s");
            values[c.attribute(QStringLiteral("r"))] = isShared ? shared.value(v.text().toInt()) : v.text();
        }
        content.Cells.push_back(std::move(values));
    }
    return content;
}

} // namespace qldb::test
