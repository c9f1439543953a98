// The environment of the process, as what it loads will see it.
#pragma once

#include <string>

namespace Platform {

// Empty when it is not set.
std::u16string environment(const std::u16string& name);
// Does nothing when it has that value. Not while other threads may look at the environment.
void setEnvironment(const std::u16string& name, const std::u16string& value);

}  // namespace Platform
