#include "server/server_browser.h"

#include "platform/errors/error_record.h"
#include "platform/tools/configuration.h"

#include <QElapsedTimer>
#include <QRegularExpression>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qldb {

namespace {

// CLNT_BCAST_EX: the browser answers it whether it came as a broadcast or straight to its host.
constexpr char kRequestInstances = 0x02;
// SVR_RESP, followed by the length of the text as two bytes, low byte first.
constexpr unsigned char kAnswer = 0x05;

class UdpSocket {
public:
    UdpSocket() : m_fd(::socket(AF_INET, SOCK_DGRAM, 0)) {}
    ~UdpSocket() {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;
    int fd() const { return m_fd; }

private:
    int m_fd;
};

bool Resolve(const SqlBrowserTarget& target, sockaddr_in& address) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    const QByteArray host = target.Host.toUtf8();
    if (::getaddrinfo(host.constData(), nullptr, &hints, &found) != 0 || found == nullptr)
        return false;
    std::memcpy(&address, found->ai_addr, sizeof(address));
    ::freeaddrinfo(found);
    address.sin_port = htons(target.Port);
    return true;
}

} // namespace

std::vector<SqlBrowserTarget> ParseSqlBrowserTargets(const QString& sTargets) {
    std::vector<SqlBrowserTarget> targets;
    static const QRegularExpression separators(QStringLiteral("[,;\\s]+"));
    for (const QString& entry : sTargets.split(separators, Qt::SkipEmptyParts)) {
        SqlBrowserTarget target;
        const qsizetype colon = entry.lastIndexOf(QLatin1Char(':'));
        target.Host = colon < 0 ? entry : entry.left(colon);
        if (colon >= 0) {
            bool ok = false;
            const uint port = entry.mid(colon + 1).toUInt(&ok);
            if (!ok || port == 0 || port > 65535)
                continue;
            target.Port = static_cast<uint16_t>(port);
        }
        if (!target.Host.isEmpty())
            targets.push_back(target);
    }
    return targets;
}

QStringList ParseSqlBrowserAnswer(const QByteArray& datagram) {
    QStringList instances;
    if (datagram.size() < 3 || static_cast<unsigned char>(datagram.at(0)) != kAnswer)
        return instances;
    const int size =
        static_cast<unsigned char>(datagram.at(1)) | (static_cast<unsigned char>(datagram.at(2)) << 8);
    if (size != datagram.size() - 3)
        return instances;
    // Records end in ";;"; inside a record, names and values alternate, separated by ";".
    const QString text = QString::fromLatin1(datagram.mid(3));
    for (const QString& record : text.split(QStringLiteral(";;"), Qt::SkipEmptyParts)) {
        const QStringList parts = record.split(QLatin1Char(';'));
        QString server;
        QString instance;
        for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
            if (parts[i].compare(QLatin1String("ServerName"), Qt::CaseInsensitive) == 0)
                server = parts[i + 1];
            else if (parts[i].compare(QLatin1String("InstanceName"), Qt::CaseInsensitive) == 0)
                instance = parts[i + 1];
        }
        if (server.isEmpty() || instance.isEmpty())
            continue;
        instances << (instance.compare(QLatin1String("MSSQLSERVER"), Qt::CaseInsensitive) == 0
                          ? server
                          : server + QLatin1Char('\\') + instance);
    }
    return instances;
}

QStringList QuerySqlBrowsers(const std::vector<SqlBrowserTarget>& targets, int32_t lTimeoutMs) {
    QStringList found;
    UdpSocket socket;
    if (socket.fd() < 0)
        throw qlException(kErrGeneral, QStringLiteral("qlMsSqlSystem.GetSqlServers"),
                          QStringLiteral("Cannot open a UDP socket: ") +
                              QString::fromLocal8Bit(std::strerror(errno)));
    const int on = 1;
    ::setsockopt(socket.fd(), SOL_SOCKET, SO_BROADCAST, &on, sizeof(on));
    for (const SqlBrowserTarget& target : targets) {
        sockaddr_in address{};
        // A host that is unknown or unreachable (no network, no route for a broadcast) simply
        // answers nothing, as a silent network does.
        if (Resolve(target, address))
            ::sendto(socket.fd(), &kRequestInstances, 1, 0, reinterpret_cast<const sockaddr*>(&address),
                     sizeof(address));
    }
    QElapsedTimer clock;
    clock.start();
    for (;;) {
        const qint64 left = lTimeoutMs - clock.elapsed();
        if (left <= 0)
            break;
        pollfd wait{socket.fd(), POLLIN, 0};
        const int ready = ::poll(&wait, 1, static_cast<int>(left));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            break;
        QByteArray datagram(65535, '\0');
        const ssize_t got = ::recv(socket.fd(), datagram.data(), datagram.size(), 0);
        if (got < 0)
            continue;
        datagram.truncate(got);
        for (const QString& instance : ParseSqlBrowserAnswer(datagram))
            if (!found.contains(instance))
                found << instance;
    }
    return found;
}

std::vector<SqlBrowserTarget> SqlBrowserTargetsSetting() {
    return ParseSqlBrowserTargets(
        ReadSetting(QStringLiteral("SqlBrowserHosts"), QStringLiteral("255.255.255.255")));
}

int32_t SqlBrowserTimeoutSetting() {
    bool ok = false;
    const int32_t ms = ReadSetting(QStringLiteral("SqlBrowserTimeout"), QStringLiteral("1000")).toInt(&ok);
    return ok && ms > 0 ? ms : 1000;
}

} // namespace qldb
