// Throughput of literal formatting: every value of every generated statement goes through it, so
// an import of many records pays for it once per column.
#include "platform/tools/sql_literal.h"

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QTime>
#include <benchmark/benchmark.h>

#include <utility>
#include <vector>

namespace {

using qldb::ql_eDataType;
using qldb::ql_eProviderType;

// A record's worth of the columns an import formats most: codes and descriptions, numbers, dates
// kept as text, a date and time, flags, a Null, and now and then a binary value.
std::vector<std::pair<QVariant, ql_eDataType>> MixedRecord() {
    return {
        {QStringLiteral("A01"), ql_eDataType::TypeChar},
        {QStringLiteral("Descrizione dell'articolo"), ql_eDataType::TypeVarChar},
        {QString::fromUtf8("Città"), ql_eDataType::TypeVarCharUnicode},
        {12345, ql_eDataType::TypeLong},
        {1234.5678, ql_eDataType::TypeDbl},
        {QStringLiteral("42.5"), ql_eDataType::TypeDbl},
        {QDate(2024, 1, 31), ql_eDataType::TypeDate},
        {QTime(13, 45, 7), ql_eDataType::TypeTime},
        {QDateTime(QDate(2024, 1, 31), QTime(13, 45, 7)), ql_eDataType::TypeDateTime},
        {QStringLiteral("2024-01-31T13:45:07"), ql_eDataType::TypeDateTime},
        {true, ql_eDataType::TypeBit},
        {QVariant::fromValue(nullptr), ql_eDataType::TypeMemo},
        {QByteArray("\x01\x02\x03\x04\x05\x06\x07\x08", 8), ql_eDataType::TypeBinary},
    };
}

void FormatMixedRecord(benchmark::State& state) {
    const auto provider = static_cast<ql_eProviderType>(state.range(0));
    const auto record = MixedRecord();
    for (auto _ : state) {
        for (const auto& [value, type] : record)
            benchmark::DoNotOptimize(qldb::FormatSqlValue(value, type, provider));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(record.size()));
}
BENCHMARK(FormatMixedRecord)
    ->Arg(static_cast<int>(ql_eProviderType::SQLServer))
    ->Arg(static_cast<int>(ql_eProviderType::MySql))
    ->Arg(static_cast<int>(ql_eProviderType::Oracle));

// One value per type, to see where the time of the mixed record goes.
void FormatOneValue(benchmark::State& state) {
    const auto record = MixedRecord();
    const auto& [value, type] = record.at(static_cast<std::size_t>(state.range(0)));
    state.SetLabel(value.typeName() + QStringLiteral(" as %1").arg(static_cast<int>(type)).toStdString());
    for (auto _ : state)
        benchmark::DoNotOptimize(qldb::FormatSqlValue(value, type, ql_eProviderType::SQLServer));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(FormatOneValue)->DenseRange(0, 12);

} // namespace

BENCHMARK_MAIN();
