#include "cli/terminal_log.h"

namespace qldb::cli {

bool TerminalLog::openFile(const QString& sFileName, QString* sError) {
    auto file = std::make_unique<QFile>(sFileName);
    if (!file->open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        if (sError)
            *sError = file->errorString();
        return false;
    }
    m_file = std::move(file);
    m_fileStream = std::make_unique<QTextStream>(m_file.get());
    return true;
}

void TerminalLog::setSelColor(int32_t color) {
    PlainTextLog::setSelColor(color);
    // The engine colours exactly what it has just appended, so this is the moment to print it.
    QString piece = Text().mid(SelStart(), SelLength());
    piece.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    piece.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    if (!m_echo)
        ;
    else if (m_color && color == kColorRed)
        m_out << "\x1b[31m" << piece << "\x1b[0m";
    else if (m_color && color == kColorGrayText)
        m_out << "\x1b[2m" << piece << "\x1b[0m";
    else
        m_out << piece;
    if (m_echo)
        m_out.flush();
    if (m_fileStream) {
        *m_fileStream << piece;
        m_fileStream->flush();
    }
}

} // namespace qldb::cli
