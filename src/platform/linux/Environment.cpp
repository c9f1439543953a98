#include "platform/Environment.h"

#include <cstdlib>

#include "text/Utf.h"

namespace Platform {

std::u16string environment(const std::u16string& name) {
    const char* value = std::getenv(Ferrow::toUtf8(name).c_str());
    return value ? Ferrow::toUtf16(value) : std::u16string();
}

void setEnvironment(const std::u16string& name, const std::u16string& value) {
    if (environment(name) != value)
        setenv(Ferrow::toUtf8(name).c_str(), Ferrow::toUtf8(value).c_str(), 1);
}

}  // namespace Platform
