#include <filesystem>
#include <gtest/gtest.h>
#include <windows.h>

#include "platform/DynamicLibrary.h"
#include "platform/Files.h"
#include "support/Beside.h"
#include "support/PlatformFolder.h"

namespace {

bool loads(const wchar_t* name) {
    const HMODULE library = LoadLibraryW(name);
    if (library)
        FreeLibrary(library);
    return library != nullptr;
}

TEST(LibrarySearch, LeavesTheCurrentFolderOutOnceItIsNarrowed) {
    Support::PlatformFolder folder;
    std::filesystem::copy_file(Platform::nativePath(beside(u"test_component.dll")),
                               folder.path() / "planted.dll");
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    EXPECT_TRUE(loads(L"planted.dll"));
    EXPECT_TRUE(Platform::narrowLibrarySearch());
    EXPECT_FALSE(loads(L"planted.dll"));
    EXPECT_TRUE(loads(L"test_component.dll"));
    EXPECT_TRUE(loads(L"version.dll"));
    std::filesystem::current_path(before);
}

}  // namespace
