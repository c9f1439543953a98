#include "SettingsStore.h"

#include "SystemPath.h"
#include "json/JSONFormatter.h"
#include "platform/Files.h"
#include "text/Format.h"
#include "text/Utf.h"

namespace Host {
namespace {

constexpr uint64_t maximumFile = uint64_t{256} << 20;  // bytes
constexpr auto fileMutexWait = std::chrono::seconds(7);

// Spellings of one path may differ; then the hosts only lose the shared lock.
std::u16string fileMutexName(const std::u16string& path) {
    uint64_t hash = 14695981039346656037u;
    for (const char16_t unit : Ferrow::toLowerAscii(path))
        hash = (hash ^ unit) * 1099511628211u;
    return Ferrow::formatText(u"brevant-host-settings_%016llx", hash);
}

class FileLock {
public:
    explicit FileLock(Platform::NamedMutex* mutex)
        : mutex_(mutex && mutex->acquire(fileMutexWait) ? mutex : nullptr) {}
    ~FileLock() {
        if (mutex_)
            mutex_->release();
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    Platform::NamedMutex* mutex_;
};

bool isWellFormed(const std::u16string& text) {
    return Ferrow::toUtf16(Ferrow::toUtf8(text)) == text;
}

bool isAcceptable(const Property& property) {
    if (property.name.empty() || property.name.size() > SettingsStore::maximumName ||
        property.value.size() > SettingsStore::maximumValue)
        return false;
    return property.isVolatile || (isWellFormed(property.name) && isWellFormed(property.value));
}

std::u16string folderOf(const std::u16string& path) {
    const size_t end = path.rfind(u'\\');
    return end == path.npos ? std::u16string() : path.substr(0, end);
}

}  // namespace

SettingsStore::SettingsStore(std::u16string path)
    : path_(std::move(path)), fileMutex_(Platform::NamedMutex::create(fileMutexName(path_))) {}

std::u16string SettingsStore::open() {
    Platform::MutexLock lock(mutex_);
    const FileLock fileLock(fileMutex_.get());
    properties_.clear();
    writable_ = true;
    switch (takeFromFile(properties_)) {
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

SettingsStore::Reading SettingsStore::takeFromFile(Properties& properties) const {
    std::erase_if(properties, [](const auto& property) { return !property.second.isVolatile; });
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
    Properties kept;
    for (const Tavix::JSONView& item : items) {
        std::u16string name, value;
        if (!item.getString(u"name", name) || !item.getString(u"value", value))
            return Reading::damaged;
        kept.insert_or_assign(std::move(name), Entry{std::move(value), false});
    }
    // What is volatile here hides what another host keeps under the same name.
    properties.merge(kept);
    return Reading::good;
}

std::string SettingsStore::fileText(const Properties& properties) {
    std::string text = "{\n\"properties\": [";
    const char* separator = "\n";
    for (const auto& [name, entry] : properties) {
        if (entry.isVolatile)
            continue;
        Tavix::JSONFormatter item;
        item.setString(u"name", name);
        item.setString(u"value", entry.value);
        text += separator + Ferrow::toUtf8(item.toString());
        separator = ",\n";
    }
    return text + "\n]\n}\n";
}

bool SettingsStore::sameKept(const Properties& left, const Properties& right) {
    auto at = left.begin();
    auto other = right.begin();
    const auto skipVolatile = [](auto& position, const Properties& properties) {
        while (position != properties.end() && position->second.isVolatile)
            ++position;
    };
    for (;; ++at, ++other) {
        skipVolatile(at, left);
        skipVolatile(other, right);
        if (at == left.end() || other == right.end())
            return at == left.end() && other == right.end();
        if (at->first != other->first || at->second.value != other->second.value)
            return false;
    }
}

bool SettingsStore::commit(const std::function<void(Properties&)>& change) {
    Properties next = properties_;
    change(next);
    if (!sameKept(next, properties_)) {
        if (!writable_)
            return false;
        const FileLock fileLock(fileMutex_.get());
        next = properties_;
        const Reading reading = takeFromFile(next);
        if (reading != Reading::good && reading != Reading::missing)
            return false;
        change(next);
        const std::u16string folder = folderOf(path_);
        if (!folder.empty())
            Platform::createFolders(folder);
        if (!Platform::writeFileAtomically(path_, fileText(next)))
            return false;
    }
    properties_.swap(next);
    return true;
}

std::optional<std::u16string> SettingsStore::get(const std::u16string& name) const {
    Platform::MutexLock lock(mutex_);
    const auto found = properties_.find(name);
    return found == properties_.end() ? std::nullopt : std::optional(found->second.value);
}

std::vector<Property> SettingsStore::withPrefix(std::u16string_view prefix) const {
    std::vector<Property> result;
    Platform::MutexLock lock(mutex_);
    for (auto at = properties_.lower_bound(prefix); at != properties_.end() && at->first.starts_with(prefix);
         ++at)
        result.push_back({at->first, at->second.value, at->second.isVolatile});
    return result;
}

std::vector<bool> SettingsStore::set(const std::vector<Property>& properties) {
    std::vector<bool> outcomes(properties.size());
    Platform::MutexLock lock(mutex_);
    const auto change = [&](Properties& next) {
        size_t units = 0;
        for (const auto& [name, entry] : next)
            units += name.size() + entry.value.size();
        for (size_t at = 0; at < properties.size(); ++at) {
            const Property& property = properties[at];
            const auto old = next.find(property.name);
            const size_t before = old == next.end() ? 0 : property.name.size() + old->second.value.size();
            const size_t after = units - before + property.name.size() + property.value.size();
            outcomes[at] = isAcceptable(property) && after <= maximumUnits;
            if (!outcomes[at])
                continue;
            units = after;
            next.insert_or_assign(property.name, Entry{property.value, property.isVolatile});
        }
    };
    if (!commit(change))
        outcomes.assign(properties.size(), false);
    return outcomes;
}

std::vector<bool> SettingsStore::remove(const std::vector<std::u16string>& names) {
    std::vector<bool> outcomes(names.size());
    Platform::MutexLock lock(mutex_);
    const auto change = [&](Properties& next) {
        for (size_t at = 0; at < names.size(); ++at)
            outcomes[at] = next.erase(names[at]) != 0;
    };
    if (!commit(change))
        outcomes.assign(names.size(), false);
    return outcomes;
}

std::optional<std::vector<std::u16string>> SettingsStore::removePrefix(std::u16string_view prefix) {
    std::vector<std::u16string> removed;
    Platform::MutexLock lock(mutex_);
    const auto change = [&](Properties& next) {
        removed.clear();
        auto at = next.lower_bound(prefix);
        while (at != next.end() && at->first.starts_with(prefix)) {
            removed.push_back(at->first);
            at = next.erase(at);
        }
    };
    if (!commit(change))
        return std::nullopt;
    return removed;
}

}  // namespace Host
