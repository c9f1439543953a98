#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <brevant/status.h>

#include "library/SharedLibrary.h"
#include "logging/FakeRegistry.h"
#include "platform/Files.h"
#include "platform/VersionResource.h"
#include "status/ModuleException.h"
#include "status/ModuleStatus.h"
#include "support/Beside.h"
#include "support/LogCapture.h"
#include "support/PlatformFolder.h"

namespace {

using Paths = std::vector<std::u16string>;

struct FakeDll : Tavix::DllAPI {
    bool loadLibrary(const std::u16string& path, Platform::LibraryHandle* handle) override {
        loads.push_back(path);
        if (throws)
            throw std::runtime_error("loader");
        if (loadable)
            *handle = this;
        return loadable;
    }
    void* getProcAddress(Platform::LibraryHandle, const char* name) override {
        asked.emplace_back(name);
        return name == missing ? nullptr : this;
    }
    bool freeLibrary(Platform::LibraryHandle handle) override {
        EXPECT_EQ(handle, this);
        ++frees;
        return freeable;
    }
    bool getModuleHandleEx(uint32_t flags, const std::u16string&, Platform::LibraryHandle* handle) override {
        EXPECT_EQ(flags, 0u);
        if (present)
            *handle = this;
        return present;
    }

    bool present = false, loadable = true, throws = false, freeable = true;
    std::string missing;
    Paths loads;
    std::vector<std::string> asked;
    int frees = 0;
};

struct FakeFiles : Tavix::PathAPI {
    bool fileExists(const std::u16string& path) override { return there.contains(path); }
    std::set<std::u16string> there;
};

// Knows one macro and refuses one path.
struct FakeHelpers : Tavix::PathHelpers {
    bool resolvePath(std::u16string& path) override {
        if (path == u"$(M)")
            path = u"C:\\Macro";
        return path != u"refused";
    }
};

struct FakeVersions : Tavix::FileVersionReader {
    std::optional<std::u16string> fileVersion(const std::u16string& path) override {
        asked.push_back(path);
        return version;
    }
    std::optional<std::u16string> version;
    Paths asked;
};

class SharedLibraryTest : public testing::Test {
protected:
    // Loads the library, or returns the text of the exception.
    std::string load(const std::u16string& name, Paths folders) {
        try {
            library =
                std::make_unique<Tavix::SharedLibrary>(Tavix::LibraryDefinition{name, std::move(folders)},
                                                       loader, helpers, search, versions, registry);
            return "";
        } catch (const Tavix::ModuleException& exception) {
            return exception.what();
        }
    }
    std::string load() { return load(u"Some.dll", {u"C:\\A"}); }

