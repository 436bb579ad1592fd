#include "build_info.h"
#include "startup/init.h"
#include "startup/network_share.h"
#include "startup/start_mode.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

using namespace startup;
using testsupport::ScopedEnv;
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
    RunSettings s;
    s.DBPath = "/stale/";
    s.LogFileNo = 3;
    {
        ScopedEnv home("KETROVA_HOME", dir.path().string()); // no trailing separator
        InitGlobals(s, "/altdb=branch2 /expert");
    }
    EXPECT_EQ(s.AppPath, dir.str());
    EXPECT_EQ(RunLogFolder(s), dir.str());
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

    // Without KETROVA_HOME the build tree is a portable home in the executable's folder.
    ScopedEnv noHome("KETROVA_HOME", nullptr);
    RunSettings exe;
    FillStartValues(exe);
    EXPECT_EQ(fs::canonical(exe.AppPath), fs::canonical(OSTRAND_BIN_DIR));
    EXPECT_EQ(RunLogFolder(exe), exe.AppPath);
    EXPECT_FALSE(exe.RegistryFile.empty());
    // An unusable program folder costs nothing but the folders.
    exe.AppPath = "/nonexistent/ostrand/";
    CreateWorkingFolders(exe);
    EXPECT_EQ(JoinCommandLine({"/altdb=my", "data", "/expert"}), "/altdb=my data /expert");
}

// Where the template, the working folders and the log are, by what lies
// around the executable. Paths are relative to a scratch root.
TEST(InitGlobals, ProgramFoldersFollowTheLayoutAroundTheProgram) {
    TempDir dir;
    const std::string root = dir.str();
    const std::string shared = fs::path("usr/bin/" + std::string(build::SharedDataFromPrograms))
                                   .lexically_normal()
                                   .string();
    for (const std::string& f : {std::string("build/bin/Ketrova.ddf"), shared + "Ketrova.ddf",
                                 std::string("own/Ketrova.ddf")}) {
        fs::create_directories((dir / f).parent_path());
        WriteFile(dir / f, "");
    }
    ScopedEnv home("HOME", root + "user");
    ScopedEnv dataHome("XDG_DATA_HOME", nullptr);
    struct Case {
        const char* ketrovaHome; // "" for none
        const char* exe;
        const char* stateHome; // nullptr for unset; relative values are ignored
        std::string app, data, log;
    };
    const Case cases[] = {
        {"", "build/bin/", nullptr, "build/bin/", "build/bin/", "build/bin/"},
        {"", "usr/bin/", nullptr, "user/.local/share/Ketrova/", shared,
         "user/.local/state/ostrand/"},
        {"", "usr/bin/", "@state", "user/.local/share/Ketrova/", shared, "state/ostrand/"},
        {"", "usr/bin/", "state", "user/.local/share/Ketrova/", shared,
         "user/.local/state/ostrand/"},
        // A portable home keeps everything, and borrows the installed template only when it has
        // none.
        {"home", "usr/bin/", "@state", "home/", shared, "home/"},
        {"own", "usr/bin/", nullptr, "own/", "own/", "own/"},
        {"home", "build/bin/", nullptr, "home/", "home/", "home/"},
        // Nothing found: the executable's folder, where the missing template will be reported.
        {"", "elsewhere/", nullptr, "elsewhere/", "elsewhere/", "elsewhere/"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.ketrovaHome) + " | " + c.exe + " | " +
                     (c.stateHome ? c.stateHome : "unset"));
        const std::string state = c.stateHome && c.stateHome[0] == '@' ? root + (c.stateHome + 1)
                                  : c.stateHome                        ? c.stateHome
                                                                       : "";
        ScopedEnv stateHome("XDG_STATE_HOME", c.stateHome ? state.c_str() : nullptr);
        const ProgramFolders f = LocateProgramFolders(
            *c.ketrovaHome ? root + c.ketrovaHome : std::string(), root + c.exe);
        EXPECT_EQ(f.app, root + c.app);
        EXPECT_EQ(f.data, root + c.data);
        EXPECT_EQ(f.log, root + c.log);
    }

    // An installed program's log folder is made, for the user alone.
    RunSettings s;
    s.AppPath = root + "user/.local/share/Ketrova/";
    s.LogPath = root + "user/.local/state/ostrand/";
    CreateWorkingFolders(s);
    EXPECT_TRUE(fs::is_directory(s.AppPath + "Backup"));
    EXPECT_EQ(fs::status(s.LogPath).permissions(), fs::perms::owner_all);
}

TEST(NetworkShare, WarnsOncePerRunAndOnlyAboutANetworkFolder) {
    RunSettings s;
    const platform::VolumeSpace local{true, 1, 2, "/", "ext4", false};
    const platform::VolumeSpace nfs{true, 1, 2, "/srv/", "nfs4", true};
    EXPECT_EQ(TakeNetworkShareWarning(s, "/home/ann/db/", local), "");
    const std::string warning = TakeNetworkShareWarning(s, "/srv/db/", nfs);
    EXPECT_EQ(warning.rfind("The database folder /srv/db/ is on a network file system (nfs4).", 0),
              0u)
        << warning;
    EXPECT_EQ(TakeNetworkShareWarning(s, "/srv/db/", nfs), "") << "said once per run";
    EXPECT_EQ(TakeNetworkShareWarning(s, ""), "");
}
