// The upgrade's sequence against scripted operations: what the user sees
// (status, progress), what support reads (the log), and above all when the
// backup is taken and put back.

#include "support/temp_dir.h"
#include "upgrade/upgrade_steps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using namespace upgrade;
using testsupport::ReadFile;
using testsupport::TempDir;

namespace {

class RecordingProgress final : public util::Progress {
public:
    void SetValue(double value) override {
        events.push_back("value " + std::to_string(int(value)));
    }
    void SetStatus(const std::string& text) override { events.push_back("status " + text); }
    std::vector<std::string> events;
};

class RecordingUi final : public util::UiServices {
public:
    void DoEvents() override { ++pumped; }
    void SetBusy(bool busy) override { busyChanges.push_back(busy); }
    int pumped = 0;
    std::vector<bool> busyChanges;
};

// Operations that succeed unless named in `fail` (or `raise`, which throws),
// and record every call.
class ScriptedSteps final : public UpgradeSteps {
public:
    std::set<std::string> fail, raise;
    std::vector<std::string> calls;
    int16_t version = 4;
    int16_t migratedFrom = -100, configuredFrom = -100;
    std::string archiveName = "/tmp/temA1.tmp";

    bool Do(const std::string& name) {
        calls.push_back(name);
        if (raise.count(name))
            throw std::runtime_error("disk on fire");
        return !fail.count(name);
    }

    bool Claim() override { return Do("claim"); }
    int16_t ReadVersion() override {
        Do("version");
        return version;
    }
    bool LoadTemplate() override { return Do("template"); }
    std::string NewArchiveName() override {
        Do("archive");
        return archiveName;
    }
    bool AddToArchive(const std::string& archive, const std::string& file) override {
        EXPECT_EQ(archive, archiveName);
        auto slash = file.find_last_of('/');
        return Do("add " + file.substr(slash + 1));
    }
    bool MakeWorkingCopy() override { return Do("working copy"); }
    bool OpenDatabase() override { return Do("open"); }
    bool CleanNullFields() override { return Do("nulls"); }
    bool DeleteIndexes() override { return Do("drop indexes"); }
    bool ReadSchema() override { return Do("read schema"); }
    bool CompareSchema() override { return Do("compare"); }
    bool AddFields() override { return Do("add fields"); }
    bool UpdateFields() override { return Do("update fields"); }
    bool RunMigrations(int16_t v) override {
        migratedFrom = v;
        return Do("migrations");
    }
    bool DeleteObsoleteFields() override { return Do("obsolete fields"); }
    bool DeleteObsoleteTables() override { return Do("obsolete tables"); }
    bool AddIndexes() override { return Do("add indexes"); }
    bool WriteConfiguration(int16_t v) override {
        configuredFrom = v;
        return Do("configuration");
    }
    void CloseDatabase() override { Do("close"); }
    bool InstallUpgraded() override { return Do("install"); }
    bool Restore() override { return Do("restore"); }
};

struct Harness {
    TempDir dir;
    startup::RunSettings settings;
    RecordingProgress progress;
    RecordingUi ui;
    ScriptedSteps steps;
    std::string logPath;

    Harness() {
        settings.DBPath = dir.str();
        settings.DBFile = settings.DBPath + "Ketrova.mdb";
        logPath = (dir / "Ostrand.log").string();
        settings.LogFileNo = startup::OpenLogFile(settings.Files, logPath, 1, 0);
    }
    bool Run() {
        bool ok = RunUpgrade(settings, progress, ui, steps);
        startup::CloseFile(settings.Files, settings.LogFileNo);
        settings.LogFileNo = 0;
        return ok;
    }
    std::vector<std::string> LogLines() const {
        std::vector<std::string> lines;
        std::string text = ReadFile(logPath);
        size_t at = 0;
        while (at < text.size()) {
            size_t end = text.find("\r\n", at);
            lines.push_back(text.substr(at, end - at));
            at = end + 2;
        }
        return lines;
    }
};

const std::vector<std::string> kAllCalls = {
    "claim",           "archive",         "version",     "template",      "working copy",
    "add Ketrova.mdb", "add Version",     "open",        "nulls",         "drop indexes",
    "read schema",     "compare",         "add fields",  "update fields", "migrations",
    "obsolete fields", "obsolete tables", "add indexes", "configuration", "close",
    "install"};

} // namespace

