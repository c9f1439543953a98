#include "host/bus/nats/BusObserver.h"

#include "host/bus/nats/Subject.h"

namespace MessageBus {

namespace {

constexpr size_t mostHeardProcesses = 4096;

}  // namespace

BusObserver::BusObserver(const ServerAddress& address, std::u16string_view pattern, Show show)
    : text_(pattern), pattern_(text_), show_(std::move(show)), client_(address, *this) {
    copies_ = "mo." + hexadecimal(client_.process()) + ".";
    client_.subscribe("mb." + patternSubject(text_).subject());
    client_.subscribe(copies_ + ">");
    client_.subscribe("mc.list");
    client_.start();
}

BusObserver::~BusObserver() {
    try {
        tell("mc.leave", WireKind::leave);
    } catch (const std::bad_alloc&) {
        // The others find out when they next have something to show.
    }
    client_.beginStop();
    client_.join();
}

void BusObserver::message(const ServerMessage& message) {
    const auto wire = WireMessage::decode(message.payload);
    if (!wire)
        return;
    if (wire->kind == WireKind::list) {
        if (!message.reply.empty())
            announce(std::string(message.reply));
        return;
    }
    const bool isCopy = message.subject.starts_with(copies_);
    if (isCopy != ((wire->flags & wireCopy) != 0) || (!isCopy && wire->kind != WireKind::message))
        return;
    Observed observed{wire->kind,
                      Platform::Clock::wall().now(),
                      unitsOf(wire->name),
                      unitsOf(wire->sender),
                      unitsOf(wire->payload),
                      wire->header,
                      wire->process};
    if (isCopy) {
        observed.request = wire->kind == WireKind::request ? wire->sequence : wire->handle;
        observed.value = wire->value;
    } else if (!pattern_.matches(observed.name)) {
        return;
    }
    if (!isCopy && wire->sequence != 0) {
        if (heard_.size() >= mostHeardProcesses && !heard_.contains(wire->process))
            heard_.clear();
        uint64_t& last = heard_[wire->process];
        if (wire->sequence <= last)
            return;
        last = wire->sequence;
    }
    show_(observed);
}

void BusObserver::announce(const std::string& to) {
    tell(to, WireKind::addObserver);
}

void BusObserver::tell(const std::string& to, WireKind kind) {
    WireMessage message;
    message.kind = kind;
    message.process = client_.process();
    if (kind == WireKind::addObserver)
        message.name = bytesOf(text_);
    std::vector<Frame> frames;
    frames.emplace_back(to, std::string_view(), message).isKept = false;
    client_.publish(std::move(frames));
}

}  // namespace MessageBus
