#include "cli/engine_run.h"

#include "structure/structure_document.h"

#include <atomic>
#include <csignal>
#include <unistd.h>

namespace qldb::cli {

namespace {

std::atomic<bool> g_interrupted{false};
qlDatabase* g_running = nullptr;

extern "C" void OnInterrupt(int) {
    g_interrupted = true;
}

// Yields as the terminal's host does, and hands a pending Ctrl-C to the run: the engine polls its
// cancel flag right after it yields.
class InterruptibleHostServices : public ConsoleHostServices {
public:
    void DoEvents() override {
        ConsoleHostServices::DoEvents();
        if (g_interrupted && g_running)
            g_running->setCancelVerify(true);
    }
};

} // namespace

void AddStructureOptions(QCommandLineParser& parser) {
    parser.addOptions({
        {QStringLiteral("structure"), QStringLiteral("Structure file to compare with (required)."),
         QStringLiteral("file")},
        {QStringLiteral("prefix"),
         QStringLiteral("Firm prefixes to take, separated by '|' (A01_|A02_); none takes every object."),
         QStringLiteral("prefixes")},
        {QStringLiteral("firm-marker"),
         QStringLiteral(
             "Names in the file carry the firm marker [#FIRM#], which stands for the first prefix.")},
        {QStringLiteral("data-prefix"),
         QStringLiteral("Prefix of the data side files of the file's data tables."),
         QStringLiteral("prefix")},
    });
}

EngineRun::EngineRun(Session& session, QTextStream& out, QTextStream& err)
    : m_session(session), m_out(out), m_err(err), m_progress(isatty(STDERR_FILENO) != 0) {
    session.Attach(m_database);
    session.connection().setHostServices(std::make_shared<InterruptibleHostServices>());
    g_interrupted = false;
    g_running = &m_database;
    std::signal(SIGINT, OnInterrupt);
}

EngineRun::~EngineRun() {
    std::signal(SIGINT, SIG_DFL);
    g_running = nullptr;
}

bool EngineRun::ReadOptions(const QCommandLineParser& parser) {
    if (!RequireFile(parser, QStringLiteral("structure"), m_structure, m_err))
        return false;
    // The engine reads an unreadable file as an empty structure; a command says so instead.
    QDomDocument doc;
    QString reason;
    if (!LoadStructureDocument(m_structure, doc, &reason)) {
        m_err << "qldb: " << m_structure << " is not a structure file: " << reason << '\n';
        return false;
    }
    m_prefixes = parser.value(QStringLiteral("prefix"));
    m_dataPrefix = parser.value(QStringLiteral("data-prefix"));
    m_removePrefix = parser.isSet(QStringLiteral("firm-marker"));
    if (m_removePrefix && m_prefixes.isEmpty()) {
        m_err << "qldb: --firm-marker needs --prefix, the firm the marker stands for\n";
        return false;
    }
    return true;
}

bool EngineRun::ShowLog(bool bToTerminal, const QString& sLogFile) {
    m_log = std::make_shared<TerminalLog>(m_out, bToTerminal, bToTerminal && isatty(STDOUT_FILENO) != 0);
    QString error;
    if (!sLogFile.isEmpty() && !m_log->openFile(sLogFile, &error)) {
        m_err << "qldb: cannot write the log " << sLogFile << ": " << error << '\n';
        return false;
    }
    m_database.setOutputBox(m_log);
    return true;
}

int EngineRun::Run(ql_eVerifyMode mode, VariantArray2& ArrayTable) {
    m_database.setVerifyDatabaseMode(mode);
    m_database.setCancelVerify(false);
    bool removePrefix = m_removePrefix;
    const int rows = m_database.VerifyDatabase(m_structure, ArrayTable, m_prefixes, &removePrefix, true, true,
                                               &m_progress, &m_progress, m_dataPrefix);
    m_progress.clear();
    return rows;
}

bool EngineRun::interrupted() const {
    return g_interrupted;
}

} // namespace qldb::cli
