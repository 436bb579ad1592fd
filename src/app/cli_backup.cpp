// ostrand-cli archive list|add|restore: the suite's backup archives without
// the restore window.

#include "app/cli_common.h"
#include "backup/bar.h"
#include "backup/restore.h"
#include "platform/clock.h"
#include "safety/safety_copy.h"
#include "util/paths.h"
#include "util/strings.h"

#include <iostream>
#include <memory>
#include <vector>

namespace cli {

namespace {

struct ArchiveOptions {
    std::string archive;
    std::string file;
    int fileType = backup::TypeOther;
    std::string to;
    std::string existing = "rename";
    bool link = false;
    std::vector<int> numbers;
};

// The restore's boxes on a terminal: the command line already said yes, the
// summary is printed by the command once the run is over, anything else is a
// complaint on stderr. Each entry lets events run once, which is where the
// bar moves.
class RestoreUi final : public util::UiServices {
public:
    explicit RestoreUi(int ticked) : ticked_(ticked) {}
    void DoEvents() override {
        ++done_;
        progress_.SetValue(ticked_ > 0 ? 100.0 * done_ / ticked_ : 100.0);
    }
    util::Answer MessageBox(const std::string& text, util::Buttons buttons, util::Icon,
                            const std::string& title) override {
        if (title != "Restore Completed" && buttons != util::Buttons::YesNo) {
            std::cerr << text << "\n";
        }
        return buttons == util::Buttons::YesNo ? util::Answer::Yes : util::Answer::OK;
    }

private:
    int ticked_;
    int done_ = 0;
    TerminalProgress progress_;
};

// Says on stderr what is wrong with the archive. False when nothing can be
// read from it: a file that is no archive at all yields only nonsense.
bool ReportArchive(const std::string& command, const std::string& archive, bool& damaged) {
    if (!util::FileExists(archive)) {
        std::cerr << "Archive not found: " << archive << "\n";
        return false;
    }
    const backup::ArchiveCheck check = backup::CheckArchive(archive);
    damaged = !check.problem.empty();
    if (damaged) {
        std::cerr << "archive " << command << ": " << archive << " " << check.problem
                  << (check.isArchive ? "; what comes before the damage is still read"
                                      : "; nothing was read from it")
                  << "\n";
    }
    return check.isArchive;
}

int RunList(const ArchiveOptions& opt) {
    bool damaged = false;
    if (!ReportArchive("list", opt.archive, damaged)) {
        return 1;
    }
    std::vector<backup::ArchiveEntry> entries;
    backup::BaR_ReadDirectory(opt.archive, entries);
    int n = 0;
    for (const auto& e : entries) {
        std::cout << ++n << '\t' << e.FileType << '\t' << e.Kind << '\t' << e.FileLength << '\t'
                  << e.StartPos << '\t' << util::Trim(util::CutAtNul(e.FileDate)) << '\t'
                  << util::Trim(util::CutAtNul(e.FileName)) << '\n';
    }
    return damaged ? 1 : 0;
}

int RunAdd(const ArchiveOptions& opt) {
    std::string message;
    bool ok =
        backup::BaR_AddFile(opt.archive, opt.file, static_cast<int16_t>(opt.fileType), message);
    std::cout << message << "\n";
    return ok ? 0 : 1;
}

int RunRestore(Context& ctx, const ArchiveOptions& opt) {
    PrepareSettings(ctx);
    if (opt.link && !StoreReadable(ctx.settings)) {
        return 1;
    }
    bool damaged = false;
    if (!ReportArchive("restore", opt.archive, damaged)) {
        return 1;
    }
    std::vector<backup::ArchiveEntry> entries;
    backup::BaR_ReadDirectory(opt.archive, entries);
    // The mark on disk is whatever its writer left there; only the command
    // line says what is restored.
    for (auto& e : entries) {
        e.Selected = opt.numbers.empty() ? 1 : 0;
    }
    for (int number : opt.numbers) {
        if (number < 1 || static_cast<size_t>(number) > entries.size()) {
            std::cerr << "No entry " << number << " in the archive (it holds " << entries.size()
                      << ")\n";
            return 2;
        }
        entries[static_cast<size_t>(number) - 1].Selected = 1;
    }
    backup::RestoreOptions options;
    options.RedirectFolder = opt.to;
    options.LinkDatabase = opt.link;
    options.Existing = opt.existing == "skip"        ? backup::ExistingFiles::Skip
                       : opt.existing == "overwrite" ? backup::ExistingFiles::Overwrite
                                                     : backup::ExistingFiles::Rename;
    RestoreUi ui(backup::CountSelected(entries));
    const platform::SystemClock clock;
    backup::RestoreCounts counts =
        backup::RunRestoreCommand(ctx.settings, opt.archive, entries, options, ui, clock);
    if (!counts.ran) {
        return 1;
    }
    std::cout << backup::RestoreSummaryText(opt.archive, entries, counts.attempted, counts.restored)
              << "\n";
    for (const safety::SafetyCopy& copy : counts.safetyCopies) {
        std::cout << safety::SafetyCopyLine(copy) << "\n";
    }
    if (!counts.cause.empty()) {
        std::cerr << counts.cause << "\n(the run log is " << startup::RunLogPath(ctx.settings)
                  << ")\n";
    }
    return counts.restored == counts.attempted ? 0 : 1;
}

} // namespace

void RegisterBackupCommands(CLI::App& app, Context& ctx) {
    auto opt = std::make_shared<ArchiveOptions>();
    CLI::App* archive = app.add_subcommand("archive", "List, add to and restore from the "
                                                      "suite's backup archives (Ketrova.*.kbx)");
    archive->require_subcommand(1);

    CLI::App* list = archive->add_subcommand(
        "list", "Print one tab-separated line per stored file: number, file type, kind, length, "
                "start position, date, name");
    list->add_option("ARCHIVE", opt->archive, "Archive file")->required();
    list->callback([&ctx, opt] { ctx.exitCode = RunList(*opt); });

    CLI::App* add = archive->add_subcommand(
        "add", "Append FILE to ARCHIVE (created when missing; a file that is no archive is "
               "refused untouched) and print the outcome");
    add->add_option("ARCHIVE", opt->archive, "Archive file")->required();
    add->add_option("FILE", opt->file, "File to store")->required();
    add->add_option("--type", opt->fileType,
                    "1 database, 2 AutoFill document, 3 related file, 4 other file")
        ->default_val(backup::TypeOther)
        ->check(CLI::Range(-32768, 32767));
    add->callback([&ctx, opt] { ctx.exitCode = RunAdd(*opt); });

    CLI::App* restore = archive->add_subcommand(
        "restore", "Restore the entries NUMBER (all when none is given) as the restore window "
                   "does, write Ostrand.log and print the summary, then a 'Safety copy: PATH' "
                   "line for each overwritten file kept in SafetyCopies beside it; exit 1 when "
                   "any was not restored");
    restore->add_option("ARCHIVE", opt->archive, "Archive file")->required();
    restore->add_option("NUMBER", opt->numbers, "Entry numbers as archive list prints them");
    restore->add_option("--to", opt->to,
                        "Restore below this folder instead of the stored locations");
    restore->add_option("--existing", opt->existing, "What to do with a file already there")
        ->check(CLI::IsMember({"skip", "rename", "overwrite"}))
        ->default_val("rename");
    restore->add_flag("--link", opt->link,
                      "Make a restored Ketrova.mdb the active database of --altdb");
    AddAltDbOption(restore, ctx);
    restore->callback([&ctx, opt] {
        try {
            ctx.exitCode = RunRestore(ctx, *opt);
        } catch (const std::exception& e) {
            std::cerr << "archive restore: " << e.what() << "\n";
            ctx.exitCode = 1;
        }
    });
}

} // namespace cli
