// The version registry: the list of structure versions applied to a database (SYS_DBS), the version
// written in a structure file's header, and the comparison of the two that decides whether an
// update is due.
#include "connection/object_checks.h"
#include "platform/errors/error_rule.h"
#include "platform/host/host_services.h"
#include "platform/tools/conversions.h"
#include "platform/tools/sql_literal.h"
#include "sql/ql_query_constructor.h"
#include "structure/ql_database.h"
#include "structure/structure_document.h"

#include <QFile>

namespace qldb {

namespace {

const QString kClass = QStringLiteral("qlDatabase");
const QString CR = QStringLiteral("\r");
const QString CRLF = QStringLiteral("\r\n");
const QString kNoVersion = QStringLiteral("0.0.0000");

// Literals of the registry's statements are always written as SQL Server text.
QString Q(const QVariant& value) {
    return FormatSqlValue(value, ql_eDataType::TypeChar, ql_eProviderType::SQLServer);
}

// A version as sortable text: the first character, the middle part padded with zeros to three
// digits, the rest. "2.3.219" gives "2003.219" and "2.03.1219" gives "2003.1219". A major
// version of two digits breaks the order; that limit belongs to the version format. SQL Server
// gets the expression hosts know; the other servers have no STR or CHARINDEX, and get the same
// padding from a substring of zeros as long as the same width.
QString VersionOrder(const QString& v, ql_eProviderType provider) {
    const QString middle = QStringLiteral("SUBSTRING(") + v + QStringLiteral(", 3, 100)");
    switch (provider) {
    case ql_eProviderType::MsAccess: // SQLite here
        return QStringLiteral("substr(") + v +
               QStringLiteral(", 1, 1) || substr('0000', 1, 4 - instr(substr(") + v +
               QStringLiteral(", 3, 100), '.')) || substr(") + v + QStringLiteral(", 3, 100)");
    case ql_eProviderType::MySql:
        return QStringLiteral("CONCAT(SUBSTRING(") + v +
               QStringLiteral(", 1, 1), SUBSTRING('0000', 1, 4 - LOCATE('.', ") + middle +
               QStringLiteral(")), ") + middle + QStringLiteral(")");
    case ql_eProviderType::ODBC: // PostgreSQL and the other sources reached by name
        return QStringLiteral("substr(") + v +
               QStringLiteral(", 1, 1) || substr('0000', 1, 4 - strpos(substr(") + v +
               QStringLiteral(", 3, 100), '.')) || substr(") + v + QStringLiteral(", 3, 100)");
    default:
        return QStringLiteral("SUBSTRING(") + v +
               QStringLiteral(", 1, 1) + REPLACE(STR(0, 4-CHARINDEX('.', ") + middle +
               QStringLiteral("), 0), ' ', '0') + ") + middle;
    }
}

QString NewestFirst(ql_eProviderType provider) {
    return QStringLiteral("ORDER BY ") + VersionOrder(QStringLiteral("SYS_VERSION"), provider) +
           QStringLiteral(" DESC");
}

ql_eProviderType Provider(const qlDatabase& database) {
    return database.Connection() ? database.Connection()->ProviderType() : ql_eProviderType::SQLServer;
}

// The newest row of the code: of any state, or only the completed ones.
QString NewestRowQuery(const QString& sSelect, const QString& sDatabaseCode, bool bOnlyExist,
                       ql_eProviderType provider) {
    QString sql = sSelect + CRLF + QStringLiteral("WHERE SYS_DATABASE = ") + Q(sDatabaseCode);
    if (!bOnlyExist)
        sql += QStringLiteral(" AND") + CRLF + QStringLiteral("      SYS_COMPLETED = 1");
    return sql + CRLF + NewestFirst(provider);
}

// Sends sql and reads fnRead on its first row, each a step of the rule. A statement that gave no
// rows leaves the caller's value alone. False when the rule says leave.
bool ReadFirstRow(ErrorRule& rule, const qlDatabase& database, const QString& sRoutine, const QString& sql,
                  const std::function<void(Recordset&)>& fnRead) {
    std::shared_ptr<Recordset> rs;
    if (!rule.run([&] {
            if (database.Connection() == nullptr)
                ThrowObjectNotSet(kClass + QLatin1Char('.') + sRoutine);
            rs = database.Connection()->ExecuteWC(sql, ado::adLockReadOnly);
        }))
        return false;
    return rule.run([&] {
        Recordset& set = RequireRecordset(rs, kClass + QLatin1Char('.') + sRoutine);
        if (set.State() == ado::adStateOpen && !set.IsEOF())
            fnRead(set);
    });
}

// The header child of a structure file at a position, or a null node when the file can't be read
// as XML or has no such child. The root is the second child of the document, after the XML
// declaration.
QDomNode HeaderChild(const QString& sXmlStructureFile, int position) {
    QDomDocument doc;
    if (!LoadStructureDocument(sXmlStructureFile, doc))
        return {};
    return ChildAt(ChildAt(doc, 1), position);
}

// Text of a header element as the reader sees it: without the white space around it.
QString HeaderText(const QDomNode& node) {
    return NodeText(node).trimmed();
}

} // namespace

QString qlDatabase::GetDbVersion(const QString& sDatabaseCode, bool bOnlyExist) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("GetDbVersion"));
    QString result = kNoVersion;
    ReadFirstRow(
        rule, *this, QStringLiteral("GetDbVersion"),
        NewestRowQuery(QStringLiteral("SELECT SYS_VERSION FROM SYS_DBS"), sDatabaseCode, bOnlyExist,
                       Provider(*this)),
        [&](Recordset& set) { result = TrimBlanks(ToText(set.Value(QStringLiteral("SYS_VERSION")))); });
    return result;
}

