// Table alteration: the repairs of an update pass as the exact statements sent and log lines
// written, in order; the transactional column script; the creation of a missing table.
#include "structure/table_fixture.h"

#include <QRegularExpression>

namespace qldb::test {
namespace {

class TableAlteration : public TableTest {
protected:
    void SetUp() override {
        TableTest::SetUp();
        database.setVerifyDatabaseMode(ql_eVerifyMode::UpdateModality);
        select("T1");
    }
};

TEST_F(TableAlteration, ColumnRepairsInOnePass) {
    // NOTE goes to memo through the rename route; QTY, after it in the same table, then runs in a
    // transaction too. CODE grows, PRICE's default changes, NAME's description alone changes.
    // QTY's default reads empty before its rebuild and the file's after it; these answers come
    // before the table's own.
    attribute("T1", "QTY", "COLUMN_DEFAULT", "", true);
    attribute("T1", "QTY", "COLUMN_DEFAULT", "(0)");
    table("T1", {{.Name = "NOTE", .Type = ado::adVarChar, .Size = 50},
                 {.Name = "QTY", .Nullable = true},
                 {.Name = "CODE", .Type = ado::adVarChar, .Size = 10},
                 {.Name = "PRICE", .Type = ado::adDouble, .Size = 8, .Default = "(0)"},
                 {.Name = "NAME", .Type = ado::adVarChar, .Size = 20, .Description = QStringLiteral("Old")}});
    const QDomNode t1 = node(
        "T1",
        {{.Name = "NOTE", .Type = "TypeMemo", .Size = "16"},
         {.Name = "QTY", .AllowsNull = "False", .Default = "(0)"},
         {.Name = "CODE", .Type = "TypeVarChar", .Size = "20"},
         {.Name = "PRICE", .Type = "TypeDbl", .Size = "8", .Default = "(1)"},
         {.Name = "NAME", .Type = "TypeVarChar", .Size = "20", .Description = "It's new"},
         {.Name = "ADDED", .Type = "TypeVarChar", .Size = "10", .Default = "('x')", .Description = "Added"}});
    VariantArray2 rows;
    EXPECT_EQ(check("T1", t1, rows), ql_eTableStatus::TableUpdated);
    const QStringList expected = {
        "BEGIN",
        "EXEC sp_rename 'T1.NOTE', 'NOTE_OLD', 'COLUMN' ",
        "ALTER TABLE T1 ADD NOTE TEXT COLLATE Latin1_General_CI_AS NULL",
        "UPDATE T1 SET NOTE =NOTE_OLD",
        "ALTER TABLE T1 DROP COLUMN NOTE_OLD ",
        "COMMIT",
        "BEGIN",
        "ALTER TABLE T1\r\n ALTER COLUMN \r\n QTY INTEGER",
        "UPDATE T1\r\nSET QTY = 0\r\n WHERE QTY IS NULL\r\n",
        "ALTER TABLE T1\r\n ALTER COLUMN \r\n QTY INTEGER NOT NULL",
        "COMMIT",
        "ALTER TABLE T1 WITH NOCHECK ADD CONSTRAINT [DF_T1_QTY] DEFAULT 0 FOR [QTY]",
        "BEGIN",
        "ALTER TABLE T1\r\n ALTER COLUMN \r\n CODE VARCHAR(20) COLLATE Latin1_General_CI_AS NULL",
        "COMMIT",
        "ALTER TABLE T1 DROP CONSTRAINT [DF_T1_PRICE]\r\n",
        "ALTER TABLE T1 WITH NOCHECK ADD CONSTRAINT [DF_T1_PRICE] DEFAULT 1 FOR [PRICE]",
        "EXEC sp_dropextendedproperty 'MS_Description', 'user', dbo, 'table', 'T1', 'column', 'NAME'\r\n"
        "EXEC sp_addextendedproperty 'MS_Description', 'It''s new', 'user', dbo, 'table', 'T1', 'column', "
        "'NAME'",
        "ALTER TABLE T1\r\n ADD \r\n ADDED VARCHAR(10) COLLATE Latin1_General_CI_AS NULL",
        "EXEC sp_addextendedproperty 'MS_Description', 'Added', 'user', dbo, 'table', 'T1', 'column', "
        "'ADDED'",
        "ALTER TABLE T1 WITH NOCHECK ADD CONSTRAINT [DF_T1_ADDED] DEFAULT 'x' FOR [ADDED]",
    };
    EXPECT_EQ(repairs(), expected);
    QStringList shown = expected;
    shown.replaceInStrings(QRegularExpression("^BEGIN$"), "T:(BEGIN TRANSACTION)");
    shown.replaceInStrings(QRegularExpression("^COMMIT$"), "T:(COMMIT TRANSACTION)");
    EXPECT_EQ(lines(), shown);
    // The rows are written in update mode too; QTY's default was repaired before its check.
    EXPECT_EQ(rows.RowCount(), 6);
    EXPECT_EQ(rowsOf(rows).filter("QTY|"), QStringList{"QTY|Field|Allow Null Changed|True|False"});
}

TEST_F(TableAlteration, UserColumnKeptOrDroppedWithItsDefaultAndIndex) {
    for (const bool drop : {false, true}) {
        use(true);
        table("T1", {{.Name = "A"}, {.Name = "OLD", .Default = "(0)"}}, {}, QString(),
              {{"IX_OLD", "OLD, A", "CREATE INDEX IX_OLD ON T1 (OLD, A)"}});
        database.setDeleteFields(drop);
        VariantArray2 rows;
        check("T1", node("T1", {{.Name = "A"}}), rows);
        EXPECT_EQ(rowsOf(rows).first(), "OLD|Field|User Defined||");
        EXPECT_EQ(repairs(),
                  drop ? QStringList({"ALTER TABLE T1 DROP CONSTRAINT [DF_T1_OLD]\r\n",
                                      "DROP INDEX T1.IX_OLD", "ALTER TABLE T1\r\n DROP COLUMN \r\n OLD"})
                       : QStringList());
    }
}

TEST_F(TableAlteration, PrimaryKeyAndIndexes) {
    // The key gains CODE; IX_B changed, IX_C is new, IX_U is the user's and DeleteObjects is set.
    table(
        "T1", {{.Name = "ID", .Nullable = false}, {.Name = "CODE", .Nullable = false}}, {"ID"}, "PK_T1",
        {{"IX_B", "CODE", "CREATE INDEX IX_B ON T1 (CODE)"}, {"IX_U", "ID", "CREATE INDEX IX_U ON T1 (ID)"}});
    database.setDeleteObjects(true);
    const QDomNode t1 =
        node("T1",
             {{.Name = "ID", .AllowsNull = "False", .PrimaryKey = "True"},
              {.Name = "CODE", .AllowsNull = "False", .PrimaryKey = "True"}},
             {{"IX_B", "CREATE INDEX IX_B ON T1 (CODE DESC)"}, {"IX_C", "CREATE INDEX IX_C ON T1 (ID)"}});
    VariantArray2 rows;
    check("T1", t1, rows);
    // The dropped key's name stays in the names the new one avoids: it comes back numbered.
    EXPECT_EQ(repairs(), QStringList({"ALTER TABLE T1 DROP CONSTRAINT PK_T1",
                                      "ALTER TABLE T1 ADD CONSTRAINT PK_T11\r\n PRIMARY KEY (\r\nID,CODE)",
                                      "DROP INDEX T1.IX_B", "CREATE INDEX IX_B ON T1 (CODE DESC)",
                                      "CREATE INDEX IX_C ON T1 (ID)", "DROP INDEX T1.IX_U"}));
    EXPECT_EQ(rowsOf(rows),
              QStringList({"PK_T1|Primary Key|Primary Key Changed||", "IX_B|Index|Index Changed||",
                           "IX_C|Index|New Index||", "IX_U|Index|User Defined||"}));

    // The file's last index is named like the primary key: the user index goes as a constraint.
    use(true);
    table("T1", {{.Name = "A"}}, {"A"}, "PK_T1", {{"IX_U", "A", "CREATE INDEX IX_U ON T1 (A)"}});
    check("T1", node("T1", {{.Name = "A", .PrimaryKey = "True"}}, {{"PK_T1", "anything"}}), rows);
    EXPECT_EQ(repairs(), QStringList({"anything", "ALTER TABLE T1 DROP CONSTRAINT IX_U"}));
}

TEST_F(TableAlteration, FailedStatementsAreLoggedRedAndThePassGoesOn) {
    table("T1", {{.Name = "A"}, {.Name = "B", .Type = ado::adVarChar, .Size = 5}});
    db->failIf([](const QString& s) { return s.contains("B VARCHAR(9)"); }, kErrSyntax, "Cannot alter B");
    raiseMode();
    VariantArray2 rows;
    check("T1",
          node("T1", {{.Name = "A", .Type = "TypeLong"},
                      {.Name = "B", .Type = "TypeVarChar", .Size = "9"},
                      {.Name = "C"}}),
          rows);
    EXPECT_EQ(lines(),
              QStringList({
                  "ALTER TABLE T1\r\n ALTER COLUMN \r\n A BIGINT NULL",
                  "E:ALTER TABLE T1\r\n ALTER COLUMN \r\n B VARCHAR(9) COLLATE Latin1_General_CI_AS NULL\r\n"
                  "(Error Description:Cannot alter B)\r\n",
                  "ALTER TABLE T1\r\n ADD \r\n C INTEGER NULL",
              }));
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedWithErrors);
}

TEST_F(TableAlteration, TransactionStopsAtTheFirstFailureAndRollsBack) {
    raiseMode();
    db->fail("UPDATE T1 SET NOTE =NOTE_OLD", kErrSyntax, "Conversion failed");
    const QStringList script{"EXEC sp_rename 'T1.NOTE', 'NOTE_OLD', 'COLUMN' ",
                             "ALTER TABLE T1 ADD NOTE TEXT NULL", "UPDATE T1 SET NOTE =NOTE_OLD",
                             "ALTER TABLE T1 DROP COLUMN NOTE_OLD "};
    EXPECT_FALSE(Access::TranAlterTable(database, script.join(kAlterSeparator)));
    EXPECT_EQ(repairs(), QStringList{"BEGIN"} + script.mid(0, 3) + QStringList{"ROLLBACK"});
    EXPECT_EQ(lines(),
              QStringList({"T:(BEGIN TRANSACTION)", script[0], script[1],
                           "E:UPDATE T1 SET NOTE =NOTE_OLD\r\n(Error Description:Conversion failed)\r\n",
                           "T:(ROLLBACK TRANSACTION)"}));
    EXPECT_EQ(host->MousePointer(), kPointerDefault);
}

TEST_F(TableAlteration, MissingTableCreatedFromTheFile) {
    // System tables keep the database's collation: no clause.
    for (const auto& [name, collate] :
         {std::pair{"[#FIRM#]ART", " COLLATE Latin1_General_CI_AS"}, std::pair{"SYS_ART", ""}}) {
        db->clearCalls();
        log->calls.clear();
        // clang-format off
        const QDomNode art = node(name, {{.Name = "ID", .Type = "TypeCounter", .AllowsNull = "False", .PrimaryKey = "True"},
                                         {.Name = "DES", .Type = "TypeVarCharUnicode", .Size = "40", .Default = "('-')", .Description = "Name"}},
                                  {{"IX_[#FIRM#]ART", "CREATE INDEX IX_[#FIRM#]ART ON [#FIRM#]ART (DES)"}});
        // clang-format on
        const QString table = QString(name).replace("[#FIRM#]", "A01_");
        const QString property =
            "EXEC sp_addextendedproperty 'MS_Description', '%1', 'user', dbo, 'table', '" + table +
            "', 'column', '%2';\r\n";
        EXPECT_TRUE(Access::Create(database, table, art, "A01_|B02_", true));
        EXPECT_EQ(repairs(),
                  QStringList({"CREATE TABLE dbo." + table +
                                   "\r\n(\r\n  ID INTEGER IDENTITY(1, 1) NOT NULL,\r\n  DES NVARCHAR(40)" +
                                   collate + " NULL DEFAULT (N'-'),\r\n  PRIMARY KEY (ID)\r\n);\r\n" +
                                   property.arg(QString(), QStringLiteral("ID")) +
                                   property.arg(QStringLiteral("Name"), QStringLiteral("DES")),
                               "CREATE INDEX IX_A01_ART ON A01_ART (DES)"}));
        EXPECT_EQ(lines().size(), 2);
    }
    // A failed statement makes the answer false.
    db->failIf([](const QString& s) { return s.startsWith("CREATE TABLE"); }, kErrSyntax, "exists");
    raiseMode();
    EXPECT_FALSE(Access::Create(database, "X", node("X", {{.Name = "A"}}), "", false));
}

} // namespace
} // namespace qldb::test
