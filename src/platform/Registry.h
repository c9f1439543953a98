// Typed reads below HKEY_LOCAL_MACHINE. Key and value names are compared without case.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Platform {

// One open key. The interface is what tests replace.
class RegistryKey {
public:
    virtual ~RegistryKey() = default;
    // An empty name reads the default value. Nothing when the value is missing or of another type.
    virtual std::optional<std::u16string> readText(std::u16string_view name) const = 0;
    virtual std::optional<uint32_t> readNumber(std::u16string_view name) const = 0;
};

class Registry {
public:
    // Opens a key for reading; null when it does not exist. The path has no leading separator.
    virtual std::unique_ptr<RegistryKey> openKey(std::u16string_view path) const = 0;

    // The system's registry.
    static const Registry& system() noexcept;
    // The reader of values that are stored in a protected form; on this implementation the plain registry.
    static const Registry& protectedReader() noexcept;

protected:
    // Trivial: used until the process is gone.
    ~Registry() = default;
};

// Waits for changes of a key's values, whether or not the key exists yet.
class RegistryWatch {
public:
    // Watching begins here: a change after construction is never missed by the next wait(). Null when the
    // system refuses it.
    static std::unique_ptr<RegistryWatch> create(std::u16string_view path);
    virtual ~RegistryWatch() = default;
    // Blocks until a value changed (true) or cancel() was called (false). One waiting thread at a time.
    // True may come for a change elsewhere.
    virtual bool wait() = 0;
    // Ends the current wait and all later ones. Any thread.
    virtual void cancel() = 0;
};

}  // namespace Platform