TEST(UpgradeSequence, ASuccessfulRunShowsEveryStepAndWritesTheVersionLast) {
    Harness h;
    ASSERT_NE(h.settings.LogFileNo, 0);
    EXPECT_TRUE(h.Run());
    EXPECT_EQ(h.steps.calls, kAllCalls);

    // Each step shows its status, then moves the bar to where it starts.
    const std::pair<const char*, int> steps[] = {
        {"Reading version file", 0},      {"Loading template", 5},
        {"Backing up database", 10},      {"Opening database", 15},
        {"Cleaning up NULL fields", 20},  {"Deleting indexes", 25},
        {"Reading DB Schema", 30},        {"Comparing structure", 35},
        {"Adding new fields", 40},        {"Updating fields", 50},
        {"Upgrade scripts", 55},          {"Deleting obsolete fields", 70},
        {"Deleting obsolete tables", 75}, {"Adding indexes", 80},
        {"Updating configuration", 85},   {"Closing database", 90},
        {"Writing version file", 95},
    };
    std::vector<std::string> expectedProgress;
    for (const auto& [status, value] : steps) {
        expectedProgress.push_back(std::string("status ") + status + " ...");
        expectedProgress.push_back("value " + std::to_string(value));
    }
    expectedProgress.push_back("value 100");
    expectedProgress.push_back("status Database upgraded successfully.");
    EXPECT_EQ(h.progress.events, expectedProgress);

    const std::vector<std::string> expectedLog = {
        "{ } UpgradeDB started",        "{ } DB File: " + h.dir.str() + "Ketrova.mdb",
        "{-} Loading template",         "{-} Backing up database",
        "{-} Opening database",         "{-} Cleaning up NULL fields",
        "{-} Deleting indexes",         "{-} Reading DB schema",
        "{-} Comparing structure",      "{-} Adding new fields",
        "{-} Updating fields",          "{-} Starting SQL updates",
        "{-} Deleting obsolete fields", "{-} Deleting obsolete tables",
        "{-} Adding indexes",           "{-} Updating configuration",
        "{-} Closing database",         "{-} Writing version file"};
    EXPECT_EQ(h.LogLines(), expectedLog);

    EXPECT_EQ(h.ui.busyChanges, (std::vector<bool>{true, false}));
    EXPECT_GE(h.ui.pumped, 17); // the window repaints after every step
    EXPECT_EQ(h.steps.migratedFrom, 4);
    EXPECT_EQ(h.steps.configuredFrom, 4);
}

