#include "library/RegistryAPI.h"

#include <utility>

#include "platform/Registry.h"

namespace Tavix {
namespace {

constexpr size_t bufferLength = 260;

}  // namespace

std::u16string RegistryAPI::readText(std::u16string_view key, std::u16string_view name) {
    const auto opened = Platform::Registry::system().openKey(key);
    auto text = opened ? opened->readText(name) : std::nullopt;
    return text && text->size() < bufferLength ? std::move(*text) : std::u16string();
}

}  // namespace Tavix
