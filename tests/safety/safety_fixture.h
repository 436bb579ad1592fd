#pragma once
// A database folder of its own for each test: Ketrova.mdb with two tenants
// and a version file saying 8, and a way to run part of an operation in a
// process that then dies as a killed run does.

#include "db/connection.h"
#include "platform/clock.h"
#include "platform/volume.h"
#include "support/machine.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace safetytest {

using testsupport::HeldOpenElsewhere;

inline platform::FixedClock At(int hour, int minute, int second) {
    return platform::FixedClock({2026, 11, 23, hour, minute, second});
}

// A volume with 4 KB free: no room for a copy of any database.
inline platform::VolumeSpace FullDisk(const std::string&) {
    platform::VolumeSpace v;
    v.ok = true;
    v.freeBytes = 4096;
    return v;
}

class SafetyTest : public ::testing::Test {
public:
    void SetUp() override {
        dbFile = dir.str() + "Ketrova.mdb";
        testsupport::MakeDatabase(dbFile,
                                  {"CREATE TABLE Tenant (IdTenant INTEGER, Name VARCHAR(50))",
                                   "INSERT INTO Tenant VALUES (1, 'Ada'), (2, 'Bo')"});
        testsupport::WriteFile(dir / "Version", "8\r\n");
    }

    // Starts again from the two tenants, for the next case of a table.
    void Fresh() {
        std::filesystem::remove_all(dir.path());
        std::filesystem::create_directory(dir.path());
        SetUp();
    }

    void Exec(const std::string& sql) const {
        db::Connection c;
        c.Open(dbFile);
        c.Execute(sql);
    }
    static int64_t Count(const std::string& file, const std::string& table = "Tenant") {
        db::Connection c;
        c.Open(file);
        return c.Scalar("SELECT Count(*) FROM " + table).AsInt();
    }

    // Runs `body` in a child process, which ends it as a killed run ends:
    // with _exit, so that no clean-up runs.
    template <typename Body> static void InChildThatDies(Body body) {
        const pid_t child = ::fork();
        if (child == 0) {
            body();
            ::_exit(9);
        }
        ::waitpid(child, nullptr, 0);
    }

    testsupport::TempDir dir;
    std::string dbFile;
};

} // namespace safetytest
