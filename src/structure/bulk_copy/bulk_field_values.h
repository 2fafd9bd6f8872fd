#pragma once
// The values of a data file's fields as the columns of the target table take them: the reading
// half of the built-in copier's in pass, apart from the file and the database.
#include "platform/odbc/value_kind.h"

#include <QStringView>
#include <QVariant>
#include <cstdint>

namespace qldb {

// The field's text as a value of the kind: an empty field is Null; the lone NUL character is the
// empty text (Null for any other kind); numbers in the C locale, dates "yyyy-MM-dd", times
// "HH:mm:ss" with up to seven digits of fraction (milliseconds kept), timestamps both with a blank
// between, binary data as hexadecimal digits with or without "0x". A text that is not a value of
// the kind gives an invalid QVariant.
QVariant BulkFieldValue(QStringView sField, ValueKind kind);

} // namespace qldb
