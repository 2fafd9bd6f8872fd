#pragma once
// An smbd of the test's own on a free loopback port, sharing one folder as "backup" to the current
// user with a password. Everything it needs lives in a temporary folder; it stops when the object
// goes. Without smbd on the machine (or able to start) available() is false and why() says why.
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QTemporaryDir>
#include <QThread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qldb::test {

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
    // The local folder behind the share.
    QString folder() const { return m_dir.filePath(QStringLiteral("share")); }
    const QString& user() const { return m_user; }
    static QString password() { return QStringLiteral("qldb-Secret1"); }

private:
    // Port 0 binds to a free port, which the kernel names; any other port is tried for a listener.
    static int Probe(int port) {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons(static_cast<uint16_t>(port));
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(a);
        auto* p = reinterpret_cast<sockaddr*>(&a);
        int result = 0;
        if (port != 0)
            result = ::connect(fd, p, sizeof(a)) == 0 ? port : 0;
        else if (::bind(fd, p, sizeof(a)) == 0 && ::getsockname(fd, p, &size) == 0)
            result = ntohs(a.sin_port);
        ::close(fd);
        return result;
    }

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
        m_port = Probe(0);
        const QString d = m_dir.path();
        QDir(d).mkpath("share");
        QDir(d).mkpath("var");
        const QString conf = d + "/smb.conf";
        QFile file(conf);
        file.open(QIODevice::WriteOnly);
        // Every directory smbd keeps state in is the test's own.
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
        // smbd signals its whole process group when it stops: it gets a session of its own so that
        // the signal never reaches the test.
        m_smbd.setChildProcessModifier([] { ::setsid(); });
        m_smbd.start(smbd, {"--foreground", "--no-process-group", "--configfile=" + conf});
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < 15000 && m_smbd.state() != QProcess::NotRunning) {
            if (Probe(m_port) != 0)
                return true;
            QThread::msleep(100);
        }
        m_why = QStringLiteral("smbd did not listen on port %1: ").arg(m_port) +
                QString::fromLocal8Bit(m_smbd.readAll());
        return false;
    }

    QTemporaryDir m_dir;
    QProcess m_smbd; // after m_dir: stopped before its folder goes
    QString m_user;
    int m_port = 0;
    bool m_ready = false;
    QString m_why;
};

} // namespace qldb::test
