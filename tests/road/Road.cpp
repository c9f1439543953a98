#include "road/Road.h"

#include <stdexcept>

#include <brevant/library.h>
#include <brevant/settings.h>

#include "json/JSONFormatter.h"
#include "platform/Files.h"
#include "text/Utf.h"

namespace Road {

using Support::BusMessage;

namespace {

// Where module and plugin stand: programs that bring a bus of their own stand in a folder below.
std::u16string above() {
    return Platform::fileExists(beside(u"RoadPlugin.dll")) ? u"" : u"..";
}

}  // namespace

Module::Module() {
    std::u16string folder = beside(u"");
    if (!above().empty())
        folder = folder.substr(0, folder.rfind(u'\\', folder.size() - 2) + 1);
    library_.emplace(folder + Ferrow::toUtf16(ROAD_MODULE_FILE));
    if (!*library_)
        throw std::runtime_error("the module cannot be loaded");
    functions_ = library_->function<BrevantModuleCreateObject>(BREVANT_EXPORT_CREATE_OBJECT)();
    EXPECT_EQ(functions_->NewModule(&handle_, u"Road"), MODULE_STATUS_SUCCESS);
}

Module::~Module() {
    destroy();
}

void Module::start() {
    EXPECT_EQ(
        functions_->InitializeModule(handle_, u"Brevant", u"road", 0, nullptr, nullptr, nullptr, nullptr),
        MODULE_STATUS_SUCCESS);
    EXPECT_EQ(functions_->StartModule(handle_), MODULE_STATUS_SUCCESS);
}

uint32_t Module::initializeWithoutBus() {
    return functions_->InitializeModuleV2(handle_, u"", u"", 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                          nullptr);
}

void Module::stop() {
    EXPECT_EQ(functions_->StopModule(handle_), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(functions_->UninitializeModule(handle_), MODULE_STATUS_SUCCESS);
}

void Module::destroy() {
    if (ModuleHandle* const handle = std::exchange(handle_, nullptr)) {
        EXPECT_EQ(functions_->DestroyModule(handle), MODULE_STATUS_SUCCESS);
    }
}

uint32_t Module::direct(const std::u16string& name, const std::u16string& payload) {
    return functions_->DirectMessage(handle_, nullptr, name.c_str(), nullptr, payload.c_str());
}

Settings::Settings(const std::u16string& file) : store_(file), service_(*Support::embeddedBus(), store_) {}

void Settings::set(const std::u16string& name, const std::u16string& value) {
    Tavix::JSONFormatter property;
    property.setString(u"name", name);
    property.setString(u"value", value);
    property.setBool(u"volatile", true);
    BusMessage reply;
    EXPECT_EQ(peer_.request(BREVANT_SETTINGS_SET, property.toString(), reply), MODULE_STATUS_SUCCESS);
}

void Settings::remove(const std::u16string& name) {
    BusMessage reply;
    EXPECT_EQ(peer_.request(BREVANT_SETTINGS_REMOVE, u"{\"name\":\"" + name + u"\"}", reply),
              MODULE_STATUS_SUCCESS);
}

Viewer::Viewer(const std::u16string& id) {
    peer_.onPattern(Brevant::viewerMessage(id, BREVANT_VIEWER_SHOW, u".+"),
                    [this](const BusMessage& m) { return onShow(m); });
    peer_.onPattern(
        Brevant::viewerMessage(id, BREVANT_VIEWER_DELETE, u".+"), [this](const BusMessage& request) {
            return peer_.reply(request, outcome(BREVANT_ALERT_DISMISSED, Brevant::instanceOf(request.name)));
        });
}

uint32_t Viewer::onShow(const BusMessage& request) {
    const std::u16string instance = Brevant::instanceOf(request.name);
    const Manner now = manner;
    locked([&] { requests_[instance] = request; });
    if (now != Manner::isSilent)
        peer_.reply(request,
                    outcome(BREVANT_ALERT_SHOWN, now == Manner::namesAnotherAlert ? u"another" : instance));
    if (now == Manner::dismissesAtOnce)
        dismiss(instance);
    if (now == Manner::publishesFailed)
        peer_.publish(outcome(BREVANT_ALERT_FAILED, instance));
    locked([&] {
        shown_.push_back(instance);
        if (now == Manner::isSilent)
            held_.push_back(request);
    });
    return MODULE_STATUS_SUCCESS;
}

std::u16string Viewer::waitForShow() {
    const bool asked = comes([&] { return shown_.size() > taken_; });
    return locked([&] { return asked ? shown_[taken_++] : u""; });
}

void Viewer::dismiss(const std::u16string& instance) {
    peer_.publish(outcome(BREVANT_ALERT_DISMISSED, instance));
}

void Viewer::answerHeld() {
    for (const BusMessage& request : locked([&] { return std::exchange(held_, {}); }))
        peer_.reply(request, outcome(BREVANT_ALERT_SHOWN, Brevant::instanceOf(request.name)));
}

std::u16string Viewer::payloadOf(const std::u16string& instance) const {
    return locked([&] {
        const auto found = requests_.find(instance);
        return found == requests_.end() ? u"" : found->second.payload;
    });
}

std::u16string Viewer::outcome(std::u16string_view word, const std::u16string& instance) const {
    Tavix::JSONFormatter description;
    std::u16string id;
    description.parse(payloadOf(instance));
    description.getString(BREVANT_DESCRIPTION_ID, id);
    return Brevant::alertMessage(id, word, instance);
}

std::u16string AlertText::json(const std::u16string& instance) const {
    return uR"({"id":")" + id + uR"(","instanceId":")" + instance + uR"(","priority":")" + priority +
           uR"(","product":")" + product + uR"(","preferredViewer":[")" + viewer + uR"("],"sessionId":)" +
           Ferrow::decimal(session) + uR"(,"context":{"title":")" + title +
           uR"("},"source":"client","forcePreferredViewer":false})";
}

