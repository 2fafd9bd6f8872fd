#pragma once
// Connection strings as hosts write them (OLE DB providers of the original platform, Windows ODBC
// driver names) translated into ODBC strings for the drivers installed here.
//
//   provider in the string                         ODBC string
//   SQLOLEDB*, SQLNCLI*, MSOLEDBSQL*               DRIVER={<sql server driver>};SERVER=...;DATABASE=...;
//                                                  UID=...;PWD=...;TDS_Version=7.4;ClientCharset=UTF-8;
//   ASAProv*, ASEOLEDB*, Sybase*                   the same with the Sybase driver and TDS_Version=5.0
//   MySQL*, and DRIVER={MySQL ODBC ... Driver}     DRIVER={MariaDB Unicode};... (the rest as given)
//   Microsoft.Jet.OLEDB*, Microsoft.ACE.OLEDB*     DRIVER={SQLite3};Database=<data source>;
//   MSDASQL*, ODBC, FoxPro                         DSN=<data source>;DATABASE=...;UID=...;PWD=...;
//   OraOLEDB*, MSDAORA*, Oracle, and a string      a qlException naming the missing Oracle driver,
//   with a data source and no provider             unless an Oracle driver is configured
//   anything else                                  a qlException naming the provider
//
// A string that already begins with DRIVER= or DSN= (any case) is an ODBC string and goes
// unchanged; the MySQL driver names of the original platform are the one exception (the driver
// name is replaced, nothing else). "Integrated Security=SSPI" (or Trusted_Connection=yes) becomes
// FreeTDS's Kerberos login, Trusted_Connection=Yes. Keys without meaning here (Persist Security
// Info, DataTypeCompatibility, MARS Connection) are dropped; Application Name and Workstation ID
// become APP and WSID. A server written "host,port" becomes SERVER=host;Port=port, and "(local)"
// or "." becomes localhost.
//
// Driver names come from these environment variables, read at each translation:
//   QLDB_ODBC_DRIVER_SQLSERVER   default FreeTDS
//   QLDB_TDS_VERSION_SQLSERVER   default 7.4
//   QLDB_ODBC_DRIVER_SYBASE      default FreeTDS
//   QLDB_TDS_VERSION_SYBASE      default 5.0
//   QLDB_ODBC_DRIVER_MYSQL       default MariaDB Unicode
//   QLDB_ODBC_DRIVER_ACCESS      default SQLite3
//   QLDB_ODBC_DRIVER_ORACLE      default none (Oracle sources fail to open); when set, Oracle
//                                sources open as DRIVER={<name>};DBQ=<data source>;UID=...;PWD=...;
#include <QString>
#include <cstdint>

namespace qldb {

// ADO's number for a provider that is not installed.
inline constexpr int32_t kErrProviderNotFound = 3706;

struct ProviderDrivers {
    QString SqlServer = QStringLiteral("FreeTDS");
    QString SqlServerTdsVersion = QStringLiteral("7.4");
    QString Sybase = QStringLiteral("FreeTDS");
    QString SybaseTdsVersion = QStringLiteral("5.0");
    QString MySql = QStringLiteral("MariaDB Unicode");
    QString Access = QStringLiteral("SQLite3");
    QString Oracle;
};

// The defaults above, overridden by the environment variables.
ProviderDrivers ProviderDriversFromEnvironment();

// The ODBC string for a connection string as hosts write it. Throws qlException
// (kErrProviderNotFound) for a provider that has no driver here.
QString TranslateConnectionString(const QString& sConnectionString, const ProviderDrivers& drivers);
inline QString TranslateConnectionString(const QString& sConnectionString) {
    return TranslateConnectionString(sConnectionString, ProviderDriversFromEnvironment());
}

} // namespace qldb
