#include "host/program/service/SessionNotifier.h"

#include <utility>

#include <brevant/alerts.h>

#include "json/JSONFormatter.h"
#include "platform/Clock.h"

namespace Host {
namespace {

constexpr auto lookInterval = std::chrono::seconds(1);

std::u16string payloadOf(uint32_t session) {
    Tavix::JSONFormatter payload;
    payload.setUInt32(BREVANT_SESSION_ID, session);
    return payload.toString();
}

}  // namespace

SessionNotifier::SessionNotifier(Lister lister, Publisher publisher)
    : lister_(std::move(lister)), publisher_(std::move(publisher)) {}

SessionNotifier::~SessionNotifier() {
    {
        Platform::MutexLock lock(mutex_);
        stopping_ = true;
        stopped_.notifyAll();
    }
    if (thread_.joinable())
        thread_.join();
}

void SessionNotifier::start() {
    look();
    thread_ = Platform::Thread([this] { watch(); });
}

void SessionNotifier::watch() {
    const Platform::Clock& clock = Platform::Clock::steady();
    Platform::MutexLock lock(mutex_);
    for (;;) {
        const auto deadline = clock.now() + lookInterval;
        while (!stopping_ && clock.waitUntil(stopped_, lock, deadline)) {
        }
        if (stopping_)
            return;
        lock.unlock();
        look();
        lock.lock();
    }
}

void SessionNotifier::look() {
    std::vector<Platform::UserSession> listed;
    if (!lister_(listed))
        return;
    std::map<uint32_t, Platform::UserSessionState> now;
    for (const Platform::UserSession& session : listed)
        now.emplace(session.id, session.state);
    sessions_.swap(now);
    if (!std::exchange(known_, true))
        return;
    const auto& before = now;
    for (const auto& [id, state] : before) {
        if (sessions_.find(id) == sessions_.end())
            publisher_(BREVANT_SESSION_LOGOFF, payloadOf(id));
    }
    for (const auto& [id, state] : sessions_) {
        const auto old = before.find(id);
        if (old == before.end())
            publisher_(BREVANT_SESSION_LOGON, payloadOf(id));
        if (state == Platform::UserSessionState::active &&
            (old == before.end() || old->second != Platform::UserSessionState::active))
            publisher_(BREVANT_SESSION_CONSOLE_CONNECT, payloadOf(id));
    }
}

}  // namespace Host
