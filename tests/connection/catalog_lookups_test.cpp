// The lookups beyond their statements: the table directory cache, the flags they set, how their
// failures reach the caller, and the type maps.
#include "connection_fixture.h"
#include "platform/conversions.h"

namespace qldb::test {
namespace {

using Lookups = ConnectionTest;
using enum ql_eDataType;
using I = ql_eTableInfo;
const auto T = ScriptedConnection::Table;

TEST_F(Lookups, TableInfoIsCachedWhateverItsAnswer) {
    db->respond("SELECT TBKEY FROM SYS_TBL_TBC\rWHERE TBNAM = 'A01_ART'", T({"TBKEY"}, {{"CODE"}}));
    db->respond("SELECT TBGRD FROM SYS_TBL_TBC\rWHERE TBNAM = 'A01_ART'", T({"TBGRD"}, {{NullVariant()}}));
    db->respond("SELECT TBKEY FROM SYS_TBL_TBC\rWHERE TBNAM = 'NONE'", T({"TBKEY"}, {}));
    // A failure reads as no entry, also where the statement routine would raise it.
    raiseMode();
    db->fail("SELECT TBDES FROM SYS_TBL_TBC\rWHERE TBNAM = 'X'", kErrUnknownTable, "Invalid object name");
    for (const char* table : {"A01_ART", "a01_art"})
        EXPECT_EQ(conn->GetTableInfo(table, I::KeyField) + "|" + conn->GetTableInfo(table, I::LayoutName) +
                      "|" + conn->GetTableInfo("NONE", I::KeyField) + "|" +
                      conn->GetTableInfo("X", I::Description),
                  "CODE|||");
    EXPECT_EQ(db->statements().size(), 4);
    EXPECT_TRUE(errors->reports().empty());
    // The cache outlives a reconnection.
    conn->CloseConnection();
    conn->OpenConnection();
    db->clearCalls();
    EXPECT_EQ(conn->GetTableInfo("A01_ART", I::KeyField), "CODE");
    EXPECT_TRUE(db->statements().isEmpty());
}

TEST_F(Lookups, FlagsAndTheRecordsetHandedBack) {
    db->respond("SELECT D\rFROM ART\rWHERE ID = 7", T({"D"}, {}));
    // A missing row leaves bRecordPresent as the caller had it.
    for (bool present : {false, true}) {
        const bool before = present;
        EXPECT_TRUE(IsEmpty(conn->GetDbValue("ART", "ID", 7, TypeLong, "D", &present)));
        EXPECT_EQ(present, before);
    }
    // The LIKE search hands back its rows from the first.
    db->respond("SELECT C\rFROM ART\rWHERE C = 'bo'", T({"C"}, {}));
    db->respond("SELECT C\rFROM ART\rWHERE C LIKE '%bo%'", T({"C"}, {{"BOLT"}, {"BOX"}}));
    std::shared_ptr<Recordset> rs;
    EXPECT_EQ(conn->CheckExistValueWithLike("ART", "C", "bo", TypeChar, &rs), 2);
    ASSERT_NE(rs, nullptr);
    EXPECT_EQ(rs->Value(0), QVariant("BOLT"));
}

TEST_F(Lookups, FailureKindsCharFilterAndTypeMaps) {
    raiseMode();
    db->fail("SELECT D\rFROM ART\rWHERE C = 'X'", kErrUnknownTable, "Invalid object name 'ART'.");
    db->fail("UPDATE ART\rSET D = 'Y'\rWHERE C = 'X'", kErrIntegrity, "conflicted with a constraint");
    // The lookups leave their failures to the caller; SetDbValue clears them and answers False.
    EXPECT_THROW(conn->GetDbValue("ART", "C", "X", TypeChar, "D"), qlException);
    EXPECT_FALSE(conn->SetDbValue("ART", "C", TypeChar, "X", "D", TypeChar, "Y"));
    // A function value of another type has no statement: the empty one goes out and fails.
    db->fail(QString(), kErrSyntax, "Command text was not set for the command object.");
    EXPECT_THROW(conn->GetFunctionValue("fn_Price", "A1", TypeMemo), qlException);
    EXPECT_TRUE(errors->reports().empty());

    EXPECT_EQ(conn->GetCharFilter("*") + conn->GetCharFilter("%") + conn->GetCharFilter("?"), "%%");
    conn->setProviderType(ql_eProviderType::Oracle);
    EXPECT_EQ(conn->GetCharFilter("*"), "");
    // Binary counts as numeric on purpose; a boolean is neither.
    Recordset rs({{"bin", ado::adBinary, 8}, {"b", ado::adBoolean, 0}}, {{QByteArray("x"), true}});
    EXPECT_TRUE(conn->IsNumericField(rs.Fields(0)) && !conn->IsDateField(rs.Fields(0)));
    EXPECT_FALSE(conn->IsNumericField(rs.Fields(1)) || conn->IsDateField(rs.Fields(1)));
}

} // namespace
} // namespace qldb::test
