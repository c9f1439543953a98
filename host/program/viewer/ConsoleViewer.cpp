#include "host/program/viewer/ConsoleViewer.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <brevant/cpp/alerts.h>

#include "host/program/connection/HostError.h"
#include "host/program/connection/HostMessages.h"
#include "host/program/connection/SettingsRequests.h"

namespace Host {
namespace {

// Asks to be looked after (HostMessages.h).
constexpr const char16_t* registration = u"{\"alive\":true}";

// What choosing has published; null for nothing.
const DisplayedAlert::Message* messageOf(const DisplayedAlert& alert, const Showing::End& end) {
    if (!end.action)
        return nullptr;
    const auto& message = alert.messageFor(alert.actions[*end.action], end.ticked);
    return message.name.empty() ? nullptr : &message;
}

}  // namespace

ConsoleViewer::ConsoleViewer(const BrevantBusFunctions& functions, AlertDisplay& display, std::u16string id,
                             Observer observer)
    : display_(display),
      id_(std::move(id)),
      observer_(std::move(observer)),
      connection_(functions, u"ConsoleViewer") {
    const auto requests = [this](const char16_t* word) {
        return literalPattern(Brevant::viewerMessage(id_, word)) + u".+";
    };
    const auto alive = [this](const ReceivedMessage& request) {
        return connection_.reply(request, request.name + u".Response", {},
                                 BusConnection::Audience::requesterOnly);
    };
    const bool subscribed =
        connection_.subscribePattern(requests(BREVANT_VIEWER_SHOW),
                                     [this](const ReceivedMessage& m) { return onShow(m); }) &&
        connection_.subscribePattern(requests(BREVANT_VIEWER_DELETE),
                                     [this](const ReceivedMessage& m) { return onDelete(m); }) &&
        connection_.subscribe(Brevant::viewerMessage(id_, BREVANT_VIEWER_ALIVE), alive);
    if (!subscribed)
        throw HostError("the message bus refuses the viewer's subscriptions");
    thread_ = Platform::Thread([this] { run(); });
}

bool ConsoleViewer::registerViewer() {
    registered_ = setVolatileProperty(connection_, Brevant::property(BREVANT_VIEWER_KEY, id_), registration);
    return registered_;
}

void ConsoleViewer::clear() {
    Platform::MutexLock lock(mutex_);
    waiting_.clear();
    if (showing_)
        showing_->takeDown();
}

void ConsoleViewer::close() {
    if (!thread_.joinable())
        return;
    if (std::exchange(registered_, false))
        removeProperty(connection_, Brevant::property(BREVANT_VIEWER_KEY, id_));
    {
        Platform::MutexLock lock(mutex_);
        closing_ = true;
        if (showing_)
            showing_->takeDown();
        changed_.notifyAll();
    }
    thread_.join();
    connection_.close();
}

uint32_t ConsoleViewer::onShow(const ReceivedMessage& request) {
    Item item{request, Brevant::instanceOf(request.name), {}};
    auto alert = DisplayedAlert::parse(request.payload);
    if (!alert) {
        connection_.reply(request, Brevant::alertMessage({}, BREVANT_ALERT_FAILED, item.instance));
        return MODULE_STATUS_DATA_ERROR;
    }
    item.alert = std::move(*alert);
    {
        Platform::MutexLock lock(mutex_);
        if (!closing_ && waiting_.size() < mostWaiting) {
            remember(item);
            waiting_.push_back(std::move(item));
            changed_.notifyAll();
            return MODULE_STATUS_SUCCESS;
        }
    }
    connection_.reply(request, Brevant::alertMessage(item.alert.id, BREVANT_ALERT_FAILED, item.instance));
    return MODULE_STATUS_UNSUCCESSFUL;
}

uint32_t ConsoleViewer::onDelete(const ReceivedMessage& request) {
    const std::u16string instance = Brevant::instanceOf(request.name);
    std::u16string alert;
    std::vector<Item> dropped;
    {
        Platform::MutexLock lock(mutex_);
        if (const auto found = ids_.find(instance); found != ids_.end())
            alert = found->second;
        const auto first = std::stable_partition(waiting_.begin(), waiting_.end(),
                                                 [&](const Item& item) { return item.instance != instance; });
        std::move(first, waiting_.end(), std::back_inserter(dropped));
        waiting_.erase(first, waiting_.end());
        if (shownInstance_ == instance) {
            deleted_ = true;
            if (showing_)
                showing_->takeDown();
        }
    }
    for (const Item& item : dropped)
        connection_.reply(item.request, Brevant::alertMessage(item.alert.id, BREVANT_ALERT_FAILED, instance));
    // An instance that was never here gets an answer too, if one that the broker does not expect: it then
    // need not wait for its time limit.
    return connection_.reply(request, Brevant::alertMessage(alert, BREVANT_ALERT_DISMISSED, instance));
}

void ConsoleViewer::remember(const Item& item) {
    if (!ids_.insert_or_assign(item.instance, item.alert.id).second)
        return;
    remembered_.push_back(item.instance);
    if (remembered_.size() > mostRemembered + mostWaiting) {
        ids_.erase(remembered_.front());
        remembered_.pop_front();
    }
}

void ConsoleViewer::run() {
    Platform::MutexLock lock(mutex_);
    for (;;) {
        while (!closing_ && waiting_.empty())
            changed_.wait(lock);
        if (waiting_.empty())
            return;
        const Item item = std::move(waiting_.front());
        waiting_.pop_front();
        shownInstance_ = item.instance;
        deleted_ = false;
        const bool refuse = closing_;
        lock.unlock();
        if (refuse)
            connection_.reply(item.request,
                              Brevant::alertMessage(item.alert.id, BREVANT_ALERT_FAILED, item.instance));
        else
            present(item);
        lock.lock();
        shownInstance_.clear();
    }
}

void ConsoleViewer::present(const Item& item) {
    const std::unique_ptr<Showing> showing = display_.show(item.alert);
    if (!showing) {
        connection_.reply(item.request,
                          Brevant::alertMessage(item.alert.id, BREVANT_ALERT_FAILED, item.instance));
        return;
    }
    {
        Platform::MutexLock lock(mutex_);
        showing_ = showing.get();
        if (closing_ || deleted_)
            showing_->takeDown();
    }
    connection_.reply(item.request, Brevant::alertMessage(item.alert.id, BREVANT_ALERT_SHOWN, item.instance));
    const Showing::End end = showing->wait();
    bool deleted = false;
    {
        Platform::MutexLock lock(mutex_);
        showing_ = nullptr;
        deleted = deleted_;
    }
    if (observer_.ended)
        observer_.ended(item.alert, end, deleted);
    // Deleted: the answer to the delete request is the outcome.
    if (deleted)
        return;
    if (end.ending == Showing::Ending::takenDown) {
        connection_.publish(Brevant::alertMessage(item.alert.id, BREVANT_ALERT_FAILED, item.instance));
        return;
    }
    if (end.ending == Showing::Ending::timedOut)
        publishAll(item.alert.timeoutMessages);
    else if (const auto* message = messageOf(item.alert, end))
        publishAll({*message});
    else
        publishAll(item.alert.dismissalMessages);
    connection_.publish(Brevant::alertMessage(item.alert.id, BREVANT_ALERT_DISMISSED, item.instance));
}

void ConsoleViewer::publishAll(const std::vector<DisplayedAlert::Message>& messages) {
    for (const DisplayedAlert::Message& message : messages) {
        if (connection_.publish(message.name, message.payload) == MODULE_STATUS_SUCCESS &&
            observer_.published)
            observer_.published(message.name);
    }
}

}  // namespace Host
