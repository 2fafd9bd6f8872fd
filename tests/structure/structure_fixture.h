#pragma once
// A qlDatabase on an open scripted connection with a recording log as its OutputBox, and what the
// structure tests share: the private steps they reach, answers of the scripted catalog, files on
// disk and the log read back.
#include "connection/connection_fixture.h"
#include "structure/ql_database.h"
#include "support/recording_host_objects.h"

#include <QFile>
#include <QTemporaryDir>
#include <memory>
#include <tuple>

namespace qldb {

struct StructureArea;
template <> struct qlDatabaseTestAccess<StructureArea> {
    static void Log(qlDatabase& d, const QString& text, bool error = false,
                    const QString& description = QString(), bool count = true, bool transaction = false) {
        d.AddRTFText(text, error, description, count, transaction);
    }
    static bool IsUpdateMode(qlDatabase& d, const QString& name) { return d.IsUpdateMode(name); }
    static void CheckOptions(qlDatabase& d, VariantArray2& list) { d.CheckOptions(list); }
    static void Remember(qlDatabase& d, const VariantArray2& list) {
        qlDatabase::SetObjectDefinition(list, d.m_objectDefinition);
    }
    static void SetResult(qlDatabase& d, bool noChange) {
        d.m_noChange = noChange;
        d.SetVerifyDatabaseResult();
    }
    static QString DeleteSpace(const QString& text) { return qlDatabase::DeleteSpace(text); }
    static QString AddOwner(const QString& name, const QString& script) {
        return qlDatabase::AddOwnerForCreate(name, script);
    }
    static bool TranAlterTable(qlDatabase& d, const QString& script) { return d.TranAlterTable(script); }
    static bool Create(qlDatabase& d, const QString& name, const QDomNode& node, const QString& prefixes,
                       bool removePrefix) {
        return d.CreateTableFromXml(name, node, prefixes, removePrefix);
    }
    static QStringList& Failed(qlDatabase& d) { return d.m_failedViewScripts; }
    static void Rerun(qlDatabase& d) { d.RerunFailedScripts(); }
    static bool VerifyQuery(qlDatabase& d, const QString& file, bool before, bool removePrefix = true) {
        return d.VerifyQuery(QStringLiteral("A01"), file, before, QStringLiteral("Query_Before_A01"),
                             removePrefix);
    }
    static void FixClock(qlDatabase& d) {
        d.m_clock = [] { return QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9)); };
    }
    static void FillLast(qlDatabase& d, const QString& name, ql_eDataType type) {
        d.m_localFieldTypes.back().FieldName = name;
        d.m_localFieldTypes.back().DataType = type;
    }
    static size_t CacheSize(const qlDatabase& d) { return d.m_localFieldTypes.size(); }
};

namespace test {

using Access = qlDatabaseTestAccess<StructureArea>;

// How every query of the version registry orders SYS_DBS: newest version first.
inline const QString kVersionOrder =
    QStringLiteral("ORDER BY SUBSTRING(SYS_VERSION, 1, 1) + REPLACE(STR(0, 4-CHARINDEX('.', "
                   "SUBSTRING(SYS_VERSION, 3, 100)), 0), ' ', '0') + SUBSTRING(SYS_VERSION, 3, 100) DESC");

// The views of the database and what stands on them, as the view passes ask.
inline const QString kViewsWhere = QStringLiteral(
    "From sysobjects\rWHERE type = 'V' AND name NOT LIKE 'sysco%' AND name NOT LIKE 'sysseg%'");
inline const QString kViewList = "SELECT name, id\r" + kViewsWhere;
inline const QString kViewDependencies =
    "SELECT DISTINCT sysdepends.id, sysdepends.depid\rFROM sysdepends LEFT OUTER JOIN\r     sysobjects ON "
    "sysobjects.id = sysdepends.id\rWHERE sysdepends.depid IN (\r" +
    QString(28, ' ') + "SELECT id\r" + QString(28, ' ') + kViewsWhere + ")";

// The object list of a run: (selected, name, kind, status) per row.
inline VariantArray2 Objects(std::initializer_list<std::tuple<bool, QString, QString, int>> rows) {
    VariantArray2 list;
    list.Redim(1, 4, 0, 0);
    for (const auto& [selected, name, kind, status] : rows) {
        const int32_t row = list.AddRow(1, 4);
        list(kObjectSelected, row) = selected;
        list(kObjectName, row) = name;
        list(kObjectKind, row) = kind;
        list(kObjectStatus, row) = status;
    }
    return list;
}

class DatabaseTest : public ConnectionTest {
protected:
    void SetUp() override {
        ConnectionTest::SetUp();
        ASSERT_TRUE(dir.isValid());
        database.setConnection(conn.get());
        database.setErrors(errors);
        database.setOutputBox(log);
    }

    // The statements sent, in order, whatever way they went (Execute, recordset or command).
    QStringList sent() const {
        QStringList out;
        for (const Call& c : db->calls()) {
            if (c.Kind == CallKind::Execute || c.Kind == CallKind::OpenRecordset ||
                c.Kind == CallKind::ExecuteCommand)
                out << c.Text;
        }
        return out;
    }
    // A recordset answer for a statement.
    void answer(const QString& sql, const QStringList& columns, const std::vector<Row>& rows,
                bool once = false) {
        db->respond(sql, ScriptedConnection::Table(columns, rows), once);
    }
    // The log's non-empty lines in order.
    QStringList logged() const {
        QStringList out;
        for (const LogLine& line : log->Lines())
            if (!line.Text.isEmpty())
                out << line.Text;
        return out;
    }
    void newLog() {
        log = std::make_shared<RecordingRichTextLog>();
        database.setOutputBox(log);
    }
    // Writes a file of the test's folder and gives its path.
    QString write(const QString& name, const QString& text) {
        const QString path = dir.filePath(name);
        QFile f(path);
        EXPECT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(text.toUtf8());
        return path;
    }
    // The database's text of a code object, as sp_helptext gives it: one row per piece.
    void helpText(const QString& name, const QStringList& pieces) {
        std::vector<Row> rows;
        for (const QString& piece : pieces)
            rows.push_back(Row{piece});
        answer("EXEC sp_helptext '" + name + "'", {"Text"}, rows);
    }
    void select(const QString& name) {
        Access::Remember(database, Objects({{true, name, QStringLiteral("T"), kStatusToUpdate}}));
    }

    QTemporaryDir dir;
    qlDatabase database;
    std::shared_ptr<RecordingRichTextLog> log = std::make_shared<RecordingRichTextLog>();
};

} // namespace test
} // namespace qldb
