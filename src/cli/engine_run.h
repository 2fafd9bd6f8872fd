#pragma once
// The structure engine as the verify and update commands drive it: a qlDatabase on the command's
// session, its log on the terminal, a progress bar on standard error, and Ctrl-C turned into the
// engine's own cancel, polled where the engine yields after each object.
#include "cli/command_support.h"
#include "cli/terminal_log.h"
#include "cli/terminal_progress.h"
#include "structure/ql_database.h"

#include <QCommandLineParser>
#include <memory>

namespace qldb::cli {

// The options both commands take: --structure, --prefix, --firm-marker, --data-prefix.
void AddStructureOptions(QCommandLineParser& parser);

class EngineRun {
public:
    EngineRun(Session& session, QTextStream& out, QTextStream& err);
    ~EngineRun();

    // Reads the structure options; false after a one-line reason.
    bool ReadOptions(const QCommandLineParser& parser);
    qlDatabase& database() { return m_database; }
    // Sends the log to the terminal (and to a file when named); false when the file can't be made.
    bool ShowLog(bool bToTerminal, const QString& sLogFile);

    // One VerifyDatabase run in the given mode over the list; the number of rows.
    int Run(ql_eVerifyMode mode, VariantArray2& ArrayTable);

    const QString& structure() const { return m_structure; }
    const QString& prefixes() const { return m_prefixes; }
    bool removePrefix() const { return m_removePrefix; }
    bool interrupted() const;

private:
    Session& m_session;
    QTextStream& m_out;
    QTextStream& m_err;
    qlDatabase m_database;
    std::shared_ptr<TerminalLog> m_log;
    TerminalProgress m_progress;
    QString m_structure;
    QString m_prefixes;
    QString m_dataPrefix;
    bool m_removePrefix = false;
};

} // namespace qldb::cli
