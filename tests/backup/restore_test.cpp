// Restoring: the engine's single-file and restore-all operations, where the
// restore procedure puts each entry, what it does with files already there,
// and its boxes.

#include "archive_builder.h"
#include "backup/bar.h"
#include "backup/restore.h"
#include "safety/safety_copy.h"
#include "startup/registry.h"
#include "startup/run_log.h"
#include "support/temp_dir.h"

#include "backup/place.h"
#include "db/connection.h"
#include "safety/operation_guard.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <memory>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace backup;
using namespace backuptest;
using testsupport::ReadFile;
using testsupport::TempDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

// A program folder with its own registry store, as a run would have it.
struct RunFolder {
    TempDir dir;
    startup::RunSettings settings;
    platform::FixedClock clock{{2026, 11, 23, 19, 2, 12}};
    RunFolder() {
        fs::create_directory(dir / "app");
        settings.AppPath = dir.str() + "app/";
        settings.RegistryFile = dir.str() + "registry.reg";
    }
    std::string Log() const { return ReadFile(dir / "app/Ostrand.log"); }
    std::string Path(const std::string& name) const { return dir.str() + name; }
    // Writes an archive into the folder and gives its path.
    std::string WriteArchive(const std::string& name, const std::vector<Entry>& entries) const {
        WriteFile(dir / name, Archive(entries));
        return Path(name);
    }
};

// The bytes of a small, whole database holding `text`.
std::string DatabaseBytes(const std::string& text) {
    TempDir dir;
    const std::string file = dir.str() + "k.mdb";
    std::string error;
    db::CreateDatabaseFile(file, error);
    db::Connection c;
    c.Open(file);
    c.Execute("CREATE TABLE T (x)");
    c.Execute("INSERT INTO T VALUES ('" + text + "')");
    c.Close();
    return ReadFile(file);
}

// What such a database holds.
std::string TextIn(const std::string& file) {
    db::Connection c;
    c.Open(file);
    return c.Scalar("SELECT x FROM T").AsText();
}

std::vector<ArchiveEntry> List(const std::string& archive, bool tickAll = true) {
    std::vector<ArchiveEntry> entries;
    BaR_ReadDirectory(archive, entries);
    for (auto& e : entries) {
        e.Selected = tickAll ? 1 : 0;
    }
    return entries;
}

// Records every box and answers YesNo with a chosen answer.
class ScriptedUi : public util::UiServices {
public:
    util::Answer answer = util::Answer::Yes;
    std::vector<std::string> titles;
    std::vector<std::string> texts;
    std::vector<bool> busy;
    int events = 0;
    void DoEvents() override { ++events; }
    void SetBusy(bool on) override { busy.push_back(on); }
    util::Answer MessageBox(const std::string& text, util::Buttons buttons, util::Icon,
                            const std::string& title) override {
        titles.push_back(title);
        texts.push_back(text);
        return buttons == util::Buttons::YesNo ? answer : util::Answer::OK;
    }
};

} // namespace

TEST(RestoreFile, WritesTheLogBlockAndTheBytesInPlace) {
    RunFolder run;
    const std::string data = Pattern(250000, 4);
    const std::string arc = run.WriteArchive("a.kbx", {{"x", data}});
    // A longer file already there keeps its tail: the caller decides on deletion.
    WriteFile(run.dir / "t.bin", std::string(250010, '#'));
    startup::RunSettings& s = run.settings;
    s.LogFileNo = startup::OpenLogFile(s.Files, s.AppPath + "Ostrand.log", 1, 0);
    EXPECT_TRUE(BaR_Restore_File(s, "  " + arc + "   ", run.Path("t.bin") + "   ", 501, 250000));
    startup::CloseFile(s.Files, s.LogFileNo);
    s.LogFileNo = 0;
    EXPECT_EQ(ReadFile(run.dir / "t.bin"), data + std::string(10, '#'));
    EXPECT_EQ(run.Log(), "--- BaR_Restore_File ------------------------------\r\n"
                         "{ } Restoring from        : " +
                             arc +
                             "\r\n"
                             "{ } Restoring file        : " +
                             run.Path("t.bin") +
                             "\r\n"
                             "{ } Start position        : 501\r\n"
                             "{ } File length           : 250000\r\n"
                             "{ } 100k chunks           : 2\r\n"
                             "{ } Remainder             : 50000\r\n");
}

