#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
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

    // Mode and owner of the lock file once it has been used, with a guarded folder of that mode and owner.
    struct stat used(mode_t guardedMode, uid_t owner) {
        mutex.reset();
        const std::filesystem::path guarded = folder.path() / "guarded";
        std::filesystem::create_directory(guarded);
        EXPECT_EQ(chown(guarded.c_str(), owner, owner) + chmod(guarded.c_str(), guardedMode), 0);
        mutex = NamedMutex::create(name, folder.portable() + u"\\guarded");
        EXPECT_TRUE(mutex->acquire(0ms));
        mutex->release();
        struct stat status {};
        EXPECT_EQ(stat(lockFile().c_str(), &status), 0);
        status.st_mode &= 07777;
        return status;
    }

    const std::u16string name = u"Global\\..\\..\\etc\\passwd";
    Support::PlatformFolder folder;
    std::unique_ptr<NamedMutex> mutex = NamedMutex::create(name, folder.portable());
};

// Another opening of the file stands for another process: locks belong to the opening, and end with it.
TEST_F(LockFiles, AreHonouredAcrossProcessesAndFreedByTheirDeath) {
    ASSERT_TRUE(mutex->acquire(0ms));
    const int other = open(lockFile().c_str(), O_RDONLY);
    mutex->release();
    ASSERT_EQ(flock(other, LOCK_EX), 0);
    EXPECT_FALSE(mutex->acquire(5ms));
    EXPECT_FALSE(mutex->acquire(0ms));
    close(other);
    EXPECT_TRUE(mutex->acquire(60s));
    expectHeld();
}

TEST_F(LockFiles, ThatWereRemovedAreMadeAnew) {
    ASSERT_TRUE(mutex->acquire(0ms));
    mutex->release();
    const std::filesystem::path file = lockFile();
    std::filesystem::remove(file);
    ASSERT_TRUE(mutex->acquire(0ms));
    EXPECT_EQ(lockFile(), file);
    expectHeld();
}

// Who can read a lock file can hold it.
TEST_F(LockFiles, AreForThoseAloneWhoMayWriteToWhatTheyGuard) {
    EXPECT_EQ(used(0755, getuid()).st_mode, 0600u);
    EXPECT_EQ(used(02775, getuid()).st_mode, 0660u);
    EXPECT_EQ(used(0777, getuid()).st_mode, 0666u);
    EXPECT_EQ(used(0755, getuid()).st_mode, 0600u) << "one that was open before";
    if (getuid() != 0)
        GTEST_SKIP() << "only root may give a file away";
    const struct stat anothers = used(0770, 4711);
    EXPECT_EQ(anothers.st_uid, 4711u);
    EXPECT_EQ(anothers.st_gid, 4711u);
    EXPECT_EQ(anothers.st_mode, 0660u);
}

TEST_F(LockFiles, AreDoneWithoutWhereThereCanBeNone) {
    setenv("BREVANT_PLATFORM_DIR", "/proc/no folder here", 1);
    const auto local = NamedMutex::create(u"local", u"\\nowhere");
    const auto same = NamedMutex::create(u"local", u"\\nowhere");
    ASSERT_TRUE(local->acquire(0ms));
    EXPECT_FALSE(same->acquire(0ms));
    local->release();
    EXPECT_TRUE(same->acquire(0ms));
    same->release();
}

}  // namespace
