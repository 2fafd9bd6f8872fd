// Programmed backups in the wizard: the schedule of the frequency sheets, loading a job's schedule
// into them, changing and removing a programmed backup, and the summary of the last sheet.
#include "connection/ql_connection.h"
#include "dialogs/backup/backup_wizard_logic.h"
#include "dialogs/backup/wizard_support.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"
#include "platform/tools/sql_literal.h"

namespace qldb {

namespace {

const QString kModule = QStringLiteral("frmBackup");
const QString kCrLf = QStringLiteral("\r\n");

QString DailyLines(const backup::ScheduleSheets& s) {
    return kCrLf + QStringLiteral("Data di Avvio:") + s.txtStartDate + kCrLf +
           QStringLiteral("Ora di Avvio:") + s.txtTime[0] + kCrLf +
           (s.optEveryDaysParameter
                ? QStringLiteral("Ogni giorno")
                : QStringLiteral("Esegui ogni:") + s.txtDaysInterval + QStringLiteral(" giorni"));
}

// Every ticked day is followed by one blank, the last one too.
QString WeeklyLines(const backup::ScheduleSheets& s) {
    QString text = kCrLf + QStringLiteral("Ora di Avvio:") + s.txtTime[1] + kCrLf +
                   QStringLiteral("Esegui ogni:") + s.txtWeeksInterval + QStringLiteral(" settimana/e") +
                   kCrLf + QStringLiteral("Nei giorni:");
    for (int i = 0; i < backup::ScheduleSheets::kDays; ++i)
        if (s.chkDay[i] == 1)
            text += backup::ScheduleSheets::kDayCaptions[i] + QLatin1Char(' ');
    return text;
}

QString MonthlyLines(const backup::ScheduleSheets& s) {
    return kCrLf + QStringLiteral("Ora di Avvio:") + s.txtTime[2] + kCrLf +
           (s.optDay ? QStringLiteral("Nel giorno:") + s.txtDay
                     : QStringLiteral("Il/La:") + s.cmbRelativeInterval.Text() + QStringLiteral("  ") +
                           s.cmbDays.Text()) +
           kCrLf + QStringLiteral("Esegui ogni:") + s.txtMonthsInterval + QStringLiteral(" mesi/e");
}

} // namespace

QString BackupWizardLogic::GetBackup() {
    const QString choose = QStringLiteral("Scegli 'Fine' per ");
    using backup::Frequency;
    switch (optMenu) {
    case 1:
    case 2: {
        QString text = choose + QStringLiteral("effettuare il Restore del Database ") +
                       backup::FileStem(cmbFilesBak.Text());
        if (optMenu == 2)
            text += QStringLiteral(" nel nuovo DB ") + txtNewDatabase;
        return text;
    }
    case 3:
        return choose + QStringLiteral("uscire dal Wizard");
    case 4: {
        const QString head = choose + QStringLiteral("impostare le modifiche del Backup Programmato ");
        if (Sheets.optFrequency == Frequency::Daily)
            return head + QStringLiteral("Giornaliero") + DailyLines(Sheets);
        if (Sheets.optFrequency == Frequency::Weekly)
            return head + QStringLiteral("Settimanale") + WeeklyLines(Sheets);
        if (Sheets.optFrequency == Frequency::Monthly)
            return head + QStringLiteral("Mensile") + MonthlyLines(Sheets);
        return QString();
    }
    case 0: {
        if (optBackupTypes < 0 || optBackupTypes > 3)
            return QString();
        const QString head = choose + QStringLiteral("effettuare il ") + kBackupTypeCaptions[optBackupTypes];
        const QString db = lstDatabase.SelectedText();
        if (optBackupTypes == 0 || optBackupTypes == 2)
            return head + QStringLiteral(" del Database ") + db;
        if (Sheets.optFrequency == Frequency::Daily)
            return head + QStringLiteral(" giornaliero del Database ") + db + DailyLines(Sheets);
        if (Sheets.optFrequency == Frequency::Weekly)
            return head + QStringLiteral(" settimanale del Database ") + db + WeeklyLines(Sheets);
        if (Sheets.optFrequency == Frequency::Monthly)
            return head + QStringLiteral(" mensile del Database ") + db + MonthlyLines(Sheets);
        return QString();
    }
    default:
        return QString();
    }
}

backup::AgentSchedule BackupWizardLogic::SetSchedulingParameters() {
    return backup::SetSchedulingParameters(Sheets);
}

bool BackupWizardLogic::ProgrammedBackupInformation() {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule,
                   QStringLiteral("ProgrammedBackupInformation"));
    bool result = false;
    rule.run([&] {
        if (SelectedGridRow < 0 || SelectedGridRow >= static_cast<int32_t>(aGridRows.size()))
            throw qlException(kErrSubscript, kModule, QStringLiteral("Subscript out of range"));
        const QString job =
            ToText(aGridRows[SelectedGridRow][GridexColumnIndex(QStringLiteral("Job_name")) - 1]);
        auto sys = NewSystem();
        wizard::Terminating end{*sys};
        if (!sys->Initialize(Connection))
            return;
        auto rs = sys->HelpJobSchedule(job);
        if (!rs)
            return;
        // The frequency events must not put their defaults into the controls being loaded.
        bLoadingSchedule = true;
        struct Unflag {
            bool& Flag;
            ~Unflag() { Flag = false; }
        } unflag{bLoadingSchedule};
        backup::LoadSchedule(*rs, Sheets);
        rs->Close();
        result = true;
    });
    return result;
}

