// The backup program's settings record in BaR.cfg.

#include "archive_builder.h"
#include "backup/bar.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

using namespace backup;
using backuptest::PutBlankPadded;
using backuptest::PutLE;
using testsupport::TempDir;
using testsupport::WriteFile;

namespace {

// The record as the backup program writes it: packed, with its own settings
// after the fields read here.
std::string Record(const std::string& folder) {
    std::string r(255 + 16 + 2 + 10 + 1000 + 64, '\0');
    PutBlankPadded(r, 0, folder, 255);
    PutLE(r, 255, 3, 4);
    PutLE(r, 259, 30, 4);
    PutLE(r, 263, 7, 4);
    PutLE(r, 267, -1, 4);
    PutLE(r, 271, 0, 2);
    PutBlankPadded(r, 273, "11/22/2026", 10);
    PutBlankPadded(r, 283, "the backup program's own settings", 1000);
    return r;
}

struct Folders {
    TempDir dir;
    startup::RunSettings s;
    Folders() {
        s.AppPath = dir.str() + "app/";
        s.DBPath = dir.str();
    }
};

} // namespace

TEST(BackupSettings, FullRecordIsReadFieldByField) {
    Folders f;
    WriteFile(f.dir / "BaR.cfg", Record("   /srv/backups/ketrova"));
    BackupSettings b = ReadBackupSettings(f.s);
    EXPECT_EQ(b.BackupFolder.size(), 255u);
    EXPECT_EQ(b.KeepInterval, 3);
    EXPECT_EQ(b.KeepPeriods, 30);
    EXPECT_EQ(b.BackupInterval, 7);
    EXPECT_EQ(b.BackupPeriods, -1);
    EXPECT_FALSE(b.AllFiles);
    EXPECT_EQ(b.LastBackup, "11/22/2026");
    EXPECT_EQ(GetBackupFolder(f.s), "/srv/backups/ketrova");
}

TEST(BackupSettings, MissingOrShortFileKeepsTheDefaults) {
    Folders f;
    BackupSettings d = ReadBackupSettings(f.s);
    EXPECT_EQ(GetBackupFolder(f.s), f.s.AppPath + "Backup");
    EXPECT_EQ(d.KeepPeriods, 14);
    EXPECT_EQ(d.BackupPeriods, 2);
    EXPECT_TRUE(d.AllFiles);

    // Cut inside the second number: the folder and the first number only.
    WriteFile(f.dir / "BaR.cfg", Record("/b").substr(0, 261));
    BackupSettings s = ReadBackupSettings(f.s);
    EXPECT_EQ(GetBackupFolder(f.s), "/b");
    EXPECT_EQ(s.KeepInterval, 3);
    EXPECT_EQ(s.KeepPeriods, 14);
    EXPECT_TRUE(s.AllFiles);

    // Cut inside the folder: nothing is taken from it.
    WriteFile(f.dir / "BaR.cfg", Record("/b").substr(0, 100));
    EXPECT_EQ(GetBackupFolder(f.s), f.s.AppPath + "Backup");

    // A true flag is stored as -1; a folder field filled with NULs is cut there.
    std::string r = Record("/b");
    PutLE(r, 271, -1, 2);
    std::fill(r.begin() + 2, r.begin() + 255, '\0');
    WriteFile(f.dir / "BaR.cfg", r.substr(0, 280));
    BackupSettings t = ReadBackupSettings(f.s);
    EXPECT_TRUE(t.AllFiles);
    EXPECT_EQ(t.LastBackup, "");
    EXPECT_EQ(GetBackupFolder(f.s), "/b");
}
