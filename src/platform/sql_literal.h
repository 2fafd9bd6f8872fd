#pragma once
// Turns a value into SQL literal text for one provider. Every statement the library builds gets
// its literals here.
#include "platform/data_type.h"
#include "platform/provider_type.h"

#include <QString>
#include <QVariant>

namespace qldb {

// Null (and Empty) give NULL; texts are quoted with quotes doubled; dates, times, bits and
// numbers take the provider's form. TypeSqlExpression values are never formatted: callers put
// them into the statement as they stand.
QString FormatSqlValue(const QVariant& vValue, ql_eDataType iFieldType, ql_eProviderType iProviderType);

} // namespace qldb
