// What start-up makes of the command line, which wizard it opens, and where
// a program finds its folders and writes its log.

#include "build_info.h"
#include "startup/init.h"
#include "startup/network_share.h"
#include "startup/start_mode.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <tuple>

using namespace startup;
using testsupport::ScopedEnv;
using testsupport::TempDir;
namespace fs = std::filesystem;

namespace {

// The switch settings, and the command a wizard's end starts, as one text.
std::string Parsed(const std::string& line) {
    RunSettings s;
    ParseCommandLine(s, line);
    EXPECT_TRUE(s.Warn) << "no switch changes Warn";
    return std::string(s.NoDB ? "nodb " : "") + (s.Diag ? "diag " : "") +
           (s.UpgradeSwitch ? "upgrade " : "") + (s.Expert ? "expert " : "") +
           "load=" + s.LoadFile + " altdb=" + s.AltDB + " start=" + AppStartCommand(s);
}

} // namespace

TEST(CommandLine, EveryRuleOfTheSwitchReader) {
    const std::string none = "load= altdb=Default start=";
    // clang-format off
    const std::pair<const char*, std::string> cases[] = {
        {"", none}, {"   ", none}, {"nodb", none}, // no "/" at all: nothing is a switch
        {"/diag /nodb", "nodb diag " + none}, {"  /DIAG  ", "diag " + none},
        {"/altdb=D:\\Data\\Rent", "load= altdb=d:\\data\\rent start="},
        {"/altdb=", "load= altdb= start="}, {"/altdb", "load= altdb= start="},
        {"/AltDB = Second", "load= altdb=second start="},
        {"/altdb=first /altdb=second", "load= altdb=second start="},
        {"/altdb=a=b", "load= altdb=a=b start="},
        // A value ends at the next "/"; an "=" beyond it belongs to that later switch.
        {"/altdb=c:/data/rent", "load= altdb=c: start="},
        {"/expert /appstart=rentora", "expert load= altdb=Default start=rentora /expert"},
        {"/nodb=yes", "nodb " + none}, {"/ upgradedb ", "upgrade " + none},
        {"/loadfile=  My Lease.DOC  ", "load=my lease.doc altdb=Default start="},
        {"/unknown /nowarning /nod b /diagnose", none},
        {"words before /expert", "expert " + none}, {"//expert/", "expert " + none},
        // The started program gets the database's name unless it is the default.
        {"/appstart=rentora /altdb=branch2", "load= altdb=branch2 start=rentora /altdb branch2"},
        {"/appstart=rentora /altdb=Default", "load= altdb=default start=rentora /altdb default"},
        {"/appstart=rentora /altdb=", "load= altdb= start=rentora /altdb "},
        {"/upgradedb /appstart=Rentora.exe /altdb=B2 /expert",
         "upgrade expert load= altdb=b2 start=rentora.exe /altdb b2 /expert"}};
    // clang-format on
    for (const auto& [line, expected] : cases)
        EXPECT_EQ(Parsed(line), expected) << "command line: [" << line << "]";
    EXPECT_EQ(JoinCommandLine({"/altdb=my", "data", "/expert"}), "/altdb=my data /expert");
}

