#pragma once
// Late-bound host objects for tests: each records what the library did to it, in order.
#include "platform/host/progress_objects.h"
#include "platform/host/rich_text_log.h"

#include <QString>
#include <QStringList>

namespace qldb::test {

// "Max=10", "Value=1", "Visible=1", in order.
class RecordingProgressBar : public IProgressBar {
public:
    double Value() const override { return m_value; }
    void setValue(double value) override {
        m_value = value;
        calls << QStringLiteral("Value=%1").arg(value);
    }
    double Max() const override { return m_max; }
    void setMax(double value) override {
        m_max = value;
        calls << QStringLiteral("Max=%1").arg(value);
    }
    bool Visible() const override { return m_visible; }
    void setVisible(bool visible) override {
        m_visible = visible;
        calls << QStringLiteral("Visible=%1").arg(visible ? 1 : 0);
    }
    QStringList calls;

private:
    double m_value = 0;
    double m_max = 100;
    bool m_visible = true;
};

class RecordingLabel : public ILabel {
public:
    QString Caption() const override { return captions.isEmpty() ? QString() : captions.last(); }
    void setCaption(const QString& sCaption) override { captions << sCaption; }
    QStringList captions;
};

// A plain-text log that also records the calls made on it: "SelStart=0", "SelLength=0",
// "SelRTF=<text>", "SelColor=255", "Refresh".
class RecordingRichTextLog : public PlainTextLog {
public:
    void setSelStart(int32_t position) override {
        calls << QStringLiteral("SelStart=%1").arg(position);
        PlainTextLog::setSelStart(position);
    }
    void setSelLength(int32_t length) override {
        calls << QStringLiteral("SelLength=%1").arg(length);
        PlainTextLog::setSelLength(length);
    }
    void setSelRTF(const QString& sText) override {
        calls << QStringLiteral("SelRTF=") + sText;
        PlainTextLog::setSelRTF(sText);
    }
    void setSelColor(int32_t color) override {
        calls << QStringLiteral("SelColor=%1").arg(color);
        PlainTextLog::setSelColor(color);
    }
    void Refresh() override { calls << QStringLiteral("Refresh"); }
    QStringList calls;
};

} // namespace qldb::test
