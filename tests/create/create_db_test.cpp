// Creating a new database: what the user sees, what support reads in the
// log, what lands on disk, and that a failure anywhere leaves the old
// database as it was.

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
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

class Recording final : public util::Progress, public util::UiServices {
public:
    void SetValue(double value) override { values.push_back(int(value)); }
    void SetStatus(const std::string& text) override { statuses.push_back(text); }
    void DoEvents() override { ++pumped; }
    void SetBusy(bool busy) override { busy_.push_back(busy); }
    std::vector<int> values;
    std::vector<std::string> statuses;
    int pumped = 0;
    std::vector<bool> busy_;
};

class CreateDb : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(dir / "app");
        fs::create_directories(dir / "data");
        settings.AppPath = dir.str() + "app/";
        fs::copy_file(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", dir / "app/Ketrova.ddf",
                      fs::copy_options::overwrite_existing);
    }

    bool Create(const std::string& folder, safety::SafetyCopy* kept = nullptr) {
        run = {};
        settings.LogFileNo =
            startup::OpenLogFile(settings.Files, dir.str() + "app/Ostrand.log", 1, 0);
        bool ok = create::CreateNewDB(settings, shared, run, run, clock, folder, kept);
        startup::CloseFile(settings.Files, settings.LogFileNo);
        return ok;
    }
    std::string Log() const { return ReadFile(dir / "app/Ostrand.log"); }
    std::vector<std::string> StepLines() const {
        std::vector<std::string> lines;
        const std::string log = Log();
        for (size_t at = 0, end; at < log.size(); at = end + 2) {
            end = log.find("\r\n", at);
            if (log.compare(at, 3, "{-}") == 0)
                lines.push_back(log.substr(at, end - at));
        }
        return lines;
    }

    testsupport::TempDir dir;
    startup::RunSettings settings;
    db::Connection shared;
    Recording run;
    platform::FixedClock clock{{2026, 11, 23, 10, 30, 0}};
};

TEST_F(CreateDb, BuildsTheWholeDatabaseStepByStep) {
    // The folder comes without a separator: one is added for both files.
    ASSERT_TRUE(Create(dir.str() + "data"));

    EXPECT_EQ(run.statuses,
              (std::vector<std::string>{
                  "Database Creation", "Loading template ...", "Removing existing files ...",
                  "Creating new database ...", "Opening new database ...", "Writing new fields ...",
                  "Writing new indexes ...", "Writing default configuration ...",
                  "Closing database ...", "Writing default transaction categories ...",
                  "Writing version file ...", "Database created successfully."}));
    EXPECT_EQ(run.values, (std::vector<int>{5, 15, 20, 25, 40, 60, 75, 85, 85, 95, 100}));
    EXPECT_EQ(StepLines(),
              (std::vector<std::string>{
                  "{-} CreateNewDB started", "{-} DB File: " + dir.str() + "data/Ketrova.mdb",
                  "{-} Loading template", "{-} Checking for old file to delete",
                  "{-} Creating new database file", "{-} Opening new database file",
                  "{-} Writing new fields", "{-} Writing new indexes",
                  "{-} Writing new configuration", "{-} Closing database",
                  "{-} Writing default transaction categories", "{-} Writing version file"}));
    EXPECT_EQ(run.busy_, (std::vector<bool>{true, false}));
    EXPECT_GE(run.pumped, 10); // the window repaints at every step
    EXPECT_EQ(ReadFile(dir / "data/Version"), "9\r\n");
    EXPECT_FALSE(shared.IsOpen()); // handed back as it was lent

    // Every template column and index is there, with nothing beside them.
    db::SchemaLists expected, actual;
    ASSERT_TRUE(db::LoadTemplate(settings, expected, 1));
    db::Connection c;
    ASSERT_TRUE(db::OpenDB(settings, c, dir.str() + "data/Ketrova.mdb"));
    ASSERT_TRUE(db::ReadDBSchema(settings, c, actual));
    std::multiset<std::string> wanted, live;
    int indexed = 0;
    for (const auto& f : expected.Template)
        wanted.insert(f.TableName + "." + f.FieldName), indexed += f.Indexed;
    for (const auto& f : actual.Database)
        live.insert(f.TableName + "." + f.FieldName);
    EXPECT_EQ(live, wanted);
    EXPECT_EQ(c.Scalar("SELECT Count(*) FROM sqlite_master WHERE type = 'index' AND sql NOT NULL")
                  .AsInt(),
              indexed);

    // 10:30 on 23 Nov 2026 is 9823 days and 14145750 minutes after 1 Jan 2000.
    EXPECT_EQ(c.Scalar("SELECT Count(*) || CompanyName || IdConfig || '|' || NextId || '|' || "
                       "DocDirectory || CFAExp1 || Term FROM Configuration")
                  .AsText(),
              "1Your Company Name9823|14145750|" + settings.AppPath + "DocsLandscape12");
    EXPECT_EQ(c.Scalar("SELECT Count(*) || Sum(IEN) || Group_Concat(Category) FROM TransCategory "
                       "WHERE rowid IN (1, 13, 26)")
                  .AsText(),
              "30Rent Payment,Commissions,Mortgage Escrow");
}

