#include "startup/init.h"
#include "startup/start_mode.h"
#include "support/temp_dir.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

using namespace startup;
using testsupport::TempDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

// The switch settings as one comparable value.
struct Switches {
    bool NoDB = false, Diag = false, UpgradeSwitch = false, Expert = false;
    std::string LoadFile, AltDB = "Default", AppStart;
    bool operator==(const Switches&) const = default;
};

Switches Parsed(const std::string& line) {
    RunSettings s;
    ParseCommandLine(s, line);
    EXPECT_TRUE(s.Warn) << "no switch changes Warn";
    return {s.NoDB, s.Diag, s.UpgradeSwitch, s.Expert, s.LoadFile, s.AltDB, s.AppStart};
}

std::ostream& operator<<(std::ostream& os, const Switches& w) {
    return os << "nodb=" << w.NoDB << " diag=" << w.Diag << " upgrade=" << w.UpgradeSwitch
              << " expert=" << w.Expert << " loadfile='" << w.LoadFile << "' altdb='" << w.AltDB
              << "' appstart='" << w.AppStart << "'";
}

struct CountingUi final : util::UiServices {
    int events = 0;
    void DoEvents() override { ++events; }
};

} // namespace

TEST(CommandLine, EveryRuleOfTheSwitchReader) {
    auto with = [](auto change) {
        Switches w;
        change(w);
        return w;
    };
    struct Case {
        const char* line;
        Switches expected;
    };
    const Case cases[] = {
        {"", {}},
        {"   ", {}},
        {"nodb", {}}, // no "/" at all: nothing is a switch
        {"/diag /nodb", with([](Switches& w) { w.Diag = w.NoDB = true; })},
        {"  /DIAG  ", with([](Switches& w) { w.Diag = true; })},
        {"/altdb=D:\\Data\\Rent", with([](Switches& w) { w.AltDB = "d:\\data\\rent"; })},
        {"/altdb=", with([](Switches& w) { w.AltDB = ""; })},
        {"/altdb", with([](Switches& w) { w.AltDB = ""; })},
        {"/AltDB = Second", with([](Switches& w) { w.AltDB = "second"; })},
        {"/altdb=first /altdb=second", with([](Switches& w) { w.AltDB = "second"; })},
        {"/altdb=a=b", with([](Switches& w) { w.AltDB = "a=b"; })},
        // A value ends at the next "/"; the rest is a switch of its own.
        {"/altdb=c:/data/rent", with([](Switches& w) { w.AltDB = "c:"; })},
        // An "=" beyond the next "/" belongs to that later switch.
        {"/expert /appstart=rentora", with([](Switches& w) {
             w.Expert = true;
             w.AppStart = "rentora";
         })},
        {"/nodb=yes", with([](Switches& w) { w.NoDB = true; })},
        {"/ upgradedb ", with([](Switches& w) { w.UpgradeSwitch = true; })},
        {"/loadfile=  My Lease.DOC  ", with([](Switches& w) { w.LoadFile = "my lease.doc"; })},
        {"/unknown /nowarning /nod b /diagnose", {}},
        {"words before /expert", with([](Switches& w) { w.Expert = true; })},
        {"//expert/", with([](Switches& w) { w.Expert = true; })},
        {"/upgradedb /appstart=Rentora.exe /altdb=Branch2 /expert", with([](Switches& w) {
             w.UpgradeSwitch = w.Expert = true;
             w.AppStart = "rentora.exe";
             w.AltDB = "branch2";
         })},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Parsed(c.line), c.expected) << "command line: [" << c.line << "]";
    }
}

TEST(StartMode, SwitchesOverrideTheDatabaseStateInTableOrder) {
    struct Case {
        const char* line;
        DBStatus status;
        StartMode expected;
    };
    const Case cases[] = {
        {"", DBCurrent, StartMode::Options},
        {"", DBMissing, StartMode::Create},
        {"", DBNeedsUpgrade, StartMode::Upgrade},
        {"", 7, StartMode::Diagnostics},
        {"/diag /nodb", DBMissing, StartMode::Diagnostics},
        {"/diag", DBCurrent, StartMode::Diagnostics},
        {"/nodb", DBCurrent, StartMode::Create},
        {"/nodb /upgradedb", DBNeedsUpgrade, StartMode::Create},
        {"/upgradedb", DBCurrent, StartMode::Upgrade},
        {"/upgradedb", DBMissing, StartMode::Create},
        {"/upgradedb", 7, StartMode::Upgrade},
        {"/expert /altdb=x", DBCurrent, StartMode::Options},
    };
    for (const auto& c : cases) {
        RunSettings s;
        ParseCommandLine(s, c.line);
        EXPECT_EQ(ChooseStartMode(s, c.status), c.expected)
            << "[" << c.line << "] state " << c.status;
    }
    EXPECT_EQ(StartModeName(StartMode::Diagnostics), "diagnostics");
    EXPECT_EQ(StartModeName(StartMode::Options), "options");
}

