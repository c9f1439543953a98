#pragma once

namespace ETWLogging {

// The log is in use while at least one module holds it. The first acquire starts what calls into the log from
// outside: the configuration listener and the logger's registration with the system, if it has one. The last
// release ends both and waits for their calls; what is logged then goes to files or nowhere.
void acquireLog() noexcept;
void releaseLog() noexcept;

}  // namespace ETWLogging
