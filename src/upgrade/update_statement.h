#pragma once
// The one statement form most migrations are written in,
//   UPDATE table SET column = value [WHERE condition]
// read into a tree, so that several such statements on one table can be
// composed into a single pass over it. Only the plain expressions those
// statements use are read: literals, column names, + - *, comparisons,
// AND, OR, NOT and IS [NOT] NULL. Anything else (functions, subqueries,
// division, concatenation, qualified names) is not this form, and such a
// statement is simply run as it stands.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace upgrade {

struct Expr;
using ExprPtr = std::shared_ptr<const Expr>;

struct Expr {
    enum class Kind {
        Number, // also True and False
        Text,   // a quoted literal
        Null,   // NULL
        Column, // text: the name as written
        Unary,  // text: "NOT", "-" or "+"; one argument
        Binary, // text: the operator in upper case ("IS NOT" for that test)
        Case,   // CASE WHEN args[0] THEN args[1] ELSE args[2] END
        IfNull, // IFNULL(args[0], args[1])
    };
    Kind kind = Kind::Null;
    std::string text; // literals as written
    std::vector<ExprPtr> args;

    bool IsLiteral() const {
        return kind == Kind::Number || kind == Kind::Text || kind == Kind::Null;
    }
    bool IsComparison() const;
};

ExprPtr MakeColumn(std::string name);
ExprPtr MakeCase(ExprPtr when, ExprPtr then, ExprPtr otherwise);
ExprPtr MakeIfNull(ExprPtr value, ExprPtr otherwise);
// A literal written as SQL ("0", "''", "NULL"); throws std::invalid_argument
// when the text is not one literal.
ExprPtr MakeLiteral(std::string_view sql);

struct UpdateStatement {
    std::string table;
    std::string column;
    ExprPtr value;
    ExprPtr condition; // null when the statement has no WHERE
};

// The statement read into its parts, or nothing when it is not of the form.
std::optional<UpdateStatement> ParseUpdate(std::string_view sql);

// The expression as SQL, every operation in parentheses and every column
// name quoted, so that it keeps its meaning wherever it is placed.
std::string ToSql(const Expr& expr);

// A copy in which each column for which `replace` gives an expression is
// replaced by it.
ExprPtr Substitute(const ExprPtr& expr,
                   const std::function<ExprPtr(const std::string& column)>& replace);

// Calls `visit` for the node and every node below it.
void Walk(const Expr& expr, const std::function<void(const Expr&)>& visit);

// The bare words of any statement, outside literals, with quoted names
// unquoted: what might name a table or a column.
std::vector<std::string> Words(std::string_view sql);

} // namespace upgrade
