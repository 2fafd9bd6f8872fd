#pragma once
// A table of a scripted SQL Server database and its Table node, for the tests of table
// verification and alteration: the catalog answers what the columns, keys and indexes say, and
// the repair statements and log lines are read back in order.
#include "connection/catalog_queries.h"
#include "platform/host/rich_text_log.h"
#include "platform/tools/conversions.h"
#include "sql/ql_query_constructor.h"
#include "structure/structure_document.h"
#include "structure/structure_fixture.h"

namespace qldb {

struct TableArea;
template <> struct qlDatabaseTestAccess<TableArea> {
    static bool TranAlterTable(qlDatabase& d, const QString& script) { return d.TranAlterTable(script); }
    static bool Create(qlDatabase& d, const QString& name, const QDomNode& node, const QString& prefixes,
                       bool removePrefix) {
        return d.CreateTableFromXml(name, node, prefixes, removePrefix);
    }
    static void Select(qlDatabase& d, const QString& name) {
        VariantArray2 list;
        list.Redim(1, 4, 0, 0);
        const int32_t row = list.AddRow(1, 4);
        list(kObjectSelected, row) = true;
        list(kObjectName, row) = name;
        list(kObjectKind, row) = QStringLiteral("T");
        list(kObjectStatus, row) = kStatusToUpdate;
        d.m_objectDefinition = list;
    }
};

namespace test {

using TableAccess = qlDatabaseTestAccess<TableArea>;

inline const QString kCollation = QStringLiteral("Latin1_General_CI_AS");

struct DbColumn {
    QString Name;
    int32_t Type = ado::adInteger;
    int32_t Size = 4;
    bool Nullable = true;
    QString Default{};
    QVariant Description = NullVariant();
    bool Identity = false;
    QString Collation = kCollation;
};

struct DbIndex {
    QString Name;
    QString Keys;
    QString Code;
};

struct XmlField {
    QString Name;
    QString Type = QStringLiteral("TypeInt");
    QString Size = QStringLiteral("4");
    QString AllowsNull = QStringLiteral("True");
    QString Default{};
    QString Description{};
    QString PrimaryKey = QStringLiteral("False");
};

struct XmlIndex {
    QString Name;
    QString Sql;
};

class TableTest : public DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        conn->setDatabaseName(QStringLiteral("DB"));
        database.setCollate(kCollation);
    }

    // The table as the catalog and the server's catalog views describe it.
    void table(const QString& name, const std::vector<DbColumn>& columns, const QStringList& keys = {},
               const QString& primary = QString(), const std::vector<DbIndex>& indexes = {}) {
        const auto sql = ql_eProviderType::SQLServer;
        std::vector<CatalogColumn> catalog;
        for (const DbColumn& c : columns) {
            catalog.push_back({c.Name, c.Type, c.Size});
            if (c.Type == ado::adInteger || c.Type == ado::adBigInt)
                db->respond(catalog_sql::IdentityProperty(sql, name, c.Name),
                            ScriptedConnection::Table({"c"}, {{c.Identity ? 1 : 0}}));
            attribute(name, c.Name, "IS_NULLABLE", c.Nullable ? "YES" : "NO");
            attribute(name, c.Name, "COLLATION_NAME", c.Collation);
            attribute(name, c.Name, "COLUMN_DEFAULT", c.Default);
            description(name, c.Name, c.Description);
            if (!c.Default.isEmpty())
                db->respond(
                    defaultQuery(name, c.Name),
                    ScriptedConnection::Table({"NAME"}, {{QStringLiteral("DF_") + name + "_" + c.Name}}));
        }
        db->addCatalogTable(name, catalog);
        std::vector<Row> keyRows;
        for (const QString& k : keys)
            keyRows.push_back({k});
        db->respond(catalog_sql::TableKeys(sql, name), ScriptedConnection::Table({"COLUMN_NAME"}, keyRows));
        db->respond(catalog_sql::PrimaryIndexName(sql, name),
                    ScriptedConnection::Table({"PK_NAME"}, primary.isEmpty() ? std::vector<Row>{}
                                                                             : std::vector<Row>{{primary}}));
        std::vector<Row> help;
        if (!primary.isEmpty())
            help.push_back({primary, keys.join(", ")});
        for (const DbIndex& i : indexes) {
            help.push_back({i.Name, i.Keys});
            db->respond(catalog_sql::IndexCode(name, i.Name),
                        ScriptedConnection::Table({"script"}, {{i.Code}}));
        }
        db->respond(catalog_sql::HelpIndex(sql, name),
                    ScriptedConnection::Table({"index_name", "index_keys"}, help));
    }

