#include "cli/connection_options.h"

#include "platform/tools/product_folders.h"

#include <QDir>
#include <array>
#include <utility>

namespace qldb::cli {

namespace {

const std::array<std::pair<const char*, ql_eProviderType>, 7> kProviders{{
    {"SQLServer", ql_eProviderType::SQLServer},
    {"MsAccess", ql_eProviderType::MsAccess},
    {"SyBase", ql_eProviderType::SyBase},
    {"MySql", ql_eProviderType::MySql},
    {"Oracle", ql_eProviderType::Oracle},
    {"ODBC", ql_eProviderType::ODBC},
    {"FoxPro", ql_eProviderType::FoxPro},
}};

std::optional<ql_eProviderType> ProviderFromText(const QString& text) {
    bool numeric = false;
    const int value = text.toInt(&numeric);
    if (numeric)
        return value >= 0 && value <= 6 ? std::optional(static_cast<ql_eProviderType>(value)) : std::nullopt;
    for (const auto& [name, type] : kProviders)
        if (text.compare(QLatin1String(name), Qt::CaseInsensitive) == 0)
            return type;
    return std::nullopt;
}

} // namespace

void AddConnectionOptions(QCommandLineParser& parser) {
    parser.addOptions({
        {"provider", "Provider: SQLServer, MsAccess, SyBase, MySql, Oracle, ODBC, FoxPro (or 0-6).", "name"},
        {"native-client", "SQL Server client generation 0-4 (4: MSOLEDBSQL).", "n"},
        {"server", "Server name; for ODBC the data source name.", "name"},
        {"database", "Database; for MsAccess, Oracle and FoxPro the data source itself.", "name"},
        {"user", "User name.", "name"},
        {"password", "Password.", "text"},
        {"integrated", "Use integrated security instead of user and password."},
        {"provider-name", "OLE DB provider name that overrides the provider table.", "name"},
        {"connstr", "A complete connection string, used as it stands.", "text"},
    });
}

std::optional<QString> ApplyConnectionOptions(const QCommandLineParser& parser, qlConnection& connection) {
    if (parser.isSet("provider")) {
        const auto provider = ProviderFromText(parser.value("provider"));
        if (!provider)
            return QStringLiteral("unknown provider \"%1\"").arg(parser.value("provider"));
        connection.setProviderType(*provider);
    }
    if (parser.isSet("native-client")) {
        bool ok = false;
        const int value = parser.value("native-client").toInt(&ok);
        if (!ok || value < 0 || value > 4)
            return QStringLiteral("native client must be a number from 0 to 4");
        connection.setSqlNativeClient(static_cast<ql_eNativeClients>(value));
    }
    connection.setServer(parser.value("server"));
    connection.setDatabaseName(parser.value("database"));
    connection.setUser(parser.value("user"));
    connection.setPassword(parser.value("password"));
    connection.setNetworkCredential(parser.isSet("integrated"));
    connection.setProviderName(parser.value("provider-name"));
    connection.setForcedConnectionString(parser.value("connstr"));
    return std::nullopt;
}

bool NamesNoConnection(const QCommandLineParser& parser) {
    for (const char* name : {"provider", "server", "database", "connstr", "provider-name"})
        if (parser.isSet(name))
            return false;
    return true;
}

QString DemoDatabasePath() {
    const QString folder = ProductFolder(QStringLiteral("Db"));
    QDir().mkpath(folder);
    return QDir(folder).filePath(QStringLiteral("qldb-demo.sqlite"));
}

} // namespace qldb::cli
