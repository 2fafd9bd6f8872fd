#pragma once
// A qlDatabase on an open scripted connection, with a recording log as its OutputBox.
#include "connection/connection_fixture.h"
#include "structure/ql_database.h"
#include "support/recording_host_objects.h"

#include <memory>

namespace qldb::test {

class DatabaseTest : public ConnectionTest {
protected:
    void SetUp() override {
        ConnectionTest::SetUp();
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

    qlDatabase database;
    std::shared_ptr<RecordingRichTextLog> log = std::make_shared<RecordingRichTextLog>();
};

} // namespace qldb::test
