// Creating a new database: what the user sees, what support reads in the
// log, what lands on disk, and that a failure anywhere ends cleanly.

#include "create/create_db.h"
#include "db/connection.h"
#include "db/schema.h"
#include "safety/operation_guard.h"
#include "startup/run_log.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

using testsupport::ReadFile;
using testsupport::TempDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

class RecordingProgress final : public util::Progress {
public:
    void SetValue(double value) override { values.push_back(int(value)); }
    void SetStatus(const std::string& text) override { statuses.push_back(text); }
    std::vector<int> values;
    std::vector<std::string> statuses;
};

class RecordingUi final : public util::UiServices {
public:
    void DoEvents() override { ++pumped; }
    void SetBusy(bool busy) override { busy_.push_back(busy); }
    int pumped = 0;
    std::vector<bool> busy_;
};

const platform::LocalDateTime kNow{2026, 11, 23, 10, 30, 0};

class CreateDb : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(dir / "app");
        fs::create_directory(dir / "data");
        settings.AppPath = dir.str() + "app/";
        fs::copy_file(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", dir / "app/Ketrova.ddf");
        settings.LogFileNo =
            startup::OpenLogFile(settings.Files, settings.AppPath + "Ostrand.log", 1, 0);
    }

    bool Create(const std::string& folder) {
        bool ok = create::CreateNewDB(settings, shared, progress, ui, clock, folder);
        startup::CloseFile(settings.Files, settings.LogFileNo);
        settings.LogFileNo = 0;
        return ok;
    }

    std::string Log() const { return ReadFile(dir / "app/Ostrand.log"); }

    // The step lines of the log, without the database layer's detail lines.
    std::vector<std::string> StepLines() const {
        std::vector<std::string> lines;
        std::string log = Log();
        size_t pos = 0;
        while (pos < log.size()) {
            size_t end = log.find("\r\n", pos);
            std::string line = log.substr(pos, end - pos);
            if (line.rfind("{-}", 0) == 0)
                lines.push_back(line);
            pos = end == std::string::npos ? log.size() : end + 2;
        }
        return lines;
    }

    void WriteTemplate(const std::string& text) { WriteFile(dir / "app/Ketrova.ddf", text); }

    void ExpectFailedEnd() {
        EXPECT_EQ(progress.values.back(), 100);
        EXPECT_EQ(progress.statuses.back(), "Database creation failed.");
        EXPECT_EQ(ui.busy_, (std::vector<bool>{true, false}));
        EXPECT_FALSE(fs::exists(dir / "data/Version"));
        const auto steps = StepLines();
        EXPECT_NE(std::find(steps.begin(), steps.end(), "{-} Closing database"), steps.end());
        EXPECT_EQ(std::count(steps.begin(), steps.end(), "{-} Writing version file"), 0);
    }

    TempDir dir;
    startup::RunSettings settings;
    db::Connection shared;
    RecordingProgress progress;
    RecordingUi ui;
    platform::FixedClock clock{kNow};
};

