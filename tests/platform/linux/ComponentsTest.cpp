#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "../component/CountingComponent.h"
#include "platform/Components.h"
#include "platform/DynamicLibrary.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "support/PlatformFolder.h"

using namespace Platform;

namespace {

class Components : public testing::Test {
protected:
    Components() {
        std::filesystem::path source(nativePath(executablePath()));
        std::filesystem::copy_file(source.replace_filename("test_component.dll"),
                                   folder.path() / "component.dll");
    }
    void registerLibrary(std::string_view library = "component.dll") {
        folder.writeRegistry(
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID\\{5A1B2C3D-1111-2222-0102-030405060708}\\"
            "InprocServer32]\n@=\"" +
            (folder.path() / library).string() + "\"\n");
    }
    bool libraryLoaded() {
        const LibraryHandle library = loadedLibrary(path);
        return library && freeLibrary(library);
    }

    Support::PlatformFolder folder;
    std::u16string path = folder.portable() + u"\\component.dll";
    void* object = &folder;
};

TEST_F(Components, AreCreatedFromTheLibraryThatTheRegistryNames) {
    registerLibrary();
    const ComponentThread thread;
    for (const auto create : {createTrustedComponent, createComponent}) {
        ASSERT_EQ(create(countingClassId, textLengthId, &object), 0);
        auto* component = static_cast<TextLength*>(object);
        char16_t* text = allocateComponentText(std::u16string_view(u"a\0b", 3));
        EXPECT_EQ(component->functions->lengthOf(component, text), 3);
        freeComponentText(text);
        text = allocateComponentText({});
        EXPECT_EQ(component->functions->lengthOf(component, text), 0);
        freeComponentText(text);
        component->functions->release(component);
    }
    freeComponentText(nullptr);
}

TEST_F(Components, KeepTheirLibraryLoadedForAsLongAsTheyLive) {
    registerLibrary();
    {
        const ComponentThread thread;
        ASSERT_EQ(createComponent(countingClassId, textLengthId, &object), 0);
    }
    EXPECT_TRUE(libraryLoaded());
    {
        const ComponentThread thread;
        auto* component = static_cast<TextLength*>(object);
        component->functions->release(component);
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_FALSE(libraryLoaded());  // sanitizer builds keep every library
#endif
}

TEST_F(Components, ThatCannotBeCreatedLeaveNoObject) {
    const ComponentThread thread;
    const auto fails = [&](ComponentResult expected) {
        object = &folder;
        EXPECT_EQ(createTrustedComponent(countingClassId, textLengthId, &object), expected);
        EXPECT_EQ(object, nullptr);
    };
    fails(componentNotRegistered);
    registerLibrary("missing.dll");
    fails(static_cast<ComponentResult>(0x800401F8u));
    registerLibrary();
    chmod((folder.path() / "component.dll").c_str(), 0666);
    fails(componentAccessDenied);
    chmod((folder.path() / "component.dll").c_str(), 0644);
    object = &folder;
    EXPECT_LT(createComponent(countingClassId, countingClassId, &object), 0);
    EXPECT_EQ(object, nullptr);
    EXPECT_LT(createComponent(countingClassId, textLengthId, nullptr), 0);
}

}  // namespace
