#include "upgrade/update_statement.h"

#include "db/catalog.h"
#include "util/strings.h"

#include <cctype>
#include <stdexcept>

namespace upgrade {

namespace {

struct Token {
    enum class Kind { Word, Name, Number, Text, Op, Other, End };
    Kind kind = Kind::End;
    std::string text; // a quoted name without its quotes
};

bool IsWordStart(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) || c == '_';
}
bool IsWordChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '$';
}
bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

std::vector<Token> Tokenize(std::string_view sql) {
    std::vector<Token> tokens;
    size_t i = 0;
    while (i < sql.size()) {
        const char c = sql[i];
        if (std::isspace(static_cast<unsigned char>(c))) {
            ++i;
            continue;
        }
        const size_t start = i;
        if (IsWordStart(c)) {
            while (i < sql.size() && IsWordChar(sql[i])) {
                ++i;
            }
            tokens.push_back({Token::Kind::Word, std::string(sql.substr(start, i - start))});
        } else if (IsDigit(c) || (c == '.' && i + 1 < sql.size() && IsDigit(sql[i + 1]))) {
            while (i < sql.size() && (IsDigit(sql[i]) || sql[i] == '.')) {
                ++i;
            }
            if (i < sql.size() && (sql[i] == 'e' || sql[i] == 'E')) {
                ++i;
                if (i < sql.size() && (sql[i] == '+' || sql[i] == '-')) {
                    ++i;
                }
                while (i < sql.size() && IsDigit(sql[i])) {
                    ++i;
                }
            }
            // "1abc" is no number the engine reads.
            const bool glued = i < sql.size() && IsWordChar(sql[i]);
            tokens.push_back({glued ? Token::Kind::Other : Token::Kind::Number,
                              std::string(sql.substr(start, i - start))});
        } else if (c == '\'' || c == '"' || c == '[' || c == '`') {
            const char close = c == '[' ? ']' : c;
            std::string inner;
            ++i;
            bool closed = false;
            while (i < sql.size()) {
                if (sql[i] == close) {
                    if (close != ']' && i + 1 < sql.size() && sql[i + 1] == close) {
                        inner += close;
                        i += 2;
                        continue;
                    }
                    ++i;
                    closed = true;
                    break;
                }
                inner += sql[i++];
            }
            if (!closed) {
                tokens.push_back({Token::Kind::Other, std::string(sql.substr(start))});
            } else if (c == '\'') {
                tokens.push_back({Token::Kind::Text, std::string(sql.substr(start, i - start))});
            } else {
                tokens.push_back({Token::Kind::Name, std::move(inner)});
            }
        } else {
            static constexpr std::string_view kOps[] = {"<>", "!=", "<=", ">=", "==", "=", "<",
                                                        ">",  "+",  "-",  "*",  "(",  ")", ";"};
            Token t{Token::Kind::Other, std::string(1, c)};
            for (std::string_view op : kOps) {
                if (sql.substr(i, op.size()) == op) {
                    t = {Token::Kind::Op, std::string(op)};
                    break;
                }
            }
            i += t.text.size();
            tokens.push_back(std::move(t));
        }
    }
    tokens.push_back({Token::Kind::End, {}});
    return tokens;
}

ExprPtr Make(Expr::Kind kind, std::string text, std::vector<ExprPtr> args = {}) {
    auto e = std::make_shared<Expr>();
    e->kind = kind;
    e->text = std::move(text);
    e->args = std::move(args);
    return e;
}

// Recursive descent over the tokens, by the engine's operator precedence.
// Any token the form does not allow ends the reading with nothing.
class Parser {
public:
    explicit Parser(std::vector<Token> tokens) : t_(std::move(tokens)) {}

    std::optional<UpdateStatement> Statement() {
        UpdateStatement s;
        if (!Keyword("UPDATE") || !Name(s.table) || !Keyword("SET") || !Name(s.column) ||
            !Op("=") || !(s.value = Or())) {
            return std::nullopt;
        }
        if (Keyword("WHERE") && !(s.condition = Or())) {
            return std::nullopt;
        }
        Op(";");
        if (Peek().kind != Token::Kind::End) {
            return std::nullopt;
        }
        return s;
    }

    ExprPtr Single() {
        ExprPtr e = Or();
        return e && Peek().kind == Token::Kind::End ? e : nullptr;
    }

private:
    const Token& Peek() const { return t_[pos_]; }
    bool IsKeyword(const Token& t, std::string_view word) const {
        return t.kind == Token::Kind::Word && util::EqualsNoCase(t.text, word);
    }
    bool Keyword(std::string_view word) {
        if (!IsKeyword(Peek(), word)) {
            return false;
        }
        ++pos_;
        return true;
    }
    bool Op(std::string_view op) {
        if (Peek().kind != Token::Kind::Op || Peek().text != op) {
            return false;
        }
        ++pos_;
        return true;
    }
    bool Name(std::string& out) {
        const Token& t = Peek();
        if (t.kind != Token::Kind::Word && t.kind != Token::Kind::Name) {
            return false;
        }
        out = t.text;
        ++pos_;
        return true;
    }

    // One level of left-associative binary operators.
    template <typename Next> ExprPtr Level(Next next, std::initializer_list<std::string_view> ops) {
        ExprPtr left = (this->*next)();
        while (left) {
            std::string op;
            for (std::string_view candidate : ops) {
                const Token& t = Peek();
                const bool match =
                    (t.kind == Token::Kind::Op && t.text == candidate) || IsKeyword(t, candidate);
                if (match) {
                    op = util::UCase(candidate);
                    break;
                }
            }
            if (op.empty()) {
                return left;
            }
            ++pos_;
            if (op == "IS" && Keyword("NOT")) {
                op = "IS NOT";
            }
            ExprPtr right = (this->*next)();
            if (!right) {
                return nullptr;
            }
            left = Make(Expr::Kind::Binary, op, {left, right});
        }
        return left;
    }

