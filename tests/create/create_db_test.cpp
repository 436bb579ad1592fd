// Creating a new database: what the user sees and support reads, what lands
// on disk, and that a failure anywhere leaves the old database as it was.

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
#include <map>
#include <sstream>
#include <string>
#include <vector>

using testsupport::ReadFile;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

struct Recording final : util::Progress, util::UiServices {
    void SetValue(double value) override { values.push_back(int(value)); }
    void SetStatus(const std::string& text) override { statuses.push_back(text); }
    void SetBusy(bool busy) override { busy_.push_back(busy); }
    std::vector<int> values;
    std::vector<std::string> statuses;
    std::vector<bool> busy_;
};

struct CreateDb : ::testing::Test {
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
    testsupport::TempDir dir;
    startup::RunSettings settings;
    db::Connection shared;
    Recording run;
    platform::FixedClock clock{{2026, 11, 23, 10, 30, 0}};
};

TEST_F(CreateDb, BuildsTheWholeDatabaseStepByStepKeepingTheOldOneAside) {
    // The old database is kept aside; the program's connection, busy with another
    // file, costs only the categories; the folder's separator is added.
    std::string error;
    ASSERT_TRUE(db::CreateDatabaseFile(dir.str() + "other.mdb", error)) << error;
    ASSERT_TRUE(db::OpenDB(settings, shared, dir.str() + "other.mdb"));
    WriteFile(dir / "data/Ketrova.mdb", "years of old data");
    WriteFile(dir / "data/Ketrova.mdb-journal", "a crash's leftovers");
    safety::SafetyCopy kept;
    ASSERT_TRUE(Create(dir.str() + "data", &kept));
    EXPECT_EQ(ReadFile(kept.path), "years of old data");
    // Step lines apart, the log has the database layer's detail lines.
    std::vector<std::string> steps;
    std::istringstream log(ReadFile(dir / "app/Ostrand.log"));
    for (std::string line; std::getline(log, line);)
        if (line.starts_with("{-}") || line.starts_with("{ } Safety copy: "))
            steps.push_back(line.substr(0, line.size() - 1));
    EXPECT_FALSE(fs::exists(dir / "data/Ketrova.mdb-journal"));
    EXPECT_EQ(testsupport::ScratchLeft(dir / "data"), std::vector<std::string>{});
    EXPECT_EQ(shared.FileName(), dir.str() + "other.mdb");

    EXPECT_EQ(run.statuses,
              (std::vector<std::string>{
                  "Database Creation", "Loading template ...", "Removing existing files ...",
                  "Creating new database ...", "Opening new database ...", "Writing new fields ...",
                  "Writing new indexes ...", "Writing default configuration ...",
                  "Closing database ...", "Writing default transaction categories ...",
                  "Writing version file ...", "Database created successfully."}));
    EXPECT_EQ(run.values, (std::vector<int>{5, 15, 20, 25, 40, 60, 75, 85, 85, 95, 100}));
    EXPECT_EQ(
        steps,
        (std::vector<std::string>{
            "{-} CreateNewDB started", "{-} DB File: " + dir.str() + "data/Ketrova.mdb",
            "{-} Loading template", "{-} Checking for old file to delete",
            "{ } Safety copy: " + kept.path, "{-} Creating new database file",
            "{-} Opening new database file", "{-} Writing new fields", "{-} Writing new indexes",
            "{-} Writing new configuration", "{-} Closing database",
            "{-} Writing default transaction categories", "{-} Writing version file"}));
    EXPECT_EQ(run.busy_, (std::vector<bool>{true, false}));
    EXPECT_EQ(ReadFile(dir / "data/Version"), "9\r\n");

    // Every template column (of its type and size) and index, nothing else.
    // The shipped template indexes the links, keeps money, rates and
    // schedules in their kinds, and has neither the old table nor the old
    // mortgage columns, which the upgrade would convert again.
    db::SchemaLists lists;
    db::Connection c;
    ASSERT_TRUE(db::LoadTemplate(settings, lists, db::ActionNone));
    ASSERT_TRUE(db::OpenDB(settings, c, dir.str() + "data/Ketrova.mdb"));
    ASSERT_TRUE(db::ReadDBSchema(settings, c, lists) && db::CompareSchema(settings, lists));
    EXPECT_EQ(lists.Database.size(), lists.Template.size());
    std::map<std::string, int16_t> types;
    for (const auto& f : lists.Template) {
        const std::string name = f.TableName + "." + f.FieldName;
        EXPECT_EQ(f.Action, db::ActionNone) << name;
        EXPECT_TRUE(f.Indexed || !f.FieldName.starts_with("Id") || f.FieldName == "IdConfig")
            << name;
        EXPECT_NE(f.TableName, "Property");
        types[name] = f.DataType;
    }
    const std::pair<const char*, int16_t> kinds[] = {{"Mortgage.OrigRate", db::adDouble},
                                                     {"Mortgage.CurrentPmt", db::adCurrency},
                                                     {"Mortgage.xPri", db::adLongVarWChar},
                                                     {"Lease.Pets", db::adBoolean}};
    for (const auto& [key, type] : kinds)
        EXPECT_EQ(types[key], type) << key;
    for (const char* old :
         {"PV", "T", "i", "Payment", "InterestOnly", "Balloon", "PrePayPenalty", "Amortization"})
        EXPECT_FALSE(types.contains(std::string("Mortgage.") + old)) << old;
    EXPECT_EQ(c.Scalar("SELECT Count(*) FROM sqlite_master WHERE type = 'index' AND sql NOT NULL")
                  .AsInt(),
              std::count_if(lists.Template.begin(), lists.Template.end(),
                            [](const db::Field& f) { return f.Indexed; }));
    // 10:30 on 23 Nov 2026 is 9823 days and 14145750 minutes after 1 Jan 2000.
    EXPECT_EQ(c.Scalar("SELECT Count(*) || CompanyName || IdConfig || '|' || NextId || '|' || "
                       "DocDirectory || CFAExp1 || Term || AssociateDocs FROM Configuration")
                  .AsText(),
              "1Your Company Name9823|14145750|" + settings.AppPath + "DocsLandscape120");
    EXPECT_EQ(db::CountRecords(c, "TransCategory", ""), 0);
}

