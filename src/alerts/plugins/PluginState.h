// The states of a product's plugin.
#pragma once

#include <cstdint>

namespace Vok {

enum class PluginState : uint32_t {
    unloaded = 0,
    loaded = 1,
    invalidated = 2,  // its definition was deleted: reloaded at the next use
};

// As log texts carry it; "UNKNOWN" for a value without a name.
constexpr const char16_t* pluginStateName(PluginState state) noexcept {
    switch (state) {
        case PluginState::unloaded:
            return u"UNLOADED";
        case PluginState::loaded:
            return u"LOADED";
        case PluginState::invalidated:
            return u"INVALIDATED";
    }
    return u"UNKNOWN";
}

}  // namespace Vok
