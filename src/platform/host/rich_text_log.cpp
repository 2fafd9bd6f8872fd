#include "platform/host/rich_text_log.h"

#include <algorithm>

namespace qldb {

void PlainTextLog::setSelStart(int32_t position) {
    m_selStart = std::clamp<int32_t>(position, 0, static_cast<int32_t>(m_text.size()));
    m_selLength = std::min<int32_t>(m_selLength, static_cast<int32_t>(m_text.size()) - m_selStart);
}

void PlainTextLog::setSelLength(int32_t length) {
    m_selLength = std::clamp<int32_t>(length, 0, static_cast<int32_t>(m_text.size()) - m_selStart);
}

void PlainTextLog::setSelRTF(const QString& sText) {
    // Inserted text takes the colour in front of it, as a rich-text control does.
    const int32_t color = m_selStart > 0 ? m_colors[m_selStart - 1] : kColorBlack;
    m_text.replace(m_selStart, m_selLength, sText);
    m_colors.erase(m_colors.begin() + m_selStart, m_colors.begin() + m_selStart + m_selLength);
    m_colors.insert(m_colors.begin() + m_selStart, sText.size(), color);
    m_selStart += static_cast<int32_t>(sText.size());
    m_selLength = 0;
}

void PlainTextLog::setSelColor(int32_t color) {
    std::fill(m_colors.begin() + m_selStart, m_colors.begin() + m_selStart + m_selLength, color);
}

std::vector<LogLine> PlainTextLog::Lines() const {
    std::vector<LogLine> lines;
    LogLine current;
    bool started = false;
    for (qsizetype i = 0; i < m_text.size(); ++i) {
        const QChar c = m_text[i];
        if (c == u'\r' || c == u'\n') {
            lines.push_back(current);
            current = LogLine{QString(), m_colors[i]};
            started = false;
            if (c == u'\r' && i + 1 < m_text.size() && m_text[i + 1] == u'\n')
                ++i;
            continue;
        }
        if (!started) {
            current.Color = m_colors[i];
            started = true;
        }
        current.Text += c;
    }
    if (started || !lines.empty())
        lines.push_back(current);
    return lines;
}

} // namespace qldb