TEST(RestoreAll, RestoresDatabaseEntriesOverOldFilesAndReportsAnyFailure) {
    RunFolder run;
    fs::create_directory(run.dir / "db");
    const std::string mdb = run.Path("db/Ketrova.mdb");
    const std::string version = run.Path("db/Version");
    const std::string letter = run.Path("db/letter.doc");
    WriteFile(mdb, std::string(90000, 'o')); // longer than what comes back
    WriteFile(mdb + "-journal", "stale");
    const std::string arc = run.WriteArchive(
        "a.kbx", {{mdb, DatabaseBytes("restored")}, {letter, "not a database", 3}, {version, "9"}});
    EXPECT_TRUE(BaR_RestoreAll(run.settings, arc, run.clock));
    EXPECT_EQ(TextIn(mdb), "restored");
    EXPECT_FALSE(fs::exists(mdb + "-journal")) << "a stale journal would roll back into it";
    EXPECT_EQ(ReadFile(version), "9");
    EXPECT_FALSE(fs::exists(letter));
    // What was there is kept, never deleted.
    const auto kept = safety::ListSafetyCopies(mdb);
    ASSERT_EQ(kept.size(), 1u);
    EXPECT_EQ(ReadFile(kept[0].path), std::string(90000, 'o'));

    // The first entry's data is cut short: it fails, the second still comes back.
    std::string broken;
    RawHeader h;
    h.name = mdb;
    h.length = 100;
    h.start = 501 + 600; // points into the next entry's header and past the end
    AppendRaw(broken, h, std::string(100, 'm'));
    AppendFile(broken, version, "8");
    WriteFile(run.dir / "b.kbx", broken);
    EXPECT_FALSE(BaR_RestoreAll(run.settings, run.Path("b.kbx"), run.clock));
    EXPECT_EQ(ReadFile(version), "8");

    // A name with no place on this system fails instead of landing in the working folder.
    EXPECT_FALSE(BaR_RestoreAll(run.settings,
                                run.WriteArchive("w.kbx", {{"C:\\Ketrova\\db\\Ketrova.mdb", "w"}}),
                                run.clock));
    // An entry naming the archive itself must not delete it before it is read.
    const std::string self = run.WriteArchive("s.kbx", {{run.Path("s.kbx"), "s"}, {version, "7"}});
    EXPECT_FALSE(BaR_RestoreAll(run.settings, self, run.clock));
    EXPECT_EQ(ReadFile(self), Archive({{self, "s"}, {version, "7"}}));
    EXPECT_EQ(ReadFile(version), "7");
    EXPECT_TRUE(BaR_RestoreAll(run.settings, run.Path("missing.kbx"), run.clock));
}

TEST(RestoreTarget, NamesInOriginalAndRedirectedRestores) {
    struct Case {
        const char* stored;
        const char* redirect;
        std::optional<std::string> expected;
    };
    const std::vector<Case> cases = {
        {"/home/anna/Ketrova/Ketrova.mdb    ", "", "/home/anna/Ketrova/Ketrova.mdb"},
        {"C:\\Ketrova\\db\\Ketrova.mdb", "", std::nullopt},
        {"relative/file", "", std::nullopt},
        {"/home/anna/../../etc/passwd", "", std::nullopt},
        {"C:\\Ketrova\\db\\Ketrova.mdb", "/r", "/r/Ketrova/db/Ketrova.mdb"},
        {"C:\\Ketrova\\db\\Ketrova.mdb", "/r/", "/r/Ketrova/db/Ketrova.mdb"},
        {"/home/anna/Ketrova.mdb", "/r", "/r/home/anna/Ketrova.mdb"},
        {"\\\\server\\share\\f.doc", "/r", "/r/server/share/f.doc"},
        {"Ketrova.mdb", "/r", "/r/Ketrova.mdb"},
        {"C:\\Ketrova\\.\\db\\x", "/r", "/r/Ketrova/./db/x"},
        {"C:\\Ketrova\\..\\..\\etc\\passwd", "/r", std::nullopt},
        {"..\\outside", "/r", std::nullopt},
        {"/a/b/..\\..\\..\\x", "/r", std::nullopt},
        {"C:", "/r", std::nullopt},
        {"C:D:\\x", "/r", std::nullopt},
        {"C:\\Ketrova\\db\\", "/r", std::nullopt},
        {"        ", "/r", std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.stored) + " -> " + c.redirect);
        EXPECT_EQ(RestoreTargetName(c.stored, c.redirect), c.expected);
    }
    // A name field a writer filled with NULs instead of blanks.
    EXPECT_EQ(RestoreTargetName(std::string("/d/x\0\0\0", 7), ""), "/d/x");
}

