// Runs cut off at each stage of a replacement, and recovered; and a safety
// copy put back, or refused with the database left as it was.

#include "safety/put_back.h"
#include "safety/recovery.h"
#include "safety/replacement.h"

#include "safety_fixture.h"

#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <optional>
#include <tuple>

namespace {

namespace fs = std::filesystem;
using safety::LeftState;
using safetytest::At;
using testsupport::ReadFile;
using testsupport::WriteFile;

using RecoveryTest = safetytest::SafetyTest;

TEST_F(RecoveryTest, EachStageOfACutOffRunIsRecoveredToAWholeDatabase) {
    using Stage = std::function<void(RecoveryTest&, safety::OperationGuard&)>;
    // The database is held and kept aside by a second name, as the upgrade
    // and the compaction do; a checked replacement is announced, and renamed
    // over the database or not yet.
    const auto replacing = [](bool renamed) -> Stage {
        return [renamed](RecoveryTest& t, safety::OperationGuard& g) {
            safety::DatabaseHold hold;
            safety::SafetyCopy copy;
            std::string error;
            if (hold.Begin(t.dbFile, error) &&
                safety::KeepDatabaseAside(t.dbFile, "upgrade", At(9, 0, 0), copy, error))
                g.SetSafetyCopy(copy.path);
            // A checked replacement beside the held database, one tenant more.
            const std::string w = t.dbFile + ".upgrading";
            EXPECT_TRUE(hold.CopyTo(w, error)) << error;
            db::Connection c;
            c.Open(w);
            c.Execute("INSERT INTO Tenant VALUES (3, 'Cy')");
            c.Close();
            g.AddLeftover(w);
            g.SetReplacement(w, {safety::VersionChange::Kind::Write, 9});
            if (renamed)
                fs::rename(w, t.dbFile);
        };
    };
    // What was done, the state found, whether the copy is put back, and the
    // tenants, version file and safety copies afterwards.
    const std::tuple<const char*, Stage, LeftState, bool, int64_t, const char*, size_t> cases[] = {
        {"working copy checked, not yet renamed", replacing(false), LeftState::Untouched, true, 2,
         "8\r\n", 0},
        {"renamed, version file not yet written", replacing(true), LeftState::Replaced, true, 3,
         "9\r\n", 1},
        {"written into, copy put back",
         [](RecoveryTest& t, safety::OperationGuard& g) {
             safety::SafetyCopy copy;
             std::string error;
             safety::MakeSafetyCopy(t.dbFile, "restore", At(9, 0, 0), copy, error);
             g.SetSafetyCopy(copy.path);
             g.SetDatabaseTouched(true);
             t.Exec("DELETE FROM Tenant");
         },
         LeftState::MayBeTouched, true, 2, "8\r\n", 2},
        {"a leftover that is the database by another name",
         [](RecoveryTest& t, safety::OperationGuard& g) {
             g.AddLeftover(t.dir.str() + "./Ketrova.mdb");
         },
         LeftState::Untouched, true, 2, "8\r\n", 0},
    };
    for (const auto& [what, stage, state, putBack, tenants, version, copies] : cases) {
        SCOPED_TRACE(what);
        Fresh();
        InChildThatDies([&] {
            safety::OperationGuard guard(dbFile, "upgrade", At(9, 0, 0));
            std::string error;
            if (guard.Begin(error))
                stage(*this, guard);
            ::_exit(9); // cut off: no destructor runs, the marker stays
        });
        const auto found = safety::FindInterruption(dbFile);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->state, state);
        safety::OperationGuard blocked(dbFile, "compact", At(10, 0, 0));
        std::string error;
        EXPECT_FALSE(blocked.Begin(error));
        EXPECT_THAT(error, testing::HasSubstr("was interrupted"));

        std::string done;
        ASSERT_TRUE(safety::Recover(dbFile, At(10, 0, 0), putBack, done, error)) << error;
        EXPECT_FALSE(safety::FindInterruption(dbFile));
        EXPECT_FALSE(fs::exists(dbFile + ".upgrading"));
        EXPECT_EQ(Count(dbFile), tenants) << done;
        EXPECT_EQ(ReadFile(dir / "Version"), version);
        EXPECT_EQ(safety::ListSafetyCopies(dbFile).size(), copies);
        for (const auto& copy : safety::ListSafetyCopies(dbFile))
            EXPECT_FALSE(fs::equivalent(copy.path, dbFile)) << copy.path;
        EXPECT_TRUE(blocked.Begin(error)) << error;
    }
}

