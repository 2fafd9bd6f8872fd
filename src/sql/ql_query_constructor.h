#pragma once
// qlQueryConstructor: a small in-memory model of one statement (a table, fields, indexes, an order
// list, a WHERE tree or a WHERE text) and the SQL text built from it for one provider. It never
// touches a connection: MakeQuery returns the text and the caller runs it. Fill, MakeQuery, Reset.
//
// Names go into the text as they stand: no owner, brackets or delimiters are added around them, so
// a caller that needs delimited names passes them delimited. Every literal comes from
// FormatSqlValue, except the values of TypeSqlExpression fields, which are SQL text already.
//
// Errors reach the caller as qlException: duplicates with kErrDuplicate, reads outside an array
// with kErrSubscript ("Subscript out of range").
#include "platform/data_type.h"
#include "platform/provider_type.h"
#include "sql/ql_where_condition.h"

#include <QDateTime>
#include <QString>
#include <QVariant>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace qldb {

enum class ql_eQueryType : int32_t {
    CreateTable = 0,
    AlterTable = 1,
    CreatePrimaryKey = 2,
    DropTable = 3,
    DropIndex = 4,
    DropTrigger = 5,
    DropFunction = 6,
    DropProcedure = 7,
    DropView = 8,
    SelectFrom = 9,
    Insert = 10,
    Update = 11,
    Delete = 12,
    SelectFromDistinct = 13,
};
enum class ql_eAlterAction : int32_t { Alter_AddField = 0, Alter_ModifyField = 1, Alter_DropField = 2 };
enum class ql_KeyType : int32_t { KeyTypePrimary = 0, KeyTypeSecondary = 1 };
enum class ql_eOrder : int32_t { Order_ASC = 0, Order_DESC = 1 };

// The separator between the statements of an AlterTable text; callers split on it.
inline constexpr QChar kAlterSeparator = QChar(1);

struct ql_tTable {
    QString Prefix{}; // firm prefix, may be empty
    QString TableName{};
    QString Desciption{};
};

struct ql_tField {
    QString FieldName{}; // column name, select expression or procedure parameter name
    ql_eDataType FieldType = ql_eDataType::TypeChar;
    int32_t Size = 0; // -1 is "max"
    bool AllowNull = false;
    QString DefaultValue{}; // as the catalog or the structure file gives it
    QString Desciption{};   // column comment
    bool KeyField = false;
    QString Collate{};
    QVariant Value{}; // for Insert, Update and procedure parameters
    ql_eOrder Order = ql_eOrder::Order_ASC;
    ql_eDataType OldFieldType = ql_eDataType::TypeChar; // the column's type before an alteration
};

struct ql_tIndex {
    QString IndexName{};
    bool Unique = false;
    QString OnTable{};
    std::vector<ql_tField> Fields{};
    ql_eOrder Order = ql_eOrder::Order_ASC;
};

class qlQueryConstructor {
public:
    qlQueryConstructor();
    qlQueryConstructor(const qlQueryConstructor&) = delete;
    qlQueryConstructor& operator=(const qlQueryConstructor&) = delete;

    // ---- Model ----------------------------------------------------------------------------
    ql_eProviderType ProviderType() const { return m_providerType; }
    void setProviderType(ql_eProviderType iProviderType) { m_providerType = iProviderType; }
    ql_tTable Tables() const { return m_table; }
    void setTables(const ql_tTable& tTable) { m_table = tTable; }

    // Indexed elements: reading outside the array raises "Subscript out of range"; writing
    // outside it (or into an empty array) is ignored.
    ql_tField Fields(int32_t index) const;
    void setFields(int32_t index, const ql_tField& fldField);
    ql_tIndex Indexes(int32_t index) const;
    void setIndexes(int32_t index, const ql_tIndex& idxIndex);
    ql_tField OrderBy(int32_t index) const;
    void setOrderBy(int32_t index, const ql_tField& fldOrder);

    // Names for the Drop statements; write-only.
    void setTriggerName(const QString& sName) { m_triggerName = sName; }
    void setFunctionName(const QString& sName) { m_functionName = sName; }
    void setProcedureName(const QString& sName) { m_procedureName = sName; }
    void setSetViewName(const QString& sName) { m_viewName = sName; }

    // The WHERE tree; when it holds data it wins over WhereString.
    std::shared_ptr<qlWhereCondition> WhereConditions() const { return m_whereConditions; }
    void setWhereConditions(std::shared_ptr<qlWhereCondition> cWhere) {
        m_whereConditions = std::move(cWhere);
    }
    // A complete WHERE text, keyword included, copied into the statement as it stands.
    QString WhereString() const { return m_whereString; }
    void setWhereString(const QString& sWhere) { m_whereString = sWhere; }

    // First field named exactly sName (case-sensitive); an empty record when none is.
    ql_tField FieldByName(const QString& sName) const;
    // The field names in order, each behind sPrefix, with sSeparator between them.
    QString FieldsList(const QString& sSeparator = QStringLiteral(","),
                       const QString& sPrefix = QString()) const;
    // The upper bound of the field array, not the count: -1 for none, 0 for one field.
    int32_t GetFieldsCount() const { return static_cast<int32_t>(m_fields.size()) - 1; }
    // Clears table, fields, indexes, order list, WHERE tree and text; keeps the provider and the
    // trigger, function, procedure and view names.
    void Reset();
    void SetTable(const QString& sTableName, const QString& sPrefix = QString());
    // The data type named by a word ("int", "memo", "counter", ...); unknown words give TypeChar.
    ql_eDataType GetDataTypeFromString(const QString& sType) const;

