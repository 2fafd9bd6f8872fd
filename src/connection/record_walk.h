#pragma once
// Small helpers shared by qlConnection's catalog and record services: the object error of a
// recordset that a statement routine did not return, the test for a rowset and the walk of rows
// under a routine's error rule, and the joining of name lists.
#include "connection/object_checks.h"
#include "platform/errors/error_rule.h"
#include "platform/odbc/recordset.h"

#include <QString>
#include <memory>

namespace qldb::record_walk {

inline const QString kClass = QStringLiteral("qlConnection");

// The recordset, or the object error that using a missing one gives: when a statement routine
// gave up (the user cancelled, the error service said leave) there is nothing to read.
inline Recordset& Opened(const std::shared_ptr<Recordset>& rs, const QString& sRoutine) {
    return RequireRecordset(rs, kClass + QLatin1Char('.') + sRoutine);
}

// Appends a name to a list, with the separator only between names.
inline void AddName(QString& sList, const QString& sName, const QString& sSeparator = QStringLiteral("|")) {
    if (!sList.isEmpty())
        sList += sSeparator;
    sList += sName;
}

// Whether rs holds a rowset, read as one step of the rule: a SQL Server batch may answer with
// messages only. A step that the rule left, or went on past, reads as no rowset.
inline bool HasRowset(ErrorRule& rule, const std::shared_ptr<Recordset>& rs, const QString& sRoutine) {
    bool open = false;
    rule.run([&] { open = Opened(rs, sRoutine).State() == ado::adStateOpen; });
    return open;
}

// Walks the rows of rs, one step of the rule per row. Returns false when the rule says leave. A
// missing recordset is an error of its own step; going on past it skips the walk.
template <class Body>
bool WalkRows(ErrorRule& rule, const std::shared_ptr<Recordset>& rs, const QString& sRoutine, Body&& body) {
    Recordset* set = nullptr;
    if (!rule.run([&] { set = &Opened(rs, sRoutine); }))
        return false;
    if (set == nullptr)
        return true;
    for (;;) {
        bool eof = true;
        if (!rule.run([&] { eof = set->IsEOF(); }))
            return false;
        if (eof)
            return true;
        if (!rule.run([&] { body(*set); }))
            return false;
        if (!rule.run([&] { set->MoveNext(); }))
            return false;
    }
}

} // namespace qldb::record_walk