class PutBackTest : public safetytest::SafetyTest {
public:
    // A copy of the two tenants at version 8, then a third tenant at version 9.
    void SetUp() override {
        SafetyTest::SetUp();
        ASSERT_TRUE(safety::MakeSafetyCopy(dbFile, "upgrade", At(9, 0, 0), copy, error)) << error;
        Exec("INSERT INTO Tenant VALUES (3, 'Cy')");
        WriteFile(dir / "Version", "9\r\n");
        settings.DBPath = dir.str();
        settings.DBFile = dbFile;
        settings.LogFileNo =
            startup::OpenLogFile(settings.Files, (dir / "Ostrand.log").string(), 1, 0);
    }
    bool PutBack(const std::string& name) {
        const bool ok = safety::PutBackSafetyCopy(settings, name, At(10, 0, 0), kept, error, space);
        startup::CloseFile(settings.Files, settings.LogFileNo);
        settings.LogFileNo = 0;
        return ok;
    }

    startup::RunSettings settings;
    safety::SafetyCopy copy, kept;
    std::string error;
    safety::SpaceQuery space = platform::QueryVolume;
};

TEST_F(PutBackTest, PutsTheCopyAndItsVersionBackAndKeepsWhatWasThere) {
    ASSERT_TRUE(PutBack(copy.name)) << error;
    EXPECT_EQ(Count(dbFile), 2);
    EXPECT_EQ(ReadFile(dir / "Version"), "8\r\n");
    EXPECT_EQ(Count(kept.path), 3);
    EXPECT_EQ(ReadFile(kept.versionPath), "9\r\n");
    EXPECT_EQ(Count(copy.path), 2) << "the copy itself stays";
    EXPECT_NE(ReadFile(dir / "Ostrand.log").find("{ } Safety copy: " + kept.path + "\r\n"),
              std::string::npos);
    EXPECT_FALSE(safety::FindInterruption(dbFile));
    EXPECT_FALSE(fs::exists(dbFile + ".putting-back"));
}

TEST_F(PutBackTest, ARefusedPutBackLeavesTheDatabaseAsItWas) {
    const std::pair<const char*, const char*> cases[] = {
        {"no such copy", "There is no safety copy named Ketrova-other.mdb"},
        {"newer database", "is version 12, newer than version 9"},
        {"copy fails its check", "fails the database check"},
        {"no room", "bytes are needed"},
        {"another program", " is open in "},
        {"another Ostrand", "Another Ostrand is working on"}};
    for (const auto& [what, said] : cases) {
        SCOPED_TRACE(what);
        Fresh();
        const std::string_view w = what;
        copy.name = w == "no such copy" ? "Ketrova-other.mdb" : copy.name;
        WriteFile(dir / "Version", w == "newer database" ? "12\r\n" : "9\r\n");
        if (w == "copy fails its check")
            WriteFile(copy.path, std::string(8192, 'x'));
        space = w == "no room" ? safety::SpaceQuery(safetytest::FullDisk) : platform::QueryVolume;
        std::optional<safetytest::HeldOpenElsewhere> other;
        if (w == "another program")
            other.emplace(dbFile);
        safety::OperationGuard busy(dbFile, "compact", At(9, 30, 0));
        ASSERT_TRUE(w != "another Ostrand" || busy.Begin(error));
        const std::string db = ReadFile(dbFile), version = ReadFile(dir / "Version");
        EXPECT_FALSE(PutBack(copy.name));
        EXPECT_THAT(error, testing::HasSubstr(said));
        EXPECT_TRUE(ReadFile(dbFile) == db);
        EXPECT_EQ(ReadFile(dir / "Version"), version);
        EXPECT_EQ(kept.path, "");
        EXPECT_EQ(safety::ListSafetyCopies(dbFile).size(), 1u);
        EXPECT_THAT(ReadFile(dir / "Ostrand.log"), testing::HasSubstr("{*} " + error));
    }
}

} // namespace
