#include "telemetry/CSDKConnector.h"

#include <atomic>
#include <string>

#include "library/CommonReplacements.h"
#include "platform/Thread.h"
#include "telemetry/CNullTransport.h"
#include "telemetry/TransportLists.h"
#include "text/Utf.h"

namespace Tavix::Analytics {

namespace {

// The writer of the JSON text doubles the separators once more: receivers undo both.
std::u16string callerName() {
    std::u16string path = u"$(App.Path)";
    Ferrow::CommonReplacements().resolvePath(path);
    std::u16string escaped;
    escaped.reserve(path.size() + 16);
    for (const char16_t unit : path) {
        if (unit == u'\\')  // compat
            escaped.push_back(unit);
        escaped.push_back(unit);
    }
    return escaped;
}

// The calling thread's turn to select a transport.
class Selection {
public:
    explicit Selection(std::atomic<uint32_t>& thread) : thread_(thread) {
        thread_ = Platform::currentThreadId();
    }
    ~Selection() { thread_ = 0; }
    Selection(const Selection&) = delete;
    Selection& operator=(const Selection&) = delete;

private:
    std::atomic<uint32_t>& thread_;
};

std::shared_ptr<internal::ITransport> firstThatOpens(
    const std::vector<std::shared_ptr<internal::ITransport>>& transports) {
    for (const auto& transport : transports) {
        if (transport->Open())
            return transport;
        transport->Close();
    }
    return nullptr;
}

}  // namespace

void CSDKConnector::Connect() {
    transport_ = SelectTransport();
}

bool CSDKConnector::Send(DimensionMap& dimensions) {
    if (!transport_)
        return false;
    dimensions[u"__caller.name"] = callerName();
    dimensions[u"__transport.name"] =
        transport_->GetName() + u" v" + Ferrow::decimal(transport_->GetVersion());
    return transport_->Send(dimensions);
}

void CSDKConnector::Disconnect() {
    if (!transport_)
        return;
    transport_->Close();
    transport_.reset();
}

std::shared_ptr<internal::ITransport> CSDKConnector::SelectTransport() {
    internal::TransportLists& lists = internal::transportLists();
    // A sink that publishes in its factory, over a bus that delivers in place, brings about an event in
    // there. Its own selection would wait for this thread, and then create the sink again, and so on.
    if (lists.selecting == Platform::currentThreadId())
        return std::make_shared<CNullTransport>();
    Platform::MutexLock lock(lists.mutex);
    const Selection selection(lists.selecting);
    if (auto transport = firstThatOpens(lists.primary))
        return transport;
    if (auto transport = firstThatOpens(lists.fallback))
        return transport;
    return std::make_shared<CNullTransport>();
}

}  // namespace Tavix::Analytics
