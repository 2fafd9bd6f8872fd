// The structure file writers: elements written into a document, saved indented, loaded again and
// read by position; the catalog answers come from the scripted connection.
#include "connection/catalog_queries.h"
#include "platform/tools/xlsx_workbook.h"
#include "structure/structure_document.h"
#include "structure/structure_fixture.h"
#include "support/recording_workbook.h"
#include "support/xlsx_reader.h"

#include <QFile>
#include <QTemporaryDir>

namespace qldb::test {
namespace {

constexpr auto kSql = ql_eProviderType::SQLServer;
const QString CR = QStringLiteral("\r");

// The system part's collation as the version registry reads it.
const QString kSysCollationQuery = QStringLiteral(
    "SELECT * FROM SYS_DBS\r\nWHERE SYS_DATABASE = 'SYS' AND\r\n      SYS_COMPLETED = 1\r\nORDER BY "
    "SUBSTRING(SYS_VERSION, 1, 1) + REPLACE(STR(0, 4-CHARINDEX('.', SUBSTRING(SYS_VERSION, 3, 100)), 0), ' "
    "', "
    "'0') + SUBSTRING(SYS_VERSION, 3, 100) DESC");

struct Column {
    const char* Name;
    int32_t Ado;
    int32_t Size;
    bool Nullable = true;
    const char* Default = "";
    const char* Description = nullptr; // none: the column has no description
    bool Identity = false;
    const char* ServerType = nullptr; // what sys.types says of a memo column
};

struct Index {
    const char* Name;
    const char* Code;
};

class XmlWriters : public DatabaseTest {
protected:
    // Programs a table in the scripted catalog and the answers of every catalog question the table
    // writer asks about it.
    void programTable(const QString& table, const std::vector<Column>& columns, const QStringList& keys,
                      const std::vector<Index>& indexes = {}, const QString& primary = QString()) {
        std::vector<CatalogColumn> catalog;
        for (const Column& c : columns) {
            const QString name = QString::fromLatin1(c.Name);
            catalog.push_back({name, c.Ado, c.Size});
            std::vector<Row> description;
            if (c.Description)
                description.push_back({QStringLiteral("MS_Description"), QString::fromUtf8(c.Description)});
            db->respond(catalog_sql::ColumnDescription(table, name),
                        ScriptedConnection::Table({"name", "value"}, description));
            db->respond(catalog_sql::ColumnAttribute(kSql, "IS_NULLABLE", conn->DatabaseName(), table, name),
                        ScriptedConnection::Table({"IS_NULLABLE"}, {{c.Nullable ? "YES" : "NO"}}));
            db->respond(
                catalog_sql::ColumnAttribute(kSql, "COLUMN_DEFAULT", conn->DatabaseName(), table, name),
                ScriptedConnection::Table({"COLUMN_DEFAULT"}, {{QString::fromLatin1(c.Default)}}));
            db->respond(catalog_sql::IdentityProperty(kSql, table, name),
                        ScriptedConnection::Table({"c"}, {{c.Identity ? 1 : 0}}));
            if (c.ServerType)
                db->respond(memoQuery(table, name),
                            ScriptedConnection::Table({"type_name"}, {{QString::fromLatin1(c.ServerType)}}));
        }
        db->addCatalogTable(table, catalog);
        std::vector<Row> keyRows;
        for (const QString& k : keys)
            keyRows.push_back({k});
        db->respond(catalog_sql::TableKeys(kSql, table), ScriptedConnection::Table({"COLUMN_NAME"}, keyRows));
        std::vector<Row> indexRows;
        if (!primary.isEmpty())
            indexRows.push_back({primary, QStringLiteral("clustered, unique, primary key"), keys.join(", ")});
        for (const Index& i : indexes) {
            indexRows.push_back({QString::fromLatin1(i.Name), QStringLiteral("nonclustered"), QString()});
            // The index list comes back upper-cased, and the code is asked for by that name.
            db->respond(catalog_sql::IndexCode(table, QString::fromLatin1(i.Name).toUpper()),
                        ScriptedConnection::Table({"script"}, {{QString::fromLatin1(i.Code)}}));
        }
        db->respond(catalog_sql::HelpIndex(kSql, table),
                    ScriptedConnection::Table({"index_name", "index_description", "index_keys"}, indexRows));
        db->respond(catalog_sql::PrimaryIndexName(kSql, table),
                    ScriptedConnection::Table({"PK_NAME"}, {{primary}}));
    }

