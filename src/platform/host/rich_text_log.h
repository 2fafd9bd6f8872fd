#pragma once
// The rich-text box that receives the log of an update. Text is appended the way a host's rich-text
// control is driven: put the caret at the end, insert, select what was inserted, colour it, repaint.
// PlainTextLog keeps the text and the colour of every character, for the command-line tool and for
// hosts that want the log as lines.
#include <QString>
#include <cstdint>
#include <vector>

namespace qldb {

// Colours as hosts give them (0x00BBGGRR), and the system colour of dimmed text.
inline constexpr int32_t kColorBlack = 0x000000;
inline constexpr int32_t kColorRed = 0x0000FF;
inline constexpr int32_t kColorBlue = 0xFF0000;
inline constexpr int32_t kColorGrayText = static_cast<int32_t>(0x80000011u);

class IRichTextLog {
public:
    virtual ~IRichTextLog() = default;
    virtual QString Text() const = 0;
    virtual int32_t SelStart() const = 0;
    virtual void setSelStart(int32_t position) = 0;
    virtual int32_t SelLength() const = 0;
    virtual void setSelLength(int32_t length) = 0;
    // Replaces the selection with the text (rich or plain) and puts the caret behind it.
    virtual void setSelRTF(const QString& sText) = 0;
    // Colours the selection.
    virtual void setSelColor(int32_t color) = 0;
    virtual void Refresh() = 0;
};

struct LogLine {
    QString Text;
    int32_t Color = kColorBlack;
};

class PlainTextLog : public IRichTextLog {
public:
    QString Text() const override { return m_text; }
    int32_t SelStart() const override { return m_selStart; }
    void setSelStart(int32_t position) override;
    int32_t SelLength() const override { return m_selLength; }
    void setSelLength(int32_t length) override;
    void setSelRTF(const QString& sText) override;
    void setSelColor(int32_t color) override;
    void Refresh() override {}

    // The text split at line breaks (CRLF, LF or CR), each line with the colour of its first
    // character; empty lines keep the colour of the break before them.
    std::vector<LogLine> Lines() const;

private:
    QString m_text;
    std::vector<int32_t> m_colors; // one per character of m_text
    int32_t m_selStart = 0;
    int32_t m_selLength = 0;
};

} // namespace qldb
