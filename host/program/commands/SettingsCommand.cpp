#include <algorithm>
#include <iostream>
#include <iterator>

#include <brevant/settings.h>

#include "host/program/commands/Command.h"
#include "host/program/connection/BusLibrary.h"
#include "host/program/connection/HostClient.h"
#include "host/program/connection/SettingsRequests.h"
#include "host/program/output/SystemPath.h"
#include "host/program/service/Host.h"
#include "host/program/settings/SettingsStore.h"
#include "text/Utf.h"

namespace Host {
namespace {

// Where the settings are: with the host that runs, or in the file.
class SettingsAccess {
public:
    virtual ~SettingsAccess() = default;
    virtual std::optional<std::u16string> get(const std::u16string& name) = 0;
    virtual bool set(const std::u16string& name, const std::u16string& value, bool isVolatile) = 0;
    virtual bool remove(const std::u16string& name) = 0;
    virtual std::optional<PropertyList> list(const std::u16string& prefix) = 0;
};

class HostSettings final : public SettingsAccess {
public:
    explicit HostSettings(const BrevantBusFunctions& functions) : connection_(functions, u"brevant") {}

    std::optional<std::u16string> get(const std::u16string& name) override {
        return getProperty(connection_, name);
    }
    bool set(const std::u16string& name, const std::u16string& value, bool isVolatile) override {
        return setProperty(connection_, name, value, isVolatile);
    }
    bool remove(const std::u16string& name) override { return removeProperty(connection_, name); }
    std::optional<PropertyList> list(const std::u16string& prefix) override {
        return listProperties(connection_, prefix);
    }

private:
    BusConnection connection_;
};

class FileSettings final : public SettingsAccess {
public:
    FileSettings(const std::u16string& path, Console& console) : store_(path) {
        if (const std::u16string trouble = store_.open(); !trouble.empty())
            console.error(trouble);
    }

    std::optional<std::u16string> get(const std::u16string& name) override { return store_.get(name); }
    bool set(const std::u16string& name, const std::u16string& value, bool) override {
        return store_.set({{name, value}}).front();
    }
    bool remove(const std::u16string& name) override { return store_.remove({name}).front(); }
    std::optional<PropertyList> list(const std::u16string& prefix) override {
        PropertyList list;
        for (Property& property : store_.withPrefix(prefix))
            list.emplace_back(std::move(property.name), std::move(property.value));
        return list;
    }

private:
    SettingsStore store_;
};

void print(Console& console, const std::u16string& name, const std::optional<std::u16string>& value,
           const char16_t* change = nullptr) {
    if (!console.isForPrograms()) {
        console.line((change ? change + std::u16string(u" ") : std::u16string()) + name +
                     (value ? u"=" + *value : u""));
        return;
    }
    Tavix::JSONFormatter object;
    if (change)
        object.setString(u"change", change);
    object.setString(u"name", name);
    if (value)
        object.setString(u"value", *value);
    console.object(object);
}

int watch(const BrevantBusFunctions& functions, const std::u16string& prefix, HostClient& host,
          CommandContext& context) {
    Console& console = context.console;
    BusConnection connection(functions, u"brevant");
    const auto follow = [&](const std::u16string& topic, const char16_t* change) {
        return connection.subscribePattern(literalPattern(topic + prefix) + u".*",
                                           [&console, topic, change](const ReceivedMessage& message) {
                                               Tavix::JSONFormatter payload;
                                               std::u16string value;
                                               const bool hasValue =
                                                   payload.parse(message.payload) &&
                                                   payload.getString(BREVANT_SETTINGS_VALUE, value);
                                               print(console, message.name.substr(topic.size()),
                                                     hasValue ? std::optional(value) : std::nullopt, change);
                                               return MODULE_STATUS_SUCCESS;
                                           });
    };
    if (!follow(BREVANT_SETTINGS_NOTIFY_SET, u"set") || !follow(BREVANT_SETTINGS_NOTIFY_DELETE, u"removed")) {
        console.error(u"the message bus refuses the subscription");
        return exitFailed;
    }
    while (!context.stop.waitFor(HostClient::lookInterval)) {
        const HostClient::Change change = host.look();
        if (change == HostClient::Change::gone)
            console.error(u"the host is gone; waiting for it");
        else if (change != HostClient::Change::none)
            console.note(u"the host is back");
    }
    connection.close();
    return exitDone;
}

// Of what standard input holds, at most what a value may have.
std::u16string readValue() {
    std::string bytes(SettingsStore::maximumValue * 3 + 1, '\0');
    std::cin.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<size_t>(std::max<std::streamsize>(std::cin.gcount(), 0)));
    return Ferrow::toUtf16(bytes);
}

}  // namespace

int runSettings(const SettingsOptions& options, CommandContext& context) {
    Console& console = context.console;
    using Action = SettingsOptions::Action;
    const BusLibrary bus(busLibraryFile());
    HostClient host(bus.functions());
    const bool isThere = host.look() == HostClient::Change::back;
    if (!isThere && (options.action == Action::watch || options.isVolatile)) {
        console.error(u"no host answers on " + context.bus.name);
        return exitNobody;
    }
    if (options.action == Action::watch)
        return watch(bus.functions(), options.name, host, context);

    std::unique_ptr<SettingsAccess> settings;
    if (isThere && options.store.empty()) {
        settings = std::make_unique<HostSettings>(bus.functions());
    } else {
        const std::u16string path = options.store.empty() ? usualStore() : options.store;
        if (options.store.empty())
            console.note(u"no host runs: these are the settings in \"" + shownPath(path) + u"\"");
        settings = std::make_unique<FileSettings>(path, console);
    }
    switch (options.action) {
        case Action::get:
            if (const auto value = settings->get(options.name)) {
                if (console.isForPrograms())
                    print(console, options.name, value);
                else
                    console.line(*value);
                return exitDone;
            }
            console.error(u"there is no setting \"" + options.name + u"\"");
            return exitFailed;
        case Action::set:
            if (settings->set(options.name, options.value == u"-" ? readValue() : options.value,
                              options.isVolatile))
                return exitDone;
            console.error(u"the setting \"" + options.name + u"\" could not be stored");
            return exitFailed;
        case Action::remove:
            if (settings->remove(options.name))
                return exitDone;
            console.error(u"there is no setting \"" + options.name + u"\", or the file could not be written");
            return exitFailed;
        case Action::list:
            if (const auto list = settings->list(options.name)) {
                for (const auto& [name, value] : *list)
                    print(console, name, value);
                return exitDone;
            }
            console.error(u"the settings manager does not answer");
            return exitFailed;
        case Action::watch:
            break;
    }
    return exitFailed;
}

}  // namespace Host
