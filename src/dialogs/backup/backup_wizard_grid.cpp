// The two job grids of the wizard (the history, and the programmed backups) and the texts of their
// columns. Both walk every job of sp_help_job and keep those of the maintenance category: jobs
// with a next run are programmed backups, the others history.
#include "connection/ql_connection.h"
#include "dialogs/backup/backup_wizard_logic.h"
#include "dialogs/backup/wizard_support.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"

namespace qldb {

namespace {
const QString kModule = QStringLiteral("frmBackup");
}

const std::array<QString, 5> BackupWizardLogic::kMenuCaptions = {
    QStringLiteral("Backup Guidato"), QStringLiteral("Restore Database"),
    QStringLiteral("Restore in Nuovo Database"), QStringLiteral("Storico"),
    QStringLiteral("Backup Programmati")};
const std::array<QString, 4> BackupWizardLogic::kBackupTypeCaptions = {
    QStringLiteral("Backup Completo Immediato"), QStringLiteral("Backup Completo Programmato"),
    QStringLiteral("Backup Differenziale Immediato"), QStringLiteral("Backup Differenziale Programmato")};
const std::array<QString, BackupWizardLogic::kGridColumns> BackupWizardLogic::kGridColumnKeys = {
    QStringLiteral("Type"),
    QStringLiteral("Database_name"),
    QStringLiteral("Originating_server"),
    QStringLiteral("Date_created"),
    QStringLiteral("Next_run_date"),
    QStringLiteral("Next_run_time"),
    QStringLiteral("Last_run_date"),
    QStringLiteral("Last_run_time"),
    QStringLiteral("Date_modified"),
    QStringLiteral("Last_run_outcome"),
    QStringLiteral("Owner"),
    QStringLiteral("Job_name")};

int32_t BackupWizardLogic::GridexColumnIndex(const QString& sKey) {
    for (int i = 0; i < kGridColumns; ++i)
        if (kGridColumnKeys[i] == sKey)
            return i + 1;
    return 0;
}

QString BackupWizardLogic::GetBackupType(const QString& sJobName) {
    if (sJobName.isEmpty())
        return QString();
    if (sJobName.contains(QLatin1String("Full")))
        return QStringLiteral("Backup Completo");
    if (sJobName.contains(QLatin1String("Diff")))
        return QStringLiteral("Backup Differenziale");
    if (sJobName.contains(QLatin1String("Restore")))
        return QStringLiteral("Restore");
    return QStringLiteral("Manutenzione");
}

QString BackupWizardLogic::GetStatus(const QVariant& vLastRunOutcome) {
    if (IsNullOrEmpty(vLastRunOutcome))
        return QString();
    switch (ToLong(vLastRunOutcome)) {
    case 0:
        return QStringLiteral("Incompleto");
    case 1:
        return QStringLiteral("Completato");
    case 3:
        return QStringLiteral("Annullato");
    case 5:
        return QStringLiteral("Sconosciuto");
    default:
        return QString();
    }
}

QString BackupWizardLogic::SearchDatabase(const QString& sJobName) {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule,
                   QStringLiteral("SearchDatabase"));
    QString result;
    rule.run([&] {
        auto sys = NewSystem();
        if (sys->Initialize(Connection))
            result = SearchDatabase(sJobName, *sys);
        sys->Terminate();
    });
    return result;
}

QString BackupWizardLogic::SearchDatabase(const QString& sJobName, qlMsSqlSystem& sys) {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule,
                   QStringLiteral("SearchDatabase"));
    QString result;
    rule.run([&] {
        auto rs = sys.HelpJobStep(sJobName);
        if (!rs)
            ThrowObjectNotSet(kModule + QStringLiteral(".SearchDatabase"));
        if (sJobName.contains(QLatin1String("Backup"))) {
            result = ToText(rs->Value(QStringLiteral("database_name")));
        } else if (sJobName.contains(QLatin1String("Restore"))) {
            // A restore's step runs on no database; its name says which: "Restore_" + database.
            const QString step = ToText(rs->Value(QStringLiteral("step_name")));
            result = step.mid(step.indexOf(QLatin1Char('_')) + 1);
        } else {
            result = ToText(rs->Value(QStringLiteral("database_name")));
        }
        rs->Close();
    });
    return result;
}

void BackupWizardLogic::SetFields(Recordset& rs) {
    auto sys = NewSystem();
    // Without the connection the database column stays empty, after the job test's report.
    sys->Initialize(Connection);
    SetFields(rs, *sys);
    sys->Terminate();
}

void BackupWizardLogic::SetFields(Recordset& rs, qlMsSqlSystem& sys) {
    const QString name = ToText(rs.Value(QStringLiteral("name")));
    GridRow row;
    row[0] = GetBackupType(name);
    row[1] = SearchDatabase(name, sys);
    row[2] = rs.Value(QStringLiteral("originating_server"));
    row[3] = rs.Value(QStringLiteral("date_created"));
    row[4] = backup::CreateDate(ToText(rs.Value(QStringLiteral("next_run_date"))));
    row[5] = backup::CreateTime(ToText(rs.Value(QStringLiteral("next_run_time"))));
    row[6] = backup::CreateDate(ToText(rs.Value(QStringLiteral("last_run_date"))));
    row[7] = backup::CreateTime(ToText(rs.Value(QStringLiteral("last_run_time"))));
    row[8] = rs.Value(QStringLiteral("date_modified"));
    row[9] = GetStatus(rs.Value(QStringLiteral("last_run_outcome")));
    row[10] = rs.Value(QStringLiteral("owner"));
    row[11] = name;
    aGridRows.push_back(row);
}

bool BackupWizardLogic::FillGrid(const QString& sRoutine, bool bProgrammed) {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule, sRoutine);
    bool result = false;
    aGridRows.clear();
    SelectedGridRow = -1;
    rule.run([&] {
        auto sys = NewSystem();
        wizard::Terminating end{*sys};
        if (!sys->Initialize(Connection))
            return;
        auto rs = sys->HelpJob();
        if (!rs)
            ThrowObjectNotSet(kModule + QLatin1Char('.') + sRoutine);
        for (; !rs->IsEOF(); rs->MoveNext()) {
            if (ToText(rs->Value(QStringLiteral("category"))) != backup::kCategoryMaintenance)
                continue;
            if ((ToLong(rs->Value(QStringLiteral("next_run_date"))) != 0) == bProgrammed)
                SetFields(*rs, *sys);
        }
        rs->Close();
        if (!aGridRows.empty())
            SelectedGridRow = 0;
        result = true;
    });
    return result;
}

bool BackupWizardLogic::GetAllBackupState() {
    return FillGrid(QStringLiteral("GetAllBackupState"), false);
}

bool BackupWizardLogic::GetProgrammedBackupState() {
    return FillGrid(QStringLiteral("GetProgrammedBackupState"), true);
}

} // namespace qldb