// Every step fails once by reporting failure and once by throwing; in the
// throwing runs the restore fails too, which must change neither the result
// nor what the user is shown. A close cannot report failure, only throw.
TEST(UpgradeSequence, AFailingStepSkipsToClosingAndRestoresOnlyAfterABackup) {
    struct Case {
        std::string failing;
        bool restores;
    };
    const Case cases[] = {{"template", false},
                          {"working copy", false},
                          {"add Ketrova.mdb", false},
                          {"open", true},
                          {"nulls", true},
                          {"drop indexes", true},
                          {"read schema", true},
                          {"compare", true},
                          {"add fields", true},
                          {"update fields", true},
                          {"migrations", true},
                          {"obsolete fields", true},
                          {"obsolete tables", true},
                          {"add indexes", true},
                          {"configuration", true},
                          {"close", true},
                          {"install", true}};
    for (const auto& c : cases) {
        for (bool throws : {false, true}) {
            if (c.failing == "close" && !throws)
                continue;
            SCOPED_TRACE(c.failing + (throws ? " (throws)" : ""));
            Harness h;
            (throws ? h.steps.raise : h.steps.fail).insert(c.failing);
            if (throws)
                h.steps.fail.insert("restore");
            EXPECT_FALSE(h.Run());

            // Everything up to the failing step ran, then closing, then perhaps the restore.
            std::vector<std::string> expected;
            for (const auto& call : kAllCalls) {
                if (call == "add Version" && c.failing == "add Ketrova.mdb")
                    continue;
                expected.push_back(call);
                if (call == c.failing)
                    break;
            }
            if (c.failing != "install" && c.failing != "close")
                expected.push_back("close");
            if (c.restores)
                expected.push_back("restore");
            EXPECT_EQ(h.steps.calls, expected);

            const auto& events = h.progress.events;
            ASSERT_GE(events.size(), 6u);
            EXPECT_EQ(events[events.size() - 2], "value 100");
            EXPECT_EQ(events.back(), "status Database upgrade failed.");
            if (c.restores) {
                // The restore shows its own step, after the last one that ran.
                EXPECT_EQ(events[events.size() - 6], c.failing == "install"
                                                         ? "status Writing version file ..."
                                                         : "status Closing database ...");
                EXPECT_EQ(events[events.size() - 4], "status Restoring database ...");
                EXPECT_EQ(events[events.size() - 3], "value 95");
            }
            auto log = h.LogLines();
            bool loggedRestore =
                std::find(log.begin(), log.end(), "{-} Restoring database") != log.end();
            EXPECT_EQ(loggedRestore, c.restores);
            EXPECT_NE(std::find(log.begin(), log.end(), "{-} Closing database"), log.end());
            if (throws) {
                bool errorLogged = false;
                for (const auto& line : log)
                    errorLogged = errorLogged || (line.rfind("{*} ", 0) == 0 &&
                                                  line.find("disk on fire") != std::string::npos);
                EXPECT_TRUE(errorLogged);
            }
            EXPECT_EQ(h.ui.busyChanges, (std::vector<bool>{true, false}));
        }
    }
}

// Refused before anything is copied: another run or program has the
// database, or a newer program made it.
TEST(UpgradeSequence, ARefusedRunStopsBeforeTheBackup) {
    for (bool newer : {false, true}) {
        SCOPED_TRACE(newer ? "newer" : "claim refused");
        Harness h;
        if (newer)
            h.steps.version = 12;
        else
            h.steps.fail.insert("claim");
        EXPECT_FALSE(h.Run());
        const std::vector<std::string> ran = {"claim", "archive", "version"};
        EXPECT_EQ(h.steps.calls,
                  std::vector<std::string>(ran.begin(), ran.begin() + (newer ? 3 : 1)));
        EXPECT_EQ(h.progress.events.back(), "status Database upgrade failed.");
        const auto log = h.LogLines();
        ASSERT_EQ(log.size(), newer ? 3u : 2u);
        if (newer) {
            EXPECT_EQ(log[2].rfind("{*} The database " + h.dir.str() +
                                       "Ketrova.mdb is version 12, newer than version 9,",
                                   0),
                      0u);
        }
    }
}

TEST(UpgradeSequence, NoTemporaryArchiveMeansNoBackupAndNoRestore) {
    Harness h;
    h.steps.archiveName.clear();
    EXPECT_FALSE(h.Run());
    EXPECT_EQ(h.steps.calls,
              (std::vector<std::string>{"claim", "archive", "version", "template", "close"}));
}

TEST(ObsoleteTables, DistinctLiveNamesMissingFromTheTemplateInFirstSeenOrder) {
    const std::vector<std::string> live = {"Tenant", "Tenant", "Property", "PROPERTY", "lease",
                                           "OldLog", "oldlog", "Unit",     "Property"};
    const std::vector<std::string> tmpl = {"Tenant", "Lease", "Unit", "Building"};
    EXPECT_EQ(ObsoleteTables(live, tmpl), (std::vector<std::string>{"Property", "OldLog"}));
    EXPECT_TRUE(ObsoleteTables({}, tmpl).empty());
    EXPECT_EQ(ObsoleteTables({"A"}, {}), (std::vector<std::string>{"A"}));
    // Only letters fold; a name that differs otherwise is a different table.
    EXPECT_EQ(ObsoleteTables({"Rent_Log"}, {"RentLog"}), (std::vector<std::string>{"Rent_Log"}));
}
