// qlConnection: single values read and written without the caller writing SQL, and the table
// directory SYS_TBL_TBC. The statements are plain SQL with literals of the current provider, so
// they run on every server; a failure reaches the caller unchanged unless a routine says otherwise.
#include "connection/ql_connection.h"
#include "connection/record_walk.h"
#include "platform/errors/error_rule.h"
#include "platform/tools/conversions.h"
#include "platform/tools/sql_literal.h"

#include <cstdint>
#include <iterator>

namespace qldb {

using record_walk::kClass;
using record_walk::Opened;

namespace {

const QString CR = QStringLiteral("\r");

QString TableInfoColumn(ql_eTableInfo iInformationRequest) {
    static const char* const columns[] = {"TBKEY", "TBTYP", "TBFLD", "TBDES", "TBITM", "TBITS", "TBSEX",
                                          "TBDLL", "TBREP", "TBACT", "TBCPY", "TBDEL", "TBCHI", "TBCFK",
                                          "TBCOR", "TBLAY", "TBLPX", "TBDTF", "TBATT", "TBATF", "TBGRD"};
    const auto i = static_cast<int32_t>(iInformationRequest);
    // An unknown request leaves the column out; the statement then fails, and that failure is
    // what the caller's empty answer stands for.
    if (i < 0 || i >= static_cast<int32_t>(std::size(columns)))
        return QString();
    return QString::fromLatin1(columns[i]);
}

// The statement of GetDbValue and GetDbValues.
QString ValueQuery(ql_eProviderType provider, const QString& sTableName, const QString& sKeyField,
                   const QVariant& vKeyValue, ql_eDataType iKeyType, const QString& sFieldReturn, bool bLike,
                   const QString& sFilter) {
    QString sql = QStringLiteral("SELECT ") + sFieldReturn + CR + QStringLiteral("FROM ") + sTableName + CR +
                  QStringLiteral("WHERE ") + sKeyField +
                  (bLike ? QStringLiteral(" LIKE ") : QStringLiteral(" = ")) +
                  FormatSqlValue(vKeyValue, iKeyType, provider);
    if (!sFilter.isEmpty())
        sql += CR + QStringLiteral("AND (") + sFilter + QStringLiteral(")");
    return sql;
}

// The statement of CheckExistValue and of both searches of CheckExistValueWithLike.
QString ExistQuery(ql_eProviderType provider, const QString& sTableName, const QString& sKeyField,
                   const QString& sOperator, const QVariant& vKeyValue, ql_eDataType iKeyType,
                   const QString& sFilter) {
    QString sql = QStringLiteral("SELECT ") + sKeyField + CR + QStringLiteral("FROM ") + sTableName + CR +
                  QStringLiteral("WHERE ") + sKeyField + sOperator +
                  FormatSqlValue(vKeyValue, iKeyType, provider);
    if (!sFilter.isEmpty())
        sql += CR + QStringLiteral("AND ") + sFilter;
    return sql;
}

// The first column of the first row of sSQL, Empty when there is no row; the recordset is closed
// after. bRecordPresent, when given, is set (never cleared) when there is a row.
QVariant FirstValue(qlConnection& connection, const QString& sSQL, const QString& sRoutine,
                    bool* bRecordPresent = nullptr) {
    const auto rs = connection.ExecuteWC(sSQL);
    Recordset& set = Opened(rs, sRoutine);
    QVariant result;
    if (!set.IsEOF()) {
        result = set.Value(0);
        if (bRecordPresent)
            *bRecordPresent = true;
    }
    set.Close();
    return result;
}

// The whole number at the start of a text, as a numeric reading of it gives it: blanks skipped, a
// sign, digits, a fraction that is cut off. A text that starts with no number gives 0.
int32_t LeadingNumber(const QString& sText) {
    const QString text = sText.trimmed();
    int i = 0;
    bool negative = false;
    if (i < text.size() && (text[i] == QLatin1Char('-') || text[i] == QLatin1Char('+')))
        negative = text[i++] == QLatin1Char('-');
    int64_t value = 0;
    for (; i < text.size() && text[i].isDigit(); ++i) {
        value = value * 10 + text[i].digitValue();
        if (value > INT32_MAX)
            return negative ? INT32_MIN : INT32_MAX;
    }
    return static_cast<int32_t>(negative ? -value : value);
}

} // namespace

QString qlConnection::GetTableInfo(const QString& sTableName, ql_eTableInfo iInformationRequest) {
    ErrorRule rule(ErrorKind::PassThrough, m_errors.get(), kClass, QStringLiteral("GetTableInfo"));
    const auto information = static_cast<int32_t>(iInformationRequest);
    for (const TableInfoCacheEntry& entry : m_tableInfoCache)
        if (entry.Information == information && entry.TableName.compare(sTableName, Qt::CaseInsensitive) == 0)
            return entry.Value;

    const QString sql = QStringLiteral("SELECT ") + TableInfoColumn(iInformationRequest) +
                        QStringLiteral(" FROM SYS_TBL_TBC") + CR + QStringLiteral("WHERE TBNAM = ") +
                        FormatSqlValue(sTableName, ql_eDataType::TypeChar, m_providerType);
    // Whatever goes wrong here (no directory in this database, no such column) reads as "no
    // entry", and is remembered as such: a form asks the same question many times.
    QString result;
    rule.tolerate([&] { result = ToText(FirstValue(*this, sql, QStringLiteral("GetTableInfo"))); });
    m_tableInfoCache.push_back(TableInfoCacheEntry{sTableName, information, result});
    return result;
}

QVariant qlConnection::GetDbValue(const QString& sTableName, const QString& sKeyField,
                                  const QVariant& vKeyValue, ql_eDataType iKeyType,
                                  const QString& sFieldReturn, bool* bRecordPresent, bool bLike,
                                  const QString& sFilter) {
    return FirstValue(
        *this,
        ValueQuery(m_providerType, sTableName, sKeyField, vKeyValue, iKeyType, sFieldReturn, bLike, sFilter),
        QStringLiteral("GetDbValue"), bRecordPresent);
}

QVariant qlConnection::GetDbValues(const QString& sTableName, const QString& sKeyField,
                                   const QVariant& vKeyValue, ql_eDataType iKeyType,
                                   const QString& sFieldReturn, bool* bRecordPresent, bool bLike,
                                   const QString& sFilter, const QString& sSeparator) {
    const auto rs = ExecuteWC(
        ValueQuery(m_providerType, sTableName, sKeyField, vKeyValue, iKeyType, sFieldReturn, bLike, sFilter));
    Recordset& set = Opened(rs, QStringLiteral("GetDbValues"));
    QString result;
    for (; !set.IsEOF(); set.MoveNext()) {
        if (bRecordPresent)
            *bRecordPresent = true;
        if (!result.isEmpty())
            result += sSeparator;
        result += ToText(set.Value(0));
    }
    set.Close();
    return result;
}

int32_t qlConnection::GetMaxValue(const QString& sTableName, const QString& sMaxField, const QString& sWhere,
                                  bool* bExistAlmostOne) {
    QString sql = QStringLiteral("SELECT MAX(") + sMaxField + QStringLiteral("), COUNT(") + sMaxField +
                  QStringLiteral(") FROM ") + sTableName + CR;
    if (!sWhere.isEmpty())
        sql += QStringLiteral("WHERE ") + sWhere;
    const auto rs = ExecuteWC(sql);
    Recordset& set = Opened(rs, QStringLiteral("GetMaxValue"));
    // An aggregate always answers with one row; MAX of no rows is Null and reads as 0.
    const int32_t result = LeadingNumber(ToText(set.Value(0)));
    if (bExistAlmostOne)
        *bExistAlmostOne = ToDouble(set.Value(1)) > 0;
    set.Close();
    return result;
}

QVariant qlConnection::GetSystemValue(const QString& sKeyTableName, const QString& sKeyField,
                                      const QVariant& vKeyValue) {
    const QString sql = QStringLiteral("SELECT VLTXT") + CR + QStringLiteral("FROM SYS_VAL") + CR +
                        QStringLiteral("WHERE VLTAB = ") +
                        FormatSqlValue(sKeyTableName, ql_eDataType::TypeChar, m_providerType) +
                        QStringLiteral(" AND ") + CR + QStringLiteral("      VLFLD = ") +
                        FormatSqlValue(sKeyField, ql_eDataType::TypeChar, m_providerType) +
                        QStringLiteral(" AND ") + CR + QStringLiteral("      VLVAL = ") +
                        FormatSqlValue(vKeyValue, ql_eDataType::TypeChar, m_providerType);
    return FirstValue(*this, sql, QStringLiteral("GetSystemValue"));
}

bool qlConnection::SetDbValue(const QString& sTableName, const QString& sKeyField, ql_eDataType iKeyType,
                              const QVariant& vKeyValue, const QString& sFieldUpdate,
                              ql_eDataType iFieldUpdateType, const QVariant& vValue) {
    ErrorRule rule(ErrorKind::Clear, m_errors.get(), kClass, QStringLiteral("SetDbValue"));
    const QString sql = QStringLiteral("UPDATE ") + sTableName + CR + QStringLiteral("SET ") + sFieldUpdate +
                        QStringLiteral(" = ") + FormatSqlValue(vValue, iFieldUpdateType, m_providerType) +
                        CR + QStringLiteral("WHERE ") + sKeyField + QStringLiteral(" = ") +
                        FormatSqlValue(vKeyValue, iKeyType, m_providerType);
    bool result = false;
    rule.run([&] {
        Execute(sql);
        result = true;
    });
    return result;
}

bool qlConnection::CheckExistValue(const QString& sTableName, const QString& sKeyField,
                                   const QVariant& vKeyValue, ql_eDataType iKeyType, const QString& sFilter) {
    const auto rs = ExecuteWC(ExistQuery(m_providerType, sTableName, sKeyField, QStringLiteral(" = "),
                                         vKeyValue, iKeyType, sFilter));
    Recordset& set = Opened(rs, QStringLiteral("CheckExistValue"));
    const bool result = !set.IsEOF();
    set.Close();
    return result;
}

int32_t qlConnection::CheckExistValueWithLike(const QString& sTableName, const QString& sKeyField,
                                              const QVariant& vKeyValue, ql_eDataType iKeyType,
                                              std::shared_ptr<Recordset>* rsResults, const QString& sFilter) {
    const QString routine = QStringLiteral("CheckExistValueWithLike");
    auto rs = ExecuteWC(ExistQuery(m_providerType, sTableName, sKeyField, QStringLiteral(" = "), vKeyValue,
                                   iKeyType, sFilter));
    const bool textual = iKeyType == ql_eDataType::TypeChar || iKeyType == ql_eDataType::TypeVarChar ||
                         iKeyType == ql_eDataType::TypeDateTime || iKeyType == ql_eDataType::TypeDate;
    if (Opened(rs, routine).IsEOF() && textual) {
        rs->Close();
        const QString pattern = QStringLiteral("%") + ToText(vKeyValue) + QStringLiteral("%");
        rs = ExecuteWC(ExistQuery(m_providerType, sTableName, sKeyField, QStringLiteral(" LIKE "), pattern,
                                  iKeyType, sFilter));
    }
    Recordset& set = Opened(rs, routine);
    if (set.IsEOF())
        return 0;
    int32_t count = 0;
    for (; !set.IsEOF(); set.MoveNext())
        ++count;
    set.MoveFirst();
    if (rsResults)
        *rsResults = rs;
    return count;
}

QVariant qlConnection::GetFunctionValue(const QString& sFunctionName, const QVariant& vValue,
                                        ql_eDataType iValueType) {
    QString sql;
    const auto type = static_cast<int32_t>(iValueType);
    // Scalar functions of the application take a text, a number or a date; for any other type
    // there is no statement, and the empty one fails as it should.
    if (type >= 0 && type <= 4)
        sql = QStringLiteral("SELECT dbo.") + sFunctionName + QStringLiteral(" (") +
              FormatSqlValue(vValue, iValueType, m_providerType) + QStringLiteral(") AS Expr1");
    return FirstValue(*this, sql, QStringLiteral("GetFunctionValue"));
}

QString qlConnection::GetCharFilter(const QString& sChar) {
    if (m_providerType != ql_eProviderType::SQLServer && m_providerType != ql_eProviderType::MsAccess &&
        m_providerType != ql_eProviderType::ODBC)
        return QString();
    if (sChar == QLatin1String("%") || sChar == QLatin1String("*"))
        return QStringLiteral("%");
    return QString();
}

} // namespace qldb
