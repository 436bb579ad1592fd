// Restoring: where each entry goes, what happens to a file already there,
// what refuses to replace a database, and the restore command's boxes.

#include "archive_builder.h"
#include "backup/place.h"
#include "backup/restore.h"
#include "db/connection.h"
#include "safety/operation_guard.h"
#include "startup/registry.h"
#include "startup/run_log.h"
#include "support/machine.h"
#include "support/temp_dir.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <tuple>

using namespace backup;
using namespace backuptest;
using testing::HasSubstr;
using testsupport::ReadFile;
using testsupport::TempDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

// A program folder with its own registry store and a database folder.
struct RunFolder {
    TempDir dir;
    startup::RunSettings settings;
    platform::FixedClock clock{{2026, 11, 23, 19, 2, 12}};
    std::string mdb = Path("db/Ketrova.mdb");
    RunFolder() {
        fs::create_directories(dir / "app");
        fs::create_directories(dir / "db");
        settings.AppPath = dir.str() + "app/";
        settings.RegistryFile = dir.str() + "registry.reg";
    }
    std::string Log() const { return ReadFile(dir / "app/Ostrand.log"); }
    std::string Path(const std::string& name) const { return dir.str() + name; }
    std::string WriteArchive(const std::string& name, const std::vector<Entry>& entries) const {
        WriteFile(dir / name, Archive(entries));
        return Path(name);
    }
    int Restore(const std::string& arc, const RestoreOptions& opt,
                std::vector<ArchiveEntry> e = {}) {
        util::UiServices ui;
        return RestoreSelected(settings, arc, e.empty() ? List(arc) : e, opt, ui, clock);
    }
    static std::vector<ArchiveEntry> List(const std::string& archive, int16_t tick = 1) {
        std::vector<ArchiveEntry> entries;
        BaR_ReadDirectory(archive, entries);
        for (auto& e : entries)
            e.Selected = tick;
        return entries;
    }
};

// The bytes of a small, whole database holding `text`, and what one holds.
std::string DatabaseBytes(const std::string& text) {
    TempDir dir;
    std::string error;
    db::CreateDatabaseFile(dir.str() + "k.mdb", error);
    db::Connection c;
    c.Open(dir.str() + "k.mdb");
    c.Execute("CREATE TABLE T (x)");
    c.Execute("INSERT INTO T VALUES ('" + text + "')");
    c.Close();
    return ReadFile(dir / "k.mdb");
}
std::string TextIn(const std::string& file) {
    db::Connection c;
    c.Open(file);
    return c.Scalar("SELECT x FROM T").AsText();
}

// Records every box and answers YesNo with a chosen answer.
struct ScriptedUi : util::UiServices {
    util::Answer answer = util::Answer::Yes;
    std::vector<std::string> titles, texts;
    util::Answer MessageBox(const std::string& text, util::Buttons buttons, util::Icon,
                            const std::string& title) override {
        titles.push_back(title);
        texts.push_back(text);
        return buttons == util::Buttons::YesNo ? answer : util::Answer::OK;
    }
};

} // namespace

TEST(RestoreFile, WritesTheLogBlockAndTheBytesInPlaceAndAFailureRemovesNothing) {
    RunFolder run;
    const std::string data = Pattern(250000, 4), t = run.Path("t.bin");
    const std::string arc = run.WriteArchive("a.kbx", {{"x", data}});
    // A longer file already there keeps its tail: the caller decides on deletion.
    WriteFile(t, std::string(250010, '#'));
    startup::RunSettings& s = run.settings;
    s.LogFileNo = startup::OpenLogFile(s.Files, s.AppPath + "Ostrand.log", 1, 0);
    EXPECT_TRUE(BaR_Restore_File(s, "  " + arc + "   ", t + "   ", 501, 250000));
    startup::CloseFile(s.Files, s.LogFileNo);
    s.LogFileNo = 0;
    EXPECT_EQ(run.Log(),
              testsupport::JoinLines(
                  {"--- BaR_Restore_File ------------------------------",
                   "{ } Restoring from        : " + arc, "{ } Restoring file        : " + t,
                   "{ } Start position        : 501", "{ } File length           : 250000",
                   "{ } 100k chunks           : 2", "{ } Remainder             : 50000"}));
    for (const auto& [start, length] : {std::pair{0, 10}, {250495, 10}, {501, -1}})
        EXPECT_FALSE(BaR_Restore_File(s, arc, t, start, length)) << start;
    EXPECT_EQ(ReadFile(t), data + std::string(10, '#'));
}

