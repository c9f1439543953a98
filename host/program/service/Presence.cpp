#include "host/program/service/Presence.h"

#include <algorithm>

#include <brevant/cpp/alerts.h>

#include "host/program/connection/HostMessages.h"
#include "host/program/connection/SettingsRequests.h"
#include "json/JSONFormatter.h"

namespace Host {
namespace {

// Two rounds and the slowest answer to the second: a viewer that is gone is known within 5 s.
constexpr auto askInterval = std::chrono::milliseconds(1500);
constexpr auto answerTime = std::chrono::milliseconds(1000);
constexpr unsigned mostSilent = 2;

}  // namespace

Presence::Presence(const SettingsStore& store, BusConnection& connection)
    : store_(store), connection_(connection) {}

Presence::~Presence() {
    {
        Platform::MutexLock lock(mutex_);
        stopping_ = true;
        stopped_.notifyAll();
    }
    if (thread_.joinable())
        thread_.join();
}

void Presence::start() {
    thread_ = Platform::Thread([this] { run(); });
}

std::vector<Presence::Registered> Presence::registered(const SettingsStore& store) {
    const std::u16string prefix = Brevant::property(BREVANT_VIEWER_KEY, {});
    std::vector<Registered> viewers;
    for (const Property& property : store.withPrefix(prefix)) {
        Registered& viewer = viewers.emplace_back(Registered{property.name.substr(prefix.size())});
        Tavix::JSONFormatter value;
        if (value.parse(property.value))
            value.getBool(u"alive", viewer.isAsked);
    }
    return viewers;
}

void Presence::run() {
    const Platform::Clock& clock = Platform::Clock::steady();
    auto deadline = clock.now();
    Platform::MutexLock lock(mutex_);
    for (;;) {
        deadline = std::max(deadline + askInterval, clock.now());
        while (!stopping_ && clock.waitUntil(stopped_, lock, deadline)) {
        }
        if (stopping_)
            return;
        lock.unlock();
        ask();
        lock.lock();
    }
}

void Presence::ask() {
    std::vector<std::u16string> ids, names;
    for (const Registered& viewer : registered(store_)) {
        if (!viewer.isAsked)
            continue;
        ids.push_back(viewer.id);
        names.push_back(Brevant::viewerMessage(viewer.id, BREVANT_VIEWER_ALIVE));
    }
    const std::vector<BusAnswer> answers = connection_.requestAll(names, answerTime);
    std::vector<std::u16string> absent;
    std::map<std::u16string, unsigned> silent;
    const auto time = Platform::Clock::steady().now();
    {
        Platform::MutexLock lock(mutex_);
        std::map<std::u16string, Platform::Clock::Time> signs;
        for (size_t at = 0; at < ids.size(); ++at) {
            if (answers[at].status == MODULE_STATUS_SUCCESS)
                signs[ids[at]] = time;
            else if (const auto before = signs_.find(ids[at]); before != signs_.end())
                signs.insert(*before);
            if (answers[at].status == MODULE_STATUS_NO_SUBSCRIBERS)
                silent[ids[at]] = silent_[ids[at]] + 1;
        }
        signs_.swap(signs);
    }
    silent_.swap(silent);
    for (const auto& [id, times] : silent_) {
        if (times >= mostSilent)
            absent.push_back(id);
    }
    if (absent.empty())
        return;
    // While the bus itself is away, nobody is heard.
    if (connection_.request(BREVANT_HOST_STATUS, {}, answerTime).status != MODULE_STATUS_SUCCESS) {
        silent_.clear();
        return;
    }
    names.clear();
    for (const std::u16string& id : absent)
        names.push_back(Brevant::viewerMessage(id, BREVANT_VIEWER_ALIVE));
    // One that has come meanwhile has registered anew.
    const std::vector<BusAnswer> last = connection_.requestAll(names, answerTime);
    for (size_t at = 0; at < absent.size(); ++at) {
        silent_.erase(absent[at]);
        if (last[at].status == MODULE_STATUS_NO_SUBSCRIBERS)
            removeProperty(connection_, Brevant::property(BREVANT_VIEWER_KEY, absent[at]));
    }
}

std::optional<Platform::Clock::Time> Presence::lastSign(const std::u16string& viewer) const {
    Platform::MutexLock lock(mutex_);
    const auto found = signs_.find(viewer);
    return found == signs_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace Host
