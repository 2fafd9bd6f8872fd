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
#include <gtest/gtest.h>
#include <memory>
#include <ostream>

// Readable failure messages for texts.
inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

namespace qldb::test {

inline const QString kLinkFailure = QStringLiteral("[Microsoft][ODBC Driver] Communication link failure");
inline const QString kDeadlockVictim = QStringLiteral(
    "Transaction (Process ID 53) was deadlocked on lock resources with another process and has "
    "been chosen as the deadlock victim. Rerun the transaction.");

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
