#pragma once
// A progress bar with the caption of the object at work, drawn on one line of standard error. It
// draws only when standard error is a terminal, so logs and pipes stay clean.
#include "platform/host/progress_objects.h"

#include <QString>

namespace qldb::cli {

class TerminalProgress : public IProgressBar, public ILabel {
public:
    // Draws only when bEnabled (normally: standard error is a terminal).
    explicit TerminalProgress(bool bEnabled) : m_enabled(bEnabled) {}
    ~TerminalProgress() override;

    double Value() const override { return m_value; }
    void setValue(double value) override;
    double Max() const override { return m_max; }
    void setMax(double value) override;
    bool Visible() const override { return m_visible; }
    void setVisible(bool visible) override;
    QString Caption() const override { return m_caption; }
    void setCaption(const QString& sCaption) override;

    // Clears the line, so that other output starts on a clean one.
    void clear();

private:
    void draw();

    bool m_enabled;
    double m_value = 0;
    double m_max = 0;
    bool m_visible = true;
    QString m_caption;
    bool m_drawn = false;
};

} // namespace qldb::cli
