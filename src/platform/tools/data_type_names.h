#pragma once
// The names of the data types: the words that type descriptions use ("int", "counter") and the
// names that structure files carry ("TypeInt").
#include "platform/data_type.h"

#include <QString>
#include <optional>

namespace qldb {

// The type a word names, compared in lower case: "char"; "integer", "int"; "long", "lng";
// "real", "double"; "date"; "time"; "datetime"; "bit"; "memo"; "autoincrement", "counter";
// "object"; "bigcounter". Any other word, the empty one included, gives TypeChar.
ql_eDataType GetDataTypeFromName(const QString& sType);

// The name a structure file writes for a type ("TypeChar" ... "TypeMemoUnicode"). TypeSqlExpression
// has no such name, nor has a number outside the enumeration: both give "".
QString DataTypeXmlName(ql_eDataType iDataType);

// The type of a structure file's name, compared exactly; nullopt for a name that is none of them.
std::optional<ql_eDataType> DataTypeFromXmlName(const QString& sName);

// The type of a structure file's name ("TypeVarChar"), compared exactly; a name that is none of
// them gives TypeNotSupported. Without bAllowUseUnicode the Unicode types read as their plain
// forms, as for a database that keeps no Unicode columns. bHistory asks for the form used for
// history databases, whose columns take the same types: it changes nothing in the mapping.
ql_eDataType GetDataTypeFromName(const QString& sType, bool bAllowUseUnicode, bool bHistory);

} // namespace qldb
