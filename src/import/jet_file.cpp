#include "import/jet_file.h"

#include "import/jet_values.h"

#include <mdbtools.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace import {

namespace {

// The library hands out texts from g_malloc.
struct GFree {
    void operator()(char* text) const { g_free(text); }
};
using LibraryText = std::unique_ptr<char, GFree>;

// Texts (a memo above all) are converted into a buffer of the handle's bind
// size and cut at its end; a result that reaches the end may have been cut,
// so it is converted again into a larger one. Bounded by the largest memo
// a Windows database can hold, in UTF-8.
constexpr size_t FirstBindSize = 64 * 1024;
constexpr size_t LargestBindSize = size_t{3} << 30;

// The flags in the top byte of a memo's or OLE object's length word.
constexpr long LengthMask = 0x00ffffff;

// Where a row's offset on its page ends and its flags begin.
constexpr int RowOffsetMask = 0x1fff;

JetType TypeOf(int code) {
    switch (code) {
    case MDB_BOOL:
        return JetType::Boolean;
    case MDB_BYTE:
        return JetType::Byte;
    case MDB_INT:
        return JetType::Integer;
    case MDB_LONGINT:
        return JetType::Long;
    case MDB_MONEY:
        return JetType::Currency;
    case MDB_FLOAT:
        return JetType::Single;
    case MDB_DOUBLE:
        return JetType::Double;
    case MDB_DATETIME:
        return JetType::DateTime;
    case MDB_BINARY:
        return JetType::Binary;
    case MDB_TEXT:
        return JetType::Text;
    case MDB_OLE:
        return JetType::Ole;
    case MDB_MEMO:
        return JetType::Memo;
    case MDB_REPID:
        return JetType::ReplicationId;
    case MDB_NUMERIC:
        return JetType::Decimal;
    default:
        return JetType::Other;
    }
}

void SetInteger(Cell& cell, int64_t value) {
    cell.kind = Cell::Kind::Integer;
    cell.integer = value;
}

void SetReal(Cell& cell, double value) {
    cell.kind = Cell::Kind::Real;
    cell.real = value;
}

void SetText(Cell& cell, std::string_view text) {
    cell.kind = Cell::Kind::Text;
    cell.bytes.assign(text);
}

} // namespace

struct JetFile::Handle {
    MdbHandle* mdb = nullptr;
    std::vector<MdbCatalogEntry*> entries; // of the user tables, in list order
    ~Handle() {
        if (mdb) {
            mdb_close(mdb);
        }
    }
};

struct JetTable::Reader {
    MdbHandle* mdb = nullptr;
    MdbTableDef* table = nullptr;
    std::vector<MdbColumn*> columns;
    // The library reads an OLE object in chunks of at most a page into the
    // column's bound buffer.
    std::vector<std::vector<char>> oleBuffers;
    std::vector<MdbField> fields;
    bool fieldsRead = false; // `fields` holds the current row's

    ~Reader() {
        if (table) {
            mdb_free_tabledef(table);
        }
    }

    // A value of length 0 is NULL or an empty text; only the row's null
    // mask tells them apart.
    bool IsNull(size_t column) {
        if (!fieldsRead) {
            fieldsRead = true;
            int start = 0;
            size_t size = 0;
            fields.assign(columns.size(), MdbField{});
            if (table->cur_row == 0 ||
                mdb_find_row(mdb, static_cast<int>(table->cur_row) - 1, &start, &size) != 0 ||
                mdb_crack_row(table, start & RowOffsetMask, size, fields.data()) < 0) {
                fields.clear();
            }
        }
        for (const MdbField& f : fields) {
            if (f.colnum == static_cast<int>(column)) {
                return f.is_null != 0;
            }
        }
        return true;
    }

    // A memo's text in full, growing the bind size until nothing is cut.
    bool MemoText(const MdbColumn* col, std::string& out) {
        for (;;) {
            LibraryText text(mdb_col_to_string(mdb, mdb->pg_buf, col->cur_value_start, MDB_MEMO,
                                               col->cur_value_len));
            const size_t length = text ? std::strlen(text.get()) : 0;
            if (length + 4 < mdb->bind_size || mdb->bind_size >= LargestBindSize) {
                out.assign(text ? text.get() : "", length);
                // An empty result of a memo that says it holds text is a
                // page that could not be read.
                const long declared = mdb_get_int32(mdb->pg_buf, col->cur_value_start) & LengthMask;
                return length > 0 || declared == 0;
            }
            mdb_set_bind_size(mdb, mdb->bind_size * 4);
        }
    }

