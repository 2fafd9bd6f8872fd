// Table alteration in one transaction: the column scripts that rename, copy and drop, which must
// not stop half way and leave the column under its temporary name.
#include "platform/errors/error_rule.h"
#include "platform/host/host_services.h"
#include "sql/ql_query_constructor.h"
#include "structure/ql_database.h"

namespace qldb {

bool qlDatabase::TranAlterTable(const QString& sScript) {
    qlConnection& conn = connection();
    IHostServices& hostServices = host();
    BusyPointer busy(hostServices);
    ErrorRule rule(ErrorKind::Report, m_errors.get(), QStringLiteral("qlDatabase"),
                   QStringLiteral("TranAlterTable"));
    // The user answers the error box with the normal pointer; the work goes on under the hourglass.
    rule.setBeforeDecision([&] { hostServices.setMousePointer(kPointerDefault); });
    rule.setAfterDecision([&] { hostServices.setMousePointer(kPointerHourglass); });
    const auto transactionLine = [&](const char* text) {
        AddRTFText(QString::fromLatin1(text), false, QString(), true, true);
    };

    bool bError = false;
    bool inProgress = false;
    const bool completed = [&] {
        if (!rule.run([&] { conn.BeginTrans(VB_TRUE, QString()); }))
            return false;
        transactionLine("(BEGIN TRANSACTION)");
        inProgress = true;
        for (const QString& piece : sScript.split(kAlterSeparator)) {
            QString sError;
            // A statement that fails is a logged line that ends the script, also for a host that
            // asks the connection for raised errors.
            if (!rule.run([&] {
                    try {
                        conn.ExecuteCommand(piece, &bError, &sError, false);
                    } catch (const qlException& e) {
                        bError = true;
                        sError = e.description();
                    }
                }))
                return false;
            AddRTFText(piece, bError, sError);
            if (bError)
                break;
        }
        inProgress = false;
        if (bError) {
            if (!rule.run([&] { conn.RollbackTrans(VB_TRUE, QString()); }))
                return false;
            transactionLine("(ROLLBACK TRANSACTION)");
        } else {
            if (!rule.run([&] { conn.CommitTrans(VB_TRUE, QString()); }))
                return false;
            transactionLine("(COMMIT TRANSACTION)");
        }
        return true;
    }();

    // Left after an error with the transaction open: nothing of the script may stay.
    if (inProgress) {
        rule.tolerate([&] { conn.RollbackTrans(VB_TRUE, QString()); });
        transactionLine("(ROLLBACK TRANSACTION)");
        bError = true;
    }
    return completed && !bError;
}

} // namespace qldb
