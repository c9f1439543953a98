#include <filesystem>
#include <gtest/gtest.h>

#include "component/Beside.h"
#include "platform/DynamicLibrary.h"
#include "platform/Files.h"
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

// What is checked is what is loaded: neither a file that the loader finds elsewhere under a relative name,
// nor one whose name has the loader's own extension.
TEST(DynamicLibraries, AreLoadedFromExactlyTheFileThatIsNamed) {
    Support::PlatformFolder folder;
    const std::filesystem::path program(nativePath(executablePath()));
    const std::string source = nativePath(beside(u"test_component.dll"));
    std::filesystem::copy_file(source, folder.path() / "plain");
    folder.write("plain.dll", "no library");
    std::filesystem::copy_file(source, folder.path() / program.filename());
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    for (const std::u16string& name :
         {folder.portable() + u"\\plain", std::u16string(u"plain"), program.filename().u16string()}) {
        const LibraryHandle library = loadLibrary(name);
        EXPECT_TRUE(libraryFunction(library, "DllCanUnloadNow")) << nativePath(name);
        const LibraryHandle again = loadedLibrary(name);
        EXPECT_EQ(again, library) << nativePath(name);
        freeLibrary(again);
        freeLibrary(library);
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
    EXPECT_EQ(libraryPathOf(nullptr), u"");
}

}  // namespace
