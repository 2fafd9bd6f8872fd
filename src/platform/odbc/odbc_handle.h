#pragma once
// Owning wrappers of ODBC handles: one move-only type per handle kind whose destructor frees the
// handle. Internal to the data access layer; public headers never include <sql.h>.
#include <sql.h>
#include <sqlext.h>

#include <QString>
#include <utility>

namespace qldb {

template <SQLSMALLINT Kind> class OdbcHandle {
public:
    OdbcHandle() noexcept = default;
    explicit OdbcHandle(SQLHANDLE handle) noexcept : m_handle(handle) {}
    ~OdbcHandle() { reset(); }

    OdbcHandle(const OdbcHandle&) = delete;
    OdbcHandle& operator=(const OdbcHandle&) = delete;
    OdbcHandle(OdbcHandle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    OdbcHandle& operator=(OdbcHandle&& other) noexcept {
        if (this != &other) {
            reset();
            m_handle = std::exchange(other.m_handle, nullptr);
        }
        return *this;
    }

    SQLHANDLE get() const noexcept { return m_handle; }
    explicit operator bool() const noexcept { return m_handle != SQL_NULL_HANDLE; }

    // Frees the handle. A connection handle must be disconnected first (the connection does
    // that); freeing a connected one fails and leaks it.
    void reset() noexcept {
        if (m_handle != SQL_NULL_HANDLE)
            SQLFreeHandle(Kind, m_handle);
        m_handle = SQL_NULL_HANDLE;
    }

private:
    SQLHANDLE m_handle = SQL_NULL_HANDLE;
};

// Text crosses the boundary through the wide API: SQLWCHAR is UTF-16 under unixODBC, as QString is.
static_assert(sizeof(SQLWCHAR) == sizeof(char16_t), "the wide ODBC API must be UTF-16");

inline SQLWCHAR* ToSqlWChar(const QString& s) {
    return const_cast<SQLWCHAR*>(reinterpret_cast<const SQLWCHAR*>(s.utf16()));
}
inline QString FromSqlWChar(const SQLWCHAR* s, qsizetype length) {
    return QString::fromUtf16(reinterpret_cast<const char16_t*>(s), length);
}

using OdbcEnvHandle = OdbcHandle<SQL_HANDLE_ENV>;
using OdbcDbcHandle = OdbcHandle<SQL_HANDLE_DBC>;
using OdbcStmtHandle = OdbcHandle<SQL_HANDLE_STMT>;

} // namespace qldb
