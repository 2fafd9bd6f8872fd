#pragma once
// What a verification run found, as people read it on a terminal and as pipelines read it in JSON.
// The JSON document (one object) has this shape, stable across versions:
//
//   { "structure": FILE, "result": "evrUpdateRequest", "upToDate": false,
//     "objects": [ { "kind": "table", "name": "A01_ITEMS", "status": 1, "statusText": "to update",
//                    "differences": [ { "element": "PRICE", "elementKind": "Field",
//                                       "status": "Data Type Changed",
//                                       "database": "TypeInt", "file": "TypeDbl" } ] } ] }
//
// "kind" is one of table, function, view, procedure, trigger, data, queries; "status" the number
// of the list (0 up to date, 1 to update, 2 to create, 3 to delete, 4 user items only, 5 user
// object, 6 to rebuild); "differences" appears on tables that differ.
#include "structure/ql_database.h"

#include <QJsonObject>
#include <QString>
#include <QTextStream>
#include <vector>

namespace qldb::cli {

struct ObjectDifference {
    QString Element;
    QString ElementKind;
    QString Status;
    QString DatabaseValue;
    QString FileValue;
};

struct ReportedObject {
    QString Kind; // the list's letter
    QString Name;
    int Status = 0;
    std::vector<ObjectDifference> Differences;
};

struct VerifyReport {
    QString Structure;
    ql_eVerifyResult Result = ql_eVerifyResult::evrNotVerify;
    std::vector<ReportedObject> Objects;

    // Nothing but statuses 0, 4 and 5: the database is what the file says.
    bool upToDate() const;
};

// The objects of a run's list; for each table that differs, the rows of its comparison.
VerifyReport MakeReport(qlDatabase& database, const VariantArray2& ArrayTable, const QString& sStructure,
                        const QString& sPrefixTable, bool bRemovePrefix);

QString KindWord(const QString& sKind);
QString StatusWord(int iStatus);
QString ResultName(ql_eVerifyResult result);

void PrintReport(const VerifyReport& report, QTextStream& out);
QJsonObject ReportToJson(const VerifyReport& report);

} // namespace qldb::cli
