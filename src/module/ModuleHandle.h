// What stands behind the opaque handle of the module interface.
#pragma once

#include <functional>

#include <brevant/module.h>

#include "module/Module.h"

struct ModuleHandle {
    std::function<void(Tavix::Module*)> deleter;
    Tavix::Module* module = nullptr;  // owned through the deleter
};
