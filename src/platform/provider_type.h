#pragma once
#include <cstdint>

namespace qldb {

// The kinds of database a connection can reach; shared by the connection and the SQL builders.
enum class ql_eProviderType : int32_t {
    SQLServer = 0,
    MsAccess = 1,
    SyBase = 2,
    MySql = 3,
    Oracle = 4,
    ODBC = 5,
    FoxPro = 6
};

} // namespace qldb
