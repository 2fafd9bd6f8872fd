#include "sql/sql_errors.h"

#include "platform/errors/error_record.h"

namespace qldb::sql_errors {

namespace {
const QString kSource = QStringLiteral("OrlinaComDatabase");
}

void RaiseSubscriptOutOfRange() {
    throw qlException(kErrSubscript, kSource, QStringLiteral("Subscript out of range"));
}

void RaiseObjectNotSet() {
    throw qlException(kErrObjectNotSet, kSource,
                      QStringLiteral("Object variable or With block variable not set"));
}

} // namespace qldb::sql_errors