    LogCapture log;
    std::shared_ptr<FakeDll> dll = std::make_shared<FakeDll>();
    std::shared_ptr<FakeFiles> files = std::make_shared<FakeFiles>();
    std::shared_ptr<FakeVersions> versions = std::make_shared<FakeVersions>();
    std::shared_ptr<FakeRegistry> registry = std::make_shared<FakeRegistry>();
    std::shared_ptr<Tavix::DllLoader> loader = std::make_shared<Tavix::DllLoader>(dll);
    std::shared_ptr<FakeHelpers> helpers = std::make_shared<FakeHelpers>();
    std::shared_ptr<Tavix::PathSearch> search = std::make_shared<Tavix::PathSearch>(files);
    std::unique_ptr<Tavix::SharedLibrary> library;
};

TEST_F(SharedLibraryTest, LoadsFromTheFirstFolderThatHoldsTheFile) {
    files->there = {u"C:\\Macro\\Some.dll", u"C:\\Later\\Some.dll"};
    ASSERT_EQ(load(u"Some.dll", {u"C:\\A\\", u"$(M)", u"C:\\Later"}), "");
    EXPECT_EQ(dll->loads, Paths{u"C:\\Macro\\Some.dll"});
    EXPECT_EQ(dll->asked,
              (std::vector<std::string>{"CreateObject", "ReleaseObject", "GetVersionStr", "GetVersionNum"}));
    EXPECT_TRUE(library->getFunctions()->getVersionNum);
    EXPECT_TRUE(log.has(2, u"File does not exist."));
    library.reset();
    EXPECT_EQ(dll->frees, 1);

    // A trailing backslash of the folder that is found goes.
    files->there = {u"C:\\A\\\\Some.dll"};
    ASSERT_EQ(load(u"Some.dll", {u"C:\\New"}), "");
    EXPECT_EQ(dll->loads.back(), u"C:\\A\\Some.dll");
}

TEST_F(SharedLibraryTest, FailsWhenNoFolderServes) {
    EXPECT_EQ(load(u"Some.dll", {u"$(Unknown)"}), "Failed to load library");
    EXPECT_TRUE(log.has(2, u"File not found."));
    EXPECT_TRUE(log.has(4, u"Failed to find valid path for library: Some.dll."));
    EXPECT_TRUE(log.has(4, u"Failed to load library: Some.dll. Throwing ModuleException."));
    EXPECT_EQ(load(u"Some.dll", {}), "Failed to load library");
    files->there = {u"C:\\A\\Some.dll"};
    EXPECT_EQ(load(u"Some.dll", {u"C:\\A", u"refused"}), "Failed to load library");
    EXPECT_TRUE(log.has(4, u"Failed to resolve file path, refused, for library: Some.dll."));
}

TEST_F(SharedLibraryTest, RefusesAVersionThatTheHostHasListed) {
    files->there = {u"C:\\A\\Some.dll"};
    versions->version = u"1.0 Beta";
    const auto blocked = [&](const std::u16string& name, const std::u16string& data) {
        registry->keys[u"SOFTWARE\\Corvane\\Ostrel\\List\\some.dll"] = {{name, data}};
        log.clear();
        load();
        library.reset();
        return log.count(3, u"Blocked library: C:\\A\\Some.dll.") == 1;
    };
    EXPECT_TRUE(blocked(u"1.0 Beta", u"1.0 Beta"));
    EXPECT_EQ(versions->asked, Paths{u"c:\\a\\some.dll"});
    EXPECT_TRUE(dll->loads.empty());
    EXPECT_FALSE(blocked(u"1.0 Beta", u"1.0 BETA"));
    EXPECT_FALSE(blocked(u"1.1", u"1.1"));
    versions->version.reset();
    EXPECT_FALSE(blocked(u"1.0 Beta", u"1.0 Beta"));
    EXPECT_EQ(dll->loads.size(), 3u);

    // The host's own libraries are never blocked.
    const size_t asked = versions->asked.size();
    files->there = {u"C:\\A\\messageBUS.dll"};
    EXPECT_EQ(load(u"messageBUS.dll", {u"C:\\A"}), "");
    EXPECT_EQ(versions->asked.size(), asked);
}

TEST_F(SharedLibraryTest, ReportsALibraryThatDoesNotLoad) {
    files->there = {u"C:\\A\\Some.dll"};
    for (const bool throws : {false, true}) {
        dll->loadable = false;
        dll->throws = throws;
        log.clear();
        EXPECT_EQ(load(), "Failed to load library");
        EXPECT_TRUE(
            log.has(4, u"Failed to load library. Error code: MODULE_STATUS_UNSUCCESSFUL(2147483650)."));
        EXPECT_TRUE(log.has(4, u"Failed to load library: Some.dll."));
    }
    EXPECT_EQ(dll->frees, 0);

    EXPECT_FALSE(loader->loadDLL(u"C:\\A\\Some.dll", nullptr));
    EXPECT_TRUE(log.has(2, u"Invalid pHandle specified. Exiting."));
}

TEST_F(SharedLibraryTest, FreesALibraryThatLacksAFunction) {
    files->there = {u"C:\\A\\Some.dll"};
    dll->missing = "ReleaseObject";
    EXPECT_EQ(load(), "Failed to import functions from library");
    EXPECT_EQ(dll->asked, (std::vector<std::string>{"CreateObject", "ReleaseObject"}));
    EXPECT_TRUE(log.has(2, u"getProcAddress was unsuccessful in finding the handle's address"));
    EXPECT_TRUE(log.has(4, u"Failed to load ReleaseObject function from library: Some.dll."));
    EXPECT_TRUE(log.has(4, u"Failed to import functions from library: Some.dll. Throwing ModuleException."));
    EXPECT_EQ(dll->frees, 1);
}

TEST_F(SharedLibraryTest, SharesALoadedLibraryAndReportsAFailedFree) {
    files->there = {u"C:\\A\\Some.dll"};
    dll->present = true;
    dll->freeable = false;
    ASSERT_EQ(load(), "");
    EXPECT_TRUE(dll->loads.empty());
    library.reset();
    EXPECT_EQ(dll->frees, 1);
    EXPECT_TRUE(log.has(4, u"Failed to free library: Some.dll."));
}

// Copies of a library with the four exports, and what the machine's registry says about it.
class RealLibraryTest : public testing::Test {
protected:
    void SetUp() override {
        if (!folder.isOwnMachine())
            GTEST_SKIP() << folder.notOwnMachine;
    }
    std::filesystem::path copy(const std::string& name) const {
        std::filesystem::copy_file(Platform::nativePath(beside(u"MessageBus.dll")), folder.path() / name);
        return folder.path() / name;
    }
    bool loads(const std::filesystem::path& library) {
        log.clear();
        try {
            Tavix::SharedLibrary({library.filename().u16string(), {folder.portable()}});
            return true;
        } catch (const Tavix::ModuleException&) {
            return false;
        }
    }

