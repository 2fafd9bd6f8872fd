// The object frame of qlConnection: class start and end, the host's forms, and what the object
// tells of its data access connection.
#include "connection/object_checks.h"
#include "connection/ql_connection.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/configuration.h"
#include "platform/tools/conversions.h"
#include "platform/tools/profile_string.h"

namespace qldb {

qlConnection::qlConnection() : m_host(std::make_shared<HeadlessHostServices>()) {
    // Order matters to hosts that watch the configuration being read: the cache first, then the
    // isolation setting, then the (unopened) connection.
    m_tableInfoCache.clear();
    m_readUncommitted = ToBoolean(ReadSetting(QStringLiteral("ReadUncommitted"), QStringLiteral("0")));
    // The site-wide file may be missing or unreadable; the product setting then stands.
    ErrorRule tolerant(ErrorKind::GoOn, nullptr, QStringLiteral("qlConnection"),
                       QStringLiteral("Class_Initialize"));
    tolerant.tolerate([&] {
        if (const std::optional<bool> global = ReadGlobalReadUncommitted())
            m_readUncommitted = *global;
    });
    m_connection = CreateOdbcConnection();
    m_sqlNativeClient = ql_eNativeClients::SQLNativeClientOff;
}

// The object's own end closes nothing: hosts end a connection with Finalize.
qlConnection::~qlConnection() = default;

void qlConnection::setHostServices(std::shared_ptr<IHostServices> host) {
    m_host = host ? std::move(host) : std::make_shared<HeadlessHostServices>();
}

int32_t qlConnection::State() const {
    return RequireConnection(m_connection, QStringLiteral("qlConnection.State")).State();
}

std::vector<ErrorRecord> qlConnection::ADODBErrors() const {
    return RequireConnection(m_connection, QStringLiteral("qlConnection.ADODBErrors")).Errors();
}

QVariant qlConnection::ShowForm(IForm* fToShow, IForm* fOwner, int16_t ShowType, bool AsRoot) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), QStringLiteral("qlConnection"),
                   QStringLiteral("ShowForm"));
    const QVariant result;
    rule.run([&] {
        if (fToShow == nullptr)
            ThrowObjectNotSet(QStringLiteral("qlConnection.ShowForm"));
        if (m_formsHandler) {
            if (fOwner == nullptr)
                m_formsHandler->NewModeless(fToShow, nullptr, AsRoot);
            else if (ShowType == 0)
                m_formsHandler->NewModeless(fToShow, fOwner, AsRoot);
            else
                m_formsHandler->NewModal(fToShow, fOwner, AsRoot);
        } else if (ShowType == 1) {
            fToShow->Show(1, std::nullopt);
        } else if (fOwner == nullptr) {
            // Hosts have always received the empty owner here and a set owner dropped below;
            // their forms are written for it.
            fToShow->Show(0, std::optional<IForm*>(fOwner));
        } else {
            fToShow->Show(0, std::nullopt);
        }
    });
    return result;
}

void qlConnection::Finalize() {
    // Every step goes on after a failure: a close that fails must not keep the objects alive.
    ErrorRule rule(ErrorKind::GoOn, m_errors.get(), QStringLiteral("qlConnection"),
                   QStringLiteral("Finalize"));
    rule.run([&] {
        IDbConnection& connection = RequireConnection(m_connection, QStringLiteral("qlConnection.Finalize"));
        if (connection.State() != ado::adStateClosed)
            connection.Close();
    });
    m_connection.reset();
    m_errors.reset();
}

} // namespace qldb
