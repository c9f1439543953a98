#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/DynamicLibrary.h"
#include "platform/Files.h"
#include "support/PlatformFolder.h"

using namespace Platform;

namespace {

// Whoever opened it to read or write would wait for somebody at the other end.
TEST(Pipes, AreNoFilesAndMakeNobodyWait) {
    const Support::PlatformFolder folder;
    ASSERT_EQ(mkfifo((folder.path() / "pipe").c_str(), 0644), 0);
    const std::u16string path = folder.portable() + u"\\pipe";
    EXPECT_FALSE(readFile(path));
    EXPECT_FALSE(appendToFile(path, "text", false));
    EXPECT_FALSE(appendToFile(path, "text", true));
    EXPECT_FALSE(loadedLibrary(path));
    EXPECT_FALSE(verifyLibraryTrust(path));
    EXPECT_FALSE(loadLibrary(path));
}

}  // namespace
