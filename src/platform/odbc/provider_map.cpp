#include "platform/odbc/provider_map.h"

#include "platform/errors/error_record.h"

#include <QStringList>
#include <array>
#include <optional>
#include <utility>
#include <vector>

namespace qldb {

namespace {

enum class Target { SqlServer, Sybase, MySql, Access, Odbc, Oracle };

struct ProviderRow {
    const char* Prefix; // provider names are matched case-insensitively on their start
    Target Kind;
};

// Longer prefixes first where one name starts another.
constexpr std::array kProviders{
    ProviderRow{"SQLOLEDB", Target::SqlServer},
    ProviderRow{"SQLNCLI", Target::SqlServer},
    ProviderRow{"MSOLEDBSQL", Target::SqlServer},
    ProviderRow{"ASAProv", Target::Sybase},
    ProviderRow{"ASEOLEDB", Target::Sybase},
    ProviderRow{"Sybase", Target::Sybase},
    ProviderRow{"MySQL", Target::MySql},
    ProviderRow{"Microsoft.Jet.OLEDB", Target::Access},
    ProviderRow{"Microsoft.ACE.OLEDB", Target::Access},
    ProviderRow{"MSDASQL", Target::Odbc},
    ProviderRow{"ODBC", Target::Odbc},
    ProviderRow{"FoxPro", Target::Odbc},
    ProviderRow{"OraOLEDB", Target::Oracle},
    ProviderRow{"MSDAORA", Target::Oracle},
    ProviderRow{"Oracle", Target::Oracle},
};

const QString kSource = QStringLiteral("Connection.Open");

using Pairs = std::vector<std::pair<QString, QString>>;

// Splits "key=value;key=value". Values may be quoted ('...' or "..." with the quote doubled
// inside) or, as ODBC writes them, braced ({...} with "}}" for a brace). Keys are trimmed, and so
// are unquoted values.
Pairs ParsePairs(const QString& s) {
    Pairs pairs;
    qsizetype i = 0;
    const qsizetype n = s.size();
    while (i < n) {
        const qsizetype eq = s.indexOf(QLatin1Char('='), i);
        const qsizetype semi = s.indexOf(QLatin1Char(';'), i);
        if (eq < 0 || (semi >= 0 && semi < eq)) {
            // A piece without "=": nothing to keep.
            i = semi < 0 ? n : semi + 1;
            continue;
        }
        const QString key = s.mid(i, eq - i).trimmed();
        qsizetype j = eq + 1;
        while (j < n && s[j] == QLatin1Char(' '))
            ++j;
        QString value;
        const QChar open = j < n ? s[j] : QChar();
        if (open == QLatin1Char('{') || open == QLatin1Char('"') || open == QLatin1Char('\'')) {
            const QChar close = open == QLatin1Char('{') ? QLatin1Char('}') : open;
            ++j;
            while (j < n) {
                if (s[j] == close) {
                    if (j + 1 < n && s[j + 1] == close) {
                        value += close;
                        j += 2;
                        continue;
                    }
                    ++j;
                    break;
                }
                value += s[j++];
            }
            const qsizetype next = s.indexOf(QLatin1Char(';'), j);
            i = next < 0 ? n : next + 1;
        } else {
            const qsizetype next = s.indexOf(QLatin1Char(';'), j);
            value = s.mid(j, (next < 0 ? n : next) - j).trimmed();
            i = next < 0 ? n : next + 1;
        }
        if (!key.isEmpty())
            pairs.emplace_back(key, value);
    }
    return pairs;
}

std::optional<QString> Find(const Pairs& pairs, std::initializer_list<const char*> keys) {
    for (const auto& [key, value] : pairs)
        for (const char* name : keys)
            if (key.compare(QLatin1String(name), Qt::CaseInsensitive) == 0)
                return value;
    return std::nullopt;
}

QString Value(const Pairs& pairs, std::initializer_list<const char*> keys) {
    return Find(pairs, keys).value_or(QString());
}

// An ODBC value that holds a separator, a brace or blanks at its ends goes in braces.
QString OdbcValue(const QString& value) {
    if (!value.contains(QLatin1Char(';')) && !value.contains(QLatin1Char('{')) &&
        !value.contains(QLatin1Char('}')) && value.trimmed() == value)
        return value;
    QString braced = value;
    braced.replace(QLatin1String("}"), QLatin1String("}}"));
    return QLatin1Char('{') + braced + QLatin1Char('}');
}

void Append(QString& out, const char* key, const QString& value) {
    out += QLatin1String(key) + QLatin1Char('=') + OdbcValue(value) + QLatin1Char(';');
}

// Driver names go in braces always, as the driver manager's own tools write them.
void AppendDriver(QString& out, const QString& driver) {
    out += QStringLiteral("DRIVER={") + driver + QStringLiteral("};");
}

bool IsTrue(const QString& value) {
    const QString v = value.trimmed().toLower();
    return v == QLatin1String("sspi") || v == QLatin1String("true") || v == QLatin1String("yes");
}

bool IntegratedSecurity(const Pairs& pairs) {
    return IsTrue(Value(pairs, {"Integrated Security", "Trusted_Connection"}));
}

[[noreturn]] void ThrowMissingOracle() {
    throw qlException(
        kErrProviderNotFound, kSource,
        QStringLiteral("Provider cannot be found: no Oracle ODBC driver is installed on this system. "
                       "Install one and name it in QLDB_ODBC_DRIVER_ORACLE to open Oracle data sources."));
}

QString TdsString(const Pairs& pairs, const QString& driver, const QString& tdsVersion) {
    QString server = Value(pairs, {"Data Source", "Server", "Address", "Addr", "Network Address"});
    if (server.startsWith(QLatin1String("tcp:"), Qt::CaseInsensitive))
        server = server.mid(4);
    QString port;
    if (const qsizetype comma = server.indexOf(QLatin1Char(',')); comma >= 0) {
        port = server.mid(comma + 1).trimmed();
        server = server.left(comma).trimmed();
    }
    // The local-server names of the original platform are no host names here.
    for (const char* local : {"(local)", "."}) {
        const QString name = QLatin1String(local);
        if (server.compare(name, Qt::CaseInsensitive) == 0 ||
            server.startsWith(name + QLatin1Char('\\'), Qt::CaseInsensitive))
            server = QStringLiteral("localhost") + server.mid(name.size());
    }

    QString out;
    AppendDriver(out, driver);
    if (!server.isEmpty())
        Append(out, "SERVER", server);
    if (!port.isEmpty())
        Append(out, "Port", port);
    const QString database = Value(pairs, {"Initial Catalog", "Database"});
    if (!database.isEmpty())
        Append(out, "DATABASE", database);
    if (IntegratedSecurity(pairs)) {
        Append(out, "Trusted_Connection", QStringLiteral("Yes"));
    } else if (const auto user = Find(pairs, {"User ID", "UID", "User", "User Id"})) {
        Append(out, "UID", *user);
        Append(out, "PWD", Value(pairs, {"Password", "PWD"}));
    }
    if (const auto app = Find(pairs, {"Application Name", "APP"}))
        Append(out, "APP", *app);
    if (const auto wsid = Find(pairs, {"Workstation ID", "WSID"}))
        Append(out, "WSID", *wsid);
    Append(out, "TDS_Version", tdsVersion);
    Append(out, "ClientCharset", QStringLiteral("UTF-8"));
    return out;
}

QString MySqlString(const Pairs& pairs, const QString& driver) {
    QString out;
    AppendDriver(out, driver);
    const QString server = Value(pairs, {"Data Source", "Server"});
    if (!server.isEmpty())
        Append(out, "SERVER", server);
    const QString database = Value(pairs, {"Initial Catalog", "Database"});
    if (!database.isEmpty())
        Append(out, "DATABASE", database);
    if (const auto user = Find(pairs, {"User ID", "UID", "User"})) {
        Append(out, "UID", *user);
        Append(out, "PWD", Value(pairs, {"Password", "PWD"}));
    }
    return out;
}

QString AccessString(const Pairs& pairs, const QString& driver) {
    QString out;
    AppendDriver(out, driver);
    Append(out, "Database", Value(pairs, {"Data Source"}));
    return out;
}

// MSDASQL's data source is an ODBC data source name.
QString DsnString(const Pairs& pairs) {
    QString out;
    Append(out, "DSN", Value(pairs, {"Data Source", "DSN"}));
    const QString database = Value(pairs, {"Initial Catalog", "Database"});
    if (!database.isEmpty())
        Append(out, "DATABASE", database);
    if (const auto user = Find(pairs, {"User ID", "UID", "User", "UserID"})) {
        Append(out, "UID", *user);
        Append(out, "PWD", Value(pairs, {"Password", "PWD"}));
    }
    return out;
}

QString OracleString(const Pairs& pairs, const QString& driver) {
    if (driver.isEmpty())
        ThrowMissingOracle();
    QString out;
    AppendDriver(out, driver);
    Append(out, "DBQ", Value(pairs, {"Data Source"}));
    if (const auto user = Find(pairs, {"User ID", "UID", "User"})) {
        Append(out, "UID", *user);
        Append(out, "PWD", Value(pairs, {"Password", "PWD"}));
    }
    return out;
}

// "DRIVER={MySQL ODBC 5.2w Driver};..." names a driver of the original platform: only the name
// changes.
std::optional<QString> ReplaceMySqlDriver(const QString& s, const Pairs& pairs, const QString& driver) {
    const QString name = Value(pairs, {"DRIVER"});
    if (!name.startsWith(QLatin1String("MySQL"), Qt::CaseInsensitive))
        return std::nullopt;
    const qsizetype eq = s.indexOf(QLatin1Char('='));
    qsizetype end = s.indexOf(QLatin1Char(';'), eq);
    if (s.mid(eq + 1).trimmed().startsWith(QLatin1Char('{')))
        end = s.indexOf(QLatin1Char(';'), s.indexOf(QLatin1Char('}'), eq));
    const QString rest = end < 0 ? QString() : s.mid(end);
    return s.left(eq + 1) + QLatin1Char('{') + driver + QLatin1Char('}') + rest;
}

QString EnvOr(const char* name, const QString& fallback) {
    const QByteArray value = qgetenv(name);
    return value.trimmed().isEmpty() ? fallback : QString::fromLocal8Bit(value).trimmed();
}

} // namespace

ProviderDrivers ProviderDriversFromEnvironment() {
    ProviderDrivers d;
    d.SqlServer = EnvOr("QLDB_ODBC_DRIVER_SQLSERVER", d.SqlServer);
    d.SqlServerTdsVersion = EnvOr("QLDB_TDS_VERSION_SQLSERVER", d.SqlServerTdsVersion);
    d.Sybase = EnvOr("QLDB_ODBC_DRIVER_SYBASE", d.Sybase);
    d.SybaseTdsVersion = EnvOr("QLDB_TDS_VERSION_SYBASE", d.SybaseTdsVersion);
    d.MySql = EnvOr("QLDB_ODBC_DRIVER_MYSQL", d.MySql);
    d.Access = EnvOr("QLDB_ODBC_DRIVER_ACCESS", d.Access);
    d.Oracle = EnvOr("QLDB_ODBC_DRIVER_ORACLE", d.Oracle);
    return d;
}

QString TranslateConnectionString(const QString& sConnectionString, const ProviderDrivers& drivers) {
    const QString trimmed = sConnectionString.trimmed();
    const Pairs pairs = ParsePairs(trimmed);
    if (trimmed.startsWith(QLatin1String("DRIVER="), Qt::CaseInsensitive)) {
        if (auto replaced = ReplaceMySqlDriver(trimmed, pairs, drivers.MySql))
            return *replaced;
        return sConnectionString;
    }
    if (trimmed.startsWith(QLatin1String("DSN="), Qt::CaseInsensitive))
        return sConnectionString;

    const auto provider = Find(pairs, {"Provider"});
    if (!provider) {
        // Without a provider the library writes only the Oracle form ("Data Source=...;
        // Integrated Security=yes"); anything else is left to the driver manager as it is.
        if (Find(pairs, {"Data Source"}))
            return OracleString(pairs, drivers.Oracle);
        return sConnectionString;
    }
    for (const ProviderRow& row : kProviders) {
        if (!provider->startsWith(QLatin1String(row.Prefix), Qt::CaseInsensitive))
            continue;
        switch (row.Kind) {
        case Target::SqlServer:
            return TdsString(pairs, drivers.SqlServer, drivers.SqlServerTdsVersion);
        case Target::Sybase:
            return TdsString(pairs, drivers.Sybase, drivers.SybaseTdsVersion);
        case Target::MySql:
            return MySqlString(pairs, drivers.MySql);
        case Target::Access:
            return AccessString(pairs, drivers.Access);
        case Target::Odbc:
            return DsnString(pairs);
        case Target::Oracle:
            return OracleString(pairs, drivers.Oracle);
        }
    }
    throw qlException(
        kErrProviderNotFound, kSource,
        QStringLiteral("Provider cannot be found: \"%1\" has no ODBC driver on this system.").arg(*provider));
}

} // namespace qldb