// The program's connection is busy with another file, which costs only the
// categories: the database is still whole and usable.
TEST_F(CreateDb, ReplacesAnOldDatabaseKeepingItAndItsLeftoverJournalAside) {
    std::string error;
    ASSERT_TRUE(db::CreateDatabaseFile(dir.str() + "other.mdb", error)) << error;
    ASSERT_TRUE(db::OpenDB(settings, shared, dir.str() + "other.mdb"));
    WriteFile(dir / "data/Ketrova.mdb", "years of old data");
    WriteFile(dir / "data/Ketrova.mdb-journal", "a crash's leftovers");
    safety::SafetyCopy kept;
    ASSERT_TRUE(Create(dir.str() + "data/", &kept));
    EXPECT_FALSE(fs::exists(dir / "data/Ketrova.mdb-journal"));
    db::Connection c;
    ASSERT_TRUE(db::OpenDB(settings, c, dir.str() + "data/Ketrova.mdb"));
    EXPECT_EQ(db::CountRecords(c, "TransCategory", ""), 0);
    EXPECT_EQ(db::CountRecords(c, "Configuration", ""), 1);
    EXPECT_EQ(shared.FileName(), dir.str() + "other.mdb");
    EXPECT_EQ(kept.path,
              dir.str() + "data/SafetyCopies/Ketrova-2026-11-23-103000-before-create.mdb");
    EXPECT_EQ(ReadFile(kept.path), "years of old data");
    EXPECT_NE(Log().find("{ } Safety copy: " + kept.path + "\r\n"), std::string::npos);
    EXPECT_EQ(testsupport::ScratchLeft(dir / "data"), std::vector<std::string>{});
}

TEST_F(CreateDb, AFailingStepSkipsToClosingAndLeavesTheOldDatabaseAsItWas) {
    struct Case {
        const char* name;
        std::function<void()> arrange;
        std::vector<int> values; // the progress of the steps that ran
        const char* logged;
    };
    const std::vector<int> toVersion = {5, 15, 20, 25, 40, 60, 75, 85, 85, 95, 100};
    safety::OperationGuard other(dir.str() + "data/Ketrova.mdb", "compact", clock);
    const auto templateOf = [&](const char* text) {
        return [this, text] { WriteFile(dir / "app/Ketrova.ddf", text); };
    };
    const Case cases[] = {
        {"missing template", [&] { fs::remove(dir / "app/Ketrova.ddf"); }, {5, 85, 100}, ""},
        {"empty template", templateOf("# nothing but a comment\r\n"), {5, 85, 100}, ""},
        // Two columns of one name cannot both be added.
        {"fields",
         templateOf("T,A,LONG,,\r\nT,A,TEXT,10,\r\nConfiguration,IdConfig,LONG,,\r\n"),
         {5, 15, 20, 25, 40, 85, 100},
         ""},
        // No such column for the configuration's values.
        {"configuration",
         templateOf("Configuration,IdConfig,LONG,,idx\r\nTransCategory,Category,TEXT,50,\r\n"),
         {5, 15, 20, 25, 40, 60, 75, 85, 100},
         "Error in WriteDefaultConfiguration"},
        {"no safety copy",
         [&] { WriteFile(dir / "data/SafetyCopies", "in the way"); },
         {5, 15, 85, 100},
         "No safety copy of "},
        {"another run at work",
         [&] {
             std::string error;
             EXPECT_TRUE(other.Begin(error)) << error;
         },
         {5, 15, 85, 100},
         ""},
        {"no such folder",
         [&] { fs::remove_all(dir / "data"); },
         {5, 15, 20, 85, 100},
         "Error creating database file {"},
        {"a folder where the version file goes",
         [&] { fs::create_directory(dir / "data/Version"); }, toVersion,
         "Error writing version file"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SetUp();
        fs::remove_all(dir / "data");
        fs::create_directory(dir / "data");
        WriteFile(dir / "data/Ketrova.mdb", "the user's only copy");
        c.arrange();
        EXPECT_FALSE(Create(dir.str() + "data/"));
        EXPECT_EQ(run.values, c.values);
        EXPECT_EQ(run.statuses.back(), "Database creation failed.");
        EXPECT_EQ(run.busy_, (std::vector<bool>{true, false}));
        const std::string error = startup::LastErrorLine(settings.AppPath + "Ostrand.log");
        EXPECT_NE(error, "");
        EXPECT_NE(error.find(c.logged), std::string::npos) << error;
        EXPECT_EQ(fs::is_regular_file(dir / "data/Version"), false);
        if (fs::exists(dir / "data")) {
            EXPECT_EQ(ReadFile(dir / "data/Ketrova.mdb"), "the user's only copy");
            EXPECT_EQ(testsupport::ScratchLeft(dir / "data"), std::vector<std::string>{});
        }
        const auto steps = StepLines();
        EXPECT_EQ(std::count(steps.begin(), steps.end(), "{-} Closing database"), 1);
        other.End();
    }
}

} // namespace
