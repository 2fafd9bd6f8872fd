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
