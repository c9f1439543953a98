#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include "platform/NamedMutex.h"
#include "support/PlatformFolder.h"

using Platform::NamedMutex;
using namespace std::chrono_literals;

namespace {

class LockFiles : public testing::Test {
protected:
    std::filesystem::path lockFile() const {
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            if (entry.path().extension() == ".lock")
                return entry.path();
        return {};
    }

    // Until the mutex is released.
    void expectHeld() {
        const int other = open(lockFile().c_str(), O_RDONLY);
        EXPECT_NE(flock(other, LOCK_SH | LOCK_NB), 0);
        mutex->release();
        EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
        close(other);
    }

    Support::PlatformFolder folder;
    std::unique_ptr<NamedMutex> mutex = NamedMutex::create(u"Global\\..\\..\\etc\\passwd");
};

// Another opening of the file stands for another process: locks belong to the opening, and end with it.
TEST_F(LockFiles, AreHonouredAcrossProcessesAndFreedByTheirDeath) {
    const int other = open(lockFile().c_str(), O_RDONLY);
    ASSERT_EQ(flock(other, LOCK_EX), 0);
    EXPECT_FALSE(mutex->acquire(5ms) || mutex->acquire(0ms));
    close(other);
    EXPECT_TRUE(mutex->acquire(60s));
    expectHeld();
}

TEST_F(LockFiles, ThatWereRemovedAreMadeAnew) {
    const std::filesystem::path file = lockFile();
    std::filesystem::remove(file);
    ASSERT_TRUE(mutex->acquire(0ms));
    EXPECT_EQ(lockFile(), file);
    expectHeld();
}

TEST_F(LockFiles, AreDoneWithoutWhereThereCanBeNone) {
    setenv("BREVANT_PLATFORM_DIR", "/proc/no folder here", 1);
    const auto local = NamedMutex::create(u"local");
    const auto same = NamedMutex::create(u"local");
    ASSERT_TRUE(local->acquire(0ms));
    EXPECT_FALSE(same->acquire(0ms));
    local->release();
    EXPECT_TRUE(same->acquire(0ms));
    same->release();
}

}  // namespace
