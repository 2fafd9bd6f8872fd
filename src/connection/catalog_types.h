#pragma once
// Public enumerations of qlConnection's catalog and record services: the column attributes the
// catalog reads, the entries of the table directory SYS_TBL_TBC, and the input formats of the
// host's input controls that ADO field types map to.
#include <cstdint>

namespace qldb {

// What GetColumnAttribute reads of a column.
enum class ql_eColumnAttribute : int32_t {
    IsNullable = 0,
    DefaultValue = 1,
    ColumnDataType = 2,
    CollationName = 3
};

// The columns of the table directory SYS_TBL_TBC, as GetTableInfo asks for them.
enum class ql_eTableInfo : int32_t {
    KeyField = 0,         // TBKEY
    KeyType = 1,          // TBTYP
    FieldDescription = 2, // TBFLD
    Description = 3,      // TBDES
    ItemName = 4,         // TBITM
    ItemsName = 5,        // TBITS
    ItemSex = 6,          // TBSEX
    DllManagement = 7,    // TBDLL
    ReportGroup = 8,      // TBREP
    ActionCode = 9,       // TBACT
    AllowCopy = 10,       // TBCPY
    AllowDelete = 11,     // TBDEL
    ChildTable = 12,      // TBCHI
    ChildLink = 13,       // TBCFK
    ChildOrd = 14,        // TBCOR
    ChildLayOut = 15,     // TBLAY
    ChildLayoutPfx = 16,  // TBLPX
    DateField = 17,       // TBDTF
    AttachmentTable = 18, // TBATT
    AttachmentField = 19, // TBATF
    LayoutName = 20,      // TBGRD
};

// Input format of the host's input controls for a field, as MatchADOType gives it. The numbers
// are the controls' own and never change; the names are ours.
enum class ql_eInputFormat : int32_t {
    SmallNumber = 1, // 8 and 16-bit integers
    Number = 2,      // 32 and 64-bit integers, single, numeric, and binary
    Decimal = 3,     // floating point, currency, decimal
    Date = 6,        // dates, times, time stamps
    Check = 7,       // booleans
    Text = 12,       // everything else
};

// Kind of the host's text box for a field, as GetTextBoxType gives it. The numbers are the
// controls' own and never change; the names are ours.
enum class ql_eTextBoxType : int32_t {
    Text = 0,
    Decimal = 3,
    Number = 5,
    Date = 13,
};

} // namespace qldb
