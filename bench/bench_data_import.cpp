// Import of a ten-column table through the built-in bulk copier (200,000 rows from a wide data
// file, multi-row statements in batches) beside the record route's single INSERT statements (the
// first 2,000 rows), on SQLite and, when QLDB_TEST_PG names it, PostgreSQL. Figures are printed as
// rows per second; the copier's target is 50,000 rows/s on loopback.
#include "connection/ql_connection.h"
#include "platform/errors/error_service.h"
#include "platform/tools/product_folders.h"
#include "sql/ql_query_constructor.h"
#include "structure/bulk_copy/builtin_copier.h"
#include "structure/bulk_copy/bulk_copy_files.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <memory>

using namespace qldb;

namespace {

constexpr int kRows = 200000;
constexpr int kRecordRows = 2000;

struct Server {
    const char* Name;
    QString ConnectionString;
    QString Bit;
    QString Stamp;
    QString Real;
};

Row MakeRow(int i) {
    const QDateTime stamp(QDate(2024, 1, 1).addDays(i % 1000), QTime(i % 24, i % 60, i % 60));
    return {i,
            QStringLiteral("Articolo %1 è pronto").arg(i),
            i * 1.25,
            stamp,
            i % 97,
            QStringLiteral("Descrizione lunga della riga numero %1, con 'virgolette'").arg(i),
            static_cast<qlonglong>(i) * 1000003LL,
            QStringLiteral("C%1").arg(i % 5000),
            i / 7.0,
            (i % 2) == 0};
}

void Run(const Server& server, const QString& folder) {
    auto errors = std::make_shared<HeadlessErrorService>(kDecisionLeave, kErrorModeRaise);
    qlConnection conn;
    conn.setErrors(errors);
    conn.setProviderType(ql_eProviderType::ODBC);
    conn.setConnectionString(server.ConnectionString);
    conn.OpenConnection();
    IDbConnection& db = *conn.ADODBConnection();
    const QString table = QStringLiteral("bench_import_%1").arg(QCoreApplication::applicationPid());
    try {
        db.Execute("DROP TABLE " + table, ado::adExecuteNoRecords);
    } catch (...) {
    }
    db.Execute("CREATE TABLE " + table + " (c1 int NOT NULL PRIMARY KEY, c2 varchar(60), c3 " + server.Real +
                   ", c4 " + server.Stamp + ", c5 int, c6 varchar(120), c7 bigint, c8 varchar(20), c9 " +
                   server.Real + ", c10 " + server.Bit + ")",
               ado::adExecuteNoRecords);

    // The side files, as an export would have left them.
    const BulkCopyJob job{BulkCopyPass::In,
                          table,
                          folder + "/data.qldatatable",
                          folder + "/data.qldataformat",
                          folder + "/data.qldataerror",
                          folder + "/data.log"};
    QFile format(job.FormatFile);
    format.open(QIODevice::WriteOnly);
    format.write(FormatFileText(WideFormatFor(db.Columns(table))).toUtf8());
    format.close();
    QString data;
    for (int i = 0; i < kRows; ++i) {
        QStringList fields;
        for (const QVariant& v : MakeRow(i))
            fields << BulkFieldText(v);
        data += fields.join(QLatin1Char('\t')) + QLatin1Char('\n');
    }
    QFile file(job.DataFile);
    file.open(QIODevice::WriteOnly);
    file.write(EncodeBulkData(data));
    file.close();

    QElapsedTimer timer;
    timer.start();
    RunBuiltInCopy(job, 1, db);
    const double bulkSeconds = timer.nsecsElapsed() / 1e9;
    const auto count = conn.ExecuteWC("SELECT COUNT(*) FROM " + table);
    const qlonglong copied = count->Value(0).toLongLong();
    const bool errorFile = QFile::exists(job.ErrorFile);

    db.Execute("DELETE FROM " + table, ado::adExecuteNoRecords);
    qlQueryConstructor insert;
    insert.setProviderType(ql_eProviderType::ODBC);
    const ql_eDataType types[] = {
        ql_eDataType::TypeInt, ql_eDataType::TypeVarChar, ql_eDataType::TypeDbl,  ql_eDataType::TypeDateTime,
        ql_eDataType::TypeInt, ql_eDataType::TypeVarChar, ql_eDataType::TypeLong, ql_eDataType::TypeVarChar,
        ql_eDataType::TypeDbl, ql_eDataType::TypeBit};
    timer.restart();
    for (int i = 0; i < kRecordRows; ++i) {
        insert.Reset();
        insert.SetTable(table);
        const Row row = MakeRow(i);
        for (int c = 0; c < 10; ++c)
            insert.AddUpdateField(QStringLiteral("c%1").arg(c + 1), row[static_cast<size_t>(c)], types[c]);
        conn.Execute(insert.MakeQuery(ql_eQueryType::Insert));
    }
    const double recordSeconds = timer.nsecsElapsed() / 1e9;
    db.Execute("DROP TABLE " + table, ado::adExecuteNoRecords);

    std::printf("%-11s built-in copier: %lld of %d rows in %.2f s = %.0f rows/s%s\n", server.Name, copied,
                kRows, bulkSeconds, copied / bulkSeconds, errorFile ? " (error file written)" : "");
    std::printf("%-11s record route:   %d rows in %.2f s = %.0f rows/s\n", server.Name, kRecordRows,
                recordSeconds, kRecordRows / recordSeconds);
    conn.Finalize();
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir folder;
    setProductRoot(folder.path());
    std::vector<Server> servers = {{"SQLite",
                                    "DRIVER={SQLite3};Database=" + folder.filePath("bench.db") + ";", "bit",
                                    "datetime", "double"}};
    const QString pg = qEnvironmentVariable("QLDB_TEST_PG");
    if (!pg.isEmpty())
        servers.push_back({"PostgreSQL", pg, "smallint", "timestamp", "double precision"});
    else
        std::printf("PostgreSQL: skipped, QLDB_TEST_PG is not set\n");
    for (const Server& s : servers) {
        try {
            Run(s, folder.path());
        } catch (const qlException& e) {
            std::printf("%s: %s\n", s.Name, e.description().toLocal8Bit().constData());
        }
    }
    return 0;
}