TEST(RestoreAll, RestoresDatabaseEntriesOverOldFilesAndReportsAnyFailure) {
    RunFolder run;
    const std::string& mdb = run.mdb;
    const std::string version = run.Path("db/Version"), letter = run.Path("db/letter.doc");
    WriteFile(mdb, std::string(90000, 'o')); // longer than what comes back
    WriteFile(mdb + "-journal", "stale");
    const std::string arc = run.WriteArchive(
        "a.kbx", {{mdb, DatabaseBytes("restored")}, {letter, "not a database", 3}, {version, "9"}});
    EXPECT_TRUE(BaR_RestoreAll(run.settings, arc, run.clock));
    EXPECT_EQ(TextIn(mdb), "restored");
    EXPECT_FALSE(fs::exists(mdb + "-journal")) << "a stale journal would roll back into it";
    EXPECT_EQ(ReadFile(version), "9");
    EXPECT_FALSE(fs::exists(letter));
    const auto kept = safety::ListSafetyCopies(mdb);
    ASSERT_EQ(kept.size(), 1u);
    EXPECT_EQ(ReadFile(kept[0].path), std::string(90000, 'o'));

    // Failures do not stop the rest: an entry pointing into the next header
    // and past the end, a name with no place on this system, and one naming
    // the archive itself, which must not be deleted before it is read.
    const std::string self = run.Path("s.kbx");
    const std::vector<std::pair<std::vector<Entry>, const char*>> failing = {
        {{{mdb, std::string(100, 'm'), 1, {}, 1101}, {version, "8"}}, "8"},
        {{{"C:\\Ketrova\\db\\Ketrova.mdb", "w"}, {version, "7"}}, "7"},
        {{{self, "s"}, {version, "6"}}, "6"}};
    for (const auto& [entries, restored] : failing) {
        EXPECT_FALSE(BaR_RestoreAll(run.settings, run.WriteArchive("s.kbx", entries), run.clock));
        EXPECT_EQ(ReadFile(version), restored);
        EXPECT_EQ(ReadFile(self), Archive(entries));
    }
    EXPECT_TRUE(BaR_RestoreAll(run.settings, run.Path("missing.kbx"), run.clock));
}

TEST(RestoreTarget, NamesInOriginalAndRedirectedRestores) {
    const std::optional<std::string> no;
    const std::vector<std::tuple<std::string, const char*, std::optional<std::string>>> cases = {
        {"/home/anna/Ketrova/Ketrova.mdb    ", "", "/home/anna/Ketrova/Ketrova.mdb"},
        {std::string("/d/x\0\0\0", 7), "", "/d/x"}, // a name filled with NULs, not blanks
        {"C:\\Ketrova\\db\\Ketrova.mdb", "", no},
        {"relative/file", "", no},
        {"/home/anna/../../etc/passwd", "", no},
        {"/a/b/..\\..\\..\\x", "/r", no},
        {"C:\\Ketrova\\db\\Ketrova.mdb", "/r", "/r/Ketrova/db/Ketrova.mdb"},
        {"C:\\Ketrova\\db\\Ketrova.mdb", "/r/", "/r/Ketrova/db/Ketrova.mdb"},
        {"/home/anna/Ketrova.mdb", "/r", "/r/home/anna/Ketrova.mdb"},
        {"\\\\server\\share\\f.doc", "/r", "/r/server/share/f.doc"},
        {"Ketrova.mdb", "/r", "/r/Ketrova.mdb"},
        {"C:\\Ketrova\\.\\db\\x", "/r", "/r/Ketrova/./db/x"},
        {"C:\\Ketrova\\..\\..\\etc\\passwd", "/r", no},
        {"..\\outside", "/r", no},
        {"C:", "/r", no},
        {"C:D:\\x", "/r", no},
        {"C:\\Ketrova\\db\\", "/r", no},
        {"        ", "/r", no}};
    for (const auto& [stored, redirect, expected] : cases)
        EXPECT_EQ(RestoreTargetName(stored, redirect), expected) << stored << " -> " << redirect;
}

TEST(RestoreTarget, RenameTakesTheFirstFreeNameAndTheSearchEnds) {
    TempDir dir;
    const std::string t = dir.str() + "Ketrova.mdb", last = std::to_string(kRenameTries - 1);
    EXPECT_EQ(RenamedTarget(t), t + ".restored");
    WriteFile(t + ".restored", "");
    fs::create_symlink(dir / "nowhere", t + ".restored.0"); // dangling, still taken
    for (int n = 1; n < kRenameTries - 1; ++n)
        WriteFile(t + ".restored." + std::to_string(n), "");
    EXPECT_EQ(RenamedTarget(t), t + ".restored." + last);
    WriteFile(t + ".restored." + last, "");
    std::string why;
    EXPECT_EQ(RenamedTarget(t, &why), std::nullopt);
    EXPECT_THAT(why, HasSubstr("are all taken"));
    // A name the file system cannot hold is no file that is there.
    EXPECT_EQ(RenamedTarget(dir.str() + std::string(250, 'n'), &why), std::nullopt);
    EXPECT_THAT(why, HasSubstr("too long"));
}

