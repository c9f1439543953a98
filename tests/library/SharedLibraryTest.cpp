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
#include "module/status/ModuleException.h"
#include "module/status/ModuleStatus.h"
#include "platform/Files.h"
#include "platform/VersionResource.h"
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

    bool logged(uint32_t level, std::u16string_view function, std::u16string_view message) const {
        const auto records = log.records();
        return std::ranges::any_of(records, [&](const LogCapture::Record& record) {
            return record.level == level && record.function == function && record.message == message &&
                   record.source.starts_with(u"dll\\");
        });
    }

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
    EXPECT_TRUE(logged(2, u"Tavix::PathSearch::checkIfExists", u"File does not exist."));
    library.reset();
    EXPECT_EQ(dll->frees, 1);

    // A trailing backslash of the folder that is found goes; a search that is shared keeps what was added.
    files->there = {u"C:\\A\\\\Some.dll"};
    ASSERT_EQ(load(u"Some.dll", {u"C:\\New"}), "");
    EXPECT_EQ(dll->loads.back(), u"C:\\A\\Some.dll");
    EXPECT_EQ(search->getSearchPaths(), (Paths{u"C:\\A\\", u"C:\\Macro", u"C:\\Later", u"C:\\New"}));
}

TEST_F(SharedLibraryTest, FailsWhenNoFolderServes) {
    EXPECT_EQ(load(u"Some.dll", {u"$(Unknown)"}), "Failed to load library");
    EXPECT_TRUE(logged(2, u"Tavix::PathSearch::findFilePath", u"File not found."));
    EXPECT_TRUE(
        logged(4, u"Tavix::SharedLibrary::loadLibrary", u"Failed to find valid path for library: Some.dll."));
    EXPECT_TRUE(logged(4, u"Tavix::SharedLibrary::SharedLibrary",
                       u"Failed to load library: Some.dll. Throwing ModuleException."));
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
        EXPECT_TRUE(logged(4, u"Tavix::DllLoader::loadDLL",
                           u"Failed to load library. Error code: MODULE_STATUS_UNSUCCESSFUL(2147483650)."));
        EXPECT_TRUE(logged(4, u"Tavix::SharedLibrary::loadLibrary", u"Failed to load library: Some.dll."));
    }
    EXPECT_EQ(dll->frees, 0);

    EXPECT_FALSE(loader->loadDLL(u"C:\\A\\Some.dll", nullptr));
    EXPECT_TRUE(logged(2, u"Tavix::DllLoader::loadDLL", u"Invalid pHandle specified. Exiting."));
}

TEST_F(SharedLibraryTest, FreesALibraryThatLacksAFunction) {
    files->there = {u"C:\\A\\Some.dll"};
    dll->missing = "ReleaseObject";
    EXPECT_EQ(load(), "Failed to import functions from library");
    EXPECT_EQ(dll->asked, (std::vector<std::string>{"CreateObject", "ReleaseObject"}));
    EXPECT_TRUE(logged(2, u"Tavix::DllLoader::getProcAddress",
                       u"getProcAddress was unsuccessful in finding the handle's address"));
    EXPECT_TRUE(logged(4, u"Tavix::SharedLibrary::importFunctions",
                       u"Failed to load ReleaseObject function from library: Some.dll."));
    EXPECT_TRUE(logged(4, u"Tavix::SharedLibrary::SharedLibrary",
                       u"Failed to import functions from library: Some.dll. Throwing ModuleException."));
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

TEST_F(SharedLibraryTest, LoadsARealLibraryBesideTheExecutable) {
    const Tavix::LibraryDefinition definition{u"library_sample.dll", {u"$(App.Folder)"}};
    const Tavix::SharedLibrary first(definition);
    const Tavix::SharedLibrary second(definition);
    EXPECT_EQ(first.getFunctions()->getVersionNum(), 1002003u);
    EXPECT_STREQ(first.getFunctions()->getVersionStr(), "1.2.3");
    EXPECT_EQ(first.getFunctions()->createObject(7), second.getFunctions()->createObject(7));

    EXPECT_THROW(Tavix::SharedLibrary({u"no_such_library.dll", {u"$(App.Folder)"}}), Tavix::ModuleException);
}

// Copies of the sample library, and what the machine's registry says about it.
class RealLibraryTest : public testing::Test {
protected:
    void SetUp() override {
        if (!folder.isOwnMachine())
            GTEST_SKIP() << folder.notOwnMachine;
    }
    std::filesystem::path copy(const std::string& name) const {
        std::filesystem::copy_file(Platform::nativePath(beside(u"library_sample.dll")), folder.path() / name);
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
    size_t count(std::u16string_view start) const {
        return std::ranges::count_if(log.records(), [&](const LogCapture::Record& record) {
            return record.message.starts_with(start);
        });
    }

    Support::PlatformFolder folder;
    LogCapture log;
};

// A system whose files have no versions blocks nothing.
TEST_F(RealLibraryTest, IsRefusedWhileTheRegistryListsItsVersion) {
    const auto library = copy("sample.dll");
    const bool versioned = Platform::fileVersion(folder.portable() + u"\\sample.dll").has_value();
    for (const auto& [values, listed] : {std::pair("\"2.1.0\"=\"2.1.0\"", true),
                                         {"\"2.1.0\"=\"2.1\"", false},
                                         {"\"2.1.1\"=\"2.1.1\"", false},
                                         {"\"2.1.0\"=\"2.1.0\"", true}}) {
        folder.writeKey("Corvane\\Ostrel\\List\\sample.dll", values);
        EXPECT_EQ(loads(library), !(versioned && listed)) << values;
        EXPECT_EQ(count(u"Blocked library: "), versioned && listed) << values;
    }
    folder.writeRegistry("");
    EXPECT_TRUE(loads(library));
}

// Not signed, and for everyone to write: no system trusts it. A new copy each time: what is loaded already is
// not checked again, and the loader may keep what was freed.
TEST_F(RealLibraryTest, IsRefusedWithoutTrustUnlessTheCheckIsOff) {
    int copies = 0;
    for (const bool off : {false, true, false}) {
        const auto library = copy("trust" + std::to_string(++copies) + ".dll");
        std::filesystem::permissions(library, std::filesystem::perms::all);
        folder.writeKey("CORVANE\\OSTREL",
                        off ? "\"Verify Libraries\"=dword:0" : "\"Verify Libraries\"=dword:1");
        EXPECT_EQ(loads(library), off);
        EXPECT_EQ(count(u"LoadLibrary Failed. GLE: "), off ? 0u : 1u);
    }
}

TEST(ModuleStatusTest, NamesEveryStatusAndNoOther) {
    const std::pair<uint32_t, std::u16string_view> cases[]{{0, u"SUCCESS"},
                                                           {MODULE_STATUS_TIMEOUT, u"TIMEOUT"},
                                                           {0x80000015, u"SESSION_INVALID"},
                                                           {0x800000FF, u"INVALID_STATE"}};
    for (const auto& [status, name] : cases)
        EXPECT_EQ(Tavix::moduleStatusName(status), u"MODULE_STATUS_" + std::u16string(name));
    for (const uint32_t status : {1u, 0x15u, 0xFFu, 0x80000000u, 0x80000016u, 0x800000FEu, 0xFFFFFFFFu})
        EXPECT_EQ(Tavix::moduleStatusName(status), std::u16string_view(u"MODULE_STATUS_UNKNOWN")) << status;
}

}  // namespace
