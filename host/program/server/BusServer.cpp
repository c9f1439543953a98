#include "host/program/server/BusServer.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <random>
#include <system_error>
#include <utility>

#include "host/bus/nats/Subject.h"
#include "host/program/output/SystemPath.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "text/Format.h"
#include "text/Utf.h"

namespace Host {
namespace {

using std::chrono::milliseconds;

constexpr uint16_t usualPort = 4222;
constexpr milliseconds startTime{5'000};
constexpr milliseconds endTime{5'000};
// A server whose host was killed has its port a moment longer.
constexpr milliseconds formerServerTime{3'000};
constexpr milliseconds restartPause{1'000};
constexpr milliseconds lookTime{10};
constexpr milliseconds sweepInterval{60'000};
constexpr size_t mostPortsFile = 64 * 1024;

[[noreturn]] void fail(const std::u16string& what) {
    throw HostError(Ferrow::toUtf8(what));
}

std::u16string foundServer() {
    std::u16string program = Platform::findProgram(u"nats-server");
    if (program.empty())
        fail(
            u"there is no nats-server on this machine: install it (Debian: apt-get install nats-server), or "
            u"name a server with --bus");
    return program;
}

std::string randomPassword() {
    std::random_device random;
    std::string text;
    for (int count = 0; count < 32; ++count)
        text += "0123456789abcdef"[random() & 0xF];
    return text;
}

std::optional<uint16_t> numberAt(std::string_view text) {
    uint16_t number = 0;
    return std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc() && number != 0
               ? std::optional(number)
               : std::nullopt;
}

}  // namespace

BusServer::Claim::Claim(const std::u16string& folder) {
    mutex = Platform::NamedMutex::create(
        Ferrow::formatText(u"Global\\BrevantBusServer_%016llx", MessageBus::fnv1a64(folder)), folder);
    if (!mutex)
        fail(u"the system refuses the lock for " + shownPath(folder));
    isHeld = mutex->acquire(milliseconds(0));
}

BusServer::Claim::~Claim() {
    if (isHeld)
        mutex->release();
}

BusServer::BusServer(MessageBus::ConnectionFile file)
    : file_(std::move(file)),
      folder_(file_.folder() + u"\\server"),
      program_(foundServer()),
      claim_((Platform::createFolders(file_.folder()), file_.folder())) {
    if (!claim_.isHeld)
        throw Taken("another host has a server, or starts one: what tells of it is in " +
                    Ferrow::toUtf8(shownPath(file_.folder())));
    if (!Platform::createPrivateFolder(folder_))
        fail(u"the server's folder " + shownPath(folder_) + u" cannot be made, or is another account's");
    configuration_.folder = Platform::nativePath(folder_);
    std::ranges::replace(configuration_.folder, '\\', '/');
    makePasswords();

    const uint16_t remembered = rememberedPort();
    const Platform::Clock& clock = Platform::Clock::steady();
    const auto patience = Platform::deadlineAfter(clock.now(), formerServerTime);
    bool started = start(remembered != 0 ? remembered : usualPort);
    while (!started && remembered != 0 && clock.now() < patience)
        started = start(remembered);
    // Somebody else has the port: any other will do, for who starts from now on. Who was connected may have
    // told that somebody the passwords.
    if (!started && remembered != 0)
        for (auto& [role, password] : configuration_.passwords)
            password = randomPassword();
    if (!started && !start(0))
        fail(u"nats-server does not start: its log is " + shownPath(folder_ + u"\\log"));
    if (!announce())
        fail(u"what tells other processes of the server cannot be written to " + shownPath(file_.folder()));
    sweepLogs();
}

BusServer::~BusServer() {
    file_.remove(Platform::currentProcessId());
    if (server_) {
        server_->askToEnd();
        server_->waitFor(endTime);
    }
}

std::u16string BusServer::url() const {
    return u"nats://127.0.0.1:" + Ferrow::decimal(port_);
}

std::u16string BusServer::tend() {
    const Platform::Clock::Time now = Platform::Clock::steady().now();
    if (now >= nextSweep_)
        sweepLogs();
    if (now < nextStart_)
        return {};
    if (server_ && !server_->waitFor(milliseconds(0))) {
        if (!isAnnounced_) {
            nextStart_ = now + restartPause;
            announce();
        }
        return {};
    }
    nextStart_ = now + restartPause;
    const bool isNews = server_.has_value();
    server_.reset();
    try {
        if (start(port_)) {
            if (announce())
                return u"the server of the bus had ended and runs again";
            return u"the server of the bus had ended and runs again; what tells of it cannot be written yet";
        }
    } catch (const HostError& error) {
        if (isNews)
            return Ferrow::toUtf16(error.what());
    }
    return isNews ? u"the server of the bus has ended and does not start again; it is tried on" : u"";
}

void BusServer::makePasswords() {
    for (const char* const role : {"host", "product", "viewer", "watcher"}) {
        const std::optional<MessageBus::Credentials> known = file_.readCredentials(role);
        const bool isOwn = known && known->user == role && known->password.size() >= 16;
        configuration_.passwords[role] = isOwn ? known->password : randomPassword();
    }
}

bool BusServer::start(uint16_t port) {
    configuration_.port = port;
    const std::u16string configurationFile = folder_ + u"\\nats-server.conf";
    if (!Platform::writeFileAtomically(configurationFile, configuration_.text(),
                                       Platform::FileReaders::ownAccount))
        fail(u"the server's configuration cannot be written to " + shownPath(configurationFile));
    try {
        server_.emplace(program_, std::vector<std::u16string>{
                                      u"-c", Ferrow::toUtf16(configuration_.folder) + u"/nats-server.conf"});
    } catch (const std::system_error& error) {
        fail(shownPath(program_) + u" cannot be run: " + Ferrow::toUtf16(error.what()));
    }
    const std::u16string portsFile = folder_ + u"\\nats-server_" + Ferrow::decimal(server_->id()) + u".ports";
    const std::optional<uint16_t> listening = waitForPort(portsFile);
    Platform::removeFile(portsFile);
    if (!listening) {
        server_.reset();
        return false;
    }
    port_ = *listening;
    return true;
}

std::optional<uint16_t> BusServer::waitForPort(const std::u16string& portsFile) {
    constexpr std::string_view address = "127.0.0.1:";
    const Platform::Clock& clock = Platform::Clock::steady();
    const auto deadline = Platform::deadlineAfter(clock.now(), startTime);
    while (clock.now() < deadline) {
        const bool hasEnded = server_->waitFor(lookTime).has_value();
        const std::optional<std::string> text = Platform::readFile(portsFile, mostPortsFile);
        const size_t at = text ? text->find(address) : std::string::npos;
        if (hasEnded)
            break;
        if (at == std::string::npos)
            continue;
        // Written whole before it is closed by its array's end.
        if (text->find(']', at) != std::string::npos)
            return numberAt(std::string_view(*text).substr(at + address.size()));
    }
    return std::nullopt;
}

bool BusServer::announce() {
    isAnnounced_ = Platform::writeFileAtomically(folder_ + u"\\port", std::to_string(port_));
    for (const auto& [role, password] : configuration_.passwords) {
        const MessageBus::Credentials credentials{role, password, Ferrow::toUtf8(url())};
        isAnnounced_ = isAnnounced_ && (file_.readCredentials(role) == credentials ||
                                        file_.writeCredentials(role, credentials));
    }
    isAnnounced_ =
        isAnnounced_ && file_.write({Ferrow::toUtf8(url()), server_->id(), Platform::currentProcessId()});
    return isAnnounced_;
}

void BusServer::sweepLogs() {
    nextSweep_ = Platform::Clock::steady().now() + sweepInterval;
    std::error_code error;
    std::filesystem::directory_iterator entry(systemPath(folder_), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        std::error_code ignored;
        if (entry->path().filename().u16string().starts_with(u"log."))
            std::filesystem::remove(entry->path(), ignored);
    }
}

uint16_t BusServer::rememberedPort() const {
    const std::optional<std::string> text = Platform::readFile(folder_ + u"\\port", 16);
    return text ? numberAt(*text).value_or(0) : uint16_t{0};
}

}  // namespace Host
