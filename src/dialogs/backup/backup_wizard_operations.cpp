// Backups and restores of the wizard. None runs on a connection directly: each becomes a one-step
// SQL Server Agent job in MSDB; an immediate one is started at once and followed through its output
// file, a programmed one gets a schedule and stops there.
#include "connection/ql_connection.h"
#include "dialogs/backup/backup_wizard_logic.h"
#include "dialogs/backup/wizard_support.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"
#include "platform/tools/sql_literal.h"

namespace qldb {

namespace {

const QString kModule = QStringLiteral("frmBackup");
const QString kInProgress = QStringLiteral("Operazione in corso...");
const QString kCompleted = QStringLiteral("Operazione completata!Scegli 'Fine' per uscire.");

qlConnection& Require(qlConnection* cn) {
    if (cn == nullptr)
        ThrowObjectNotSet(kModule + QStringLiteral(".Connection"));
    return *cn;
}

bool IsSystemDatabase(const QString& sName) {
    return sName == QLatin1String("master") || sName == QLatin1String("msdb") ||
           sName == QLatin1String("model") || sName == QLatin1String("tempdb");
}

// The job of a backup or a restore on the server: the job, its one T-SQL step and its server, in
// that order, each stopping the chain when it fails and leaving what was done in place. A restore
// step names no database: the job must not hold the database it restores.
bool AddJobWithStep(qlMsSqlSystem& sys, const backup::JobDefinition& job, const QString& sOwner,
                    const QString& sServer, const QString& sStepDatabase) {
    return sys.AddJob(job.JobName, ql_eMsSqlJobStatus::eMsSqlEnabled, job.Description, sOwner,
                      ql_eMsSqlCategoryValues::eMsSqlDatabaseMaintenance, false) &&
           sys.AddJobStep(job.JobName, job.Statement, job.StepName, ql_eMsSqlSubSystemValues::eMsSqlTSQL,
                          sServer, sStepDatabase,
                          ql_eMsSqlOnSuccessAction::eMsSqlEsecuzionePassaggioSuccessivo,
                          backup::kRetryAttempts, backup::kRetryInterval, backup::OutputFilePath()) &&
           sys.AddJobServer(job.JobName, sServer);
}

} // namespace

QString DatabaseList::SelectedText() const {
    return SelectedItem >= 0 && SelectedItem < Items.size() ? Items[SelectedItem] : QString();
}

std::unique_ptr<qlMsSqlSystem> BackupWizardLogic::NewSystem() const {
    if (MsSqlSystemSource)
        return MsSqlSystemSource();
    return Require(Connection).MsSqlSystem();
}

QString BackupWizardLogic::Now() const {
    return backup::Timestamp(Clock ? Clock() : QDateTime::currentDateTime());
}

void BackupWizardLogic::ShowProgress() {
    ProgressBarVisible = true;
    ProgressBarValue = 0;
    lblEnd = kInProgress;
}

bool BackupWizardLogic::AddDatabase() {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule, QStringLiteral("AddDatabase"));
    bool result = false;
    rule.run([&] {
        auto sys = NewSystem();
        wizard::Terminating end{*sys};
        if (!sys->Initialize(Connection))
            return;
        auto rs = sys->GetDatabases();
        if (rs) {
            lstDatabase = DatabaseList{{QStringLiteral("Database")}, {2400}, {}, -1};
            for (; !rs->IsEOF(); rs->MoveNext()) {
                const QString name = ToText(rs->Value(QStringLiteral("DATABASE_NAME")));
                if (!IsSystemDatabase(name))
                    lstDatabase.Items << name;
            }
        }
        result = true;
    });
    return result;
}

bool BackupWizardLogic::Backup() {
    if (optBackupTypes == 0 || optBackupTypes == 2) {
        ShowProgress();
        return ExecuteImmediateBackup();
    }
    return ProgrammingBackup();
}

bool BackupWizardLogic::ExecuteImmediateBackup() {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule,
                   QStringLiteral("ExecuteImmediateBackup"));
    bool result = false;
    rule.run([&] {
        auto sys = NewSystem();
        wizard::Terminating end{*sys};
        if (!sys->Initialize(Connection))
            return;
        const QString owner = Connection->User();
        const QString server = Connection->Server();
        const QString db = lstDatabase.SelectedText();
        const bool full = optBackupTypes == 0;
        // A differential backup is short: its progress is looked at more often.
        tmrParseInterval = full ? 2000 : 500;
        const backup::JobDefinition job =
            full ? backup::FullBackupJob(db, Now()) : backup::DifferentialBackupJob(db, Now());
        if (!AddJobWithStep(*sys, job, owner, server, db))
            return;
        if (!sys->StartJob(job.JobName, false).toBool())
            return;
        result = true;
        tmrParseEnabled = true;
    });
    return result;
}

bool BackupWizardLogic::ProgrammingBackup() {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule,
                   QStringLiteral("ProgrammingBackup"));
    bool result = false;
    rule.run([&] {
        // The schedule is read before anything is created: a sheet that cannot be read leaves MSDB alone.
        const backup::AgentSchedule s = backup::SetSchedulingParameters(Sheets);
        auto sys = NewSystem();
        wizard::Terminating end{*sys};
        if (!sys->Initialize(Connection))
            return;
        const QString owner = Connection->User();
        const QString server = Connection->Server();
        const QString db = lstDatabase.SelectedText();
        const backup::JobDefinition job =
            optBackupTypes == 1 ? backup::FullBackupJob(db, Now()) : backup::DifferentialBackupJob(db, Now());
        if (!AddJobWithStep(*sys, job, owner, server, db))
            return;
        if (!sys->AddJobSchedule(job.JobName, backup::kScheduleName, s.lFreqType, s.lFreqInterval,
                                 s.lFreqRelInterval, s.lRecurrenceFactor, s.lActiveStartDate,
                                 s.lActiveStartTime))
            return;
        result = true;
        lblEnd = kCompleted;
    });
    return result;
}

