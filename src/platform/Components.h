// In-process components: COM on Windows; elsewhere the same binary convention over libraries that the
// registry names under SOFTWARE\Classes\CLSID\{class id}\InprocServer32.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/Guid.h"

namespace Platform {

using ComponentResult = int32_t;  // below zero is failure

constexpr ComponentResult componentAccessDenied = static_cast<ComponentResult>(0x80070005u);
constexpr ComponentResult componentOutOfMemory = static_cast<ComponentResult>(0x8007000Eu);
constexpr ComponentResult componentNotRegistered = static_cast<ComponentResult>(0x80040154u);

// Prepares the calling thread for components (multithreaded apartment) for as long as it lives. A thread that
// already uses another model is left alone.
class ComponentThread {
public:
    ComponentThread();
    ~ComponentThread();
    ComponentThread(const ComponentThread&) = delete;
    ComponentThread& operator=(const ComponentThread&) = delete;

private:
    bool initialised_;
};

// Class context 23: in-process server and handler, local and remote server.
// Both store an interface pointer that the caller releases, or null.
// The trusted form creates the object only when the library that implements it passes the trust check.
// What the component throws becomes a failure.
ComponentResult createTrustedComponent(const Guid& classId, const Guid& interfaceId, void** object);
ComponentResult createComponent(const Guid& classId, const Guid& interfaceId, void** object);

// Length-prefixed UTF-16 text for component calls; null when memory is short. Null may be freed.
char16_t* allocateComponentText(std::u16string_view text);
void freeComponentText(char16_t* text);

}  // namespace Platform
