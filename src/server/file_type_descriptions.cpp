#include "server/file_type_descriptions.h"

#include <QFileInfo>

namespace qldb {

QString FileTypeDescription(const QString& sFileName) {
    const QString extension = QFileInfo(sFileName).suffix().toUpper();
    if (extension.isEmpty())
        return QStringLiteral("File");
    static const struct {
        const char* Extension;
        const char* Description;
    } kKnown[] = {{"TXT", "Documento di testo"},
                  {"LOG", "Documento di testo"},
                  {"XML", "Documento XML"},
                  {"INI", "Impostazioni di configurazione"},
                  {"ZIP", "Cartella compressa"}};
    for (const auto& known : kKnown)
        if (extension == QLatin1String(known.Extension))
            return QString::fromUtf8(known.Description);
    return QStringLiteral("File ") + extension;
}

} // namespace qldb