TEST(RestoreTarget, RenameTakesTheFirstFreeNameAndTheSearchEnds) {
    TempDir dir;
    const std::string t = dir.str() + "Ketrova.mdb";
    EXPECT_EQ(RenamedTarget(t), t + ".restored");
    WriteFile(t + ".restored", "");
    EXPECT_EQ(RenamedTarget(t), t + ".restored.0");
    WriteFile(t + ".restored.0", "");
    fs::create_symlink(dir / "nowhere", t + ".restored.1"); // dangling, still taken
    EXPECT_EQ(RenamedTarget(t), t + ".restored.2");
    for (int n = 2; n < kRenameTries; ++n) {
        WriteFile(t + ".restored." + std::to_string(n), "");
    }
    std::string why;
    EXPECT_EQ(RenamedTarget(t, &why), std::nullopt);
    EXPECT_NE(why.find("are all taken"), std::string::npos) << why;

    // A name the file system cannot hold is no file that is there.
    const std::string tooLong = dir.str() + std::string(250, 'n');
    EXPECT_EQ(LookAtName(tooLong + "nnnnnn", &why), NameState::Unusable);
    EXPECT_EQ(RenamedTarget(tooLong, &why), std::nullopt);
    EXPECT_NE(why.find("too long"), std::string::npos) << why;
}

TEST(RestoreSelected, ExistingFilesAreSkippedRenamedOrOverwritten) {
    RunFolder run;
    fs::create_directory(run.dir / "orig");
    const std::string a1 = run.Path("orig/a.txt");
    const std::string b1 = run.Path("orig/b.txt");
    const std::string arc = run.WriteArchive("x.kbx", {{a1, "new a", 4}, {b1, "new b", 4}});
    auto entries = List(arc);
    ScriptedUi ui;

    WriteFile(a1, "old a, and longer");
    RestoreOptions opt;
    opt.Existing = ExistingFiles::Skip;
    EXPECT_EQ(RestoreSelected(run.settings, arc, entries, opt, ui, run.clock), 1);
    EXPECT_EQ(ReadFile(a1), "old a, and longer");
    EXPECT_EQ(ReadFile(b1), "new b");
    EXPECT_EQ(ui.events, 2);
    EXPECT_EQ(run.settings.LogFileNo, 0);

    opt.Existing = ExistingFiles::Rename;
    WriteFile(a1 + ".restored", "taken");
    EXPECT_EQ(RestoreSelected(run.settings, arc, entries, opt, ui, run.clock), 2);
    EXPECT_EQ(ReadFile(a1), "old a, and longer");
    EXPECT_EQ(ReadFile(a1 + ".restored.0"), "new a");
    EXPECT_EQ(ReadFile(b1 + ".restored"), "new b");
    EXPECT_NE(run.Log().find("{ } Restore succeeded for : " + a1 + ".restored.0\r\n"),
              std::string::npos);

    opt.Existing = ExistingFiles::Overwrite;
    entries[1].Selected = 0;
    EXPECT_EQ(RestoreSelected(run.settings, arc, entries, opt, ui, run.clock), 1);
    EXPECT_EQ(ReadFile(a1), "new a") << "no tail of the longer old file";
    // The log is fresh for each run and holds this run only.
    EXPECT_EQ(run.Log().find(".restored"), std::string::npos);
}