QString qlDatabase::GetSYSComparisonRoule(const QString& sDatabaseCode, bool bOnlyExist) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("GetSYSComparisonRoule"));
    QString result;
    ReadFirstRow(
        rule, *this, QStringLiteral("GetSYSComparisonRoule"),
        NewestRowQuery(QStringLiteral("SELECT * FROM SYS_DBS"), sDatabaseCode, bOnlyExist, Provider(*this)),
        [&](Recordset& set) { result = ToText(set.Value(QStringLiteral("SYS_DCC"))); });
    return result;
}

QString qlDatabase::GetDbComparisonRoule() {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("GetDbComparisonRoule"));
    QString result;
    QString database;
    if (!rule.run([&] { database = connection().DatabaseName(); }))
        return result;
    // The database's collation is a SQL Server property; other servers answer none, as the catalog
    // reads of the connection do.
    if (Provider(*this) != ql_eProviderType::SQLServer)
        return result;
    ReadFirstRow(rule, *this, QStringLiteral("GetDbComparisonRoule"),
                 QStringLiteral("SELECT DATABASEPROPERTYEX('") + database +
                     QStringLiteral("', 'Collation') AS MIRANDO_COLLATION"),
                 [&](Recordset& set) { result = ToText(set.Value(QStringLiteral("MIRANDO_COLLATION"))); });
    return result;
}

QDateTime qlDatabase::GetDbDate(const QString& sDatabaseCode, int16_t iDate) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("GetDbDate"));
    QDateTime result;
    const QString creation = iDate == 0 ? QStringLiteral("      SYS_CREATION = 1 AND")
                                        : QStringLiteral("      SYS_CREATION = 0 AND");
    const QString sql = QStringLiteral("SELECT SYS_DATE FROM SYS_DBS") + CRLF +
                        QStringLiteral("WHERE SYS_DATABASE = ") + Q(sDatabaseCode) + QStringLiteral(" AND") +
                        CRLF + creation + CRLF + QStringLiteral("      SYS_COMPLETED = 1") + CRLF +
                        NewestFirst(Provider(*this));
    ReadFirstRow(rule, *this, QStringLiteral("GetDbDate"), sql, [&](Recordset& set) {
        const QVariant value = set.Value(QStringLiteral("SYS_DATE"));
        if (!IsNullOrEmpty(value))
            result = value.toDateTime();
    });
    return result;
}

