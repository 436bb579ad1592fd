// The import of Windows databases, held against what mdbtools' own mdb-export
// shows of the same files, and its refusals, run as the built ostrand-cli.

#include "db/catalog.h"
#include "import/import_jet.h"
#include "import/jet_values.h"
#include "safety/safety_copy.h"
#include "support/cli_run.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>

using testsupport::ReadFile;
using testsupport::TempDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

const std::string JetFiles = OSTRAND_SOURCE_DIR "/../shared/jet/";

std::string Output(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> p(::popen(command.c_str(), "r"), ::pclose);
    std::string out;
    char buf[4096];
    for (size_t n; p && (n = std::fread(buf, 1, sizeof buf, p.get())) > 0;)
        out.append(buf, n);
    return out;
}

std::vector<std::string> Split(const std::string& text, char at) {
    std::vector<std::string> parts;
    for (size_t start = 0, end; start < text.size(); start = end + 1) {
        end = std::min(text.find(at, start), text.size());
        parts.push_back(text.substr(start, end - start));
    }
    return parts;
}

// mdb-export's rows of a table: cells split at \x1f, rows at \x1e, NULL as \x1d.
std::vector<std::vector<std::string>> Exported(const std::string& file, const std::string& table) {
    const std::string rows =
        Output("mdb-export -H -Q -d \"$(printf '\\037')\" -R \"$(printf '\\036')\" -0 \"$(printf "
               "'\\035')\" -b hex -D '%Y-%m-%d %H:%M:%S' -T '%Y-%m-%d %H:%M:%S' '" +
               file + "' '" + table + "'");
    std::vector<std::vector<std::string>> cells;
    for (const std::string& row : Split(rows, '\x1e')) {
        cells.push_back(Split(row, '\x1f'));
    }
    return cells;
}

// A stored value written as mdb-export writes a value of that column's type.
std::string AsExported(sqlite3_stmt* row, int i) {
    const std::string declared = sqlite3_column_decltype(row, i);
    char text[64];
    if (sqlite3_column_type(row, i) == SQLITE_NULL) {
        return "\x1d";
    } else if (declared == "CURRENCY") {
        std::snprintf(text, sizeof text, "%.4f", sqlite3_column_double(row, i));
    } else if (declared == "SINGLE") {
        std::snprintf(text, sizeof text, "%.8g", static_cast<float>(sqlite3_column_double(row, i)));
    } else if (declared == "DOUBLE") {
        std::snprintf(text, sizeof text, "%.16g", sqlite3_column_double(row, i));
    } else if (declared == "DATETIME") {
        int m = 0, d = 0, y = 0, h = 0, n = 0, s = 0;
        char half[3] = "AM";
        std::sscanf(reinterpret_cast<const char*>(sqlite3_column_text(row, i)),
                    "%d/%d/%d %d:%d:%d %2s", &m, &d, &y, &h, &n, &s, half);
        h = h % 12 + (half[0] == 'P' ? 12 : 0);
        std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", y, m, d, h, n, s);
    } else if (declared == "BLOB") {
        std::string hex;
        const auto* bytes = static_cast<const unsigned char*>(sqlite3_column_blob(row, i));
        for (int k = 0; k < sqlite3_column_bytes(row, i); ++k) {
            std::snprintf(text, sizeof text, "%02X", bytes[k]);
            hex += text;
        }
        return hex;
    } else {
        return reinterpret_cast<const char*>(sqlite3_column_text(row, i));
    }
    return text;
}