TEST(RestoreSelected, WindowsArchiveRedirectedBelowAFolderWithoutTrailingSeparator) {
    RunFolder run;
    const std::string arc =
        run.WriteArchive("Ketrova.1.kbx", {{"C:\\Ketrova\\db\\KETROVA.MDB", Pattern(230000, 5)},
                                           {"C:\\Ketrova\\db\\Version", "9"},
                                           {"C:\\Ketrova\\..\\..\\..\\etc\\evil", "pwned", 4},
                                           {"D:\\Letters\\Welcome.doc", "hello", 2},
                                           {"C:\\" + std::string(256, 'n'), "too long", 4}});
    auto entries = List(arc);
    ASSERT_EQ(entries.size(), 5u);
    EXPECT_EQ(entries[1].StartPos, 501 + 230000 + 500);
    EXPECT_EQ(entries[1].FileDate, "3/14/2009 4:05:06 PM" + std::string(10, ' '));
    startup::RunSettings& s = run.settings;
    s.AltDB = "Branch2";
    RestoreOptions opt;
    opt.RedirectFolder = run.Path("restored"); // no trailing separator; created on demand
    opt.LinkDatabase = true;
    ScriptedUi ui;
    EXPECT_EQ(RestoreSelected(s, arc, entries, opt, ui, run.clock), 3);
    const std::string db = run.Path("restored/Ketrova/db/");
    EXPECT_EQ(ReadFile(db + "KETROVA.MDB"), Pattern(230000, 5));
    EXPECT_EQ(ReadFile(db + "Version"), "9");
    EXPECT_EQ(ReadFile(run.dir / "restored/Letters/Welcome.doc"), "hello");
    for (const auto& p : fs::recursive_directory_iterator(run.dir.path())) {
        EXPECT_NE(p.path().filename(), "evil") << p.path();
    }
    const std::string log = run.Log();
    EXPECT_NE(log.find("{*} Restore failed for    : C:\\Ketrova\\..\\..\\..\\etc\\evil\r\n"),
              std::string::npos);
    EXPECT_NE(log.find("{*} File name too long: " + run.Path("restored/") + std::string(256, 'n')),
              std::string::npos);
    EXPECT_NE(log.find("{ } Restore succeeded for : " + db + "KETROVA.MDB\r\n"), std::string::npos);
    EXPECT_EQ(startup::RegReadString(startup::MachineRegistry(s), startup::DatabasesKey, "Branch2"),
              db);

    // A redirect folder typed relative to the working folder still links the
    // database by its full path.
    const fs::path before = fs::current_path();
    fs::current_path(run.dir.path());
    opt.RedirectFolder = "again";
    opt.Existing = ExistingFiles::Overwrite;
    entries[2].Selected = 0;
    entries[4].Selected = 0;
    EXPECT_EQ(RestoreSelected(s, arc, entries, opt, ui, run.clock), 3);
    fs::current_path(before);
    EXPECT_EQ(startup::RegReadString(startup::MachineRegistry(s), startup::DatabasesKey, "Branch2"),
              run.Path("again/Ketrova/db/"));
}

TEST(RestoreSelected, RedirectNeverFollowsALinkOutOfTheFolder) {
    RunFolder run;
    fs::create_directories(run.dir / "outside");
    fs::create_directories(run.dir / "target");
    fs::create_directory_symlink(run.dir / "outside", run.dir / "target/Ketrova");
    fs::create_symlink(run.dir / "outside/planted", run.dir / "target/planted");
    const std::string arc =
        run.WriteArchive("a.kbx", {{"C:\\Ketrova\\db\\Ketrova.mdb", "via folder link"},
                                   {"C:\\planted", "via file link"}});
    auto entries = List(arc);
    RestoreOptions opt;
    opt.RedirectFolder = run.Path("target");
    opt.Existing = ExistingFiles::Overwrite;
    ScriptedUi ui;
    // The file link is replaced by a file of its own; nothing lands outside.
    EXPECT_EQ(RestoreSelected(run.settings, arc, entries, opt, ui, run.clock), 1);
    EXPECT_TRUE(fs::is_empty(run.dir / "outside"));
    EXPECT_FALSE(fs::is_symlink(run.dir / "target/planted"));
    EXPECT_EQ(ReadFile(run.dir / "target/planted"), "via file link");
}

