#include <filesystem>
#include <gtest/gtest.h>

#include "platform/DynamicLibrary.h"
#include "platform/Files.h"
#include "platform/Process.h"

using namespace Platform;

namespace {

std::u16string beside(std::u16string_view file) {
    const std::u16string path = executablePath();
    return path.substr(0, path.rfind(u'\\') + 1) + std::u16string(file);
}

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
    EXPECT_TRUE(std::filesystem::equivalent(std::filesystem::path(nativePath(libraryPathOf(function))),
                                            std::filesystem::path(nativePath(path))));
    EXPECT_FALSE(libraryFunction(library, "NoSuchFunction"));
    EXPECT_EQ(lastError(), 127u);
    EXPECT_TRUE(freeLibrary(again));
    EXPECT_TRUE(freeLibrary(library));
}

TEST(DynamicLibraries, ThatCannotBeLoadedSayWhy) {
    EXPECT_FALSE(loadLibrary(u""));
    EXPECT_FALSE(verifyLibraryTrust(u""));
    EXPECT_FALSE(loadedLibrary(u""));
    EXPECT_FALSE(loadLibrary(beside(u"no such library.dll")));
    EXPECT_NE(lastError(), 0u);
    EXPECT_FALSE(freeLibrary(nullptr));
    EXPECT_FALSE(libraryFunction(nullptr, "x"));
}

TEST(DynamicLibraries, TheProgramItselfHasItsOwnPath) {
    EXPECT_EQ(libraryPathOf(reinterpret_cast<const void*>(&inThisProgram)), executablePath());
    EXPECT_TRUE(fileExists(executablePath()));
    EXPECT_EQ(libraryPathOf(nullptr), u"");
}

}  // namespace
