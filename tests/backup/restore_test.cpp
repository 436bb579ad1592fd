// Restoring: where each entry goes, what happens to a file already there,
// what refuses to replace a database, and the restore command's boxes.

#include "archive_builder.h"
#include "backup/place.h"
#include "backup/restore.h"
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
        for (const char* folder : {"app", "db"})
            fs::create_directories(dir / folder);
        settings.AppPath = dir.str() + "app/";
        settings.RegistryFile = dir.str() + "registry.reg";
    }
    std::string Path(const std::string& name) const { return dir.str() + name; }
    std::string WriteArchive(const std::string& name, const std::vector<Entry>& entries) const {
        WriteFile(dir / name, Archive(entries));
        return Path(name);
    }
    int Restore(const std::string& arc, const RestoreOptions& opt) {
        util::UiServices ui;
        return RestoreSelected(settings, arc, List(arc), opt, ui, clock);
    }
    static std::vector<ArchiveEntry> List(const std::string& archive) {
        std::vector<ArchiveEntry> entries;
        BaR_ReadDirectory(archive, entries);
        for (auto& e : entries)
            e.Selected = 1;
        return entries;
    }
};

// The bytes of a small, whole database holding `text`.
std::string DatabaseBytes(const std::string& text) {
    TempDir dir;
    testsupport::MakeDatabase(dir.str() + "k.mdb",
                              {"CREATE TABLE T AS SELECT '" + text + "' AS x"});
    return ReadFile(dir / "k.mdb");
}

// Records every box and answers YesNo with a chosen answer, at first No.
struct ScriptedUi : util::UiServices {
    util::Answer answer = util::Answer::No;
    std::vector<std::string> texts;
    void SetBusy(bool on) override { texts.push_back(on ? "busy" : "idle"); }
    util::Answer MessageBox(const std::string& text, util::Buttons buttons, util::Icon,
                            const std::string&) override {
        texts.push_back(text);
        return buttons == util::Buttons::YesNo ? answer : util::Answer::OK;
    }
};

} // namespace

TEST(RestoreFile, WritesTheBytesInPlaceAndAFailureRemovesNothing) {
    RunFolder run;
    const std::string data = Pattern(250000, 4), t = run.Path("t.bin");
    const std::string arc = run.WriteArchive("a.kbx", {{"x", data}});
    // A longer file already there keeps its tail: the caller decides on deletion.
    WriteFile(t, std::string(250010, '#'));
    EXPECT_TRUE(BaR_Restore_File(run.settings, "  " + arc + "   ", t + "   ", 501, 250000));
    for (const auto& [start, length] : {std::pair{0, 10}, {250495, 10}, {501, -1}})
        EXPECT_FALSE(BaR_Restore_File(run.settings, arc, t, start, length)) << start;
    EXPECT_EQ(ReadFile(t), data + std::string(10, '#'));
}

TEST(RestoreAll, RestoresDatabaseEntriesOverOldFilesAndReportsAnyFailure) {
    RunFolder run;
    const std::string &mdb = run.mdb, version = run.Path("db/Version"),
                      letter = run.Path("db/l.doc");
    WriteFile(mdb, std::string(90000, 'o')); // longer than what comes back
    WriteFile(mdb + "-journal", "stale");
    const std::string fresh = DatabaseBytes("restored");
    const std::string arc =
        run.WriteArchive("a.kbx", {{mdb, fresh}, {letter, "not a database", 3}, {version, "9"}});
    EXPECT_TRUE(BaR_RestoreAll(run.settings, arc, run.clock));
    EXPECT_TRUE(ReadFile(mdb) == fresh);
    EXPECT_FALSE(fs::exists(mdb + "-journal")) << "a stale journal would roll back into it";
    EXPECT_EQ(ReadFile(version), "9");
    EXPECT_FALSE(fs::exists(letter));
    EXPECT_EQ(ReadFile(safety::ListSafetyCopies(mdb).at(0).path), std::string(90000, 'o'));

    // A failure does not stop the rest: data past the end, a name with no place
    // here, the archive itself (which must outlive its own restore).
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
}

