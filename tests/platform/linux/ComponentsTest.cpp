#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <brevant/event_sink.h>

#include "platform/Components.h"
#include "platform/DynamicLibrary.h"
#include "platform/Files.h"
#include "support/Beside.h"
#include "support/PlatformFolder.h"

using namespace Platform;

namespace {

// A component library of the test's own, which its user alone may write.
class LibraryTrust : public testing::Test {
protected:
    LibraryTrust() {
        std::filesystem::copy_file(nativePath(beside(u"test_component.dll")), file);
        chmod(file.c_str(), 0755);
    }
    void expectRefused() {
        for (const bool loads : {false, true}) {
            setLastError(0);
            EXPECT_FALSE(loads ? loadLibrary(path) != nullptr : verifyLibraryTrust(path));
            EXPECT_EQ(lastError(), 5u);
        }
    }
    void expectLoaded() {
        EXPECT_TRUE(verifyLibraryTrust(path));
        const LibraryHandle library = loadLibrary(path);
        ASSERT_TRUE(library);
        EXPECT_TRUE(freeLibrary(library));
    }
    void verify(int on) {
        folder.writeKey("CORVANE\\OSTREL", "\"Verify Libraries\"=dword:" + std::to_string(on));
    }

    Support::PlatformFolder folder;
    std::filesystem::path file = folder.path() / "component.dll";
    std::u16string path = folder.portable() + u"\\component.dll";
};

TEST_F(LibraryTrust, IsRefusedToFilesThatOthersMayWriteUnlessItIsNotAskedFor) {
    expectLoaded();
    for (const mode_t mode : {0775, 0757}) {
        chmod(file.c_str(), mode);
        expectRefused();
        std::filesystem::create_symlink(file, folder.path() / "link.dll");
        EXPECT_FALSE(loadLibrary(folder.portable() + u"\\link.dll"));
        std::filesystem::remove(folder.path() / "link.dll");
    }
    EXPECT_FALSE(verifyLibraryTrust(folder.portable()));
    EXPECT_FALSE(verifyLibraryTrust(path + u".missing"));
    verify(0);
    expectLoaded();
    EXPECT_FALSE(verifyLibraryTrust(u""));
    verify(1);
    expectRefused();
}

TEST_F(LibraryTrust, IsRefusedToFilesOfOtherUsers) {
    constexpr uid_t nobody = 65534;
    if (chown(file.c_str(), nobody, nobody) != 0)
        GTEST_SKIP() << "needs the right to give files away";
    expectRefused();
}

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

class Components : public LibraryTrust {
protected:
    void registerLibrary(const std::u16string& library) {
        folder.registerComponent(BREVANT_EVENT_SINK_CLASS_ID_TEXT, library);
    }
    bool libraryLoaded() {
        const LibraryHandle library = loadedLibrary(path);
        return library && freeLibrary(library);
    }
    void* object = &folder;
    const Guid sinkClassId = parseGuid(u"" BREVANT_EVENT_SINK_CLASS_ID_TEXT).value();
    const Guid sinkId = parseGuid(u"" BREVANT_EVENT_SINK_INTERFACE_ID_TEXT).value();
};

TEST_F(Components, KeepTheLibraryThatTheRegistryNamesLoadedForAsLongAsTheyLive) {
    registerLibrary(path);
    for (const auto create : {createTrustedComponent, createComponent}) {
        {
            const ComponentThread thread;
            ASSERT_EQ(create(sinkClassId, sinkId, &object), 0);
        }
        EXPECT_TRUE(libraryLoaded());
        const ComponentThread thread;
        auto* sink = static_cast<ILegacyEventSink*>(object);
        sink->functions->Release(sink);
    }
    freeComponentText(nullptr);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_FALSE(libraryLoaded());  // sanitizer builds keep every library
#endif
}

TEST_F(Components, ThatCannotBeCreatedLeaveNoObject) {
    const ComponentThread thread;
    const auto fails = [&](ComponentResult expected) {
        object = &folder;
        EXPECT_EQ(createTrustedComponent(sinkClassId, sinkId, &object), expected);
        EXPECT_EQ(object, nullptr);
    };
    fails(componentNotRegistered);
    registerLibrary(path + u".missing");
    fails(static_cast<ComponentResult>(0x800401F8u));
    registerLibrary(path);
    chmod(file.c_str(), 0666);
    fails(componentAccessDenied);
    chmod(file.c_str(), 0644);
    EXPECT_LT(createComponent(sinkClassId, sinkClassId, &object), 0);
    EXPECT_LT(createComponent(sinkClassId, sinkId, nullptr), 0);
}

}  // namespace
