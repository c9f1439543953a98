#include <filesystem>
#include <gtest/gtest.h>

#include "platform/DynamicLibrary.h"
#include "platform/Files.h"
#include "support/Beside.h"
#include "support/PlatformFolder.h"

using namespace Platform;

namespace {

void inThisProgram() {}

TEST(DynamicLibraries, AreKnownByTheirPathOnlyWhileTheyAreLoaded) {
    const std::u16string path = beside(u"test_component.dll");
    ASSERT_FALSE(loadedLibrary(path));
    const LibraryHandle library = loadLibrary(path);
    ASSERT_TRUE(library) << lastError();
    const LibraryHandle again = loadedLibrary(path);
    EXPECT_EQ(again, library);
    void* function = libraryFunction(library, "DllCanUnloadNow");
    ASSERT_TRUE(function);
    EXPECT_TRUE(std::filesystem::equivalent(nativePath(libraryPathOf(function)), nativePath(path)));
    EXPECT_FALSE(libraryFunction(library, "NoSuchFunction"));
    EXPECT_EQ(lastError(), 127u);
    EXPECT_TRUE(freeLibrary(again));
    EXPECT_TRUE(freeLibrary(library));
    EXPECT_EQ(libraryPathOf(reinterpret_cast<const void*>(&inThisProgram)), executablePath());
}

// Also when their file has meanwhile been put away for a new one.
TEST(DynamicLibraries, StayLoadedForWhoeverHoldsThemByAnAddress) {
    Support::PlatformFolder folder;
    const std::filesystem::path file = folder.path() / "held.dll";
    std::filesystem::copy_file(nativePath(beside(u"test_component.dll")), file);
    const LibraryHandle library = loadLibrary(folder.portable() + u"\\held.dll");
    void* function = libraryFunction(library, "DllCanUnloadNow");
    std::filesystem::rename(file, folder.path() / "old.dll");
    const LibraryHandle held = libraryContaining(function);
    EXPECT_EQ(held, library);
    freeLibrary(library);
    EXPECT_EQ(libraryFunction(held, "DllCanUnloadNow"), function);
    freeLibrary(held);
    EXPECT_TRUE(freeLibrary(libraryContaining(reinterpret_cast<const void*>(&inThisProgram))));
}

// Neither one whose name has the loader's own extension, nor what lies in the current folder, be it loaded
// already or not.
TEST(DynamicLibraries, AreLoadedFromExactlyTheFileThatIsNamed) {
    Support::PlatformFolder folder;
    std::filesystem::copy_file(nativePath(beside(u"test_component.dll")), folder.path() / "plain");
    folder.write("plain.dll", "no library");
    const std::u16string full = folder.portable() + u"\\plain";
    const Support::LoadedLibrary library(full);
    EXPECT_TRUE(library);
    EXPECT_TRUE(library.function<void*>("DllCanUnloadNow"));

    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    for (const std::u16string name : {u"plain", u".\\plain", u"..\\plain", u"$(Ostrel.InstallDir)\\plain"}) {
        for (const auto load : {loadLibrary, loadedLibrary}) {
            setLastError(0);
            EXPECT_FALSE(load(name)) << nativePath(name);
            EXPECT_EQ(lastError(), 161u);
        }
    }
    std::filesystem::current_path(before);
}

TEST(DynamicLibraries, ThatAreCutShortAreRefused) {
    const Support::PlatformFolder folder;
    const std::filesystem::path cut = folder.path() / "cut.dll";
    std::filesystem::copy_file(nativePath(beside(u"test_component.dll")), cut);
    for (const uintmax_t kept : {5000, 70, 0}) {
        std::filesystem::resize_file(cut, kept);
        EXPECT_FALSE(loadLibrary(folder.portable() + u"\\cut.dll")) << kept;
    }
}

TEST(DynamicLibraries, ThatCannotBeLoadedSayWhy) {
    EXPECT_FALSE(loadLibrary(u""));
    EXPECT_FALSE(verifyLibraryTrust(u""));
    EXPECT_FALSE(loadedLibrary(u""));
    setLastError(0);
    EXPECT_FALSE(loadLibrary(beside(u"no such library.dll")));
    EXPECT_NE(lastError(), 0u);
    EXPECT_FALSE(freeLibrary(nullptr));
    EXPECT_FALSE(libraryFunction(nullptr, "x"));
    EXPECT_FALSE(libraryContaining(nullptr));
    EXPECT_EQ(libraryPathOf(nullptr), u"");
}

}  // namespace
