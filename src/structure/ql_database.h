#pragma once
// qlDatabase: keeps a database in step with its XML structure file. It reads and writes the
// version registry, writes the pieces of the structure file, compares every object of the database
// with the file, repairs what the caller selects, moves table data and plays the update queries.
// Its routines are split by concern over the source files beside this header.
//
// The object holds its connection and its log by reference and closes neither. Every statement
// goes through the connection; a failed repair statement is logged and counted, never thrown.
#include "connection/ql_connection.h"
#include "platform/data_type.h"
#include "platform/errors/error_service.h"
#include "platform/host/progress_objects.h"
#include "platform/host/rich_text_log.h"
#include "platform/host/service_control.h"
#include "structure/variant_array.h"

#include <QDateTime>
#include <QDomDocument>
#include <QDomElement>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace qldb {

class CatalogWalk;
class CountedRule;
struct VerifyRun;
struct ql_tField;
template <class Area> struct qlDatabaseTestAccess;
class ErrorRule;
class IWorkbook;

enum class ql_eDbUpdate : int32_t { DatabaseUpdated = 0, DatabaseOldVersion = 1, WrongXmlStructure = 2 };

enum class ql_eVerifyMode : int32_t {
    VerifyModality = 0,
    UpdateModality = 1,
    CreateModality = 2,
    DeleteModality = 3,
    HistoryModality = 4
};

enum class ql_eVerifyResult : int32_t {
    evrNotVerify = 0,
    evrUpdateRequest = 1,
    evrUpdateNotRequest = 2,
    evrUpdatedCorrectly = 3,
    evrUpdatedWithoutChange = 4,
    evrUpdatedWithErrors = 5
};

enum class ql_eTableStatus : int32_t { TableUpdated = 0, TableMustUpdated = 1, TableWithUserDefined = 2 };

// Columns and kinds of ArrayTable, the list of objects of a verification run.
inline constexpr int32_t kObjectSelected = 1;
inline constexpr int32_t kObjectName = 2;
inline constexpr int32_t kObjectKind = 3;
inline constexpr int32_t kObjectStatus = 4;

// Status numbers of ArrayTable's column 4.
inline constexpr int32_t kStatusUpToDate = 0;
inline constexpr int32_t kStatusToUpdate = 1;
inline constexpr int32_t kStatusToCreate = 2;
inline constexpr int32_t kStatusToDelete = 3;
inline constexpr int32_t kStatusUserItemsOnly = 4;
inline constexpr int32_t kStatusUserObject = 5;
inline constexpr int32_t kStatusToRebuild = 6;

// The marker that stands for a firm's prefix in structure and query files.
inline constexpr char16_t kFirmMarker[] = u"[#FIRM#]";

class qlDatabase {
public:
    qlDatabase() = default;
    qlDatabase(const qlDatabase&) = delete;
    qlDatabase& operator=(const qlDatabase&) = delete;

    // ---- Properties -----------------------------------------------------------------------
    // The connection is the host's; the object never closes it.
    qlConnection* Connection() const { return m_connection; }
    void setConnection(qlConnection* connection) { m_connection = connection; }
    std::shared_ptr<IErrorService> Errors() const { return m_errors; }
    void setErrors(std::shared_ptr<IErrorService> errors) { m_errors = std::move(errors); }
    // Set only, as hosts hand it in; the getter serves the tools that show the log afterwards.
    std::shared_ptr<IRichTextLog> OutputBox() const { return m_outputBox; }
    void setOutputBox(std::shared_ptr<IRichTextLog> box) { m_outputBox = std::move(box); }

