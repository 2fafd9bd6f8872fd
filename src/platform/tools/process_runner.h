#pragma once
// Runs another program or a shell script, waiting for it or not: the bulk copy scripts of the data
// export and import go through here.
#include <QString>
#include <QStringList>
#include <cstdint>

namespace qldb {

class IHostServices;

// Window modes as hosts pass them (0 hidden, 1 normal, ...). They are recorded in the result and
// otherwise ignored: programs started here have no window of their own on this platform.
inline constexpr int32_t kWindowHidden = 0;
inline constexpr int32_t kWindowNormal = 1;

struct ProcessResult {
    bool Started = false;  // the program could be started
    bool Finished = false; // it ended by itself while we waited (never set without waiting)
    bool TimedOut = false; // the time ran out; the process was killed
    bool Crashed = false;  // it ended by a signal instead of an exit
    int32_t ExitCode = -1; // its exit code, when it finished
    int32_t WindowMode = kWindowNormal;
    QString StandardOutput; // what it printed, when waited for
    QString StandardError;
    QString ErrorText; // why it could not be started or did not finish
};

// Runs sProgram with sArguments. A program that is an existing file without execute permission (a
// script the library just wrote) is run by /bin/sh. With bWait the call returns when the process
// ends or lTimeoutSeconds have passed (0 or less: no limit); on timeout the process is killed.
// While waiting, pHost (when given) gets DoEvents about ten times a second so the host stays
// responsive. Without bWait the process is started detached and left to run; the timeout does not
// apply and nothing is captured. Never throws.
ProcessResult RunProcess(const QString& sProgram, const QStringList& sArguments, bool bWait,
                         int32_t iWindowMode, int32_t lTimeoutSeconds, IHostServices* pHost = nullptr);

// The same for a command line, split into words at blanks, with "..." grouping words (a quote
// inside such a group is written ""); single quotes are plain characters. The line is not given
// to a shell: pipes and redirections belong in a script file, whose name can be the whole line.
ProcessResult RunProcess(const QString& sCommandLine, bool bWait, int32_t iWindowMode,
                         int32_t lTimeoutSeconds, IHostServices* pHost = nullptr);

// Runs a script or program file and waits: true when it started and ended within lTimeoutSeconds,
// whatever its exit code (the callers judge the outcome by the files it leaves).
bool RunAndWait(const QString& sBatFile, int32_t iWindowMode, int32_t lTimeoutSeconds,
                IHostServices* pHost = nullptr);

} // namespace qldb
