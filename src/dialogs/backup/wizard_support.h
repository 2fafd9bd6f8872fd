#pragma once
// Small pieces shared by the wizard's routines.
#include "connection/ql_connection.h"
#include "server/ql_mssql_system.h"

namespace qldb::wizard {

// The error service of the wizard's connection, null when there is none.
inline IErrorService* ErrorsOf(qlConnection* cn) {
    return cn != nullptr ? cn->Errors().get() : nullptr;
}

// Terminates the system when the routine ends, on every way out. Terminate reports its own
// failures; only a host without an error service could make it raise, and a destructor must not.
struct Terminating {
    qlMsSqlSystem& Sys;
    ~Terminating() {
        try {
            Sys.Terminate();
        } catch (...) {
        }
    }
};

} // namespace qldb::wizard
