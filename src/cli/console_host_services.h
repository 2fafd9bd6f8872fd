#pragma once
#include "platform/host/host_services.h"

namespace qldb::cli {

// Host services for a terminal: a message box is written to standard error and answered with its
// cancelling button, since nobody is there to press Retry; sleeping really sleeps.
class ConsoleHostServices : public HeadlessHostServices {
public:
    MsgAnswer MessageBox(const QString& sText, MsgButtons buttons, MsgIcon icon,
                         const QString& sTitle) override;
};

} // namespace qldb::cli
