#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/NamedMutex.h"
#include "support/PlatformFolder.h"

using Platform::NamedMutex;
using namespace std::chrono_literals;

namespace {

class LockFiles : public testing::Test {
protected:
    // Another process that holds the lock on the mutex's file until it is killed.
    struct Holder {
        explicit Holder(const std::filesystem::path& file) {
            int ready[2] = {};
            EXPECT_EQ(pipe(ready), 0);
            child = fork();
            if (child == 0) {
                alarm(60);  // not to outlive a test that dies
                const char byte = flock(open(file.c_str(), O_RDONLY), LOCK_EX) == 0 ? 'y' : 'n';
                while (write(ready[1], &byte, 1) == 1)
                    pause();
                _exit(1);
            }
            char byte = 'n';
            EXPECT_EQ(read(ready[0], &byte, 1), 1);
            EXPECT_EQ(byte, 'y');
            close(ready[0]);
            close(ready[1]);
        }
        ~Holder() { waitpid(child, nullptr, 0); }
        pid_t child = 0;
    };

    std::filesystem::path lockFile() const {
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
            if (entry.path().extension() == ".lock")
                return entry.path();
        }
        return {};
    }

    // Until the mutex is released.
    void expectHeld() {
        const int other = open(lockFile().c_str(), O_RDONLY);
        EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0);
        mutex->release();
        EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
        close(other);
    }

    Support::PlatformFolder folder;
    std::unique_ptr<NamedMutex> mutex = NamedMutex::create(u"Global\\..\\..\\etc\\passwd");
};

TEST_F(LockFiles, AreHonouredAcrossProcessesAndFreedByTheirDeath) {
    const Holder holder(lockFile());
    EXPECT_FALSE(mutex->acquire(5ms));
    EXPECT_FALSE(mutex->acquire(0ms));
    kill(holder.child, SIGKILL);
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