TEST(JetValues, ConvertExactlyOrNotAtAll) {
    const std::pair<double, std::optional<std::string>> dates[] = {
        {0, "12/30/1899"},
        {1.5, "12/31/1899 12:00:00 PM"},
        {-1.25, "12/29/1899 6:00:00 AM"}, // before 1900 the fraction still counts forward
        {44532.99999999, "12/3/2021"},    // a time that rounds to midnight is the next day
        {-657434, "1/1/100"},
        {2958465.75, "12/31/9999 6:00:00 PM"},
        {-657435, std::nullopt},
        {2958466, std::nullopt},
        {NAN, std::nullopt},
    };
    for (const auto& [days, text] : dates) {
        EXPECT_EQ(import::DateText(days), text) << days;
    }
    const std::pair<const char*, std::optional<double>> amounts[] = {
        {"12.7500", 12.75},
        {"-1234.5600", -1234.56},
        {"0.0001", 0.0001},
        {"12.75", std::nullopt},
        {"100000000000.0000", 1e11}, // the largest kept exactly
        {"100000000000.0001", std::nullopt},
        {"1x.0000", std::nullopt},
    };
    for (const auto& [text, amount] : amounts) {
        EXPECT_EQ(import::CurrencyValue(text), amount) << text;
    }
    EXPECT_EQ(import::SingleValue(0.15f), 0.15);
}

TEST(ImportJet, EveryTableReadsBackAsMdbExportShowsIt) {
    // Cells mdb-export cannot show (it prints dates outside 1900..2700 as
    // day 0 of 1900) are pinned here instead.
    const struct {
        const char* file;
        std::vector<std::pair<std::string, std::string>> pinned; // query, value
    } files[] = {
        {"nwind.mdb", {{"SELECT count(*) FROM \"Umsätze\"", "830"}}},
        {"DateTestDatabase.mdb",
         {{"SELECT DateTimeCol FROM DateTest WHERE IDCol = 2", "1/1/9999"},
          {"SELECT DateCol FROM DateTest WHERE IDCol = 3", "1/1/1899"},
          {"SELECT TimeCol FROM DateTest WHERE IDCol = 4", "1/1/634"}}},
    };
    for (const auto& f : files) {
        SCOPED_TRACE(f.file);
        TempDir dir;
        const std::string source = dir.str() + f.file;
        fs::copy_file(JetFiles + f.file, source);
        WriteFile(dir / "Version", "9\r\n"); // current: the tables stay as they came
        fs::create_directory(dir / "out");
        startup::RunSettings settings;
        settings.AppPath = OSTRAND_BIN_DIR "/";
        db::Connection unused;
        util::NullProgress progress;
        util::UiServices ui;
        platform::FixedClock clock({});
        import::ImportOutcome outcome;
        ASSERT_TRUE(import::ImportJet(settings, unused, progress, ui, clock,
                                      {source, dir.str() + "out", false}, outcome))
            << outcome.Error;

        db::Connection c;
        c.Open(dir.str() + "out/Ketrova.mdb");
        const std::vector<std::string> names =
            Split(Output("mdb-tables -1 '" + source + "'"), '\n');
        const std::vector<std::string> made = db::ListTables(c);
        EXPECT_EQ(std::set<std::string>(names.begin(), names.end()),
                  std::set<std::string>(made.begin(), made.end()));
        EXPECT_EQ(outcome.Tables, static_cast<int>(names.size()));
        for (const std::string& table : names) {
            SCOPED_TRACE(table);
            const auto expected = Exported(source, table);
            sqlite3_stmt* row = nullptr;
            sqlite3_prepare_v2(c.handle(), ("SELECT * FROM " + db::QuoteName(table)).c_str(), -1,
                               &row, nullptr);
            size_t r = 0;
            for (; r < expected.size() && sqlite3_step(row) == SQLITE_ROW; ++r) {
                for (int i = 0; i < sqlite3_column_count(row); ++i) {
                    const std::string& want = expected[r][static_cast<size_t>(i)];
                    const std::string got = AsExported(row, i);
                    // mdb-export cannot tell an empty text from NULL.
                    if (want.rfind("1900-01-00", 0) != 0 && !(want == "\x1d" && got.empty())) {
                        EXPECT_EQ(got, want) << "row " << r + 1 << ", column " << i + 1;
                    }
                }
            }
            EXPECT_EQ(r, expected.size());
            EXPECT_EQ(sqlite3_step(row), SQLITE_DONE);
            sqlite3_finalize(row);
        }
        for (const auto& [query, value] : f.pinned) {
            EXPECT_EQ(c.Scalar(query).AsText(), value) << query;
        }
    }
}