bool qlDatabase::SetDbVersion(const QString& sDatabaseCode, const QString& sNewVersion, bool bSysCreation,
                              bool bSysCompleted, const QString& sCollate, bool* bCancel) {
    const QString routine = QStringLiteral("SetDbVersion");
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, routine);
    bool result = false;
    if (!rule.run([&] { errors().setErrorCount(0); }))
        return result;
    std::unique_ptr<BusyPointer> busy;
    if (!rule.run([&] { busy = std::make_unique<BusyPointer>(host()); }))
        return result;
    const QString version = TrimBlanks(sNewVersion);
    if (sDatabaseCode.isEmpty())
        return result;

    qlQueryConstructor query;
    // The constructor writes its literals for the server it talks to: an insert on another
    // provider must not carry SQL Server's date text.
    if (!rule.run([&] { query.setProviderType(connection().ProviderType()); }))
        return result;

    if (bCancel != nullptr && *bCancel) {
        // Every row of the code goes, complete or not.
        QString sql;
        if (!rule.run([&] {
                query.SetTable(QStringLiteral("SYS_DBS"));
                query.setWhereString(QStringLiteral("WHERE SYS_DATABASE=") + Q(sDatabaseCode));
                sql = query.MakeQuery(ql_eQueryType::Delete);
            }))
            return result;
        if (!rule.run([&] { connection().Execute(sql); }))
            return result;
        return ErrorCount() <= 0;
    }

    // The newest completed version and the new one, both in the sortable form of the server.
    const QString compare = QStringLiteral("SELECT") + CR + QStringLiteral("   ") +
                            VersionOrder(QStringLiteral("SYS_VERSION"), Provider(*this)) +
                            QStringLiteral(" OLD_VER, ") + CR + QStringLiteral("   ") +
                            VersionOrder(Q(version), Provider(*this)) + QStringLiteral(" NEW_VER") + CR +
                            QStringLiteral("FROM SYS_DBS") + CRLF + QStringLiteral("WHERE SYS_DATABASE = ") +
                            Q(sDatabaseCode) + QStringLiteral(" AND") + CRLF +
                            QStringLiteral("      SYS_COMPLETED = 1") + CRLF + NewestFirst(Provider(*this));
    QString oldVersion = kNoVersion;
    QString newVersion = version;
    if (!ReadFirstRow(rule, *this, routine, compare, [&](Recordset& set) {
            oldVersion = TrimBlanks(ToText(set.Value(QStringLiteral("OLD_VER"))));
            newVersion = TrimBlanks(ToText(set.Value(QStringLiteral("NEW_VER"))));
        }))
        return result;
    // A version never goes back. The comparison is binary, on the texts as they stand.
    if (QString::compare(oldVersion, newVersion, Qt::CaseSensitive) > 0)
        return result;

    QString find;
    if (!rule.run([&] {
            query.SetTable(QStringLiteral("SYS_DBS"));
            query.AddSelectField(QStringLiteral("ID"));
            query.setWhereString(QStringLiteral("WHERE SYS_DATABASE =") + Q(sDatabaseCode) +
                                 QStringLiteral(" AND") + CRLF + QStringLiteral("  SYS_VERSION =") +
                                 Q(version));
            find = query.MakeQuery(ql_eQueryType::SelectFrom);
        }))
        return result;
    bool rowExists = false;
    QVariant rowId;
    if (!ReadFirstRow(rule, *this, routine, find, [&](Recordset& set) {
            rowExists = true;
            rowId = set.Value(QStringLiteral("ID"));
        }))
        return result;

    if (!rule.run([&] {
            query.Reset();
            query.SetTable(QStringLiteral("SYS_DBS"));
            query.AddUpdateField(QStringLiteral("SYS_CREATION"), bSysCreation, ql_eDataType::TypeBit);
            query.AddUpdateField(QStringLiteral("SYS_COMPLETED"), bSysCompleted, ql_eDataType::TypeBit);
            query.AddUpdateField(QStringLiteral("SYS_DATE"), QDateTime::currentDateTime(),
                                 ql_eDataType::TypeDateTime);
            query.AddUpdateField(QStringLiteral("SYS_DCC"), sCollate, ql_eDataType::TypeVarChar);
        }))
        return result;

    QString write;
    if (!rowExists) {
        if (!rule.run([&] {
                query.AddUpdateField(QStringLiteral("SYS_DATABASE"), sDatabaseCode, ql_eDataType::TypeChar);
                query.AddUpdateField(QStringLiteral("SYS_VERSION"), version, ql_eDataType::TypeChar);
            }))
            return result;
        bool oracle = false;
        if (!rule.run([&] { oracle = connection().ProviderType() == ql_eProviderType::Oracle; }))
            return result;
        if (oracle) {
            // Oracle has no identity column here: the program gives the next key itself.
            QVariant maxId;
            if (!ReadFirstRow(rule, *this, routine, QStringLiteral("SELECT MAX(ID) FROM SYS_DBS"),
                              [&](Recordset& set) { maxId = set.Value(0); }))
                return result;
            if (!rule.run([&] {
                    query.AddUpdateField(QStringLiteral("ID"), ToLong(maxId) + 1, ql_eDataType::TypeInt);
                }))
                return result;
        }
        if (!rule.run([&] { write = query.MakeQuery(ql_eQueryType::Insert); }))
            return result;
    } else {
        if (!rule.run([&] {
                query.setWhereString(QStringLiteral("WHERE ID =") + ToText(rowId));
                write = query.MakeQuery(ql_eQueryType::Update);
            }))
            return result;
    }
    if (!rule.run([&] { connection().Execute(write); }))
        return result;
    return ErrorCount() <= 0;
}