bool BackupWizardLogic::Restore() {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule, QStringLiteral("Restore"));
    bool result = false;
    rule.run([&] {
        IHostServices& host = *Require(Connection).HostServices();
        BusyPointer busy(host);
        cmdPreviousEnabled = cmdNextEnabled = cmdEndEnabled = false;
        if (optMenu == 1) {
            ShowProgress();
            result = ExecuteRestore(cmbFilesBak.Text());
            return;
        }
        const QString name = txtNewDatabase;
        if (!DatabaseAlreadyExisting(name)) {
            ShowProgress();
            result = RestoreIntoNewDatabase(cmbFilesBak.Text());
            return;
        }
        const MsgAnswer answer =
            host.MessageBox(QStringLiteral("Il Database ") + name +
                                QStringLiteral(" Esiste già.Se prosegui perderai tutti i "
                                               "dati.Proseguire?"),
                            MsgButtons::YesNo, MsgIcon::Exclamation, Connection->ProductName());
        if (answer == MsgAnswer::Yes) {
            ShowProgress();
            result = RestoreIntoDatabaseExisting(cmbFilesBak.Text());
            return;
        }
        // The user stays in the wizard to choose again: nothing started, nothing failed.
        result = true;
        cmdPreviousEnabled = cmdEndEnabled = true;
        bOperationDone = false;
    });
    return result;
}

bool BackupWizardLogic::RunRestoreJob(const QString& sRoutine, const backup::JobDefinition& job,
                                      const QString& sSingleUser) {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule, sRoutine);
    bool result = false;
    tmrParseInterval = 2000;
    rule.run([&] {
        auto sys = NewSystem();
        wizard::Terminating end{*sys};
        if (!sys->Initialize(Connection))
            return;
        const QString server = Connection->Server();
        if (!sSingleUser.isEmpty() && !sys->DisconnectUser(sSingleUser))
            return;
        if (!AddJobWithStep(*sys, job, Connection->User(), server, QString()))
            return;
        if (!sys->StartJob(job.JobName, false).toBool())
            return;
        // Back to multi-user as soon as the job has started: the job itself holds the database
        // from here on.
        if (!sSingleUser.isEmpty() && !sys->ConnectUser(sSingleUser))
            return;
        result = true;
        tmrParseEnabled = true;
    });
    return result;
}

bool BackupWizardLogic::ExecuteRestore(const QVariant& sFile) {
    const QString file = ToText(sFile);
    return RunRestoreJob(QStringLiteral("ExecuteRestore"), backup::RestoreJob(file, Now()),
                         backup::FileStem(file));
}

bool BackupWizardLogic::RestoreIntoDatabaseExisting(const QString& sFile) {
    QString data, log;
    if (!GetFilesList(sFile, data, log))
        return false;
    return RunRestoreJob(QStringLiteral("RestoreIntoDatabaseExisting"),
                         backup::RestoreAsJob(sFile, txtNewDatabase, data, log, true, Now()), txtNewDatabase);
}

bool BackupWizardLogic::RestoreIntoNewDatabase(const QString& sFile) {
    QString data, log;
    if (!GetFilesList(sFile, data, log))
        return false;
    // Nobody can be using a database that does not exist yet: no single-user switch.
    return RunRestoreJob(QStringLiteral("RestoreIntoNewDatabase"),
                         backup::RestoreAsJob(sFile, txtNewDatabase, data, log, false, Now()), QString());
}

bool BackupWizardLogic::GetFilesList(const QString& sFile, QString& sLogicalData, QString& sLogicalLog) {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule, QStringLiteral("GetFilesList"));
    bool result = false;
    rule.run([&] {
        auto sys = NewSystem();
        wizard::Terminating end{*sys};
        if (!sys->Initialize(Connection))
            return;
        auto rs = sys->RestoreFileListOnly(backup::kServerBackupFolder + sFile);
        if (!rs)
            return;
        // By position: the first file of the backup is the data, the second the log. A backup of
        // one file fails on the second read.
        sLogicalData = ToText(rs->Value(QStringLiteral("LogicalName")));
        rs->MoveNext();
        sLogicalLog = ToText(rs->Value(QStringLiteral("LogicalName")));
        rs->Close();
        result = true;
    });
    return result;
}

bool BackupWizardLogic::DatabaseAlreadyExisting(const QVariant& sName) {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule,
                   QStringLiteral("DatabaseAlreadyExisting"));
    bool result = false;
    rule.run([&] {
        auto sys = NewSystem();
        wizard::Terminating end{*sys};
        if (!sys->Initialize(Connection))
            return;
        auto rs = sys->GetDatabases();
        if (!rs)
            ThrowObjectNotSet(kModule + QStringLiteral(".DatabaseAlreadyExisting"));
        rs->setFilter(QStringLiteral("DATABASE_NAME=") +
                      FormatSqlValue(sName, ql_eDataType::TypeVarChar, ql_eProviderType::SQLServer));
        result = !rs->IsEOF();
        rs->Close();
    });
    return result;
}

} // namespace qldb
