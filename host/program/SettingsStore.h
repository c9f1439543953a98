// The named properties of the host's settings manager, and the file that keeps them over a restart.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/NamedMutex.h"
#include "platform/Sync.h"

namespace Host {

struct Property {
    std::u16string name;
    std::u16string value;
    bool isVolatile = false;  // forgotten with the process
};

// The file is UTF-8 JSON, {"properties":[{"name":N,"value":V},...]}, and replaced in one step: a crash leaves
// the old one or the new one. Hosts that share a file do not undo each other's changes; each sees those of
// the others when it changes something itself. Any thread.
class SettingsStore {
public:
    // In UTF-16 units; the last is that of all names and values together.
    static constexpr size_t maximumName = 4096;
    static constexpr size_t maximumValue = 1024 * 1024;
    static constexpr size_t maximumUnits = 16 * 1024 * 1024;

    explicit SettingsStore(std::u16string path);

    // Reads the file; without one the store is empty. A file that is damaged is kept beside under another
    // name and the store starts empty. What the user must be told about it, or nothing.
    std::u16string open();

    std::optional<std::u16string> get(const std::u16string& name) const;
    // In the order of their names.
    std::vector<Property> withPrefix(std::u16string_view prefix) const;

    // One outcome for each, in their order. False: an empty or too long name, a value that is too long or,
    // when it is to be kept, no well-formed text, a full store, or a file that could not be written. What
    // fails changes nothing. The last set of a name decides whether it is volatile.
    std::vector<bool> set(const std::vector<Property>& properties);
    // False: there was none of that name, or the file could not be written.
    std::vector<bool> remove(const std::vector<std::u16string>& names);
    // The names that are gone; nothing when the file could not be written.
    std::optional<std::vector<std::u16string>> removePrefix(std::u16string_view prefix);

private:
    struct Entry {
        std::u16string value;
        bool isVolatile;
    };
    using Properties = std::map<std::u16string, Entry, std::less<>>;
    enum class Reading { good, missing, damaged, unreadable };

    // Applies a change, to the file first when it concerns what is kept. The change may run twice.
    bool commit(const std::function<void(Properties&)>& change) REQUIRES(mutex_);
    // Replaces what is kept by what the file holds.
    Reading takeFromFile(Properties& properties) const;
    bool keepBeside(std::u16string& kept) const;
    static bool sameKept(const Properties& left, const Properties& right);
    static std::string fileText(const Properties& properties);

    const std::u16string path_;
    const std::unique_ptr<Platform::NamedMutex> fileMutex_;  // null when the system has none to give
    // Guards the members below, and is held while the file is read and written. Nothing is called back under
    // it.
    mutable Platform::Mutex mutex_;
    Properties properties_ GUARDED_BY(mutex_);
    bool writable_ GUARDED_BY(mutex_) = true;  // false while a damaged file could not be moved away
};

}  // namespace Host