    bool DebugMode() const { return m_debugMode; }
    void setDebugMode(bool v) { m_debugMode = v; }
    ql_eVerifyResult VerifyDatabaseResult() const { return m_verifyDatabaseResult; }
    // A mode of 5 (outside the enumeration) is what a run with reported errors leaves behind: it
    // ends every update behaviour until the host sets the mode again.
    ql_eVerifyMode VerifyDatabaseMode() const { return m_verifyDatabaseMode; }
    void setVerifyDatabaseMode(ql_eVerifyMode v) { m_verifyDatabaseMode = v; }
    bool RebuildIndexes() const { return m_rebuildIndexes; }
    void setRebuildIndexes(bool v) { m_rebuildIndexes = v; }
    bool RebuildViews() const { return m_rebuildViews; }
    void setRebuildViews(bool v) { m_rebuildViews = v; }
    bool RebuildProcedures() const { return m_rebuildProcedures; }
    void setRebuildProcedures(bool v) { m_rebuildProcedures = v; }
    bool DeleteObjects() const { return m_deleteObjects; }
    void setDeleteObjects(bool v) { m_deleteObjects = v; }
    bool DeleteFields() const { return m_deleteFields; }
    void setDeleteFields(bool v) { m_deleteFields = v; }
    bool CancelVerify() const { return m_cancelVerify; }
    void setCancelVerify(bool v) { m_cancelVerify = v; }
    bool DeleteDataBeforeImport() const { return m_deleteDataBeforeImport; }
    void setDeleteDataBeforeImport(bool v) { m_deleteDataBeforeImport = v; }
    bool AutoUpdate() const { return m_autoUpdate; }
    void setAutoUpdate(bool v) { m_autoUpdate = v; }
    QString PathXML() const { return m_pathXML; }
    void setPathXML(const QString& v) { m_pathXML = v; }
    QString Collate() const { return m_collate; }
    void setCollate(const QString& v) { m_collate = v; }
    bool OrlinaStandard() const { return m_orlinaStandard; }
    void setOrlinaStandard(bool v) { m_orlinaStandard = v; }
    bool StopServices() const { return m_stopServices; }
    void setStopServices(bool v) { m_stopServices = v; }
    bool TableVersionsUpdate() const { return m_tableVersionsUpdate; }

    // ---- Version registry -----------------------------------------------------------------
    // The newest version of the code in SYS_DBS ("0.0.0000" when there is none): only completed
    // rows, or with bOnlyExist the newest row of any state.
    QString GetDbVersion(const QString& sDatabaseCode, bool bOnlyExist = false);
    QString GetDbComparisonRoule();
    // The collation under which the newest version of the code was applied, or empty.
    QString GetSYSComparisonRoule(const QString& sDatabaseCode, bool bOnlyExist = false);
    // Writes (or, with *bCancel True, deletes) the rows of the code. False when the version would go
    // back, when the code is empty or when an error was reported.
    bool SetDbVersion(const QString& sDatabaseCode, const QString& sNewVersion, bool bSysCreation,
                      bool bSysCompleted, const QString& sCollate, bool* bCancel = nullptr);
    // iDate 0: the date of creation; otherwise the date of the last update. Null when none.
    QDateTime GetDbDate(const QString& sDatabaseCode, int16_t iDate);
    // A header value of a structure file by its position: "XML Structure Not Present" without the
    // file, "WRONG_XML" when the position holds another element.
    QString GetXmlVersion(const QString& sXmlStructureFile,
                          const QString& sOtherInfo = QStringLiteral("StructureVersion"));
    ql_eDbUpdate CheckDatabaseVersion(const QString& sDatabaseCode, const QString& sXmlStructureFile,
                                      QString* sNewVersion = nullptr);

    // ---- Structure file writers -----------------------------------------------------------
    // Each writer returns one detached element made by this object's own node factory. A caller
    // puts it into its document with appendChild (the node moves over and then belongs to that
    // document) or with importNode (a deep copy). Nodes not yet added stay valid while this object
    // lives: their ownerDocument() is the factory's.
    QDomElement MakeXmlHeader(QDomDocument& xmlDoc, const QString& sDatabaseName, const QString& sCompanyName,
                              const QString& sProductName, const QString& sStructureVersion,
                              const QDateTime& dtDateVersion);
    QDomElement GetXmlTableDefinition(const QString& sTableName, bool bIndexes = true,
                                      bool bReferences = true, QString* sReplace = nullptr,
                                      const QString& sReplaceWith = QString(), IWorkbook* wkb = nullptr,
                                      bool bCheckDescription = false);
    // Upper-cases the caller's sReplace, as the file's names are upper case.
    QDomElement GetXmlViewDefinition(const QString& sViewName, QString* sReplace = nullptr,
                                     const QString& sReplaceWith = QString());
    QDomElement GetXmlFunctionDefinition(const QString& sFunctionName, const QString& sReplace = QString(),
                                         const QString& sReplaceWith = QString());
    QDomElement GetXmlProcedureDefinition(const QString& sProcedureName, const QString& sReplace = QString(),
                                          const QString& sReplaceWith = QString());
    QDomElement GetXmlTriggerDefinition(const QString& sTriggerName, const QString& sReplace = QString(),
                                        const QString& sReplaceWith = QString());

