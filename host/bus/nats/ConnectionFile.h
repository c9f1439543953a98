// What a running host leaves in the machine's data folder, so that the other programs find its bus.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace MessageBus {

// What a role is known by at the server.
struct Credentials {
    std::string user;
    std::string password;
    std::string server{};  // the url that they are for; empty: any

    bool operator==(const Credentials&) const = default;
};

// The file "connection" and, beside it, "<role>.credentials" for each role; lines of UTF-8, "key=value" each.
// What is written replaces the old file in one step. Credentials are for the own account, on Linux for
// whom the mode of a file that is there lets read them. Any thread; what fails leaves its reason in
// Platform::lastError().
class ConnectionFile {
public:
    struct Content {
        std::string url;      // "nats://127.0.0.1:4222"
        uint32_t server = 0;  // process ids of the server and of the host
        uint32_t host = 0;

        bool operator==(const Content&) const = default;
    };
    enum class State { absent, unreadable, present };
    struct Reading {
        State state = State::absent;
        Content content{};
    };

    // The machine's folder: Corvane\Brevant\bus in the common data folder.
    ConnectionFile();
    explicit ConnectionFile(std::u16string folder) : folder_(std::move(folder)) {}

    // A file whose host has gone, or whose process id is another's by now, counts as absent; one that is no
    // such file, or may not be read, as unreadable.
    Reading read() const;
    // Makes the folder where it is missing. False as well for a url with a line end.
    bool write(const Content& content) const;
    // Removes the file, unless another host has written it meanwhile. Credentials stay.
    void remove(uint32_t host) const;

    // Roles are "host", "product", "viewer", "watcher"; letters, digits, "-" and "_" otherwise. Nothing when
    // there are none or the file cannot be read.
    std::optional<Credentials> readCredentials(std::string_view role) const;
    bool writeCredentials(std::string_view role, const Credentials& credentials) const;

    const std::u16string& folder() const noexcept { return folder_; }
    std::u16string path() const { return folder_ + u"\\connection"; }
    // Empty when that can be no role.
    std::u16string credentialsPath(std::string_view role) const;

private:
    std::u16string folder_;
};

}  // namespace MessageBus
