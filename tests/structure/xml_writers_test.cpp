// The structure file writers: elements written into a document, saved indented, loaded again and
// read by position; the documentation workbook saved and read back. The catalog answers come from
// the scripted connection.
#include "connection/catalog_queries.h"
#include "platform/tools/xlsx_workbook.h"
#include "structure/structure_document.h"
#include "structure/table_fixture.h"
#include "support/xlsx_reader.h"

namespace qldb::test {
namespace {

// clang-format off
const std::vector<DbColumn> kArticles = {
    {"CODICE", ado::adVarWChar, 20, false, "", QStringLiteral("Codice articolo")},
    {"DES", ado::adVarWChar, 60, true, "('')", QStringLiteral("Cod. [nota]")},
    {"PREZZO", ado::adDouble, 8, false, "(0)", QStringLiteral("[solo nota]")},
    {"GEOM", ado::adVariant, 16, true},
    {.Name = "NOTE", .Type = ado::adLongVarChar, .Size = 2147483647, .Description = QStringLiteral("Note"), .ServerType = "varchar"},
    {.Name = "ID", .Type = ado::adInteger, .Nullable = false, .Description = QStringLiteral("Id"), .Identity = true},
    {"ATTIVO", ado::adBoolean, 2, false, "(1)", QStringLiteral("Attivo")},
    {"FOTO", ado::adLongVarBinary, 2147483647, true, "", QStringLiteral("Foto")},
};
// clang-format on

// The children of a node by position: their texts, or their names.
QStringList Texts(const QDomNode& node, bool names = false) {
    QStringList out;
    for (int i = 0; i < ChildCount(node); ++i)
        out << (names ? BaseName(ChildAt(node, i)) : ChildText(node, i));
    return out;
}

class XmlWriters : public TableTest {
protected:
    void programCode(const QString& name, const QString& code, const char* field = "Text") {
        answer(catalog_sql::HelpText(kSqlServer, name), {field}, {{code}});
    }
};

TEST_F(XmlWriters, RoundTripReadsBackEveryValueByPosition) {
    table("A01_ART", kArticles, {"CODICE"}, "PK_A01_ART",
          {{"IX_A01_ART_DES", "", "CREATE INDEX IX_A01_ART_DES ON a01_art (DES)"}});
    table("SYS_CFG", {{"K", ado::adVarChar, 10, false},
                      {"C", ado::adChar, 3},
                      {.Name = "T",
                       .Type = ado::adLongVarChar,
                       .Size = 2147483647,
                       .Description = QStringLiteral("Testo"),
                       .ServerType = "text"},
                      {"N", ado::adInteger, 4}});
    answer("SELECT * FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'SYS' AND\r\n      SYS_COMPLETED = 1\r\n" +
               kVersionOrder,
           {"SYS_DCC"}, {{"Latin1_General_CI_AS"}});
    programCode("A01_VIEW_ART",
                "CREATE VIEW A01_VIEW_ART AS SELECT CODICE COLLATE latin1_general_ci_as FROM a01_art");
    programCode("A01_FN_PREZZO", "CREATE FUNCTION A01_FN_PREZZO() RETURNS INT AS BEGIN RETURN 1 END");
    programCode("SP_A01_CALC", "CREATE PROCEDURE SP_A01_CALC AS SELECT 1 COLLATE Latin1_General_CI_AS");
    programCode("TR_A01_ART", "CREATE TRIGGER TR_A01_ART ON A01_ART COLLATE Latin1_General_CI_AS", "text");

    QDomDocument doc;
    QDomElement root = database.MakeXmlHeader(doc, "MIRANDO", "Orlina", "Mirando ERP", "2.3.0219",
                                              QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9)));
    doc.appendChild(root);
    for (const char* name : {"Tables", "Functions", "Views", "Procedures", "Triggers", "DataTables"})
        root.appendChild(doc.createElement(name));
    QString prefix = QStringLiteral("a01_");
    const QString marker = QString::fromUtf16(kFirmMarker);
    const auto tables = ChildAt(root, kContainerTables);
    tables.toElement().appendChild(database.GetXmlTableDefinition("A01_ART", true, true, &prefix, marker));
    tables.toElement().appendChild(doc.importNode(database.GetXmlTableDefinition("SYS_CFG", false), true));
    ChildAt(root, kContainerViews)
        .appendChild(database.GetXmlViewDefinition("a01_view_art", &prefix, marker));
    EXPECT_EQ(prefix, QStringLiteral("A01_")) << "the caller's prefix is upper-cased";
    ChildAt(root, kContainerFunctions)
        .appendChild(database.GetXmlFunctionDefinition("A01_FN_PREZZO", "a01_", marker));
    ChildAt(root, kContainerProcedures).appendChild(database.GetXmlProcedureDefinition("SP_A01_CALC"));
    ChildAt(root, kContainerTriggers)
        .appendChild(database.GetXmlTriggerDefinition("TR_A01_ART", "A01_", marker));

