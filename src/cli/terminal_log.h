#pragma once
// The update log on a terminal: every piece the engine appends is printed as it comes, in its
// colour (errors red, transaction lines dimmed, the rest plain), and copied without colour to a
// log file when one is named.
#include "platform/host/rich_text_log.h"

#include <QFile>
#include <QTextStream>
#include <memory>

namespace qldb::cli {

class TerminalLog : public PlainTextLog {
public:
    // bEcho: print on the stream; bColor: with ANSI colours (only when the stream is a terminal).
    TerminalLog(QTextStream& out, bool bEcho, bool bColor) : m_out(out), m_echo(bEcho), m_color(bColor) {}
    // Opens (truncates) the log file; false with the reason when it cannot.
    bool openFile(const QString& sFileName, QString* sError);

    void setSelColor(int32_t color) override;

private:
    QTextStream& m_out;
    bool m_echo;
    bool m_color;
    std::unique_ptr<QFile> m_file;
    std::unique_ptr<QTextStream> m_fileStream;
};

} // namespace qldb::cli
