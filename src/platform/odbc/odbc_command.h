#pragma once
// Commands over ODBC: the text that goes to the driver (a stored procedure becomes the call escape
// "{call name(?,...)}"), and parameters bound from their ADO type numbers and variant values.
#include "platform/odbc/command.h"
#include "platform/odbc/odbc_diagnostics.h"

#include <deque>
#include <memory>
#include <thread>
#include <vector>

namespace qldb {

// The memory that bound parameters point into; it must outlive the execution.
struct OdbcParameterBuffer {
    std::vector<char> Data;
    SQLLEN Indicator = 0;
};
using OdbcParameterBuffers = std::deque<OdbcParameterBuffer>;

// The statement text of a command: the text itself, "SELECT * FROM name" for a table, and the
// call escape with one marker per parameter for a stored procedure (return values are not
// passed: a command's parameters are the caller's and stay unchanged, so output values are not
// read back either).
QString OdbcCommandText(const Command& command);

// Binds the parameters in order, one marker each. With named parameters the names go to the
// driver (SQL_DESC_NAME), which matches them to the procedure's own; a driver that does not take
// names gets them by position.
void BindOdbcParameters(SQLHSTMT stmt, const std::vector<Parameter>& parameters, bool named,
                        OdbcParameterBuffers& buffers, const OdbcCallSite& site);

// Sets the statement's query timeout in seconds; 0 leaves it without limit.
void SetOdbcQueryTimeout(SQLHSTMT stmt, int32_t seconds, const OdbcCallSite& site);

// Cancels a statement whose execution outlasts its timeout. Not every driver keeps the query
// timeout of the statement (MariaDB's ignores it), so the connection watches the time itself as
// well. The watch covers execution only: stop() is called as soon as the statement returns.
class OdbcTimeoutWatch {
public:
    // seconds <= 0 watches nothing.
    OdbcTimeoutWatch(SQLHSTMT stmt, int32_t seconds);
    ~OdbcTimeoutWatch();
    OdbcTimeoutWatch(const OdbcTimeoutWatch&) = delete;
    OdbcTimeoutWatch& operator=(const OdbcTimeoutWatch&) = delete;

    // Ends the watch; true when the time had run out and the statement was cancelled.
    bool stop();

private:
    struct State;
    std::shared_ptr<State> m_state;
    std::thread m_thread;
};

// The error of a statement that ran out of time.
[[noreturn]] void ThrowOdbcTimeout(const OdbcCallSite& site);

} // namespace qldb
