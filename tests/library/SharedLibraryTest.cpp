#include <filesystem>
#include <functional>
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
    library.reset();
    EXPECT_EQ(dll->frees, 1);

    // A trailing backslash of the folder that is found goes.
    files->there = {u"C:\\A\\\\Some.dll"};
    ASSERT_EQ(load(u"Some.dll", {u"C:\\New"}), "");
    EXPECT_EQ(dll->loads.back(), u"C:\\A\\Some.dll");
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

TEST_F(SharedLibraryTest, FailsWithItsReasonInTheLogAndFreesWhatItLoaded) {
    const std::string unloadable = "Failed to load library";
    const std::u16string unfound = u"Failed to find valid path for library: Some.dll.",
                         unloaded =
                             u"Failed to load library. Error code: MODULE_STATUS_UNSUCCESSFUL(2147483650).";
    const struct {
        Paths folders;
        std::function<void()> spoil;
        std::string exception;
        std::u16string logged;
        int frees = 0;
    } cases[]{
        {{u"$(Unknown)"}, [] {}, unloadable, unfound},
        {{}, [] {}, unloadable, unfound},
        {{u"C:\\A", u"refused"},
         [] {},
         unloadable,
         u"Failed to resolve file path, refused, for library: Some.dll."},
        {{u"C:\\A"}, [this] { dll->loadable = false; }, unloadable, unloaded},
        {{u"C:\\A"}, [this] { dll->throws = true; }, unloadable, unloaded},
        {{u"C:\\A"},
         [this] { dll->missing = "ReleaseObject"; },
         "Failed to import functions from library",
         u"Failed to load ReleaseObject function from library: Some.dll.",
         1},
    };
    files->there = {u"C:\\A\\Some.dll"};
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::PrintToString(one.logged));
        *dll = FakeDll();
        *search = Tavix::PathSearch(files);
        log.clear();
        one.spoil();
        EXPECT_EQ(load(u"Some.dll", one.folders), one.exception);
        EXPECT_TRUE(log.has(4, one.logged));
        EXPECT_EQ(dll->frees, one.frees);
    }
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
    EXPECT_FALSE(loader->loadDLL(u"C:\\A\\Some.dll", nullptr));
}

// A copy of a library with the four exports. A system whose files have no versions blocks nothing.
TEST(RealLibraryTest, IsRefusedWhileTheRegistryListsItsVersion) {
    Support::PlatformFolder folder;
    if (!folder.isOwnMachine())
        GTEST_SKIP() << folder.notOwnMachine;
    std::filesystem::copy_file(Platform::nativePath(beside(u"MessageBus.dll")), folder.path() / "sample.dll");
    const bool versioned = Platform::fileVersion(folder.portable() + u"\\sample.dll").has_value();
    const auto load = [&] { Tavix::SharedLibrary({u"sample.dll", {folder.portable()}}); };
    for (const std::string listed : {"2.1.0", "2.1"}) {
        folder.writeKey("Corvane\\Ostrel\\List\\sample.dll", "\"2.1.0\"=\"" + listed + "\"");
        if (versioned && listed == "2.1.0")
            EXPECT_THROW(load(), Tavix::ModuleException);
        else
            EXPECT_NO_THROW(load());
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
