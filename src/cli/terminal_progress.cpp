#include "cli/terminal_progress.h"

#include <algorithm>
#include <cstdio>

namespace qldb::cli {

namespace {
constexpr int kBarWidth = 30;
constexpr int kCaptionWidth = 60;
} // namespace

TerminalProgress::~TerminalProgress() {
    clear();
}

void TerminalProgress::setValue(double value) {
    m_value = value;
    draw();
}

void TerminalProgress::setMax(double value) {
    m_max = value;
    draw();
}

void TerminalProgress::setVisible(bool visible) {
    m_visible = visible;
    if (!visible)
        clear();
    else
        draw();
}

void TerminalProgress::setCaption(const QString& sCaption) {
    m_caption = sCaption;
    draw();
}

void TerminalProgress::clear() {
    if (m_enabled && m_drawn) {
        std::fputs("\r\x1b[2K", stderr);
        std::fflush(stderr);
        m_drawn = false;
    }
}

void TerminalProgress::draw() {
    if (!m_enabled || !m_visible)
        return;
    const double share = m_max > 0 ? std::clamp(m_value / m_max, 0.0, 1.0) : 0.0;
    const int filled = static_cast<int>(share * kBarWidth);
    const QString bar = QString(filled, u'#') + QString(kBarWidth - filled, u' ');
    const QString caption = m_caption.left(kCaptionWidth);
    const QString line = QStringLiteral("\r\x1b[2K[%1] %2/%3 %4")
                             .arg(bar)
                             .arg(static_cast<qint64>(m_value))
                             .arg(static_cast<qint64>(m_max))
                             .arg(caption);
    std::fputs(line.toLocal8Bit().constData(), stderr);
    std::fflush(stderr);
    m_drawn = true;
}

} // namespace qldb::cli