TEST_F(CreateDb, BuildsTheWholeDatabaseStepByStep) {
    // The folder comes without a separator: one is added for both files.
    ASSERT_TRUE(Create(dir.str() + "data"));

    EXPECT_EQ(progress.statuses,
              (std::vector<std::string>{
                  "Database Creation", "Loading template ...", "Removing existing files ...",
                  "Creating new database ...", "Opening new database ...", "Writing new fields ...",
                  "Writing new indexes ...", "Writing default configuration ...",
                  "Closing database ...", "Writing default transaction categories ...",
                  "Writing version file ...", "Database created successfully."}));
    EXPECT_EQ(progress.values, (std::vector<int>{5, 15, 20, 25, 40, 60, 75, 85, 85, 95, 100}));
    EXPECT_EQ(StepLines(),
              (std::vector<std::string>{
                  "{-} CreateNewDB started", "{-} DB File: " + dir.str() + "data/Ketrova.mdb",
                  "{-} Loading template", "{-} Checking for old file to delete",
                  "{-} Creating new database file", "{-} Opening new database file",
                  "{-} Writing new fields", "{-} Writing new indexes",
                  "{-} Writing new configuration", "{-} Closing database",
                  "{-} Writing default transaction categories", "{-} Writing version file"}));
    EXPECT_EQ(ui.busy_, (std::vector<bool>{true, false}));
    EXPECT_GE(ui.pumped, 10); // the window repaints at every step
    EXPECT_EQ(ReadFile(dir / "data/Version"), "9\r\n");
    EXPECT_FALSE(shared.IsOpen()); // handed back as it was lent

    // Every template column is there, with nothing beside it.
    db::SchemaLists expected, actual;
    ASSERT_TRUE(db::LoadTemplate(settings, expected, 1));
    db::Connection c;
    ASSERT_TRUE(db::OpenDB(settings, c, dir.str() + "data/Ketrova.mdb"));
    ASSERT_TRUE(db::ReadDBSchema(settings, c, actual));
    auto names = [](const std::vector<db::Field>& fields) {
        std::set<std::string> s;
        for (const auto& f : fields)
            s.insert(f.TableName + "." + f.FieldName);
        return s;
    };
    EXPECT_EQ(names(actual.Database), names(expected.Template));

    // Every indexed template column has its index.
    int indexed = 0;
    for (const auto& f : expected.Template)
        indexed += f.Indexed ? 1 : 0;
    EXPECT_EQ(c.Scalar("SELECT Count(*) FROM sqlite_master WHERE type = 'index' AND sql IS NOT "
                       "NULL")
                  .AsInt(),
              indexed);

    EXPECT_EQ(db::CountRecords(c, "Configuration", ""), 1);
    EXPECT_EQ(c.Scalar("SELECT CompanyName FROM Configuration").AsText(), "Your Company Name");
    // 10:30 on 23 Nov 2026 is 9823 days and 14145750 minutes after 1 Jan 2000.
    EXPECT_EQ(c.Scalar("SELECT IdConfig FROM Configuration").AsInt(), 9823);
    EXPECT_EQ(c.Scalar("SELECT NextId FROM Configuration").AsInt(), 14145750);
    EXPECT_EQ(c.Scalar("SELECT DocDirectory FROM Configuration").AsText(),
              settings.AppPath + "Docs");

    std::vector<std::string> categories;
    db::Recordset rs;
    ASSERT_GT(
        db::OpenRecordset("SELECT Category, IEN FROM TransCategory ORDER BY rowid", rs, c, false),
        0);
    for (; !rs.IsEOF(); rs.MoveNext()) {
        categories.push_back(rs.Field("Category").AsText());
        EXPECT_EQ(rs.Field("IEN").AsInt(), 0);
    }
    ASSERT_EQ(categories.size(), 26u);
    EXPECT_EQ(categories.front(), "Rent Payment");
    EXPECT_EQ(categories[12], "Commissions");
    EXPECT_EQ(categories.back(), "Mortgage Escrow");
}

TEST_F(CreateDb, ReplacesAnOldDatabaseKeepingItAndItsLeftoverJournalAside) {
    WriteFile(dir / "data/Ketrova.mdb", "years of old data");
    WriteFile(dir / "data/Ketrova.mdb-journal", "a crash's leftovers");
    safety::SafetyCopy kept;
    ASSERT_TRUE(
        create::CreateNewDB(settings, shared, progress, ui, clock, dir.str() + "data/", &kept));
    EXPECT_FALSE(fs::exists(dir / "data/Ketrova.mdb-journal"));
    db::Connection c;
    ASSERT_TRUE(db::OpenDB(settings, c, dir.str() + "data/Ketrova.mdb"));
    EXPECT_EQ(db::CountRecords(c, "TransCategory", ""), 26);
    EXPECT_EQ(kept.path,
              dir.str() + "data/SafetyCopies/Ketrova-2026-11-23-103000-before-create.mdb");
    EXPECT_EQ(ReadFile(kept.path), "years of old data");
    EXPECT_NE(Log().find("{ } Safety copy: " + kept.path + "\r\n"), std::string::npos);
    EXPECT_EQ(testsupport::ScratchLeft(dir / "data"), std::vector<std::string>{});
}

