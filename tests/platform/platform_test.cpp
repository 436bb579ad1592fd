#include "platform/environment.h"
#include "platform/process.h"
#include "platform/temp_file.h"
#include "platform/volume.h"
#include "support/temp_dir.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <thread>

using namespace platform;
using testsupport::TempDir;
namespace fs = std::filesystem;

namespace {

// Sets an environment variable for the life of the object.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const std::string& value) : name_(name) {
        if (const char* old = std::getenv(name)) {
            old_ = old;
            had_ = true;
        }
        ::setenv(name, value.c_str(), 1);
    }
    ~ScopedEnv() {
        if (had_) {
            ::setenv(name_, old_.c_str(), 1);
        } else {
            ::unsetenv(name_);
        }
    }

private:
    const char* name_;
    std::string old_;
    bool had_ = false;
};

bool WaitForFile(const fs::path& p) {
    for (int i = 0; i < 100; ++i) {
        if (fs::exists(p)) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

} // namespace

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
        std::string hex = name.substr(dir.str().size() + 3, name.size() - dir.str().size() - 7);
        EXPECT_FALSE(hex.empty());
        EXPECT_LE(hex.size(), 4u);
        EXPECT_EQ(hex.find_first_not_of("0123456789ABCDEF"), std::string::npos) << hex;
        EXPECT_TRUE(fs::is_regular_file(name));
        EXPECT_EQ(fs::file_size(name), 0u);
        EXPECT_TRUE(seen.insert(name).second) << "name handed out twice: " << name;
    }
    // A short prefix is used as it is.
    EXPECT_EQ(fs::path(GetTempFileName("ab")).filename().string().substr(0, 2), "ab");
}

TEST(TempFile, AnUnwritableFolderGivesNoName) {
    ScopedEnv tmp("TMPDIR", "/nonexistent/folder/for/ostrand");
    EXPECT_EQ(GetTempFileName("tmp"), "");
}

TEST(Environment, ExecutableFolderIsTheTestsOwnFolder) {
    std::string folder = ExecutableFolder();
    ASSERT_FALSE(folder.empty());
    EXPECT_EQ(folder.back(), '/');
    EXPECT_EQ(fs::canonical(folder), fs::canonical(OSTRAND_BIN_DIR));
}

TEST(Volume, FreeSpaceAndMountPointOfAFolderAndOfAMissingPath) {
    TempDir dir;
    VolumeSpace v = QueryVolume(dir.str());
    ASSERT_TRUE(v.ok);
    EXPECT_GT(v.totalBytes, 0u);
    EXPECT_LE(v.freeBytes, v.totalBytes);
    ASSERT_FALSE(v.mountPoint.empty());
    EXPECT_EQ(v.mountPoint.back(), '/');
    // The mount point is the folder itself or one of its parents.
    std::string canon = fs::canonical(dir.path()).string() + "/";
    EXPECT_EQ(canon.rfind(v.mountPoint, 0), 0u) << canon << " vs " << v.mountPoint;

    VolumeSpace missing = QueryVolume((dir / "not/yet/there").string());
    ASSERT_TRUE(missing.ok);
    EXPECT_EQ(missing.mountPoint, v.mountPoint);
    EXPECT_EQ(QueryVolume("/").mountPoint, "/");
}

TEST(Process, CommandTextIsSplitAtBlanks) {
    EXPECT_EQ(SplitCommandLine("  /opt/ketrova/rentora  /altdb branch2 /expert "),
              (std::vector<std::string>{"/opt/ketrova/rentora", "/altdb", "branch2", "/expert"}));
    EXPECT_TRUE(SplitCommandLine("   ").empty());
}

TEST(Process, StartCommandRunsTheProgramDetachedAndIgnoresFailures) {
    TempDir dir;
    fs::path marker = dir / "started";
    StartCommand("touch " + marker.string());
    EXPECT_TRUE(WaitForFile(marker));
    // Neither a missing program nor an empty text may throw or hang.
    StartCommand("/nonexistent/program --flag");
    StartCommand("");
    OpenDocument("");
}
