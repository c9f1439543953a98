// The system's time as this layer's clocks read it.
#pragma once

#include "platform/Clock.h"

namespace Platform {

Clock::Time wallTime() noexcept;    // since 1970 UTC
Clock::Time steadyTime() noexcept;  // since the system's start

}  // namespace Platform
