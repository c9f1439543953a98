#include "platform/Environment.h"

#include <windows.h>

#include "platform/windows/Wide.h"

namespace Platform {

// The system's own copy: each runtime that is linked into a library keeps one more.
std::u16string environment(const std::u16string& name) {
    std::u16string value(256, u'\0');
    for (;;) {
        const DWORD length =
            GetEnvironmentVariableW(wide(name), wide(value.data()), static_cast<DWORD>(value.size()));
        if (length < value.size()) {
            value.resize(length);
            return value;
        }
        value.resize(length);
    }
}

void setEnvironment(const std::u16string& name, const std::u16string& value) {
    if (environment(name) != value)
        SetEnvironmentVariableW(wide(name), wide(value));
}

}  // namespace Platform
