#include "road/Road.h"

#include <regex>
#include <stdexcept>

#include <brevant/library.h>

#include "json/JSONFormatter.h"
#include "platform/DynamicLibrary.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "text/Utf.h"

namespace Road {

using Support::BusMessage;

namespace {

std::u16string lastWord(const std::u16string& name) {
    return name.substr(name.rfind(u'.') + 1);
}

}  // namespace

Module::Module() {
    // Programs that bring a bus of their own stand in a folder below the module's.
    std::u16string folder = Platform::executablePath();
    for (int level = 0; level < 2 && !library_; ++level) {
        folder = folder.substr(0, folder.rfind(u'\\'));
        library_ = Platform::loadLibrary(folder + u"\\" + Ferrow::toUtf16(ROAD_MODULE_FILE));
    }
    if (!library_)
        throw std::runtime_error("the module cannot be loaded");
    auto create = reinterpret_cast<BrevantModuleCreateObject>(
        Platform::libraryFunction(library_, BREVANT_EXPORT_CREATE_OBJECT));
    functions = create();
    EXPECT_EQ(functions->NewModule(&handle, u"Road"), MODULE_STATUS_SUCCESS);
}

Module::~Module() {
    destroy();
    Platform::freeLibrary(library_);
}

void Module::initialize() {
    EXPECT_EQ(functions->InitializeModule(handle, u"Brevant", u"road", 0, nullptr, nullptr, nullptr, nullptr),
              MODULE_STATUS_SUCCESS);
}

void Module::start() {
    EXPECT_EQ(functions->StartModule(handle), MODULE_STATUS_SUCCESS);
}

void Module::stop() {
    EXPECT_EQ(functions->StopModule(handle), MODULE_STATUS_SUCCESS);
}

void Module::uninitialize() {
    EXPECT_EQ(functions->UninitializeModule(handle), MODULE_STATUS_SUCCESS);
}

void Module::destroy() {
    if (handle) {
        EXPECT_EQ(functions->DestroyModule(handle), MODULE_STATUS_SUCCESS);
    }
    handle = nullptr;
}

uint32_t Module::direct(const std::u16string& name, const std::u16string& payload) {
    return functions->DirectMessage(handle, nullptr, name.c_str(), nullptr, payload.c_str());
}

Settings::Settings() {
    peer_.onName(u"SETTINGS_MANAGER_GET_PROPERTY", [this](const BusMessage& m) { return answerOne(m); });
    peer_.onName(u"SettingsManager.GetProperties.Request",
                 [this](const BusMessage& m) { return answerMany(m); });
}

void Settings::set(const std::u16string& name, const std::u16string& value) {
    {
        std::lock_guard lock(mutex_);
        properties_[name] = value;
    }
    Tavix::JSONFormatter notice;
    notice.setString(u"name", name);
    notice.setString(u"value", value);
    peer_.publish(u"SettingsManager.Notify.Set." + name, notice.toString());
}

void Settings::remove(const std::u16string& name) {
    {
        std::lock_guard lock(mutex_);
        properties_.erase(name);
    }
    Tavix::JSONFormatter notice;
    notice.setString(u"name", name);
    peer_.publish(u"SettingsManager.Notify.Delete." + name, notice.toString());
}

uint32_t Settings::answerOne(const BusMessage& request) {
    if (silent)
        return MODULE_STATUS_SUCCESS;
    Tavix::JSONFormatter asked, answer;
    std::u16string name;
    if (!asked.parse(request.payload) || !asked.getString(u"name", name))
        return MODULE_STATUS_DATA_ERROR;
    answer.setString(u"name", name);
    {
        std::lock_guard lock(mutex_);
        auto found = properties_.find(name);
        answer.setBool(u"status", found != properties_.end());
        if (found != properties_.end())
            answer.setString(u"value", found->second);
    }
    return peer_.reply(request, request.name + u".Response", answer.toString());
}

uint32_t Settings::answerMany(const BusMessage& request) {
    if (silent)
        return MODULE_STATUS_SUCCESS;
    Tavix::JSONFormatter asked, answer;
    std::vector<Tavix::JSONFormatter> items;
    if (!asked.parse(request.payload) || !asked.getObjectArray(u"properties", items))
        return MODULE_STATUS_DATA_ERROR;
    answer.setObjectArray(u"responses", {});
    for (const auto& item : items) {
        std::u16string prefix;
        item.getString(u"name", prefix);
        std::lock_guard lock(mutex_);
        for (const auto& [name, value] : properties_) {
            if (!name.starts_with(prefix))
                continue;
            Tavix::JSONFormatter one;
            one.setString(u"name", name);
            one.setBool(u"status", true);
            one.setString(u"value", value);
            answer.addObjectToArray(u"responses", one);
        }
    }
    return peer_.reply(request, request.name + u".Response", answer.toString());
}

Viewer::Viewer(const std::u16string& id) {
    peer_.onPattern(u"Brevant.Viewer." + id + u".Show..+", [this](const BusMessage& m) { return onShow(m); });
    peer_.onPattern(u"Brevant.Viewer." + id + u".Delete..+",
                    [this](const BusMessage& m) { return onDelete(m); });
}

uint32_t Viewer::onShow(const BusMessage& request) {
    const std::u16string instance = lastWord(request.name);
    Tavix::JSONFormatter description;
    std::u16string id;
    description.parse(request.payload);
    description.getString(u"id", id);
    const Manner now = manner;
    {
        std::lock_guard lock(mutex_);
        payloads_[instance] = request.payload;
        alertIds_[instance] = id;
        if (now == Manner::isSilent)
            held_.push_back(request);
    }
    if (now == Manner::namesAnotherAlert)
        peer_.reply(request, u"Brevant.Alert." + id + u".Shown.another");
    else if (now != Manner::isSilent)
        peer_.reply(request, u"Brevant.Alert." + id + u".Shown." + instance);
    if (now == Manner::dismissesAtOnce)
        dismiss(instance);
    if (now == Manner::publishesFailed)
        peer_.publish(u"Brevant.Alert." + id + u".Failed." + instance);
    std::lock_guard lock(mutex_);
    shown_.push_back(instance);
    changed_.notify_all();
    return MODULE_STATUS_SUCCESS;
}

uint32_t Viewer::onDelete(const BusMessage& request) {
    const std::u16string instance = lastWord(request.name);
    std::u16string id;
    {
        std::lock_guard lock(mutex_);
        id = alertIds_[instance];
    }
    peer_.reply(request, u"Brevant.Alert." + id + u".Dismissed." + instance);
    std::lock_guard lock(mutex_);
    deleted_.insert(instance);
    changed_.notify_all();
    return MODULE_STATUS_SUCCESS;
}

std::u16string Viewer::waitForShow(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, timeout, [&] { return shown_.size() > taken_; }))
        return {};
    return shown_[taken_++];
}

