// The built ostrand-cli killed at random moments of an upgrade and of a
// compaction, and run against a file-size limit that plays a full disk:
// the database's path always holds a whole database, a run cut off is
// noticed, and recovery never leaves it half converted.

#include "safety/recovery.h"
#include "safety/replacement.h"
#include "safety/safety_copy.h"
#include "startup/locator.h"
#include "startup/registry.h"
#include "upgrade/old_databases.h"

#include "safety_fixture.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <random>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using testsupport::ReadFile;
using Clock = std::chrono::steady_clock;

// A program folder, a registered database folder and a temporary folder.
struct Installation {
    testsupport::TempDir root;
    std::string data = root.str() + "data/";
    std::string db = data + "Ketrova.mdb";

    Installation() {
        for (const char* f : {"home", "data", "tmp"})
            fs::create_directory(root / f);
        fs::copy_file(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", root / "home/Ketrova.ddf");
        platform::RegistryStore reg(root.str() + "registry.reg");
        startup::RegWriteString(reg, startup::DatabasesKey, "Default", data);
    }

    // Starts ostrand-cli with `args` in a process of its own; a file-size
    // limit, when given, makes every write beyond it fail as on a full disk.
    pid_t Start(const std::vector<std::string>& args, rlim_t fileLimit = RLIM_INFINITY) const {
        const pid_t pid = ::fork();
        if (pid != 0)
            return pid;
        ::setenv("KETROVA_HOME", (root.str() + "home/").c_str(), 1);
        ::setenv("KETROVA_REGISTRY", (root.str() + "registry.reg").c_str(), 1);
        ::setenv("KETROVA_USER_SETTINGS", (root.str() + "settings.ini").c_str(), 1);
        ::setenv("TMPDIR", (root.str() + "tmp").c_str(), 1);
        const int null = ::open("/dev/null", O_WRONLY);
        ::dup2(null, 1);
        ::dup2(null, 2);
        const testsupport::FullDiskAt limit(fileLimit); // lives until the program is replaced
        std::vector<char*> argv{const_cast<char*>("ostrand-cli")};
        for (const auto& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        ::execv(OSTRAND_BIN_DIR "/ostrand-cli", argv.data());
        ::_exit(127);
    }
    static int Wait(pid_t pid) {
        int status = 0;
        ::waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

struct Operation {
    const char* name;
    std::vector<std::string> args;
    // Fills the database folder afresh.
    std::function<void(const std::string& folder)> prepare;
    // What the database may be after the run, done or not.
    std::function<void(const Installation&, const std::string& before)> expectWhole;
};

using safetytest::SafetyTest;

std::vector<Operation> Operations() {
    const upgradetest::Population pop;
    const int64_t contacts = 3 * pop.properties * pop.tenantsPerProperty;
    return {
        {"upgrade",
         {"upgrade"},
         [](const std::string& folder) {
             static testsupport::TempDir fixture;
             if (!fs::exists(fixture / "Ketrova.mdb"))
                 upgradetest::BuildOldDatabase(fixture.str(), 4);
             for (const char* f : {"Ketrova.mdb", "Version"})
                 fs::copy_file(fixture / f, folder + f);
         },
         // The old database as it was, or the new one converted exactly once.
         [contacts](const Installation& in, const std::string& before) {
             const int16_t version = startup::ReadVersionFile(in.data + "Version");
             if (version == 4) {
                 EXPECT_TRUE(ReadFile(in.db) == before) << "an old version over a changed file";
                 return;
             }
             ASSERT_EQ(version, 9);
             EXPECT_EQ(SafetyTest::Count(in.db, "Contact"), contacts);
             EXPECT_EQ(SafetyTest::Count(in.db, "sqlite_master WHERE name = 'Property'"), 0);
         }},
        {"compact",
         {"compact"},
         [](const std::string& folder) {
             testsupport::MakeDatabase(
                 folder + "Ketrova.mdb",
                 {"CREATE TABLE RentLog (IdRentLog INTEGER, Memo VARCHAR(255))",
                  "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 20000) "
                  "INSERT INTO RentLog SELECT i, printf('%.200c', 'm') FROM n",
                  "DELETE FROM RentLog WHERE IdRentLog % 3 = 0"});
             testsupport::WriteFile(folder + "Version", "9\r\n");
         },
         [](const Installation& in, const std::string&) {
             EXPECT_EQ(SafetyTest::Count(in.db, "RentLog"), 13334);
         }},
    };
}

// Whole, with nothing of a run left about it once any cut-off run has been
// recovered.
void ExpectWholeAfterRecovery(const Installation& in, const Operation& op,
                              const std::string& before, int& noticed) {
    EXPECT_EQ(safety::CheckIntegrity(in.db), "");
    if (const auto interruption = safety::FindInterruption(in.db)) {
        ++noticed;
        std::string done, error;
        ASSERT_TRUE(safety::Recover(in.db, platform::SystemClock(), true, done, error)) << error;
        EXPECT_EQ(safety::CheckIntegrity(in.db), "");
    }
    op.expectWhole(in, before);
    EXPECT_FALSE(safety::FindInterruption(in.db));
    // The system makes a temporary file before the marker can name it, so a
    // kill in between may leave it, but only ever empty: the archive takes
    // the database's bytes once the marker names it.
    for (const auto& e : fs::directory_iterator(in.root / "tmp"))
        EXPECT_EQ(fs::file_size(e.path()), 0u) << e.path();
    for (const auto& e : fs::directory_iterator(in.data)) {
        const std::string name = e.path().filename().string();
        EXPECT_TRUE(name == "Ketrova.mdb" || name == "Version" || name == "SafetyCopies" ||
                    name == ".Ketrova.mdb.lock")
            << name;
    }
    for (const auto& copy : safety::ListSafetyCopies(in.db)) {
        EXPECT_TRUE(ReadFile(copy.path) == before) << "a safety copy of another file";
        EXPECT_FALSE(fs::equivalent(copy.path, in.db)) << "a copy that changes with the database";
    }
}

TEST(Interruption, AKillAtAnyMomentLeavesAWholeDatabase) {
    std::mt19937 random(20261123);
    for (const Operation& op : Operations()) {
        SCOPED_TRACE(op.name);
        // One whole run tells how long there is to cut short.
        Clock::duration whole{};
        {
            Installation in;
            op.prepare(in.data);
            const auto start = Clock::now();
            ASSERT_EQ(Installation::Wait(in.Start(op.args)), 0);
            whole = Clock::now() - start;
        }
        int noticed = 0;
        for (int attempt = 0; attempt < 8; ++attempt) {
            Installation in;
            op.prepare(in.data);
            const std::string before = ReadFile(in.db);
            const pid_t pid = in.Start(op.args);
            std::this_thread::sleep_for(
                std::uniform_int_distribution<Clock::rep>(0, whole.count())(random) *
                Clock::duration(1));
            ::kill(pid, SIGKILL);
            Installation::Wait(pid);
            ExpectWholeAfterRecovery(in, op, before, noticed);
        }
        RecordProperty(std::string(op.name) + "_noticed", noticed);
    }
}

TEST(Interruption, AFullDiskLeavesTheDatabaseAsItWas) {
    for (const Operation& op : Operations()) {
        SCOPED_TRACE(op.name);
        Installation in;
        op.prepare(in.data);
        const std::string before = ReadFile(in.db), version = ReadFile(in.data + "Version");
        // Room for the log and the marker, not for a copy of the database.
        EXPECT_EQ(Installation::Wait(in.Start(op.args, before.size() / 2)), 1);
        EXPECT_TRUE(ReadFile(in.db) == before);
        EXPECT_EQ(ReadFile(in.data + "Version"), version);
        EXPECT_TRUE(safety::ListSafetyCopies(in.db).empty());
        int noticed = 0;
        ExpectWholeAfterRecovery(in, op, before, noticed);
        EXPECT_EQ(noticed, 0);
    }
}

} // namespace