TEST(PlaceRestoredFile, AFailureAtAnyStepLeavesTheOldFileAsItWas) {
    RunFolder run;
    fs::create_directory(run.dir / "db");
    const std::string targets[] = {run.Path("db/Ketrova.mdb"), run.Path("db/letter.doc")};
    const std::string arc =
        run.WriteArchive("a.kbx", {{targets[0], DatabaseBytes("new")}, {targets[1], "new"}});
    const auto entries = List(arc);
    const std::string olds[] = {DatabaseBytes("old"), "old letter"};
    for (PlaceStep step : {PlaceStep::Write, PlaceStep::Flush, PlaceStep::Check, PlaceStep::Keep,
                           PlaceStep::Replace}) {
        for (size_t i = 0; i < 2; ++i) {
            SCOPED_TRACE(targets[i] + " step " + std::to_string(static_cast<int>(step)));
            WriteFile(targets[i], olds[i]);
            Placed placed;
            const bool placedIt = PlaceRestoredFile(
                run.settings, arc, targets[i], entries[i].StartPos, entries[i].FileLength,
                run.clock, placed, [&](PlaceStep s) { return s == step; });
            // Only a database is checked; the letter never meets that step.
            const bool expected = i == 1 && step == PlaceStep::Check;
            EXPECT_EQ(placedIt, expected) << placed.error;
            EXPECT_EQ(ReadFile(targets[i]), expected ? "new" : olds[i]);
            EXPECT_EQ(testsupport::ScratchLeft(run.dir / "db"), std::vector<std::string>{});
        }
    }
    // Unhindered, the old database is kept whole before the new one takes its name.
    Placed placed;
    ASSERT_TRUE(PlaceRestoredFile(run.settings, arc, targets[0], entries[0].StartPos,
                                  entries[0].FileLength, run.clock, placed));
    EXPECT_EQ(TextIn(targets[0]), "new");
    EXPECT_EQ(TextIn(placed.kept.path), "old");
    EXPECT_EQ(placed.kept.path.rfind(
                  run.Path("db/SafetyCopies/Ketrova-2026-11-23-190212-before-restore"), 0),
              0u);
}

