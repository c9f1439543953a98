#include <aclapi.h>
#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <windows.h>

#include "AccessList.h"
#include "Wide.h"
#include "platform/FileAccess.h"
#include "platform/Files.h"
#include "support/PlatformFolder.h"

using namespace Platform;

namespace {

class FileAccesses : public testing::Test {
protected:
    static std::optional<FileAccess> of(const std::u16string& path) {
        return FileAccessReader::system().read(path);
    }
    static void start(std::u16string command) {
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process{};
        ASSERT_TRUE(CreateProcessW(nullptr, wide(command.data()), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                                   nullptr, nullptr, &startup, &process));
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    // Runs one of the system's below Wine on paths; false where there is none.
    static bool runBelow(std::u16string command, std::initializer_list<std::u16string> paths) {
        using UnixName = char*(__cdecl*)(const wchar_t*);
        const auto unixName = reinterpret_cast<UnixName>(reinterpret_cast<void*>(
            GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
        if (!unixName)
            return false;
        for (const std::u16string& each : paths) {
            std::u16string name = portablePath(unixName(wide(each)));
            std::ranges::replace(name, u'\\', u'/');
            command += u" \"" + name + u'"';
        }
        start(u"Z:\\bin\\" + command);
        return true;
    }
    static bool becomes(const std::u16string& file, bool exists) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (fileExists(file) != exists && std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        return fileExists(file) == exists;
    }
    // A junction; under Wine, which has none, a link of the system below, which it shows as one.
    static bool makeLink(const std::u16string& link, const std::u16string& target) {
        if (!runBelow(u"ln -s", {target, link}))
            start(u"cmd.exe /c mklink /J \"" + link + u"\" \"" + target + u"\"");
        return becomes(link, true);
    }
    // Nobody else does under Wine: what it shows as a folder cannot be removed as one.
    static bool removeLink(const std::u16string& link) {
        return RemoveDirectoryW(wide(link)) || (runBelow(u"rm", {link}) && becomes(link, false));
    }

    Support::PlatformFolder folder;
    const std::u16string path = folder.portable() + u"\\folder";
};

TEST_F(FileAccesses, TellALinkFromAFolderOfOnesOwn) {
    EXPECT_FALSE(of(path));
    ASSERT_TRUE(createFolders(path + u"\\below"));
    ASSERT_TRUE(appendToFile(path + u"\\file", "text"));
    for (const auto& own : {of(path), of(path + u"\\file")}) {
        ASSERT_TRUE(own);
        EXPECT_TRUE(own->ownerDecides);
        EXPECT_FALSE(own->isLink);
        EXPECT_FALSE(own->everybodyAdds);
    }
    ASSERT_TRUE(makeLink(path + u" link", path));
    const auto link = of(path + u" link"), through = of(path + u" link\\below");
    ASSERT_TRUE(link);
    EXPECT_TRUE(link->isLink);
    ASSERT_TRUE(through);
    EXPECT_FALSE(through->isLink);
    ASSERT_TRUE(removeLink(path + u" link"));
}

TEST_F(FileAccesses, OfFoldersThatAreMadeWhereEverybodyMayAreForTheirMaker) {
    ASSERT_TRUE(createFolders(path));
    NewAccess everybody(u"D:P(A;OICI;GA;;;WD)");
    BOOL present = FALSE, ofDefaults = FALSE;
    ACL* list = nullptr;
    ASSERT_TRUE(GetSecurityDescriptorDacl(everybody.attributes()->lpSecurityDescriptor, &present, &list,
                                          &ofDefaults));
    std::u16string name = path;
    ASSERT_EQ(SetNamedSecurityInfoW(wide(name.data()), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                    nullptr, list, nullptr),
              0u);
    EXPECT_TRUE(of(path)->everybodyAdds);
    ASSERT_TRUE(createFolders(path + u"\\made\\below"));
    for (const auto& made : {path + u"\\made", path + u"\\made\\below"}) {
        EXPECT_FALSE(of(made)->everybodyAdds);
        EXPECT_TRUE(of(made)->ownerDecides);
    }
    const auto security = FileSecurity::of(path + u"\\made");
    for (const Grant& grant : security->grants)
        EXPECT_NE(grant.account, u"S-1-1-0");
    ASSERT_TRUE(appendToFile(path + u"\\made\\below\\file", "text"));
}

}  // namespace
