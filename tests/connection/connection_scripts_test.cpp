#include "connection_fixture.h"
#include "sql/ql_query_constructor.h"

namespace qldb::test {
namespace {

class Scripts : public ConnectionTest {
protected:
    // "name type size value".
    static QString Described(const Parameter& p) {
        return QStringLiteral("%1 %2 %3 %4").arg(p.Name).arg(p.Type).arg(p.Size).arg(p.Value.toString());
    }
    // The n-th statement counted in `sent` fails with this error.
    void failNth(int& sent, int n, int32_t number, const QString& sDescription) {
        db->failIf([&sent, n](const QString&) { return ++sent == n; }, number, sDescription);
    }
};

TEST_F(Scripts, GoSplitsOnlyAloneOnItsLine) {
    // The script, then the pieces sent.
    // clang-format off
    const QStringList cases[] = {
        {"a\r\nGO\r\nb", "a", "b"}, {"a\ngo\nb", "a", "b"}, {"a\rGo\rb", "a", "b"}, {"GO\na", "GO\na"},
        {"a\nGO", "a\nGO"}, {"a\n GO\nb", "a\n GO\nb"}, {"a\nGO \nb", "a\nGO \nb"}, {"a\nGO\n\nGO\nb", "a", "b"},
        {"  a  \nGO\n\n\n", "a"}, {"\n\n"}, {""}};
    // clang-format on
    for (const QStringList& c : cases) {
        db->clearCalls();
        bool bError = true;
        EXPECT_TRUE(conn->ExecuteScript(c[0], false, &bError)) << c[0].toStdString();
        EXPECT_FALSE(bError);
        EXPECT_EQ(pieces(), c.mid(1)) << c[0].toStdString();
    }
}

TEST_F(Scripts, EachPieceRunsThroughSpExecuteSql) {
    conn->ExecuteScript("CREATE VIEW V AS SELECT 1 A\r\nGO\r\nSELECT * FROM V", false, nullptr, nullptr, 30);
    EXPECT_EQ(db->trace(), (QStringList(2, "ExecuteCommand:sp_executesql")));
    const Call call = db->calls().at(0);
    EXPECT_EQ((std::vector<int32_t>{call.Cmd.CommandType, call.Cmd.NamedParameters, call.Cmd.CommandTimeout,
                                    call.Options}),
              (std::vector<int32_t>{ado::adCmdStoredProc, true, 30, ado::adExecuteNoRecords}));
    ASSERT_EQ(call.Cmd.Parameters.size(), 1u);
    EXPECT_EQ(Described(call.Cmd.Parameters[0]), "@stmt 203 27 CREATE VIEW V AS SELECT 1 A");
    EXPECT_EQ(errors->traceSteps(), std::vector<QString>{"End"});

    // Other providers get the whole script in one call, line ends and all; never the prefix.
    db->clearCalls();
    conn->setProviderType(ql_eProviderType::MySql);
    conn->setReadUncommitted(true);
    conn->ExecuteScript("SELECT 1\r\nGO\r\nSELECT 2");
    EXPECT_EQ(db->trace(), QStringList{"ExecuteCommand:sp_executesql"});
    EXPECT_EQ(pieces(), QStringList{"SELECT 1\r\nGO\r\nSELECT 2"});
}

TEST_F(Scripts, RetryRunsTheWholeScriptAgain) {
    raiseMode();
    int sent = 0;
    failNth(sent, 2, kErrGeneral, kLinkFailure);
    host->queueAnswer(MsgAnswer::Retry);
    QString description;
    EXPECT_TRUE(conn->ExecuteScript("a\nGO\nb\nGO\nc", false, nullptr, &description));
    EXPECT_EQ(pieces(), (QStringList{"a", "b", "a", "b", "c"}));
    EXPECT_EQ(db->count(CallKind::Close) + db->count(CallKind::Open), 2);
    EXPECT_EQ(description, kLinkFailure);
    EXPECT_EQ(errors->lastStatement(), ""); // the script keeps its failing statement to itself
}

TEST_F(Scripts, ReportDecisionsCancelAndRaise) {
    const QString script = "a\nGO\nb\nGO\nc";
    int sent = 0;
    failNth(sent, 2, kErrSyntax, "Incorrect syntax near 'b'.");
    // Going on after the failing piece runs the next one; the service counted the error.
    errors->queueDecision(kDecisionGoOn);
    errors->setOnReport([&](const ReportedError&) { errors->setErrorCount(1); });
    bool bError = false;
    QString description;
    EXPECT_FALSE(conn->ExecuteScript(script, false, &bError, &description));
    EXPECT_TRUE(bError);
    EXPECT_EQ(description, "Incorrect syntax near 'b'.");
    EXPECT_EQ(pieces(), (QStringList{"a", "b", "c"}));
    EXPECT_EQ(errors->reports().at(0).Routine, "ExecuteScript");

    // Mode 3: Cancel in the network box leaves the rest; another number is raised; AutoReconnect gives up
    // silently.
    raiseMode();
    db->clearCalls();
    sent = 0;
    db->fail("sp_executesql", kErrGeneral, kLinkFailure, true);
    EXPECT_FALSE(conn->ExecuteScript(script));
    EXPECT_EQ(pieces(), QStringList{"a"});
    sent = 0;
    EXPECT_EQ(Raised([&] { conn->ExecuteScript(script); }),
              "-2147217900 qlConnection.ExecuteScript: Incorrect syntax near 'b'.");
    conn->setAutoReconnect(true);
    db->fail("sp_executesql", kErrGeneral, kLinkFailure, true);
    EXPECT_FALSE(conn->ExecuteScript(script));
    EXPECT_EQ(host->messages().size(), 1u);
}

TEST_F(Scripts, StoredProcedureParameters) {
    qlQueryConstructor q;
    q.AddProcedureParam("@Code", "A01", ql_eDataType::TypeVarChar, 3);
    q.AddProcedureParam("@Amount", 12.5, ql_eDataType::TypeDbl);
    q.AddProcedureParam("@Flag", true, static_cast<ql_eDataType>(14));
    db->respond("SP_LIST", ScriptedConnection::Table({"X"}, {{1}}));
    bool bError = true;
    EXPECT_EQ(conn->ExecuteSP("SP_LIST", &q, &bError)->RecordCount(), 1);
    EXPECT_FALSE(bError);
    // No constructor: no parameters; unnamed parameters leave NamedParameters off.
    conn->ExecuteSP("SP_LIST");
    qlQueryConstructor unnamed;
    unnamed.AddProcedureParam("", 7, ql_eDataType::TypeLong);
    conn->ExecuteSP("SP_LIST", &unnamed);

    const auto calls = db->callsOf(CallKind::ExecuteCommand);
    ASSERT_EQ(calls.size(), 3u);
    const Command& cmd = calls[0].Cmd;
    EXPECT_EQ(
        (std::vector<int32_t>{cmd.CommandType, cmd.NamedParameters, cmd.CommandTimeout, calls[0].Options}),
        (std::vector<int32_t>{ado::adCmdStoredProc, true, 0, ado::adOptionUnspecified}));
    // The unnamed long of the third call comes last: the second call has none.
    QStringList params;
    for (const auto& c : calls)
        for (const Parameter& p : c.Cmd.Parameters)
            params << Described(p);
    EXPECT_EQ(params, (QStringList{"@Code 200 3 A01", "@Amount 5 0 12.5", "@Flag 0 0 true", " 20 0 7"}));
    EXPECT_FALSE(calls[1].Cmd.NamedParameters || calls[2].Cmd.NamedParameters);
    EXPECT_EQ(errors->traceSteps(), (std::vector<QString>(3, "End")));
}

TEST_F(Scripts, StoredProcedureReconnectsSilently) {
    raiseMode();
    conn->setAutoReconnect(true);
    db->fail("SP_X", kErrGeneral, kLinkFailure, true);
    db->fail("SP_X", kErrGeneral, kLinkFailure, true);
    bool bError = true;
    EXPECT_NE(conn->ExecuteSP("SP_X", nullptr, &bError), nullptr);
    EXPECT_FALSE(bError);
    // AutoReconnect reopens and repeats without a message, as often as it takes.
    EXPECT_EQ(db->trace(), (QStringList{"ExecuteCommand:SP_X", "Close", "Open", "ExecuteCommand:SP_X",
                                        "Close", "Open", "ExecuteCommand:SP_X"}));
    EXPECT_TRUE(host->messages().empty());
}

TEST_F(Scripts, GetSpWritesTheCall) {
    qlQueryConstructor q;
    q.AddProcedureParam("@A", 1, ql_eDataType::TypeLong);
    q.AddProcedureParam("@B", "x", ql_eDataType::TypeVarChar);
    host->setMousePointer(3);
    host->clear();
    EXPECT_EQ(conn->GetSP("P", &q), "EXEC P\r    @A = 1,\r    @B = 'x'");
    EXPECT_EQ(conn->GetSP("P"), "EXEC P\r");
    EXPECT_EQ(host->pointerChanges(), (std::vector<int32_t>{11, 3, 11, 3}));
    EXPECT_TRUE(db->calls().empty());
}

} // namespace
} // namespace qldb::test
