#include "host/program/settings/SettingsService.h"

#include <brevant/settings.h>

#include "host/program/connection/HostError.h"

namespace Host {

SettingsService::SettingsService(const BrevantBusFunctions& functions, SettingsStore& store)
    : store_(store), connection_(functions, u"SettingsManager") {
    for (const std::u16string_view topic :
         {BREVANT_SETTINGS_GET, BREVANT_SETTINGS_SET, BREVANT_SETTINGS_REMOVE, BREVANT_SETTINGS_GET_BATCH,
          BREVANT_SETTINGS_SET_BATCH, BREVANT_SETTINGS_REMOVE_BATCH}) {
        const auto handler = [this, topic](const ReceivedMessage& request) {
            return onRequest(request, topic);
        };
        if (!connection_.subscribe(std::u16string(topic), handler))
            throw HostError("the message bus refuses the settings manager's subscriptions");
    }
}

uint32_t SettingsService::onRequest(const ReceivedMessage& request, std::u16string_view topic) {
    const bool single = topic == BREVANT_SETTINGS_GET, many = topic == BREVANT_SETTINGS_GET_BATCH;
    const SettingsAnswer answer = single ? answerSettingsRequest(store_, topic, request.payload)
                                  : many ? batch(request)
                                         : change(request, topic);
    // Values are the requester's business alone.
    const uint32_t status = connection_.reply(request, request.name + u".Response", answer.payload,
                                              BusConnection::Audience::requesterOnly);
    announce();
    return answer.understood ? status : MODULE_STATUS_DATA_ERROR;
}

SettingsAnswer SettingsService::change(const ReceivedMessage& request, std::u16string_view topic) {
    Platform::MutexLock change(changes_);
    SettingsAnswer answer = answerSettingsRequest(store_, topic, request.payload);
    Platform::MutexLock lock(noticesMutex_);
    for (SettingsNotice& notice : answer.notices)
        notices_.push_back(std::move(notice));
    return answer;
}

SettingsAnswer SettingsService::batch(const ReceivedMessage& request) {
    Platform::MutexLock lock(batches_);
    return answerSettingsRequest(store_, BREVANT_SETTINGS_GET_BATCH, request.payload);
}

void SettingsService::announce() {
    // One thread publishes at a time, for all: the notices keep their order. Who finds one at it leaves its
    // own notices to that one.
    Platform::MutexLock lock(noticesMutex_);
    if (announcing_)
        return;
    announcing_ = true;
    while (!notices_.empty()) {
        const SettingsNotice notice = std::move(notices_.front());
        notices_.pop_front();
        lock.unlock();
        connection_.publish(notice.name, notice.payload);
        lock.lock();
    }
    announcing_ = false;
}

}  // namespace Host
