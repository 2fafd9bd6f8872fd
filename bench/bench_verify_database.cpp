// VerifyDatabase in the verify mode over a generated structure of 500 tables of 20 columns, against
// a connection that answers every statement at once with an empty rowset and counts what it is
// sent. Printed figures: statements per table, the engine's time per table, and beside it the time
// to load the structure file and walk its tables and fields alone.
#include "connection/ql_connection.h"
#include "platform/errors/error_service.h"
#include "platform/host/host_services.h"
#include "structure/ql_database.h"
#include "structure/structure_document.h"

#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>

using namespace qldb;

namespace {

constexpr int kTables = 500;
constexpr int kColumns = 20;

QString TableName(int t) {
    return QStringLiteral("A01_T%1").arg(t, 3, 10, QLatin1Char('0'));
}

// Answers at once; counts the statements.
class CountingConnection : public IDbConnection {
public:
    QString ConnectionString() const override { return {}; }
    void setConnectionString(const QString&) override {}
    int32_t Mode() const override { return 0; }
    void setMode(int32_t) override {}
    int32_t CursorLocation() const override { return 2; }
    void setCursorLocation(int32_t) override {}
    int32_t IsolationLevel() const override { return 0; }
    void setIsolationLevel(int32_t) override {}
    int32_t CommandTimeout() const override { return 30; }
    void setCommandTimeout(int32_t) override {}
    void Open() override {}
    void Close() override {}
    void Cancel() override {}
    int32_t State() const override { return ado::adStateOpen; }
    std::vector<ErrorRecord> Errors() const override { return {}; }
    std::shared_ptr<Recordset> Execute(const QString&, int32_t options) override {
        ++statements;
        if (options & ado::adExecuteNoRecords)
            return nullptr;
        return empty();
    }
    std::shared_ptr<Recordset> OpenRecordset(const QString&, int32_t, int32_t, int32_t) override {
        ++statements;
        return empty();
    }
    std::shared_ptr<Recordset> ExecuteCommand(const Command&, int32_t) override {
        ++statements;
        return empty();
    }
    int32_t BeginTrans() override { return 1; }
    void CommitTrans() override {}
    void RollbackTrans() override {}
    std::vector<CatalogTable> Tables() override {
        std::vector<CatalogTable> tables;
        for (int t = 0; t < kTables; ++t)
            tables.push_back({TableName(t), QStringLiteral("TABLE")});
        return tables;
    }
    std::vector<CatalogColumn> Columns(const QString&) override {
        std::vector<CatalogColumn> columns;
        for (int c = 0; c < kColumns; ++c)
            columns.push_back(
                {QStringLiteral("F%1").arg(c), c == 0 ? ado::adInteger : ado::adVarWChar, c == 0 ? 4 : 50});
        return columns;
    }

    long statements = 0;

private:
    static std::shared_ptr<Recordset> empty() {
        return std::make_shared<Recordset>(std::vector<FieldInfo>{}, std::vector<Row>{});
    }
};

QString GeneratedStructure() {
    QString xml =
        QStringLiteral("<?xml version=\"1.0\"?><Database><DatabaseName>ERP</DatabaseName><Company>C</Company>"
                       "<ProductName>P</ProductName><StructureVersion>1.0.0</StructureVersion>"
                       "<DataTimeVersion>2024-01-01T00:00:00</DataTimeVersion><Tables>");
    for (int t = 0; t < kTables; ++t) {
        xml += QStringLiteral("<Table><TableName>[#FIRM#]T%1</TableName><Fields>")
                   .arg(t, 3, 10, QLatin1Char('0'));
        for (int c = 0; c < kColumns; ++c)
            xml +=
                QStringLiteral(
                    "<Field><FieldName>F%1</FieldName><Index>%2</Index><Description>Column %1</Description>"
                    "<DataType>%3</DataType><FieldSize>%4</FieldSize><AllowsNull>%5</AllowsNull>"
                    "<DefaultValue/><PrimaryKey>%6</PrimaryKey></Field>")
                    .arg(c)
                    .arg(c + 1)
                    .arg(c == 0 ? QStringLiteral("TypeLong") : QStringLiteral("TypeVarCharUnicode"))
                    .arg(c == 0 ? 4 : 50)
                    .arg(c == 0 ? QStringLiteral("False") : QStringLiteral("True"))
                    .arg(c == 0 ? QStringLiteral("True") : QStringLiteral("False"));
        xml += QStringLiteral(
                   "</Fields><Indexes><Index><IndexName>IX_[#FIRM#]T%1</IndexName><IndexSql>CREATE INDEX "
                   "IX_[#FIRM#]T%1 ON [#FIRM#]T%1 (F1)</IndexSql></Index></Indexes></Table>")
                   .arg(t, 3, 10, QLatin1Char('0'));
    }
    xml += QStringLiteral("</Tables><Functions/><Views/><Procedures/><Triggers/></Database>");
    return xml;
}

struct Fixture {
    Fixture() {
        file = dir.filePath(QStringLiteral("ERP.xml"));
        QFile f(file);
        if (f.open(QIODevice::WriteOnly))
            f.write(GeneratedStructure().toUtf8());
        conn.setHostServices(std::make_shared<HeadlessHostServices>());
        conn.setErrors(errors);
        conn.setADODBConnection(db);
        database.setConnection(&conn);
        database.setErrors(errors);
        database.setVerifyDatabaseMode(ql_eVerifyMode::VerifyModality);
    }
    QTemporaryDir dir;
    QString file;
    std::shared_ptr<HeadlessErrorService> errors = std::make_shared<HeadlessErrorService>();
    std::shared_ptr<CountingConnection> db = std::make_shared<CountingConnection>();
    qlConnection conn;
    qlDatabase database;
};

void BM_VerifyDatabase(benchmark::State& state) {
    Fixture fx;
    long rows = 0;
    for (auto _ : state) {
        fx.db->statements = 0;
        VariantArray2 list;
        bool removePrefix = true;
        rows = fx.database.VerifyDatabase(fx.file, list, QStringLiteral("A01_"), &removePrefix);
        benchmark::DoNotOptimize(rows);
    }
    const double perTable = static_cast<double>(fx.db->statements) / kTables;
    state.counters["rows"] = static_cast<double>(rows);
    state.counters["statements_per_table"] = perTable;
    state.counters["us_per_table"] = benchmark::Counter(
        kTables * 1e-6, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    std::printf("VerifyDatabase: %ld rows, %.1f statements per table\n", rows, perTable);
}
BENCHMARK(BM_VerifyDatabase)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// The file alone: loaded, and every table and field read by position.
void BM_LoadAndWalkStructure(benchmark::State& state) {
    Fixture fx;
    for (auto _ : state) {
        QDomDocument doc;
        LoadStructureDocument(fx.file, doc);
        qsizetype chars = 0;
        const QDomNode tables = ChildPath(doc, {1, kContainerTables});
        for (QDomNode table = tables.firstChild(); !table.isNull(); table = table.nextSibling()) {
            chars += ChildText(table, 0).size();
            for (QDomNode field = ChildAt(table, 1).firstChild(); !field.isNull();
                 field = field.nextSibling())
                for (int i = 0; i <= 8; ++i)
                    chars += ChildText(field, i).size();
        }
        benchmark::DoNotOptimize(chars);
    }
    state.counters["us_per_table"] = benchmark::Counter(
        kTables * 1e-6, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_LoadAndWalkStructure)->Unit(benchmark::kMillisecond)->MinTime(2.0);

} // namespace

BENCHMARK_MAIN();
