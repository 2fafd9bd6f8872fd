#pragma once
// A qlConnection on the scripted doubles, open, with class start reading an empty product folder.
#include "connection/ql_connection.h"
#include "platform/tools/product_folders.h"
#include "support/scripted_connection.h"
#include "support/scripted_error_service.h"
#include "support/scripted_host_services.h"

#include <QTemporaryDir>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>

inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

namespace qldb::test {

inline const QString kLinkFailure = QStringLiteral("[Microsoft][ODBC Driver] Communication link failure");
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
        conn->setHostServices(host);
        conn->setErrors(errors);
        conn->setProductName(QStringLiteral("Mirando ERP"));
        use(true);
    }
    void TearDown() override { setProductRoot(QString()); }

    // A fresh scripted database, open or closed, under the same connection object.
    void use(bool open) {
        db = std::make_shared<ScriptedConnection>();
        db->setOpen(open);
        conn->setADODBConnection(db);
    }
    // The @stmt texts of the sp_executesql calls, in order.
    QStringList pieces() const {
        QStringList out;
        for (const Call& c : db->callsOf(CallKind::ExecuteCommand))
            out << c.Cmd.Parameters.at(0).Value.toString();
        return out;
    }
    // ErrorMode 3: database errors go back to the caller, general failures show the network box.
    void raiseMode() { errors->setErrorMode(kErrorModeRaise); }

    QTemporaryDir m_root;
    std::shared_ptr<ScriptedConnection> db;
    std::shared_ptr<ScriptedHostServices> host = std::make_shared<ScriptedHostServices>();
    std::shared_ptr<ScriptedErrorService> errors = std::make_shared<ScriptedErrorService>();
    std::unique_ptr<qlConnection> conn;
};

} // namespace qldb::test
