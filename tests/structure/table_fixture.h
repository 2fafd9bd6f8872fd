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

namespace qldb::test {

inline const QString kCollation = QStringLiteral("Latin1_General_CI_AS");
constexpr auto kSqlServer = ql_eProviderType::SQLServer;

struct DbColumn {
    QString Name;
    int32_t Type = ado::adInteger;
    int32_t Size = 4;
    bool Nullable = true;
    QString Default{};
    QVariant Description = NullVariant();
    bool Identity = false;
    QString Collation = kCollation;
    QString ServerType{}; // what sys.types says of a memo column
};
struct DbIndex {
    QString Name, Keys, Code;
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
using XmlIndex = std::pair<QString, QString>; // name, code

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
        std::vector<CatalogColumn> catalog;
        for (const DbColumn& c : columns) {
            catalog.push_back({c.Name, c.Type, c.Size});
            if (c.Type == ado::adInteger || c.Type == ado::adBigInt)
                answer(catalog_sql::IdentityProperty(kSqlServer, name, c.Name), {"c"},
                       {{c.Identity ? 1 : 0}});
            attribute(name, c.Name, "IS_NULLABLE", c.Nullable ? "YES" : "NO");
            attribute(name, c.Name, "COLLATION_NAME", c.Collation);
            attribute(name, c.Name, "COLUMN_DEFAULT", c.Default);
            description(name, c.Name, c.Description);
            if (!c.Default.isEmpty())
                answer(defaultQuery(name, c.Name), {"NAME"}, {{"DF_" + name + "_" + c.Name}});
            if (!c.ServerType.isEmpty())
                answer("SELECT p.name type_name\rFROM sys.tables t\rINNER JOIN sys.all_columns c ON "
                       "t.object_id = "
                       "c.object_id\rINNER JOIN sys.types p ON c.user_type_id = p.system_type_id\rWHERE "
                       "t.name = '" +
                           name + "' AND c.name = '" + c.Name + "'",
                       {"type_name"}, {{c.ServerType}});
        }
        db->addCatalogTable(name, catalog);
        std::vector<Row> keyRows, help;
        for (const QString& k : keys)
            keyRows.push_back({k});
        answer(catalog_sql::TableKeys(kSqlServer, name), {"COLUMN_NAME"}, keyRows);
        answer(catalog_sql::PrimaryIndexName(kSqlServer, name), {"PK_NAME"},
               primary.isEmpty() ? std::vector<Row>{} : std::vector<Row>{{primary}});
        if (!primary.isEmpty())
            help.push_back({primary, "clustered, unique, primary key", keys.join(", ")});
        for (const DbIndex& i : indexes) {
            help.push_back({i.Name, "nonclustered", i.Keys});
            answer(catalog_sql::IndexCode(name, i.Name), {"script"}, {{i.Code}});
        }
        answer(catalog_sql::HelpIndex(kSqlServer, name), {"index_name", "index_description", "index_keys"},
               help);
    }
    void attribute(const QString& table, const QString& column, const char* which, const QString& value,
                   bool once = false) {
        answer(catalog_sql::ColumnAttribute(kSqlServer, which, "DB", table, column), {"v"}, {{value}}, once);
    }
    void description(const QString& table, const QString& column, const QVariant& value) {
        answer(catalog_sql::ColumnDescription(table, column), {"name", "value"},
               IsNull(value) ? std::vector<Row>{} : std::vector<Row>{{"MS_Description", value}});
    }
    static QString defaultQuery(const QString& table, const QString& column) {
        return qlQueryConstructor().GetDefaultConstraintName(table, column).toString();
    }

    // The Table node of a structure file.
    QDomNode node(const QString& name, const std::vector<XmlField>& fields,
                  const std::vector<XmlIndex>& indexes = {}) {
        QString xml = "<Table><TableName>" + name.toHtmlEscaped() + "</TableName><Fields>";
        for (const XmlField& f : fields)
            xml += QStringLiteral(
                       "<Field><FieldName>%1</FieldName><FieldOrder>1</FieldOrder><Description>%2"
                       "</Description><DataType>%3</DataType><FieldSize>%4</FieldSize><AllowsNull>%5"
                       "</AllowsNull><DefaultValue>%6</DefaultValue><PrimaryKey>%7</PrimaryKey></Field>")
                       .arg(f.Name, f.Description.toHtmlEscaped(), f.Type, f.Size, f.AllowsNull,
                            f.Default.toHtmlEscaped(), f.PrimaryKey);
        xml += "</Fields><Indexes>";
        for (const auto& [index, code] : indexes)
            xml += "<Index><IndexName>" + index.toHtmlEscaped() + "</IndexName><IndexSql>" +
                   code.toHtmlEscaped() + "</IndexSql></Index>";
        m_docs.emplace_back();
        EXPECT_TRUE(ParseStructureDocument((xml + "</Indexes></Table>").toUtf8(), m_docs.back()));
        return m_docs.back().documentElement();
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
            else if (c.Kind == CallKind::BeginTrans || c.Kind == CallKind::CommitTrans ||
                     c.Kind == CallKind::RollbackTrans)
                out << (c.Kind == CallKind::BeginTrans    ? "BEGIN"
                        : c.Kind == CallKind::CommitTrans ? "COMMIT"
                                                          : "ROLLBACK");
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

} // namespace qldb::test
