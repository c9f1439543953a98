#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/DynamicLibrary.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "support/PlatformFolder.h"

using namespace Platform;

namespace {

class LibraryTrust : public testing::Test {
protected:
    LibraryTrust() {
        std::filesystem::path source(nativePath(executablePath()));
        std::filesystem::copy_file(source.replace_filename("test_component.dll"), file);
        chmod(file.c_str(), 0755);
    }
    void expectRefused() {
        setLastError(0);
        EXPECT_FALSE(verifyLibraryTrust(path));
        EXPECT_EQ(lastError(), 5u);
        setLastError(0);
        EXPECT_FALSE(loadLibrary(path));
        EXPECT_EQ(lastError(), 5u);
    }
    void expectLoaded() {
        EXPECT_TRUE(verifyLibraryTrust(path));
        const LibraryHandle library = loadLibrary(path);
        ASSERT_TRUE(library);
        EXPECT_TRUE(freeLibrary(library));
    }

    Support::PlatformFolder folder;
    std::filesystem::path file = folder.path() / "library.dll";
    std::u16string path = folder.portable() + u"\\library.dll";
};

TEST_F(LibraryTrust, IsGivenToFilesThatOnlyTheirOwnerWrites) {
    expectLoaded();
}

TEST_F(LibraryTrust, IsRefusedToFilesThatOthersMayWrite) {
    chmod(file.c_str(), 0775);
    expectRefused();
    chmod(file.c_str(), 0757);
    expectRefused();
    std::filesystem::create_symlink(file, folder.path() / "link.dll");
    EXPECT_FALSE(loadLibrary(folder.portable() + u"\\link.dll"));
    EXPECT_FALSE(verifyLibraryTrust(folder.portable()));
    EXPECT_FALSE(verifyLibraryTrust(path + u".missing"));
}

TEST_F(LibraryTrust, IsRefusedToFilesOfOtherUsers) {
    constexpr uid_t nobody = 65534;
    if (chown(file.c_str(), nobody, nobody) != 0)
        GTEST_SKIP() << "needs the right to give files away";
    expectRefused();
}

TEST_F(LibraryTrust, IsNotAskedForWhileTheRegistrySaysSo) {
    chmod(file.c_str(), 0777);
    folder.writeRegistry("[HKEY_LOCAL_MACHINE\\SOFTWARE\\CORVANE\\OSTREL]\n\"Verify Libraries\"=dword:0\n");
    expectLoaded();
    EXPECT_FALSE(verifyLibraryTrust(u""));
    folder.writeRegistry("[HKEY_LOCAL_MACHINE\\SOFTWARE\\CORVANE\\OSTREL]\n\"Verify Libraries\"=dword:1\n");
    expectRefused();
}

}  // namespace
