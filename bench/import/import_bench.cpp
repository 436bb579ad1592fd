// Times the import of a Windows database beside mdbtools' mdb-export of
// every one of its tables (the least any import through the library has to
// do), and prints the peak memory.
//
//   import_bench [RUNS] [FILE]
//   (defaults 20 runs of ../shared/jet/nwind.mdb, the largest test file)
//
// Target: the import within 1.5 times the exports. The file gets a Version
// file saying 9 beside it, so that only the import is timed, not an upgrade.

#include "import/import_jet.h"

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

long PeakKiB() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_maxrss;
}

double Since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::vector<std::string> Tables(const std::string& file) {
    std::vector<std::string> names;
    FILE* p = ::popen(("mdb-tables -1 '" + file + "'").c_str(), "r");
    char line[1024];
    while (p && std::fgets(line, sizeof line, p)) {
        std::string name(line);
        name.erase(name.find_last_not_of("\r\n") + 1);
        names.push_back(name);
    }
    if (p) {
        ::pclose(p);
    }
    return names;
}

} // namespace

int main(int argc, char** argv) {
    const int runs = argc > 1 ? std::atoi(argv[1]) : 20;
    const std::string original =
        argc > 2 ? argv[2] : std::string(OSTRAND_SOURCE_DIR) + "/../shared/jet/nwind.mdb";
    const std::string base = std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp";
    const std::string folder = base + "/ostrand_import_bench/";
    fs::remove_all(folder);
    fs::create_directories(folder + "out");
    const std::string file = folder + fs::path(original).filename().string();
    fs::copy_file(original, file);
    std::ofstream(folder + "Version") << "9\r\n";
    const std::vector<std::string> tables = Tables(file);
    std::printf("import benchmark: %s (%.1f MB, %zu tables), %d runs\n", original.c_str(),
                fs::file_size(file) / 1e6, tables.size(), runs);

    double exports = 0;
    for (int i = 0; i < runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        for (const std::string& t : tables) {
            const std::string command = "mdb-export '" + file + "' '" + t + "' > /dev/null";
            if (std::system(command.c_str()) != 0) {
                std::fprintf(stderr, "failed: %s\n", command.c_str());
                return 1;
            }
        }
        exports += Since(start);
    }

    double imports = 0;
    int64_t rows = 0;
    for (int i = 0; i < runs; ++i) {
        fs::remove(folder + "out/Ketrova.mdb");
        startup::RunSettings settings;
        settings.AppPath = folder; // no template there: the timing is the tables alone
        db::Connection unused;
        util::NullProgress progress;
        util::UiServices ui;
        platform::SystemClock clock;
        import::ImportOutcome outcome;
        const auto start = std::chrono::steady_clock::now();
        if (!import::ImportJet(settings, unused, progress, ui, clock, {file, folder + "out", false},
                               outcome)) {
            std::fprintf(stderr, "import failed: %s\n", outcome.Error.c_str());
            return 1;
        }
        imports += Since(start);
        rows = outcome.Rows;
    }

    std::printf("%-44s %8.3f s per run\n", "mdb-export of every table", exports / runs);
    std::printf("%-44s %8.3f s per run   peak %7ld KiB\n", "ImportJet", imports / runs, PeakKiB());
    std::printf("rows imported per run: %lld\n", static_cast<long long>(rows));
    std::printf("\nimport / mdb-export  %.2f (target 1.5)\n", imports / exports);
    return 0;
}
