#pragma once
// The error record that every failure of the library carries, and the one exception type that
// carries it. Hosts read number, source, description, help file and help context; the ODBC
// diagnostics ride along for tests and logs.
#include <QString>
#include <cstdint>
#include <exception>
#include <string>

namespace qldb {

// Numbers that hosts of the original platform saw for database failures.
inline constexpr int32_t kErrGeneral = -2147467259;      // 0x80004005: connection loss, deadlock, other
inline constexpr int32_t kErrSyntax = -2147217900;       // 0x80040E14
inline constexpr int32_t kErrUnknownTable = -2147217865; // 0x80040E37
inline constexpr int32_t kErrIntegrity = -2147217873;    // 0x80040E2F
inline constexpr int32_t kErrTimeout = -2147217871;      // 0x80040E31
// Object-error base plus one: duplicates in the query model.
inline constexpr int32_t kErrDuplicate = static_cast<int32_t>(0x80040001u);
// A call on an object that is not set (the host left Errors empty, a recordset that was never returned).
inline constexpr int32_t kErrObjectNotSet = 91;
// An item asked of a collection by a name or index it does not hold (a field of a recordset).
inline constexpr int32_t kErrItemNotFound = 3265;
// An operation that the object's state does not allow (a closed recordset, a statement on a closed
// connection).
inline constexpr int32_t kErrObjectClosed = 3704;
// Subscript out of range: an index outside an array of the query model.
inline constexpr int32_t kErrSubscript = 9;

struct ErrorRecord {
    int32_t Number = 0;
    QString Source;
    QString Description;
    QString HelpFile;
    int32_t HelpContext = 0;
    // Diagnostics of the driver, when the error came from one.
    QString SqlState;
    int32_t NativeError = 0;
    QString Statement;
};

class qlException : public std::exception {
public:
    explicit qlException(ErrorRecord record);
    qlException(int32_t number, const QString& source, const QString& description);

    const ErrorRecord& record() const noexcept { return m_record; }
    int32_t number() const noexcept { return m_record.Number; }
    const QString& description() const noexcept { return m_record.Description; }
    const char* what() const noexcept override { return m_what.c_str(); }

private:
    ErrorRecord m_record;
    std::string m_what;
};

// Turns any exception in flight into the record that the error rules hand on. Call only inside a
// catch block.
ErrorRecord CurrentErrorRecord();

} // namespace qldb
