// Table verification in verify mode: the rows of every difference, the order of the checks, the
// table's status, and the triggers switched off and on around the pass.
#include "structure/table_fixture.h"

namespace qldb::test {
namespace {

using Status = ql_eTableStatus;
const QStringList kTriggers = {"ALTER TABLE T1 DISABLE TRIGGER ALL", "ALTER TABLE T1 ENABLE TRIGGER ALL"};

class TableVerification : public TableTest {};

TEST_F(TableVerification, ColumnDifferencesInCheckOrder) {
    // One column changes in every way at once: type, size, null, collation, default, description.
    // clang-format off
    table("T1", {{.Name = "ID", .Nullable = false},
                 {.Name = "Name", .Type = ado::adVarChar, .Size = 30, .Default = "('a')", .Description = QStringLiteral("Old"),
                  .Collation = "SQL_Latin1_General_CP1_CI_AS"},
                 {.Name = "EXTRA"}}, {"ID"}, "PK_T1");
    const QDomNode t1 = node("T1", {{.Name = "ID", .AllowsNull = "False", .PrimaryKey = "True"},
                                    {.Name = "NAME", .Type = "TypeVarCharUnicode", .Size = "40.9", .AllowsNull = "False",
                                     .Default = "('b')", .Description = "New"},
                                    {.Name = "ADDED", .Type = "TypeDateTime"}});
    // clang-format on
    VariantArray2 rows;
    EXPECT_EQ(check("T1", t1, rows), Status::TableMustUpdated);
    EXPECT_EQ(rowsOf(rows), QStringList({
                                "Name|Field|Data Type Changed|TypeVarChar|TypeVarCharUnicode",
                                "Name|Field|Data Size Changed|30|40",
                                "Name|Field|Allow Null Changed|True|False",
                                "Name|Field|Comparison Roule|SQL_Latin1_General_CP1_CI_AS|" + kCollation,
                                "Name|Field|Default Value Changed|('a')|('b')",
                                "Name|Field|Description Changed|Old|New",
                                "EXTRA|Field|User Defined||",
                                "ADDED|Field|New Field||",
                            }));
    EXPECT_TRUE(repairs().isEmpty());
    EXPECT_EQ(pieces().first(), kTriggers[0]); // triggers off first, on last
    EXPECT_EQ(pieces().last(), kTriggers[1]);
}

TEST_F(TableVerification, CounterAgainstOtherTypes) {
    // A counter of the database is left alone against any other type, outside history mode only.
    using M = ql_eVerifyMode;
    const struct {
        M mode;
        const char* xmlType;
        bool reported;
    } cases[] = {{M::VerifyModality, "TypeLong", false},      {M::VerifyModality, "TypeInt", false},
                 {M::VerifyModality, "TypeBigCounter", true}, {M::VerifyModality, "TypeCounter", false},
                 {M::HistoryModality, "TypeLong", true},      {M::HistoryModality, "TypeCounter", false}};
    table("T1", {{.Name = "ID", .Identity = true}});
    for (const auto& c : cases) {
        database.setVerifyDatabaseMode(c.mode);
        VariantArray2 rows;
        check("T1", node("T1", {{.Name = "ID", .Type = c.xmlType}}), rows);
        EXPECT_EQ(rowsOf(rows).join(';'),
                  c.reported ? "ID|Field|Data Type Changed|TypeCounter|" + QString(c.xmlType) : "")
            << c.xmlType << " " << static_cast<int>(c.mode);
    }
}

TEST_F(TableVerification, IndexesCompareWithoutWhiteSpaceAndNamesByCaseRules) {
    // Column and table names differing only in case are the same.
    table("Orders", {{.Name = "Qty"}});
    VariantArray2 rows;
    EXPECT_EQ(check("Orders", node("ORDERS", {{.Name = "QTY"}}), rows), Status::TableUpdated);
    EXPECT_EQ(rows.UBound(2), 0);

    table("T1", {{.Name = "A"}}, {}, QString(),
          {{"IX_SAME", "A", "CREATE INDEX IX_SAME ON T1 (A)"},
           {"IX_CHANGED", "A", "CREATE INDEX IX_CHANGED ON T1 (A)"},
           {"IX_MIXED", "A", "CREATE INDEX IX_Mixed ON T1 (A)"},
           {"IX_USER", "A", "CREATE INDEX IX_USER ON T1 (A)"}});
    const QDomNode t1 = node("T1", {{.Name = "A"}},
                             {{"IX_SAME", "CREATE  INDEX\r\n\tIX_SAME ON T1(A)"},
                              {"IX_CHANGED", "CREATE INDEX IX_CHANGED ON T1 (A DESC)"},
                              {"IX_Mixed", "CREATE INDEX IX_Mixed ON T1 (A)"},
                              {"IX_NEW", "CREATE INDEX IX_NEW ON T1 (A)"}});
    EXPECT_EQ(check("T1", t1, rows), Status::TableMustUpdated);
    // The file's mixed-case name is found among the database's names, whose upper-case name is
    // then not found among the file's exactly.
    EXPECT_EQ(rowsOf(rows), QStringList({"IX_CHANGED|Index|Index Changed||", "IX_NEW|Index|New Index||",
                                         "IX_MIXED|Index|User Defined||", "IX_USER|Index|User Defined||"}));
}

TEST_F(TableVerification, StatusFromTheKindsOfRows) {
    // Only user rows: with user items; only rebuild rows: up to date; anything else: to update.
    const struct {
        const char* what;
        bool rebuildIndexes, fileIndex;
        QStringList keys;
        std::vector<DbColumn> columns;
        std::vector<XmlField> fields;
        Status status;
        int rowCount;
    } cases[] = {
        // clang-format off
        {"user column and index", false, false, {"A"}, {{.Name = "A"}, {.Name = "U"}}, {{.Name = "A"}},
         Status::TableWithUserDefined, 2},
        {"rebuild rows only", true, true, {"A"}, {{.Name = "A"}}, {{.Name = "A", .PrimaryKey = "True"}},
         Status::TableUpdated, 2},
        {"rebuild and user rows", true, true, {"A"}, {{.Name = "A"}, {.Name = "U"}},
         {{.Name = "A", .PrimaryKey = "True"}}, Status::TableMustUpdated, 3},
        {"description only", false, true, {"A"}, {{.Name = "A"}}, {{.Name = "A", .Description = "Quantity"}},
         Status::TableMustUpdated, 1},
        // The database keys one more column than the file: nothing to say.
        {"key of the database only", false, true, {"A", "B"}, {{.Name = "A"}, {.Name = "B"}},
         {{.Name = "a", .PrimaryKey = "True"}, {.Name = "B"}}, Status::TableUpdated, 0},
        // clang-format on
    };
    for (const auto& c : cases) {
        use(true);
        table("T1", c.columns, c.keys, "PK_T1", {{"IX_A", "A", "CREATE INDEX IX_A ON T1 (A)"}});
        database.setRebuildIndexes(c.rebuildIndexes);
        VariantArray2 rows;
        const QDomNode t1 = node("T1", c.fields,
                                 c.fileIndex ? std::vector<XmlIndex>{{"IX_A", "CREATE INDEX IX_A ON T1 (A)"}}
                                             : std::vector<XmlIndex>{});
        EXPECT_EQ(check("T1", t1, rows), c.status) << c.what << ": " << rowsOf(rows).join(';').toStdString();
        EXPECT_EQ(rows.RowCount(), c.rowCount) << c.what;
    }
    // The file keys a column the database doesn't.
    use(true);
    table("T1", {{.Name = "A"}, {.Name = "B"}}, {"A"}, "PK_T1");
    VariantArray2 rows;
    check("T1", node("T1", {{.Name = "A", .PrimaryKey = "True"}, {.Name = "B", .PrimaryKey = "True"}}), rows);
    EXPECT_EQ(rowsOf(rows), QStringList({"PK_T1|Primary Key|Primary Key Changed||"}));
}

TEST_F(TableVerification, EarlyEndsAndTablesOutsideTheDatabaseOrInTheFile) {
    VariantArray2 rows;
    // No node and no file: -1, and the triggers are on again.
    EXPECT_EQ(static_cast<int32_t>(database.CheckTable("T1", rows, QDomNode(), "/nonexistent/s.xml")), -1);
    EXPECT_EQ(pieces(), kTriggers);
    EXPECT_EQ(rows.UBound(2), 0);
    // A table of the file that the database lacks: no rows, up to date.
    EXPECT_EQ(check("T9", node("T9", {{.Name = "A"}}), rows), Status::TableUpdated);
    EXPECT_EQ(rows.RowCount(), 0);
    // A Table node whose field lacks its children and that has no Indexes: the empty texts are
    // reported as differences, nothing is sent.
    table("T1", {{.Name = "A"}});
    QDomDocument bare;
    ASSERT_TRUE(ParseStructureDocument(
        "<Table><TableName>T1</TableName><Fields><Field><FieldName>A</FieldName></Field></Fields></Table>",
        bare));
    EXPECT_EQ(check("T1", bare.documentElement(), rows), Status::TableMustUpdated);
    EXPECT_EQ(rowsOf(rows),
              QStringList({"A|Field|Data Type Changed|TypeInt|", "A|Field|Allow Null Changed|True|"}));
    EXPECT_TRUE(repairs().isEmpty());
    // In an update the same node repairs nothing, and a new column from an incomplete node is not
    // added: an error line says why, and the run counts as one with errors.
    ASSERT_TRUE(
        ParseStructureDocument("<Table><TableName>T1</TableName><Fields><Field><FieldName>A</FieldName>"
                               "</Field><Field><FieldName>B</FieldName></Field></Fields></Table>",
                               bare));
    database.setVerifyDatabaseMode(ql_eVerifyMode::UpdateModality);
    database.setAutoUpdate(true);
    check("T1", bare.documentElement(), rows);
    EXPECT_TRUE(repairs().isEmpty()) << repairs().join('\n').toStdString();
    EXPECT_TRUE(log->Text().contains("Field T1.A is incomplete in the structure file: not changed"));
    EXPECT_TRUE(log->Text().contains("Field T1.B is incomplete in the structure file: not changed"));
    EXPECT_EQ(database.VerifyDatabaseResult(), ql_eVerifyResult::evrUpdatedWithErrors);
    database.setVerifyDatabaseMode(ql_eVerifyMode::VerifyModality);
    database.setAutoUpdate(false);
    // The node looked up in a file, by the name with the firm's marker.
    const QString field =
        "<Field><FieldName>%1</FieldName><X/><Description/><DataType>TypeInt</DataType><FieldSize>4"
        "</FieldSize><AllowsNull>True</AllowsNull><DefaultValue/><PrimaryKey>False</PrimaryKey></Field>";
    const QString file =
        write("s.xml", "<?xml version=\"1.0\"?><Db><DatabaseName/><Company/><ProductName/>"
                       "<StructureVersion/><DataTimeVersion/><Tables><Table><TableName>[#firm#]ART"
                       "</TableName><Fields>" +
                           field.arg("A") + field.arg("B") + "</Fields></Table></Tables></Db>");
    table("B02_ART", {{.Name = "A"}});
    bool removePrefix = true;
    EXPECT_EQ(database.CheckTable("B02_ART", rows, QDomNode(), file, "A01_|B02_", &removePrefix),
              Status::TableMustUpdated);
    EXPECT_EQ(rowsOf(rows), QStringList({"B|Field|New Field||"}));
    // Without the marker's removal the file's name is taken as it stands: no node, no rows.
    removePrefix = false;
    EXPECT_EQ(database.CheckTable("B02_ART", rows, QDomNode(), file, "A01_|B02_", &removePrefix),
              Status::TableUpdated);
    EXPECT_EQ(rows.RowCount(), 0);
}

TEST_F(TableVerification, ErrorsCountedOrReported) {
    // The key read fails: with bAutoIgnore only counted; otherwise reported, and "go on" counts it
    // too, while "leave" ends the pass with -1 and the triggers on again.
    raiseMode();
    db->fail(catalog_sql::TableKeys(kSqlServer, "T1"), kErrSyntax, "bad");
    table("T1", {{.Name = "A"}});
    const QDomNode t1 = node("T1", {{.Name = "A", .PrimaryKey = "True"}});
    VariantArray2 rows;
    int32_t counter = 5;
    check("T1", t1, rows, true, &counter);
    EXPECT_EQ(counter, 6);
    EXPECT_EQ(errors->reports().size(), 0u);
    errors->queueDecision(kDecisionGoOn);
    check("T1", t1, rows, false, &counter);
    EXPECT_EQ(counter, 7);
    EXPECT_EQ(errors->reports().size(), 1u);
    EXPECT_EQ(rowsOf(rows), QStringList({"PK_T1|Primary Key|Primary Key Changed||"}));
    errors->queueDecision(kDecisionLeave);
    EXPECT_EQ(static_cast<int32_t>(check("T1", t1, rows, false, &counter)), -1);
    EXPECT_EQ(counter, 7);
    EXPECT_EQ(pieces().last(), kTriggers[1]);
}

} // namespace
} // namespace qldb::test
