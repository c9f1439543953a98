#pragma once

#include <string>

#include "platform/windows/Handle.h"

namespace Platform {

using NativePath = std::u16string;
using NativeFile = Handle;

}  // namespace Platform
