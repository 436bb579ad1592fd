// The upgrade's sequence against scripted operations: what the user sees
// (status, progress), what support reads (the log), and above all when the
// backup is taken and put back.

#include "startup/locator.h"
#include "support/temp_dir.h"
#include "upgrade/upgrade_steps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

using namespace upgrade;
using testsupport::ReadFile;

namespace {

class RecordingProgress final : public util::Progress {
public:
    void SetValue(double value) override { events.push_back(std::to_string(int(value))); }
    void SetStatus(const std::string& text) override { events.push_back(text); }
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
    int16_t version = 4, migratedFrom = -100, configuredFrom = -100;
    std::string archiveName = "/tmp/temA1.tmp";

    bool Do(const std::string& name) {
        calls.push_back(name);
        if (raise.contains(name))
            throw std::runtime_error("disk on fire");
        return !fail.contains(name);
    }
    bool Claim() override { return Do("claim"); }
    int16_t ReadVersion() override { return Do("version"), version; }
    bool LoadTemplate() override { return Do("template"); }
    std::string NewArchiveName() override { return Do("archive") ? archiveName : ""; }
    bool AddToArchive(const std::string& archive, const std::string& file) override {
        EXPECT_EQ(archive, archiveName);
        return Do("add " + file.substr(file.find_last_of('/') + 1));
    }
    bool MakeWorkingCopy() override { return Do("working copy"); }
    bool OpenDatabase() override { return Do("open"); }
    bool CleanNullFields() override { return Do("nulls"); }
    bool DeleteIndexes() override { return Do("drop indexes"); }
    bool ReadSchema() override { return Do("read schema"); }
    bool CompareSchema() override { return Do("compare"); }
    bool AddFields() override { return Do("add fields"); }
    bool UpdateFields() override { return Do("update fields"); }
    bool RunMigrations(int16_t v) override { return migratedFrom = v, Do("migrations"); }
    bool DeleteObsoleteFields() override { return Do("obsolete fields"); }
    bool DeleteObsoleteTables() override { return Do("obsolete tables"); }
    bool AddIndexes() override { return Do("add indexes"); }
    bool WriteConfiguration(int16_t v) override { return configuredFrom = v, Do("configuration"); }
    void CloseDatabase() override { Do("close"); }
    bool InstallUpgraded() override { return Do("install"); }
    bool Restore() override { return Do("restore"); }
};

struct Harness {
    testsupport::TempDir dir;
    startup::RunSettings settings;
    RecordingProgress progress;
    RecordingUi ui;
    ScriptedSteps steps;

