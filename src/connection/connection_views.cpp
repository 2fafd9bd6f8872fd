// qlConnection: the views of the database in the order in which they can be created.
#include "connection/catalog_queries.h"
#include "connection/ql_connection.h"
#include "connection/record_walk.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"
#include "platform/tools/stable_sort.h"

#include <QStringList>

namespace qldb {

using record_walk::kClass;

namespace {

// Columns of the view table: name, catalog id, dependency level.
constexpr std::size_t kName = 0;
constexpr std::size_t kId = 1;
constexpr std::size_t kLevel = 2;

// The row of the view with this catalog id, or -1 for an object that is no view of the list.
int RowOfId(const VariantTable& views, int32_t id) {
    for (std::size_t i = 0; i < views.size(); ++i)
        if (ToLong(views[i][kId]) == id)
            return static_cast<int>(i);
    return -1;
}

} // namespace

QString qlConnection::GetViews(const QString& slistViews, const QString& sDelimiter) {
    const QString routine = QStringLiteral("GetViews");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    QString result;
    if (m_providerType != ql_eProviderType::SQLServer)
        return result;
    BusyPointer busy(*m_host);
    rule.setBeforeDecision([&] { busy.restore(); });

    const QString delimiter = sDelimiter.isEmpty() ? QStringLiteral(",") : sDelimiter;
    const QString from = catalog_sql::ViewsFrom(m_providerType, slistViews, delimiter);

    VariantTable views;
    if (!WalkQuery(rule, routine, catalog_sql::Views(from), [&](Recordset& r) {
            views.push_back(VariantRow{r.Value(QStringLiteral("name")), r.Value(QStringLiteral("id")), 0});
        }))
        return result;

    // One pass over the dependencies in the order the server gives them: a view's level grows by
    // the level its dependency has at that moment, plus one. A later record does not revisit an
    // earlier one, so the level is a sum along the record order rather than a true depth; the
    // callers' scripts were written against this order and it stays.
    if (!WalkQuery(rule, routine, catalog_sql::ViewDependencies(from), [&](Recordset& r) {
            const int dependent = RowOfId(views, ToLong(r.Value(QStringLiteral("id"))));
            const int used = RowOfId(views, ToLong(r.Value(QStringLiteral("depid"))));
            if (dependent >= 0 && used >= 0)
                views[dependent][kLevel] = ToLong(views[dependent][kLevel]) + ToLong(views[used][kLevel]) + 1;
        }))
        return result;

    // Name order first, so that views of one level keep it through the (stable) sort by level.
    StableSortRows(views, kName);
    StableSortRows(views, kLevel);
    QStringList names;
    for (const VariantRow& row : views)
        names << ToText(row[kName]);
    result = names.join(delimiter).toUpper();
    return result;
}

} // namespace qldb
