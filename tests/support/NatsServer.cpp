#include "support/NatsServer.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>

#include "support/Monitor.h"

namespace Support {

NatsServer::NatsServer(const std::string& configuration) {
    char name[] = "/tmp/brevant-nats-XXXXXX";
    if (!mkdtemp(name))
        throw std::runtime_error("no folder for the server");
    folder_ = name;
    std::ofstream(folder_ + "/conf") << configuration;
    start();
}

NatsServer::~NatsServer() {
    kill();
    std::filesystem::remove_all(folder_);
}

std::string NatsServer::url(const std::string& account) const {
    return "nats://" + account + (account.empty() ? "" : "@") + "127.0.0.1:" + std::to_string(port_);
}

void NatsServer::kill() {
    if (process_ == 0)
        return;
    ::kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = 0;
}

void NatsServer::restart() {
    kill();
    start();
}

void NatsServer::freeze(bool frozen) {
    ::kill(process_, frozen ? SIGSTOP : SIGCONT);
}

void NatsServer::start() {
    const std::string conf = folder_ + "/conf", log = folder_ + "/log";
    const std::string port = std::to_string(port_ == 0 ? -1 : port_);
    const char* const arguments[] = {"nats-server",   "-c", conf.c_str(), "-a",
                                     "127.0.0.1",     "-p", port.c_str(), "--ports_file_dir",
                                     folder_.c_str(), "-l", log.c_str(),  nullptr};
    if (posix_spawn(&process_, "/usr/sbin/nats-server", nullptr, nullptr, const_cast<char**>(arguments),
                    environ) != 0)
        throw std::runtime_error("no nats-server");
    const std::string ports = folder_ + "/nats-server_" + std::to_string(process_) + ".ports";
    constexpr std::string_view address = "nats://127.0.0.1:";
    const bool isThere = eventually([&] {
        std::stringstream text;
        text << std::ifstream(ports).rdbuf();
        const size_t at = text.str().find(address);
        if (at == std::string::npos)
            return false;
        port_ = static_cast<uint16_t>(std::stoi(text.str().substr(at + address.size())));
        return true;
    });
    if (!isThere)
        throw std::runtime_error("the server does not start");
}

}  // namespace Support
