#pragma once
// A host connection, and a qlMsSqlSystem and the backup wizard's logic whose MSDB connection is a
// scripted one (msdb), so that what reaches the server reads back in order; settings of the test's
// own (root).
#include "dialogs/backup/backup_wizard_logic.h"
#include "platform/tools/configuration.h"
#include "platform/tools/product_folders.h"
#include "server/ql_mssql_system.h"
#include "support/live_servers.h"
#include "support/scripted_connection.h"

namespace qldb::test {

class MsSqlSystemTest : public ::testing::Test {
protected:
    void SetUp() override {
        conn->setADODBConnection(std::make_shared<ScriptedConnection>());
        conn->setHostServices(host);
        conn->setErrors(errors);
        conn->setProductName(QStringLiteral("Mirando ERP"));
        conn->setServer(QStringLiteral("SRV01"));
        conn->setUser(QStringLiteral("sa"));
        conn->setPassword(QStringLiteral("pw"));
        sys = NewSystem();
        ASSERT_TRUE(root.isValid());
        setProductRoot(root.path());
        wizard.Connection = conn.get();
        wizard.MsSqlSystemSource = [this] { return NewSystem(); };
        wizard.Clock = [] { return QDateTime(QDate(2024, 1, 31), QTime(9, 5, 7)); };
    }
    void TearDown() override { setProductRoot(QString()); }
    // Every qlMsSqlSystem of a test shares msdb, so one trace holds all their calls.
    std::unique_ptr<qlMsSqlSystem> NewSystem() {
        auto s = conn->MsSqlSystem();
        s->setConnectionFactory([this] { return msdb; });
        return s;
    }
    // sp_help_job answers with these jobs in the given status; a once answer is used up by its first call.
    void Jobs(const QStringList& names, int32_t status = 4, bool once = false) {
        std::vector<Row> rows;
        for (const QString& n : names)
            rows.push_back({n, status});
        msdb->respond("sp_help_job", ScriptedConnection::Table({"name", "current_execution_status"}, rows),
                      once);
    }
    // What reached MSDB in order: statements as sent, procedures as "name @param=value(size) ...",
    // the sp_help_job fetches of the guards only when asked for.
    QStringList Sent(bool withHelpJob = false) const {
        QStringList out;
        for (const Call& c : msdb->calls()) {
            if (c.Kind == CallKind::ExecuteCommand && (withHelpJob || c.Text != "sp_help_job")) {
                QString text = c.Text;
                for (const Parameter& p : c.Cmd.Parameters)
                    text += QStringLiteral(" %1=%2(%3)").arg(p.Name, p.Value.toString()).arg(p.Size);
                out << text;
            } else if (c.Kind == CallKind::Execute || c.Kind == CallKind::OpenRecordset) {
                out << c.Text;
            }
        }
        return out;
    }
    QStringList ReportedRoutines() const {
        QStringList out;
        for (const ReportedError& r : errors->reports())
            out << r.Class + QLatin1Char('.') + r.Routine;
        return out;
    }

    std::shared_ptr<ScriptedConnection> msdb = std::make_shared<ScriptedConnection>();
    std::shared_ptr<ScriptedHostServices> host = std::make_shared<ScriptedHostServices>();
    std::shared_ptr<ScriptedErrorService> errors = std::make_shared<ScriptedErrorService>();
    std::unique_ptr<qlConnection> conn = std::make_unique<qlConnection>();
    std::unique_ptr<qlMsSqlSystem> sys;
    QTemporaryDir root;
    BackupWizardLogic wizard; // the backup wizard's logic on the same MSDB, with a fixed clock
};

} // namespace qldb::test