bool Viewer::waitForDelete(const std::u16string& instance) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return deleted_.count(instance) != 0; });
}

void Viewer::dismiss(const std::u16string& instance) {
    std::u16string id;
    {
        std::lock_guard lock(mutex_);
        id = alertIds_[instance];
    }
    peer_.publish(u"Brevant.Alert." + id + u".Dismissed." + instance);
}

void Viewer::answerHeld() {
    std::vector<BusMessage> held;
    {
        std::lock_guard lock(mutex_);
        held.swap(held_);
    }
    for (const BusMessage& request : held) {
        const std::u16string instance = lastWord(request.name);
        std::u16string id;
        {
            std::lock_guard lock(mutex_);
            id = alertIds_[instance];
        }
        peer_.reply(request, u"Brevant.Alert." + id + u".Shown." + instance);
    }
}

std::u16string Viewer::payloadOf(const std::u16string& instance) const {
    std::lock_guard lock(mutex_);
    auto found = payloads_.find(instance);
    return found == payloads_.end() ? std::u16string() : found->second;
}

std::u16string AlertText::json(const std::u16string& instance) const {
    Tavix::JSONFormatter text, context;
    context.setString(u"title", title);
    text.setString(u"id", id);
    text.setString(u"instanceId", instance);
    text.setString(u"priority", priority);
    text.setString(u"product", product);
    text.setString(u"source", u"client");
    text.setBool(u"forcePreferredViewer", false);
    text.setStringArray(u"preferredViewer", {viewer});
    text.setUInt32(u"sessionId", session);
    text.setUInt32(u"timeout", timeout);
    text.setObject(u"context", context);
    return text.toString();
}

void RoadTest::SetUp() {
    folder.writeSessions("1 active\n2 disconnected\n");
    settings = std::make_unique<Settings>();
    settings->set(u"Brevant/Viewer/v", u"");
    // Programs that bring a bus of their own stand in a folder below the plugin's.
    const std::u16string program = Platform::executablePath();
    const bool beside = Platform::fileExists(program.substr(0, program.rfind(u'\\')) + u"\\RoadPlugin.dll");
    settings->set(u"Brevant/Product/p", u"{\"pluginFile\":\"RoadPlugin.dll\",\"pluginPath\":\"$(App.Folder)" +
                                            std::u16string(beside ? u"" : u"..") + u"\"}");
    viewer = std::make_unique<Viewer>(u"v");
    log = std::make_unique<Support::MessageLog>();
    product = std::make_unique<Support::BusPeer>();
    module = std::make_unique<Module>();
    module->initialize();
    module->start();
}

void RoadTest::TearDown() {
    module.reset();
    product.reset();
    log.reset();
    viewer.reset();
    settings.reset();
}

std::string RoadTest::eventSinkKey() {
    const std::string program = Ferrow::toUtf8(Platform::executablePath());
    const std::string sink = program.substr(0, program.rfind('\\') + 1) + ROAD_EVENT_SINK_FILE;
    return "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID\\{3F9A6C12-5B8E-4D07-A1C4-7E2B90D3F658}"
           "\\InprocServer32]\n@=\"" +
           std::regex_replace(sink, std::regex("\\\\"), "\\\\") + "\"\n\"ThreadingModel\"=\"Both\"\n";
}

std::u16string RoadTest::show(const AlertText& alert) {
    BusMessage id;
    EXPECT_EQ(product->request(u"Brevant.Alert.GetId", u"", id), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(product->publish(u"Brevant.Alert.Show." + id.payload, alert.json(id.payload)),
              MODULE_STATUS_SUCCESS);
    return id.payload;
}

std::u16string RoadTest::showAndExpect(const AlertText& alert, const std::u16string& statusWord) {
    const std::u16string instance = show(alert);
    EXPECT_TRUE(seen(outcome(alert.id, statusWord, instance))) << Ferrow::toUtf8(alert.id);
    return instance;
}

bool RoadTest::seen(const std::u16string& name, std::chrono::milliseconds timeout) {
    return log->waitFor(name, timeout).has_value();
}

void RoadTest::deleteAlert(const std::u16string& instance) {
    EXPECT_EQ(product->publish(u"Brevant.Alert.Delete." + instance), MODULE_STATUS_SUCCESS);
}

void RoadTest::switchTo(uint32_t session) {
    folder.writeSessions(session == 1 ? "1 active\n2 disconnected\n" : "1 disconnected\n2 active\n");
    product->publish(u"SystemMonitor.UserSession.Console.Connect");
}

}  // namespace Road
