#include "platform/odbc/odbc_catalog.h"

#include "platform/odbc/odbc_fetch.h"
#include "platform/tools/conversions.h"

#include <algorithm>
#include <functional>

namespace qldb {

namespace {

// Positions (0-based) in the result sets that the ODBC catalog functions define.
constexpr int kCatalogColumn = 0;
constexpr int kSchemaColumn = 1;
constexpr int kTablesName = 2;
constexpr int kTablesType = 3;
constexpr int kColumnsName = 3;
constexpr int kColumnsDataType = 4;
constexpr int kColumnsTypeName = 5;
constexpr int kColumnsSize = 6;
constexpr int kKeysColumn = 3;
constexpr int kKeysSequence = 4;

std::shared_ptr<Recordset> RunCatalogCall(SQLHDBC dbc, const OdbcCallSite& site,
                                          const std::function<SQLRETURN(SQLHSTMT)>& call) {
    SQLHANDLE raw = SQL_NULL_HANDLE;
    OdbcCheck(SQLAllocHandle(SQL_HANDLE_STMT, dbc, &raw), SQL_HANDLE_DBC, dbc, site);
    OdbcStmtHandle stmt(raw);
    const SQLRETURN rc = OdbcCheck(call(stmt.get()), SQL_HANDLE_STMT, stmt.get(), site);
    return FetchFirstRowset(stmt.get(), rc, site);
}

// The name as a search pattern that matches only itself.
QString LiteralPattern(SQLHDBC dbc, const QString& sName) {
    SQLWCHAR escape[8] = {};
    SQLSMALLINT length = 0;
    if (!SQL_SUCCEEDED(SQLGetInfoW(dbc, SQL_SEARCH_PATTERN_ESCAPE, escape, sizeof escape, &length)) ||
        length <= 0)
        return sName;
    const QString esc = FromSqlWChar(escape, length / static_cast<SQLSMALLINT>(sizeof(SQLWCHAR)));
    QString pattern;
    for (const QChar c : sName) {
        if (c == QLatin1Char('_') || c == QLatin1Char('%') || QString(c) == esc)
            pattern += esc;
        pattern += c;
    }
    return pattern;
}

// The database the connection works in, as the driver names it; empty when it names none.
QString CurrentCatalog(SQLHDBC dbc) {
    SQLWCHAR name[256] = {};
    SQLINTEGER length = 0;
    if (!SQL_SUCCEEDED(SQLGetConnectAttrW(dbc, SQL_ATTR_CURRENT_CATALOG, name, sizeof name, &length)) ||
        length <= 0)
        return QString();
    return FromSqlWChar(name, std::min<SQLINTEGER>(length, sizeof name - sizeof(SQLWCHAR)) /
                                  static_cast<SQLINTEGER>(sizeof(SQLWCHAR)));
}

// Some drivers (MariaDB's) answer a catalog call with the objects of every database on the
// server: only those of the connection's own database belong to it. A row or a connection that
// names no catalog is kept.
bool InCatalog(const QString& sCurrent, const QString& sRowCatalog) {
    return sCurrent.isEmpty() || sRowCatalog.isEmpty() ||
           sCurrent.compare(sRowCatalog, Qt::CaseInsensitive) == 0;
}

// Rows of the first catalog and schema that answered, within the connection's own database, so
// that a table of the same name in another schema does not mix its columns in.
template <class Visit> void ForFirstOwner(Recordset& rs, const QString& sCurrentCatalog, Visit&& visit) {
    if (rs.State() == 0)
        return;
    bool first = true;
    QString catalog, schema;
    for (; !rs.IsEOF(); rs.MoveNext()) {
        const QString c = ToText(rs.Value(kCatalogColumn));
        const QString s = ToText(rs.Value(kSchemaColumn));
        if (!InCatalog(sCurrentCatalog, c))
            continue;
        if (first) {
            catalog = c;
            schema = s;
            first = false;
        } else if (c != catalog || s != schema) {
            continue;
        }
        visit(rs);
    }
}

// Some drivers (SQLite's) report every text column as narrow text; the declared type still tells
// a national column (NCHAR, NVARCHAR, NTEXT) apart, and such a column has the wide type.
int32_t NationalTextType(int32_t adoType, const QString& typeName) {
    const QString name = typeName.trimmed().toUpper();
    const bool national =
        name.startsWith(QLatin1String("NCHAR")) || name.startsWith(QLatin1String("NVARCHAR")) ||
        name.startsWith(QLatin1String("NTEXT")) || name.startsWith(QLatin1String("NATIONAL"));
    if (!national)
        return adoType;
    switch (adoType) {
    case ado::adChar:
        return ado::adWChar;
    case ado::adVarChar:
        return ado::adVarWChar;
    case ado::adLongVarChar:
        return ado::adLongVarWChar;
    default:
        return adoType;
    }
}

std::vector<CatalogColumn> ColumnsNamed(SQLHDBC dbc, const QString& sTableName, const OdbcCallSite& site) {
    QString pattern = LiteralPattern(dbc, sTableName);
    QString all = QStringLiteral("%");
    const auto rs = RunCatalogCall(dbc, site, [&](SQLHSTMT stmt) {
        return SQLColumnsW(stmt, nullptr, 0, nullptr, 0, ToSqlWChar(pattern), SQL_NTS, ToSqlWChar(all),
                           SQL_NTS);
    });
    std::vector<CatalogColumn> columns;
    ForFirstOwner(*rs, CurrentCatalog(dbc), [&](Recordset& row) {
        const auto sqlType = static_cast<SQLSMALLINT>(ToLong(row.Value(kColumnsDataType)));
        const QString typeName = ToText(row.Value(kColumnsTypeName));
        CatalogColumn column;
        column.Name = ToText(row.Value(kColumnsName));
        column.Type = NationalTextType(
            AdoTypeOfSqlType(sqlType, typeName.contains(QLatin1String("unsigned"), Qt::CaseInsensitive),
                             typeName),
            typeName);
        column.DefinedSize =
            AdoDefinedSize(column.Type, static_cast<SQLULEN>(std::max(0, ToLong(row.Value(kColumnsSize)))));
        columns.push_back(column);
    });
    return columns;
}

} // namespace

std::vector<CatalogTable> ReadOdbcTables(SQLHDBC dbc, const OdbcCallSite& site) {
    QString all = QStringLiteral("%");
    const auto rs = RunCatalogCall(dbc, site, [&](SQLHSTMT stmt) {
        return SQLTablesW(stmt, nullptr, 0, nullptr, 0, ToSqlWChar(all), SQL_NTS, nullptr, 0);
    });
    std::vector<CatalogTable> tables;
    if (rs->State() == 0)
        return tables;
    const QString current = CurrentCatalog(dbc);
    for (; !rs->IsEOF(); rs->MoveNext()) {
        if (!InCatalog(current, ToText(rs->Value(kCatalogColumn))))
            continue;
        QString type = ToText(rs->Value(kTablesType)).toUpper();
        if (type == QLatin1String("BASE TABLE"))
            type = QStringLiteral("TABLE");
        if (type != QLatin1String("TABLE") && type != QLatin1String("VIEW") &&
            type != QLatin1String("SYSTEM TABLE") && type != QLatin1String("SYSTEM VIEW"))
            continue;
        tables.push_back(CatalogTable{ToText(rs->Value(kTablesName)), type});
    }
    return tables;
}

std::vector<CatalogColumn> ReadOdbcColumns(SQLHDBC dbc, const QString& sTableName, const OdbcCallSite& site) {
    std::vector<CatalogColumn> columns = ColumnsNamed(dbc, sTableName, site);
    if (columns.empty() && sTableName != sTableName.toLower())
        columns = ColumnsNamed(dbc, sTableName.toLower(), site);
    return columns;
}

QStringList ReadOdbcPrimaryKey(SQLHDBC dbc, const QString& sTableName, const OdbcCallSite& site) {
    QString name = sTableName;
    const auto rs = RunCatalogCall(dbc, site, [&](SQLHSTMT stmt) {
        return SQLPrimaryKeysW(stmt, nullptr, 0, nullptr, 0, ToSqlWChar(name), SQL_NTS);
    });
    std::vector<std::pair<int32_t, QString>> keyed;
    ForFirstOwner(*rs, CurrentCatalog(dbc), [&](Recordset& row) {
        keyed.emplace_back(ToLong(row.Value(kKeysSequence)), ToText(row.Value(kKeysColumn)));
    });
    std::sort(keyed.begin(), keyed.end());
    QStringList key;
    for (const auto& [sequence, column] : keyed)
        key << column;
    return key;
}

} // namespace qldb
