#include "platform/disk.h"
#include "platform/process.h"
#include "platform/temp_file.h"
#include "platform/volume.h"
#include "support/machine.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

using namespace platform;
using testsupport::ScopedEnv;
using testsupport::TempDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

TEST(TempFile, NamesAreNewEmptyFilesWithThreeLetterPrefixHexAndTmp) {
    TempDir dir;
    ScopedEnv tmp("TMPDIR", dir.path().string());
    EXPECT_EQ(TempFolder(), dir.str());
    std::set<std::string> seen;
    for (int i = 0; i < 20; ++i) {
        std::string name = GetTempFileName("temp.backup");
        ASSERT_FALSE(name.empty());
        EXPECT_EQ(name.rfind(dir.str() + "tem", 0), 0u) << name;
        EXPECT_EQ(name.substr(name.size() - 4), ".tmp");
        EXPECT_TRUE(fs::is_regular_file(name));
        EXPECT_EQ(fs::file_size(name), 0u);
        EXPECT_TRUE(seen.insert(name).second) << "name handed out twice: " << name;
    }
    // A short prefix is used as it is; an unwritable folder gives no name.
    EXPECT_EQ(fs::path(GetTempFileName("ab")).filename().string().substr(0, 2), "ab");
    ScopedEnv none("TMPDIR", "/nonexistent/folder/for/ostrand");
    EXPECT_EQ(GetTempFileName("tmp"), "");
}

TEST(Volume, FreeSpaceAndMountPointOfAFolderAndOfAMissingPath) {
    TempDir dir;
    VolumeSpace v = QueryVolume(dir.str());
    ASSERT_TRUE(v.ok);
    EXPECT_GT(v.totalBytes, 0u);
    EXPECT_LE(v.freeBytes, v.totalBytes);
    ASSERT_FALSE(v.mountPoint.empty());
    // The mount point is the folder itself or one of its parents.
    std::string canon = fs::canonical(dir.path()).string() + "/";
    EXPECT_EQ(canon.rfind(v.mountPoint, 0), 0u) << canon << " vs " << v.mountPoint;

    VolumeSpace missing = QueryVolume((dir / "not/yet/there").string());
    ASSERT_TRUE(missing.ok);
    EXPECT_EQ(missing.mountPoint, v.mountPoint);
    EXPECT_EQ(QueryVolume("/").mountPoint, "/");
    EXPECT_EQ(QueryVolume("/proc").mountPoint, "/proc/"); // a mount of its own, given its separator
    EXPECT_FALSE(v.fileSystem.empty());                   // procfs tells every mount's type
}

TEST(Volume, FileSystemTypeFromMountInfoAndWhetherItIsNetworked) {
    const std::string mountInfo =
        "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
        "41 22 0:45 / /srv/rentals rw,relatime shared:30 master:2 - nfs4 nas:/export rw\n"
        "42 22 0:46 /share /mnt/office\\040share rw - cifs //nas/share rw\n"
        "43 22 0:47 / /home/ann/nas rw - fuse.sshfs ann@nas: rw\n"
        "44 22 8:1 /home /home rw - ext4 /dev/sda1 rw\n";
    struct Case {
        unsigned major, minor;
        const char* type;
        bool network;
    };
    for (const Case& c :
         {Case{8, 1, "ext4", false}, Case{0, 45, "nfs4", true}, Case{0, 46, "cifs", true},
          Case{0, 47, "fuse.sshfs", true}, Case{9, 9, "", false}}) {
        SCOPED_TRACE(std::to_string(c.major) + ":" + std::to_string(c.minor));
        EXPECT_EQ(MountInfoFileSystem(mountInfo, c.major, c.minor), c.type);
        EXPECT_EQ(IsNetworkFileSystem(c.type), c.network);
    }
    for (const char* local : {"tmpfs", "btrfs", "fuse", "nfsd", "nfs nfs4"}) {
        EXPECT_FALSE(IsNetworkFileSystem(local)) << local;
    }
}

TEST(Process, CommandTextIsSplitAtBlanks) {
    EXPECT_EQ(SplitCommandLine("  /opt/ketrova/rentora  /altdb branch2 /expert "),
              (std::vector<std::string>{"/opt/ketrova/rentora", "/altdb", "branch2", "/expert"}));
    EXPECT_TRUE(SplitCommandLine("   ").empty());
}

// Whether the desktop's opener took a document decides whether Ostrand shows
// it itself. Stand-in openers on PATH answer as the real one does.
TEST(Process, OpenDocumentTellsWhetherTheOpenerTookTheDocument) {
    TempDir dir;
    fs::create_directories(dir / "bin");
    auto opener = [&](const std::string& script) {
        WriteFile(dir / "bin/xdg-open", "#!/bin/sh\n" + script + "\n");
        fs::permissions(dir / "bin/xdg-open", fs::perms::owner_all);
    };
    ScopedEnv path("PATH", (dir / "bin").string() + ":/usr/bin:/bin");
    const auto patience = std::chrono::minutes(1); // never reached by these openers
    EXPECT_FALSE(OpenDocument(dir.str() + "report.log", patience)) << "no opener at all";
    opener("echo \"$1\" > " + (dir / "asked").string());
    EXPECT_TRUE(OpenDocument(dir.str() + "report.log", patience));
    EXPECT_EQ(testsupport::ReadFile(dir / "asked"), dir.str() + "report.log\n");
    opener("exit 3"); // no method available for the file's type
    EXPECT_FALSE(OpenDocument(dir.str() + "report.log", patience));
    // An opener that runs the viewer itself is still busy when patience ends.
    opener("sleep 5");
    EXPECT_TRUE(OpenDocument(dir.str() + "report.log", std::chrono::milliseconds(0)));
    EXPECT_FALSE(OpenDocument(""));
}

// A copy that meets a full disk says so and ends: it must neither report a
// whole copy nor keep retrying the write.
TEST(Disk, ACopyOntoAFullDiskFailsAndSaysWhere) {
    TempDir dir;
    WriteFile(dir / "big", std::string(64 * 1024, 'x'));
    std::string error;
    {
        testsupport::FullDiskAt full(4096);
        EXPECT_FALSE(CopyFileDurably(dir.str() + "big", dir.str() + "copy", error));
    }
    EXPECT_NE(error.find(dir.str() + "copy"), std::string::npos) << error;
    EXPECT_TRUE(CopyFileDurably(dir.str() + "big", dir.str() + "copy2", error)) << error;
}

// A backup folder on another drive: the kernel will not copy across file
// systems, and the copy goes on by reading and writing.
TEST(Disk, ACopyCrossesFileSystems) {
    TempDir dir;
    const std::string other = "/dev/shm/ostrand-copy-" + std::to_string(::getpid());
    struct stat a {
    }, b{};
    if (::stat("/dev/shm", &a) != 0 || ::stat(dir.str().c_str(), &b) != 0 || a.st_dev == b.st_dev)
        GTEST_SKIP() << "no second file system at /dev/shm";
    WriteFile(other, "rent log");
    std::string error;
    EXPECT_TRUE(CopyFileDurably(other, dir.str() + "copy", error)) << error;
    std::filesystem::remove(other);
    EXPECT_EQ(testsupport::ReadFile(dir / "copy"), "rent log");
}
