#pragma once
// Numbers of the data access model that hosts know: field types, cursor and lock types, command
// types, execute options, object states and isolation levels.
#include <cstdint>

namespace qldb::ado {

// Field and parameter types.
inline constexpr int32_t adEmpty = 0;
inline constexpr int32_t adSmallInt = 2;
inline constexpr int32_t adInteger = 3;
inline constexpr int32_t adSingle = 4;
inline constexpr int32_t adDouble = 5;
inline constexpr int32_t adCurrency = 6;
inline constexpr int32_t adDate = 7;
inline constexpr int32_t adBSTR = 8;
inline constexpr int32_t adBoolean = 11;
inline constexpr int32_t adVariant = 12;
inline constexpr int32_t adDecimal = 14;
inline constexpr int32_t adTinyInt = 16;
inline constexpr int32_t adUnsignedTinyInt = 17;
inline constexpr int32_t adBigInt = 20;
inline constexpr int32_t adGUID = 72;
inline constexpr int32_t adBinary = 128;
inline constexpr int32_t adChar = 129;
inline constexpr int32_t adWChar = 130;
inline constexpr int32_t adNumeric = 131;
inline constexpr int32_t adDBDate = 133;
inline constexpr int32_t adDBTime = 134;
inline constexpr int32_t adDBTimeStamp = 135;
inline constexpr int32_t adVarChar = 200;
inline constexpr int32_t adLongVarChar = 201;
inline constexpr int32_t adVarWChar = 202;
inline constexpr int32_t adLongVarWChar = 203;
inline constexpr int32_t adVarBinary = 204;
inline constexpr int32_t adLongVarBinary = 205;

// Cursor types, lock types, cursor locations, connection modes.
inline constexpr int32_t adOpenForwardOnly = 0;
inline constexpr int32_t adOpenStatic = 3;
inline constexpr int32_t adLockReadOnly = 1;
inline constexpr int32_t adLockPessimistic = 2;
inline constexpr int32_t adLockOptimistic = 3;
inline constexpr int32_t adLockBatchOptimistic = 4;
inline constexpr int32_t adUseClient = 3;
inline constexpr int32_t adModeReadWrite = 3;

// Command types and execute options.
inline constexpr int32_t adCmdText = 1;
inline constexpr int32_t adCmdStoredProc = 4;
inline constexpr int32_t adOptionUnspecified = -1;
inline constexpr int32_t adExecuteNoRecords = 128;

// Parameter directions.
inline constexpr int32_t adParamInput = 1;
inline constexpr int32_t adParamOutput = 2;
inline constexpr int32_t adParamInputOutput = 3;
inline constexpr int32_t adParamReturnValue = 4;

// Object states.
inline constexpr int32_t adStateClosed = 0;
inline constexpr int32_t adStateOpen = 1;

// Isolation levels.
inline constexpr int32_t adXactReadUncommitted = 256;
inline constexpr int32_t adXactReadCommitted = 4096;

} // namespace qldb::ado
