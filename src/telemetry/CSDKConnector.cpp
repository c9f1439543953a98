#include "telemetry/CSDKConnector.h"

#include <string>

#include "library/CommonReplacements.h"
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
        if (unit == u'\\')
            escaped.push_back(unit);
        escaped.push_back(unit);
    }
    return escaped;
}

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
    Platform::MutexLock lock(lists.mutex);
    if (auto transport = firstThatOpens(lists.primary))
        return transport;
    if (auto transport = firstThatOpens(lists.fallback))
        return transport;
    return std::make_shared<CNullTransport>();
}

}  // namespace Tavix::Analytics