    // Saved indented and loaded again, as the engine reads structure files.
    const QString file = write("structure.xml", QString::fromUtf8(doc.toByteArray(2)));
    QDomDocument loaded;
    ASSERT_TRUE(LoadStructureDocument(file, loaded));
    const QDomNode db1 = ChildAt(loaded, 1);
    EXPECT_EQ(Texts(db1).mid(0, 5),
              (QStringList{"MIRANDO", "Orlina", "Mirando ERP", "2.3.0219", "2024-05-06T07:08:09"}));
    const QDomNode art = ChildPath(db1, {kContainerTables, 0});
    EXPECT_EQ(Texts(art, true), (QStringList{"TableName", "Fields", "Indexes"}));
    EXPECT_EQ(Texts(ChildPath(art, {1, 0}), true),
              (QStringList{"FieldName", "Index", "Description", "DataType", "FieldSize", "AllowsNull",
                           "DefaultValue", "PrimaryKey"}));
    EXPECT_EQ(ChildText(art, 0), QStringLiteral("[#FIRM#]ART"));
    const QDomNode fields = ChildAt(art, 1);
    ASSERT_EQ(ChildCount(fields), 7) << "the unsupported column is left out";
    QStringList rows;
    for (int i = 0; i < 7; ++i)
        rows << Texts(ChildAt(fields, i)).join('|');
    EXPECT_EQ(rows,
              (QStringList{"CODICE|1|Codice articolo|TypeVarCharUnicode|20|False||True",
                           "DES|2|Cod. [nota]|TypeVarCharUnicode|60|True|('')|False",
                           "PREZZO|3|[solo nota]|TypeDbl|8|False|(0)|False",
                           "NOTE|5|Note|TypeVarChar|-1|True||False", "ID|6|Id|TypeCounter|4|False||False",
                           "ATTIVO|7|Attivo|TypeBit|2|False|(1)|False",
                           "FOTO|8|Foto|TypeOLEObject|2147483647|True||False"}));
    ASSERT_EQ(ChildCount(ChildAt(art, 2)), 1) << "the primary key's index is not written";
    EXPECT_EQ(Texts(ChildPath(art, {2, 0})),
              (QStringList{"IX_[#FIRM#]ART_DES", "CREATE INDEX IX_[#FIRM#]ART_DES ON [#FIRM#]art (DES)"}));

    const QDomNode cfg = ChildPath(db1, {kContainerTables, 1});
    EXPECT_EQ(ChildCount(cfg), 2) << "no Indexes element without bIndexes";
    QStringList types;
    for (int i = 0; i < 4; ++i)
        types << ChildText(ChildPath(cfg, {1, i}), 3) + " " + ChildText(ChildPath(cfg, {1, i}), 4);
    EXPECT_EQ(types.join(", "),
              "TypeVarCharUnicode 10, TypeCharUnicode 3, TypeMemoUnicode 2147483647, TypeInt 4");

    QStringList code;
    for (const int container :
         {kContainerViews, kContainerFunctions, kContainerProcedures, kContainerTriggers})
        code << Texts(ChildPath(db1, {container, 0})).join(": ");
    EXPECT_EQ(
        code.join('\n'),
        "[#FIRM#]VIEW_ART: CREATE VIEW [#FIRM#]VIEW_ART AS SELECT CODICE COLLATE database_default FROM "
        "[#FIRM#]art\n[#FIRM#]FN_PREZZO: CREATE FUNCTION [#FIRM#]FN_PREZZO() RETURNS INT AS BEGIN RETURN 1 "
        "END\nSP_A01_CALC: CREATE PROCEDURE SP_A01_CALC AS SELECT 1 COLLATE database_default\n"
        "TR_[#FIRM#]ART: CREATE TRIGGER TR_[#FIRM#]ART ON [#FIRM#]ART COLLATE Latin1_General_CI_AS");
    EXPECT_TRUE(errors->reports().empty());
    EXPECT_EQ(host->MousePointer(), kPointerDefault);
}

TEST_F(XmlWriters, CheckDescriptionWarnsForEveryFieldWithoutAPlainDescription) {
    std::vector<DbColumn> columns = {kArticles[0], kArticles[1], kArticles[2], kArticles[3], kArticles[7]};
    columns[4].Description = NullVariant();
    table("A01_ART", columns, {"CODICE"});
    database.GetXmlTableDefinition("A01_ART", false, true, nullptr, {}, nullptr, true);
    QStringList texts;
    for (const ShownMessage& m : host->messages()) {
        texts << m.Text;
        EXPECT_TRUE(m.Icon == MsgIcon::Information && m.Buttons == MsgButtons::OK &&
                    m.Title == "Mirando ERP");
    }
    EXPECT_EQ(texts, (QStringList{"Attenzione il FieldName:A01_ART.PREZZO è senza Descrizione!",
                                  "Attenzione il FieldName:A01_ART.FOTO è senza Descrizione!"}));
}

