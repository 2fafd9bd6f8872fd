// What the wizard reads from the server's backup folder as the client sees it: the backup files to
// restore from, and the output file of the running job, polled by the progress timer.
#include "connection/ql_connection.h"
#include "dialogs/backup/backup_wizard_logic.h"
#include "dialogs/backup/wizard_support.h"
#include "platform/errors/error_rule.h"
#include "server/backup_folder.h"
#include "server/backup_progress.h"
#include "server/file_type_descriptions.h"

namespace qldb {

namespace {
const QString kModule = QStringLiteral("frmBackup");
}

bool BackupWizardLogic::AddFilesBak() {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule, QStringLiteral("AddFilesBak"));
    bool result = false;
    cmbFilesBak = backup::ListChoice{};
    rule.run([&] {
        if (Connection == nullptr)
            ThrowObjectNotSet(kModule + QStringLiteral(".Connection"));
        // The type, not the extension, decides, as the folder's file list has always told them apart.
        for (const QString& name : BackupFolderOfServer(Connection->Server()).FileNames())
            if (FileTypeDescription(name) == QLatin1String("File BAK"))
                cmbFilesBak.Items.push_back({name, 0});
        if (!cmbFilesBak.Items.empty())
            cmbFilesBak.ListIndex = 0;
        result = true;
    });
    return result;
}

void BackupWizardLogic::tmrParse_Timer() {
    ErrorRule rule(ErrorKind::Report, wizard::ErrorsOf(Connection), kModule,
                   QStringLiteral("tmrParse_Timer"));
    // An unreadable file or line is reported and the timer stays on: the next tick tries again.
    rule.run([&] {
        if (Connection == nullptr)
            ThrowObjectNotSet(kModule + QStringLiteral(".Connection"));
        const QByteArray content =
            BackupFolderOfServer(Connection->Server()).ReadFile(backup::kOutputFileName);
        const backup::ProgressReading reading = backup::ReadProgress(QString::fromLocal8Bit(content));
        for (const int32_t value : reading.Values) {
            ProgressBarValue = value;
            if (value != 100)
                continue;
            // A line at 100 ends the poll, even if the job still writes.
            tmrParseEnabled = false;
            lblEnd = QStringLiteral("Operazione completata!Scegli 'Fine' per uscire.");
            ProgressBarVisible = false;
            // A backup keeps cmdEnd enabled on its own; a restore disabled both buttons.
            if (optMenu == 1 || optMenu == 2)
                cmdEndEnabled = cmdPreviousEnabled = true;
        }
        if (reading.Error)
            throw qlException(*reading.Error);
    });
}

} // namespace qldb
