// The update log: every line a run writes to the host's rich-text box.
#include "structure/ql_database.h"

namespace qldb {

void qlDatabase::AddRTFText(const QString& sText, bool bError, const QString& sErrDescription,
                            bool bCountError, bool bTransactionLine) {
    if (bError && bCountError)
        m_verifyDatabaseResult = ql_eVerifyResult::evrUpdatedWithErrors;

    int32_t color = kColorGrayText;
    if (!bTransactionLine) {
        m_noChange = false;
        if (bError) {
            color = kColorRed;
        } else {
            color = m_colorToggle ? kColorBlack : kColorBlue;
            m_colorToggle = !m_colorToggle;
        }
    }

    QString text = QStringLiteral("\r\n") + sText;
    if (bError)
        text += QStringLiteral("\r\n(Error Description:") + sErrDescription + QStringLiteral(")\r\n");

    if (!m_outputBox)
        return;
    IRichTextLog& box = *m_outputBox;
    const auto start = static_cast<int32_t>(box.Text().size());
    box.setSelStart(start);
    box.setSelLength(0);
    box.setSelRTF(text);
    // Select what was just inserted, so that the colour lands on it and on nothing before it.
    box.setSelStart(start);
    box.setSelLength(static_cast<int32_t>(text.size()));
    box.setSelColor(color);
    box.Refresh();
}

} // namespace qldb