TEST(RestoreSelected, RedirectStaysBelowItsFolderAndLinksTheDatabase) {
    RunFolder run;
    fs::create_directories(run.dir / "outside");
    fs::create_directories(run.dir / "target/Letters");
    fs::create_directory_symlink(run.dir / "outside", run.dir / "target/Ketrova");
    fs::create_symlink(run.dir / "outside/planted", run.dir / "target/Letters/planted");
    const std::string arc =
        run.WriteArchive("Ketrova.1.kbx", {{"C:\\Ketrova\\db\\KETROVA.MDB", Pattern(230000, 5)},
                                           {"C:\\Ketrova\\..\\..\\..\\etc\\evil", "pwned", 4},
                                           {"D:\\Letters\\Welcome.doc", "hello", 2},
                                           {"C:\\" + std::string(256, 'n'), "too long", 4},
                                           {"C:\\Letters\\planted", "via file link"}});
    startup::RunSettings& s = run.settings;
    s.AltDB = "Branch2";
    RestoreOptions opt;
    opt.RedirectFolder = run.Path("restored"); // no trailing separator; made on demand
    opt.LinkDatabase = true;
    EXPECT_EQ(run.Restore(arc, opt), 3);
    const std::string db = run.Path("restored/Ketrova/db/");
    EXPECT_EQ(ReadFile(db + "KETROVA.MDB"), Pattern(230000, 5));
    EXPECT_EQ(ReadFile(run.dir / "restored/Letters/Welcome.doc"), "hello");
    EXPECT_THAT(run.Log(),
                HasSubstr("{*} Restore failed for    : C:\\Ketrova\\..\\..\\..\\etc\\evil\r\n"));
    EXPECT_THAT(run.Log(), HasSubstr("{*} File name too long: " + run.Path("restored/nnn")));
    const auto linked = [&] {
        return startup::RegReadString(startup::MachineRegistry(s), startup::DatabasesKey,
                                      "Branch2");
    };
    EXPECT_EQ(linked(), db);

    // Links inside the folder lead nowhere outside it: the one to a folder is
    // refused, the one to a file is replaced by a file of its own.
    opt.RedirectFolder = run.Path("target");
    opt.Existing = ExistingFiles::Overwrite;
    EXPECT_EQ(run.Restore(arc, opt), 2);
    EXPECT_TRUE(fs::is_empty(run.dir / "outside"));
    EXPECT_EQ(ReadFile(run.dir / "target/Letters/planted"), "via file link");

    // A redirect folder typed relative to the working folder still links the
    // database by its full path.
    const fs::path before = fs::current_path();
    fs::current_path(run.dir.path());
    opt.RedirectFolder = "again";
    EXPECT_EQ(run.Restore(arc, opt), 3);
    fs::current_path(before);
    EXPECT_EQ(linked(), run.Path("again/Ketrova/db/"));
}

TEST(PlaceRestoredFile, AFailureAtAnyStepLeavesTheOldFileAsItWas) {
    RunFolder run;
    const std::string targets[] = {run.mdb, run.Path("db/letter.doc")};
    const std::string olds[] = {DatabaseBytes("old"), "old letter"};
    const std::string arc =
        run.WriteArchive("a.kbx", {{targets[0], DatabaseBytes("new")}, {targets[1], "new"}});
    const auto entries = RunFolder::List(arc);
    Placed placed;
    auto place = [&](size_t i, const PlaceFault& fault) {
        return PlaceRestoredFile(run.settings, arc, targets[i], entries[i].StartPos,
                                 entries[i].FileLength, run.clock, placed, nullptr, fault);
    };
    for (PlaceStep step : {PlaceStep::Write, PlaceStep::Flush, PlaceStep::Check, PlaceStep::Keep,
                           PlaceStep::Replace}) {
        for (size_t i = 0; i < 2; ++i) {
            SCOPED_TRACE(targets[i] + " step " + std::to_string(static_cast<int>(step)));
            WriteFile(targets[i], olds[i]);
            // Only a database is checked; the letter never meets that step.
            const bool expected = i == 1 && step == PlaceStep::Check;
            EXPECT_EQ(place(i, [&](PlaceStep s) { return s == step; }), expected) << placed.error;
            EXPECT_EQ(ReadFile(targets[i]), expected ? "new" : olds[i]);
            EXPECT_EQ(testsupport::ScratchLeft(run.dir / "db"), std::vector<std::string>{});
        }
    }
    // Unhindered, the old database is kept whole before the new one takes its name.
    ASSERT_TRUE(place(0, {}));
    EXPECT_EQ(TextIn(targets[0]), "new");
    EXPECT_EQ(TextIn(placed.kept.path), "old");
    EXPECT_THAT(placed.kept.path, testing::StartsWith(run.Path(
                                      "db/SafetyCopies/Ketrova-2026-11-23-190212-before-restore")));
}

