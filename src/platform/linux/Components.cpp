#include "platform/Components.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>

#include "platform/DynamicLibrary.h"
#include "platform/Process.h"
#include "platform/ProcessWide.h"
#include "platform/Registry.h"

namespace Platform {
namespace {

constexpr ComponentResult invalidPointer = static_cast<ComponentResult>(0x80004003u);
constexpr ComponentResult noSuchClass = static_cast<ComponentResult>(0x80040111u);
constexpr ComponentResult unexpected = static_cast<ComponentResult>(0x8000FFFFu);
constexpr ComponentResult libraryNotLoaded = static_cast<ComponentResult>(0x800401F8u);
constexpr ComponentResult mayUnload = 0;
constexpr Guid classFactoryId{1, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// A class factory as every language lays it out: an object that begins with the address of its functions.
struct ClassFactory {
    struct Functions {
        ComponentResult (*queryInterface)(ClassFactory*, const Guid*, void**);
        uint32_t (*addReference)(ClassFactory*);
        uint32_t (*release)(ClassFactory*);
        ComponentResult (*createInstance)(ClassFactory*, void* outer, const Guid*, void**);
        ComponentResult (*lockServer)(ClassFactory*, int32_t);
    };
    const Functions* functions;
};

struct ReleaseFactory {
    void operator()(ClassFactory* factory) const noexcept {
        try {
            factory->functions->release(factory);
        } catch (...) {
            // Gone or not, there is nothing more to do with it.
        }
    }
};

using GetClassObject = ComponentResult (*)(const Guid* classId, const Guid* interfaceId, void** object);
using CanUnloadNow = ComponentResult (*)();

std::u16string registeredLibrary(const Guid& classId) {
    const auto key =
        Registry::system().openKey(u"SOFTWARE\\Classes\\CLSID\\" + guidText(classId) + u"\\InprocServer32");
    return key ? key->readText(u"").value_or(u"") : std::u16string();
}

// The component libraries of this process, one reference each. They stay while objects of theirs may live: a
// library goes when no thread uses components and it says itself that it may.
class ComponentLibraries {
public:
    void enter() {
        MutexLock lock(mutex_);
        ++threads_;
    }

    void leave() {
        MutexLock lock(mutex_);
        if (--threads_ > 0)
            return;
        std::erase_if(libraries_, [](const auto& entry) { return unloads(entry.second); });
    }

    // Null, with lastError(), when the library is not there or not trusted.
    LibraryHandle load(const std::u16string& path) {
        MutexLock lock(mutex_);
        const auto known = libraries_.find(path);
        if (known != libraries_.end())
            return known->second;
        const LibraryHandle library = loadLibrary(path);
        if (library)
            libraries_.emplace(path, library);
        return library;
    }

private:
    static bool unloads(LibraryHandle library) noexcept {
        const auto canUnload = reinterpret_cast<CanUnloadNow>(libraryFunction(library, "DllCanUnloadNow"));
        try {
            return canUnload && canUnload() == mayUnload && freeLibrary(library);
        } catch (...) {
            return false;
        }
    }

    // Guards the members below; libraries are loaded, asked and freed under it, and nothing of theirs but
    // DllCanUnloadNow and their initialisers runs under it.
    Mutex mutex_;
    int threads_ GUARDED_BY(mutex_) = 0;
    std::map<std::u16string, LibraryHandle> libraries_ GUARDED_BY(mutex_);
};

constinit ProcessWide<ComponentLibraries> componentLibraries;

ComponentResult create(const Guid& classId, const Guid& interfaceId, void** object) {
    if (!object)
        return invalidPointer;
    *object = nullptr;
    const std::u16string path = registeredLibrary(classId);
    if (path.empty())
        return componentNotRegistered;
    const ComponentThread inUse;
    const LibraryHandle library = componentLibraries.get().load(path);
    if (!library)
        return lastError() == 5 ? componentAccessDenied : libraryNotLoaded;
    const auto getClassObject =
        reinterpret_cast<GetClassObject>(libraryFunction(library, "DllGetClassObject"));
    if (!getClassObject)
        return noSuchClass;
    try {
        void* found = nullptr;
        ComponentResult result = getClassObject(&classId, &classFactoryId, &found);
        if (result < 0 || !found)
            return result < 0 ? result : noSuchClass;
        const std::unique_ptr<ClassFactory, ReleaseFactory> factory(static_cast<ClassFactory*>(found));
        result = factory->functions->createInstance(factory.get(), nullptr, &interfaceId, object);
        if (result < 0)
            *object = nullptr;
        return result;
    } catch (...) {
        *object = nullptr;
        return unexpected;
    }
}

// Space before a text: its length in bytes, padded to keep the text aligned.
constexpr size_t textPrefix = 8;

}  // namespace

ComponentThread::ComponentThread() : initialised_(true) {
    componentLibraries.get().enter();
}
ComponentThread::~ComponentThread() {
    if (initialised_)
        componentLibraries.get().leave();
}

ComponentResult createTrustedComponent(const Guid& classId, const Guid& interfaceId, void** object) {
    return create(classId, interfaceId, object);
}

ComponentResult createComponent(const Guid& classId, const Guid& interfaceId, void** object) {
    return create(classId, interfaceId, object);
}

char16_t* allocateComponentText(std::u16string_view text) {
    constexpr size_t mostUnits = 0x7FFFFFF0 / sizeof(char16_t);
    if (text.size() > mostUnits)
        return nullptr;
    const auto bytes = static_cast<uint32_t>(text.size() * sizeof(char16_t));
    auto* block = static_cast<char*>(std::malloc(textPrefix + bytes + sizeof(char16_t)));
    if (!block)
        return nullptr;
    std::memcpy(block + textPrefix - sizeof bytes, &bytes, sizeof bytes);
    if (bytes)
        std::memcpy(block + textPrefix, text.data(), bytes);
    std::memset(block + textPrefix + bytes, 0, sizeof(char16_t));
    return reinterpret_cast<char16_t*>(block + textPrefix);
}

void freeComponentText(char16_t* text) {
    if (text)
        std::free(reinterpret_cast<char*>(text) - textPrefix);
}

}  // namespace Platform