    // ---- Field type mapping ---------------------------------------------------------------
    // A display text of a data access type; sets iDataType (left as passed in for the char types).
    QString GetFieldTypeText(int32_t iColumnType, int32_t& iSize, ql_eDataType* iDataType = nullptr);
    // The data type's text ("TypeChar" ...) of a column of a data access type; sets iDataType.
    QString GetQlFieldType(const QString& sTableName, const QString& sFieldName, int32_t iColumnType,
                           ql_eDataType* iDataType = nullptr, bool bAllowUseUnicode = false);
    // The name of the data access type constant ("adVarChar"), or empty.
    QString GetADOFieldType(int32_t iColumnType);
    // The index of the column in the type cache, or -1 after adding an empty entry for it.
    int32_t GetLocalQlDataType(const QString& sFieldName);
    // The data type GetFieldTypeText gives for the column's type, names compared exactly; 15
    // (TypeNotSupported) for an unknown table or column, and also for the char types, which
    // GetFieldTypeText leaves as they were passed in.
    ql_eDataType GetQlDataType(CatalogWalk& Cat, QString& sTableName, const QString& sFieldName);

    // ---- Update queries -------------------------------------------------------------------
    int32_t GetNewOrderQuery(const QString& sAziName, const QString& sVersion, int16_t iEventAction);
    // Records a query in SYS_QRY and returns its RECORD_ID.
    int32_t AddNewQuery(const QString& sAziName, int16_t iEventAction, const QString& sStructureVersion,
                        const QString& sDescription, const QString& sSqlText, const QVariant& vQueryId = 0);
    // -1 unless the connection is in history mode; then the firm's check procedure's answer.
    int32_t CheckTableData(const QString& sTable, const QString& sFirm);

    // ---- Verification and repair ----------------------------------------------------------
    // (declared by the verification sources)

    // Compares one table of the database with its Table node and writes one row per difference
    // into ArrayFields (columns 1 to 5: name, kind, status text, database value, file value; rows
    // from 1, "0 to 0" when there are none). In an update mode it repairs what it finds in the
    // same pass. Without a node the node is looked up in sXmlStructureFile. sPrefixTable holds the
    // firm prefixes separated by "|"; with *bRemovePrefix the file's names carry the firm marker.
    // Returns the table's status, or -1 (outside the enumeration) when it left before its end:
    // no file, or a decision to leave after an error. With bAutoIgnore an error only adds 1 to
    // *lErrCounter. The table's triggers are off during the pass and back on at every exit.
    ql_eTableStatus CheckTable(const QString& sTableName, VariantArray2& ArrayFields,
                               const QDomNode& xmlNodeTable = QDomNode(),
                               const QString& sXmlStructureFile = QString(),
                               const QString& sPrefixTable = QString(), bool* bRemovePrefix = nullptr,
                               bool bAutoIgnore = false, int32_t* lErrCounter = nullptr);

