#include "upgrade/deferred_updates.h"

#include "util/strings.h"

#include <exception>
#include <set>
#include <stdexcept>

namespace upgrade {

namespace {

bool IsNumeric(db::Affinity a) {
    return a == db::Affinity::Integer || a == db::Affinity::Numeric || a == db::Affinity::Real;
}

// Whether a literal compared with a column of this affinity is left as it is
// by the comparison: then the column may stand there as any expression.
bool LiteralKeepsMeaning(const Expr& literal, db::Affinity affinity) {
    switch (literal.kind) {
    case Expr::Kind::Null:
        return true;
    case Expr::Kind::Text:
        return affinity == db::Affinity::Text;
    case Expr::Kind::Number:
        return IsNumeric(affinity);
    default:
        return false;
    }
}

} // namespace

DeferredUpdates::DeferredUpdates(db::Connection& connection) : connection_(connection) {}

void DeferredUpdates::ReadNames() {
    if (tables_.empty()) {
        for (const std::string& stored : db::ListTables(connection_)) {
            tables_[util::UCase(stored)].name = stored;
        }
    }
}

DeferredUpdates::Table* DeferredUpdates::Find(std::string_view name) {
    ReadNames();
    auto it = tables_.find(util::UCase(name));
    if (it == tables_.end()) {
        return nullptr;
    }
    Table& t = it->second;
    if (t.columns.empty()) {
        t.columns = db::ListColumns(connection_, t.name);
        t.plain = db::IsPlainTable(connection_, t.name);
    }
    return &t;
}

void DeferredUpdates::Reload() {
    tables_.clear();
}

const db::ColumnInfo* DeferredUpdates::Column(const Table& table, std::string_view column) const {
    for (const db::ColumnInfo& c : table.columns) {
        if (util::EqualsNoCase(c.Name, column)) {
            return &c;
        }
    }
    return nullptr;
}

// A pending value is read in place of the column only when the column would
// have stored it unchanged: a column converts what it stores (a number
// written to a text column becomes text), and the composed value never
// passes through the column.
bool DeferredUpdates::Stable(const Table& table, const ExprPtr& value,
                             db::Affinity affinity) const {
    if (affinity == db::Affinity::Blob) {
        return true; // such a column stores every value as it comes
    }
    bool stable = true;
    std::function<void(const Expr&)> results = [&](const Expr& e) {
        switch (e.kind) {
        case Expr::Kind::Null:
            break;
        case Expr::Kind::Number:
            stable = stable && IsNumeric(affinity);
            break;
        case Expr::Kind::Text:
            stable = stable && affinity == db::Affinity::Text;
            break;
        case Expr::Kind::Column: {
            const db::ColumnInfo* c = Column(table, e.text);
            const db::Affinity from = c ? db::AffinityOf(c->Declared) : db::Affinity::Blob;
            stable = stable && (affinity == db::Affinity::Text ? from == db::Affinity::Text
                                                               : IsNumeric(from));
            break;
        }
        case Expr::Kind::Unary:
        case Expr::Kind::Binary:
            stable = stable && IsNumeric(affinity); // a number, or NULL
            break;
        case Expr::Kind::Case:
            results(*e.args[1]);
            results(*e.args[2]);
            break;
        case Expr::Kind::IfNull:
            results(*e.args[0]);
            results(*e.args[1]);
            break;
        }
    };
    results(*value);
    return stable;
}

// Whether the statement reads the pending values of its table exactly as it
// would read the stored ones. Besides what a column converts on storing, a
// column compared with a value converts that value first; a composed
// expression in its place does not, so it may stand there only against a
// literal the column would leave as it is.
bool DeferredUpdates::ReadsExactly(const Table& table, const UpdateStatement& statement) {
    const Pending& pending = pending_[util::UCase(table.name)];
    auto pendingAffinity = [&](const Expr& e, db::Affinity& affinity) {
        if (e.kind != Expr::Kind::Column || !pending.contains(util::UCase(e.text))) {
            return false;
        }
        const db::ColumnInfo* c = Column(table, e.text);
        affinity = c ? db::AffinityOf(c->Declared) : db::Affinity::Blob;
        return true;
    };
    bool exact = true;
    auto visit = [&](const Expr& e) {
        db::Affinity affinity{};
        if (pendingAffinity(e, affinity)) {
            exact = exact && Stable(table, pending.at(util::UCase(e.text)).value, affinity);
        }
        if (!e.IsComparison()) {
            return;
        }
        for (int side = 0; side < 2; ++side) {
            if (pendingAffinity(*e.args[side], affinity) && affinity != db::Affinity::Blob) {
                exact = exact && LiteralKeepsMeaning(*e.args[1 - side], affinity);
            }
        }
    };
    Walk(*statement.value, visit);
    if (statement.condition) {
        Walk(*statement.condition, visit);
    }
    return exact;
}

bool DeferredUpdates::Compose(Table& table, const UpdateStatement& statement) {
    const db::ColumnInfo* column = Column(table, statement.column);
    if (!column) {
        return false;
    }
    // The engine refuses a NULL for a NOT NULL column and with it the whole
    // statement; only a value that cannot be NULL is sure to be taken.
    if (column->NotNull &&
        !(statement.value->IsLiteral() && statement.value->kind != Expr::Kind::Null)) {
        return false;
    }
    if (!ReadsExactly(table, statement)) {
        Flush(table);
    }
    Pending& pending = pending_[util::UCase(table.name)];
    auto current = [&](const std::string& name) -> ExprPtr {
        auto it = pending.find(util::UCase(name));
        return it == pending.end() ? nullptr : it->second.value;
    };
    ExprPtr value = Substitute(statement.value, current);
    ExprPtr before = current(column->Name);
    if (!before) {
        before = MakeColumn(column->Name);
    }
    if (statement.condition) {
        value = MakeCase(Substitute(statement.condition, current), value, before);
    }
    pending[util::UCase(column->Name)] = {column->Name, value};
    return true;
}

void DeferredUpdates::Flush(const Table& table) {
    auto it = pending_.find(util::UCase(table.name));
    if (it == pending_.end() || it->second.empty()) {
        return;
    }
    std::string sql = "UPDATE " + db::QuoteName(table.name) + " SET ";
    bool first = true;
    for (const auto& [key, column] : it->second) {
        sql += (first ? "" : ", ") + db::QuoteName(column.name) + " = " + ToSql(*column.value);
        first = false;
    }
    connection_.Execute(sql);
    pending_.erase(it);
}

void DeferredUpdates::Flush(const std::string& table) {
    if (const Table* t = Find(table)) {
        Flush(*t);
    }
}

bool DeferredUpdates::Defers(const std::string& table) {
    const Table* t = Find(table);
    return t && t->plain;
}

std::string DeferredUpdates::Run(std::string_view sql) {
    try {
        connection_.Check(sql);
    } catch (const std::exception& e) {
        return e.what();
    }
    std::vector<std::string> named;
    if (auto statement = ParseUpdate(sql)) {
        Table* t = Find(statement->table);
        if (t && t->plain && Compose(*t, *statement)) {
            return {};
        }
        named.push_back(statement->table);
    } else {
        named = Words(sql); // whatever it names that is a table
    }
    for (const std::string& name : named) {
        Flush(name);
    }
    try {
        connection_.Execute(sql);
    } catch (const std::exception& e) {
        return e.what();
    }
    return {};
}

void DeferredUpdates::Assign(const std::string& table, const std::string& column,
                             const ExprPtr& value) {
    Table* t = Find(table);
    if (!t || !t->plain || !Compose(*t, {t->name, column, value, nullptr})) {
        throw std::logic_error("no change of " + table + "." + column + " can wait");
    }
}

void DeferredUpdates::Finish(startup::RunSettings& settings,
                             const std::vector<db::Field>& templateFields, util::UiServices& ui) {
    std::map<std::string, std::set<std::string>> wanted;
    for (const db::Field& f : templateFields) {
        wanted[util::UCase(f.TableName)].insert(util::UCase(f.FieldName));
    }
    Reload();
    ReadNames();
    std::vector<std::string> names;
    for (const auto& [key, t] : tables_) {
        names.push_back(t.name);
    }
    for (const std::string& name : names) {
        if (util::UCase(name).rfind("MSYS", 0) == 0) {
            continue; // the engine's own, as the suite has always known them
        }
        Table& t = *Find(name);
        auto keep = wanted.find(util::UCase(t.name));
        if (keep == wanted.end()) {
            Flush(t); // the whole table goes next
            continue;
        }
        std::vector<db::RebuiltColumn> kept;
        std::vector<std::string> obsolete;
        const Pending& pending = pending_[util::UCase(t.name)];
        for (const db::ColumnInfo& c : t.columns) {
            if (!keep->second.contains(util::UCase(c.Name))) {
                obsolete.push_back(c.Name);
                continue;
            }
            auto p = pending.find(util::UCase(c.Name));
            kept.push_back(
                {c, p == pending.end() ? db::QuoteName(c.Name) : ToSql(*p->second.value)});
        }
        if (t.plain && !kept.empty() && (!obsolete.empty() || !pending.empty())) {
            db::RebuildTable(connection_, t.name, kept);
            pending_.erase(util::UCase(t.name));
        } else {
            Flush(t);
            for (const std::string& column : obsolete) {
                if (db::ListColumns(connection_, t.name).size() <= 1) {
                    // The engine keeps no table without columns.
                    startup::Log(settings, "{ } Field {" + column +
                                               "} kept as the last column of {" + t.name + "}");
                    continue;
                }
                db::DropColumn(connection_, t.name, column);
            }
        }
        ui.DoEvents();
    }
    Reload();
}

} // namespace upgrade
