// Connection strings as hosts write them, translated for the drivers installed here.
#include "platform/error_record.h"
#include "platform/provider_map.h"

#include <gtest/gtest.h>
#include <ostream>

// Readable texts in failure messages.
static void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

namespace qldb {
namespace {

QString Translate(const char* s) {
    return TranslateConnectionString(QString::fromUtf8(s), ProviderDrivers{});
}

ErrorRecord FailureOf(const char* s, const ProviderDrivers& drivers = {}) {
    try {
        TranslateConnectionString(QString::fromUtf8(s), drivers);
    } catch (const qlException& e) {
        return e.record();
    }
    ADD_FAILURE() << "no error for " << s;
    return {};
}

TEST(ProviderMap, SqlServerProvidersGoToFreeTds) {
    EXPECT_EQ(
        Translate("Provider=SQLOLEDB.1;Data Source=A;Initial Catalog=B;Persist Security Info=True;User ID=C;"
                  "Password=D;"),
        QStringLiteral(
            "DRIVER={FreeTDS};SERVER=A;DATABASE=B;UID=C;PWD=D;TDS_Version=7.4;ClientCharset=UTF-8;"));
    EXPECT_EQ(
        Translate("Provider=SQLNCLI.1;Data Source=A;Initial Catalog=B;Persist Security Info=True;User ID=C;"
                  "Password=D;"),
        QStringLiteral(
            "DRIVER={FreeTDS};SERVER=A;DATABASE=B;UID=C;PWD=D;TDS_Version=7.4;ClientCharset=UTF-8;"));
    EXPECT_EQ(
        Translate("Provider=SQLNCLI10.1;Data Source=SRV\\SQL2008;Initial Catalog=B;Integrated Security=SSPI;"
                  "Persist Security Info=True;"),
        QStringLiteral(
            "DRIVER={FreeTDS};SERVER=SRV\\SQL2008;DATABASE=B;Trusted_Connection=Yes;TDS_Version=7.4;"
            "ClientCharset=UTF-8;"));
    EXPECT_EQ(Translate("Provider=SQLNCLI11;Data Source=(local);Initial Catalog=B;Persist Security Info=True;"
                        "User ID=sa;Password=;"),
              QStringLiteral("DRIVER={FreeTDS};SERVER=localhost;DATABASE=B;UID=sa;PWD=;TDS_Version=7.4;"
                             "ClientCharset=UTF-8;"));
    EXPECT_EQ(
        Translate("Provider=MSOLEDBSQL;Server=tcp:db.example,1533;Database=B;User ID=C;Password=D;"
                  "DataTypeCompatibility=80;MARS Connection=True;"),
        QStringLiteral("DRIVER={FreeTDS};SERVER=db.example;Port=1533;DATABASE=B;UID=C;PWD=D;TDS_Version=7.4;"
                       "ClientCharset=UTF-8;"));
    EXPECT_EQ(
        Translate("Provider=MSOLEDBSQL;Server=.\\SQLEXPRESS;Database=B;Integrated Security=SSPI;"
                  "DataTypeCompatibility=80;MARS Connection=True;"),
        QStringLiteral("DRIVER={FreeTDS};SERVER=localhost\\SQLEXPRESS;DATABASE=B;Trusted_Connection=Yes;"
                       "TDS_Version=7.4;ClientCharset=UTF-8;"));
    // Quoted values keep their separators, and go to ODBC in braces.
    EXPECT_EQ(
        Translate("Provider=SQLOLEDB.1;Data Source=A;User ID=C;Password=\"p;w}d\";Application Name=Mirando"),
        QStringLiteral("DRIVER={FreeTDS};SERVER=A;UID=C;PWD={p;w}}d};APP=Mirando;TDS_Version=7.4;"
                       "ClientCharset=UTF-8;"));
}

TEST(ProviderMap, OtherProvidersGetTheirDrivers) {
    EXPECT_EQ(
        Translate("Provider=ASAProv.90;Data Source=S;Initial Catalog=D;Persist Security Info=True;User ID=U;"
                  "Password=P;"),
        QStringLiteral(
            "DRIVER={FreeTDS};SERVER=S;DATABASE=D;UID=U;PWD=P;TDS_Version=5.0;ClientCharset=UTF-8;"));
    EXPECT_EQ(Translate("DRIVER={MySQL ODBC 5.2w Driver};SERVER=S;DATABASE=D;USER=U;PASSWORD=P;OPTION=3;"),
              QStringLiteral("DRIVER={MariaDB Unicode};SERVER=S;DATABASE=D;USER=U;PASSWORD=P;OPTION=3;"));
    EXPECT_EQ(Translate("Provider=MySQL;Data Source=S;Initial Catalog=D;Persist Security Info=True;User ID=U;"
                        "Password=P;"),
              QStringLiteral("DRIVER={MariaDB Unicode};SERVER=S;DATABASE=D;UID=U;PWD=P;"));
    EXPECT_EQ(
        Translate(
            "Provider=Microsoft.Jet.OLEDB.4.0; Data Source=/srv/data/shop.mdb;User Id=admin;Password=;"),
        QStringLiteral("DRIVER={SQLite3};Database=/srv/data/shop.mdb;"));
    EXPECT_EQ(Translate("Provider=Microsoft.ACE.OLEDB.12.0;Data Source= /srv/my data;shop.accdb"),
              QStringLiteral("DRIVER={SQLite3};Database=/srv/my data;"));
    EXPECT_EQ(Translate("Provider=MSDASQL.1;Persist Security Info=True;Data Source=Ledger;uid=U;pwd=P"),
              QStringLiteral("DSN=Ledger;UID=U;PWD=P;"));
    EXPECT_EQ(Translate("Provider=MSDASQL.1;Persist Security Info=True;Data Source=Ledger"),
              QStringLiteral("DSN=Ledger;"));
}

TEST(ProviderMap, OdbcStringsGoUnchanged) {
    for (const char* s : {"DSN=Ledger;UserID=U;Password=P;Database=D", "dsn=Ledger",
                          "Driver={PostgreSQL Unicode};"
                          "SERVER=h;PORT=5432;",
                          "DRIVER=SQLite3;Database=/tmp/x.db", "UserID=U"})
        EXPECT_EQ(Translate(s), QString::fromUtf8(s));
}

TEST(ProviderMap, ProvidersWithoutDriverFailWithTheirName) {
    const QString missingOracle = QStringLiteral("Provider cannot be found: no Oracle ODBC driver is "
                                                 "installed on this system. Install one and name it in "
                                                 "QLDB_ODBC_DRIVER_ORACLE to open Oracle data sources.");
    for (const char* oracle :
         {"Data Source=ORCL; Integrated Security=yes", "Provider=OraOLEDB.Oracle;Data Source=ORCL;",
          "Provider=MSDAORA.1;Data Source=ORCL;User ID=U;Password=P"}) {
        const ErrorRecord e = FailureOf(oracle);
        EXPECT_EQ(e.Number, kErrProviderNotFound) << oracle;
        EXPECT_EQ(e.Description, missingOracle) << oracle;
    }
    ProviderDrivers withOracle;
    withOracle.Oracle = QStringLiteral("Oracle 21 ODBC driver");
    EXPECT_EQ(TranslateConnectionString(
                  QStringLiteral("Provider=MSDAORA.1;Data Source=ORCL;User ID=U;Password=P"), withOracle),
              QStringLiteral("DRIVER={Oracle 21 ODBC driver};DBQ=ORCL;UID=U;PWD=P;"));

    const ErrorRecord unknown = FailureOf("Provider=VFPOLEDB.1;Data Source=C:\\data");
    EXPECT_EQ(unknown.Number, kErrProviderNotFound);
    EXPECT_EQ(unknown.Description,
              QStringLiteral("Provider cannot be found: \"VFPOLEDB.1\" has no ODBC driver on this system."));
}

TEST(ProviderMap, DriverNamesComeFromTheEnvironment) {
    const ProviderDrivers defaults = ProviderDriversFromEnvironment();
    EXPECT_EQ(defaults.SqlServer, QStringLiteral("FreeTDS"));
    EXPECT_EQ(defaults.MySql, QStringLiteral("MariaDB Unicode"));
    EXPECT_EQ(defaults.Access, QStringLiteral("SQLite3"));
    EXPECT_TRUE(defaults.Oracle.isEmpty());

    qputenv("QLDB_ODBC_DRIVER_SQLSERVER", "ODBC Driver 18 for SQL Server");
    qputenv("QLDB_TDS_VERSION_SQLSERVER", "8.0");
    qputenv("QLDB_ODBC_DRIVER_ACCESS", "SQLite");
    EXPECT_EQ(
        TranslateConnectionString(QStringLiteral("Provider=SQLOLEDB.1;Data Source=A;User ID=C;Password=D;")),
        QStringLiteral("DRIVER={ODBC Driver 18 for SQL Server};SERVER=A;UID=C;PWD=D;TDS_Version=8.0;"
                       "ClientCharset=UTF-8;"));
    EXPECT_EQ(TranslateConnectionString(QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=a.db")),
              QStringLiteral("DRIVER={SQLite};Database=a.db;"));
    qunsetenv("QLDB_ODBC_DRIVER_SQLSERVER");
    qunsetenv("QLDB_TDS_VERSION_SQLSERVER");
    qunsetenv("QLDB_ODBC_DRIVER_ACCESS");
}

} // namespace
} // namespace qldb
