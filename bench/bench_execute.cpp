// ExecuteWC against the same work done with raw ODBC calls, on a SQLite database file: a one-row
// select and a 100,000-row select fetched whole into memory. Figures are printed; compare
// the "ratio" counters (our time / raw time) with the targets 1.10 and 1.5.
#include "connection/ql_connection.h"
#include "platform/errors/error_service.h"

#include <QDir>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <sql.h>
#include <sqlext.h>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using namespace qldb;

namespace {

constexpr int kRows = 100000;

struct RawOdbc {
    SQLHENV env = SQL_NULL_HENV;
    SQLHDBC dbc = SQL_NULL_HDBC;

    explicit RawOdbc(const std::string& connection) {
        SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
        SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
        SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc);
        SQLCHAR out[1024];
        SQLSMALLINT outLength = 0;
        const SQLRETURN rc =
            SQLDriverConnect(dbc, nullptr, reinterpret_cast<SQLCHAR*>(const_cast<char*>(connection.c_str())),
                             SQL_NTS, out, sizeof out, &outLength, SQL_DRIVER_NOPROMPT);
        if (!SQL_SUCCEEDED(rc))
            throw std::runtime_error("cannot connect: " + connection);
    }
    ~RawOdbc() {
        SQLDisconnect(dbc);
        SQLFreeHandle(SQL_HANDLE_DBC, dbc);
        SQLFreeHandle(SQL_HANDLE_ENV, env);
    }
    void exec(const char* sql) {
        SQLHSTMT stmt = SQL_NULL_HSTMT;
        SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt);
        SQLExecDirect(stmt, reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql)), SQL_NTS);
        SQLFreeHandle(SQL_HANDLE_STMT, stmt);
    }
};

struct RawRow {
    long id;
    std::u16string name;
    double price;
};

// The baseline: the rows of the statement fetched into memory with bound columns.
std::vector<RawRow> RawFetch(RawOdbc& raw, const char* sql) {
    std::vector<RawRow> rows;
    SQLHSTMT stmt = SQL_NULL_HSTMT;
    SQLAllocHandle(SQL_HANDLE_STMT, raw.dbc, &stmt);
    SQLExecDirect(stmt, reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql)), SQL_NTS);
    SQLINTEGER id = 0;
    SQLWCHAR name[64];
    double price = 0;
    SQLLEN idInd = 0, nameInd = 0, priceInd = 0;
    SQLBindCol(stmt, 1, SQL_C_SLONG, &id, 0, &idInd);
    SQLBindCol(stmt, 2, SQL_C_WCHAR, name, sizeof name, &nameInd);
    SQLBindCol(stmt, 3, SQL_C_DOUBLE, &price, 0, &priceInd);
    while (SQL_SUCCEEDED(SQLFetch(stmt))) {
        const auto length = nameInd > 0 ? static_cast<size_t>(nameInd) / sizeof(SQLWCHAR) : 0;
        rows.push_back(RawRow{id, std::u16string(reinterpret_cast<const char16_t*>(name), length), price});
    }
    SQLFreeHandle(SQL_HANDLE_STMT, stmt);
    return rows;
}

struct Fixture {
    QTemporaryDir dir;
    QString file;
    std::string odbc;

    Fixture() {
        file = QDir(dir.path()).filePath(QStringLiteral("bench.sqlite"));
        odbc = "DRIVER=SQLite3;Database=" + file.toStdString();
        RawOdbc raw(odbc);
        raw.exec("CREATE TABLE BENCH (ID INTEGER PRIMARY KEY, NAME VARCHAR(40), PRICE FLOAT)");
        raw.exec("BEGIN");
        for (int i = 1; i <= kRows; ++i) {
            const std::string sql = "INSERT INTO BENCH VALUES (" + std::to_string(i) + ", 'Item number " +
                                    std::to_string(i) + "', " + std::to_string(i * 0.25) + ")";
            raw.exec(sql.c_str());
        }
        raw.exec("COMMIT");
    }
};

Fixture& SharedFixture() {
    static Fixture fixture;
    return fixture;
}

std::unique_ptr<qlConnection> OpenLibraryConnection() {
    auto connection = std::make_unique<qlConnection>();
    connection->setErrors(std::make_shared<HeadlessErrorService>(kDecisionLeave, kErrorModeRaise));
    connection->setConnectionString(QString::fromStdString(SharedFixture().odbc));
    connection->OpenConnection();
    return connection;
}

const char* const kOneRow = "SELECT ID, NAME, PRICE FROM BENCH WHERE ID = 4242";
const char* const kAllRows = "SELECT ID, NAME, PRICE FROM BENCH";

void BM_Raw_OneRow(benchmark::State& state) {
    RawOdbc raw(SharedFixture().odbc);
    for (auto _ : state)
        benchmark::DoNotOptimize(RawFetch(raw, kOneRow));
}

void BM_ExecuteWC_OneRow(benchmark::State& state) {
    auto connection = OpenLibraryConnection();
    for (auto _ : state)
        benchmark::DoNotOptimize(connection->ExecuteWC(QString::fromLatin1(kOneRow)));
}

void BM_Raw_AllRows(benchmark::State& state) {
    RawOdbc raw(SharedFixture().odbc);
    for (auto _ : state) {
        auto rows = RawFetch(raw, kAllRows);
        if (rows.size() != kRows)
            state.SkipWithError("wrong row count");
    }
    state.SetItemsProcessed(state.iterations() * kRows);
}

void BM_ExecuteWC_AllRows(benchmark::State& state) {
    auto connection = OpenLibraryConnection();
    for (auto _ : state) {
        auto rs = connection->ExecuteWC(QString::fromLatin1(kAllRows));
        if (!rs || rs->RecordCount() != kRows)
            state.SkipWithError("wrong row count");
    }
    state.SetItemsProcessed(state.iterations() * kRows);
}

} // namespace

BENCHMARK(BM_Raw_OneRow);
BENCHMARK(BM_ExecuteWC_OneRow);
BENCHMARK(BM_Raw_AllRows)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ExecuteWC_AllRows)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