    // Compares every table, function, view, procedure and trigger of the database with the
    // structure file and fills ArrayTable (columns: selected, name, kind, status) with one row per
    // object. In the update, create, history and delete modes it also repairs the objects that the
    // mode allows (in an update, those selected in the ArrayTable passed in), imports the named
    // data, plays the Before and After queries and writes the new version. Returns the number of
    // rows, or 0 after a cancel (the rows made so far stay) or without a structure file (then no
    // rows and evrNotVerify, except in the delete mode, which needs no file).
    int16_t VerifyDatabase(const QString& sXmlStructureFile, VariantArray2& ArrayTable,
                           const QString& sPrefixTable, bool* bRemovePrefix = nullptr,
                           bool bShowUserObject = true, bool bCheckFunctions = true,
                           IProgressBar* objProgressbar = nullptr, ILabel* lblProgress = nullptr,
                           const QString& sDataPrefix = QString(), bool bAutoIgnore = false,
                           int32_t* lErrCounter = nullptr);
    // True when the view equals its node (or, without a node, when the file holds none for it), or
    // when it was replaced without error. A differing view gets its texts in sOldCode and sNewCode;
    // in an update of the view it is dropped and created anew, and a creation that fails is kept
    // for the retry at the end of the run.
    bool CheckView(const QString& sViewName, const QDomNode& xmlNodeView = QDomNode(),
                   const QString& sXmlStructureFile = QString(), const QString& sPrefixTable = QString(),
                   bool* bRemovePrefix = nullptr, QString* sOldCode = nullptr, QString* sNewCode = nullptr,
                   const QString& sReplaceCollateRoule = QString(), bool bAutoIgnore = false,
                   int32_t* lErrCounter = nullptr);
    // Drops and recreates every view (or those of the comma-separated sViewsName) from the
    // database's own text, each in a transaction; after the first failure the later views are rolled
    // back too. False when the user declines or anything failed.
    bool RebuildDBViews(const QString& sViewsName, IProgressBar* objProgressbar = nullptr,
                        bool bShowWarnings = true);
    // The same for every function.
    bool RebuildDBFunctions(IProgressBar* objProgressbar = nullptr, bool bShowWarnings = true);
    // What stops and starts the sibling services around an update (StopServices); a system one when
    // the host sets none.
    std::shared_ptr<IServiceControl> ServiceControl() const { return m_serviceControl; }
    void setServiceControl(std::shared_ptr<IServiceControl> control) {
        m_serviceControl = std::move(control);
    }

    // ---- Table data -----------------------------------------------------------------------
    // The DataTable element of one table: with sDataQuery its records in the element, without one
    // the table goes through the bulk copy program into side files and the element holds its row
    // count ("0" when the copy failed). Upper-cases the caller's sReplace. sDataPrefix is accepted
    // and has no effect.
    QDomElement GetXmlDataTable(const QString& sTableName, QString* sReplace = nullptr,
                                const QString& sReplaceWith = QString(),
                                const QString& sDataQuery = QString(), IProgressBar* objProgressbar = nullptr,
                                const QString& sDataPrefix = QString());
    // Brings the DataTables section of a structure file into the database: side files through the
    // bulk copy program, records of the file one statement each. A failed statement is logged and
    // the import goes on. False when the file cannot be read, a statement failed or a table's
    // import was reported as wrong. sDataPrefix is accepted and has no effect.
    bool ReadXmlDataTable(const QString& sXmlStructureFile, QString* sOnlyTableName = nullptr,
                          const QString& sReplaceWith = QString(), IProgressBar* objProgressbar = nullptr,
                          const QString& sDataPrefix = QString());
    // Copies the rows of a firm's table into the same table of another firm, one statement per row;
    // True when no statement failed and no error was reported.
    bool ImportTable(const QString& sSourcePrefixAzienda, const QString& sTargetPrefixAzienda,
                     const QString& sTableName, bool bRewrite = false, const QString& sDataQuery = QString(),
                     IProgressBar* objProgressbar = nullptr);

private:
    // Tests reach the private steps through a specialisation of their own (one per area).
    template <class Area> friend struct qlDatabaseTestAccess;

    // ---- Verification state and log ---------------------------------------------------------
    // True when the object may be changed in this run: the selection (or AutoUpdate) in an update,
    // every object in the create, history and delete modes, nothing once an error was reported.
    bool IsUpdateMode(const QString& sObject) const;
    // Appends a line to OutputBox: transaction lines dimmed, errors red with their description, the
    // other lines alternately blue and black. Every line but a transaction line marks the run as
    // one that changed something; an error with bCountError makes the result "with errors".
    void AddRTFText(const QString& sText, bool bError = false, const QString& sErrDescription = QString(),
                    bool bCountError = true, bool bTransactionLine = false);
    // Applies the run's options to the statuses: user objects to delete, user columns to drop, views
    // and code to rebuild.
    void CheckOptions(VariantArray2& ArrayTable) const;
    // Copies a list unless one of its upper bounds is 0 (a list without rows).
    static void SetObjectDefinition(const VariantArray2& source, VariantArray2& target);
    void SetVerifyDatabaseResult();

    // ---- Update queries ---------------------------------------------------------------------
    // Plays the Before or After queries of the query file for the code; True when none failed and
    // none is pending.
    bool VerifyQuery(const QString& sDatabaseCode, const QString& sQueryFile, bool bBefore,
                     const QString& sObjectName, bool bRemovePrefix);
    void ModifyQueryStatus(int32_t lRecordId, bool bError);

