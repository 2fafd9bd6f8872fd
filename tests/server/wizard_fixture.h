#pragma once
// The backup wizard's logic on the scripted MSDB connection of MsSqlSystemTest, with a fixed clock.
#include "dialogs/backup/backup_wizard_logic.h"
#include "mssql_fixture.h"

namespace qldb::test {

class WizardTest : public MsSqlSystemTest {
protected:
    void SetUp() override {
        MsSqlSystemTest::SetUp();
        wizard.Connection = conn.get();
        wizard.MsSqlSystemSource = [this] { return NewSystem(); };
        wizard.Clock = [] { return QDateTime(QDate(2024, 1, 31), QTime(9, 5, 7)); };
    }

    // What reached the server, in order: statements as sent, procedures as Procedures() writes
    // them, without the sp_help_job fetches of the guards.
    QStringList Sent() const {
        QStringList out;
        const QStringList procedures = Procedures();
        int p = 0;
        for (const Call& c : msdb->calls()) {
            if (c.Kind == CallKind::ExecuteCommand) {
                if (c.Text != QLatin1String("sp_help_job"))
                    out << procedures[p];
                ++p;
            } else if (c.Kind == CallKind::Execute || c.Kind == CallKind::OpenRecordset) {
                out << c.Text;
            }
        }
        return out;
    }
    void Databases(const QStringList& names) {
        std::vector<Row> rows;
        for (const QString& n : names)
            rows.push_back({n, 1024, QVariant()});
        msdb->respond("sp_databases",
                      ScriptedConnection::Table({"DATABASE_NAME", "DATABASE_SIZE", "REMARKS"}, rows));
    }
    // The job is unknown to AddJob's test and known (idle) from then on.
    void NewJobThenIdle(const QString& sJob) {
        Jobs({}, true);
        Jobs({{sJob}});
    }

    BackupWizardLogic wizard;
};

} // namespace qldb::test