    static QString memoQuery(const QString& table, const QString& column) {
        return QStringLiteral("SELECT p.name type_name") + CR + QStringLiteral("FROM sys.tables t") + CR +
               QStringLiteral("INNER JOIN sys.all_columns c ON t.object_id = c.object_id") + CR +
               QStringLiteral("INNER JOIN sys.types p ON c.user_type_id = p.system_type_id") + CR +
               QStringLiteral("WHERE t.name = '") + table + QStringLiteral("' AND c.name = '") + column +
               QStringLiteral("'");
    }

    void programCode(const QString& name, const QString& code, const char* field = "Text") {
        db->respond(catalog_sql::HelpText(kSql, name), ScriptedConnection::Table({field}, {{code}}));
    }

    // The document saved indented and loaded again, as the engine reads structure files.
    QDomDocument roundTrip(const QDomDocument& doc) {
        const QString file = m_dir.filePath(QStringLiteral("structure.xml"));
        QFile out(file);
        EXPECT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(doc.toByteArray(2));
        out.close();
        QDomDocument loaded;
        QString error;
        EXPECT_TRUE(LoadStructureDocument(file, loaded, &error)) << error.toStdString();
        return loaded;
    }

    QTemporaryDir m_dir;
};

// The children texts of a node, by position.
QStringList Texts(const QDomNode& node) {
    QStringList out;
    for (int i = 0; i < ChildCount(node); ++i)
        out << ChildText(node, i);
    return out;
}

const std::vector<Column> kArticles = {
    {"CODICE", ado::adVarWChar, 20, false, "", "Codice articolo"},
    {"DES", ado::adVarWChar, 60, true, "('')", "Cod. [nota]"},
    {"PREZZO", ado::adDouble, 8, false, "(0)", "[solo nota]"},
    {"GEOM", ado::adVariant, 16, true},
    {"NOTE", ado::adLongVarChar, 2147483647, true, "", "Note", false, "varchar"},
    {"ID", ado::adInteger, 4, false, "", "Id", true},
    {"ATTIVO", ado::adBoolean, 2, false, "(1)", "Attivo"},
    {"FOTO", ado::adLongVarBinary, 2147483647, true, "", "Foto"},
};

TEST_F(XmlWriters, RoundTripReadsBackEveryValueByPosition) {
    programTable("A01_ART", kArticles, {"CODICE"},
                 {{"IX_A01_ART_DES", "CREATE INDEX IX_A01_ART_DES ON a01_art (DES)"}}, "PK_A01_ART");
    programTable("SYS_CFG",
                 {{"K", ado::adVarChar, 10, false},
                  {"C", ado::adChar, 3},
                  {"T", ado::adLongVarChar, 2147483647, true, "", "Testo", false, "text"},
                  {"N", ado::adInteger, 4}},
                 {});
    db->respond(kSysCollationQuery, ScriptedConnection::Table({"SYS_DCC"}, {{"Latin1_General_CI_AS"}}));
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

    const QDomDocument loaded = roundTrip(doc);
    EXPECT_EQ(BaseName(ChildAt(loaded, 0)), QStringLiteral("xml"));
    const QDomNode db1 = ChildAt(loaded, 1);
    EXPECT_EQ(Texts(db1).mid(0, 5),
              (QStringList{"MIRANDO", "Orlina", "Mirando ERP", "2.3.0219", "2024-05-06T07:08:09"}));

    const QDomNode art = ChildPath(db1, {kContainerTables, 0});
    EXPECT_EQ(ChildText(art, 0), QStringLiteral("[#FIRM#]ART"));
    const QDomNode fields = ChildAt(art, 1);
    ASSERT_EQ(ChildCount(fields), 7) << "the unsupported column is left out";
    const std::vector<QStringList> expected = {
        {"CODICE", "1", "Codice articolo", "TypeVarCharUnicode", "20", "False", "", "True"},
        {"DES", "2", "Cod. [nota]", "TypeVarCharUnicode", "60", "True", "('')", "False"},
        {"PREZZO", "3", "[solo nota]", "TypeDbl", "8", "False", "(0)", "False"},
        {"NOTE", "5", "Note", "TypeVarChar", "-1", "True", "", "False"},
        {"ID", "6", "Id", "TypeCounter", "4", "False", "", "False"},
        {"ATTIVO", "7", "Attivo", "TypeBit", "2", "False", "(1)", "False"},
        {"FOTO", "8", "Foto", "TypeOLEObject", "2147483647", "True", "", "False"},
    };
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(Texts(ChildAt(fields, i)), expected[static_cast<size_t>(i)]) << i;
    const QDomNode indexes = ChildAt(art, 2);
    EXPECT_EQ(BaseName(indexes), QStringLiteral("Indexes"));
    ASSERT_EQ(ChildCount(indexes), 1) << "the primary key's index is not written";
    EXPECT_EQ(Texts(ChildAt(indexes, 0)),
              (QStringList{"IX_[#FIRM#]ART_DES", "CREATE INDEX IX_[#FIRM#]ART_DES ON [#FIRM#]art (DES)"}));

    const QDomNode cfg = ChildPath(db1, {kContainerTables, 1});
    EXPECT_EQ(ChildCount(cfg), 2) << "no Indexes element without bIndexes";
    EXPECT_EQ(ChildText(cfg, 0), QStringLiteral("SYS_CFG"));
    QStringList types;
    for (int i = 0; i < 4; ++i)
        types << ChildText(ChildPath(cfg, {1, i}), 3);
    EXPECT_EQ(types, (QStringList{"TypeVarCharUnicode", "TypeCharUnicode", "TypeMemoUnicode", "TypeInt"}));
    EXPECT_EQ(ChildText(ChildPath(cfg, {1, 2}), 4), QStringLiteral("2147483647"));

    EXPECT_EQ(
        Texts(ChildPath(db1, {kContainerViews, 0})),
        (QStringList{
            "[#FIRM#]VIEW_ART",
            "CREATE VIEW [#FIRM#]VIEW_ART AS SELECT CODICE COLLATE database_default FROM [#FIRM#]art"}));
    EXPECT_EQ(Texts(ChildPath(db1, {kContainerFunctions, 0})),
              (QStringList{"[#FIRM#]FN_PREZZO",
                           "CREATE FUNCTION [#FIRM#]FN_PREZZO() RETURNS INT AS BEGIN RETURN 1 END"}));
    EXPECT_EQ(
        Texts(ChildPath(db1, {kContainerProcedures, 0})),
        (QStringList{"SP_A01_CALC", "CREATE PROCEDURE SP_A01_CALC AS SELECT 1 COLLATE database_default"}));
    EXPECT_EQ(Texts(ChildPath(db1, {kContainerTriggers, 0})),
              (QStringList{"TR_[#FIRM#]ART",
                           "CREATE TRIGGER TR_[#FIRM#]ART ON [#FIRM#]ART COLLATE Latin1_General_CI_AS"}));
    EXPECT_TRUE(errors->reports().empty());
    EXPECT_EQ(host->MousePointer(), kPointerDefault);
}

TEST_F(XmlWriters, ElementsKeepTheGrammarsNamesAndOrder) {
    programTable("A01_ART", {kArticles[0]}, {"CODICE"}, {}, "PK_A01_ART");
    const QDomElement table = database.GetXmlTableDefinition("A01_ART");
    QStringList names;
    for (QDomNode n = table.firstChild(); !n.isNull(); n = n.nextSibling())
        names << n.nodeName();
    for (QDomNode n = table.firstChild().nextSibling().firstChild().firstChild(); !n.isNull();
         n = n.nextSibling())
        names << n.nodeName();
    EXPECT_EQ(names, (QStringList{"TableName", "Fields", "Indexes", "FieldName", "Index", "Description",
                                  "DataType", "FieldSize", "AllowsNull", "DefaultValue", "PrimaryKey"}));
    EXPECT_EQ(ChildCount(ChildAt(table, 2)), 0) << "Indexes is written even with only the primary index";
    EXPECT_EQ(ChildText(table, 0), QStringLiteral("A01_ART"));
    EXPECT_FALSE(table.ownerDocument().isNull()) << "a detached node keeps a live owner";
}

TEST_F(XmlWriters, TableMissingFromTheCatalogHasNoFieldsAndStillItsIndexes) {
    db->respond(
        catalog_sql::HelpIndex(kSql, "A01_GONE"),
        ScriptedConnection::Table({"index_name", "index_description", "index_keys"}, {{"IX_GONE", "", ""}}));
    db->respond(catalog_sql::IndexCode("A01_GONE", "IX_GONE"),
                ScriptedConnection::Table({"script"}, {{"CREATE X"}}));
    RecordingWorkbook wkb;
    const QDomElement table = database.GetXmlTableDefinition("A01_GONE", true, true, nullptr, {}, &wkb);
    EXPECT_EQ(ChildCount(ChildAt(table, 1)), 0);
    EXPECT_EQ(Texts(ChildPath(table, {2, 0})), (QStringList{"IX_GONE", "CREATE X"}));
    EXPECT_TRUE(wkb.calls.isEmpty()) << "no sheet for a table that isn't there";
}

TEST_F(XmlWriters, OtherProvidersGetTheWalksTypesWithoutAStatement) {
    conn->setProviderType(ql_eProviderType::ODBC);
    db->addCatalogTable("T", {{"NOTE", ado::adLongVarChar, 2147483647}});
    const QDomElement table = database.GetXmlTableDefinition("T");
    EXPECT_EQ(Texts(ChildPath(table, {1, 0})),
              (QStringList{"NOTE", "1", "", "TypeMemo", "2147483647", "False", "", "False"}));
    EXPECT_TRUE(sent().isEmpty()) << sent().join('\n').toStdString();
}

TEST_F(XmlWriters, CheckDescriptionWarnsForEveryFieldWithoutAPlainDescription) {
    std::vector<Column> columns = {kArticles[0], kArticles[1], kArticles[2], kArticles[3], kArticles[7]};
    columns[4].Description = nullptr;
    programTable("A01_ART", columns, {"CODICE"});
    database.GetXmlTableDefinition("A01_ART", false, true, nullptr, {}, nullptr, true);
    QStringList texts;
    for (const ShownMessage& m : host->messages()) {
        texts << m.Text;
        EXPECT_EQ(m.Icon, MsgIcon::Information);
        EXPECT_EQ(m.Buttons, MsgButtons::OK);
        EXPECT_EQ(m.Title, QStringLiteral("Mirando ERP"));
    }
    EXPECT_EQ(texts,
              (QStringList{QStringLiteral("Attenzione il FieldName:A01_ART.PREZZO è senza Descrizione!"),
                           QStringLiteral("Attenzione il FieldName:A01_ART.FOTO è senza Descrizione!")}));
}

TEST_F(XmlWriters, DocumentationSheetIsACopyOfTheLastSheetWithOneRowPerField) {
    programTable("A01_ART", kArticles, {"CODICE"});
    db->respond("SELECT TBDES FROM SYS_TBL_TBC\rWHERE TBNAM = 'ART'",
                ScriptedConnection::Table({"TBDES"}, {{"Anagrafica articoli: listino/prezzi"}}));
    RecordingWorkbook wkb;
    database.GetXmlTableDefinition("A01_ART", false, true, nullptr, {}, &wkb);
    const QStringList head = {"CopyLastSheet", "Cell 2,3,2=ART",
                              "Cell 2,3,3=Anagrafica articoli: listino/prezzi",
                              "Name 2=Anagrafica articoli_ listino_pr:0"};
    EXPECT_EQ(wkb.calls.mid(0, 4), head);
    EXPECT_EQ(wkb.calls.mid(4, 8),
              (QStringList{"Format 2 $A7:$H7>$A7:$H7", "Cell 2,7,1=CODICE", "Cell 2,7,2=TypeVarCharUnicode",
                           "Cell 2,7,3=20", "Cell 2,7,4=Codice articolo", "Cell 2,7,5=x",
                           "Cell 2,7,6=", "Cell 2,7,7="}));
    EXPECT_TRUE(wkb.calls.contains("Cell 2,8,4=Cod. ")) << "the plain description";
    EXPECT_TRUE(wkb.calls.contains("Cell 2,8,7=[nota]")) << "the remark";
    EXPECT_FALSE(wkb.calls.join('\n').contains("2,10,")) << "the unsupported column has no row";
    EXPECT_TRUE(wkb.calls.contains("Format 2 $A7:$H7>$A11:$H11"));
    EXPECT_TRUE(wkb.calls.contains("Cell 2,11,3=-1")) << "varchar(max) keeps its size of -1";
    EXPECT_FALSE(wkb.calls.contains("Cell 2,14,3=2147483647")) << "a huge size is not shown";
    EXPECT_EQ(wkb.SheetName(2), QStringLiteral("Anagrafica articoli_ listino_pr"));
}

TEST_F(XmlWriters, DocumentationWorkbookSavedAndReadBack) {
    programTable("A01_ART", kArticles, {"CODICE"});
    programTable("A01_CLI", {{"RAGSOC", ado::adVarWChar, 80, false, "", "Ragione sociale [obbligatoria]"}},
                 {});
    XlsxWorkbook wkb;
    database.GetXmlTableDefinition("A01_ART", false, true, nullptr, {}, &wkb);
    database.GetXmlTableDefinition("A01_CLI", false, true, nullptr, {}, &wkb);
    const QString file = m_dir.filePath(QStringLiteral("doc.xlsx"));
    wkb.Save(file);

    QString error;
    const auto content = ReadXlsx(file, &error);
    ASSERT_TRUE(content) << error.toStdString();
    EXPECT_EQ(content->SheetNames, (QStringList{"Template", "ART", "CLI"}));
    const auto& art = content->Cells.at(1);
    EXPECT_EQ(art.at("B3"), QStringLiteral("ART"));
    EXPECT_EQ(art.at("A7"), QStringLiteral("CODICE"));
    EXPECT_EQ(art.at("C7"), QStringLiteral("20"));
    EXPECT_EQ(art.at("E7"), QStringLiteral("x"));
    EXPECT_EQ(art.at("B11"), QStringLiteral("TypeVarChar"));
    const auto& cli = content->Cells.at(2);
    EXPECT_EQ(cli.at("A7"), QStringLiteral("RAGSOC"));
    EXPECT_EQ(cli.at("D7"), QStringLiteral("Ragione sociale "));
    EXPECT_EQ(cli.at("G7"), QStringLiteral("[obbligatoria]"));
    // Each sheet is a copy of the last one: rows the shorter table doesn't reach keep the earlier
    // table's fields.
    EXPECT_EQ(cli.at("A8"), QStringLiteral("DES"));
}

TEST_F(XmlWriters, RefusedSheetNameIsCutTo29AndMarked) {
    programTable("SYS_CONFIGURAZIONE_GENERALE_DEL_SISTEMA", {{"K", ado::adVarChar, 10}}, {});
    RecordingWorkbook wkb;
    wkb.refused.insert("SYS_CONFIGURAZIONE_GENERALE_DEL");
    database.GetXmlTableDefinition("SYS_CONFIGURAZIONE_GENERALE_DEL_SISTEMA", false, true, nullptr, {}, &wkb);
    EXPECT_EQ(wkb.calls.mid(0, 5),
              (QStringList{"CopyLastSheet", "Cell 2,3,2=SYS_CONFIGURAZIONE_GENERALE_DEL_SISTEMA",
                           "Cell 2,3,3=", "Name 2=SYS_CONFIGURAZIONE_GENERALE_DEL:1004",
                           "Name 2=SYS_CONFIGURAZIONE_GENERALE_D_1:0"}));
}

TEST_F(XmlWriters, FailuresAreReportedUnderTheWritersNameAndThePointerComesBack) {
    // Answers are tried in the order programmed: the failure comes first.
    db->fail(catalog_sql::TableKeys(kSql, "A01_ART"), kErrSyntax, "keys gone", true);
    programTable("A01_ART", {kArticles[0]}, {"CODICE"});
    errors->setDecision(kDecisionLeave);
    const QDomElement table = database.GetXmlTableDefinition("A01_ART");
    // The statement's own report, then the writer's for the answer it did not get.
    ASSERT_EQ(errors->reports().size(), 2u);
    EXPECT_EQ(errors->reports()[1].Class, QStringLiteral("qlDatabase"));
    EXPECT_EQ(errors->reports()[1].Routine, QStringLiteral("GetXmlTableDefinition"));
    EXPECT_EQ(ChildText(table, 0), QStringLiteral("A01_ART")) << "left with what it held";
    EXPECT_EQ(ChildCount(ChildAt(table, 1)), 0);
    EXPECT_EQ(host->MousePointer(), kPointerDefault);

    qlDatabase unset;
    unset.setErrors(errors);
    EXPECT_TRUE(unset.GetXmlViewDefinition("V").isNull());
    EXPECT_EQ(errors->reports().back().Error.Number, kErrObjectNotSet);
    EXPECT_EQ(errors->reports().back().Routine, QStringLiteral("GetXmlViewDefinition"));
}

TEST_F(XmlWriters, ATableNodeWithMissingChildrenReadsEmptyByPosition) {
    QDomDocument doc;
    ASSERT_TRUE(
        ParseStructureDocument("<?xml version=\"1.0\"?><Database><Table><TableName>X</TableName>"
                               "<Fields><Field><FieldName>A</FieldName></Field></Fields></Table></Database>",
                               doc));
    const QDomNode table = ChildPath(doc, {1, 0});
    EXPECT_EQ(ChildText(table, 0), QStringLiteral("X"));
    EXPECT_EQ(ChildText(ChildPath(table, {1, 0}), 3), QString()) << "a field without DataType";
    EXPECT_EQ(ChildCount(ChildAt(table, 2)), 0) << "no Indexes";
    EXPECT_EQ(ChildText(ChildPath(table, {1, 5}), 0), QString()) << "a field that isn't there";
}

} // namespace
} // namespace qldb::test