TEST(StartMode, SwitchesOverrideTheDatabaseStateInTableOrder) {
    // clang-format off
    const std::tuple<const char*, DBStatus, StartMode> cases[] = {
        {"", DBCurrent, StartMode::Options}, {"", DBMissing, StartMode::Create},
        {"", DBNeedsUpgrade, StartMode::Upgrade}, {"", 7, StartMode::Diagnostics},
        {"/diag /nodb", DBMissing, StartMode::Diagnostics}, {"/diag", DBCurrent, StartMode::Diagnostics},
        {"/nodb", DBCurrent, StartMode::Create}, {"/nodb /upgradedb", DBNeedsUpgrade, StartMode::Create},
        {"/upgradedb", DBCurrent, StartMode::Upgrade}, {"/upgradedb", DBMissing, StartMode::Create},
        {"/upgradedb", 7, StartMode::Upgrade}, {"/expert /altdb=x", DBCurrent, StartMode::Options}};
    // clang-format on
    for (const auto& [line, status, expected] : cases) {
        RunSettings s;
        ParseCommandLine(s, line);
        EXPECT_EQ(ChooseStartMode(s, status), expected) << "[" << line << "] state " << status;
    }
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
        testsupport::WriteFile(dir / f, "");
    }
    ScopedEnv home("HOME", root + "user");
    ScopedEnv dataHome("XDG_DATA_HOME", nullptr);
    const std::string installed = "user/.local/share/Ketrova/",
                      state = "user/.local/state/ostrand/";
    // $KETROVA_HOME ("" for none), the executable's folder, $XDG_STATE_HOME
    // (nullptr: unset; "@" for below the root; a relative one is ignored), and
    // the folders expected.
    // clang-format off
    const std::tuple<const char*, const char*, const char*, std::string, std::string, std::string> cases[] = {
        {"", "build/bin/", nullptr, "build/bin/", "build/bin/", "build/bin/"},
        {"", "usr/bin/", nullptr, installed, shared, state},
        {"", "usr/bin/", "@state", installed, shared, "state/ostrand/"},
        {"", "usr/bin/", "state", installed, shared, state},
        // A portable home keeps everything, and borrows the installed template only when it has none.
        {"home", "usr/bin/", "@state", "home/", shared, "home/"},
        {"own", "usr/bin/", nullptr, "own/", "own/", "own/"},
        {"home", "build/bin/", nullptr, "home/", "home/", "home/"},
        // Nothing found: the executable's folder, where the missing template will be reported.
        {"", "elsewhere/", nullptr, "elsewhere/", "elsewhere/", "elsewhere/"}};
    // clang-format on
    for (const auto& [ketrovaHome, exe, stateHome, app, data, log] : cases) {
        SCOPED_TRACE(std::string(ketrovaHome) + " | " + exe + " | " +
                     (stateHome ? stateHome : "-"));
        const std::string xdg = stateHome && *stateHome == '@' ? root + (stateHome + 1)
                                : stateHome                    ? stateHome
                                                               : "";
        ScopedEnv stateEnv("XDG_STATE_HOME", stateHome ? xdg.c_str() : nullptr);
        const ProgramFolders f =
            LocateProgramFolders(*ketrovaHome ? root + ketrovaHome : std::string(), root + exe);
        EXPECT_EQ(std::tie(f.app, f.data, f.log),
                  std::make_tuple(root + app, root + data, root + log));
    }
    // $KETROVA_HOME needs no trailing separator; without it the build tree
    // is a portable home. An installed program's log folder is made, for the
    // user alone.
    RunSettings s;
    {
        ScopedEnv portable("KETROVA_HOME", root + "own");
        FillStartValues(s);
        EXPECT_EQ(std::tie(s.AppPath, s.HelpFile),
                  std::make_tuple(root + "own/", root + "own/Ketrova.chm"));
    }
    ScopedEnv noHome("KETROVA_HOME", nullptr);
    FillStartValues(s);
    EXPECT_EQ(fs::canonical(s.AppPath), fs::canonical(OSTRAND_BIN_DIR));
    EXPECT_EQ(RunLogFolder(s), s.AppPath);
    s.AppPath = root + installed;
    s.LogPath = root + state;
    CreateWorkingFolders(s);
    EXPECT_TRUE(fs::is_directory(s.AppPath + "Backup"));
    EXPECT_EQ(fs::status(s.LogPath).permissions(), fs::perms::owner_all);
}

TEST(NetworkShare, WarnsOncePerRunAndOnlyAboutANetworkFolder) {
    RunSettings s;
    const platform::VolumeSpace local{true, 1, 2, "/", "ext4", false};
    const platform::VolumeSpace nfs{true, 1, 2, "/srv/", "nfs4", true};
    EXPECT_EQ(TakeNetworkShareWarning(s, "/home/ann/db/", local), "");
    EXPECT_TRUE(
        TakeNetworkShareWarning(s, "/srv/db/", nfs)
            .starts_with("The database folder /srv/db/ is on a network file system (nfs4)."));
    EXPECT_EQ(TakeNetworkShareWarning(s, "/srv/db/", nfs), "") << "said once per run";
}
