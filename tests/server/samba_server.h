#pragma once
// An smbd of the test's own on a free loopback port, sharing one folder as "backup" to the current
// user with a password. Everything it needs lives in a temporary folder; it stops when the object
// goes. Without smbd on the machine (or able to start) available() is false and why() says why.
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <memory>

namespace qldb::test {

class SambaServer {
public:
    SambaServer();
    ~SambaServer();
    SambaServer(const SambaServer&) = delete;
    SambaServer& operator=(const SambaServer&) = delete;

    bool available() const { return m_ready; }
    const QString& why() const { return m_why; }
    // smb://127.0.0.1:PORT/backup/
    QString shareUrl() const;
    QString serverUrl() const;
    // The local folder behind the share.
    QString folder() const;
    const QString& user() const { return m_user; }
    static QString password() { return QStringLiteral("qldb-Secret1"); }

private:
    bool start();
    QTemporaryDir m_dir;
    std::unique_ptr<QProcess> m_smbd;
    QString m_user;
    int m_port = 0;
    bool m_ready = false;
    QString m_why;
};

} // namespace qldb::test
