#include "host/bus/nats/PeerTable.h"

#include <algorithm>
#include <regex>

namespace MessageBus {

void PeerTable::join(const ProcessId& process) {
    Platform::MutexLock lock(mutex_);
    if (Peer* const joined = peer(process))
        joined->takesPart = true;
}

void PeerTable::leave(const ProcessId& process) {
    Platform::MutexLock lock(mutex_);
    forget(process);
}

void PeerTable::forgetOthers(const ProcessId& process) {
    Platform::MutexLock lock(mutex_);
    std::vector<ProcessId> others;
    for (const auto& [other, each] : processes_)
        if (other != process)
            others.push_back(other);
    for (const ProcessId& other : others)
        forget(other);
}

void PeerTable::add(const ProcessId& process, std::u16string_view pattern, bool isObserver) {
    if (pattern.size() > mostPatternUnits)
        return;
    const auto entry = std::make_shared<Subscription>();
    entry->text = pattern;
    try {
        entry->pattern = std::make_shared<const Ferrow::NamePattern>(pattern);
    } catch (const std::regex_error&) {
        return;
    }
    Platform::MutexLock lock(mutex_);
    Announcements& to = isObserver ? observers_ : requests_;
    Peer* const known = to.count < mostPatterns ? peer(process) : nullptr;
    if (!known)
        return;
    known->takesPart = known->takesPart || !isObserver;
    entry->handle = known->number;
    if (!to.entries[process].try_emplace(entry->text, entry).second)
        return;
    to.index.add(entry);
    to.numbers[known->number] = process;
    ++to.count;
}

void PeerTable::remove(const ProcessId& process, std::u16string_view pattern, bool isObserver) {
    Platform::MutexLock lock(mutex_);
    Announcements& from = isObserver ? observers_ : requests_;
    const auto entries = from.entries.find(process);
    if (entries == from.entries.end())
        return;
    const auto found = entries->second.find(pattern);
    if (found == entries->second.end())
        return;
    from.index.remove(*found->second);
    entries->second.erase(found);
    --from.count;
}

std::vector<ProcessId> PeerTable::processes() {
    Platform::MutexLock lock(mutex_);
    std::vector<ProcessId> all;
    for (const auto& [process, each] : processes_)
        if (each.takesPart)
            all.push_back(process);
    return all;
}

std::vector<ProcessId> PeerTable::matching(std::u16string_view name, bool observers) {
    std::vector<ProcessId> found;
    Platform::MutexLock lock(mutex_);
    Announcements& in = observers ? observers_ : requests_;
    if (in.count == 0)
        return found;
    Receivers unused;
    std::vector<SubscriptionIndex::Candidate> candidates;
    in.index.collect(name, unused, candidates);
    const Ferrow::MatchName matched(name);
    for (const auto& candidate : candidates) {
        if (!candidate.pattern->matches(matched))
            continue;
        for (const auto& group : candidate.receivers)
            for (const auto& entry : *group)
                found.push_back(in.numbers[entry->handle]);
    }
    std::ranges::sort(found);
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

bool PeerTable::hasObservers() {
    Platform::MutexLock lock(mutex_);
    return observers_.count != 0;
}

PeerTable::Peer* PeerTable::peer(const ProcessId& process) {
    if (const auto found = processes_.find(process); found != processes_.end())
        return &found->second;
    if (processes_.size() >= mostProcesses)
        return nullptr;
    return &processes_.emplace(process, Peer{++lastNumber_}).first->second;
}

void PeerTable::forget(const ProcessId& process) {
    drop(requests_, process);
    drop(observers_, process);
    processes_.erase(process);
}

void PeerTable::drop(Announcements& from, const ProcessId& process) {
    const auto entries = from.entries.find(process);
    if (entries == from.entries.end())
        return;
    for (const auto& [pattern, entry] : entries->second) {
        from.index.remove(*entry);
        --from.count;
    }
    from.entries.erase(entries);
    std::erase_if(from.numbers, [&](const auto& number) { return number.second == process; });
}

}  // namespace MessageBus