    // ---- Adding to the model ---------------------------------------------------------------
    // Each returns the index at which the element stands (AddField: always 0). A name already in
    // the same array (exact comparison) is overwritten in place with bOverwrite, else raises
    // kErrDuplicate and leaves the array as it was. Overwriting writes only the parts that the
    // operation takes; the rest of the element stays.
    int16_t AddField(const ql_tField& fldField, bool bOverwrite = false);
    int16_t AddCreateField(const QString& sFieldName, ql_eDataType iFieldType, int16_t iSize = 0,
                           const QString& sDesciption = QString(), bool bKeyField = false,
                           bool bOverwrite = false);
    int16_t AddUpdateField(const QString& sFieldName, const QVariant& vValue, ql_eDataType iFieldType,
                           bool bOverwrite = false);
    // A parameter name may stand only once: there is no overwrite.
    int16_t AddProcedureParam(const QString& sParamName, const QVariant& vValue, ql_eDataType iFieldType,
                              int32_t lSize = 0);
    int16_t AddSelectField(const QString& sFieldName, bool bOverwrite = false);
    int16_t AddOrderBy(const QString& sFieldName, ql_eOrder iOrder = ql_eOrder::Order_ASC,
                       bool bOverwrite = false);
    int16_t AddIndex(const QString& sIndexName, const QString& sOnTable,
                     const std::vector<ql_tField>& vFields, bool bUnique = false,
                     ql_eOrder iOrder = ql_eOrder::Order_ASC, bool bOverwrite = false);
    int16_t AddDropIndex(const QString& sIndexName, bool bOverwrite = false);
    // Removes the first field of that name and returns its index, or -1. Removing from a list of
    // exactly two fields empties the list: callers have always seen it so.
    int16_t RemoveUpdateField(const QString& sFieldName);

    // ---- Statements ------------------------------------------------------------------------
    // The text of one statement. A query type outside the enumeration gives "". iAlterAction and
    // bUseTransaction matter only to AlterTable (which sets *bUseTransaction to true when the
    // column must be rebuilt through a rename), iKeyType only to DropIndex.
    QString MakeQuery(ql_eQueryType iQueryType,
                      ql_eAlterAction iAlterAction = ql_eAlterAction::Alter_AddField,
                      ql_KeyType iKeyType = ql_KeyType::KeyTypeSecondary,
                      bool* bUseTransaction = nullptr) const;
    QString MakeQuery(int32_t iQueryType, ql_eAlterAction iAlterAction = ql_eAlterAction::Alter_AddField,
                      ql_KeyType iKeyType = ql_KeyType::KeyTypeSecondary,
                      bool* bUseTransaction = nullptr) const;

    // ---- Schema text builders --------------------------------------------------------------
    // The column type words of the provider for a data type; iSize -1 is "max". "" where the
    // provider has no word for the type.
    QString TranslateType(ql_eDataType iType, int32_t iSize) const;
    // The bare value of a default as the catalog gives it: "((0))" -> "0", "('A')" -> "A".
    QString FormatDefaultValue(const QVariant& sDefault, ql_eDataType iFieldType) const;
    // The statement that sets a column comment (SQL Server, Sybase); "" for other providers.
    QString SetCommentOnColumn(const QString& sTable, const QString& sColumn, const QString& sComment,
                               bool bAlter = false) const;
    // A query (not a name) that reads the name of a column's default constraint (SQL Server).
    QVariant GetDefaultConstraintName(const QString& sTableName, const QString& sColumn) const;
    // Default constraint statements (SQL Server); sDefaultValue is a literal already.
    QString AddDefaultValue(const QString& sTableName, const QString& sColumn,
                            const QString& sDefaultValue) const;
    QString DropDefaultValue(const QString& sTableName, const QString& sConstraintName) const;

    // The clock behind the "present date and time" that AlterTable writes into NOT NULL date
    // columns. Process-wide, for tests only; an empty function restores the system clock.
    static void setClockForTesting(std::function<QDateTime()> clock);

private:
    QString TableExpression() const;
    QString WhereClause() const;
    QString FormatFieldValue(const ql_tField& fld) const;
    QString CollateClause(const ql_tField& fld) const;
    QString DefaultClause(const ql_tField& fld) const;

    QString MakeSelect(bool bDistinct) const;
    QString MakeInsert() const;
    QString MakeUpdate() const;
    QString MakeDelete() const;
    QString MakeCreateTable() const;
    QString MakeAlterTable(ql_eAlterAction iAlterAction, bool* bUseTransaction) const;
    QString MakeCreatePrimaryKey() const;
    QString MakeDropIndex(ql_KeyType iKeyType) const;
    QString RenameRoute(const ql_tField& fld) const;
    QString FillNullsStatement(const ql_tField& fld) const;

    ql_eProviderType m_providerType = ql_eProviderType::SQLServer;
    ql_tTable m_table;
    std::vector<ql_tField> m_fields;
    std::vector<ql_tIndex> m_indexes;
    std::vector<ql_tField> m_orderBy;
    QString m_triggerName;
    QString m_functionName;
    QString m_procedureName;
    QString m_viewName;
    std::shared_ptr<qlWhereCondition> m_whereConditions;
    QString m_whereString;
};

} // namespace qldb
