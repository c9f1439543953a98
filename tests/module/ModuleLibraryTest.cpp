// The library itself, as a host loads it.
#include <gtest/gtest.h>

#include <brevant/module.h>

#include "platform/DynamicLibrary.h"
#include "platform/Process.h"
#include "support/PlatformFolder.h"
#include "text/Utf.h"

namespace Support {
namespace {

std::u16string path() {
    const std::u16string program = Platform::executablePath();
    return program.substr(0, program.rfind(u'\\') + 1) + Ferrow::toUtf16(BREVANT_MODULE_FILE);
}

template <class Function>
Function find(Platform::LibraryHandle library, const char* name) {
    return reinterpret_cast<Function>(Platform::libraryFunction(library, name));
}

TEST(ModuleLibraryTest, IsUnloadedAfterItsLastModuleAndServesAgainWhenLoadedAgain) {
    const PlatformFolder folder;
    for (int life = 0; life < 3; ++life) {
        const Platform::LibraryHandle library = Platform::loadLibrary(path());
        ASSERT_NE(library, nullptr) << Platform::lastError();
        EXPECT_EQ(find<BrevantGetVersionNum>(library, BREVANT_EXPORT_GET_VERSION_NUM)(), 2001000u);
        EXPECT_STREQ(find<BrevantGetVersionStr>(library, BREVANT_EXPORT_GET_VERSION_STR)(), "2.1.0");
        const auto create = find<BrevantModuleCreateObject>(library, BREVANT_EXPORT_CREATE_OBJECT);
        const BrevantModuleFunctions* table = create();
        EXPECT_EQ(create(), table);
        ModuleHandle* handle = nullptr;
        ASSERT_EQ(table->NewModule(&handle, u"group"), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(table->InitializeModule(handle, u"Brevant", u"", 0, nullptr, nullptr, nullptr, nullptr),
                  MODULE_STATUS_SUCCESS);
        EXPECT_EQ(table->StartModule(handle), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(table->DirectMessage(handle, nullptr, u"Brevant.Alert.GetId", nullptr, nullptr),
                  MODULE_STATUS_SUCCESS);
        EXPECT_EQ(table->StopModule(handle), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(table->UninitializeModule(handle), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(table->DestroyModule(handle), MODULE_STATUS_SUCCESS);
        EXPECT_TRUE(Platform::freeLibrary(library));
        const Platform::LibraryHandle left = Platform::loadedLibrary(path());
        if (left)
            Platform::freeLibrary(left);
        // Sanitizer builds keep the library on purpose.
        EXPECT_EQ(left != nullptr, BREVANT_KEEPS_LIBRARY);
    }
}

}  // namespace
}  // namespace Support
