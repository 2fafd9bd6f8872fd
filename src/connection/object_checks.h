#pragma once
// Small checks shared by the routines of qlConnection: an object that is not set fails the way a
// call on an empty object variable fails, with the object error, so that each routine's rule
// decides what becomes of it.
#include "platform/errors/error_rule.h"
#include "platform/odbc/db_connection.h"
#include "platform/odbc/recordset.h"

#include <QString>
#include <memory>

namespace qldb {

inline IDbConnection& RequireConnection(const std::shared_ptr<IDbConnection>& connection,
                                        const QString& sSource) {
    if (!connection)
        ThrowObjectNotSet(sSource);
    return *connection;
}

inline Recordset& RequireRecordset(const std::shared_ptr<Recordset>& rs, const QString& sSource) {
    if (!rs)
        ThrowObjectNotSet(sSource);
    return *rs;
}

// Blanks only, as the statement texts are compared: tabs and line ends stay.
inline QString TrimBlanks(const QString& s) {
    qsizetype start = 0;
    qsizetype end = s.size();
    while (start < end && s.at(start) == QLatin1Char(' '))
        ++start;
    while (end > start && s.at(end - 1) == QLatin1Char(' '))
        --end;
    return s.mid(start, end - start);
}

} // namespace qldb
