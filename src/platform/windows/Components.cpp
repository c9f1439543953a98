#include "platform/Components.h"

#include <windows.h>
// The component headers need the base types above.
#include <cstring>
#include <memory>
#include <objbase.h>
#include <oleauto.h>
#include <unknwn.h>

#include "platform/DynamicLibrary.h"

namespace Platform {
namespace {

constexpr DWORD classContext =
    CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER;
static_assert(classContext == 23);

GUID native(const Guid& guid) {
    GUID copy;
    static_assert(sizeof copy == sizeof guid);
    std::memcpy(&copy, &guid, sizeof copy);
    return copy;
}

// What a component throws ends here, also where it has come through the system's own functions.
template <class Call>
HRESULT contained(Call call) noexcept {
    try {
        return call();
    } catch (...) {
        return E_UNEXPECTED;
    }
}

struct ReleaseFactory {
    void operator()(IClassFactory* factory) const noexcept {
        contained([&] { return factory->Release(), S_OK; });
    }
};

// The library that implements an object: the one that its functions lie in.
std::u16string implementingLibrary(IUnknown* object) {
    const void* functions = nullptr;
    std::memcpy(&functions, static_cast<void*>(object), sizeof functions);
    return libraryPathOf(functions);
}

}  // namespace

ComponentThread::ComponentThread() : initialised_(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}
ComponentThread::~ComponentThread() {
    if (initialised_)
        CoUninitialize();
}

ComponentResult createTrustedComponent(const Guid& classId, const Guid& interfaceId, void** object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    const GUID wantedClass = native(classId);
    const GUID wantedInterface = native(interfaceId);
    const GUID factoryInterface{1, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    void* found = nullptr;
    HRESULT result = contained(
        [&] { return CoGetClassObject(wantedClass, classContext, nullptr, factoryInterface, &found); });
    if (FAILED(result))
        return result;
    const std::unique_ptr<IClassFactory, ReleaseFactory> factory(static_cast<IClassFactory*>(found));
    if (!factory)
        return E_UNEXPECTED;
    if (!verifyLibraryTrust(implementingLibrary(factory.get())))
        return componentAccessDenied;
    result = contained([&] { return factory->CreateInstance(nullptr, wantedInterface, object); });
    if (FAILED(result))
        *object = nullptr;
    return result;
}

ComponentResult createComponent(const Guid& classId, const Guid& interfaceId, void** object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    const HRESULT result = contained([&] {
        return CoCreateInstance(native(classId), nullptr, classContext, native(interfaceId), object);
    });
    if (FAILED(result))
        *object = nullptr;
    return result;
}

char16_t* allocateComponentText(std::u16string_view text) {
    constexpr size_t mostUnits = 0x7FFFFFF0 / sizeof(char16_t);
    if (text.size() > mostUnits)
        return nullptr;
    return reinterpret_cast<char16_t*>(
        SysAllocStringLen(reinterpret_cast<const OLECHAR*>(text.data()), static_cast<UINT>(text.size())));
}

void freeComponentText(char16_t* text) {
    SysFreeString(reinterpret_cast<BSTR>(text));
}

}  // namespace Platform
