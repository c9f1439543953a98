#include "host/program/settings/SettingsStore.h"

#include <algorithm>
#include <utility>

#include "host/program/output/SystemPath.h"
#include "json/JSONFormatter.h"
#include "platform/Files.h"
#include "text/Format.h"
#include "text/Utf.h"

namespace Host {
namespace {

constexpr uint64_t maximumFile = uint64_t{256} << 20;  // bytes
// Well below what the requester of a change waits for its answer.
constexpr auto fileMutexWait = std::chrono::seconds(2);

// Spellings of one path may differ; then the hosts only lose the shared lock.
std::u16string fileMutexName(const std::u16string& path) {
    uint64_t hash = 14695981039346656037u;
    for (const char16_t unit : Ferrow::toLowerAscii(path))
        hash = (hash ^ unit) * 1099511628211u;
    return Ferrow::formatText(u"brevant-settings_%016llx", hash);
}

class FileLock {
public:
    explicit FileLock(Platform::NamedMutex* mutex)
        : mutex_(mutex), held_(!mutex || mutex->acquire(fileMutexWait)) {}
    ~FileLock() {
        if (mutex_ && held_)
            mutex_->release();
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    // False while another process holds on to it. Without a mutex of the system it need not be.
    bool isHeld() const noexcept { return held_; }

private:
    Platform::NamedMutex* const mutex_;
    const bool held_;
};

bool isWellFormed(const std::u16string& text) {
    return Ferrow::toUtf16(Ferrow::toUtf8(text)) == text;
}

// A name with a zero in it could not be told of on the bus, where it would end there.
bool isAcceptable(const Property& property) {
    if (property.name.empty() || property.name.find(u'\0') != std::u16string::npos ||
        property.name.size() > SettingsStore::maximumName ||
        property.value.size() > SettingsStore::maximumValue)
        return false;
    return property.isVolatile || (isWellFormed(property.name) && isWellFormed(property.value));
}

std::u16string folderOf(const std::u16string& path) {
    const size_t end = path.rfind(u'\\');
    return end == path.npos ? std::u16string() : path.substr(0, end);
}

// Removes what writers that were killed have left beside the file: "<file>.<process>-<number>.tmp". While the
// file's lock is held nobody else is writing.
void sweep(const std::u16string& path) {
    const std::filesystem::path file = systemPath(path);
    const std::u16string head = file.filename().u16string() + u".";
    constexpr std::u16string_view ending = u".tmp";
    std::error_code error;
    std::vector<std::filesystem::path> left;
    for (std::filesystem::directory_iterator at(file.parent_path(), error), end; !error && at != end;
         at.increment(error)) {
        const std::u16string name = at->path().filename().u16string();
        if (name.size() > head.size() + ending.size() && name.starts_with(head) && name.ends_with(ending) &&
            name.find_first_not_of(u"0123456789-", head.size()) == name.size() - ending.size())
            left.push_back(at->path());
    }
    for (const std::filesystem::path& name : left)
        std::filesystem::remove(name, error);
}

}  // namespace

SettingsStore::SettingsStore(std::u16string path)
    : path_(std::move(path)),
      fileMutex_(Platform::NamedMutex::create(fileMutexName(path_), folderOf(path_))) {}

std::u16string SettingsStore::open() {
    Platform::MutexLock commitLock(commitMutex_);
    const FileLock fileLock(fileMutex_.get());
    if (fileMutex_ && fileLock.isHeld())
        sweep(path_);
    Properties properties;
    Reading reading = readKept(properties.kept);
    // What is damaged is not moved away while another host may be about to write it.
    if (reading == Reading::damaged && !fileLock.isHeld())
        reading = Reading::unreadable;
    {
        Platform::MutexLock lock(mutex_);
        properties_ = std::move(properties);
    }
    writable_ = true;
    switch (reading) {
        case Reading::good:
        case Reading::missing:
            return {};
        case Reading::unreadable:
            writable_ = false;
            return u"the settings file \"" + shownPath(path_) +
                   u"\" cannot be read; the host starts without it and changes no settings that are to be "
                   u"kept";
        case Reading::damaged:
            break;
    }
    std::u16string kept;
    if (keepBeside(kept))
        return u"the settings file \"" + shownPath(path_) + u"\" is damaged; it is kept as \"" +
               shownPath(kept) + u"\" and the host starts with empty settings";
    writable_ = false;
    return u"the settings file \"" + shownPath(path_) +
           u"\" is damaged and cannot be moved away; the host starts with empty settings and keeps no "
           u"changes";
}

bool SettingsStore::keepBeside(std::u16string& kept) const {
    constexpr unsigned mostKept = 1000;
    for (unsigned number = 0; number < mostKept; ++number) {
        kept = path_ + u".damaged" + (number == 0 ? std::u16string() : u"-" + Ferrow::decimal(number));
        if (!Platform::fileExists(kept))
            return Platform::renameFile(path_, kept);
    }
    return false;
}

SettingsStore::Reading SettingsStore::readKept(Values& values) const {
    values.clear();
    if (!Platform::fileExists(path_))
        return Reading::missing;
    const std::optional<uint64_t> size = Platform::fileSize(path_);
    if (!size)
        return Reading::unreadable;
    if (*size > maximumFile)
        return Reading::damaged;
    const std::optional<std::string> bytes = Platform::readFile(path_);
    if (!bytes)
        return Reading::unreadable;
    const std::u16string text = Ferrow::toUtf16(*bytes);
    if (Ferrow::toUtf8(text) != *bytes)
        return Reading::damaged;
    Tavix::JSONFormatter document;
    std::vector<Tavix::JSONView> items;
    if (!document.parse(text) || !document.view().find(u"properties") ||
        !document.view().getObjectArray(u"properties", items))
        return Reading::damaged;
    Values kept;
    for (const Tavix::JSONView& item : items) {
        std::u16string name, value;
        if (!item.getString(u"name", name) || !item.getString(u"value", value))
            return Reading::damaged;
        kept.insert_or_assign(std::move(name), std::move(value));
    }
    values.swap(kept);
    return Reading::good;
}

std::string SettingsStore::fileText(const Values& values) {
    std::string text = "{\n\"properties\": [";
    const char* separator = "\n";
    for (const auto& [name, value] : values) {
        Tavix::JSONFormatter item;
        item.setString(u"name", name);
        item.setString(u"value", value);
        text += separator + Ferrow::toUtf8(item.toString());
        separator = ",\n";
    }
    return text + "\n]\n}\n";
}

const std::u16string* SettingsStore::Properties::find(std::u16string_view name) const {
    for (const Values* values : {&passing, &kept}) {
        if (const auto found = values->find(name); found != values->end())
            return &found->second;
    }
    return nullptr;
}

std::vector<Property> SettingsStore::Properties::withPrefix(std::u16string_view prefix) const {
    std::vector<Property> result;
    for (const Values* values : {&passing, &kept}) {
        const bool isVolatile = values == &passing;
        for (auto at = values->lower_bound(prefix); at != values->end() && at->first.starts_with(prefix);
             ++at) {
            if (isVolatile || !passing.contains(at->first))
                result.push_back({at->first, at->second, isVolatile});
        }
    }
    std::ranges::sort(result, {}, &Property::name);
    return result;
}

void SettingsStore::Edit::set(const Property& property) {
    auto& [kept, passing] = properties;
    const auto& [name, value, isVolatile] = property;
    if (isVolatile) {
        const bool replaces = keptNow_.erase(name) != 0 || (!passing.contains(name) && known_.contains(name));
        passing.insert_or_assign(name, value);
        if (replaces && kept.erase(name) != 0)
            changesKept = true;
        return;
    }
    changesKept = true;
    keptNow_.insert(name);
    kept.insert_or_assign(name, value);
    passing.erase(name);
}

bool SettingsStore::Edit::erase(const std::u16string& name) {
    const bool wasKept = properties.kept.erase(name) != 0;
    changesKept = changesKept || wasKept;
    return properties.passing.erase(name) != 0 || wasKept;
}

size_t SettingsStore::Properties::units() const {
    size_t units = 0;
    for (const Values* values : {&passing, &kept}) {
        for (const auto& [name, value] : *values)
            units += name.size() + value.size();
    }
    return units;
}

SettingsStore::Properties SettingsStore::copy() const {
    Platform::MutexLock lock(mutex_);
    return properties_;
}

bool SettingsStore::commit(const Change& change, bool looksAtFile) {
    const Properties before = copy();
    const auto edited = [&] {
        Edit edit(before, before.kept);
        change(edit);
        return edit;
    };
    Edit edit = edited();
    std::optional<Properties> after;
    if (edit.changesKept || looksAtFile)
        after = commitToFile(change, before);
    if (!after && edit.changesKept)
        return false;
    // Once more without the file, for what the change has noted about the file's properties.
    if (!after)
        after = looksAtFile ? edited().properties : std::move(edit.properties);
    Platform::MutexLock lock(mutex_);
    std::swap(properties_, *after);
    return true;
}

std::optional<SettingsStore::Properties> SettingsStore::commitToFile(const Change& change,
                                                                     const Properties& before) {
    if (!writable_)
        return std::nullopt;
    const FileLock fileLock(fileMutex_.get());
    if (!fileLock.isHeld())
        return std::nullopt;
    Properties current = before;
    const Reading reading = readKept(current.kept);
    if (reading != Reading::good && reading != Reading::missing)
        return std::nullopt;
    Edit edit(current, before.kept);
    change(edit);
    if (edit.properties.kept != current.kept) {
        if (const std::u16string folder = folderOf(path_); !folder.empty())
            Platform::createFolders(folder);
        if (!Platform::writeFileAtomically(path_, fileText(edit.properties.kept)))
            return std::nullopt;
    }
    noteChangesOfOthers(before, current);
    return std::move(edit.properties);
}

void SettingsStore::noteChangesOfOthers(const Properties& before, const Properties& now) {
    for (const auto& [name, value] : before.kept) {
        if (!now.find(name))
            changesOfOthers_.push_back({name, std::nullopt});
    }
    for (const auto& [name, value] : now.kept) {
        const std::u16string* const old = before.find(name);
        if (!now.passing.contains(name) && (!old || *old != value))
            changesOfOthers_.push_back({name, value});
    }
}

std::vector<PropertyChange> SettingsStore::takeChangesOfOthers() {
    Platform::MutexLock lock(commitMutex_);
    return std::exchange(changesOfOthers_, {});
}

std::optional<std::u16string> SettingsStore::get(const std::u16string& name) const {
    Platform::MutexLock lock(mutex_);
    const std::u16string* const value = properties_.find(name);
    return value ? std::optional(*value) : std::nullopt;
}

std::vector<Property> SettingsStore::withPrefix(std::u16string_view prefix) const {
    Platform::MutexLock lock(mutex_);
    return properties_.withPrefix(prefix);
}

std::vector<bool> SettingsStore::set(const std::vector<Property>& properties) {
    std::vector<bool> outcomes(properties.size());
    Platform::MutexLock lock(commitMutex_);
    const auto change = [&](Edit& edit) {
        size_t units = edit.properties.units();
        for (size_t at = 0; at < properties.size(); ++at) {
            const Property& property = properties[at];
            const std::u16string* const old = edit.properties.find(property.name);
            const size_t before = old ? property.name.size() + old->size() : 0;
            const size_t after = units - before + property.name.size() + property.value.size();
            outcomes[at] = isAcceptable(property) && after <= maximumUnits;
            if (!outcomes[at])
                continue;
            units = after;
            edit.set(property);
        }
    };
    if (!commit(change))
        outcomes.assign(properties.size(), false);
    return outcomes;
}

std::vector<bool> SettingsStore::remove(const std::vector<std::u16string>& names) {
    std::vector<bool> outcomes(names.size());
    Platform::MutexLock lock(commitMutex_);
    const auto change = [&](Edit& edit) {
        for (size_t at = 0; at < names.size(); ++at)
            outcomes[at] = edit.erase(names[at]);
    };
    if (!commit(change, true))
        outcomes.assign(names.size(), false);
    return outcomes;
}

std::optional<std::vector<std::u16string>> SettingsStore::removePrefix(std::u16string_view prefix) {
    std::vector<std::u16string> removed;
    Platform::MutexLock lock(commitMutex_);
    const auto change = [&](Edit& edit) {
        removed.clear();
        for (const Property& property : edit.properties.withPrefix(prefix)) {
            edit.erase(property.name);
            removed.push_back(property.name);
        }
    };
    if (!commit(change, true))
        return std::nullopt;
    return removed;
}

}  // namespace Host
