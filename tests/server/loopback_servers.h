#pragma once
// Servers of the test's own on loopback: an smbd sharing a folder, and a SQL Server Browser
// service that answers with the datagrams it was given. Nothing listens on another address.
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <atomic>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qldb::test {

// A socket on 127.0.0.1: with port 0 bound to a free port, whose number goes into port; otherwise
// connected to port, or -1 when nothing listens there.
inline int Loopback(int type, int& port) {
    const int fd = ::socket(AF_INET, type, 0);
    sockaddr_in a{AF_INET, htons(static_cast<uint16_t>(port)), {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t size = sizeof(a);
    auto* p = reinterpret_cast<sockaddr*>(&a);
    if (port != 0) {
        if (::connect(fd, p, size) == 0)
            return fd;
        ::close(fd);
        return -1;
    }
    ::bind(fd, p, size);
    ::getsockname(fd, p, &size);
    port = ntohs(a.sin_port);
    return fd;
}

// An smbd on a free port, sharing one folder as "backup" to the current user with a password, all
// its state in a temporary folder; it stops when the object goes. Without smbd on the machine (or
// able to start) available() is false and why() says why.
class SambaServer {
public:
    SambaServer() { m_ready = start(); }
    ~SambaServer() {
        m_smbd.terminate();
        m_smbd.waitForFinished(5000); // and QProcess kills what is left
    }
    bool available() const { return m_ready; }
    const QString& why() const { return m_why; }
    QString serverUrl() const { return QStringLiteral("smb://127.0.0.1:%1").arg(m_port); }
    QString shareUrl() const { return serverUrl() + QStringLiteral("/backup/"); }
    QString folder() const { return m_dir.filePath(QStringLiteral("share")); } // the one behind the share
    const QString& user() const { return m_user; }
    static QString password() { return QStringLiteral("qldb-Secret1"); }

private:
    bool start() {
        const QStringList dirs = {"/usr/sbin", "/usr/bin", "/sbin", "/bin"};
        const QString smbd = QStandardPaths::findExecutable("smbd", dirs);
        const QString pdbedit = QStandardPaths::findExecutable("pdbedit", dirs);
        if (smbd.isEmpty() || pdbedit.isEmpty()) {
            m_why = QStringLiteral("smbd or pdbedit is not installed (Debian package samba)");
            return false;
        }
        if (const passwd* pw = ::getpwuid(::getuid()))
            m_user = QString::fromLocal8Bit(pw->pw_name);
        ::close(Loopback(SOCK_STREAM, m_port));
        const QString d = m_dir.path(), conf = d + "/smb.conf";
        QDir(d).mkpath("share");
        QDir(d).mkpath("var");
        QFile file(conf);
        file.open(QIODevice::WriteOnly);
        file.write(
            QStringLiteral("[global]\ninterfaces = 127.0.0.1\nbind interfaces only = yes\nsmb ports = %2\n"
                           "disable netbios = yes\nload printers = no\ndisable spoolss = yes\n"
                           "passdb backend = tdbsam:%1/var/passdb.tdb\nprivate dir = %1/var\n"
                           "lock directory = %1/var\nstate directory = %1/var\ncache directory = %1/var\n"
                           "pid directory = %1/var\nncalrpc dir = %1/var/ncalrpc\nlog file = %1/var/log\n"
                           "[backup]\npath = %1/share\nread only = yes\nguest ok = no\n")
                .arg(d)
                .arg(m_port)
                .toUtf8());
        file.close();
        QProcess add;
        add.start(pdbedit, {"-s", conf, "-a", "-u", m_user, "-t"});
        add.write((password() + "\n" + password() + "\n").toUtf8());
        add.closeWriteChannel();
        if (!add.waitForFinished(15000) || add.exitCode() != 0) {
            m_why = "pdbedit could not add the test user: " + QString::fromLocal8Bit(add.readAll());
            return false;
        }
        m_smbd.setProcessChannelMode(QProcess::MergedChannels);
        // smbd signals its whole process group when it stops: a session of its own keeps the
        // signal from the test.
        m_smbd.setChildProcessModifier([] { ::setsid(); });
        m_smbd.start(smbd, {"--foreground", "--no-process-group", "--configfile=" + conf});
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < 15000 && m_smbd.state() != QProcess::NotRunning) {
            int port = m_port;
            if (const int fd = Loopback(SOCK_STREAM, port); fd >= 0 && ::close(fd) == 0)
                return true;
            QThread::msleep(100);
        }
        m_why = QStringLiteral("smbd did not listen on port %1: ").arg(m_port) +
                QString::fromLocal8Bit(m_smbd.readAll());
        return false;
    }

    QTemporaryDir m_dir;
    QProcess m_smbd; // after m_dir: stopped before its folder goes
    QString m_user, m_why;
    int m_port = 0;
    bool m_ready = false;
};

// A browser service on a loopback port: answers each request with the datagrams it was given.
class BrowserResponder {
public:
    explicit BrowserResponder(std::vector<QByteArray> answers) : m_answers(std::move(answers)) {
        m_fd = Loopback(SOCK_DGRAM, m_port);
        const timeval tick{0, 50000}; // reads give up every 50 ms so that the thread sees the stop
        ::setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &tick, sizeof(tick));
        m_thread = std::jthread([this](std::stop_token stop) {
            while (!stop.stop_requested()) {
                char request[16];
                sockaddr_in from{};
                socklen_t size = sizeof(from);
                auto* f = reinterpret_cast<sockaddr*>(&from);
                if (::recvfrom(m_fd, request, sizeof(request), 0, f, &size) != 1 || request[0] != 0x02)
                    continue;
                ++m_requests;
                for (const QByteArray& answer : m_answers)
                    ::sendto(m_fd, answer.constData(), answer.size(), 0, f, size);
            }
        });
    }
    ~BrowserResponder() {
        m_thread = {}; // stops and joins before the socket goes
        ::close(m_fd);
    }
    int port() const { return m_port; }
    int requests() const { return m_requests; }

private:
    std::vector<QByteArray> m_answers;
    int m_fd = -1, m_port = 0;
    std::atomic<int> m_requests{0};
    std::jthread m_thread;
};

} // namespace qldb::test