TEST(RestoreTarget, NamesInOriginalAndRedirectedRestoresAndBoundedRenames) {
    const std::optional<std::string> no;
    // clang-format off
    const std::vector<std::tuple<std::string, const char*, std::optional<std::string>>> cases = {
        {"/home/anna/Ketrova/Ketrova.mdb    ", "", "/home/anna/Ketrova/Ketrova.mdb"},
        {std::string("/d/x\0\0\0", 7), "", "/d/x"}, // a name filled with NULs, not blanks
        {"C:\\Ketrova\\db\\Ketrova.mdb", "", no}, {"relative/file", "", no},
        {"/home/anna/../../etc/passwd", "", no}, {"/a/b/..\\..\\..\\x", "/r", no},
        {"C:\\Ketrova\\db\\Ketrova.mdb", "/r", "/r/Ketrova/db/Ketrova.mdb"},
        {"C:\\Ketrova\\db\\Ketrova.mdb", "/r/", "/r/Ketrova/db/Ketrova.mdb"},
        {"/home/anna/Ketrova.mdb", "/r", "/r/home/anna/Ketrova.mdb"},
        {"\\\\server\\share\\f.doc", "/r", "/r/server/share/f.doc"},
        {"Ketrova.mdb", "/r", "/r/Ketrova.mdb"}, {"C:\\Ketrova\\.\\db\\x", "/r", "/r/Ketrova/./db/x"},
        {"C:\\Ketrova\\..\\..\\etc\\passwd", "/r", no}, {"..\\outside", "/r", no},
        {"C:", "/r", no}, {"C:D:\\x", "/r", no}, {"C:\\Ketrova\\db\\", "/r", no}, {"        ", "/r", no}};
    // clang-format on
    for (const auto& [stored, redirect, expected] : cases)
        EXPECT_EQ(RestoreTargetName(stored, redirect), expected) << stored << " -> " << redirect;

    // Renaming takes the first free name, and the search ends.
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
    EXPECT_THAT(why, HasSubstr(".restored.0 to .restored." + last + " are all taken"));
}

TEST(RestoreSelected, RedirectStaysBelowItsFolderAndLinksTheDatabase) {
    RunFolder run;
    for (const char* folder : {"outside", "target/Letters"})
        fs::create_directories(run.dir / folder);
    fs::create_directory_symlink(run.dir / "outside", run.dir / "target/Ketrova");
    fs::create_symlink(run.dir / "outside/planted", run.dir / "target/Letters/planted");
    const std::string arc =
        run.WriteArchive("Ketrova.1.kbx", {{"C:\\Ketrova\\db\\KETROVA.MDB", Pattern(230000, 5)},
                                           {"D:\\Letters\\Welcome.doc", "hello", 2},
                                           {"C:\\" + std::string(256, 'n'), "too long", 4},
                                           {"C:\\Letters\\planted", "via file link"}});
    run.settings.AltDB = "Branch2";
    RestoreOptions opt;
    opt.RedirectFolder = run.Path("restored"); // no trailing separator; made on demand
    opt.LinkDatabase = true;
    EXPECT_EQ(run.Restore(arc, opt), 3);
    EXPECT_EQ(ReadFile(run.dir / "restored/Ketrova/db/KETROVA.MDB"), Pattern(230000, 5));
    const std::string log = ReadFile(run.dir / "app/Ostrand.log");
    EXPECT_THAT(log, HasSubstr("{*} File name too long: " + run.Path("restored/nnn")));
    EXPECT_THAT(log, HasSubstr(": 230000\r\n{ } 100k chunks           : 2\r\n"
                               "{ } Remainder             : 30000\r\n"));
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
    EXPECT_EQ(startup::RegReadString(startup::MachineRegistry(run.settings), startup::DatabasesKey,
                                     "Branch2"),
              run.Path("again/Ketrova/db/"));
}

