#pragma once
// The state of one table's comparison with its Table node: what the column, key and index stages
// and the repair steps share while CheckTable runs. Internal to the structure engine.
#include "platform/errors/error_rule.h"
#include "sql/ql_query_constructor.h"
#include "structure/ql_database.h"
#include "structure/structure_document.h"

#include <QDomNode>
#include <QStringList>
#include <functional>

namespace qldb {

// Positions of the Table node's children and of a Field or Index node's children.
inline constexpr int kTableName = 0;
inline constexpr int kTableFields = 1;
inline constexpr int kTableIndexes = 2;
inline constexpr int kFieldName = 0;
inline constexpr int kFieldDescription = 2;
inline constexpr int kFieldDataType = 3;
inline constexpr int kFieldSize = 4;
inline constexpr int kFieldAllowsNull = 5;
inline constexpr int kFieldDefaultValue = 6;
inline constexpr int kFieldPrimaryKey = 7;
inline constexpr int kIndexName = 0;
inline constexpr int kIndexSql = 1;

// Columns of ArrayFields.
inline constexpr int32_t kFieldColumns = 5;

// Thrown by a step whose error the caller chose to leave on: CheckTable ends the pass there.
struct LeaveTablePass {};

// A Field node with all eight children and a data type the library knows. An incomplete node is
// compared like any other, but never repaired from: its statements would lack the type or the
// attributes, and the database would be changed into something the file does not say.
bool FieldNodeComplete(const QDomNode& field);

// Splits a name list on "|": an empty text is an empty list, not one empty name.
inline QStringList SplitNames(const QString& sList, const QString& sSeparator = QStringLiteral("|")) {
    return sList.isEmpty() ? QStringList() : sList.split(sSeparator);
}

// "True" in the structure file, exactly.
inline bool XmlTrue(const QString& sText) {
    return sText == QLatin1String("True");
}

struct qlDatabase::TablePass {
    TablePass(VariantArray2& rows, ErrorRule& rule, bool autoIgnore, int32_t& errCounter)
        : Rows(rows), Rule(rule), AutoIgnore(autoIgnore), ErrCounter(errCounter) {}

    // Runs one statement of the pass under the routine's rule. With AutoIgnore an error is only
    // counted; otherwise the error service decides, and "go on" is counted too.
    void Step(const std::function<void()>& fn) {
        if (AutoIgnore) {
            if (!Rule.tolerate(fn))
                ++ErrCounter;
            return;
        }
        bool done = false;
        if (!Rule.run([&] {
                fn();
                done = true;
            }))
            throw LeaveTablePass{};
        if (!done)
            ++ErrCounter;
    }

    // Adds a row of the five columns.
    void AddRow(const QString& sName, const QString& sKind, const QString& sStatus,
                const QVariant& vDatabase = QString(), const QVariant& vXml = QString()) {
        const int32_t row = Rows.AddRow(1, kFieldColumns);
        Rows(1, row) = sName;
        Rows(2, row) = sKind;
        Rows(3, row) = sStatus;
        Rows(4, row) = vDatabase;
        Rows(5, row) = vXml;
    }

    // The file's text with the firm marker replaced by the first prefix, when the names carry it.
    QString FirstPrefixed(const QString& sText) const {
        if (!RemovePrefix || Prefixes.isEmpty())
            return sText;
        QString out = sText;
        return out.replace(QString::fromUtf16(kFirmMarker), Prefixes.first(), Qt::CaseInsensitive);
    }

    VariantArray2& Rows;
    ErrorRule& Rule;
    bool AutoIgnore;
    int32_t& ErrCounter;

    QString TableName;   // as the caller named it
    QString CatalogName; // as the catalog has it
    QDomNode XmlFields;
    QDomNode XmlIndexes; // may be null
    QStringList Prefixes;
    bool RemovePrefix = false;
    bool Update = false;
    // Set by the first column of the table that must be rebuilt through a rename, and kept for the
    // later columns of the same table, which then run in a transaction too.
    bool UseTransaction = false;
    std::vector<CatalogColumn> Columns;
    // The file names key columns; the constructor then holds them for the key's rebuild.
    bool XmlHasKey = false;
    qlQueryConstructor Query;
    int32_t UserDefined = 0;
    int32_t RebuildOnly = 0;
};

} // namespace qldb