    // ---- Structure file writers (private steps) -----------------------------------------------
    // The element of a view, function, procedure or trigger: sKind "View" gives View, ViewName,
    // ViewSql. Names and prefixes are upper-cased; the code has the prefix replaced ignoring case
    // and, with bCollation, the system part's collation turned into "database_default".
    QDomElement GetXmlCodeDefinition(const QString& sRoutine, const QString& sKind, const QString& sName,
                                     const QString& sReplace, const QString& sReplaceWith, bool bBusyPointer,
                                     bool bCollation, const std::function<QString(const QString&)>& fnCode);

    // ---- Verification and repair (private steps) ----------------------------------------------
    // The normal form in which code is compared: the text without any blank, tab or line end, so
    // that two texts differing only in white space (even between two words) are equal.
    static QString DeleteSpace(const QString& sText);
    // Puts "dbo." before the object's name after each CREATE, unless the name already has an owner
    // or is a temporary (#) name.
    static QString AddOwnerForCreate(const QString& sObjectName, const QString& sScript);
    // Offers to run the failed view scripts again, pass after pass while a pass makes progress.
    void RerunFailedScripts();
    // The common body of RebuildDBViews (bViews) and RebuildDBFunctions.
    bool RebuildCodeObjects(bool bViews, const QString& sViewsName, IProgressBar* objProgressbar,
                            bool bShowWarnings);
    // Runs one repair statement through ExecuteCommand and logs it with its error. False when the
    // rule said leave; *bOk tells whether the statement ran.
    bool RunRepair(CountedRule& rule, const QString& sSQL, bool* bOk = nullptr);
    // The phases of VerifyDatabase, over the state of one run.
    void VerifyQueriesPhase(VerifyRun& run, bool bBefore);
    void VerifyTablesPhase(VerifyRun& run);
    void VerifyCodePhase(VerifyRun& run, bool bProcedures);
    void VerifyViewsPhase(VerifyRun& run);
    void VerifyTriggersPhase(VerifyRun& run);
    void VerifyDataPhase(VerifyRun& run);
    // Adds a row (not selected) to the run's list, shows the caption, and returns the row.
    int32_t AddObjectRow(VerifyRun& run, const QString& sName, const QString& sKind,
                         const QVariant& vStatus = QVariant());
    // After an object: yields to pending events and tells whether the caller asked to cancel.
    bool NextObject(VerifyRun& run, bool bProgress);
    void RunServiceCommands(const QStringList& sCommands);
    QString NowText() const;

    std::shared_ptr<IServiceControl> m_serviceControl;
    // The clock of the "Start Time:" and "End Time:" lines; the system clock when unset.
    std::function<QDateTime()> m_clock;

    // Runs the statements of an AlterTable text (separated by kAlterSeparator) in one transaction,
    // logged between "(BEGIN TRANSACTION)" and "(COMMIT TRANSACTION)" or "(ROLLBACK TRANSACTION)";
    // it stops at the first failed statement and rolls back. True when every statement ran.
    bool TranAlterTable(const QString& sScript);
    // Creates a table of the file that the database lacks, with its key, column comments and the
    // file's indexes; every statement is logged. True when no statement failed and no error was
    // reported.
    bool CreateTableFromXml(const QString& sTableName, const QDomNode& xmlNodeTable,
                            const QString& sPrefixTable, bool bRemovePrefix);
    // Sends one repair statement with the connection's errors returned, not raised, and logs it
    // at once with its error. True when it ran.
    bool ExecuteAndLog(const QString& sStatement);