// What refuses to replace a database, and that the user is told why.
TEST(RestoreSelected, ADatabaseIsReplacedOnlyWhenItIsSafe) {
    RunFolder run;
    const std::string old = DatabaseBytes("old");
    using Hold = std::shared_ptr<void>;
    const std::vector<std::tuple<std::string, std::function<Hold()>, const char*>> cases = {
        {Pattern(9000), [] { return Hold(); }, "did not pass the engine's check"},
        {DatabaseBytes("new"), [] { return std::make_shared<testsupport::FullDiskAt>(4096); },
         "File too large"},
        {DatabaseBytes("new"),
         [&] {
             auto guard = std::make_shared<safety::OperationGuard>(run.mdb, "upgrade", run.clock);
             std::string error;
             EXPECT_TRUE(guard->Begin(error)) << error;
             return guard;
         },
         "Another Ostrand is working on"},
        {DatabaseBytes("new"),
         [&] { return std::make_shared<testsupport::HeldOpenElsewhere>(run.mdb); },
         "close it there first"},
    };
    RestoreOptions opt;
    opt.Existing = ExistingFiles::Overwrite;
    for (const auto& [stored, arrange, cause] : cases) {
        SCOPED_TRACE(cause);
        WriteFile(run.mdb, old);
        const std::string arc = run.WriteArchive("a.kbx", {{run.mdb, stored}});
        Hold hold = arrange();
        EXPECT_EQ(run.Restore(arc, opt), 0);
        hold.reset();
        EXPECT_EQ(ReadFile(run.mdb), old);
        EXPECT_EQ(testsupport::ScratchLeft(run.dir / "db"), std::vector<std::string>{});
        EXPECT_THAT(startup::LastErrorLine(run.Path("app/Ostrand.log")), HasSubstr(cause));
    }
}

TEST(RestoreCommand, BoxesInOrderAndNoStopsBeforeAnyWrite) {
    RunFolder run;
    const std::string arc = run.WriteArchive("a.kbx", {{"C:\\k\\f.txt", "f"}});
    RestoreOptions opt;
    opt.RedirectFolder = run.Path("out");
    ScriptedUi ui;
    auto command = [&](const std::string& archive, const std::vector<ArchiveEntry>& entries) {
        return RunRestoreCommand(run.settings, archive, entries, opt, ui, run.clock);
    };
    // Nothing to restore, or No to the question: nothing is written.
    ui.answer = util::Answer::No;
    for (const auto& [archive, entries] : {std::pair{std::string(), RunFolder::List(arc)},
                                           {arc, {}},
                                           {arc, RunFolder::List(arc, 0)},
                                           {arc, RunFolder::List(arc)}})
        EXPECT_FALSE(command(archive, entries).ran);
    EXPECT_EQ(ui.titles, (std::vector<std::string>{"Select Archive", "No Files", "No Files",
                                                   "Restore Initiated"}));
    EXPECT_THAT(ui.texts.back(),
                HasSubstr("it will NOT be linked as the active database.\n"
                          "Restored files will be renamed if file already exists.\n"
                          "Restore will be redirected to " +
                          opt.RedirectFolder));
    EXPECT_FALSE(fs::exists(run.dir / "out"));

    ui.answer = util::Answer::Yes;
    RestoreCounts c = command(arc, RunFolder::List(arc));
    EXPECT_TRUE(c.ran && c.found == 1 && c.attempted == 1 && c.restored == 1);
    EXPECT_EQ(ReadFile(run.dir / "out/k/f.txt"), "f");

    // Overwriting keeps what was there and says where, and a failure says why.
    opt.Existing = ExistingFiles::Overwrite;
    opt.LinkDatabase = true;
    auto entries = RunFolder::List(arc);
    entries.push_back(entries[0]);
    entries[1].StartPos = 1 << 20; // past the end of the archive
    entries.emplace_back();        // listed, not ticked
    c = command(arc, entries);
    ASSERT_EQ(c.safetyCopies.size(), 1u);
    EXPECT_EQ(ReadFile(c.safetyCopies[0].path), "f");
    EXPECT_THAT(c.cause, HasSubstr("the file ends early while restoring"));
    EXPECT_THAT(ui.texts[ui.texts.size() - 2],
                HasSubstr("it will be linked as the active database.\n"
                          "Existing files will be overwrittten.\n"));
    EXPECT_EQ(ui.texts.back(),
              testsupport::JoinLines(
                  {"Restore completed from " + arc, "", "Files in found in archive : 3",
                   "Files attempted for restore : 2", "Files successfully restored : 1",
                   "Percent Successful: 50", "", "Safety copy: " + c.safetyCopies[0].path,
                   "Cause: " + c.cause, "", "Press OK to continue."},
                  "\n", false));
}
