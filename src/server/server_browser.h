#pragma once
// The SQL Server Browser service's answer to "which instances run here?" (UDP, port 1434 unless a
// target says otherwise): one datagram asks, each host that runs the service answers with its
// instances. This is how the instances of the local network are listed.
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <vector>

namespace qldb {

struct SqlBrowserTarget {
    QString Host;
    uint16_t Port = 1434;
};

// "host[:port]" entries separated by commas or blanks; entries that cannot be read are skipped.
std::vector<SqlBrowserTarget> ParseSqlBrowserTargets(const QString& sTargets);

// The instances named by one answer datagram: "SERVER" for a default instance (MSSQLSERVER),
// "SERVER\INSTANCE" for a named one. A datagram that is not a well-formed answer gives none, and
// so does a record without a server or an instance name.
QStringList ParseSqlBrowserAnswer(const QByteArray& datagram);

// Asks every target and collects the instances of the answers that arrive within lTimeoutMs, in
// the order they came, each once. Targets that cannot be resolved or reached are passed over;
// only a socket that cannot be made at all raises (qlException, kErrGeneral).
QStringList QuerySqlBrowsers(const std::vector<SqlBrowserTarget>& targets, int32_t lTimeoutMs);

// The settings that GetSqlServers reads: "SqlBrowserHosts" (default the limited broadcast address
// 255.255.255.255, the local network) and "SqlBrowserTimeout" in milliseconds (default 1000).
std::vector<SqlBrowserTarget> SqlBrowserTargetsSetting();
int32_t SqlBrowserTimeoutSetting();

} // namespace qldb
