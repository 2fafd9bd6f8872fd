#pragma once
// A host connection and a qlMsSqlSystem whose MSDB connection is a scripted one (msdb), so that the
// procedure calls can be read back in order. Jobs are programmed as sp_help_job rows.
#include "connection/ql_connection.h"
#include "server/ql_mssql_system.h"
#include "support/scripted_connection.h"
#include "support/scripted_error_service.h"
#include "support/scripted_host_services.h"

#include <QStringList>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <utility>
#include <vector>

inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}
inline void PrintTo(const QStringList& l, std::ostream* os) {
    *os << "{\n  \"" << l.join("\",\n  \"").toStdString() << "\"\n}";
}

namespace qldb::test {

struct JobRow {
    QString Name;
    int32_t Status = 4;
    QString Category = QStringLiteral("Database Maintenance");
    int32_t NextRunDate = 0;
};

class MsSqlSystemTest : public ::testing::Test {
protected:
    void SetUp() override {
        conn = std::make_unique<qlConnection>();
        conn->setADODBConnection(std::make_shared<ScriptedConnection>());
        conn->setHostServices(host);
        conn->setErrors(errors);
        conn->setProductName(QStringLiteral("Mirando ERP"));
        conn->setServer(QStringLiteral("SRV01"));
        conn->setUser(QStringLiteral("sa"));
        conn->setPassword(QStringLiteral("pw"));
        sys = NewSystem();
    }

    // Every qlMsSqlSystem of a test shares msdb, so one trace holds all their calls.
    std::unique_ptr<qlMsSqlSystem> NewSystem() {
        auto s = conn->MsSqlSystem();
        s->setConnectionFactory([this] { return msdb; });
        return s;
    }

    // The answer of sp_help_job; a once answer is used up by its first call.
    void Jobs(const std::vector<JobRow>& jobs, bool once = false) {
        std::vector<Row> rows;
        for (const JobRow& j : jobs)
            rows.push_back(
                {j.Name, j.Status, j.Category, j.NextRunDate, QStringLiteral("SRV01"), QStringLiteral("sa")});
        msdb->respond("sp_help_job",
                      ScriptedConnection::Table({"name", "current_execution_status", "category",
                                                 "next_run_date", "originating_server", "owner"},
                                                rows),
                      once);
    }

    // The procedures called, each as "name @param=value(size) ...", in order.
    QStringList Procedures() const {
        QStringList out;
        for (const Call& c : msdb->callsOf(CallKind::ExecuteCommand)) {
            QString text = c.Text;
            for (const Parameter& p : c.Cmd.Parameters)
                text += QStringLiteral(" %1=%2(%3)").arg(p.Name, p.Value.toString()).arg(p.Size);
            out << text;
        }
        return out;
    }
    // The same without the sp_help_job fetches of the guards.
    QStringList Actions() const {
        QStringList out;
        for (const QString& p : Procedures())
            if (p != QLatin1String("sp_help_job"))
                out << p;
        return out;
    }
    QStringList ReportedRoutines() const {
        QStringList out;
        for (const ReportedError& r : errors->reports())
            out << r.Class + QLatin1Char('.') + r.Routine;
        return out;
    }

    std::shared_ptr<ScriptedConnection> msdb = std::make_shared<ScriptedConnection>();
    std::shared_ptr<ScriptedHostServices> host = std::make_shared<ScriptedHostServices>();
    std::shared_ptr<ScriptedErrorService> errors = std::make_shared<ScriptedErrorService>();
    std::unique_ptr<qlConnection> conn;
    std::unique_ptr<qlMsSqlSystem> sys;
};

} // namespace qldb::test
