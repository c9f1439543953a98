#include "host/program/viewer/ConsoleViewer.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <brevant/cpp/alerts.h>

#include "host/program/connection/HostError.h"
#include "host/program/connection/SettingsRequests.h"

namespace Host {
namespace {

std::u16string property() {
    return Brevant::property(BREVANT_VIEWER_KEY, ConsoleViewer::id);
}

}  // namespace

ConsoleViewer::ConsoleViewer(const BrevantBusFunctions& functions, AlertDisplay& display,
                             ChoiceObserver onChoice)
    : display_(display), onChoice_(std::move(onChoice)), connection_(functions, u"ConsoleViewer") {
    const auto requests = [](const char16_t* word) {
        return literalPattern(Brevant::viewerMessage(id, word)) + u".+";
    };
    const bool subscribed =
        connection_.subscribePattern(requests(BREVANT_VIEWER_SHOW),
                                     [this](const ReceivedMessage& m) { return onShow(m); }) &&
        connection_.subscribePattern(requests(BREVANT_VIEWER_DELETE),
                                     [this](const ReceivedMessage& m) { return onDelete(m); });
    if (!subscribed)
        throw HostError("the message bus refuses the viewer's subscriptions");
    thread_ = Platform::Thread([this] { run(); });
}

bool ConsoleViewer::registerViewer() {
    registered_ = setVolatileProperty(connection_, property(), id);
    return registered_;
}

void ConsoleViewer::close() {
    if (!thread_.joinable())
        return;
    if (std::exchange(registered_, false))
        removeProperty(connection_, property());
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
    // Deleted: the answer to the delete request is the outcome.
    if (deleted)
        return;
    if (end.ending == Showing::Ending::takenDown) {
        connection_.publish(Brevant::alertMessage(item.alert.id, BREVANT_ALERT_FAILED, item.instance));
        return;
    }
    if (end.ending == Showing::Ending::timedOut)
        publishAll(item.alert.timeoutMessages);
    else if (end.action && !item.alert.actions[*end.action].message.name.empty())
        publishAll({item.alert.actions[*end.action].message});
    else
        publishAll(item.alert.dismissalMessages);
    connection_.publish(Brevant::alertMessage(item.alert.id, BREVANT_ALERT_DISMISSED, item.instance));
}

void ConsoleViewer::publishAll(const std::vector<DisplayedAlert::Message>& messages) {
    for (const DisplayedAlert::Message& message : messages) {
        if (connection_.publish(message.name, message.payload) == MODULE_STATUS_SUCCESS && onChoice_)
            onChoice_(message.name);
    }
}

}  // namespace Host
