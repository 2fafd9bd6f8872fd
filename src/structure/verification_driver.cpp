// VerifyDatabase: the run over every object of the database and of the
// structure file, phase by phase, with its opening and closing steps. The
// phases live in the verify_*_phase.cpp files.
#include "structure/object_matching.h"
#include "structure/structure_document.h"
#include "structure/verify_run.h"

#include <QDir>
#include <QFileInfo>

namespace qldb {

namespace {

const QStringList kStopCommands{
    QStringLiteral("net stop Tavoleno.Services.Controller"),
    QStringLiteral("net stop Tavoleno.NET.Services.Controller"),
    QStringLiteral("net stop Orlina.NET.ServiceController"),
    QStringLiteral("net stop Orlina.NET.Servers"),
    QStringLiteral("net stop Orlina.NET.Service"),
    QStringLiteral("net stop Orlina.NET.TraxService"),
};
// Only these two are started again; the others are started by them.
const QStringList kStartCommands{
    QStringLiteral("net start Tavoleno.NET.Services.Controller"),
    QStringLiteral("net start Orlina.NET.ServiceController"),
};

QString ClosingText(ql_eVerifyResult result) {
    switch (result) {
    case ql_eVerifyResult::evrUpdatedCorrectly:
        return QStringLiteral("Database updated correctly!");
    case ql_eVerifyResult::evrUpdatedWithoutChange:
        return QStringLiteral("Database updated without change!");
    default:
        return QStringLiteral("Database updated with error(s)!");
    }
}

} // namespace

QString qlDatabase::NowText() const {
    const QDateTime now = m_clock ? m_clock() : QDateTime::currentDateTime();
    return now.toString(QStringLiteral("dd/MM/yyyy hh:mm:ss"));
}

void qlDatabase::RunServiceCommands(const QStringList& sCommands) {
    if (!m_serviceControl)
        m_serviceControl = std::make_shared<SystemServiceControl>();
    for (const QString& command : sCommands)
        m_serviceControl->Run(command);
}

int32_t qlDatabase::AddObjectRow(VerifyRun& run, const QString& sName, const QString& sKind,
                                 const QVariant& vStatus) {
    VariantArray2& table = *run.Table;
    const int32_t row = table.AddRow(1, 4);
    table(kObjectSelected, row) = false;
    table(kObjectName, row) = sName;
    table(kObjectKind, row) = sKind;
    if (vStatus.isValid())
        table(kObjectStatus, row) = vStatus;
    run.Rows = row;
    if (run.Label != nullptr)
        run.Label->setCaption(QStringLiteral("Elaborazione in corso dell'oggetto ") + sName);
    return row;
}

bool qlDatabase::NextObject(VerifyRun& run, bool bProgress) {
    if (bProgress && run.Progress != nullptr)
        run.Progress->setValue(run.Progress->Value() + 1);
    // The yield is what lets the host's Cancel button reach CancelVerify.
    DoEvents();
    return m_cancelVerify;
}

int16_t qlDatabase::VerifyDatabase(const QString& sXmlStructureFile, VariantArray2& ArrayTable,
                                   const QString& sPrefixTable, bool* bRemovePrefix, bool bShowUserObject,
                                   bool bCheckFunctions, IProgressBar* objProgressbar, ILabel* lblProgress,
                                   const QString& sDataPrefix, bool bAutoIgnore, int32_t* lErrCounter) {
    // 1. Opening state of the run; the caller's selection comes in before the
    // list is rebuilt.
    BusyPointer busy(host());
    errors().setErrorCount(0);
    m_failedViewScripts.clear();
    m_verifyDatabaseResult = ql_eVerifyResult::evrNotVerify;
    m_noChange = true;
    SetObjectDefinition(ArrayTable, m_objectDefinition);

    VerifyRun run(m_errors.get(), bAutoIgnore, lErrCounter);
    run.Mode = m_verifyDatabaseMode;
    run.File = sXmlStructureFile;
    run.Table = &ArrayTable;
    run.PrefixTable = sPrefixTable;
    run.RemovePrefixRef = bRemovePrefix;
    run.RemovePrefix = bRemovePrefix != nullptr && *bRemovePrefix;
    run.ShowUserObject = bShowUserObject;
    run.CheckFunctions = bCheckFunctions;
    run.Progress = objProgressbar;
    run.Label = lblProgress;
    run.DataPrefix = sDataPrefix;
    run.Query.setProviderType(connection().ProviderType());
    const bool isDelete = run.Mode == ql_eVerifyMode::DeleteModality;
    const bool changes = run.Mode != ql_eVerifyMode::VerifyModality;
    bool servicesStopped = false;

    // 2. Without its file only the delete mode can run. Such a run ends with no
    // rows, the result "not verified" and nothing written: neither a version
    // (there is none to write) nor a time line, since nothing was started.
    if (!QFileInfo::exists(sXmlStructureFile) && !isDelete) {
        ArrayTable.Redim(1, 4, 0, 0);
        if (objProgressbar != nullptr)
            objProgressbar->setValue(objProgressbar->Max());
        DoEvents();
        m_verifyDatabaseResult = ql_eVerifyResult::evrNotVerify;
        return 0;
    }

    // 3. Start of a run that may change the database.
    if (changes) {
        AddRTFText(QStringLiteral("Start Time:") + NowText(), false, QString(), true, true);
        if (m_stopServices) {
            RunServiceCommands(kStopCommands);
            servicesStopped = true;
        }
    }

    // 4. to 7. The structure file (an empty one in the delete mode, so that every
    // object of the database is a user object), the query file and the
    // collations.
    if (isDelete) {
        QDomElement root;
        run.step([&] {
            root = MakeXmlHeader(run.Doc, connection().DatabaseName(), QStringLiteral("Company Name"),
                                 QStringLiteral("Product Name"), QStringLiteral("0.0.0000"),
                                 QDateTime::currentDateTime());
        });
        run.Doc.appendChild(root);
        for (const char* container : {"Tables", "Functions", "Views", "Procedures", "Triggers"})
            root.appendChild(run.Doc.createElement(QString::fromLatin1(container)));
    } else {
        LoadStructureDocument(sXmlStructureFile, run.Doc);
        const QFileInfo info(sXmlStructureFile);
        run.QueryFile = info.dir().filePath(QStringLiteral("Query_") + info.fileName());
        run.step([&] { m_systemCollation = GetSYSComparisonRoule(QStringLiteral("SYS"), false); });
        run.ReplaceCollate = m_collate.isEmpty() ? m_systemCollation : m_collate;
        QString dbCollation;
        run.step([&] { dbCollation = GetDbComparisonRoule(); });
        if (run.ReplaceCollate == dbCollation)
            run.ReplaceCollate = QStringLiteral("database_default");
    }
    run.Prefixes = SplitList(sPrefixTable, QStringLiteral("|"));
    ArrayTable.Redim(1, 4, 0, 0);

    // 8. to 16. The phases; each skips itself once the rule has said leave or the
    // caller cancelled.
    VerifyQueriesPhase(run, true);
    run.step([&] { run.Catalog = std::make_unique<CatalogWalk>(*connection().ADODBConnection()); });
    if (run.Catalog && objProgressbar != nullptr) {
        double max = 0;
        run.step([&] { max = static_cast<double>(run.Catalog->Tables().size()); });
        const QDomNode data = ChildPath(run.Doc, {1, kContainerDataTables});
        if (!data.isNull())
            max += ChildCount(data);
        objProgressbar->setValue(0);
        objProgressbar->setMax(max);
    }
    VerifyTablesPhase(run);
    if (run.CheckFunctions)
        VerifyCodePhase(run, false);
    VerifyViewsPhase(run);
    if (run.CheckFunctions)
        VerifyCodePhase(run, true);
    VerifyTriggersPhase(run);
    VerifyDataPhase(run);
    VerifyQueriesPhase(run, false);
    if (bRemovePrefix != nullptr)
        *bRemovePrefix = run.RemovePrefix;

    // 17. and 18. The list, the stored copy and the result.
    run.Catalog.reset();
    if (objProgressbar != nullptr)
        objProgressbar->setValue(objProgressbar->Max());
    DoEvents();
    int16_t result = 0;
    if (!run.Leave) {
        result = m_cancelVerify ? 0 : static_cast<int16_t>(run.Rows);
        CheckOptions(ArrayTable);
        SetObjectDefinition(ArrayTable, m_objectDefinition);
        SetVerifyDatabaseResult();

        // 19. to 21. The version, the services and the closing lines of a run that
        // changes.
        if (changes) {
            m_tableVersionsUpdate = false;
            bool cancel = isDelete;
            const bool completed = m_verifyDatabaseResult == ql_eVerifyResult::evrUpdatedCorrectly ||
                                   m_verifyDatabaseResult == ql_eVerifyResult::evrUpdatedWithoutChange;
            QString version;
            run.step([&] { version = GetXmlVersion(sXmlStructureFile, QStringLiteral("StructureVersion")); });
            bool written = false;
            run.step([&] {
                written =
                    SetDbVersion(sPrefixTable, version, run.Mode == ql_eVerifyMode::CreateModality, completed,
                                 m_collate.isEmpty() ? m_systemCollation : m_collate, &cancel);
            });
            if (written)
                m_tableVersionsUpdate = true;
            // The result's text replaces the note of the written version: the log
            // always closes with the result.
            const QString closing = ClosingText(m_verifyDatabaseResult);
            if (servicesStopped) {
                RunServiceCommands(kStartCommands);
                servicesStopped = false;
            }
            AddRTFText(closing, false, QString(), true, true);
            AddRTFText(QStringLiteral("End Time:") + NowText(), false, QString(), true, true);
        }
    }
    // Services stopped by a run that left early are started again all the same.
    if (servicesStopped)
        RunServiceCommands(kStartCommands);

    // 22.
    m_failedViewScripts.clear();
    if (ErrorCount() > 0)
        m_verifyDatabaseResult = ql_eVerifyResult::evrUpdatedWithErrors;
    return result;
}

} // namespace qldb