    bool OleBytes(size_t column, MdbColumn* col, std::string& out) {
        char header[MDB_MEMO_OVERHEAD];
        std::memcpy(header, mdb->pg_buf + col->cur_value_start, sizeof header);
        const std::vector<char>& buffer = oleBuffers[column];
        out.clear();
        size_t got = mdb_ole_read(mdb, col, header, buffer.size());
        while (got > 0) {
            out.append(buffer.data(), got);
            got = mdb_ole_read_next(mdb, col, header);
        }
        return static_cast<long>(out.size()) == (mdb_get_int32(header, 0) & LengthMask);
    }

    // Converts column `i` of the current row; false, with `why`, when it
    // cannot be kept as it is.
    bool Convert(size_t i, JetType type, Cell& cell, std::string& why) {
        MdbColumn* col = columns[i];
        const int start = col->cur_value_start;
        const unsigned char* page = mdb->pg_buf;
        cell.kind = Cell::Kind::Null;
        if (type == JetType::Boolean) {
            // The value lives in the null mask: the library reports a set
            // bit (true) as a length of 0.
            SetInteger(cell, col->cur_value_len == 0 ? 1 : 0);
            return true;
        }
        if (col->cur_value_len == 0) {
            const bool variable = type == JetType::Text || type == JetType::Binary ||
                                  type == JetType::Memo || type == JetType::Ole;
            if (variable && !IsNull(i)) {
                cell.kind = type == JetType::Binary || type == JetType::Ole ? Cell::Kind::Blob
                                                                            : Cell::Kind::Text;
                cell.bytes.clear();
            }
            return true;
        }
        switch (type) {
        case JetType::Byte:
            SetInteger(cell, mdb_get_byte(mdb->pg_buf, start));
            return true;
        case JetType::Integer:
            SetInteger(cell, static_cast<int16_t>(mdb_get_int16(mdb->pg_buf, start)));
            return true;
        case JetType::Long:
            SetInteger(cell, static_cast<int32_t>(mdb_get_int32(mdb->pg_buf, start)));
            return true;
        case JetType::Single: {
            const float value = mdb_get_single(mdb->pg_buf, start);
            if (!std::isfinite(value)) {
                why = "not a number";
                return false;
            }
            SetReal(cell, SingleValue(value));
            return true;
        }
        case JetType::Double: {
            const double value = mdb_get_double(mdb->pg_buf, start);
            if (!std::isfinite(value)) {
                why = "not a number";
                return false;
            }
            SetReal(cell, value);
            return true;
        }
        case JetType::Currency: {
            LibraryText text(mdb_money_to_string(mdb, start));
            const auto amount = CurrencyValue(text ? text.get() : "");
            if (!amount) {
                why = "an amount too large to keep exactly";
                return false;
            }
            SetReal(cell, *amount);
            return true;
        }
        case JetType::DateTime: {
            const auto text = DateText(mdb_get_double(mdb->pg_buf, start));
            if (!text) {
                why = "a date outside the years 100 to 9999";
                return false;
            }
            SetText(cell, *text);
            return true;
        }
        case JetType::Text:
        case JetType::ReplicationId: {
            LibraryText text(
                mdb_col_to_string(mdb, mdb->pg_buf, start, col->col_type, col->cur_value_len));
            SetText(cell, text ? text.get() : "");
            return true;
        }
        case JetType::Decimal: {
            LibraryText text(mdb_numeric_to_string(mdb, start, col->col_scale, col->col_prec));
            SetText(cell, text ? text.get() : "");
            return true;
        }
        case JetType::Memo:
            cell.kind = Cell::Kind::Text;
            if (!MemoText(col, cell.bytes)) {
                why = "its text could not be read whole";
                return false;
            }
            return true;
        case JetType::Binary:
            cell.kind = Cell::Kind::Blob;
            cell.bytes.assign(reinterpret_cast<const char*>(page + start),
                              static_cast<size_t>(col->cur_value_len));
            return true;
        case JetType::Ole:
            cell.kind = Cell::Kind::Blob;
            if (!OleBytes(i, col, cell.bytes)) {
                why = "the object could not be read whole";
                return false;
            }
            return true;
        case JetType::Boolean:
        case JetType::Other:
            break;
        }
        why = "a kind of value the suite has no column for (an attachment or a list of values)";
        return false;
    }
};

JetFile::JetFile(std::unique_ptr<Handle> handle) : handle_(std::move(handle)) {}
JetFile::~JetFile() = default;

