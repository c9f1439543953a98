// The messages that this program's own commands exchange beside those of include/brevant.
#pragma once

// Asks the host that serves the bus how it is; the answer's payload is a HostStatus (HostStatus.h). Nobody
// there: no host runs. [anybody to host]
#define BREVANT_HOST_STATUS u"Brevant.Host.Status"

// A host that begins or serves tells the others of itself; HostClaim.h. [host to hosts]
#define BREVANT_HOST_CLAIM u"Brevant.Host.Claim"

// Asks the host to let its example plugin serve the product that the payload names, unless that has a plugin;
// any answer says that it has one now. [product to host]
#define BREVANT_HOST_STAND_IN u"Brevant.Host.StandIn"

// Asks a viewer for a sign of life; any answer is one. The host asks those whose property has a value that
// says {"alive":true}, and takes the property away when nobody is there to answer: such a viewer subscribes
// to this before it registers. Viewers with another value are never asked and stay until they unregister.
// [host to viewer]
#define BREVANT_VIEWER_ALIVE u".Alive"
