#pragma once
// The progress bar and the caption label that a host hands to long operations. Both are late-bound
// objects on the host's side: the dialogs library adapts its widgets, the command-line tool draws on
// the terminal, and a routine handed none of them simply shows nothing.
#include <QString>

namespace qldb {

class IProgressBar {
public:
    virtual ~IProgressBar() = default;
    // The bar's position; fractions are kept so that a bar can start just above 0.
    virtual double Value() const = 0;
    virtual void setValue(double value) = 0;
    virtual double Max() const = 0;
    virtual void setMax(double value) = 0;
    virtual bool Visible() const = 0;
    virtual void setVisible(bool visible) = 0;
};

class ILabel {
public:
    virtual ~ILabel() = default;
    virtual QString Caption() const = 0;
    virtual void setCaption(const QString& sCaption) = 0;
};

} // namespace qldb
