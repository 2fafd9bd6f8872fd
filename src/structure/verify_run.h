#pragma once
// The state of one VerifyDatabase run, shared by its phases.
#include "sql/ql_query_constructor.h"
#include "structure/catalog_walk.h"
#include "structure/counted_rule.h"
#include "structure/ql_database.h"

#include <QDomDocument>
#include <QStringList>
#include <memory>

namespace qldb {

struct VerifyRun {
    VerifyRun(IErrorService* errors, bool bAutoIgnore, int32_t* lErrCounter)
        : Rule(errors, QStringLiteral("VerifyDatabase"), bAutoIgnore, lErrCounter), AutoIgnore(bAutoIgnore),
          ErrCounter(lErrCounter) {}

    // Runs one step under the driver's rule; false (and Leave set) when the rule says leave.
    template <class Step> bool step(Step&& fn) {
        if (Leave)
            return false;
        if (!Rule.run(std::forward<Step>(fn)))
            Leave = true;
        return !Leave;
    }

    CountedRule Rule;
    bool AutoIgnore;
    int32_t* ErrCounter;
    // The mode the run started in: a run that reports an error changes the property on its way out,
    // and its closing steps must still act as the run did.
    ql_eVerifyMode Mode = ql_eVerifyMode::VerifyModality;
    QString File;
    QString QueryFile;
    VariantArray2* Table = nullptr;
    QString PrefixTable;
    QStringList Prefixes;
    bool* RemovePrefixRef = nullptr;
    bool RemovePrefix = false;
    bool ShowUserObject = true;
    bool CheckFunctions = true;
    IProgressBar* Progress = nullptr;
    ILabel* Label = nullptr;
    QString DataPrefix;
    // "database_default" when the wanted collation is the database's own.
    QString ReplaceCollate;
    QDomDocument Doc;
    std::unique_ptr<CatalogWalk> Catalog;
    qlQueryConstructor Query;
    int32_t Rows = 0;
    // The rule said leave: the run goes to its end.
    bool Leave = false;
};

} // namespace qldb
