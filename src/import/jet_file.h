#pragma once
// A Windows database (Jet 3, Jet 4 or ACE) read through the mdbtools library.
// The library's types and its C state stay in jet_file.cpp: the rest of the
// system sees tables, columns and values already in the form the suite's
// database keeps them.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace import {

// The column types a Windows database stores.
enum class JetType {
    Boolean,
    Byte,
    Integer,
    Long,
    Currency,
    Single,
    Double,
    DateTime,
    Binary,
    Text,
    Ole,
    Memo,
    ReplicationId,
    Decimal,
    Other, // attachments and kinds the suite has no column for
};

struct JetColumn {
    std::string Name;
    JetType Type = JetType::Other;
    int32_t Size = 0; // characters, for Text
};

// One value as read, in the form the suite's database keeps it: whole
// numbers for Byte, Integer, Long and Boolean (0/1), reals for Single,
// Double and Currency, text for Text, Memo, dates and the rest, bytes for
// binary and OLE columns.
struct Cell {
    enum class Kind { Null, Integer, Real, Text, Blob };
    Kind kind = Kind::Null;
    int64_t integer = 0;
    double real = 0;
    std::string bytes; // the text (UTF-8) or the blob
};

class JetTable;

class JetFile {
public:
    // Opens `path` for reading only. Null, with `error` saying why, when the
    // file is missing or is not a database the library can read.
    static std::unique_ptr<JetFile> Open(const std::string& path, std::string& error);
    ~JetFile();
    JetFile(const JetFile&) = delete;
    JetFile& operator=(const JetFile&) = delete;

    // "Jet 3", "Jet 4" or "ACE" with the Access version that wrote it.
    std::string FormatName() const;
    // The user's tables in the order the file lists them (no system tables,
    // no links to other files).
    const std::vector<std::string>& UserTables() const { return tables_; }
    // Null, with `error` saying why, when the table's definition cannot be read.
    std::unique_ptr<JetTable> OpenTable(const std::string& name, std::string& error);

private:
    struct Handle;
    explicit JetFile(std::unique_ptr<Handle> handle);
    std::unique_ptr<Handle> handle_;
    std::vector<std::string> tables_;
};

// The rows of one table, read in the order they are stored.
class JetTable {
public:
    ~JetTable();
    JetTable(const JetTable&) = delete;
    JetTable& operator=(const JetTable&) = delete;

    const std::vector<JetColumn>& Columns() const { return columns_; }
    // The number of rows the table's definition records.
    int64_t DeclaredRows() const { return declaredRows_; }

    // Reads the next row, one cell per column; false after the last row or
    // when the next data page cannot be read. When a value of the row cannot
    // be converted, `badColumn` is its column's index and `why` says why;
    // otherwise `badColumn` is -1.
    bool Next(std::vector<Cell>& row, int& badColumn, std::string& why);

private:
    friend class JetFile;
    struct Reader;
    explicit JetTable(std::unique_ptr<Reader> reader);
    std::unique_ptr<Reader> reader_;
    std::vector<JetColumn> columns_;
    int64_t declaredRows_ = 0;
};

} // namespace import