    ExprPtr Or() { return Level(&Parser::And, {"OR"}); }
    ExprPtr And() { return Level(&Parser::Not, {"AND"}); }
    ExprPtr Not() {
        if (Keyword("NOT")) {
            ExprPtr arg = Not();
            return arg ? Make(Expr::Kind::Unary, "NOT", {arg}) : nullptr;
        }
        return Equality();
    }
    ExprPtr Equality() { return Level(&Parser::Relational, {"=", "==", "<>", "!=", "IS"}); }
    ExprPtr Relational() { return Level(&Parser::Additive, {"<", "<=", ">", ">="}); }
    ExprPtr Additive() { return Level(&Parser::Multiplicative, {"+", "-"}); }
    ExprPtr Multiplicative() { return Level(&Parser::Unary, {"*"}); }
    ExprPtr Unary() {
        for (std::string_view op : {"-", "+"}) {
            if (Op(op)) {
                ExprPtr arg = Unary();
                return arg ? Make(Expr::Kind::Unary, std::string(op), {arg}) : nullptr;
            }
        }
        return Primary();
    }
    ExprPtr Primary() {
        const Token t = Peek();
        ++pos_;
        switch (t.kind) {
        case Token::Kind::Number:
            return Make(Expr::Kind::Number, t.text);
        case Token::Kind::Text:
            return Make(Expr::Kind::Text, t.text);
        case Token::Kind::Name:
            return Make(Expr::Kind::Column, t.text);
        case Token::Kind::Word:
            if (IsKeyword(t, "NULL")) {
                return Make(Expr::Kind::Null, "NULL");
            }
            if (IsKeyword(t, "TRUE") || IsKeyword(t, "FALSE")) {
                return Make(Expr::Kind::Number, t.text);
            }
            // A name followed by "(" calls a function: not this form.
            if (Peek().kind == Token::Kind::Op && Peek().text == "(") {
                return nullptr;
            }
            return Make(Expr::Kind::Column, t.text);
        case Token::Kind::Op:
            if (t.text == "(") {
                ExprPtr inner = Or();
                return inner && Op(")") ? inner : nullptr;
            }
            return nullptr;
        default:
            return nullptr;
        }
    }

    std::vector<Token> t_;
    size_t pos_ = 0;
};

} // namespace

bool Expr::IsComparison() const {
    if (kind != Kind::Binary) {
        return false;
    }
    for (std::string_view op : {"=", "==", "<>", "!=", "<", "<=", ">", ">=", "IS", "IS NOT"}) {
        if (text == op) {
            return true;
        }
    }
    return false;
}

ExprPtr MakeColumn(std::string name) {
    return Make(Expr::Kind::Column, std::move(name));
}

ExprPtr MakeCase(ExprPtr when, ExprPtr then, ExprPtr otherwise) {
    return Make(Expr::Kind::Case, "CASE", {std::move(when), std::move(then), std::move(otherwise)});
}

ExprPtr MakeIfNull(ExprPtr value, ExprPtr otherwise) {
    return Make(Expr::Kind::IfNull, "IFNULL", {std::move(value), std::move(otherwise)});
}

ExprPtr MakeLiteral(std::string_view sql) {
    ExprPtr e = Parser(Tokenize(sql)).Single();
    if (!e || !e->IsLiteral()) {
        throw std::invalid_argument("not a literal: " + std::string(sql));
    }
    return e;
}

std::optional<UpdateStatement> ParseUpdate(std::string_view sql) {
    return Parser(Tokenize(sql)).Statement();
}

std::string ToSql(const Expr& e) {
    switch (e.kind) {
    case Expr::Kind::Number:
    case Expr::Kind::Text:
    case Expr::Kind::Null:
        return e.text;
    case Expr::Kind::Column:
        return db::QuoteName(e.text);
    case Expr::Kind::Unary:
        return "(" + e.text + " " + ToSql(*e.args[0]) + ")";
    case Expr::Kind::Binary:
        return "(" + ToSql(*e.args[0]) + " " + e.text + " " + ToSql(*e.args[1]) + ")";
    case Expr::Kind::Case:
        return "(CASE WHEN " + ToSql(*e.args[0]) + " THEN " + ToSql(*e.args[1]) + " ELSE " +
               ToSql(*e.args[2]) + " END)";
    case Expr::Kind::IfNull:
        return "IFNULL(" + ToSql(*e.args[0]) + ", " + ToSql(*e.args[1]) + ")";
    }
    return "NULL";
}

ExprPtr Substitute(const ExprPtr& e,
                   const std::function<ExprPtr(const std::string& column)>& replace) {
    if (e->kind == Expr::Kind::Column) {
        ExprPtr with = replace(e->text);
        return with ? with : e;
    }
    if (e->args.empty()) {
        return e;
    }
    std::vector<ExprPtr> args;
    for (const ExprPtr& a : e->args) {
        args.push_back(Substitute(a, replace));
    }
    return Make(e->kind, e->text, std::move(args));
}

void Walk(const Expr& e, const std::function<void(const Expr&)>& visit) {
    visit(e);
    for (const ExprPtr& a : e.args) {
        Walk(*a, visit);
    }
}

std::vector<std::string> Words(std::string_view sql) {
    std::vector<std::string> words;
    for (Token& t : Tokenize(sql)) {
        if (t.kind == Token::Kind::Word || t.kind == Token::Kind::Name) {
            words.push_back(std::move(t.text));
        }
    }
    return words;
}

} // namespace upgrade