bool BackupWizardLogic::ModifyProgrammedBackup(const QString& sJob) {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule,
                   QStringLiteral("ModifyProgrammedBackup"));
    bool result = false;
    rule.run([&] {
        if (Connection == nullptr)
            ThrowObjectNotSet(kModule + QStringLiteral(".Connection"));
        BusyPointer busy(*Connection->HostServices());
        const backup::AgentSchedule s = backup::SetSchedulingParameters(Sheets);
        auto sys = NewSystem();
        wizard::Terminating end{*sys};
        if (!sys->Initialize(Connection))
            return;
        // Only the schedule changes: kind and database are in the step, and changing those means
        // removing the backup and making it anew.
        result = sys->UpdateJobSchedule(sJob, backup::kScheduleName, QString(), s.lFreqType, s.lFreqInterval,
                                        s.lFreqRelInterval, s.lRecurrenceFactor, s.lActiveStartDate,
                                        s.lActiveStartTime);
        lblEnd = QStringLiteral("Operazione completata!Scegli 'Fine' per uscire.");
    });
    return result;
}

bool BackupWizardLogic::RemoveBackup(const QString& sJob) {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule, QStringLiteral("RemoveBackup"));
    bool result = false;
    rule.run([&] {
        if (Connection == nullptr)
            ThrowObjectNotSet(kModule + QStringLiteral(".Connection"));
        BusyPointer busy(*Connection->HostServices());
        auto sys = NewSystem();
        wizard::Terminating end{*sys};
        if (!sys->Initialize(Connection))
            return;
        auto rs = sys->HelpJob();
        if (!rs)
            ThrowObjectNotSet(kModule + QStringLiteral(".RemoveBackup"));
        rs->setFilter(QStringLiteral("name=") +
                      FormatSqlValue(sJob, ql_eDataType::TypeVarChar, ql_eProviderType::SQLServer));
        // A job that vanished since the listing fails on this read, and that is reported.
        const int32_t nextRun = ToLong(rs->Value(QStringLiteral("next_run_date")));
        // A programmed job keeps its schedule: DeleteJobSchedule refuses on a live connection, so
        // it is never removed here. Only history jobs are deleted.
        if (nextRun != 0 && !sys->DeleteJobSchedule(sJob, backup::kScheduleName)) {
            rs->Close();
            return;
        }
        result = sys->DeleteJob(sJob);
        rs->Close();
    });
    return result;
}

} // namespace qldb
