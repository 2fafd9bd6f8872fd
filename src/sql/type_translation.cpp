// Type words per provider and the bare values of catalog defaults.
#include "platform/tools/conversions.h"
#include "sql/ql_query_constructor.h"

#include <array>

namespace qldb {

namespace {

using T = ql_eDataType;
using P = ql_eProviderType;

constexpr size_t kProviders = 7;
using Words = std::array<const char16_t*, kProviders>;

// One row per data type whose word varies by provider, columns in provider order: SQLServer,
// MsAccess, SyBase, MySql, Oracle, ODBC, FoxPro. nullptr is "no word".
const Words* VaryingWords(T iType) {
    static const Words counter{u"INTEGER IDENTITY(1, 1)",
                               u"AUTOINCREMENT NOT NULL",
                               u"INTEGER NOT NULL DEFAULT AUTOINCREMENT",
                               u"INTEGER NOT NULL AUTO_INCREMENT",
                               u"INTEGER NOT NULL AUTOINCREMENT",
                               nullptr,
                               nullptr};
    static const Words bigCounter{u"BIGINT IDENTITY(1, 1)",
                                  u"AUTOINCREMENT NOT NULL",
                                  u"BIGINT NOT NULL DEFAULT AUTOINCREMENT",
                                  u"BIGINT NOT NULL AUTO_INCREMENT",
                                  u"BIGINT NOT NULL AUTOINCREMENT",
                                  nullptr,
                                  nullptr};
    static const Words longInt{u"BIGINT", u"DOUBLE", u"LONG", u"BIGINT", u"LONG", u"LONG", u"LONG"};
    static const Words dbl{u"FLOAT", u"DOUBLE", u"DOUBLE", u"DOUBLE", u"DOUBLE", u"DOUBLE", u"DOUBLE"};
    static const Words memo{u"TEXT", u"MEMO", u"MEMO", u"TINYTEXT", u"MEMO", u"MEMO", u"MEMO"};
    static const Words oleObject{u"IMAGE",     u"OLEOBJECT", u"OLEOBJECT", u"OLEOBJECT",
                                 u"OLEOBJECT", u"OLEOBJECT", u"OLEOBJECT"};
    static const Words byte{u"TINYINT", nullptr, u"TINYINT", nullptr, nullptr, nullptr, nullptr};
    switch (iType) {
    case T::TypeCounter:
        return &counter;
    case T::TypeBigCounter:
        return &bigCounter;
    case T::TypeLong:
        return &longInt;
    case T::TypeDbl:
        return &dbl;
    case T::TypeMemo:
        return &memo;
    case T::TypeOLEObject:
        return &oleObject;
    case T::TypeByte:
        return &byte;
    default:
        return nullptr;
    }
}

// The sized character types have no word for the generic ODBC and FoxPro sources.
bool HasSizedCharWords(P iProvider) {
    return iProvider != P::ODBC && iProvider != P::FoxPro;
}

bool IsNumericDefault(T iFieldType) {
    switch (iFieldType) {
    case T::TypeInt:
    case T::TypeLong:
    case T::TypeDbl:
    case T::TypeBit:
    case T::TypeCounter:
    case T::TypeByte:
    case T::TypeBigCounter:
        return true;
    default:
        return false;
    }
}

bool IsQuotedDefault(T iFieldType) {
    return IsTextType(iFieldType) || IsDateType(iFieldType) || iFieldType == T::TypeBinary;
}

} // namespace

QString qlQueryConstructor::TranslateType(ql_eDataType iType, int32_t iSize) const {
    const auto provider = static_cast<size_t>(m_providerType);
    if (provider >= kProviders)
        return QString();
    const QString size = iSize == -1 ? QStringLiteral("max") : QString::number(iSize);
    if (const Words* words = VaryingWords(iType)) {
        const char16_t* word = (*words)[provider];
        return word ? QString::fromUtf16(word) : QString();
    }
    switch (iType) {
    case T::TypeChar:
        return HasSizedCharWords(m_providerType) ? QStringLiteral("CHAR(") + size + QLatin1Char(')')
                                                 : QString();
    case T::TypeVarChar:
        return HasSizedCharWords(m_providerType) ? QStringLiteral("VARCHAR(") + size + QLatin1Char(')')
                                                 : QString();
    case T::TypeInt:
        return QStringLiteral("INTEGER");
    // Dates and times are kept as text of fixed width everywhere.
    case T::TypeDate:
        return QStringLiteral("CHAR(8)");
    case T::TypeTime:
        return QStringLiteral("CHAR(6)");
    case T::TypeDateTime:
        return QStringLiteral("DATETIME");
    case T::TypeBit:
        return QStringLiteral("BIT");
    case T::TypeGUID:
        return QStringLiteral("UNIQUEIDENTIFIER");
    case T::TypeCharUnicode:
        return QStringLiteral("NCHAR(") + size + QLatin1Char(')');
    case T::TypeVarCharUnicode:
        return QStringLiteral("NVARCHAR(") + size + QLatin1Char(')');
    case T::TypeMemoUnicode:
        return QStringLiteral("NTEXT");
    default:
        return QString();
    }
}

QString qlQueryConstructor::FormatDefaultValue(const QVariant& sDefault, ql_eDataType iFieldType) const {
    QString text = ToText(sDefault);
    if (IsNumericDefault(iFieldType)) {
        // The catalog wraps numeric defaults in parentheses, sometimes quoted: "((0))", "('1')".
        text.remove(QLatin1Char('('));
        text.remove(QLatin1Char(')'));
        text.remove(QLatin1Char('\''));
        return text;
    }
    if (IsQuotedDefault(iFieldType)) {
        // One layer only, in this order; deeper wrapping stays for the caller to see.
        if (text.startsWith(QLatin1Char('(')))
            text.remove(0, 1);
        if (text.startsWith(QLatin1Char('\'')))
            text.remove(0, 1);
        if (text.endsWith(QLatin1Char(')')))
            text.chop(1);
        if (text.endsWith(QLatin1Char('\'')))
            text.chop(1);
    }
    return text;
}

} // namespace qldb
