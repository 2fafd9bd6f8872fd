// Filter criteria of the recordset: "Field op value" comparisons joined by AND and OR, with
// parentheses. Text compares without regard to case, as hosts expect of a filter; LIKE takes * or
// % for any run of characters. A Null value matches only "= NULL" (and "<> NULL" the others).
#include "platform/errors/error_record.h"
#include "platform/odbc/recordset.h"

#include <QDateTime>
#include <QRegularExpression>
#include <memory>
#include <optional>

namespace qldb {

namespace {

constexpr int32_t kErrInvalidArgument = 3001;

[[noreturn]] void ThrowBadCriteria(const QString& sCriteria, const QString& sWhy) {
    throw qlException(
        kErrInvalidArgument, QStringLiteral("ADODB.Recordset"),
        QStringLiteral("Arguments are of the wrong type, are out of acceptable range, or are in conflict "
                       "with one another. (Filter \"%1\": %2)")
            .arg(sCriteria, sWhy));
}

enum class Op { Eq, Ne, Lt, Gt, Le, Ge, Like };

enum class LiteralKind { Number, Text, Date, Boolean, Null };

struct Literal {
    LiteralKind Kind = LiteralKind::Null;
    double Number = 0;
    QString Text;
    QDateTime Date;
    bool Boolean = false;
    std::optional<QRegularExpression> Pattern; // LIKE
};

struct Node {
    // A comparison when Children is empty; otherwise an AND (IsAnd) or OR of the children.
    bool IsAnd = false;
    std::vector<std::shared_ptr<const Node>> Children;
    int Field = -1;
    Op Operator = Op::Eq;
    Literal Value;
};

bool Holds(Op op, int order) {
    switch (op) {
    case Op::Eq:
    case Op::Like:
        return order == 0;
    case Op::Ne:
        return order != 0;
    case Op::Lt:
        return order < 0;
    case Op::Gt:
        return order > 0;
    case Op::Le:
        return order <= 0;
    case Op::Ge:
        return order >= 0;
    }
    return false;
}

template <class T> int Order(const T& a, const T& b) {
    return a < b ? -1 : (b < a ? 1 : 0);
}

bool Compare(const QVariant& value, Op op, const Literal& literal) {
    const bool missing = !value.isValid() || value.isNull();
    if (literal.Kind == LiteralKind::Null)
        return op == Op::Eq ? missing : (op == Op::Ne && !missing);
    if (missing)
        return false;
    switch (literal.Kind) {
    case LiteralKind::Number: {
        bool ok = false;
        const double number = value.toDouble(&ok);
        return ok && Holds(op, Order(number, literal.Number));
    }
    case LiteralKind::Date: {
        const QDateTime date = value.toDateTime();
        return date.isValid() && Holds(op, Order(date, literal.Date));
    }
    case LiteralKind::Boolean:
        return Holds(op, Order(value.toBool(), literal.Boolean));
    case LiteralKind::Text:
        if (op == Op::Like)
            return literal.Pattern->match(value.toString()).hasMatch();
        return Holds(op, QString::compare(value.toString(), literal.Text, Qt::CaseInsensitive));
    case LiteralKind::Null:
        break;
    }
    return false;
}

bool Evaluate(const Node& node, const Row& row) {
    if (node.Children.empty())
        return Compare(row[static_cast<size_t>(node.Field)], node.Operator, node.Value);
    for (const auto& child : node.Children) {
        const bool result = Evaluate(*child, row);
        if (node.IsAnd && !result)
            return false;
        if (!node.IsAnd && result)
            return true;
    }
    return node.IsAnd;
}

QDateTime ParseDate(const QString& text) {
    for (const char* format : {"yyyy-MM-dd HH:mm:ss", "yyyy-MM-dd HH:mm", "yyyy-MM-dd", "M/d/yyyy H:mm:ss",
                               "M/d/yyyy H:mm", "M/d/yyyy"}) {
        const QDateTime date = QDateTime::fromString(text.trimmed(), QLatin1String(format));
        if (date.isValid())
            return date;
    }
    return {};
}

QRegularExpression LikePattern(const QString& text) {
    QString pattern;
    for (const QChar c : text)
        pattern += (c == QLatin1Char('*') || c == QLatin1Char('%')) ? QStringLiteral(".*")
                                                                    : QRegularExpression::escape(QString(c));
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern),
                              QRegularExpression::CaseInsensitiveOption |
                                  QRegularExpression::DotMatchesEverythingOption);
}

class Parser {
public:
    Parser(const QString& criteria, const std::vector<FieldInfo>& fields)
        : m_text(criteria), m_fields(fields) {}

    std::shared_ptr<const Node> parse() {
        auto node = parseOr();
        skipBlanks();
        if (m_pos < m_text.size())
            fail(QStringLiteral("unexpected text at \"%1\"").arg(m_text.mid(m_pos)));
        return node;
    }

private:
    std::shared_ptr<const Node> parseOr() { return parseJoined(false); }

    std::shared_ptr<const Node> parseJoined(bool isAnd) {
        auto first = isAnd ? parseFactor() : parseJoined(true);
        std::vector<std::shared_ptr<const Node>> children{first};
        while (takeWord(isAnd ? "AND" : "OR"))
            children.push_back(isAnd ? parseFactor() : parseJoined(true));
        if (children.size() == 1)
            return first;
        auto node = std::make_shared<Node>();
        node->IsAnd = isAnd;
        node->Children = std::move(children);
        return node;
    }