QString qlDatabase::GetXmlVersion(const QString& sXmlStructureFile, const QString& sOtherInfo) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("GetXmlVersion"));
    QString result;
    rule.run([&] {
        if (!QFile::exists(sXmlStructureFile)) {
            result = QStringLiteral("XML Structure Not Present");
            return;
        }
        static const QStringList kHeader = {QStringLiteral("DatabaseName"), QStringLiteral("Company"),
                                            QStringLiteral("ProductName"), QStringLiteral("StructureVersion"),
                                            QStringLiteral("DataTimeVersion")};
        const auto position = static_cast<int>(kHeader.indexOf(sOtherInfo));
        // The header is read by position: a file whose header is in another order is wrong.
        const QDomNode node = position < 0 ? QDomNode() : HeaderChild(sXmlStructureFile, position);
        result =
            !node.isNull() && BaseName(node) == sOtherInfo ? HeaderText(node) : QStringLiteral("WRONG_XML");
    });
    return result;
}

ql_eDbUpdate qlDatabase::CheckDatabaseVersion(const QString& sDatabaseCode, const QString& sXmlStructureFile,
                                              QString* sNewVersion) {
    ErrorRule rule(ErrorKind::Report, m_errors.get(), kClass, QStringLiteral("CheckDatabaseVersion"));
    ql_eDbUpdate result = ql_eDbUpdate::DatabaseUpdated;
    if (!QFile::exists(sXmlStructureFile))
        return result;
    const QDomNode node = HeaderChild(sXmlStructureFile, kHeaderStructureVersion);
    if (node.isNull() || BaseName(node) != QStringLiteral("StructureVersion"))
        return ql_eDbUpdate::WrongXmlStructure;
    const QString fileVersion = HeaderText(node);
    QString dbVersion;
    if (!rule.run([&] { dbVersion = GetDbVersion(sDatabaseCode); }))
        return result;
    // The raw texts are compared, not their sortable form: "2.3.219" counts as newer than
    // "2.03.1219" here although the registry orders them the other way. Hosts rely on it.
    if (QString::compare(fileVersion, dbVersion, Qt::CaseSensitive) > 0) {
        if (sNewVersion != nullptr)
            *sNewVersion = fileVersion;
        result = ql_eDbUpdate::DatabaseOldVersion;
    }
    return result;
}

} // namespace qldb
