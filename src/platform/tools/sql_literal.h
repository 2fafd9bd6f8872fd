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
//
// The forms, by type:
// - Texts (TypeChar, TypeVarChar, TypeMemo, TypeGUID, the three Unicode types, TypeNotSupported and
//   any number outside the enumeration): 'text' with every ' doubled ('O''Brien'); on MySql every
//   backslash is doubled too. The Unicode types get N'text' on SQLServer. A QUuid is written
//   without braces; a bool is 'True' or 'False'; a date is ISO text.
// - Server-computed values of the date, time and GUID types: a text that is one function call or
//   one parenthesised group spanning the whole text ("getdate()", "(newid())",
//   "dateadd(day, 1, getdate())"), or CURRENT_TIMESTAMP, CURRENT_DATE, CURRENT_TIME, SYSDATE, is
//   written unquoted, as it stands. A text holding ";", "--", "/*" or SELECT is never such an
//   expression. Text types quote such texts like any other.
// - TypeDate and TypeTime: the library keeps them as CHAR(8) "yyyyMMdd" and CHAR(6) "HHmmss"
//   texts, so a QDate / QDateTime / QTime becomes '20240131' or '134500'; any other text that is
//   no expression is quoted as is.
// - TypeDateTime, from a QDateTime (its date and wall-clock time), a QDate (midnight) or a text
//   in one of the forms "yyyy-MM-dd", "yyyy-MM-ddTHH:mm:ss[.zzz]" ("T" or a blank), "yyyyMMdd",
//   "yyyyMMdd HH:mm:ss[.zzz]", "yyyyMMddHHmmss" that is a real date and time (any other text that
//   is no expression is quoted as it stands, for the server to judge):
//     SQLServer, SyBase  '20240131 13:45:00'   (".zzz" added when there are milliseconds)
//     MsAccess           #01/31/2024 13:45:00#
//     MySql              '2024-01-31 13:45:00' (".zzz" when there are milliseconds)
//     Oracle             TO_DATE('2024-01-31 13:45:00','YYYY-MM-DD HH24:MI:SS')
//     ODBC               {ts '2024-01-31 13:45:00'} (".zzz" when there are milliseconds)
//     FoxPro             {^2024-01-31 13:45:00}
// - TypeBit: 1 or 0 (MsAccess True or False), from a bool, a number (non-zero is true) or a text
//   ("true", "yes" or a non-zero number are true; anything else is false).
// - Numbers (TypeInt, TypeLong, TypeDbl, TypeCounter, TypeBigCounter, TypeByte): invariant text,
//   "." as decimal point, no thousands separators, shortest exact form (1e+20 for large doubles);
//   a bool is -1 or 0; a text that is no number, an infinity or a NaN becomes 0.
// - TypeBinary, TypeOLEObject: a QByteArray, a text "0x<hex>" (those bytes) or any other text (its
//   UTF-8 bytes) in upper-case hex: 0xABCD on SQLServer, SyBase and MySql (X'' when empty on
//   MySql), HEXTORAW('ABCD') on Oracle, 0hABCD on FoxPro, X'ABCD' on MsAccess and ODBC.
// - TypeSqlExpression: the value's text, unquoted.
QString FormatSqlValue(const QVariant& vValue, ql_eDataType iFieldType, ql_eProviderType iProviderType);

} // namespace qldb
