// Single-value lookups, the table directory cache and the type maps, against a scripted server.
#include "connection_fixture.h"
#include "platform/conversions.h"

namespace qldb::test {
namespace {

using Lookups = ConnectionTest;

const QString kKeyField = QStringLiteral("SELECT TBKEY FROM SYS_TBL_TBC\rWHERE TBNAM = 'A01_ART'");

TEST_F(Lookups, TableInfoIsCachedWhateverItsAnswer) {
    db->respond(kKeyField, ScriptedConnection::Table({"TBKEY"}, {{"CODE"}}));
    db->respond(QStringLiteral("SELECT TBGRD FROM SYS_TBL_TBC\rWHERE TBNAM = 'A01_ART'"),
                ScriptedConnection::Table({"TBGRD"}, {{NullVariant()}}));
    db->respond(QStringLiteral("SELECT TBKEY FROM SYS_TBL_TBC\rWHERE TBNAM = 'NONE'"),
                ScriptedConnection::Table({"TBKEY"}, {}));

    EXPECT_EQ(conn->GetTableInfo(QStringLiteral("A01_ART"), ql_eTableInfo::KeyField), "CODE");
    EXPECT_EQ(conn->GetTableInfo(QStringLiteral("a01_art"), ql_eTableInfo::KeyField), "CODE");
    EXPECT_EQ(conn->GetTableInfo(QStringLiteral("A01_ART"), ql_eTableInfo::LayoutName), "");
    EXPECT_EQ(conn->GetTableInfo(QStringLiteral("A01_ART"), ql_eTableInfo::LayoutName), "");
    EXPECT_EQ(conn->GetTableInfo(QStringLiteral("NONE"), ql_eTableInfo::KeyField), "");
    EXPECT_EQ(conn->GetTableInfo(QStringLiteral("none"), ql_eTableInfo::KeyField), "");
    EXPECT_EQ(db->statements().size(), 3);

    // A failure is an empty answer, also when the statement routine would raise it, and is cached.
    raiseMode();
    db->fail(QStringLiteral("SELECT TBDES FROM SYS_TBL_TBC\rWHERE TBNAM = 'X'"), kErrUnknownTable,
             QStringLiteral("Invalid object name 'SYS_TBL_TBC'."));
    EXPECT_EQ(conn->GetTableInfo(QStringLiteral("X"), ql_eTableInfo::Description), "");
    EXPECT_EQ(conn->GetTableInfo(QStringLiteral("X"), ql_eTableInfo::Description), "");
    // A request outside the directory's columns sends a statement without a column.
    db->fail(QStringLiteral("SELECT  FROM SYS_TBL_TBC\rWHERE TBNAM = 'X'"), kErrSyntax,
             QStringLiteral("Incorrect syntax near the keyword 'FROM'."));
    EXPECT_EQ(conn->GetTableInfo(QStringLiteral("X"), static_cast<ql_eTableInfo>(21)), "");
    EXPECT_EQ(db->statements().size(), 5);
    EXPECT_TRUE(errors->reports().empty());

    // The cache outlives a reconnection.
    conn->CloseConnection();
    conn->OpenConnection();
    db->clearCalls();
    EXPECT_EQ(conn->GetTableInfo(QStringLiteral("A01_ART"), ql_eTableInfo::KeyField), "CODE");
    EXPECT_TRUE(db->statements().isEmpty());
}

TEST_F(Lookups, ValueQueries) {
    const QString byCode = QStringLiteral("SELECT DESCR\rFROM ART\rWHERE CODE = 'A''1'");
    db->respond(byCode, ScriptedConnection::Table({"DESCR"}, {{"Bolt"}}));
    db->respond(QStringLiteral("SELECT DESCR\rFROM ART\rWHERE CODE LIKE 'B%'\rAND (QTY > 0)"),
                ScriptedConnection::Table({"DESCR"}, {{"Bar"}, {NullVariant()}, {"Box"}}));
    db->respond(QStringLiteral("SELECT DESCR\rFROM ART\rWHERE ID = 7"),
                ScriptedConnection::Table({"DESCR"}, {}));

    bool present = false;
    EXPECT_EQ(conn->GetDbValue("ART", "CODE", "A'1", ql_eDataType::TypeChar, "DESCR", &present),
              QVariant("Bolt"));
    EXPECT_TRUE(present);
    present = false;
    EXPECT_TRUE(IsEmpty(conn->GetDbValue("ART", "ID", 7, ql_eDataType::TypeLong, "DESCR", &present)));
    EXPECT_FALSE(present);
    present = true;
    conn->GetDbValue("ART", "ID", 7, ql_eDataType::TypeLong, "DESCR", &present);
    EXPECT_TRUE(present) << "a missing row leaves bRecordPresent as the caller had it";
    EXPECT_EQ(
        conn->GetDbValue("ART", "CODE", "B%", ql_eDataType::TypeChar, "DESCR", nullptr, true, "QTY > 0"),
        QVariant("Bar"));
    EXPECT_EQ(
        conn->GetDbValues("ART", "CODE", "B%", ql_eDataType::TypeChar, "DESCR", &present, true, "QTY > 0"),
        QVariant("Bar,,Box"));
    EXPECT_EQ(conn->GetDbValues("ART", "CODE", "B%", ql_eDataType::TypeChar, "DESCR", nullptr, true,
                                "QTY > 0", " | "),
              QVariant("Bar |  | Box"));

    db->respond(
        QStringLiteral("SELECT VLTXT\rFROM SYS_VAL\rWHERE VLTAB = 'ART' AND \r      VLFLD = 'KIND' AND \r"
                       "      VLVAL = '2'"),
        ScriptedConnection::Table({"VLTXT"}, {{"Service"}}));
    EXPECT_EQ(conn->GetSystemValue("ART", "KIND", 2), QVariant("Service"));

    db->respond(QStringLiteral("SELECT dbo.fn_Price ('A1') AS Expr1"),
                ScriptedConnection::Table({"Expr1"}, {{9.5}}));
    EXPECT_EQ(conn->GetFunctionValue("fn_Price", "A1", ql_eDataType::TypeChar), QVariant(9.5));
    // No statement for other types: the empty one goes out and its failure reaches the caller.
    raiseMode();
    db->fail(QString(), kErrSyntax, QStringLiteral("Command text was not set for the command object."));
    EXPECT_THROW(conn->GetFunctionValue("fn_Price", "A1", ql_eDataType::TypeMemo), qlException);
    EXPECT_EQ(db->statements().last(), "");
}

TEST_F(Lookups, MaxValue) {
    db->respond(QStringLiteral("SELECT MAX(RECORD_ID), COUNT(RECORD_ID) FROM SYS_ATT\r"),
                ScriptedConnection::Table({"m", "c"}, {{NullVariant(), 0}}));
    db->respond(QStringLiteral("SELECT MAX(NUM), COUNT(NUM) FROM DOC\rWHERE YEAR = 2024"),
                ScriptedConnection::Table({"m", "c"}, {{"12abc", 3}}));
    db->respond(QStringLiteral("SELECT MAX(PRICE), COUNT(PRICE) FROM ART\r"),
                ScriptedConnection::Table({"m", "c"}, {{99.9, 1}}));
    bool any = true;
    EXPECT_EQ(conn->GetMaxValue("SYS_ATT", "RECORD_ID", QString(), &any), 0);
    EXPECT_FALSE(any);
    EXPECT_EQ(conn->GetMaxValue("DOC", "NUM", "YEAR = 2024", &any), 12);
    EXPECT_TRUE(any);
    EXPECT_EQ(conn->GetMaxValue("ART", "PRICE"), 99);
}

TEST_F(Lookups, ExistenceWithTheLikeFallback) {
    const QString exact = QStringLiteral("SELECT CODE\rFROM ART\rWHERE CODE = 'bol'\rAND KIND = 1");
    const QString like = QStringLiteral("SELECT CODE\rFROM ART\rWHERE CODE LIKE '%bol%'\rAND KIND = 1");
    db->respond(exact, ScriptedConnection::Table({"CODE"}, {}));
    db->respond(like, ScriptedConnection::Table({"CODE"}, {{"BOLT"}, {"BOLLARD"}, {"SYMBOL"}}));
    db->respond(QStringLiteral("SELECT ID\rFROM ART\rWHERE ID = 7"), ScriptedConnection::Table({"ID"}, {}));
    db->respond(QStringLiteral("SELECT ID\rFROM ART\rWHERE ID = 8"),
                ScriptedConnection::Table({"ID"}, {{8}}));

    EXPECT_FALSE(conn->CheckExistValue("ART", "CODE", "bol", ql_eDataType::TypeChar, "KIND = 1"));
    EXPECT_TRUE(conn->CheckExistValue("ART", "ID", 8, ql_eDataType::TypeLong));

    db->clearCalls();
    std::shared_ptr<Recordset> rs;
    EXPECT_EQ(conn->CheckExistValueWithLike("ART", "CODE", "bol", ql_eDataType::TypeChar, &rs, "KIND = 1"),
              3);
    EXPECT_EQ(db->statements(), (QStringList{exact, like}));
    ASSERT_NE(rs, nullptr);
    EXPECT_EQ(rs->Value(0), QVariant("BOLT"));

    // A number is never searched by LIKE.
    db->clearCalls();
    EXPECT_EQ(conn->CheckExistValueWithLike("ART", "ID", 7, ql_eDataType::TypeLong), 0);
    EXPECT_EQ(conn->CheckExistValueWithLike("ART", "ID", 8, ql_eDataType::TypeLong), 1);
    EXPECT_EQ(db->statements().size(), 2);
}

TEST_F(Lookups, FailureKinds) {
    raiseMode();
    db->fail(QStringLiteral("SELECT DESCR\rFROM ART\rWHERE CODE = 'X'"), kErrUnknownTable,
             QStringLiteral("Invalid object name 'ART'."));
    db->fail(QStringLiteral("UPDATE ART\rSET DESCR = 'Y'\rWHERE CODE = 'X'"), kErrIntegrity,
             QStringLiteral("The UPDATE statement conflicted with a constraint."));
    // Pass through: the same number and description reach the caller.
    try {
        conn->GetDbValue("ART", "CODE", "X", ql_eDataType::TypeChar, "DESCR");
        ADD_FAILURE() << "GetDbValue should raise";
    } catch (const qlException& e) {
        EXPECT_EQ(e.number(), kErrUnknownTable);
        EXPECT_EQ(e.description(), "Invalid object name 'ART'.");
    }
    EXPECT_THROW(conn->CheckExistValue("ART", "CODE", "X", ql_eDataType::TypeChar), qlException);
    // Clear: False, and nothing raised.
    EXPECT_FALSE(
        conn->SetDbValue("ART", "CODE", ql_eDataType::TypeChar, "X", "DESCR", ql_eDataType::TypeChar, "Y"));
    EXPECT_TRUE(conn->SetDbValue("ART", "ID", ql_eDataType::TypeLong, 4, "QTY", ql_eDataType::TypeDbl, 3.5));
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(Lookups, CharFilterAndTypeMaps) {
    EXPECT_EQ(conn->GetCharFilter("*"), "%");
    EXPECT_EQ(conn->GetCharFilter("%"), "%");
    EXPECT_EQ(conn->GetCharFilter("?"), "");
    conn->setProviderType(ql_eProviderType::ODBC);
    EXPECT_EQ(conn->GetCharFilter("*"), "%");
    conn->setProviderType(ql_eProviderType::Oracle);
    EXPECT_EQ(conn->GetCharFilter("*"), "");

    Recordset rs({{"bin", ado::adBinary, 8},
                  {"ts", ado::adDBTimeStamp, 0},
                  {"txt", ado::adVarWChar, 10},
                  {"bool", ado::adBoolean, 0},
                  {"vnum", 139, 0}},
                 {{QByteArray("x"), QDateTime(), "t", true, 1}});
    // Binary counts as numeric on purpose; a boolean is neither.
    EXPECT_TRUE(conn->IsNumericField(rs.Fields(0)));
    EXPECT_FALSE(conn->IsDateField(rs.Fields(0)));
    EXPECT_TRUE(conn->IsDateField(rs.Fields(1)));
    EXPECT_FALSE(conn->IsNumericField(rs.Fields(2)));
    EXPECT_FALSE(conn->IsNumericField(rs.Fields(3)));
    EXPECT_TRUE(conn->IsNumericField(rs.Fields(4)));

    // The controls' numbers; single precision goes with the integers in the input format.
    EXPECT_EQ(static_cast<int32_t>(conn->MatchADOType(ado::adSingle)), 2);
    EXPECT_EQ(static_cast<int32_t>(conn->MatchADOType(ado::adBoolean)), 7);
    EXPECT_EQ(static_cast<int32_t>(conn->MatchADOType(ado::adVarWChar)), 12);
    EXPECT_EQ(static_cast<int32_t>(conn->GetTextBoxType(ado::adBinary)), 5);
    EXPECT_EQ(static_cast<int32_t>(conn->GetTextBoxType(ado::adBoolean)), 0);
}

} // namespace
} // namespace qldb::test
