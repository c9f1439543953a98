#pragma once

#include <map>
#include <mutex>
#include <string>

#include "platform/Registry.h"

// A registry in memory. Only keys that have a value exist.
class FakeRegistry : public Platform::Registry {
public:
    void setNumber(const std::u16string& key, const std::u16string& name, uint32_t value) {
        std::lock_guard lock(mutex_);
        numbers_[key][name] = value;
    }
    void setText(const std::u16string& key, const std::u16string& name, const std::u16string& value) {
        std::lock_guard lock(mutex_);
        texts_[key][name] = value;
    }

    std::unique_ptr<Platform::RegistryKey> openKey(std::u16string_view path) const override {
        std::lock_guard lock(mutex_);
        const std::u16string name(path);
        if (!numbers_.contains(name) && !texts_.contains(name))
            return nullptr;
        return std::make_unique<Key>(*this, name);
    }

private:
    template <class T>
    using Values = std::map<std::u16string, std::map<std::u16string, T>>;

    template <class T>
    std::optional<T> find(const Values<T>& values, const std::u16string& key,
                          std::u16string_view name) const {
        std::lock_guard lock(mutex_);
        const auto found = values.find(key);
        if (found == values.end() || !found->second.contains(std::u16string(name)))
            return std::nullopt;
        return found->second.at(std::u16string(name));
    }

    struct Key : Platform::RegistryKey {
        Key(const FakeRegistry& registry, std::u16string path)
            : registry_(registry), path_(std::move(path)) {}
        std::optional<std::u16string> readText(std::u16string_view name) const override {
            return registry_.find(registry_.texts_, path_, name);
        }
        std::optional<uint32_t> readNumber(std::u16string_view name) const override {
            return registry_.find(registry_.numbers_, path_, name);
        }
        const FakeRegistry& registry_;
        const std::u16string path_;
    };

    mutable std::mutex mutex_;
    Values<uint32_t> numbers_;
    Values<std::u16string> texts_;
};
