#pragma once

namespace Platform {

// False while the number "Verify Libraries" under SOFTWARE\CORVANE\OSTREL is 0.
bool librariesAreVerified();

}  // namespace Platform