TEST_F(XmlWriters, DocumentationWorkbookSavedAndReadBack) {
    table("A01_ART", kArticles, {"CODICE"});
    answer("SELECT TBDES FROM SYS_TBL_TBC\rWHERE TBNAM = 'ART'", {"TBDES"},
           {{"Anagrafica articoli: listino/prezzi"}});
    table("A01_CLI",
          {{"RAGSOC", ado::adVarWChar, 80, false, "", QStringLiteral("Ragione sociale [obbligatoria]")}});
    // Two names alike in their first 31 characters: the second is refused, cut to 29 and marked.
    table("SYS_CONFIGURAZIONE_GENERALE_DEL_SISTEMA", {{"K", ado::adVarChar, 10}});
    table("SYS_CONFIGURAZIONE_GENERALE_DEL_UTENTE", {{"K", ado::adVarChar, 10}});
    XlsxWorkbook wkb;
    for (const char* table : {"A01_ART", "A01_CLI", "SYS_CONFIGURAZIONE_GENERALE_DEL_SISTEMA",
                              "SYS_CONFIGURAZIONE_GENERALE_DEL_UTENTE"})
        database.GetXmlTableDefinition(table, false, true, nullptr, {}, &wkb);
    // Each field row takes the format of the template's row 7.
    ASSERT_TRUE(wkb.Format(1, 7, 1).has_value());
    EXPECT_EQ(wkb.Format(2, 11, 1), wkb.Format(1, 7, 1));
    EXPECT_EQ(wkb.Format(2, 11, 8), wkb.Format(1, 7, 8));
    const QString file = dir.filePath("doc.xlsx");
    wkb.Save(file);

    QString error;
    const auto content = ReadXlsx(file, &error);
    ASSERT_TRUE(content) << error.toStdString();
    EXPECT_EQ(content->SheetNames,
              (QStringList{"Template", "Anagrafica articoli_ listino_pr", "CLI",
                           "SYS_CONFIGURAZIONE_GENERALE_DEL", "SYS_CONFIGURAZIONE_GENERALE_D_1"}));
    const auto& art = content->Cells.at(1);
    QStringList cells;
    for (const char* ref :
         {"B3", "C3", "A7", "B7", "C7", "D7", "E7", "D8", "G8", "A10", "A11", "B11", "C11", "A14", "C14"})
        cells << (art.count(ref) ? art.at(ref) : "-");
    // The remark in brackets goes to its own column; varchar(max) keeps -1; a huge size is not shown.
    EXPECT_EQ(cells, (QStringList{"ART", "Anagrafica articoli: listino/prezzi", "CODICE",
                                  "TypeVarCharUnicode", "20", "Codice articolo", "x", "Cod. ", "[nota]", "-",
                                  "NOTE", "TypeVarChar", "-1", "FOTO", "-"}));
    const auto& cli = content->Cells.at(2);
    EXPECT_EQ(cli.at("A7"), QStringLiteral("RAGSOC"));
    EXPECT_EQ(cli.at("D7"), QStringLiteral("Ragione sociale "));
    EXPECT_EQ(cli.at("G7"), QStringLiteral("[obbligatoria]"));
    // Each sheet is a copy of the last one: rows the shorter table doesn't reach keep the earlier
    // table's fields.
    EXPECT_EQ(cli.at("A8"), QStringLiteral("DES"));
}

TEST_F(XmlWriters, FailuresAreReportedUnderTheWritersNameAndThePointerComesBack) {
    // Answers are tried in the order programmed: the failure comes first.
    db->fail(catalog_sql::TableKeys(kSqlServer, "A01_ART"), kErrSyntax, "keys gone", true);
    table("A01_ART", {kArticles[0]}, {"CODICE"});
    errors->setDecision(kDecisionLeave);
    const QDomElement table = database.GetXmlTableDefinition("A01_ART");
    // The statement's own report, then the writer's for the answer it did not get.
    ASSERT_EQ(errors->reports().size(), 2u);
    EXPECT_EQ(errors->reports()[1].Class + "." + errors->reports()[1].Routine,
              "qlDatabase.GetXmlTableDefinition");
    EXPECT_EQ(ChildText(table, 0), QStringLiteral("A01_ART")) << "left with what it held";
    EXPECT_EQ(ChildCount(ChildAt(table, 1)), 0);
    EXPECT_EQ(host->MousePointer(), kPointerDefault);
    qlDatabase unset;
    unset.setErrors(errors);
    EXPECT_TRUE(unset.GetXmlViewDefinition("V").isNull());
    EXPECT_EQ(errors->reports().back().Error.Number, kErrObjectNotSet);
    EXPECT_EQ(errors->reports().back().Routine, QStringLiteral("GetXmlViewDefinition"));
}

} // namespace
} // namespace qldb::test
