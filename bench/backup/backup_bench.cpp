// Moves one big file into an archive and back out, beside `cp` of the same
// file on the same disk, and prints the rates. The archive code should keep up
// with a plain copy (at least 0.8 of its rate) while holding one block.
//
//   backup_bench [SIZE_MB [FOLDER]]     default 200 MB in $TMPDIR (else /tmp)

#include "backup/bar.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

double Seconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

long PeakRssKb() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_maxrss;
}

// Writes the source in pieces smaller than one block, so that making it does
// not set the peak memory the archive operations are measured against.
bool MakeSource(const std::string& path, uint64_t bytes) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) {
        return false;
    }
    std::vector<char> piece(64 * 1024);
    uint32_t x = 12345;
    for (char& c : piece) {
        x = x * 1103515245u + 12345u;
        c = static_cast<char>(x >> 24);
    }
    bool ok = true;
    for (uint64_t left = bytes; left > 0 && ok;) {
        size_t now = left < piece.size() ? static_cast<size_t>(left) : piece.size();
        piece[0] = static_cast<char>(left); // no two pieces alike
        ok = std::fwrite(piece.data(), 1, now, f) == now;
        left -= now;
    }
    return std::fclose(f) == 0 && ok;
}

void Sync() {
    // Each pass starts with nothing dirty in the page cache from the last one.
    (void)std::system("sync");
}

} // namespace

int main(int argc, char** argv) {
    const uint64_t megabytes = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 200;
    const char* tmp = std::getenv("TMPDIR");
    fs::path folder = argc > 2 ? fs::path(argv[2]) : fs::path(tmp && *tmp ? tmp : "/tmp");
    folder /= "ostrand-backup-bench";
    fs::remove_all(folder);
    fs::create_directories(folder);
    const uint64_t bytes = megabytes * 1000 * 1000;
    const std::string source = (folder / "Ketrova.mdb").string();
    const std::string archive = (folder / "Ketrova.bench.kbx").string();
    const std::string restored = (folder / "restored.mdb").string();
    const std::string copied = (folder / "copied.mdb").string();
    if (!MakeSource(source, bytes)) {
        std::fprintf(stderr, "cannot write %s\n", source.c_str());
        return 1;
    }
    const double mb = static_cast<double>(bytes) / 1e6;
    Sync();
    const long rssBefore = PeakRssKb();

    // Best of three rounds, each operation starting from a clean disk state.
    double cpBest = 0, addBest = 0, restoreBest = 0;
    bool cpOk = true, added = true, same = true;
    std::string message;
    startup::RunSettings settings;
    for (int round = 0; round < 3; ++round) {
        fs::remove(copied);
        fs::remove(archive);
        fs::remove(restored);
        Sync();
        auto t = std::chrono::steady_clock::now();
        cpOk = std::system(("cp '" + source + "' '" + copied + "'").c_str()) == 0 && cpOk;
        Sync();
        cpBest = std::max(cpBest, mb / Seconds(t));

        t = std::chrono::steady_clock::now();
        added = backup::BaR_AddFile(archive, source, backup::TypeDatabase, message) && added;
        Sync();
        addBest = std::max(addBest, mb / Seconds(t));

        t = std::chrono::steady_clock::now();
        same = backup::BaR_Restore_File(settings, archive, restored, backup::HeaderSize + 1,
                                        static_cast<int32_t>(bytes)) &&
               fs::file_size(restored) == bytes && same;
        Sync();
        restoreBest = std::max(restoreBest, mb / Seconds(t));
    }
    const long rssAfter = PeakRssKb();

    std::printf("file             %.0f MB in %s, best of 3\n", mb, folder.c_str());
    std::printf("cp               %8.1f MB/s%s\n", cpBest, cpOk ? "" : "  (cp failed)");
    std::printf("BaR_AddFile      %8.1f MB/s  %.2f of cp  %s\n", addBest, addBest / cpBest,
                added ? "" : message.c_str());
    std::printf("BaR_Restore_File %8.1f MB/s  %.2f of cp  %s\n", restoreBest, restoreBest / cpBest,
                same ? "" : "(restore failed)");
    std::printf("peak memory      +%ld KiB over the runs (one block is %d bytes)\n",
                rssAfter - rssBefore, backup::BlockSize);
    fs::remove_all(folder);
    return 0;
}
