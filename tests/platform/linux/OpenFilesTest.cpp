#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/AppendFile.h"
#include "platform/Files.h"
#include "platform/NamedMutex.h"
#include "support/PlatformFolder.h"

using namespace Platform;

namespace {

class OpenFiles : public testing::Test {
protected:
    Support::PlatformFolder folder;
    const std::u16string path = folder.portable() + u"\\file";
};

// What a host prints that has closed them goes nowhere then, not into a file of ours.
TEST_F(OpenFiles, LeaveTheNumbersOfTheStandardStreamsFree) {
    const int before = dup(STDERR_FILENO);
    close(STDERR_FILENO);
    AppendFile file(path);
    const bool written = file.append("text", false);
    const auto mutex = NamedMutex::create(u"name", folder.portable());
    const bool acquired = mutex->acquire(std::chrono::milliseconds(0));
    const bool taken = fcntl(STDERR_FILENO, F_GETFD) != -1;
    dup2(before, STDERR_FILENO);
    close(before);
    EXPECT_TRUE(written && acquired);
    EXPECT_FALSE(taken);
    mutex->release();
}

}  // namespace
