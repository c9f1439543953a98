#include "bench/peers/Dunst.h"

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <stdexcept>

#include "bench/BenchHost.h"
#include "bench/Run.h"

namespace Bench {
namespace {

constexpr const char* daemonName = "org.freedesktop.Notifications";
constexpr const char* object = "/org/freedesktop/Notifications";

DBusMessagePointer newCall(const char* interface, const char* method) {
    return DBusMessagePointer(dbus_message_new_method_call(daemonName, object, interface, method));
}

void append(const DBusMessagePointer& message, int type, const void* value) {
    if (!dbus_message_append_args(message.get(), type, value, DBUS_TYPE_INVALID))
        throw std::bad_alloc();
}

// A container whose elements, none or one of a basic type, are of that signature.
void appendContainer(const DBusMessagePointer& message, int type, const char* signature, int elementType = 0,
                     const void* element = nullptr) {
    DBusMessageIter whole, inner;
    dbus_message_iter_init_append(message.get(), &whole);
    dbus_message_iter_open_container(&whole, type, signature, &inner);
    if (element)
        dbus_message_iter_append_basic(&inner, elementType, element);
    dbus_message_iter_close_container(&whole, &inner);
}

}  // namespace

std::string Dunst::address(size_t waiting) {
    const char* const folder = std::getenv("BENCH_DUNST");
    if (!folder)
        return {};
    const std::string socket = std::string(folder) + "/" + std::to_string(waiting);
    return std::filesystem::exists(socket) ? "unix:path=" + socket : "";
}

Dunst::Dunst(size_t waiting, const std::string& address) : client_(address) {
    client_.waitFor(daemonName);
    const DBusMessagePointer pause = newCall("org.freedesktop.DBus.Properties", "Set");
    const char *interface = "org.dunstproject.cmd0", *property = "paused";
    const dbus_bool_t yes = true;
    append(pause, DBUS_TYPE_STRING, &interface);
    append(pause, DBUS_TYPE_STRING, &property);
    appendContainer(pause, DBUS_TYPE_VARIANT, "b", DBUS_TYPE_BOOLEAN, &yes);
    client_.call(pause);
    ask(4, waiting);
}

double Dunst::accept(uint32_t atOnce, uint32_t times) {
    // As with products, the first do not count.
    std::vector<uint32_t> numbers = ask(atOnce, atOnce);
    const auto began = Clock::now();
    const std::vector<uint32_t> counted = ask(atOnce, size_t{atOnce} * times);
    const double took = secondsSince(began);
    numbers.insert(numbers.end(), counted.begin(), counted.end());
    for (const uint32_t number : numbers) {
        const DBusMessagePointer close = newCall(daemonName, "CloseNotification");
        append(close, DBUS_TYPE_UINT32, &number);
        client_.call(close);
    }
    return took;
}

DBusMessagePointer Dunst::newRequest() {
    DBusMessagePointer request = newCall(daemonName, "Notify");
    const std::string title = "Your device needs attention " + std::to_string(++last_);
    // As long as a description of an alert.
    static const std::string contents(description(1, waitingSession).size() - title.size(), 'd');
    const char *product = "bench", *icon = "", *summary = title.c_str(), *body = contents.c_str();
    const uint32_t replaces = 0;
    const int32_t timeout = 0;
    append(request, DBUS_TYPE_STRING, &product);
    append(request, DBUS_TYPE_UINT32, &replaces);
    append(request, DBUS_TYPE_STRING, &icon);
    append(request, DBUS_TYPE_STRING, &summary);
    append(request, DBUS_TYPE_STRING, &body);
    appendContainer(request, DBUS_TYPE_ARRAY, "s");
    appendContainer(request, DBUS_TYPE_ARRAY, "{sv}");
    append(request, DBUS_TYPE_INT32, &timeout);
    return request;
}

std::vector<uint32_t> Dunst::ask(size_t atOnce, size_t count) {
    std::vector<uint32_t> numbers;
    std::deque<DBusCallPointer> onTheirWay;
    for (size_t begun = 0; numbers.size() < count;) {
        for (; begun < count && onTheirWay.size() < atOnce; ++begun)
            onTheirWay.push_back(client_.begin(newRequest()));
        const DBusMessagePointer reply = client_.finish(onTheirWay.front());
        onTheirWay.pop_front();
        uint32_t number = 0;
        if (!dbus_message_get_args(reply.get(), nullptr, DBUS_TYPE_UINT32, &number, DBUS_TYPE_INVALID))
            throw std::runtime_error("the notification daemon answers in another way");
        numbers.push_back(number);
    }
    return numbers;
}

}  // namespace Bench
