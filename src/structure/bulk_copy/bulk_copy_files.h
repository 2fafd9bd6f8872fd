#pragma once
// The side files of a bulk copy in the wide character form (-w): the non-XML format file and the
// data file (UTF-16LE, a terminator after every field, the last field's ending the row), written
// and read by the built-in copier the way the bulk copy program writes and reads them, so that
// files of either import with the other.
#include "platform/odbc/db_connection.h"

#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

namespace qldb {

// One line of a format file: host field order, host type, prefix length, host data length (bytes),
// terminator (the file's escaped form, "\t\0" for a wide tab), server column order (0 skips the
// field), server column name, collation.
struct BulkFormatField {
    int HostOrder = 0;
    QString HostType = QStringLiteral("SQLNCHAR");
    int PrefixLength = 0;
    int DataLength = 0;
    QString Terminator;
    int ServerOrder = 0;
    QString Name;
    QString Collation;
};

struct BulkFormat {
    QString Version = QStringLiteral("14.0");
    std::vector<BulkFormatField> Fields;
};

// The wide terminators of "-t \t -r \n" as a format file writes them.
inline const QString kWideFieldTerminator = QStringLiteral("\\t\\0");
inline const QString kWideRowTerminator = QStringLiteral("\\n\\0");

// The format a wide export of these columns writes: every field SQLNCHAR, the tab after each
// field but the last, the newline after the last.
BulkFormat WideFormatFor(const std::vector<CatalogColumn>& columns);
QString FormatFileText(const BulkFormat& format);
// Reads a format file's text; nullopt with a reason when a line cannot be read.
std::optional<BulkFormat> ParseFormatFile(const QString& sText, QString* sError);

// A terminator between its escaped form in a format file and its characters in the data. In a
// wide format each character is written as its two bytes, "\t\0"; a byte form that is not whole
// characters reads as nullopt.
std::optional<QString> TerminatorCharacters(const QString& sEscaped);
QString EscapedTerminator(const QString& sCharacters);

// The texts of the values of one row in a data file: a Null is an empty field, an empty text the
// single character NUL, anything else its text. The reader gives them back the same way.
QString BulkFieldText(const QVariant& vValue);

// The shortest terminators (the tab or newline, led by as few "~" as needed) that no value of the
// rows contains, so the fields of the file can be told apart.
QString SafeTerminator(const QString& sBase, const std::vector<QStringList>& rows);

// A data file's fields, cut by the format's terminators: views into sData, row after row, one per
// terminator. A file whose last row ends early reads the rows before it, with the reason in sError.
std::vector<QStringView> SplitBulkData(QStringView sData, const std::vector<QString>& terminators,
                                       QString* sError);

// Data file text with its byte order mark, and back (a mark is optional when reading).
QByteArray EncodeBulkData(const QString& sText);
QString DecodeBulkData(const QByteArray& bytes);

} // namespace qldb