    void attribute(const QString& table, const QString& column, const char* which, const QString& value,
                   bool once = false) {
        db->respond(catalog_sql::ColumnAttribute(ql_eProviderType::SQLServer, QString::fromLatin1(which),
                                                 QStringLiteral("DB"), table, column),
                    ScriptedConnection::Table({"v"}, {{value}}), once);
    }
    void description(const QString& table, const QString& column, const QVariant& value, bool once = false) {
        std::vector<Row> rows;
        if (!IsNull(value))
            rows.push_back({QStringLiteral("MS_Description"), value});
        db->respond(catalog_sql::ColumnDescription(table, column),
                    ScriptedConnection::Table({"name", "value"}, rows), once);
    }
    static QString defaultQuery(const QString& table, const QString& column) {
        qlQueryConstructor q;
        return q.GetDefaultConstraintName(table, column).toString();
    }

    // The Table node of a structure file.
    QDomNode node(const QString& name, const std::vector<XmlField>& fields,
                  const std::vector<XmlIndex>& indexes = {}, bool withIndexes = true) {
        QString xml = QStringLiteral("<Table><TableName>") + name.toHtmlEscaped() + "</TableName><Fields>";
        for (const XmlField& f : fields) {
            xml +=
                QStringLiteral("<Field><FieldName>%1</FieldName><FieldOrder>1</FieldOrder>"
                               "<Description>%2</Description><DataType>%3</DataType><FieldSize>%4</FieldSize>"
                               "<AllowsNull>%5</AllowsNull><DefaultValue>%6</DefaultValue>"
                               "<PrimaryKey>%7</PrimaryKey></Field>")
                    .arg(f.Name, f.Description.toHtmlEscaped(), f.Type, f.Size, f.AllowsNull,
                         f.Default.toHtmlEscaped(), f.PrimaryKey);
        }
        xml += "</Fields>";
        if (withIndexes) {
            xml += "<Indexes>";
            for (const XmlIndex& i : indexes)
                xml += QStringLiteral("<Index><IndexName>%1</IndexName><IndexSql>%2</IndexSql></Index>")
                           .arg(i.Name.toHtmlEscaped(), i.Sql.toHtmlEscaped());
            xml += "</Indexes>";
        }
        xml += "</Table>";
        m_docs.emplace_back();
        EXPECT_TRUE(ParseStructureDocument(xml.toUtf8(), m_docs.back()));
        return m_docs.back().documentElement();
    }

    // Update mode with the table selected.
    void updating(const QString& name) {
        database.setVerifyDatabaseMode(ql_eVerifyMode::UpdateModality);
        TableAccess::Select(database, name);
    }

    ql_eTableStatus check(const QString& name, const QDomNode& tableNode, VariantArray2& rows,
                          bool autoIgnore = false, int32_t* errCounter = nullptr) {
        db->clearCalls();
        return database.CheckTable(name, rows, tableNode, QString(), QString(), nullptr, autoIgnore,
                                   errCounter);
    }

    // The rows as "name|kind|status|database|xml".
    static QStringList rowsOf(const VariantArray2& rows) {
        QStringList out;
        for (int32_t r = 1; r <= rows.RowCount(); ++r) {
            QStringList cells;
            for (int32_t c = 1; c <= 5; ++c)
                cells << rows(c, r).toString();
            out << cells.join('|');
        }
        return out;
    }

    // The statements of the repairs (the plain command texts) and the transaction calls, in order.
    QStringList repairs() const {
        QStringList out;
        for (const Call& c : db->calls()) {
            if (c.Kind == CallKind::ExecuteCommand && c.Cmd.CommandType == ado::adCmdText)
                out << c.Text;
            else if (c.Kind == CallKind::BeginTrans)
                out << "BEGIN";
            else if (c.Kind == CallKind::CommitTrans)
                out << "COMMIT";
            else if (c.Kind == CallKind::RollbackTrans)
                out << "ROLLBACK";
        }
        return out;
    }

    // The log's lines: transaction lines behind "T:", errors behind "E:", others as they stand.
    QStringList lines() const {
        QStringList out;
        QString text;
        for (const QString& call : log->calls) {
            if (call.startsWith("SelRTF="))
                text = call.mid(QStringLiteral("SelRTF=\r\n").size());
            else if (call.startsWith("SelColor=")) {
                const int32_t color = call.mid(9).toInt();
                out << (color == kColorGrayText ? "T:" : color == kColorRed ? "E:" : "") + text;
            }
        }
        return out;
    }

    std::vector<QDomDocument> m_docs;
};

} // namespace test
} // namespace qldb
