#pragma once
// What every qldb command shares: its exit statuses, the parse of its command line (help, wrong
// options), and the session on the database it names (the demo database when it names none).
#include "cli/console_host_services.h"
#include "connection/ql_connection.h"
#include "platform/errors/error_service.h"
#include "structure/ql_database.h"

#include <QCommandLineParser>
#include <QStringList>
#include <QTextStream>
#include <memory>
#include <optional>

namespace qldb::cli {

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
// verify: the database differs from the structure file.
inline constexpr int kExitDrift = 2;

// A driver's message as one line: its line breaks and the indentation after them become one blank,
// so that every reason qldb prints is a single line a pipeline can read.
QString OneLine(const QString& sMessage);

// Reports of the library's routines as one line each on standard error; every report is answered
// "leave the routine", as nobody is there to choose Retry or Ignore.
class ConsoleErrorService : public HeadlessErrorService {
public:
    explicit ConsoleErrorService(QTextStream& err) : HeadlessErrorService(kDecisionLeave), m_err(err) {}
    // Whether any routine reported an error: a command that met one exits with 1.
    bool anyReported() const { return !reports().empty(); }

protected:
    int32_t decide(const ReportedError& report) override;

private:
    QTextStream& m_err;
};

// Adds --help and the connection options, parses, and answers --help. Returns the exit status when
// the command is done (help shown: 0; wrong options: 1 with a one-line reason), or nothing to go on.
std::optional<int> ParseCommandLine(QCommandLineParser& parser, const QStringList& args, QTextStream& out,
                                    QTextStream& err);

// One open connection on the database the command line names.
class Session {
public:
    explicit Session(QTextStream& err);
    ~Session();
    // Applies the connection options and opens; false after a one-line reason on standard error.
    bool Open(const QCommandLineParser& parser);
    qlConnection& connection() { return *m_connection; }
    // Puts the structure engine on this session's connection, its reports on this session's errors.
    void Attach(qlDatabase& database);
    std::shared_ptr<ConsoleErrorService> errors() const { return m_errors; }
    // True when the command line named no database and the demo database is used.
    bool isDemo() const { return m_demo; }

private:
    QTextStream& m_err;
    std::unique_ptr<qlConnection> m_connection;
    std::shared_ptr<ConsoleErrorService> m_errors;
    bool m_opened = false;
    bool m_demo = false;
};

// A file option that must name an existing, readable file; false after a one-line reason.
bool RequireFile(const QCommandLineParser& parser, const QString& sOption, QString& sPath, QTextStream& err);

} // namespace qldb::cli
