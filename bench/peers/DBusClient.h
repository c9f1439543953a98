// A client of a D-Bus daemon, as the peers need one.
#pragma once

#include <dbus/dbus.h>
#include <functional>
#include <memory>
#include <string>

namespace Bench {

struct DBusRelease {
    void operator()(DBusConnection* connection) const;
    void operator()(DBusMessage* message) const { dbus_message_unref(message); }
    void operator()(DBusPendingCall* call) const { dbus_pending_call_unref(call); }
};
using DBusMessagePointer = std::unique_ptr<DBusMessage, DBusRelease>;
using DBusCallPointer = std::unique_ptr<DBusPendingCall, DBusRelease>;

// Belongs to one thread. Everything throws when it fails or the other side answers with an error.
class DBusClient {
public:
    explicit DBusClient(const std::string& address);

    DBusConnection* connection() const { return connection_.get(); }
    // Until somebody on the bus has that name.
    void waitFor(const char* name);
    DBusMessagePointer call(const DBusMessagePointer& request);
    // The same in two steps.
    DBusCallPointer begin(const DBusMessagePointer& request);
    DBusMessagePointer finish(const DBusCallPointer& call);

private:
    std::unique_ptr<DBusConnection, DBusRelease> connection_;
};

// In a process of its own: answers each call with its argument, once it has said that it can.
void serveDBusEcho(const std::string& address, const std::function<void()>& ready);
inline constexpr const char* dbusEchoName = "org.example.Echo";

}  // namespace Bench