    Harness() {
        settings.DBPath = dir.str();
        settings.LogFileNo = startup::OpenLogFile(settings.Files, dir.str() + "Ostrand.log", 1, 0);
    }
    bool Run() {
        bool ok = RunUpgrade(settings, progress, ui, steps);
        startup::CloseFile(settings.Files, settings.LogFileNo);
        return ok;
    }
    std::vector<std::string> LogLines() const {
        std::vector<std::string> lines;
        std::string text = ReadFile(dir / "Ostrand.log");
        for (size_t at = 0, end; at < text.size(); at = end + 2)
            lines.push_back(text.substr(at, (end = text.find("\r\n", at)) - at));
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
    EXPECT_TRUE(h.Run());
    EXPECT_EQ(h.steps.calls, kAllCalls);

    // Each step shows its status, moves the bar to where it starts, then logs
    // its name: as in the status but for the first (none) and two the suite
    // has always worded apart.
    const std::vector<std::string> statuses = {
        "Reading version file",     "Loading template",        "Backing up database",
        "Opening database",         "Cleaning up NULL fields", "Deleting indexes",
        "Reading DB Schema",        "Comparing structure",     "Adding new fields",
        "Updating fields",          "Upgrade scripts",         "Deleting obsolete fields",
        "Deleting obsolete tables", "Adding indexes",          "Updating configuration",
        "Closing database",         "Writing version file"};
    const int values[] = {0, 5, 10, 15, 20, 25, 30, 35, 40, 50, 55, 70, 75, 80, 85, 90, 95};
    std::map<std::string, std::string> logAs = {{"Reading DB Schema", "Reading DB schema"},
                                                {"Upgrade scripts", "Starting SQL updates"}};
    std::vector<std::string> progress,
        log = {"{ } UpgradeDB started", "{ } DB File: " + h.dir.str() + "Ketrova.mdb"};
    for (size_t i = 0; i < statuses.size(); ++i) {
        progress.insert(progress.end(), {statuses[i] + " ...", std::to_string(values[i])});
        if (i > 0)
            log.push_back("{-} " +
                          (logAs.contains(statuses[i]) ? logAs[statuses[i]] : statuses[i]));
    }
    progress.insert(progress.end(), {"100", "Database upgraded successfully."});
    EXPECT_EQ(h.progress.events, progress);
    EXPECT_EQ(h.LogLines(), log);
    EXPECT_EQ(h.ui.busyChanges, (std::vector<bool>{true, false}));
    EXPECT_GE(h.ui.pumped, 17); // the window repaints after every step
    EXPECT_EQ(h.steps.migratedFrom, 4);
    EXPECT_EQ(h.steps.configuredFrom, 4);
}

// Every step fails once by reporting failure and once by throwing; in the
// throwing runs the restore fails too, which must change neither the result
// nor what the user is shown. A close cannot report failure, only throw.
TEST(UpgradeSequence, AFailingStepSkipsToClosingAndRestoresOnlyAfterABackup) {
    const auto backedUp = std::find(kAllCalls.begin(), kAllCalls.end(), "add Version");
    for (auto failing = kAllCalls.begin() + 3; failing != kAllCalls.end(); ++failing) {
        const bool restores = failing > backedUp;
        for (bool throws : {false, true}) {
            if (failing == backedUp || (*failing == "close" && !throws))
                continue;
            SCOPED_TRACE(*failing + (throws ? " (throws)" : ""));
            Harness h;
            (throws ? h.steps.raise : h.steps.fail).insert(*failing);
            if (throws)
                h.steps.fail.insert("restore");
            EXPECT_FALSE(h.Run());

            // Everything up to the failing step, then closing, then perhaps the restore.
            std::vector<std::string> expected(kAllCalls.begin(), failing + 1);
            if (*failing != "install" && *failing != "close")
                expected.push_back("close");
            if (restores)
                expected.push_back("restore");
            EXPECT_EQ(h.steps.calls, expected);

            const auto& events = h.progress.events;
            ASSERT_GE(events.size(), 6u);
            const std::vector<std::string> end(events.end() - (restores ? 6 : 2), events.end());
            // The restore shows its own step, after the last one that ran.
            std::vector<std::string> wanted = {"100", "Database upgrade failed."};
            if (restores && *failing == "install")
                wanted.insert(wanted.begin(),
                              {"Writing version file ...", "95", "Restoring database ...", "95"});
            else if (restores)
                wanted.insert(wanted.begin(),
                              {"Closing database ...", "90", "Restoring database ...", "95"});
            EXPECT_EQ(end, wanted);
            auto log = h.LogLines();
            EXPECT_EQ(std::count(log.begin(), log.end(), "{-} Restoring database"), restores);
            EXPECT_EQ(std::count(log.begin(), log.end(), "{-} Closing database"), 1);
            EXPECT_EQ(std::count_if(log.begin(), log.end(),
                                    [](const std::string& l) {
                                        return l.starts_with("{*} ") &&
                                               l.find("disk on fire") != std::string::npos;
                                    }),
                      throws ? 1 : 0);
            EXPECT_EQ(h.ui.busyChanges, (std::vector<bool>{true, false}));
        }
    }
}

// Refused before anything is copied: another run or program has the
// database, a newer program made it, or there is no file for the backup.
TEST(UpgradeSequence, ARefusedRunTakesNoBackupAndRestoresNothing) {
    struct Case {
        const char* name;
        std::vector<std::string> calls;
    };
    const Case cases[] = {
        {"claim refused", {"claim"}},
        {"newer", {"claim", "archive", "version"}},
        {"no archive", {"claim", "archive", "version", "template", "close"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Harness h;
        const std::string name = c.name;
        if (name == "claim refused")
            h.steps.fail.insert("claim");
        else if (name == "newer")
            h.steps.version = 12;
        else
            h.steps.fail.insert("archive");
        EXPECT_FALSE(h.Run());
        EXPECT_EQ(h.steps.calls, c.calls);
        EXPECT_EQ(h.progress.events.back(), "Database upgrade failed.");
        if (name == "newer")
            EXPECT_EQ(h.LogLines().back(),
                      "{*} " + startup::NewerDatabaseText(h.dir.str() + "Ketrova.mdb", 12));
    }
}

TEST(ObsoleteTables, DistinctLiveNamesMissingFromTheTemplateInFirstSeenOrder) {
    const std::vector<std::string> live = {"Tenant", "Tenant", "Property", "PROPERTY", "lease",
                                           "OldLog", "oldlog", "Unit",     "Property"};
    const std::vector<std::string> tmpl = {"Tenant", "Lease", "Unit", "Building"};
    EXPECT_EQ(ObsoleteTables(live, tmpl), (std::vector<std::string>{"Property", "OldLog"}));
    EXPECT_EQ(ObsoleteTables({"A"}, {}), (std::vector<std::string>{"A"}));
    // Only letters fold; a name that differs otherwise is a different table.
    EXPECT_EQ(ObsoleteTables({"Rent_Log"}, {"RentLog"}), (std::vector<std::string>{"Rent_Log"}));
}