// What refuses to replace a database, and that the user is told why.
TEST(RestoreSelected, ADatabaseIsReplacedOnlyWhenItIsSafe) {
    RunFolder run;
    fs::create_directory(run.dir / "db");
    const std::string mdb = run.Path("db/Ketrova.mdb");
    const std::string old = DatabaseBytes("old");
    using Undo = std::function<void()>;
    struct Case {
        const char* name;
        std::string stored; // the archive's bytes of the database
        std::function<Undo()> arrange;
        const char* cause;
    };
    const Case cases[] = {
        {"damaged in the archive", Pattern(9000), [] { return Undo([] {}); },
         "did not pass the engine's check"},
        {"a disk that takes no more", DatabaseBytes("new"),
         [] {
             rlimit was{};
             getrlimit(RLIMIT_FSIZE, &was);
             rlimit low = was;
             low.rlim_cur = 4096;
             std::signal(SIGXFSZ, SIG_IGN);
             setrlimit(RLIMIT_FSIZE, &low);
             return Undo([was] { setrlimit(RLIMIT_FSIZE, &was); });
         },
         "File too large"},
        {"no safety-copy folder", DatabaseBytes("new"),
         [&] {
             WriteFile(run.dir / "db/SafetyCopies", "in the way");
             return Undo([&] { fs::remove(run.dir / "db/SafetyCopies"); });
         },
         "cannot be made"},
        {"another run of Ostrand", DatabaseBytes("new"),
         [&] {
             auto guard = std::make_shared<safety::OperationGuard>(mdb, "upgrade", run.clock);
             std::string error;
             EXPECT_TRUE(guard->Begin(error)) << error;
             return Undo([guard] { guard->End(); });
         },
         "Another Ostrand is working on"},
        {"open in another program", DatabaseBytes("new"),
         [&] {
             int ready[2];
             EXPECT_EQ(pipe(ready), 0);
             const pid_t child = fork();
             if (child == 0) {
                 if (open(mdb.c_str(), O_RDONLY) >= 0 && write(ready[1], "!", 1) == 1) {
                     pause(); // holding the database open until it is killed
                 }
                 _exit(1);
             }
             char byte;
             EXPECT_EQ(read(ready[0], &byte, 1), 1);
             return Undo([child] {
                 kill(child, SIGKILL);
                 waitpid(child, nullptr, 0);
             });
         },
         "close it there first"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WriteFile(mdb, old);
        const std::string arc = run.WriteArchive("a.kbx", {{mdb, c.stored}});
        RestoreOptions opt;
        opt.Existing = ExistingFiles::Overwrite;
        ScriptedUi ui;
        const Undo undo = c.arrange();
        const int restored = RestoreSelected(run.settings, arc, List(arc), opt, ui, run.clock);
        undo();
        EXPECT_EQ(restored, 0);
        EXPECT_EQ(ReadFile(mdb), old);
        EXPECT_EQ(testsupport::ScratchLeft(run.dir / "db"), std::vector<std::string>{});
        EXPECT_NE(startup::LastErrorLine(run.dir.str() + "app/Ostrand.log").find(c.cause),
                  std::string::npos)
            << run.Log();
    }
}

TEST(RestoreBoxes, ConfirmationAndSummaryTexts) {
    std::vector<ArchiveEntry> entries(3);
    entries[0].Selected = 1;
    entries[2].Selected = -1;
    RestoreOptions opt;
    opt.Existing = ExistingFiles::Overwrite;
    opt.RedirectFolder = "/srv/restore";
    opt.LinkDatabase = true;
    EXPECT_EQ(RestoreConfirmationText("/b/Ketrova.1.kbx", entries, opt),
              "Starting restore from /b/Ketrova.1.kbx\n\n"
              "Total files in found in archive : 3\n"
              "Total files attempting to restore : 2\n\n"
              "If database is restored it will be linked as the active database.\n"
              "Existing files will be overwrittten.\n"
              "Restore will be redirected to /srv/restore\n\n"
              "Do you wish to proceed with this restore?");
    opt = RestoreOptions{};
    opt.Existing = ExistingFiles::Skip;
    EXPECT_NE(RestoreConfirmationText("a", entries, opt)
                  .find("NOT be linked as the active database.\nExisting files will be skipped.\n"
                        "Files will be restored to original location.\n"),
              std::string::npos);
    EXPECT_EQ(RestoreSummaryText("/b/Ketrova.1.kbx", entries, 3, 2),
              "Restore completed from /b/Ketrova.1.kbx\n\n"
              "Files in found in archive : 3\n"
              "Files attempted for restore : 3\n"
              "Files successfully restored : 2\n"
              "Percent Successful: 67\n\n"
              "Press OK to continue.");
    EXPECT_NE(RestoreSummaryText("a", entries, 0, 0).find("Percent Successful: 0\n"),
              std::string::npos);
}

TEST(RestoreCommand, BoxesInOrderAndNoStopsBeforeAnyWrite) {
    RunFolder run;
    const std::string arc = run.WriteArchive("a.kbx", {{"C:\\k\\f.txt", "f"}});
    RestoreOptions opt;
    opt.RedirectFolder = run.Path("out");

    ScriptedUi none;
    EXPECT_FALSE(RunRestoreCommand(run.settings, "", List(arc), opt, none, run.clock).ran);
    EXPECT_FALSE(RunRestoreCommand(run.settings, arc, {}, opt, none, run.clock).ran);
    EXPECT_FALSE(RunRestoreCommand(run.settings, arc, List(arc, false), opt, none, run.clock).ran);
    EXPECT_EQ(none.titles, (std::vector<std::string>{"Select Archive", "No Files", "No Files"}));
    EXPECT_EQ(none.texts,
              (std::vector<std::string>{"An archive file has not been selected.",
                                        "No files found in currently selected archive file.",
                                        "No files were selected for restore."}));

    ScriptedUi no;
    no.answer = util::Answer::No;
    RestoreCounts c = RunRestoreCommand(run.settings, arc, List(arc), opt, no, run.clock);
    EXPECT_FALSE(c.ran);
    EXPECT_EQ(no.titles, std::vector<std::string>{"Restore Initiated"});
    EXPECT_FALSE(fs::exists(run.dir / "out"));

    ScriptedUi yes;
    c = RunRestoreCommand(run.settings, arc, List(arc), opt, yes, run.clock);
    EXPECT_TRUE(c.ran && c.found == 1 && c.attempted == 1 && c.restored == 1);
    EXPECT_EQ(yes.titles, (std::vector<std::string>{"Restore Initiated", "Restore Completed"}));
    EXPECT_EQ(yes.busy, (std::vector<bool>{true, false}));
    EXPECT_EQ(ReadFile(run.dir / "out/k/f.txt"), "f");

    // Overwriting keeps what was there and says where, and a failure says why.
    opt.Existing = ExistingFiles::Overwrite;
    auto entries = List(arc);
    entries.push_back(entries[0]);
    entries[1].StartPos = 1 << 20; // past the end of the archive
    c = RunRestoreCommand(run.settings, arc, entries, opt, yes, run.clock);
    ASSERT_EQ(c.safetyCopies.size(), 1u);
    EXPECT_EQ(ReadFile(c.safetyCopies[0].path), "f");
    EXPECT_NE(c.cause.find("the file ends early while restoring"), std::string::npos) << c.cause;
    const std::string& box = yes.texts.back();
    EXPECT_NE(box.find("Successful: 50\n\nSafety copy: " + c.safetyCopies[0].path + "\nCause: "),
              std::string::npos);
    EXPECT_TRUE(box.ends_with("\n\nPress OK to continue."));
}
