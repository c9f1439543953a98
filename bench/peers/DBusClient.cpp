#include "bench/peers/DBusClient.h"

#include <chrono>
#include <stdexcept>
#include <thread>

#include "bench/Run.h"

namespace Bench {
namespace {

// Takes the error of a call.
class ErrorCheck {
public:
    ErrorCheck() { dbus_error_init(&error_); }
    ~ErrorCheck() { dbus_error_free(&error_); }
    ErrorCheck(const ErrorCheck&) = delete;
    ErrorCheck& operator=(const ErrorCheck&) = delete;
    operator DBusError*() { return &error_; }
    void done() const {
        if (dbus_error_is_set(&error_))
            throw std::runtime_error(std::string("D-Bus: ") + error_.message);
    }

private:
    DBusError error_;
};

}  // namespace

void DBusRelease::operator()(DBusConnection* connection) const {
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
}

DBusClient::DBusClient(const std::string& address) {
    ErrorCheck error;
    connection_.reset(dbus_connection_open_private(address.c_str(), error));
    error.done();
    dbus_connection_set_exit_on_disconnect(connection_.get(), false);
    dbus_bus_register(connection_.get(), error);
    error.done();
}

void DBusClient::waitFor(const char* name) {
    for (const auto began = Clock::now(); !dbus_bus_name_has_owner(connection_.get(), name, nullptr);) {
        if (secondsSince(began) > 20)
            throw std::runtime_error(std::string("nobody comes to the D-Bus as ") + name);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

DBusMessagePointer DBusClient::call(const DBusMessagePointer& request) {
    ErrorCheck error;
    DBusMessagePointer reply(
        dbus_connection_send_with_reply_and_block(connection_.get(), request.get(), 20000, error));
    error.done();
    return reply;
}

DBusCallPointer DBusClient::begin(const DBusMessagePointer& request) {
    DBusPendingCall* call = nullptr;
    if (!dbus_connection_send_with_reply(connection_.get(), request.get(), &call, 20000) || !call)
        throw std::runtime_error("D-Bus: the call cannot be sent");
    dbus_connection_flush(connection_.get());
    return DBusCallPointer(call);
}

DBusMessagePointer DBusClient::finish(const DBusCallPointer& call) {
    dbus_pending_call_block(call.get());
    DBusMessagePointer reply(dbus_pending_call_steal_reply(call.get()));
    ErrorCheck error;
    dbus_set_error_from_message(error, reply.get());
    error.done();
    return reply;
}

void serveDBusEcho(const std::string& address, const std::function<void()>& ready) {
    const DBusClient client(address);
    dbus_bus_request_name(client.connection(), dbusEchoName, 0, nullptr);
    ready();
    while (dbus_connection_read_write(client.connection(), -1)) {
        while (const DBusMessagePointer call{dbus_connection_pop_message(client.connection())}) {
            const char* text = "";
            if (dbus_message_get_type(call.get()) != DBUS_MESSAGE_TYPE_METHOD_CALL ||
                !dbus_message_get_args(call.get(), nullptr, DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID))
                continue;
            const DBusMessagePointer reply(dbus_message_new_method_return(call.get()));
            dbus_message_append_args(reply.get(), DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID);
            dbus_connection_send(client.connection(), reply.get(), nullptr);
            dbus_connection_flush(client.connection());
        }
    }
}

}  // namespace Bench
