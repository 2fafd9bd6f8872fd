// Views against the structure file, and the retry of the view scripts that failed in a run.
#include "sql/ql_query_constructor.h"
#include "structure/counted_rule.h"
#include "structure/object_matching.h"
#include "structure/ql_database.h"
#include "structure/structure_document.h"

#include <QFileInfo>

namespace qldb {

bool qlDatabase::RunRepair(CountedRule& rule, const QString& sSQL, bool* bOk) {
    bool bError = false;
    QString sError;
    const bool goOn = rule.run([&] {
        bError = false;
        sError.clear();
        connection().ExecuteCommand(sSQL, &bError, &sError, false);
    });
    if (bOk != nullptr)
        *bOk = goOn && !bError;
    if (!goOn)
        return false;
    AddRTFText(sSQL, bError, sError);
    return true;
}

bool qlDatabase::CheckView(const QString& sViewName, const QDomNode& xmlNodeView,
                           const QString& sXmlStructureFile, const QString& sPrefixTable, bool* bRemovePrefix,
                           QString* sOldCode, QString* sNewCode, const QString& sReplaceCollateRoule,
                           bool bAutoIgnore, int32_t* lErrCounter) {
    BusyPointer busy(host());
    bool result = true;
    CountedRule rule(m_errors.get(), QStringLiteral("CheckView"), bAutoIgnore, lErrCounter);
    qlQueryConstructor query;
    query.setProviderType(connection().ProviderType());
    const QStringList prefixes = SplitList(sPrefixTable, QStringLiteral("|"));
    const bool removePrefix = bRemovePrefix != nullptr && *bRemovePrefix;

    QDomNode node = xmlNodeView;
    QDomDocument doc;
    if (node.isNull()) {
        if (!QFileInfo::exists(sXmlStructureFile) || !LoadStructureDocument(sXmlStructureFile, doc))
            return result;
        // The views are looked for at the position of the tables, under the name "Views": a file of
        // the usual layout has its tables there, so a call with a path alone finds no view and
        // reports it equal. Callers that compare views pass the node.
        const QDomNode views = ChildPath(doc, {1, kContainerTables});
        if (BaseName(views) != QLatin1String("Views"))
            return result;
        node = FindObjectNode(views, sViewName, prefixes, removePrefix);
        if (node.isNull())
            return result;
    }

    QString code = WithFirstPrefix(ChildText(node, 1), prefixes, removePrefix);
    if (!sReplaceCollateRoule.isEmpty())
        code.replace(QStringLiteral("database_default"), sReplaceCollateRoule, Qt::CaseInsensitive);

    QString oldCode;
    if (!rule.run([&] { oldCode = connection().GetFunctionCode(sViewName); }))
        return result;
    const QString newCode = AddOwnerForCreate(sViewName, code);
    if (DeleteSpace(oldCode) == DeleteSpace(newCode) && !m_rebuildViews)
        return result;

    result = false;
    if (sOldCode != nullptr)
        *sOldCode = oldCode;
    if (sNewCode != nullptr)
        *sNewCode = newCode;
    if (!IsUpdateMode(sViewName))
        return result;

    query.setSetViewName(sViewName);
    if (!RunRepair(rule, query.MakeQuery(ql_eQueryType::DropView, ql_eAlterAction::Alter_AddField,
                                         ql_KeyType::KeyTypeSecondary)))
        return result;
    bool bError = false;
    QString sError;
    if (!rule.run([&] { connection().ExecuteCommand(newCode, &bError, &sError, false); }))
        return result;
    // A view may stand on another view that is not there yet; its script waits for the retry.
    if (bError)
        m_failedViewScripts << newCode;
    AddRTFText(newCode, bError, sError);
    if (!bError)
        result = true;
    return result;
}

void qlDatabase::RerunFailedScripts() {
    if (m_failedViewScripts.isEmpty())
        return;
    IHostServices& services = host();
    const int32_t pointer = services.MousePointer();
    const QString title = connection().ProductName();
    if (services.MessageBox(QStringLiteral("Nella crezione delle viste si sono verificati errori.\r\n"
                                           "Si desidera rieseguire gli script relativi?"),
                            MsgButtons::YesNo, MsgIcon::Exclamation, title) != MsgAnswer::Yes) {
        services.setMousePointer(pointer);
        return;
    }

    // Errors are ignored throughout: a script that cannot even be sent counts as failed.
    ErrorRule rule(ErrorKind::GoOn, m_errors.get(), QStringLiteral("qlDatabase"),
                   QStringLiteral("RerunFailedScripts"));
    while (!m_failedViewScripts.isEmpty()) {
        std::vector<qsizetype> succeeded;
        for (qsizetype i = 0; i < m_failedViewScripts.size(); ++i) {
            const QString& script = m_failedViewScripts[i];
            bool bError = false;
            QString sError;
            if (!rule.tolerate([&] { connection().ExecuteCommand(script, &bError, &sError, false); })) {
                bError = true;
                sError = rule.lastError()->Description;
            }
            AddRTFText(script, bError, sError);
            if (!bError)
                succeeded.push_back(i);
        }
        if (succeeded.empty())
            break;
        // What must stay for the next pass is exactly the scripts that failed in this one: those
        // may stand on views this pass created. The list closes up behind every removal, so taking
        // the noted positions out from the first upwards would hit the wrong scripts from the
        // second removal on; they are taken out from the last downwards instead.
        for (auto it = succeeded.rbegin(); it != succeeded.rend(); ++it)
            m_failedViewScripts.removeAt(*it);
    }

    if (!m_failedViewScripts.isEmpty())
        services.MessageBox(QStringLiteral("Nella riecreazione gli script si sono verificati errori.\r\n"
                                           "Impossibile completare l'aggiornamento"),
                            MsgButtons::OK, MsgIcon::Exclamation, title);
    services.setMousePointer(pointer);
}

} // namespace qldb
