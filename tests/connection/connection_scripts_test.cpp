#include "connection_fixture.h"
#include "sql/ql_query_constructor.h"

#include <QRegularExpression>

namespace qldb::test {
namespace {

class Scripts : public ConnectionTest {
protected:
    // The @stmt texts of the sp_executesql calls, in order.
    QStringList pieces() const {
        QStringList out;
        for (const Call& c : db->callsOf(CallKind::ExecuteCommand))
            out << c.Cmd.Parameters.at(0).Value.toString();
        return out;
    }
};

TEST_F(Scripts, GoSplitsOnlyAloneOnItsLine) {
    const struct {
        QString script;
        QStringList expected;
    } cases[] = {
        {"a\r\nGO\r\nb", {"a", "b"}},
        {"a\ngo\nb", {"a", "b"}},
        {"a\rGo\rb", {"a", "b"}},
        {"GO\na", {"GO\na"}},
        {"a\nGO", {"a\nGO"}},
        {"a\n GO\nb", {"a\n GO\nb"}},
        {"a\nGO \nb", {"a\nGO \nb"}},
        {"a\nGO\n\nGO\nb", {"a", "b"}},
        {"  a  \nGO\n\n\n", {"a"}},
        {"\n\n", {}},
        {"", {}},
    };
    for (const auto& c : cases) {
        db->clearCalls();
        bool bError = true;
        EXPECT_TRUE(conn->ExecuteScript(c.script, false, &bError)) << c.script.toStdString();
        EXPECT_FALSE(bError);
        EXPECT_EQ(pieces(), c.expected) << c.script.toStdString();
    }
}

TEST_F(Scripts, EachPieceRunsThroughSpExecuteSql) {
    conn->ExecuteScript(QStringLiteral("CREATE VIEW V AS SELECT 1 A\r\nGO\r\nSELECT * FROM V"), false,
                        nullptr, nullptr, 30);
    const auto calls = db->callsOf(CallKind::ExecuteCommand);
    ASSERT_EQ(calls.size(), 2u);
    const Command& cmd = calls[0].Cmd;
    EXPECT_EQ(cmd.CommandText, "sp_executesql");
    EXPECT_EQ(cmd.CommandType, ado::adCmdStoredProc);
    EXPECT_TRUE(cmd.NamedParameters);
    EXPECT_EQ(cmd.CommandTimeout, 30);
    EXPECT_EQ(calls[0].Options, ado::adExecuteNoRecords);
    ASSERT_EQ(cmd.Parameters.size(), 1u);
    EXPECT_EQ(cmd.Parameters[0].Name, "@stmt");
    EXPECT_EQ(cmd.Parameters[0].Type, ado::adLongVarWChar);
    EXPECT_EQ(cmd.Parameters[0].Value.toString(), "CREATE VIEW V AS SELECT 1 A");
    EXPECT_EQ(cmd.Parameters[0].Size, 27);
    EXPECT_EQ(errors->traceSteps(), std::vector<QString>{"End"});

    // Other providers get the whole script in one call, line ends and all; never the prefix.
    db->clearCalls();
    conn->setProviderType(ql_eProviderType::MySql);
    conn->setReadUncommitted(true);
    conn->ExecuteScript(QStringLiteral("SELECT 1\r\nGO\r\nSELECT 2"));
    EXPECT_EQ(pieces(), QStringList{"SELECT 1\r\nGO\r\nSELECT 2"});
    EXPECT_EQ(db->callsOf(CallKind::ExecuteCommand)[0].Cmd.CommandText, "sp_executesql");
}

TEST_F(Scripts, RetryRunsTheWholeScriptAgain) {
    raiseMode();
    const auto isB = [](const QString& s) { return s == "sp_executesql"; };
    int sent = 0;
    // The second piece fails once with a lost link.
    db->onStatement(isB, [&] {
        if (++sent == 2)
            throw qlException(ProviderError(kErrGeneral, kLinkFailure));
    });
    host->queueAnswer(MsgAnswer::Retry);
    QString description;
    EXPECT_TRUE(conn->ExecuteScript(QStringLiteral("a\nGO\nb\nGO\nc"), false, nullptr, &description));
    EXPECT_EQ(pieces(), (QStringList{"a", "b", "a", "b", "c"}));
    EXPECT_EQ(db->trace().filter(QRegularExpression("^(Close|Open)$")), (QStringList{"Close", "Open"}));
    EXPECT_EQ(description, kLinkFailure);
    // The script keeps its failing statement to itself.
    EXPECT_EQ(errors->lastStatement(), "");
}

TEST_F(Scripts, ReportDecisionsAndCancel) {
    const auto failing = [](const QString&) { return true; };
    int n = 0;
    db->onStatement(failing, [&] {
        if (++n == 2)
            throw qlException(ProviderError(kErrSyntax, QStringLiteral("Incorrect syntax near 'b'.")));
    });
    // Going on after the failing piece runs the next one; the service counted the error.
    errors->queueDecision(kDecisionGoOn);
    errors->setOnReport([&](const ReportedError&) { errors->setErrorCount(1); });
    bool bError = false;
    QString description;
    EXPECT_FALSE(conn->ExecuteScript(QStringLiteral("a\nGO\nb\nGO\nc"), false, &bError, &description));
    EXPECT_TRUE(bError);
    EXPECT_EQ(description, "Incorrect syntax near 'b'.");
    EXPECT_EQ(pieces(), (QStringList{"a", "b", "c"}));
    ASSERT_EQ(errors->reports().size(), 1u);
    EXPECT_EQ(errors->reports()[0].Routine, "ExecuteScript");

    // Leaving stops before the remaining pieces.
    db->clearCalls();
    n = 0;
    errors->setOnReport(nullptr);
    EXPECT_FALSE(conn->ExecuteScript(QStringLiteral("a\nGO\nb\nGO\nc"), false, &bError));
    EXPECT_EQ(pieces(), (QStringList{"a", "b"}));

    // Mode 3: a general failure with the box answered Cancel, and another error raised.
    raiseMode();
    db->clearCalls();
    n = 0;
    db->fail(QStringLiteral("sp_executesql"), kErrGeneral, kLinkFailure, true);
    EXPECT_FALSE(conn->ExecuteScript(QStringLiteral("a\nGO\nb"), false, &bError));
    EXPECT_EQ(pieces(), QStringList{"a"});
    EXPECT_EQ(host->messages().size(), 1u);
    n = 0;
    try {
        conn->ExecuteScript(QStringLiteral("a\nGO\nb"));
        FAIL() << "no raise";
    } catch (const qlException& e) {
        EXPECT_EQ(e.record().Source, "qlConnection.ExecuteScript");
        EXPECT_EQ(e.number(), kErrSyntax);
    }
    // AutoReconnect gives up silently.
    conn->setAutoReconnect(true);
    db->fail(QStringLiteral("sp_executesql"), kErrGeneral, kLinkFailure, true);
    EXPECT_FALSE(conn->ExecuteScript(QStringLiteral("a")));
    EXPECT_EQ(host->messages().size(), 1u);
}

TEST_F(Scripts, StoredProcedureParameters) {
    qlQueryConstructor q;
    q.AddProcedureParam(QStringLiteral("@Code"), QStringLiteral("A01"), ql_eDataType::TypeVarChar, 3);
    q.AddProcedureParam(QStringLiteral("@Amount"), 12.5, ql_eDataType::TypeDbl);
    q.AddProcedureParam(QStringLiteral("@Flag"), true, static_cast<ql_eDataType>(14));
    db->respond(QStringLiteral("SP_LIST"), ScriptedConnection::Table({"X"}, {{1}}));
    bool bError = true;
    auto rs = conn->ExecuteSP(QStringLiteral("SP_LIST"), &q, &bError);
    ASSERT_NE(rs, nullptr);
    EXPECT_EQ(rs->RecordCount(), 1);
    EXPECT_FALSE(bError);
    const auto calls = db->callsOf(CallKind::ExecuteCommand);
    ASSERT_EQ(calls.size(), 1u);
    const Command& cmd = calls[0].Cmd;
    EXPECT_EQ(cmd.CommandType, ado::adCmdStoredProc);
    EXPECT_EQ(cmd.CommandTimeout, 0);
    EXPECT_TRUE(cmd.NamedParameters);
    EXPECT_EQ(calls[0].Options, ado::adOptionUnspecified);
    ASSERT_EQ(cmd.Parameters.size(), 3u);
    EXPECT_EQ(cmd.Parameters[0].Name, "@Code");
    EXPECT_EQ(cmd.Parameters[0].Type, ado::adVarChar);
    EXPECT_EQ(cmd.Parameters[0].Size, 3);
    EXPECT_EQ(cmd.Parameters[0].Value.toString(), "A01");
    EXPECT_EQ(cmd.Parameters[1].Type, ado::adDouble);
    EXPECT_EQ(cmd.Parameters[1].Size, 0);
    EXPECT_EQ(cmd.Parameters[2].Type, ado::adEmpty);
    EXPECT_EQ(errors->traceSteps(), std::vector<QString>{"End"});

    // No constructor: no parameters; unnamed parameters leave NamedParameters off.
    db->clearCalls();
    conn->ExecuteSP(QStringLiteral("SP_LIST"));
    qlQueryConstructor unnamed;
    ql_tField f;
    f.FieldType = ql_eDataType::TypeLong;
    f.Value = 7;
    unnamed.AddField(f);
    conn->ExecuteSP(QStringLiteral("SP_LIST"), &unnamed);
    const auto more = db->callsOf(CallKind::ExecuteCommand);
    ASSERT_EQ(more.size(), 2u);
    EXPECT_TRUE(more[0].Cmd.Parameters.empty());
    EXPECT_FALSE(more[0].Cmd.NamedParameters);
    ASSERT_EQ(more[1].Cmd.Parameters.size(), 1u);
    EXPECT_FALSE(more[1].Cmd.NamedParameters);
    EXPECT_EQ(more[1].Cmd.Parameters[0].Type, ado::adBigInt);
}

TEST_F(Scripts, StoredProcedureReopensSilentlyWithAutoReconnect) {
    raiseMode();
    conn->setAutoReconnect(true);
    db->fail(QStringLiteral("SP_X"), kErrGeneral, kLinkFailure, true);
    db->fail(QStringLiteral("SP_X"), kErrGeneral, kLinkFailure, true);
    bool bError = true;
    EXPECT_NE(conn->ExecuteSP(QStringLiteral("SP_X"), nullptr, &bError), nullptr);
    EXPECT_FALSE(bError);
    EXPECT_EQ(db->trace(), (QStringList{"ExecuteCommand:SP_X", "Close", "Open", "ExecuteCommand:SP_X",
                                        "Close", "Open", "ExecuteCommand:SP_X"}));
    EXPECT_TRUE(host->messages().empty());

    // Without AutoReconnect the box, and Cancel gives up; other numbers are raised.
    conn->setAutoReconnect(false);
    db->fail(QStringLiteral("SP_X"), kErrGeneral, kLinkFailure, true);
    EXPECT_EQ(conn->ExecuteSP(QStringLiteral("SP_X"), nullptr, &bError), nullptr);
    EXPECT_TRUE(bError);
    EXPECT_EQ(host->messages().size(), 1u);
    db->fail(QStringLiteral("SP_X"), kErrUnknownTable,
             QStringLiteral("Could not find stored procedure 'SP_X'."), true);
    try {
        conn->ExecuteSP(QStringLiteral("SP_X"));
        FAIL() << "no raise";
    } catch (const qlException& e) {
        EXPECT_EQ(e.record().Source, "qlConnection.ExecuteSP");
        EXPECT_EQ(e.description(), "Could not find stored procedure 'SP_X'.");
    }
    EXPECT_EQ(errors->lastStatement(), "SP_X");
}

TEST_F(Scripts, GetSpWritesTheCall) {
    qlQueryConstructor q;
    q.AddProcedureParam(QStringLiteral("@A"), 1, ql_eDataType::TypeLong);
    q.AddProcedureParam(QStringLiteral("@B"), QStringLiteral("x"), ql_eDataType::TypeVarChar);
    host->setMousePointer(3);
    host->clear();
    EXPECT_EQ(conn->GetSP(QStringLiteral("P"), &q), "EXEC P\r    @A = 1,\r    @B = 'x'");
    EXPECT_EQ(conn->GetSP(QStringLiteral("P")), "EXEC P\r");
    EXPECT_EQ(host->pointerChanges(), (std::vector<int32_t>{11, 3, 11, 3}));
    EXPECT_TRUE(db->calls().empty());
}

} // namespace
} // namespace qldb::test