AlertText titled(const std::u16string& id) {
    AlertText alert;
    alert.id = id;
    alert.title = u"Title of " + id;
    return alert;
}

void RoadTest::SetUp() {
    folder.writeSessions("1 active\n2 disconnected\n");
    settings.emplace(folder.portable() + u"\\settings.json");
    settings->set(Brevant::property(BREVANT_VIEWER_KEY, u"v"), u"");
    settings->set(Brevant::property(BREVANT_PRODUCT_KEY, u"p"),
                  uR"({"pluginFile":"RoadPlugin.dll","pluginPath":"$(App.Folder))" + above() + u"\"}");
    viewer.emplace(u"v");
    log.emplace();
    product.emplace();
    module.emplace();
    module->start();
}

void RoadTest::TearDown() {
    module.reset();
    product.reset();
    log.reset();
    viewer.reset();
    settings.reset();
}

std::u16string RoadTest::show(const AlertText& alert) {
    BusMessage id;
    EXPECT_EQ(product->request(BREVANT_ALERT_GET_ID, u"", id), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(seen(BREVANT_ALERT_GET_ID_RESPONSE));
    EXPECT_EQ(product->publish(BREVANT_ALERT_SHOW + id.payload, alert.json(id.payload)),
              MODULE_STATUS_SUCCESS);
    return id.payload;
}

std::u16string RoadTest::showAndExpect(const AlertText& alert, const std::u16string& statusWord) {
    const std::u16string instance = show(alert);
    EXPECT_TRUE(seen(outcome(alert.id, statusWord, instance))) << Ferrow::toUtf8(alert.id);
    return instance;
}

std::u16string RoadTest::occupy(const std::u16string& id) {
    const auto instance = showAndExpect(titled(id), u"Queued");
    EXPECT_EQ(viewer->waitForShow(), instance);
    EXPECT_TRUE(seen(outcome(id, u"Shown", instance)));
    return instance;
}

void RoadTest::deleteAlert(const std::u16string& instance) {
    EXPECT_EQ(product->publish(BREVANT_ALERT_DELETE + instance), MODULE_STATUS_SUCCESS);
}

}  // namespace Road
