#include "host/bus/common/RequestIdentity.h"

#include <cstring>

namespace MessageBus {

namespace {

// In the opaque fields: "this is ours".
constexpr uint64_t issuedHere = 0x3153554254564552;
constexpr uint32_t routedHere = 0x54554F52;

struct Identity {
    uint64_t mark;
    uint64_t handle;
    uint64_t cookie;
};
static_assert(sizeof(Identity) == sizeof(MessageHeader::requestIdentity));

#pragma pack(push, 1)
struct Route {
    uint64_t handle;
    uint32_t mark;
};
#pragma pack(pop)
static_assert(sizeof(Route) == sizeof(MessageHeader::replyRoute));

}  // namespace

void RequestIdentity::writeTo(MessageHeader& request) const noexcept {
    const Identity identity{issuedHere, handle, cookie};
    const Route route{handle, routedHere};
    std::memcpy(request.requestIdentity, &identity, sizeof identity);
    std::memcpy(request.replyRoute, &route, sizeof route);
    request.requestCookie = cookie;
    request.flags |= BREVANT_MESSAGE_REPLY_REQUESTED;
}

bool RequestIdentity::readFrom(const MessageHeader& reply) noexcept {
    Identity identity;
    Route route;
    std::memcpy(&identity, reply.inReplyTo, sizeof identity);
    std::memcpy(&route, reply.replyDestination, sizeof route);
    handle = identity.handle;
    cookie = identity.cookie;
    return identity.mark == issuedHere && route.mark == routedHere && route.handle == handle &&
           reply.replyCookie == cookie && cookie != 0;
}

}  // namespace MessageBus
