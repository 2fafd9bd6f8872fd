#include "samba_server.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QStandardPaths>
#include <QThread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qldb::test {

namespace {

// A port that nothing listens on now: the kernel's pick for a socket bound to port 0.
int FreePort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(a);
    int port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof(a)) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &size) == 0)
        port = ntohs(a.sin_port);
    ::close(fd);
    return port;
}

bool Accepts(int port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(port));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof(a)) == 0;
    ::close(fd);
    return ok;
}

QString Tool(const QString& name) {
    return QStandardPaths::findExecutable(name, {"/usr/sbin", "/usr/bin", "/sbin", "/bin"});
}

} // namespace

SambaServer::SambaServer() {
    m_ready = start();
}

SambaServer::~SambaServer() {
    if (m_smbd) {
        m_smbd->terminate();
        if (!m_smbd->waitForFinished(5000))
            m_smbd->kill();
        m_smbd->waitForFinished(2000);
    }
}

QString SambaServer::serverUrl() const {
    return QStringLiteral("smb://127.0.0.1:%1").arg(m_port);
}
QString SambaServer::shareUrl() const {
    return serverUrl() + QStringLiteral("/backup/");
}
QString SambaServer::folder() const {
    return m_dir.filePath(QStringLiteral("share"));
}

bool SambaServer::start() {
    const QString smbd = Tool("smbd"), pdbedit = Tool("pdbedit");
    if (smbd.isEmpty() || pdbedit.isEmpty()) {
        m_why = QStringLiteral("smbd or pdbedit is not installed (Debian package samba)");
        return false;
    }
    if (const passwd* pw = ::getpwuid(::getuid()))
        m_user = QString::fromLocal8Bit(pw->pw_name);
    m_port = FreePort();
    const QString d = m_dir.path();
    for (const char* sub : {"share", "private", "lock", "state", "cache", "pid", "ncalrpc", "log"})
        QDir(d).mkpath(sub);
    const QString conf = d + "/smb.conf";
    QFile file(conf);
    file.open(QIODevice::WriteOnly);
    file.write(QStringLiteral(
                   "[global]\n"
                   "workgroup = WORKGROUP\nserver role = standalone server\n"
                   "interfaces = 127.0.0.1\nbind interfaces only = yes\nsmb ports = %2\n"
                   "disable netbios = yes\nload printers = no\nprinting = bsd\nprintcap name = /dev/null\n"
                   "disable spoolss = yes\npassdb backend = tdbsam:%1/private/passdb.tdb\n"
                   "private dir = %1/private\nlock directory = %1/lock\nstate directory = %1/state\n"
                   "cache directory = %1/cache\npid directory = %1/pid\nncalrpc dir = %1/ncalrpc\n"
                   "log file = %1/log/log.%m\n"
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
        m_why =
            QStringLiteral("pdbedit could not add the test user: ") + QString::fromLocal8Bit(add.readAll());
        return false;
    }
    m_smbd = std::make_unique<QProcess>();
    m_smbd->setProcessChannelMode(QProcess::MergedChannels);
    // smbd signals its whole process group when it stops: it gets a session of its own so that the
    // signal never reaches the test.
    m_smbd->setChildProcessModifier([] { ::setsid(); });
    m_smbd->start(smbd, {"--foreground", "--no-process-group", "--configfile=" + conf});
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < 15000) {
        if (Accepts(m_port))
            return true;
        if (m_smbd->state() == QProcess::NotRunning)
            break;
        QThread::msleep(100);
    }
    m_why = QStringLiteral("smbd did not listen on port %1: ").arg(m_port) +
            QString::fromLocal8Bit(m_smbd->readAll());
    return false;
}

} // namespace qldb::test
