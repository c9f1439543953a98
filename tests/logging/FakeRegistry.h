#pragma once

#include <map>
#include <string>
#include <variant>

#include "platform/Registry.h"

// A registry in memory. Only keys that have a value exist. Not for concurrent use.
class FakeRegistry final : public Platform::Registry {
public:
    using Values = std::map<std::u16string, std::variant<uint32_t, std::u16string>, std::less<>>;
    std::map<std::u16string, Values, std::less<>> keys;

    std::unique_ptr<Platform::RegistryKey> openKey(std::u16string_view path) const override {
        const auto key = keys.find(path);
        return key == keys.end() ? nullptr : std::make_unique<Key>(key->second);
    }

private:
    struct Key : Platform::RegistryKey {
        explicit Key(const Values& values) : values_(values) {}
        std::optional<std::u16string> readText(std::u16string_view name) const override {
            return read<std::u16string>(name);
        }
        std::optional<uint32_t> readNumber(std::u16string_view name) const override {
            return read<uint32_t>(name);
        }
        template <class T>
        std::optional<T> read(std::u16string_view name) const {
            const auto found = values_.find(name);
            const T* value = found == values_.end() ? nullptr : std::get_if<T>(&found->second);
            return value ? std::optional(*value) : std::nullopt;
        }
        const Values& values_;
    };
};