    Support::PlatformFolder folder;
    LogCapture log;
};

// A system whose files have no versions blocks nothing.
TEST_F(RealLibraryTest, IsRefusedWhileTheRegistryListsItsVersion) {
    const auto library = copy("sample.dll");
    const bool versioned = Platform::fileVersion(folder.portable() + u"\\sample.dll").has_value();
    for (const std::string listed : {"2.1.0", "2.1"}) {
        folder.writeKey("Corvane\\Ostrel\\List\\sample.dll", "\"2.1.0\"=\"" + listed + "\"");
        EXPECT_EQ(loads(library), !versioned || listed == "2.1");
    }
}

// Not signed, and for everyone to write: no system trusts it. A new copy each time: what is loaded already is
// not checked again, and the loader may keep what was freed.
TEST_F(RealLibraryTest, IsRefusedWithoutTrustUnlessTheCheckIsOff) {
    int copies = 0;
    for (const bool off : {false, true, false}) {
        const auto library = copy("trust" + std::to_string(++copies) + ".dll");
        std::filesystem::permissions(library, std::filesystem::perms::all);
        folder.writeKey("CORVANE\\OSTREL", "\"Verify Libraries\"=dword:" + std::to_string(!off));
        EXPECT_EQ(loads(library), off);
        const auto records = log.records();
        EXPECT_EQ(std::ranges::count_if(
                      records,
                      [](auto& record) { return record.message.starts_with(u"LoadLibrary Failed. GLE: "); }),
                  off ? 0 : 1);
    }
}

TEST(ModuleStatusTest, NamesEveryStatusAndNoOther) {
    EXPECT_EQ(Tavix::moduleStatusName(0), std::u16string_view(u"MODULE_STATUS_SUCCESS"));
    EXPECT_EQ(Tavix::moduleStatusName(0x80000015), std::u16string_view(u"MODULE_STATUS_SESSION_INVALID"));
    EXPECT_EQ(Tavix::moduleStatusName(0x800000FF), std::u16string_view(u"MODULE_STATUS_INVALID_STATE"));
    for (const uint32_t status : {1u, 0x80000000u, 0x80000016u, 0xFFFFFFFFu})
        EXPECT_EQ(Tavix::moduleStatusName(status), std::u16string_view(u"MODULE_STATUS_UNKNOWN")) << status;
}

}  // namespace
