#include "bench/BenchHost.h"

#include <stdexcept>

#include <brevant/library.h>

#include "json/JSONFormatter.h"
#include "platform/DynamicLibrary.h"
#include "platform/Process.h"
#include "text/Utf.h"

namespace Bench {

using Support::BusMessage;

std::u16string description(uint64_t number, uint32_t session) {
    const std::u16string word = Ferrow::decimal(number);
    Tavix::JSONFormatter text, context, action, message;
    message.setString(u"messagename", u"Product.Scan.Start");
    message.setString(u"payload", u"{\"kind\":\"full\"}");
    action.setString(u"text", u"Scan now");
    action.setObject(u"defaultmessage", message);
    action.setString(u"id", u"scan");
    action.setBool(u"default", true);
    context.setString(u"title", u"Your device needs attention " + word);
    context.setString(u"category", u"protection");
    context.setString(u"defaultcontent", std::u16string(500, u'd'));
    context.setString(u"detailscontent", std::u16string(400, u'e'));
    context.setUInt32(u"width", 420);
    context.setObjectArray(u"actions", {action, action});
    text.setString(u"id", word);
    text.setString(u"instanceId", word);
    text.setString(u"priority", u"P2");
    text.setString(u"product", u"bench");
    text.setUInt32(u"sessionId", session);
    text.setString(u"source", u"client");
    text.setBool(u"forcePreferredViewer", false);
    text.setStringArray(u"preferredViewer", {u"bench"});
    text.setObject(u"context", context);
    return text.toString();
}

BenchHost::BenchHost() {
    // Session 1 shows; session 2 only queues.
    folder_.writeSessions("1 active\n2 disconnected\n");
    product_.onName(u"SETTINGS_MANAGER_GET_PROPERTY", [this](const BusMessage& m) { return onSettings(m); });
    product_.onName(u"SettingsManager.GetProperties.Request",
                    [this](const BusMessage& m) { return onSettings(m); });
    product_.onPattern(u"Brevant.Alert..+", [this](const BusMessage& m) { return onStatus(m); });
    viewer_.onPattern(u"Brevant.Viewer.bench.Show..+", [this](const BusMessage& m) { return onShow(m); });

    std::u16string path = Platform::executablePath();
    path = path.substr(0, path.rfind(u'\\') + 1) + Ferrow::toUtf16(BENCH_MODULE_FILE);
    library_ = Platform::loadLibrary(path);
    if (!library_)
        throw std::runtime_error("the module cannot be loaded");
    functions_ = reinterpret_cast<BrevantModuleCreateObject>(
        Platform::libraryFunction(library_, BREVANT_EXPORT_CREATE_OBJECT))();
    if (functions_->NewModule(&module_, u"Bench") != 0 ||
        functions_->InitializeModule(module_, u"Brevant", u"bench", 0, nullptr, nullptr, nullptr, nullptr) !=
            0 ||
        functions_->StartModule(module_) != 0)
        throw std::runtime_error("the module does not start");
}

BenchHost::~BenchHost() {
    functions_->StopModule(module_);
    functions_->UninitializeModule(module_);
    functions_->DestroyModule(module_);
    Platform::freeLibrary(library_);
}

uint64_t BenchHost::nextInstance() {
    BusMessage reply;
    if (product_.request(u"Brevant.Alert.GetId", u"", reply) != MODULE_STATUS_SUCCESS)
        throw std::runtime_error("no instance id");
    return std::stoull(Ferrow::toUtf8(reply.payload));
}

void BenchHost::publishShow(uint64_t number, const std::u16string& payload) {
    product_.publish(u"Brevant.Alert.Show." + Ferrow::decimal(number), payload);
}

void BenchHost::accept(uint64_t number, const std::u16string& payload) {
    const std::u16string word = Ferrow::decimal(number);
    publishAndWait(u"Brevant.Alert.Show." + word, payload, u"Brevant.Alert." + word + u".Queued." + word);
}

void BenchHost::remove(uint64_t number) {
    const std::u16string word = Ferrow::decimal(number);
    publishAndWait(u"Brevant.Alert.Delete." + word, u"", u"Brevant.Alert..Deleted." + word);
}

void BenchHost::waitForShown(uint64_t count) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, std::chrono::seconds(60), [&] { return shown_ >= count; }))
        throw std::runtime_error("an alert was not shown");
}

uint64_t BenchHost::shown() const {
    std::lock_guard lock(mutex_);
    return shown_;
}

uint32_t BenchHost::onStatus(const BusMessage& message) {
    std::lock_guard lock(mutex_);
    if (message.name == expected_) {
        expected_.clear();
        changed_.notify_all();
    }
    return MODULE_STATUS_SUCCESS;
}

uint32_t BenchHost::onShow(const BusMessage& request) {
    const std::u16string word = request.name.substr(request.name.rfind(u'.') + 1);
    viewer_.reply(request, u"Brevant.Alert." + word + u".Shown." + word);
    viewer_.publish(u"Brevant.Alert." + word + u".Dismissed." + word);
    std::lock_guard lock(mutex_);
    ++shown_;
    changed_.notify_all();
    return MODULE_STATUS_SUCCESS;
}

uint32_t BenchHost::onSettings(const BusMessage& request) {
    if (request.payload.find(u"Brevant/Viewer") != std::u16string::npos)
        return product_.reply(
            request, request.name + u".Response",
            u"{\"responses\":[{\"name\":\"Brevant/Viewer/bench\",\"status\":true,\"value\":\"\"}]}");
    return product_.reply(
        request, request.name + u".Response",
        u"{\"name\":\"Brevant/Product/bench\",\"status\":true,\"value\":\"{\\\"pluginFile\\\":"
        u"\\\"RoadPlugin.dll\\\",\\\"pluginPath\\\":\\\"$(App.Folder)\\\"}\"}");
}

void BenchHost::publishAndWait(const std::u16string& request, const std::u16string& payload,
                               const std::u16string& answer) {
    {
        std::lock_guard lock(mutex_);
        expected_ = answer;
    }
    product_.publish(request, payload);
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, std::chrono::seconds(60), [&] { return expected_.empty(); }))
        throw std::runtime_error("the broker does not answer: " + Ferrow::toUtf8(answer));
}

}  // namespace Bench
