#pragma once
// What the library asks of the host's user interface: message boxes, the mouse pointer, yielding
// to pending events and sleeping. Headless hosts get HeadlessHostServices; the dialogs library
// installs a Qt one; tests install a scripted one.
#include <QString>
#include <cstdint>
#include <vector>

namespace qldb {

// Button sets, icons and answers keep the numbers hosts know.
enum class MsgButtons : int32_t {
    OK = 0,
    OKCancel = 1,
    AbortRetryIgnore = 2,
    YesNoCancel = 3,
    YesNo = 4,
    RetryCancel = 5
};
enum class MsgIcon : int32_t { None = 0, Critical = 16, Question = 32, Exclamation = 48, Information = 64 };
enum class MsgAnswer : int32_t { OK = 1, Cancel = 2, Abort = 3, Retry = 4, Ignore = 5, Yes = 6, No = 7 };

inline constexpr int32_t kPointerDefault = 0;
inline constexpr int32_t kPointerHourglass = 11;

class IHostServices {
public:
    virtual ~IHostServices() = default;
    virtual MsgAnswer MessageBox(const QString& sText, MsgButtons buttons, MsgIcon icon,
                                 const QString& sTitle) = 0;
    virtual int32_t MousePointer() const = 0;
    virtual void setMousePointer(int32_t pointer) = 0;
    // Lets the host's message loop run pending events (a Cancel button, a repaint).
    virtual void DoEvents() = 0;
    virtual void Sleep(int32_t milliseconds) = 0;
};

struct ShownMessage {
    QString Text;
    MsgButtons Buttons;
    MsgIcon Icon;
    QString Title;
};

// For hosts without a screen: message boxes are recorded and answered by a fixed policy (the
// first button's negative answer: Cancel, No, Abort, or OK for a lone OK), pending Qt events are
// processed when an application object exists, and sleeping really sleeps.
class HeadlessHostServices : public IHostServices {
public:
    MsgAnswer MessageBox(const QString& sText, MsgButtons buttons, MsgIcon icon,
                         const QString& sTitle) override;
    int32_t MousePointer() const override { return m_pointer; }
    void setMousePointer(int32_t pointer) override { m_pointer = pointer; }
    void DoEvents() override;
    void Sleep(int32_t milliseconds) override;

    const std::vector<ShownMessage>& messages() const { return m_messages; }

private:
    int32_t m_pointer = kPointerDefault;
    std::vector<ShownMessage> m_messages;
};

// The busy pointer for the length of a scope: remembers the pointer, shows the hourglass, and puts
// the remembered one back on every way out (or earlier, through restore()).
class BusyPointer {
public:
    explicit BusyPointer(IHostServices& host) : m_host(host), m_saved(host.MousePointer()) {
        m_host.setMousePointer(kPointerHourglass);
    }
    ~BusyPointer() { restore(); }
    BusyPointer(const BusyPointer&) = delete;
    BusyPointer& operator=(const BusyPointer&) = delete;

    void restore() {
        if (!m_restored) {
            m_host.setMousePointer(m_saved);
            m_restored = true;
        }
    }

private:
    IHostServices& m_host;
    int32_t m_saved;
    bool m_restored = false;
};

} // namespace qldb
