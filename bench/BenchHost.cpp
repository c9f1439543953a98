#include "bench/BenchHost.h"

#include <stdexcept>

#include <brevant/cpp/alerts.h>
#include <brevant/library.h>
#include <brevant/settings.h>

#include "json/JSONFormatter.h"
#include "platform/DynamicLibrary.h"
#include "platform/Process.h"
#include "text/Utf.h"

namespace Bench {

using Support::BusMessage;

std::u16string description(uint64_t number, uint32_t session) {
    const std::u16string word = Ferrow::decimal(number);
    Tavix::JSONFormatter text, context, action, message;
    message.setString(BREVANT_CHOICE_MESSAGE_NAME, u"Product.Scan.Start");
    message.setString(BREVANT_CHOICE_PAYLOAD, u"{\"kind\":\"full\"}");
    action.setString(BREVANT_ACTION_TEXT, u"Scan now");
    action.setObject(BREVANT_ACTION_DEFAULT_MESSAGE, message);
    action.setString(BREVANT_ACTION_ID, u"scan");
    action.setBool(BREVANT_ACTION_DEFAULT, true);
    context.setString(BREVANT_CONTEXT_TITLE, u"Your device needs attention " + word);
    context.setString(BREVANT_CONTEXT_CATEGORY, u"protection");
    context.setString(BREVANT_CONTEXT_DEFAULT_CONTENT, std::u16string(500, u'd'));
    context.setString(BREVANT_CONTEXT_DETAILS_CONTENT, std::u16string(400, u'e'));
    context.setUInt32(BREVANT_CONTEXT_WIDTH, 420);
    context.setObjectArray(BREVANT_CONTEXT_ACTIONS, {action, action});
    text.setString(BREVANT_DESCRIPTION_ID, word);
    text.setString(BREVANT_DESCRIPTION_INSTANCE_ID, word);
    text.setString(BREVANT_DESCRIPTION_PRIORITY, u"P2");
    text.setString(BREVANT_DESCRIPTION_PRODUCT, u"bench");
    text.setUInt32(BREVANT_DESCRIPTION_SESSION_ID, session);
    text.setString(BREVANT_DESCRIPTION_SOURCE, BREVANT_SOURCE_CLIENT);
    text.setBool(BREVANT_DESCRIPTION_FORCE_PREFERRED_VIEWER, false);
    text.setStringArray(BREVANT_DESCRIPTION_PREFERRED_VIEWER, {u"bench"});
    text.setObject(BREVANT_DESCRIPTION_CONTEXT, context);
    return text.toString();
}

BenchHost::BenchHost() {
    // Session 1 shows; session 2 only queues.
    folder_.writeSessions("1 active\n2 disconnected\n");
    product_.onName(BREVANT_SETTINGS_GET, [this](const BusMessage& m) { return onSettings(m); });
    product_.onName(BREVANT_SETTINGS_GET_BATCH, [this](const BusMessage& m) { return onSettings(m); });
    product_.onPattern(BREVANT_ALERT_PREFIX u".+", [this](const BusMessage& m) { return onStatus(m); });
    viewer_.onPattern(Brevant::viewerMessage(u"bench", BREVANT_VIEWER_SHOW, u".+"),
                      [this](const BusMessage& m) { return onShow(m); });

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
    if (product_.request(BREVANT_ALERT_GET_ID, u"", reply) != MODULE_STATUS_SUCCESS)
        throw std::runtime_error("no instance id");
    return std::stoull(Ferrow::toUtf8(reply.payload));
}

void BenchHost::publishShow(uint64_t number, const std::u16string& payload) {
    product_.publish(BREVANT_ALERT_SHOW + Ferrow::decimal(number), payload);
}

void BenchHost::accept(uint64_t number, const std::u16string& payload) {
    const std::u16string word = Ferrow::decimal(number);
    publishAndWait(BREVANT_ALERT_SHOW + word, payload,
                   Brevant::alertMessage(word, BREVANT_ALERT_QUEUED, word));
}

void BenchHost::remove(uint64_t number) {
    const std::u16string word = Ferrow::decimal(number);
    publishAndWait(BREVANT_ALERT_DELETE + word, u"", Brevant::alertMessage({}, BREVANT_ALERT_DELETED, word));
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
    const std::u16string word = Brevant::instanceOf(request.name);
    viewer_.reply(request, Brevant::alertMessage(word, BREVANT_ALERT_SHOWN, word));
    viewer_.publish(Brevant::alertMessage(word, BREVANT_ALERT_DISMISSED, word));
    std::lock_guard lock(mutex_);
    ++shown_;
    changed_.notify_all();
    return MODULE_STATUS_SUCCESS;
}

uint32_t BenchHost::onSettings(const BusMessage& request) {
    if (request.payload.find(BREVANT_VIEWER_KEY) != std::u16string::npos)
        return product_.reply(
            request, request.name + u".Response",
            u"{\"responses\":[{\"name\":\"" BREVANT_VIEWER_KEY u"/bench\",\"status\":true,\"value\":\"\"}]}");
    return product_.reply(
        request, request.name + u".Response",
        u"{\"name\":\"" BREVANT_PRODUCT_KEY u"/bench\",\"status\":true,\"value\":\"{\\\"pluginFile\\\":"
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
