#pragma once

#if defined(_WIN32)
#define BREVANT_EXPORT extern "C" __declspec(dllexport)
#else
#define BREVANT_EXPORT extern "C" __attribute__((visibility("default")))
#endif