TEST_F(CreateDb, AFailingStepSkipsToClosingAndLeavesTheOldDatabaseAsItWas) {
    struct Case {
        const char* name;
        std::function<void()> arrange;
        int failsAt; // the progress of the step that fails
        const char* logged;
    };
    const std::vector<int> steps = {5, 15, 20, 25, 40, 60, 75, 85, 85, 95};
    safety::OperationGuard other(dir.str() + "data/Ketrova.mdb", "compact", clock);
    const auto templateOf = [&](const char* text) {
        return [this, text] { WriteFile(dir / "app/Ketrova.ddf", text); };
    };
    std::string error;
    const Case cases[] = {
        {"missing template", [&] { fs::remove(dir / "app/Ketrova.ddf"); }, 5, ""},
        // Two columns of one name cannot both be added.
        {"fields", templateOf("T,A,LONG,,\r\nT,A,TEXT,10,\r\nConfiguration,IdConfig,LONG,,\r\n"),
         40, ""},
        // No such column for the configuration's values.
        {"configuration",
         templateOf("Configuration,IdConfig,LONG,,idx\r\nTransCategory,Category,TEXT,50,\r\n"), 75,
         "Error in WriteDefaultConfiguration"},
        {"no safety copy", [&] { WriteFile(dir / "data/SafetyCopies", "in the way"); }, 15,
         "No safety copy of "},
        {"another run at work", [&] { EXPECT_TRUE(other.Begin(error)) << error; }, 15, ""},
        {"no such folder", [&] { fs::remove_all(dir / "data"); }, 20,
         "Error creating database file {"},
        {"a folder where the version file goes",
         [&] { fs::create_directory(dir / "data/Version"); }, 95, "Error writing version file"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        fs::remove_all(dir / "data");
        SetUp();
        WriteFile(dir / "data/Ketrova.mdb", "the user's only copy");
        c.arrange();
        EXPECT_FALSE(Create(dir.str() + "data/"));
        // The steps up to the failing one, then closing (unless it had run).
        std::vector<int> values(steps.begin(),
                                std::find(steps.begin(), steps.end(), c.failsAt) + 1);
        if (c.failsAt < 85)
            values.push_back(85);
        values.push_back(100);
        EXPECT_EQ(run.values, values);
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
        other.End();
    }
}

} // namespace
