#include "bench/BenchHost.h"

#include <stdexcept>

#include <brevant/settings.h>

#include "bench/Product.h"
#include "text/Utf.h"

namespace Bench {
namespace {

using Support::BusMessage;

void check(bool good, const char* what) {
    if (!good)
        throw std::runtime_error(what);
}

}  // namespace

std::u16string description(uint64_t number, uint32_t session, size_t contents) {
    const std::u16string word = Ferrow::decimal(number);
    const std::u16string action =
        u"{\"text\":\"Scan now\",\"defaultmessage\":{\"messagename\":\"Product.Scan.Start\",\"payload\":"
        u"\"{\\\"kind\\\":\\\"full\\\"}\"},\"id\":\"scan\",\"default\":true}";
    return u"{\"id\":\"" + word + u"\",\"instanceId\":\"" + word +
           u"\",\"priority\":\"P2\",\"product\":\"bench\",\"sessionId\":" + Ferrow::decimal(session) +
           u",\"source\":\"client\",\"forcePreferredViewer\":false,\"preferredViewer\":[\"bench\"],"
           u"\"context\":{"
           u"\"title\":\"Your device needs attention " +
           word + u"\",\"category\":\"protection\",\"defaultcontent\":\"" +
           std::u16string(contents / 2, u'd') + u"\",\"detailscontent\":\"" +
           std::u16string(contents / 2, u'e') + u"\",\"width\":420,\"actions\":[" + action + u"," + action +
           u"]}}";
}

Surroundings::Surroundings() {
    folder_.writeSessions("1 active\n2 disconnected\n");
    for (const char16_t* request : {BREVANT_SETTINGS_GET, BREVANT_SETTINGS_GET_BATCH})
        settings_.onName(request, [this](const BusMessage& message) { return answer(message); });
}

uint32_t Surroundings::answer(const BusMessage& request) {
    const bool viewers = request.payload.find(u"Brevant/Viewer") != std::u16string::npos;
    return settings_.reply(
        request, request.name + u".Response",
        viewers ? u"{\"responses\":[{\"name\":\"Brevant/Viewer/bench\",\"status\":true,\"value\":\"\"}]}"
                : u"{\"name\":\"Brevant/Product/bench\",\"status\":true,\"value\":\"{\\\"pluginFile\\\":"
                  u"\\\"BenchPlugin.dll\\\",\\\"pluginPath\\\":\\\"$(App.Folder)\\\"}\"}");
}

Viewer::Viewer() {
    peer_.onPattern(u"Brevant.Viewer.bench.Show..+", [this](const BusMessage& m) { return onShow(m); });
}

uint32_t Viewer::onShow(const BusMessage& request) {
    const std::u16string word = request.name.substr(request.name.rfind(u'.') + 1);
    // The description begins with the alert's id.
    constexpr std::u16string_view beginning = u"{\"id\":\"";
    const std::u16string_view rest = std::u16string_view(request.payload).substr(beginning.size());
    const std::u16string alert = u"Brevant.Alert." + std::u16string(rest.substr(0, rest.find(u'"')));
    peer_.reply(request, alert + u".Shown." + word);
    const std::u16string dismissed = alert + u".Dismissed." + word;
    if (hold_.exchange(false)) {
        heldName_ = dismissed;
        held_.announce();
        return MODULE_STATUS_SUCCESS;
    }
    peer_.publish(dismissed);
    if (--toCome_ == 0) {
        ended_ = Clock::now();
        done_.announce();
    }
    return MODULE_STATUS_SUCCESS;
}

double Viewer::dismissHeldAndFollow(uint32_t count) {
    toCome_ = count;
    const auto began = Clock::now();
    peer_.publish(heldName_);
    done_.wait();
    return secondsBetween(began, ended_);
}

Module::Module(BrevantBusHandle handle, const BrevantBusFunctions* bus)
    : library_(beside(BENCH_MODULE_FILE)) {
    check(static_cast<bool>(library_), "the module cannot be loaded");
    functions_ = library_.function<BrevantModuleCreateObject>(BREVANT_EXPORT_CREATE_OBJECT)();
    check(functions_->NewModule(&handle_, u"Bench") == MODULE_STATUS_SUCCESS, "no module");
    const uint32_t status = bus ? functions_->InitializeModuleV2(handle_, u"Brevant", u"bench", 0, nullptr,
                                                                 nullptr, nullptr, nullptr, handle, bus)
                                : functions_->InitializeModule(handle_, u"Brevant", u"bench", 0, nullptr,
                                                               nullptr, nullptr, nullptr);
    check(status == MODULE_STATUS_SUCCESS && functions_->StartModule(handle_) == MODULE_STATUS_SUCCESS,
          "the module does not start");
}

Module::~Module() {
    destroy();
}

double Module::destroy() {
    if (!handle_)
        return 0;
    functions_->StopModule(handle_);
    functions_->UninitializeModule(handle_);
    const auto began = Clock::now();
    functions_->DestroyModule(std::exchange(handle_, nullptr));
    return secondsSince(began);
}

void Module::direct(const std::u16string& name, const std::u16string& payload) {
    check(functions_->DirectMessage(handle_, nullptr, name.c_str(), nullptr, payload.c_str()) ==
              MODULE_STATUS_SUCCESS,
          "the module takes no message");
}

uint64_t Module::takeNumbers(uint32_t count) {
    const uint64_t first = next_;
    for (; next_ < first + count; ++next_)
        direct(u"Brevant.Alert.GetId");
    return first;
}

void Module::fill(uint32_t count, size_t contents) {
    if (count == 0)
        return;
    const uint64_t first = takeNumbers(count), last = first + count - 1;
    for (uint64_t number = first; number != last; ++number)
        direct(u"Brevant.Alert.Show." + Ferrow::decimal(number),
               description(number, waitingSession, contents));
    // The last one in the way that tells whether it waits.
    Product product;
    product.prepare(last, 1, waitingSession);
    product.accept(1);
}

void Module::remove(uint64_t first, uint32_t count) {
    for (uint64_t number = first; number < first + count; ++number)
        direct(u"Brevant.Alert.Delete." + Ferrow::decimal(number));
}

}  // namespace Bench
