// Insert statements for a 50-column record: the query constructor beside the same text built with
// plain string appends, in one run so that the two figures compare.
#include "platform/tools/sql_literal.h"
#include "sql/ql_query_constructor.h"

#include <QDateTime>
#include <benchmark/benchmark.h>

#include <stdexcept>
#include <vector>

using namespace qldb;

namespace {

constexpr int kColumns = 50;

struct Column {
    QString name;
    ql_eDataType type;
    QVariant value;
};

// A record of mixed types as a business table holds them: texts, numbers, dates, flags.
std::vector<Column> Record() {
    std::vector<Column> columns;
    const QDateTime when(QDate(2024, 5, 17), QTime(10, 30, 0));
    for (int i = 0; i < kColumns; ++i) {
        const QString name = QStringLiteral("FIELD_%1").arg(i, 2, 10, QLatin1Char('0'));
        switch (i % 5) {
        case 0:
            columns.push_back({name, ql_eDataType::TypeChar, QStringLiteral("Customer's name %1").arg(i)});
            break;
        case 1:
            columns.push_back({name, ql_eDataType::TypeLong, 100000 + i});
            break;
        case 2:
            columns.push_back({name, ql_eDataType::TypeDbl, 1234.5 + i});
            break;
        case 3:
            columns.push_back({name, ql_eDataType::TypeDateTime, when.addDays(i)});
            break;
        default:
            columns.push_back({name, ql_eDataType::TypeBit, (i % 2) == 0});
            break;
        }
    }
    return columns;
}

QString PlainInsert(const std::vector<Column>& columns) {
    QString names;
    QString values;
    for (const Column& c : columns) {
        if (!names.isEmpty()) {
            names += QStringLiteral(",\r\n");
            values += QStringLiteral(",\r\n");
        }
        names += QStringLiteral("  ") + c.name;
        values += QStringLiteral("  ") + FormatSqlValue(c.value, c.type, ql_eProviderType::SQLServer);
    }
    return QStringLiteral("INSERT INTO A01_ORDERS\r\n\r\n(\r\n") + names +
           QStringLiteral("\r\n) VALUES (\r\n") + values + QStringLiteral("\r\n)");
}

void BM_PlainAppends(benchmark::State& state) {
    const auto columns = Record();
    for (auto _ : state) {
        QString sql = PlainInsert(columns);
        benchmark::DoNotOptimize(sql);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_MakeQueryInsert(benchmark::State& state) {
    const auto columns = Record();
    qlQueryConstructor q;
    q.SetTable(QStringLiteral("ORDERS"), QStringLiteral("A01"));
    for (const Column& c : columns)
        q.AddUpdateField(c.name, c.value, c.type);
    // Both sides must build the same statement, or the comparison means nothing.
    if (q.MakeQuery(ql_eQueryType::Insert) != PlainInsert(columns))
        throw std::logic_error("the two Insert texts differ");
    for (auto _ : state) {
        QString sql = q.MakeQuery(ql_eQueryType::Insert);
        benchmark::DoNotOptimize(sql);
    }
    state.SetItemsProcessed(state.iterations());
}

// Filling the model each time as well, as a caller that builds one statement per record does.
void BM_FillAndMakeQueryInsert(benchmark::State& state) {
    const auto columns = Record();
    qlQueryConstructor q;
    for (auto _ : state) {
        q.Reset();
        q.SetTable(QStringLiteral("ORDERS"), QStringLiteral("A01"));
        for (const Column& c : columns)
            q.AddUpdateField(c.name, c.value, c.type);
        QString sql = q.MakeQuery(ql_eQueryType::Insert);
        benchmark::DoNotOptimize(sql);
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(BM_PlainAppends);
BENCHMARK(BM_MakeQueryInsert);
BENCHMARK(BM_FillAndMakeQueryInsert);

BENCHMARK_MAIN();