TEST_F(CreateDb, AFailingStepSkipsToClosingAndLeavesTheOldDatabaseAsItWas) {
    struct Case {
        const char* name;
        std::string templateText; // "" keeps the shipped template
        std::function<void()> arrange;
        int lastStepValue; // progress of the step that failed
    };
    safety::OperationGuard other(dir.str() + "data/Ketrova.mdb", "compact", clock);
    const std::vector<Case> cases = {
        {"missing template", "", [&] { fs::remove(dir / "app/Ketrova.ddf"); }, 5},
        {"empty template", "# nothing but a comment\r\n", {}, 5},
        // Two columns of one name cannot both be added.
        {"fields", "T,A,LONG,,\r\nT,A,TEXT,10,\r\nConfiguration,IdConfig,LONG,,\r\n", {}, 40},
        // No such column for the configuration's values.
        {"configuration",
         "Configuration,IdConfig,LONG,,idx\r\nTransCategory,Category,TEXT,50,\r\n",
         {},
         75},
        {"no safety copy", "",
         [&] {
             fs::remove_all(dir / "data/SafetyCopies");
             WriteFile(dir / "data/SafetyCopies", "in the way");
         },
         15},
        {"another run at work", "",
         [&] {
             std::string error;
             EXPECT_TRUE(other.Begin(error)) << error;
         },
         15},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.templateText.empty()) {
            fs::copy_file(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", dir / "app/Ketrova.ddf",
                          fs::copy_options::overwrite_existing);
        } else {
            WriteTemplate(c.templateText);
        }
        WriteFile(dir / "data/Ketrova.mdb", "the user's only copy");
        if (c.arrange) {
            c.arrange();
        }
        settings.LogFileNo =
            startup::OpenLogFile(settings.Files, settings.AppPath + "Ostrand.log", 1, 0);
        progress = {};
        ui = {};
        EXPECT_FALSE(Create(dir.str() + "data/"));
        ASSERT_GE(progress.values.size(), 3u);
        EXPECT_EQ(progress.values[progress.values.size() - 3], c.lastStepValue);
        EXPECT_EQ(progress.values[progress.values.size() - 2], 85);
        ExpectFailedEnd();
        EXPECT_NE(startup::LastErrorLine(settings.AppPath + "Ostrand.log"), "");
        EXPECT_EQ(ReadFile(dir / "data/Ketrova.mdb"), "the user's only copy");
        EXPECT_EQ(testsupport::ScratchLeft(dir / "data"), std::vector<std::string>{});
    }
}

TEST_F(CreateDb, AFolderThatCannotHoldTheFileFailsWithALoggedError) {
    EXPECT_FALSE(Create(dir.str() + "no/such/folder"));
    EXPECT_EQ(progress.values, (std::vector<int>{5, 15, 20, 85, 100}));
    EXPECT_EQ(progress.statuses.back(), "Database creation failed.");
    EXPECT_NE(Log().find("{*} Error creating database file {" + dir.str() +
                         "no/such/folder/Ketrova.mdb}"),
              std::string::npos);
}

TEST_F(CreateDb, TheVersionFileDecidesTheOutcome) {
    fs::create_directory(dir / "data/Version"); // a folder where the file must go
    WriteFile(dir / "data/Ketrova.mdb", "the user's only copy");
    EXPECT_FALSE(Create(dir.str() + "data/"));
    EXPECT_EQ(progress.values, (std::vector<int>{5, 15, 20, 25, 40, 60, 75, 85, 85, 95, 100}));
    EXPECT_EQ(progress.statuses.back(), "Database creation failed.");
    EXPECT_NE(Log().find("{*} Error writing version file"), std::string::npos);
    EXPECT_EQ(ReadFile(dir / "data/Ketrova.mdb"), "the user's only copy");
    EXPECT_EQ(testsupport::ScratchLeft(dir / "data"), std::vector<std::string>{});
}

TEST_F(CreateDb, ASharedConnectionThatCannotOpenOnlyCostsTheCategories) {
    // The program's connection is busy with another file: the categories are
    // skipped, and the database is still usable.
    std::string error;
    ASSERT_TRUE(db::CreateDatabaseFile(dir.str() + "other.mdb", error)) << error;
    ASSERT_TRUE(db::OpenDB(settings, shared, dir.str() + "other.mdb"));
    ASSERT_TRUE(Create(dir.str() + "data/"));
    EXPECT_TRUE(shared.IsOpen());
    EXPECT_EQ(shared.FileName(), dir.str() + "other.mdb");
    db::Connection c;
    ASSERT_TRUE(db::OpenDB(settings, c, dir.str() + "data/Ketrova.mdb"));
    EXPECT_EQ(db::CountRecords(c, "TransCategory", ""), 0);
    EXPECT_EQ(ReadFile(dir / "data/Version"), "9\r\n");
}

// ---- The configuration and category writers on an existing database ----

