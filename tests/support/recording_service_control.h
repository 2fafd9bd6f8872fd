#pragma once
// A service control for tests: it records the commands and runs nothing.
#include "platform/host/service_control.h"

namespace qldb::test {

class RecordingServiceControl : public IServiceControl {
public:
    void Run(const QString& sCommand) override { commands << sCommand; }
    QStringList commands;
};

} // namespace qldb::test