std::unique_ptr<JetFile> JetFile::Open(const std::string& path, std::string& error) {
    auto handle = std::make_unique<Handle>();
    handle->mdb = mdb_open(path.c_str(), MDB_NOFLAGS);
    if (!handle->mdb) {
        error = "it is not a Windows database (Jet 3, Jet 4 or ACE) that can be read";
        return nullptr;
    }
    // A file cut short at a page's end still opens; one cut anywhere else
    // shows it by its size, before a table is found to end early.
    std::error_code ec;
    const auto bytes = std::filesystem::file_size(path, ec);
    if (ec || bytes % static_cast<uintmax_t>(handle->mdb->fmt->pg_size) != 0) {
        error = "it is incomplete: it does not end on a whole page";
        return nullptr;
    }
    // The list of objects is a table itself, read quietly up to the first
    // page that is not there: held against the count its definition keeps,
    // it shows whether any table has gone missing. (Finding that table reads
    // the list anew, so it comes first.)
    MdbTableDef* objects =
        mdb_read_table_by_name(handle->mdb, const_cast<gchar*>("MSysObjects"), MDB_TABLE);
    const long long listed = objects ? objects->num_rows : -1;
    if (objects) {
        mdb_free_tabledef(objects);
    }
    if (listed < 0 || !mdb_read_catalog(handle->mdb, MDB_ANY)) {
        error = "it is damaged or not a Windows database: its list of tables cannot be read";
        return nullptr;
    }
    if (listed != handle->mdb->num_catalog) {
        error = "it is damaged or incomplete: its list of tables cannot be read whole";
        return nullptr;
    }
    mdb_set_bind_size(handle->mdb, FirstBindSize);
    std::unique_ptr<JetFile> file(new JetFile(std::move(handle)));
    MdbHandle* mdb = file->handle_->mdb;
    for (unsigned i = 0; i < mdb->num_catalog; ++i) {
        auto* entry = static_cast<MdbCatalogEntry*>(g_ptr_array_index(mdb->catalog, i));
        if (entry->object_type == MDB_TABLE && mdb_is_user_table(entry)) {
            file->handle_->entries.push_back(entry);
            file->tables_.emplace_back(entry->object_name);
        }
    }
    return file;
}

std::string JetFile::FormatName() const {
    switch (handle_->mdb->f->jet_version) {
    case MDB_VER_JET3:
        return "Jet 3";
    case MDB_VER_JET4:
        return "Jet 4";
    case MDB_VER_ACCDB_2007:
        return "ACE (Access 2007)";
    case MDB_VER_ACCDB_2010:
        return "ACE (Access 2010)";
    case MDB_VER_ACCDB_2013:
        return "ACE (Access 2013)";
    case MDB_VER_ACCDB_2016:
        return "ACE (Access 2016)";
    case MDB_VER_ACCDB_2019:
        return "ACE (Access 2019)";
    default:
        return "ACE";
    }
}

std::unique_ptr<JetTable> JetFile::OpenTable(const std::string& name, std::string& error) {
    MdbCatalogEntry* entry = nullptr;
    for (size_t i = 0; i < tables_.size(); ++i) {
        if (tables_[i] == name) {
            entry = handle_->entries[i];
        }
    }
    auto reader = std::make_unique<JetTable::Reader>();
    reader->mdb = handle_->mdb;
    reader->table = entry ? mdb_read_table(entry) : nullptr;
    if (!reader->table || !mdb_read_columns(reader->table)) {
        error = "the definition of table " + name +
                " cannot be read; the file is damaged or incomplete";
        return nullptr;
    }
    MdbTableDef* table = reader->table;
    std::unique_ptr<JetTable> result(new JetTable(std::move(reader)));
    JetTable::Reader& r = *result->reader_;
    const bool jet3 = r.mdb->f->jet_version == MDB_VER_JET3;
    r.oleBuffers.resize(table->num_cols);
    for (unsigned i = 0; i < table->num_cols; ++i) {
        auto* col = static_cast<MdbColumn*>(g_ptr_array_index(table->columns, i));
        r.columns.push_back(col);
        JetColumn c;
        c.Name = col->name;
        c.Type = TypeOf(col->col_type);
        // Jet 4 and ACE keep text as two-byte characters; the size is in bytes.
        c.Size = c.Type == JetType::Text ? (jet3 ? col->col_size : col->col_size / 2) : 0;
        if (c.Type == JetType::Ole) {
            r.oleBuffers[i].resize(MDB_PGSIZE);
            mdb_bind_column(table, static_cast<int>(i) + 1, r.oleBuffers[i].data(), nullptr);
        }
        result->columns_.push_back(std::move(c));
    }
    result->declaredRows_ = table->num_rows;
    mdb_rewind_table(table);
    return result;
}

JetTable::JetTable(std::unique_ptr<Reader> reader) : reader_(std::move(reader)) {}
JetTable::~JetTable() = default;

bool JetTable::Next(std::vector<Cell>& row, int& badColumn, std::string& why) {
    badColumn = -1;
    if (!mdb_fetch_row(reader_->table)) {
        return false;
    }
    reader_->fieldsRead = false;
    row.resize(columns_.size());
    std::string reason;
    for (size_t i = 0; i < columns_.size(); ++i) {
        if (!reader_->Convert(i, columns_[i].Type, row[i], reason) && badColumn < 0) {
            badColumn = static_cast<int>(i);
            why = reason;
        }
    }
    return true;
}

} // namespace import