class ImportCommand : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(dir / "home");
        fs::create_directory(dir / "out");
        fs::copy_file(OSTRAND_BIN_DIR "/Ketrova.ddf", dir / "home/Ketrova.ddf");
    }
    testsupport::CliResult Run(const std::string& args) const {
        return testsupport::RunCli(dir.str(), "import-jet " + args);
    }
    // What a person sees in the folder: the lock file every operation
    // leaves is hidden and holds nothing.
    std::set<std::string> OutFiles() const {
        std::set<std::string> names;
        for (const auto& e : fs::directory_iterator(dir / "out"))
            names.insert(e.path().filename().string());
        names.erase(".Ketrova.mdb.lock");
        return names;
    }
    TempDir dir;
};

TEST_F(ImportCommand, AFileThatCannotComeOverWholeLeavesNothingBehind) {
    const std::string nwind = ReadFile(JetFiles + "nwind.mdb");
    std::string badDate = ReadFile(JetFiles + "DateTestDatabase.mdb");
    // The first 12/2/2021 in the file (row 6's, as rows fill a page from its
    // end) made into a number no date can be.
    const double first = 44532, outOfRange = 1e7;
    badDate.replace(badDate.find(std::string(reinterpret_cast<const char*>(&first), 8)), 8,
                    std::string(reinterpret_cast<const char*>(&outOfRange), 8));
    const struct {
        const char* name;
        std::string bytes;
        const char* logged;
    } cases[] = {
        {"cut mid-page", nwind.substr(0, 100000), "does not end on a whole page"},
        {"cut at a page", nwind.substr(0, 600 * 2048), "list of tables cannot be read whole"},
        {"not a database", "Version 9 of the rent roll\n", "is not a Windows database"},
        {"a date no Windows date can be", badDate,
         "Table DateTest, column DateTimeCol, row 6: the value cannot be converted"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        WriteFile(dir / "in.mdb", c.bytes);
        const auto r = Run("'" + dir.str() + "in.mdb' '" + dir.str() + "out'");
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.out, "Database import failed.\n");
        EXPECT_EQ(OutFiles(), std::set<std::string>{});
        EXPECT_NE(ReadFile(dir / "home/Ostrand.log").find(c.logged), std::string::npos);
    }
    // A database already in the folder is never written over unasked.
    WriteFile(dir / "out/Ketrova.mdb", "the landlord's data");
    const auto r = Run("'" + JetFiles + "nwind.mdb' '" + dir.str() + "out'");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(ReadFile(dir / "out/Ketrova.mdb"), "the landlord's data");
    EXPECT_EQ(OutFiles(), std::set<std::string>{"Ketrova.mdb"});

    // Asked to, it is replaced once a copy of it is kept, and the command says
    // where. With no Version file beside it the import is version 0, so the
    // usual upgrade follows, and keeps the imported database as it was too.
    const auto replaced =
        Run("'" + JetFiles + "DateTestDatabase.mdb' '" + dir.str() + "out' --overwrite --register");
    EXPECT_EQ(replaced.exitCode, 0);
    EXPECT_EQ(ReadFile(dir / "out/Version"), "9\r\n");
    EXPECT_NE(ReadFile(dir / "registry.reg").find(dir.str() + "out/"), std::string::npos);
    const auto copies = safety::ListSafetyCopies(dir.str() + "out/Ketrova.mdb");
    ASSERT_EQ(copies.size(), 2u);
    EXPECT_EQ(copies[1].operation, "import");
    EXPECT_EQ(ReadFile(copies[1].path), "the landlord's data");
    EXPECT_EQ(replaced.out, "Database imported and upgraded: 1 tables, 6 rows.\nSafety copy: " +
                                copies[1].path + "\n");
}

} // namespace
