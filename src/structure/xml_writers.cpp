// qlDatabase: the header of a structure file and the elements of views, functions, procedures and
// triggers. The table element has a file of its own (xml_table_writer.cpp).
#include "platform/errors/error_rule.h"
#include "platform/host/host_services.h"
#include "structure/ql_database.h"
#include "structure/structure_document.h"

#include <optional>

namespace qldb {

namespace {

const QString kClass = QStringLiteral("qlDatabase");

// Qt writes a processing instruction's data as it is given, and a declaration without a version
// is not well-formed XML: the file would not load again.
const QString kDeclaration = QStringLiteral("version=\"1.0\" encoding=\"UTF-8\"");

} // namespace

QDomElement qlDatabase::MakeXmlHeader(QDomDocument& xmlDoc, const QString& sDatabaseName,
                                      const QString& sCompanyName, const QString& sProductName,
                                      const QString& sStructureVersion, const QDateTime& dtDateVersion) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("MakeXmlHeader"));
    rule.setAfterDecision([this] { DoEvents(); });
    QDomElement database;
    if (!rule.run([&] {
            xmlDoc.appendChild(xmlDoc.createProcessingInstruction(QStringLiteral("xml"), kDeclaration));
        }))
        return database;
    database = xmlDoc.createElement(QStringLiteral("Database"));
    database.appendChild(TextElement(xmlDoc, QStringLiteral("DatabaseName"), sDatabaseName));
    database.appendChild(TextElement(xmlDoc, QStringLiteral("Company"), sCompanyName));
    database.appendChild(TextElement(xmlDoc, QStringLiteral("ProductName"), sProductName));
    database.appendChild(TextElement(xmlDoc, QStringLiteral("StructureVersion"), sStructureVersion));
    database.appendChild(TextElement(xmlDoc, QStringLiteral("DataTimeVersion"),
                                     dtDateVersion.toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss"))));
    return database;
}

QDomElement qlDatabase::GetXmlCodeDefinition(const QString& sRoutine, const QString& sKind,
                                             const QString& sName, const QString& sReplace,
                                             const QString& sReplaceWith, bool bBusyPointer, bool bCollation,
                                             const std::function<QString(const QString&)>& fnCode) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, sRoutine);
    std::optional<BusyPointer> busy;
    rule.setBeforeDecision([&] {
        if (busy)
            busy->restore();
    });
    rule.setAfterDecision([this] { DoEvents(); });
    if (bBusyPointer && !rule.run([&] { busy.emplace(host()); }))
        return QDomElement();

    // The file's names are upper case, and so are the prefixes that are replaced in them.
    const QString name = sName.toUpper();
    const QString replace = sReplace.toUpper();
    const QString replaceWith = sReplaceWith.toUpper();
    QDomElement element = m_xmlFactory.createElement(sKind);
    const QString fileName = replace.isEmpty() ? name : QString(name).replace(replace, replaceWith);
    element.appendChild(TextElement(m_xmlFactory, sKind + QStringLiteral("Name"), fileName));

    QString code;
    if (!rule.run([&] { code = fnCode(name); }))
        return element;
    if (!replace.isEmpty())
        code.replace(replace, replaceWith, Qt::CaseInsensitive);
    if (bCollation) {
        // Code written on the system part's collation follows whatever database it is created in.
        const QString collation = GetSYSComparisonRoule(QStringLiteral("SYS"), false);
        if (!collation.isEmpty())
            code.replace(collation, QStringLiteral("database_default"), Qt::CaseInsensitive);
    }
    element.appendChild(TextElement(m_xmlFactory, sKind + QStringLiteral("Sql"), code));
    return element;
}

QDomElement qlDatabase::GetXmlViewDefinition(const QString& sViewName, QString* sReplace,
                                             const QString& sReplaceWith) {
    if (sReplace)
        *sReplace = sReplace->toUpper();
    return GetXmlCodeDefinition(QStringLiteral("GetXmlViewDefinition"), QStringLiteral("View"), sViewName,
                                sReplace ? *sReplace : QString(), sReplaceWith, true, true,
                                [this](const QString& s) { return connection().GetFunctionCode(s); });
}

QDomElement qlDatabase::GetXmlFunctionDefinition(const QString& sFunctionName, const QString& sReplace,
                                                 const QString& sReplaceWith) {
    return GetXmlCodeDefinition(QStringLiteral("GetXmlFunctionDefinition"), QStringLiteral("Function"),
                                sFunctionName, sReplace, sReplaceWith, true, true,
                                [this](const QString& s) { return connection().GetFunctionCode(s); });
}

QDomElement qlDatabase::GetXmlProcedureDefinition(const QString& sProcedureName, const QString& sReplace,
                                                  const QString& sReplaceWith) {
    return GetXmlCodeDefinition(QStringLiteral("GetXmlProcedureDefinition"), QStringLiteral("Procedure"),
                                sProcedureName, sReplace, sReplaceWith, true, true,
                                [this](const QString& s) { return connection().GetProcedureCode(s); });
}

QDomElement qlDatabase::GetXmlTriggerDefinition(const QString& sTriggerName, const QString& sReplace,
                                                const QString& sReplaceWith) {
    return GetXmlCodeDefinition(QStringLiteral("GetXmlTriggerDefinition"), QStringLiteral("Trigger"),
                                sTriggerName, sReplace, sReplaceWith, false, false,
                                [this](const QString& s) { return connection().GetTriggerCode(s); });
}

} // namespace qldb
