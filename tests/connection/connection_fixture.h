#pragma once
// A qlConnection wired to the scripted doubles: a connection that is open, host services that
// record, and an error service in the mode the test chooses. Class start reads its configuration
// from an empty product folder, so nothing of the machine's own settings leaks in.
#include "connection/ql_connection.h"
#include "platform/product_folders.h"
#include "support/scripted_connection.h"
#include "support/scripted_error_service.h"
#include "support/scripted_host_services.h"

#include <QTemporaryDir>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>

// Readable failure messages for texts.
inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

namespace qldb::test {

inline const QString kLinkFailure = QStringLiteral("[Microsoft][ODBC Driver] Communication link failure");
// How Raised() shows a general failure that the provider raised, up to its description.
inline const QString kProviderGeneral =
    QStringLiteral("-2147467259 Microsoft OLE DB Provider for ODBC Drivers: ");

// The error that a call raises, as "number source: description"; "none" when it raises nothing.
inline QString Raised(const std::function<void()>& call) {
    try {
        call();
    } catch (const qlException& e) {
        return QStringLiteral("%1 %2: %3").arg(e.number()).arg(e.record().Source, e.description());
    }
    return QStringLiteral("none");
}

class ConnectionTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_root.isValid());
        setProductRoot(m_root.path());
        conn = std::make_unique<qlConnection>();
        conn->setADODBConnection(db);
        conn->setHostServices(host);
        conn->setErrors(errors);
        conn->setProductName(QStringLiteral("Mirando ERP"));
        db->setOpen(true);
    }
    void TearDown() override { setProductRoot(QString()); }

    // ErrorMode 3: database errors go back to the caller, general failures show the network box.
    void raiseMode() { errors->setErrorMode(kErrorModeRaise); }

    QTemporaryDir m_root;
    std::shared_ptr<ScriptedConnection> db = std::make_shared<ScriptedConnection>();
    std::shared_ptr<ScriptedHostServices> host = std::make_shared<ScriptedHostServices>();
    std::shared_ptr<ScriptedErrorService> errors = std::make_shared<ScriptedErrorService>();
    std::unique_ptr<qlConnection> conn;
};

} // namespace qldb::test
