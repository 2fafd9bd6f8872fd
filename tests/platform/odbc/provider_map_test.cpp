// Connection strings as hosts write them, translated for the drivers installed here.
#include "platform/odbc/provider_map.h"
#include "sql/sql_test_support.h"

using namespace qldb;

TEST(ProviderMap, EachProviderGetsItsDriversString) {
    const struct {
        const char* from;
        const char* to;
    } rows[] = {
        {"Provider=SQLOLEDB.1;Data Source=A;Initial Catalog=B;User ID=C;Password=D;",
         "DRIVER={FreeTDS};SERVER=A;DATABASE=B;UID=C;PWD=D;TDS_Version=7.4;ClientCharset=UTF-8;"},
        {"Provider=SQLNCLI11;Data Source=(local);Initial Catalog=B;User ID=sa;Password=;",
         "DRIVER={FreeTDS};SERVER=localhost;DATABASE=B;UID=sa;PWD=;TDS_Version=7.4;ClientCharset=UTF-8;"},
        {"Provider=MSOLEDBSQL;Server=tcp:db.example,1533;MARS Connection=True;Integrated Security=SSPI;",
         "DRIVER={FreeTDS};SERVER=db.example;Port=1533;Trusted_Connection=Yes;TDS_Version=7.4;"
         "ClientCharset=UTF-8;"},
        {"Provider=SQLNCLI10.1;Data Source=.\\SQLEXPRESS;", "DRIVER={FreeTDS};SERVER=localhost\\SQLEXPRESS;"
                                                            "TDS_Version=7.4;ClientCharset=UTF-8;"},
        // Quoted values keep their separators, and go to ODBC in braces.
        {"Provider=SQLOLEDB.1;Data Source=A;User ID=C;Password=\"p;w}d\";Application Name=Mirando",
         "DRIVER={FreeTDS};SERVER=A;UID=C;PWD={p;w}}d};APP=Mirando;TDS_Version=7.4;ClientCharset=UTF-8;"},
        {"Provider=ASAProv.90;Server=S;", "DRIVER={FreeTDS};SERVER=S;TDS_Version=5.0;ClientCharset=UTF-8;"},
        {"Provider=Sybase.ASEOLEDBProvider;Server=S;",
         "DRIVER={FreeTDS};SERVER=S;TDS_Version=5.0;ClientCharset=UTF-8;"},
        {"DRIVER={MySQL ODBC 5.2w Driver};SERVER=S;DATABASE=D;USER=U;PASSWORD=P;OPTION=3;",
         "DRIVER={MariaDB Unicode};SERVER=S;DATABASE=D;USER=U;PASSWORD=P;OPTION=3;"},
        {"Provider=MySQL;Data Source=S;Initial Catalog=D;User ID=U;Password=P;",
         "DRIVER={MariaDB Unicode};SERVER=S;DATABASE=D;UID=U;PWD=P;"},
        {"Provider=Microsoft.Jet.OLEDB.4.0; Data Source=/srv/data/shop.mdb;User Id=admin;Password=;",
         "DRIVER={SQLite3};Database=/srv/data/shop.mdb;"},
        {"Provider=Microsoft.ACE.OLEDB.12.0;Data Source= /srv/my data;shop.accdb",
         "DRIVER={SQLite3};Database=/srv/my data;"},
        {"Provider=MSDASQL.1;Persist Security Info=True;Data Source=Ledger;uid=U;pwd=P",
         "DSN=Ledger;UID=U;PWD=P;"},
        {"Provider=FoxPro;DSN=Books", "DSN=Books;"},
        // ODBC strings go unchanged.
        {"dsn=Ledger;UserID=U;Password=P", "dsn=Ledger;UserID=U;Password=P"},
        {"UserID=U", "UserID=U"},
        // Oracle only where a driver is named.
        {"Provider=OraOLEDB.Oracle;Data Source=ORCL;User ID=U;Password=P",
         "DRIVER={Oracle 21};DBQ=ORCL;UID=U;PWD=P;"},
        {"Data Source=ORCL; Integrated Security=yes", "DRIVER={Oracle 21};DBQ=ORCL;"},
    };
    ProviderDrivers drivers;
    drivers.Oracle = QStringLiteral("Oracle 21");
    for (const auto& row : rows)
        EXPECT_EQ(TranslateConnectionString(row.from, drivers), row.to);
}

TEST(ProviderMap, ProvidersWithoutDriverFailWithTheirName) {
    const QString missingOracle = QStringLiteral("Provider cannot be found: no Oracle ODBC driver is "
                                                 "installed on this system. Install one and name it in "
                                                 "QLDB_ODBC_DRIVER_ORACLE to open Oracle data sources.");
    const std::pair<const char*, QString> failures[] = {
        {"Data Source=ORCL; Integrated Security=yes", missingOracle},
        {"Provider=MSDAORA.1;Data Source=ORCL;User ID=U;Password=P", missingOracle},
        {"Provider=VFPOLEDB.1;Data Source=C:\\data",
         "Provider cannot be found: \"VFPOLEDB.1\" has no ODBC driver on this system."},
    };
    for (const auto& [from, description] : failures) {
        const ErrorRecord e = test::RaisedBy([&] { TranslateConnectionString(from, ProviderDrivers{}); });
        EXPECT_EQ(e.Number, kErrProviderNotFound) << from;
        EXPECT_EQ(e.Description, description) << from;
    }
}

TEST(ProviderMap, DriverNamesComeFromTheEnvironment) {
    const auto translate = [] { return TranslateConnectionString("Provider=SQLOLEDB.1;Data Source=A;"); };
    qputenv("QLDB_ODBC_DRIVER_SQLSERVER", "ODBC Driver 18");
    qputenv("QLDB_TDS_VERSION_SQLSERVER", "8.0");
    EXPECT_EQ(translate(), "DRIVER={ODBC Driver 18};SERVER=A;TDS_Version=8.0;ClientCharset=UTF-8;");
    qunsetenv("QLDB_ODBC_DRIVER_SQLSERVER");
    qunsetenv("QLDB_TDS_VERSION_SQLSERVER");
    EXPECT_EQ(translate(), "DRIVER={FreeTDS};SERVER=A;TDS_Version=7.4;ClientCharset=UTF-8;");
}
