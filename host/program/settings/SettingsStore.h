// The named properties of the host's settings manager, and the file that keeps them over a restart.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
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

// What a property has become, or that it is gone.
struct PropertyChange {
    std::u16string name;
    std::optional<std::u16string> value;
};

// The file is UTF-8 JSON, {"properties":[{"name":N,"value":V},...]}. The store replaces it in one step: a
// crash leaves the old one or the new one. Several hosts may share a file: a host reads it again under the
// file's lock whenever it changes something kept, so it undoes no other host's change, and learns of them
// only then. Any thread.
//
//                | name unknown to this host | known as kept          | volatile in this host
//   get          | nothing                   | the kept value         | the volatile value
//   set, kept    | in the file               | replaced in the file   | in the file, volatile value gone
//   set, volatile| volatile; what another    | volatile, gone from    | volatile value replaced,
//                | host has kept stays       | the file               | the file as it is
//   remove       | gone from the file        | gone from the file     | gone here and from the file
class SettingsStore {
public:
    // In UTF-16 units; the last is that of all names and values together.
    static constexpr size_t maximumName = 4096;
    static constexpr size_t maximumValue = 1024 * 1024;
    static constexpr size_t maximumUnits = 16 * 1024 * 1024;

    explicit SettingsStore(std::u16string path);

    // Reads the file; without one the store is empty. A file that is damaged is kept beside under another
    // name and the store starts empty. What killed writers have left beside it is removed. What the user must
    // be told about it, or nothing.
    std::u16string open();

    std::optional<std::u16string> get(const std::u16string& name) const;
    // In the order of their names.
    std::vector<Property> withPrefix(std::u16string_view prefix) const;

    // One outcome for each, in their order. False when the name is empty, too long or holds a zero, when the
    // value is too long, when a value to be kept is no well-formed text, when the store is full, or when the
    // file could not be written; then nothing has changed for that property. When a name is set twice, the
    // last counts.
    std::vector<bool> set(const std::vector<Property>& properties);
    // False: there was none of that name, or the file could not be written.
    std::vector<bool> remove(const std::vector<std::u16string>& names);
    // The names that are gone; nothing when the file could not be written.
    std::optional<std::vector<std::u16string>> removePrefix(std::u16string_view prefix);

    // What the changes so far have shown to have been changed by others, since it was last asked for.
    std::vector<PropertyChange> takeChangesOfOthers();

private:
    using Values = std::map<std::u16string, std::u16string, std::less<>>;
    struct Properties {
        Values kept;  // as in the file
        Values passing;

        const std::u16string* find(std::u16string_view name) const;
        // In the order of their names.
        std::vector<Property> withPrefix(std::u16string_view prefix) const;
        size_t units() const;
    };
    // Properties that are being changed.
    class Edit {
    public:
        // Known is what was kept before as far as this host knows; it outlives the edit.
        Edit(const Properties& start, const Values& known) : properties(start), known_(known) {}
        // A volatile property takes the place of a kept one that this host knows, and only hides one that
        // another has kept meanwhile.
        void set(const Property& property);
        bool erase(const std::u16string& name);

        Properties properties;
        bool changesKept = false;

    private:
        const Values& known_;
        std::set<std::u16string, std::less<>> keptNow_;  // by this edit
    };
    using Change = std::function<void(Edit&)>;
    enum class Reading { good, missing, damaged, unreadable };

    // Applies a change, to the file first when it concerns what is kept. The change may run more than once;
    // the last run counts. What concerns kept properties only if the file holds some that are not known yet
    // looks there first.
    bool commit(const Change& change, bool looksAtFile = false) REQUIRES(commitMutex_);
    // The properties afterwards; nothing when the file cannot be used.
    std::optional<Properties> commitToFile(const Change& change, const Properties& before)
        REQUIRES(commitMutex_);
    void noteChangesOfOthers(const Properties& before, const Properties& now) REQUIRES(commitMutex_);
    Properties copy() const;
    // Replaces the values by those of the file, none without one.
    Reading readKept(Values& values) const;
    bool keepBeside(std::u16string& kept) const;
    static std::string fileText(const Values& values);

    const std::u16string path_;
    const std::unique_ptr<Platform::NamedMutex> fileMutex_;  // null when the system has none to give
    // Held by one change at a time, while the file is read and written. Nothing is called back under it.
    Platform::Mutex commitMutex_;
    bool writable_ GUARDED_BY(commitMutex_) = true;  // false while a damaged file could not be moved away
    std::vector<PropertyChange> changesOfOthers_ GUARDED_BY(commitMutex_);
    // Lets readers in while a change waits for the file. A leaf.
    mutable Platform::Mutex mutex_;
    Properties properties_ GUARDED_BY(mutex_);
};

}  // namespace Host