    std::shared_ptr<const Node> parseFactor() {
        skipBlanks();
        if (take(u'(')) {
            auto inner = parseOr();
            skipBlanks();
            if (!take(u')'))
                fail(QStringLiteral("a parenthesis is not closed"));
            return inner;
        }
        auto node = std::make_shared<Node>();
        const QString name = parseFieldName();
        node->Field = -1;
        for (size_t i = 0; i < m_fields.size(); ++i)
            if (m_fields[i].Name.compare(name, Qt::CaseInsensitive) == 0)
                node->Field = static_cast<int>(i);
        if (node->Field < 0)
            throw qlException(
                kErrItemNotFound, QStringLiteral("ADODB.Recordset"),
                QStringLiteral("Item cannot be found in the collection corresponding to the requested "
                               "name or ordinal."));
        node->Operator = parseOperator();
        node->Value = parseLiteral(node->Operator);
        return node;
    }

    QString parseFieldName() {
        skipBlanks();
        if (take(u'[')) {
            const qsizetype end = m_text.indexOf(QLatin1Char(']'), m_pos);
            if (end < 0)
                fail(QStringLiteral("a field name in brackets is not closed"));
            const QString name = m_text.mid(m_pos, end - m_pos);
            m_pos = end + 1;
            return name;
        }
        const qsizetype start = m_pos;
        while (m_pos < m_text.size() &&
               (m_text[m_pos].isLetterOrNumber() || m_text[m_pos] == QLatin1Char('_') ||
                m_text[m_pos] == QLatin1Char('.') || m_text[m_pos] == QLatin1Char('$')))
            ++m_pos;
        if (m_pos == start)
            fail(QStringLiteral("a field name is missing"));
        return m_text.mid(start, m_pos - start);
    }

    Op parseOperator() {
        skipBlanks();
        if (takeWord("LIKE"))
            return Op::Like;
        for (const auto& [text, op] :
             {std::pair{"<>", Op::Ne}, std::pair{"<=", Op::Le}, std::pair{">=", Op::Ge},
              std::pair{"=", Op::Eq}, std::pair{"<", Op::Lt}, std::pair{">", Op::Gt}}) {
            if (m_text.mid(m_pos).startsWith(QLatin1String(text))) {
                m_pos += static_cast<qsizetype>(qstrlen(text));
                return op;
            }
        }
        fail(QStringLiteral("a comparison operator is missing"));
    }

    Literal parseLiteral(Op op) {
        skipBlanks();
        Literal literal;
        if (take(u'\'')) {
            literal.Kind = LiteralKind::Text;
            while (true) {
                if (m_pos >= m_text.size())
                    fail(QStringLiteral("a quoted text is not closed"));
                const QChar c = m_text[m_pos++];
                if (c == QLatin1Char('\'')) {
                    if (m_pos < m_text.size() && m_text[m_pos] == QLatin1Char('\'')) {
                        literal.Text += c;
                        ++m_pos;
                        continue;
                    }
                    break;
                }
                literal.Text += c;
            }
            if (op == Op::Like)
                literal.Pattern = LikePattern(literal.Text);
            return literal;
        }
        if (op == Op::Like)
            fail(QStringLiteral("LIKE needs a quoted pattern"));
        if (take(u'#')) {
            const qsizetype end = m_text.indexOf(QLatin1Char('#'), m_pos);
            if (end < 0)
                fail(QStringLiteral("a #date# is not closed"));
            literal.Kind = LiteralKind::Date;
            literal.Date = ParseDate(m_text.mid(m_pos, end - m_pos));
            if (!literal.Date.isValid())
                fail(QStringLiteral("\"%1\" is no date").arg(m_text.mid(m_pos, end - m_pos)));
            m_pos = end + 1;
            return literal;
        }
        if (takeWord("NULL"))
            return literal;
        for (const bool truth : {true, false}) {
            if (takeWord(truth ? "TRUE" : "FALSE")) {
                literal.Kind = LiteralKind::Boolean;
                literal.Boolean = truth;
                return literal;
            }
        }
        const qsizetype start = m_pos;
        while (m_pos < m_text.size() &&
               (m_text[m_pos].isDigit() || m_text[m_pos] == QLatin1Char('.') ||
                m_text[m_pos] == QLatin1Char('-') || m_text[m_pos] == QLatin1Char('+') ||
                m_text[m_pos].toUpper() == QLatin1Char('E')))
            ++m_pos;
        bool ok = false;
        literal.Kind = LiteralKind::Number;
        literal.Number = m_text.mid(start, m_pos - start).toDouble(&ok);
        if (!ok)
            fail(QStringLiteral("a value is missing or is no number"));
        return literal;
    }

    void skipBlanks() {
        while (m_pos < m_text.size() && m_text[m_pos].isSpace())
            ++m_pos;
    }

    bool take(char16_t c) {
        if (m_pos < m_text.size() && m_text[m_pos] == QChar(c)) {
            ++m_pos;
            return true;
        }
        return false;
    }

    // A keyword, not followed by a letter or digit.
    bool takeWord(const char* word) {
        skipBlanks();
        const auto length = static_cast<qsizetype>(qstrlen(word));
        if (m_text.mid(m_pos, length).compare(QLatin1String(word), Qt::CaseInsensitive) != 0)
            return false;
        if (m_pos + length < m_text.size() &&
            (m_text[m_pos + length].isLetterOrNumber() || m_text[m_pos + length] == QLatin1Char('_')))
            return false;
        m_pos += length;
        return true;
    }

    [[noreturn]] void fail(const QString& why) const { ThrowBadCriteria(m_text, why); }

    const QString& m_text;
    const std::vector<FieldInfo>& m_fields;
    qsizetype m_pos = 0;
};

} // namespace

std::function<bool(const Row&)> ParseRecordsetFilter(const QString& sCriteria,
                                                     const std::vector<FieldInfo>& fields) {
    std::shared_ptr<const Node> root = Parser(sCriteria, fields).parse();
    return [root](const Row& row) { return Evaluate(*root, row); };
}

} // namespace qldb
