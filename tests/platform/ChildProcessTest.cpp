#include <cstdlib>
#include <gtest/gtest.h>
#include <system_error>

#include "platform/ChildProcess.h"
#include "platform/Process.h"
#include "platform/Sync.h"
#include "support/Monitor.h"

namespace Platform {
namespace {

using namespace std::chrono_literals;

// What the children run: a part of this program.
std::vector<std::u16string> part(const std::u16string& name) {
    return {u"--gtest_also_run_disabled_tests", u"--gtest_filter=ChildProcess.DISABLED_" + name};
}

TEST(ChildProcess, DISABLED_Stays) {
    Mutex mutex;
    ConditionVariable never;
    MutexLock lock(mutex);
    for (;;)
        never.wait(lock);
}

TEST(ChildProcess, DISABLED_Ends) {
    std::_Exit(7);
}

TEST(ChildProcess, RunsUntilItEndsOrIsNoLongerWanted) {
    const std::u16string self = executablePath();
    ChildProcess ending(self, part(u"Ends"));
    EXPECT_EQ(ending.waitFor(1min), 7);
    uint32_t id = 0;
    {
        ChildProcess staying(self, part(u"Stays"));
        id = staying.id();
        EXPECT_EQ(staying.waitFor(0ms), std::nullopt);
        EXPECT_TRUE(processExists(id));
    }
    EXPECT_TRUE(Support::eventually([&] { return !processExists(id); }));
    ChildProcess asked(self, part(u"Stays"));
    asked.askToEnd();
    EXPECT_TRUE(asked.waitFor(1min));
    EXPECT_THROW(ChildProcess(self + u"gone", {}), std::system_error);
    EXPECT_EQ(findProgram(u"there-is-no-such-program"), u"");
}

}  // namespace
}  // namespace Platform