TEST(PlaceRestoredFile, AFailureAtAnyStepOrAnUnsafeMomentLeavesTheOldFileAsItWas) {
    RunFolder run;
    const std::string targets[] = {run.mdb, run.Path("db/letter.doc")};
    const std::string olds[] = {DatabaseBytes("old"), "old letter"};
    const std::string arc =
        run.WriteArchive("a.kbx", {{targets[0], DatabaseBytes("new")}, {targets[1], "new"}});
    const auto entries = RunFolder::List(arc);
    Placed placed;
    auto place = [&](size_t i, const PlaceFault& fault) {
        return PlaceRestoredFile(run.settings, arc, targets[i], entries[i].StartPos,
                                 entries[i].FileLength, run.clock, placed, fault);
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

    // What refuses to replace a database, and that the user is told why: the
    // letter beside it still comes back.
    const std::vector<std::pair<std::function<std::shared_ptr<void>()>, const char*>> cases = {
        {[] { return std::make_shared<testsupport::FullDiskAt>(4096); }, "File too large"},
        {[&] {
             auto guard = std::make_shared<safety::OperationGuard>(run.mdb, "upgrade", run.clock);
             std::string error;
             EXPECT_TRUE(guard->Begin(error)) << error;
             return guard;
         },
         "Another Ostrand is working on"},
        {[&] { return std::make_shared<testsupport::HeldOpenElsewhere>(run.mdb); },
         "close it there first"},
    };
    RestoreOptions opt;
    opt.Existing = ExistingFiles::Overwrite;
    for (const auto& [arrange, cause] : cases) {
        SCOPED_TRACE(cause);
        WriteFile(run.mdb, olds[0]);
        std::shared_ptr<void> hold = arrange();
        EXPECT_EQ(run.Restore(arc, opt), 1);
        hold.reset();
        EXPECT_EQ(ReadFile(run.mdb), olds[0]);
        EXPECT_EQ(testsupport::ScratchLeft(run.dir / "db"), std::vector<std::string>{});
        EXPECT_THAT(startup::LastErrorLine(run.Path("app/Ostrand.log")), HasSubstr(cause));
    }
}

TEST(RestoreCommand, NoStopsBeforeAnyWriteAndTheSummarySaysWhatWasKeptAndWhy) {
    RunFolder run;
    const std::string arc = run.WriteArchive("a.kbx", {{"C:\\k\\f.txt", "f"}});
    RestoreOptions opt;
    opt.Existing = ExistingFiles::Overwrite;
    // An entry naming the archive itself is not restored over it.
    const std::string self = run.WriteArchive("s.kbx", {{run.Path("s.kbx"), "s"}});
    EXPECT_EQ(run.Restore(self, opt), 0);
    EXPECT_EQ(ReadFile(self), Archive({{self, "s"}}));
    opt.RedirectFolder = run.Path("out");
    ScriptedUi ui;
    auto entries = RunFolder::List(arc);

    EXPECT_FALSE(RunRestoreCommand(run.settings, arc, entries, opt, ui, run.clock).ran);
    EXPECT_FALSE(fs::exists(run.dir / "out"));

    ui.answer = util::Answer::Yes;
    fs::create_directories(run.dir / "out/k");
    WriteFile(run.dir / "out/k/f.txt", "old");
    entries.push_back(entries[0]);
    entries[1].StartPos = 1 << 20; // past the end of the archive
    entries.emplace_back();        // listed, not ticked
    const RestoreCounts c = RunRestoreCommand(run.settings, arc, entries, opt, ui, run.clock);
    EXPECT_EQ(ReadFile(run.dir / "out/k/f.txt"), "f");
    EXPECT_EQ(ReadFile(c.safetyCopies.at(0).path), "old");
    EXPECT_THAT(c.cause, HasSubstr("the file ends early while restoring"));
    EXPECT_EQ(std::vector(ui.texts.end() - 3, ui.texts.end() - 1),
              (std::vector<std::string>{"busy", "idle"}));
    EXPECT_EQ(ui.texts.back(),
              testsupport::JoinLines(
                  {"Restore completed from " + arc, "", "Files in found in archive : 3",
                   "Files attempted for restore : 2", "Files successfully restored : 1",
                   "Percent Successful: 50", "", "Safety copy: " + c.safetyCopies[0].path,
                   "Cause: " + c.cause, "", "Press OK to continue."},
                  "\n", false));
}
