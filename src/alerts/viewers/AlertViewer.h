// The two requests that the broker makes of a viewer process.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace Tavix {
class Message;
class MessageBusClient;
}  // namespace Tavix

namespace Vok {

// Constant once built; requests of concurrent callers are independent. Each blocks its thread until the
// viewer has answered or the time limit has passed. Takes no lock.
class AlertViewer {
public:
    static constexpr std::chrono::milliseconds requestTimeout{90000};

    // An empty bus client is replaced by one of its own, whose constructor throws ModuleException.
    explicit AlertViewer(const std::u16string& id,
                         std::shared_ptr<Tavix::MessageBusClient> busClient = nullptr);
    virtual ~AlertViewer();
    AlertViewer(const AlertViewer&) = delete;
    AlertViewer& operator=(const AlertViewer&) = delete;

    virtual const std::u16string& getId() const;

    // True when the viewer confirmed exactly this alert. Otherwise the alert is announced as failed on the
    // bus, which the alert takes for its outcome while it is subscribed to it. payload is the description as
    // JSON.
    virtual bool show(const std::u16string& payload, const std::u16string& alertId,
                      const std::u16string& instanceId);
    virtual bool dismiss(const std::u16string& alertId, const std::u16string& instanceId);

private:
    // Sends the request and compares the reply's name; function is the operation's name in log records.
    uint32_t exchange(const char16_t* function, const std::shared_ptr<Tavix::Message>& request,
                      const std::u16string& expectedName);
    void reportFailure(const char16_t* label, uint32_t status, const std::u16string& alertId,
                       const std::u16string& instanceId);

    const std::u16string id_;
    const std::u16string showTopic_;
    const std::u16string deleteTopic_;
    const std::shared_ptr<Tavix::MessageBusClient> busClient_;
};

}  // namespace Vok
