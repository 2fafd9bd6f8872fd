#pragma once
// The bulk copy of a table's data to and from side files. Three passes: the format file of the
// table, the data out into a file, the data file in. Each pass has its command line; when a bulk
// copy program is at hand that line runs through a temporary shell script, otherwise the built-in
// copier does the same work over the connection and leaves the same files.
//
// Which one runs: the setting "BulkCopyProgram" of the product's settings file names a program
// to use; "builtin" asks for the built-in copier; without the setting a "bcp" found on the PATH
// runs, and the built-in copier when there is none.
#include "platform/odbc/db_connection.h"

#include <QString>
#include <QStringList>
#include <cstdint>

namespace qldb {

class IHostServices;

enum class BulkCopyPass { Format, Out, In };

// Where a pass reads and writes. The out pass of the built-in copier also adjusts the format
// file when values hold the terminators.
struct BulkCopyJob {
    BulkCopyPass Pass = BulkCopyPass::Format;
    QString Table;
    QString DataFile;
    QString FormatFile;
    QString ErrorFile;
    QString LogFile;
};

// The connection's settings that a command line carries.
struct BulkCopyLogin {
    QString Server;
    QString Database;
    QString User;
    QString Password;
    bool NetworkCredential = false;
    int32_t Version = 80;
};

// The pass's command line:
//   bcp "DB.dbo.T" format nul -f "FMT" -w -t \t -r \n -SS -T -VV -e "ERR"
//   bcp "DB.dbo.T" out "DATA" -w -t \t -r \n -SS -T -VV -e "ERR"
//   bcp "DB.dbo.T" in "DATA" -f "FMT" -SS -T -VV -e "ERR"
// with -SS -UUSER -PPASSWORD -VV in place of -SS -T -VV without network credentials.
QString BulkCopyCommand(const BulkCopyJob& job, const BulkCopyLogin& login);

// The program that runs the command lines: the setting's program, or "bcp" from the PATH; empty
// for the built-in copier.
QString BulkCopyProgram();

// The script that stands for the command line: the line's words passed to the program exactly,
// by iMode 1 alone, 2 with the program's output into sLogFile, any other followed by a pause.
// sProgram other than a plain "bcp" is what the word bcp runs.
QString BulkCopyScript(const QString& sCommand, int32_t iMode, const QString& sLogFile,
                       const QString& sProgram);

// The side files of a table's data: data and format beside the structure file (sPathXML) or in the
// product's "Db" folder; output, error and log always in the "Db" folder.
struct DataSideFiles {
    QString Data;
    QString Format;
    QString Output;
    QString Error;
    QString Log;
};
DataSideFiles SideFilesFor(const QString& sBaseName, const QString& sPathXML);
// Deletes the files that exist; a file that cannot go stays.
void DeleteFiles(const QStringList& sFiles);

// Runs the pass: the command line through a temporary script when there is a program, else the
// built-in copier on the connection. True when it ran: the script ended with the program's exit
// code 0, or the built-in copier could do its work (what went wrong with the data is in the error
// file, as with the program).
bool RunBulkCopy(const BulkCopyJob& job, const BulkCopyLogin& login, int32_t iMode, IDbConnection& connection,
                 IHostServices* pHost);

} // namespace qldb
