// The services every routine of qlDatabase leans on: its connection, error service and host.
#include "platform/errors/error_rule.h"
#include "structure/ql_database.h"

namespace qldb {

qlConnection& qlDatabase::connection() const {
    if (!m_connection)
        ThrowObjectNotSet(QStringLiteral("qlDatabase"));
    return *m_connection;
}

IErrorService& qlDatabase::errors() const {
    if (!m_errors)
        ThrowObjectNotSet(QStringLiteral("qlDatabase"));
    return *m_errors;
}

IHostServices& qlDatabase::host() const {
    // The connection always has host services; a headless default stands in when the host set none.
    const std::shared_ptr<IHostServices> services = connection().HostServices();
    if (!services)
        ThrowObjectNotSet(QStringLiteral("qlDatabase"));
    return *services;
}

int32_t qlDatabase::ErrorCount() const {
    return m_errors ? m_errors->ErrorCount() : 0;
}

void qlDatabase::DoEvents() const {
    if (m_connection && m_connection->HostServices())
        m_connection->HostServices()->DoEvents();
}

} // namespace qldb