    // The stages and repair steps of one table's comparison, sharing the table's state.
    struct TablePass;
    // False when the file to look the node up in is missing: the pass then ends without a result.
    bool CompareTable(TablePass& pass, const QDomNode& xmlNodeTable, const QString& sXmlStructureFile);
    static ql_eTableStatus TableResult(const TablePass& pass);
    void CheckTableColumns(TablePass& pass);
    // The error line of a Field node that cannot be repaired from (see FieldNodeComplete).
    void LogIncompleteField(const TablePass& pass, const QString& sFieldName);
    void CheckNewColumns(TablePass& pass);
    void CheckPrimaryKey(TablePass& pass);
    void CheckTableIndexes(TablePass& pass);
    void DropColumnDefault(TablePass& pass, const QString& sColumn);
    void DropColumnIndexes(TablePass& pass, const QString& sColumn);
    void RebuildColumn(TablePass& pass, ql_tField& fldColumn, const QString& sXmlDefault);
    void AddColumnDefault(TablePass& pass, const ql_tField& fldColumn, const QString& sDefault);
    void SwapColumnDefault(TablePass& pass, const ql_tField& fldColumn, const QString& sXmlDefault);
    void WriteColumnDescription(TablePass& pass, const QString& sColumn, const QString& sText, bool bAlter);
    void DropColumn(TablePass& pass, const QString& sColumn);
    void AddColumn(TablePass& pass, const QDomNode& xmlField);
    void RebuildPrimaryKey(TablePass& pass);
    void RebuildIndex(TablePass& pass, const QString& sIndexName, const QString& sXmlCode);
    void DropUserIndex(TablePass& pass, const QString& sIndexName, const QString& sLastXmlIndexName);
    // Splits a text of several statements on kAlterSeparator and runs and logs each piece.
    void ExecuteAndLogPieces(const QString& sScript);
    // The collation that text columns should have: Collate, or the system part's collation.
    QString WantedCollation() const;

    // ---- Table data (private steps) ---------------------------------------------------------
    // The record route of one DataTable: one statement per Record into sTable; sKeptTable is the
    // name without a firm's prefix that says which columns stay as the customer has them. False
    // when a statement failed.
    bool ImportDataRecords(const QDomNode& records, const QString& sTable, const QString& sKeptTable,
                           bool bWithoutCondition, IProgressBar* objProgressbar);
    // The bulk route of one DataTable: its side files into sTable, then the count check against
    // lExpected. False when the run, the error file or the count says something went wrong.
    bool ImportDataBulk(const QString& sBaseName, const QString& sTable, int64_t lExpected);

    // ---- Shared helpers of the engine -------------------------------------------------------
    // The connection, or error 91 for a routine that needs it and finds it unset.
    qlConnection& connection() const;
    IErrorService& errors() const;
    IHostServices& host() const;
    int32_t ErrorCount() const;
    void DoEvents() const;

    // ---- State ------------------------------------------------------------------------------
    qlConnection* m_connection = nullptr;
    std::shared_ptr<IErrorService> m_errors;
    std::shared_ptr<IRichTextLog> m_outputBox;
    bool m_debugMode = false;
    ql_eVerifyResult m_verifyDatabaseResult = ql_eVerifyResult::evrNotVerify;
    ql_eVerifyMode m_verifyDatabaseMode = ql_eVerifyMode::VerifyModality;
    bool m_rebuildIndexes = false;
    bool m_rebuildViews = false;
    bool m_rebuildProcedures = false;
    bool m_deleteObjects = false;
    bool m_deleteFields = false;
    bool m_cancelVerify = false;
    bool m_deleteDataBeforeImport = false;
    bool m_autoUpdate = false;
    QString m_pathXML;
    QString m_collate;
    bool m_orlinaStandard = false;
    bool m_stopServices = false;
    bool m_tableVersionsUpdate = false;

    // The list of the last run, kept between runs: the verify run fills it, and the caller's
    // selection comes back through ArrayTable on the next call.
    VariantArray2 m_objectDefinition;
    // The collation of the system part, read at the start of a run.
    QString m_systemCollation;
    // View scripts that failed in this run, tried again once the other views stand.
    QStringList m_failedViewScripts;
    // True until the run logs a line that is not a transaction line.
    bool m_noChange = true;
    // Alternates the colour of the log's plain lines.
    bool m_colorToggle = false;

    // The column type cache of data import and export: one entry per column name.
    struct LocalFieldType {
        QString FieldName;
        ql_eDataType DataType = ql_eDataType::TypeNotSupported;
        bool AutoIncrement = false;
    };
    std::vector<LocalFieldType> m_localFieldTypes;

    // The node factory of the structure file writers, kept so that the nodes they hand out keep a
    // live owner until the caller adds them to its document.
    QDomDocument m_xmlFactory;
};

} // namespace qldb