TEST(AppStart, CommandCarriesTheDatabaseNameAndExpertSwitch) {
    struct Case {
        const char* line;
        const char* expected;
    };
    const Case cases[] = {
        {"", ""},
        {"/expert /altdb=branch2", ""}, // nothing to start
        {"/appstart=rentora", "rentora"},
        {"/appstart=rentora /expert", "rentora /expert"},
        {"/appstart=rentora /altdb=branch2", "rentora /altdb branch2"},
        {"/appstart=rentora /altdb=branch2 /expert", "rentora /altdb branch2 /expert"},
        // Lower-cased by the reader, "default" is not the default name.
        {"/appstart=rentora /altdb=Default", "rentora /altdb default"},
        {"/appstart=rentora /altdb=", "rentora /altdb "},
    };
    for (const auto& c : cases) {
        RunSettings s;
        ParseCommandLine(s, c.line);
        EXPECT_EQ(AppStartCommand(s), c.expected) << c.line;
    }
}

TEST(AppStart, LaunchStartsTheProgramAndAlwaysLetsEventsRun) {
    TempDir dir;
    CountingUi ui;
    RunSettings s;
    LaunchAppStart(s, ui);
    EXPECT_EQ(ui.events, 1);

    fs::path marker = dir / "started";
    s.AppStart = "touch " + marker.string();
    LaunchAppStart(s, ui);
    EXPECT_EQ(ui.events, 2);
    bool seen = false;
    for (int i = 0; i < 100 && !seen; ++i) {
        seen = fs::exists(marker);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_TRUE(seen);

    s.AppStart = "/no/such/program";
    LaunchAppStart(s, ui); // a failed start says nothing
    EXPECT_EQ(ui.events, 3);
}

TEST(InitGlobals, FillsPathsFromTheProgramFolderAndMakesTheWorkingFolders) {
    TempDir dir;
    WriteFile(dir / "Catalogs.mdb", "");
    const char* old = std::getenv("KETROVA_HOME");
    std::string saved = old ? old : "";
    ::setenv("KETROVA_HOME", dir.path().string().c_str(), 1); // no trailing separator
    RunSettings s;
    s.DBPath = "/stale/";
    s.LogFileNo = 3;
    InitGlobals(s, "/altdb=branch2 /expert");
    if (old) {
        ::setenv("KETROVA_HOME", saved.c_str(), 1);
    } else {
        ::unsetenv("KETROVA_HOME");
    }
    EXPECT_EQ(s.AppPath, dir.str());
    EXPECT_EQ(s.ReportsPath, dir.str() + "Reports/");
    EXPECT_EQ(s.HelpFile, dir.str() + "Ketrova.chm");
    EXPECT_TRUE(s.CatalogsPresent);
    EXPECT_EQ(s.AltDB, "branch2");
    EXPECT_TRUE(s.Expert);
    EXPECT_EQ(s.DBPath, "");
    EXPECT_EQ(s.LogFileNo, 0);
    EXPECT_EQ(s.CurrentUser, "Administrator");
    for (const char* f : {"db", "Backup", "Docs", "Files"}) {
        EXPECT_TRUE(fs::is_directory(dir / f)) << f;
    }
    // A second start finds the folders there and goes on.
    InitGlobals(s, "");
    EXPECT_EQ(s.AltDB, "Default");
    EXPECT_FALSE(s.Expert);

    // Without KETROVA_HOME the program folder is the executable's.
    RunSettings exe;
    if (!old) {
        FillStartValues(exe);
        EXPECT_EQ(fs::canonical(exe.AppPath), fs::canonical(OSTRAND_BIN_DIR));
        EXPECT_FALSE(exe.RegistryFile.empty());
    }
    // An unusable program folder costs nothing but the folders.
    CreateWorkingFolders("/nonexistent/ostrand/");
    EXPECT_EQ(JoinCommandLine({"/altdb=my", "data", "/expert"}), "/altdb=my data /expert");
}
