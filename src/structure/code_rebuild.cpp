// Recompiling the views or the functions of the database from the database's own text.
#include "platform/errors/error_rule.h"
#include "sql/ql_query_constructor.h"
#include "structure/object_matching.h"
#include "structure/ql_database.h"

namespace qldb {

bool qlDatabase::RebuildDBViews(const QString& sViewsName, IProgressBar* objProgressbar, bool bShowWarnings) {
    return RebuildCodeObjects(true, sViewsName, objProgressbar, bShowWarnings);
}

bool qlDatabase::RebuildDBFunctions(IProgressBar* objProgressbar, bool bShowWarnings) {
    return RebuildCodeObjects(false, QString(), objProgressbar, bShowWarnings);
}

bool qlDatabase::RebuildCodeObjects(bool bViews, const QString& sViewsName, IProgressBar* objProgressbar,
                                    bool bShowWarnings) {
    static const QString kTitle = QStringLiteral("Tavoleno Mirando");
    IHostServices& services = host();
    BusyPointer busy(services);
    ErrorRule rule(ErrorKind::Report, m_errors.get(), QStringLiteral("qlDatabase"),
                   bViews ? QStringLiteral("RebuildDBViews") : QStringLiteral("RebuildDBFunctions"));
    rule.setAfterDecision([&] { services.setMousePointer(kPointerHourglass); });

    QString question = QStringLiteral("Ricreare tutte le funzioni?");
    if (bViews)
        question = sViewsName.isEmpty() ? QStringLiteral("Ricreare tutte le viste?")
                                        : QStringLiteral("Ricreare le viste?");
    if (bShowWarnings) {
        services.setMousePointer(kPointerDefault);
        if (services.MessageBox(question, MsgButtons::YesNo, MsgIcon::Exclamation, kTitle) != MsgAnswer::Yes)
            return false;
        services.setMousePointer(kPointerHourglass);
    }

    qlConnection& conn = connection();
    bool inTransaction = false;
    const auto leave = [&] {
        if (inTransaction)
            rule.tolerate([&] { conn.RollbackTrans(VB_TRUE, QString()); });
        if (objProgressbar != nullptr)
            objProgressbar->setVisible(false);
        return false;
    };

    errors().setErrorCount(0);
    QStringList list;
    if (!rule.run([&] {
            list = bViews ? SplitList(conn.GetViews(sViewsName, QString(QChar(1))), QString(QChar(1)))
                          : SplitList(conn.GetFunctions(), QStringLiteral("|"));
        }))
        return leave();
    if (objProgressbar != nullptr) {
        objProgressbar->setValue(0);
        objProgressbar->setMax(list.size());
        objProgressbar->setVisible(true);
    }

    qlQueryConstructor query;
    query.setProviderType(conn.ProviderType());
    bool ok = true;
    for (const QString& name : list) {
        bool dropError = false;
        bool createError = false;
        const bool goOn = rule.run([&] {
            // A repeat after a failure inside the block starts the object afresh.
            if (inTransaction) {
                conn.RollbackTrans(VB_TRUE, QString());
                inTransaction = false;
            }
            conn.BeginTrans(VB_TRUE, QString());
            inTransaction = true;
            query.Reset();
            if (bViews)
                query.setSetViewName(name);
            else
                query.setFunctionName(name);
            // The text is read before the drop: once the object is dropped inside this transaction,
            // the same connection would find no text to create it again from.
            const QString code = conn.GetFunctionCode(name);
            conn.Execute(query.MakeQuery(bViews ? ql_eQueryType::DropView : ql_eQueryType::DropFunction,
                                         ql_eAlterAction::Alter_AddField, ql_KeyType::KeyTypeSecondary),
                         &dropError);
            conn.Execute(code, &createError);
            ok = ok && !dropError && !createError;
            // After the first failure every later object is rolled back as well.
            if (ok)
                conn.CommitTrans(VB_TRUE, QString());
            else
                conn.RollbackTrans(VB_TRUE, QString());
            inTransaction = false;
        });
        if (!goOn)
            return leave();
        if (objProgressbar != nullptr)
            objProgressbar->setValue(objProgressbar->Value() + 1);
        DoEvents();
    }

    busy.restore();
    services.setMousePointer(kPointerDefault);
    const bool result = ErrorCount() == 0 && ok;
    if (bShowWarnings)
        services.MessageBox(result ? QStringLiteral("Operazione Conclusa!")
                                   : QStringLiteral("Operazione Conclusa (Con Errori)!"),
                            MsgButtons::OK, MsgIcon::Exclamation, kTitle);
    if (objProgressbar != nullptr)
        objProgressbar->setVisible(false);
    return result;
}

} // namespace qldb