class Defaults : public ::testing::Test {
protected:
    void SetUp() override {
        settings.AppPath = dir.str();
        settings.DBFile = dir.str() + "Ketrova.mdb";
        // The shipped columns: the writer sets every one of its groups.
        fs::copy_file(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", dir / "Ketrova.ddf");
        db::SchemaLists lists;
        std::string error;
        ASSERT_TRUE(db::CreateDatabaseFile(settings.DBFile, error)) << error;
        ASSERT_TRUE(db::OpenDB(settings, c, ""));
        ASSERT_TRUE(db::LoadTemplate(settings, lists, 1));
        ASSERT_TRUE(db::AddFields(settings, c, lists, ui));
    }

    db::Value Get(const char* column) {
        return c.Scalar(std::string("SELECT ") + column + " FROM Configuration");
    }

    TempDir dir;
    startup::RunSettings settings;
    util::UiServices ui;
    db::Connection c;
    platform::FixedClock clock{kNow};
};

TEST_F(Defaults, ANewDatabaseGetsEveryGroupInANewRow) {
    ASSERT_TRUE(create::WriteDefaultConfiguration(settings, c, clock, 0));
    EXPECT_EQ(db::CountRecords(c, "Configuration", ""), 1);
    EXPECT_EQ(Get("CompanyName").AsText(), "Your Company Name");
    EXPECT_EQ(Get("Term").AsInt(), 12);
    EXPECT_EQ(Get("ShowAllAccounts").AsInt(), 0);
    EXPECT_EQ(Get("CFAExp1").AsText(), "Landscape");
    EXPECT_EQ(Get("NoteScoreTable").AsText(), "500:20|725:15|875:12.5|1000:11");
    EXPECT_EQ(Get("IdConfig").AsInt(), 9823);
    // Placeholders a user recognises as such and replaces.
    EXPECT_NE(Get("Email").AsText().find('@'), std::string::npos);
    EXPECT_NE(Get("Web").AsText().find(".example"), std::string::npos);
}

TEST_F(Defaults, AnOlderDatabaseGetsOnlyWhatItsVersionLacks) {
    struct Case {
        int16_t version;
        bool groupB, groupC;
    };
    for (Case k : {Case{4, true, true}, Case{5, false, true}, Case{6, false, false},
                   Case{8, false, false}}) {
        SCOPED_TRACE(k.version);
        ASSERT_TRUE(db::ExecuteSQL(c, "DELETE * FROM Configuration"));
        ASSERT_TRUE(db::ExecuteSQL(c, "INSERT INTO Configuration (CompanyName, Term, CFAExp1, "
                                      "IdConfig) VALUES ('Smith Rentals', 6, 'Snow', 7)"));
        ASSERT_TRUE(create::WriteDefaultConfiguration(settings, c, clock, k.version));
        EXPECT_EQ(db::CountRecords(c, "Configuration", ""), 1);
        EXPECT_EQ(Get("CompanyName").AsText(), "Smith Rentals");
        EXPECT_EQ(Get("Term").AsInt(), 6);
        EXPECT_EQ(Get("CFAExp1").AsText(), k.groupB ? "Landscape" : "Snow");
        EXPECT_EQ(Get("IdConfig").AsInt(), k.groupC ? 9823 : 7);
    }
}

TEST_F(Defaults, OpensTheConnectionWhenItIsClosedAndFailsWithoutATable) {
    c.Close();
    ASSERT_TRUE(create::WriteDefaultConfiguration(settings, c, clock, 0));
    EXPECT_TRUE(c.IsOpen());
    ASSERT_TRUE(db::ExecuteSQL(c, "DROP TABLE Configuration"));
    EXPECT_FALSE(create::WriteDefaultConfiguration(settings, c, clock, 0));
}

TEST_F(Defaults, CategoriesAreAddedOnlyWhenMissing) {
    create::AddCategory(c, "Rent Payment", 1);
    create::WriteDefaultCategories(c);
    EXPECT_EQ(db::CountRecords(c, "TransCategory", ""), 26);
    // The one that was there keeps its own IEN.
    EXPECT_EQ(c.Scalar("SELECT IEN FROM TransCategory WHERE Category = 'Rent Payment'").AsInt(), 1);
    EXPECT_EQ(db::CountRecords(c, "TransCategory", "IEN = 0"), 25);
    create::WriteDefaultCategories(c);
    EXPECT_EQ(db::CountRecords(c, "TransCategory", ""), 26);
}

} // namespace
