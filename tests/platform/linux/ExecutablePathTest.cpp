#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

#include "platform/Files.h"
#include "platform/Process.h"
#include "support/PlatformFolder.h"

namespace {

namespace fs = std::filesystem;
constexpr const char* runsFromACopy = "BREVANT_TEST_RUNS_FROM_A_COPY";

// Runs itself from a copy, since it takes the program away that it runs from.
TEST(ExecutablePath, IsTheProgramsOwnAfterAnUpgradeUnderTheRunningProcess) {
    const fs::path program = fs::read_symlink("/proc/self/exe");
    if (!std::getenv(runsFromACopy)) {
        const Support::PlatformFolder folder;
        // A name that looks like what the system says of a program that is gone.
        for (const char* name : {"host", "host (deleted)"}) {
            const fs::path copy = folder.path() / name;
            fs::copy_file(program, copy);
            const std::string command = std::string(runsFromACopy) + "=1 '" + copy.string() +
                                        "' --gtest_filter=ExecutablePath.* >/dev/null";
            EXPECT_EQ(std::system(command.c_str()), 0) << name;
        }
        return;
    }
    const auto path = [] { return Platform::nativePath(Platform::executablePath()); };
    EXPECT_EQ(path(), program);
    fs::remove(program);
    EXPECT_EQ(path(), program);
    fs::copy_file("/proc/self/exe", program);
    EXPECT_EQ(path(), program);
}

}  // namespace
