#pragma once
// A command to run through a connection: text or stored procedure, timeout and parameters.
#include "platform/odbc/ado_types.h"

#include <QString>
#include <QVariant>
#include <cstdint>
#include <vector>

namespace qldb {

struct Parameter {
    QString Name;
    int32_t Type = ado::adEmpty;
    int32_t Direction = ado::adParamInput;
    int32_t Size = 0;
    QVariant Value;
};

struct Command {
    QString CommandText;
    int32_t CommandType = ado::adCmdText;
    // Seconds; 0 waits without limit.
    int32_t CommandTimeout = 30;
    bool NamedParameters = false;
    std::vector<Parameter> Parameters;
};

} // namespace qldb
