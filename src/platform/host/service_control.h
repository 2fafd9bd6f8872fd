#pragma once
// Stopping and starting the sibling services of the product around a database update. The engine
// hands over the command as the product has always written it, "net stop NAME" or
// "net start NAME", and ignores the outcome: a service that is not installed, or already in the
// wanted state, must not stop an update.
#include <QString>
#include <QStringList>

namespace qldb {

class IServiceControl {
public:
    virtual ~IServiceControl() = default;
    // Runs one "net stop NAME" / "net start NAME" command. Never throws; the result is not told.
    virtual void Run(const QString& sCommand) = 0;
};

// The default on this platform: "net stop NAME" and "net start NAME" become
// "systemctl stop UNIT" and "systemctl start UNIT", where UNIT is NAME with ".service" appended
// (a unit of that name is how an installation registers each sibling service). They run through
// the process runner and are waited for (at most lTimeoutSeconds), so that a service is really
// down before the update touches its tables. Without systemctl on the PATH nothing runs. Any other
// command line runs as it stands.
class SystemServiceControl : public IServiceControl {
public:
    explicit SystemServiceControl(QString sSystemctl = QStringLiteral("systemctl"), int lTimeoutSeconds = 120)
        : m_systemctl(std::move(sSystemctl)), m_timeoutSeconds(lTimeoutSeconds) {}
    void Run(const QString& sCommand) override;

    // The program and its arguments for a command; empty when it is not to run.
    QStringList Translate(const QString& sCommand) const;

private:
    QString m_systemctl;
    int m_timeoutSeconds;
};

} // namespace qldb
