#include "interface/Loader.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <windows.h>

void* openBeside(const char* program, const char* file) {
    char path[4096];
    const char* end = strrchr(program, '\\');
    snprintf(path, sizeof path, "%.*s%s", end ? (int)(end - program + 1) : 0, program, file);
    return (void*)LoadLibraryA(path);
}

void* findFunction(void* library, const char* name) {
    return (void*)(uintptr_t)GetProcAddress((HMODULE)library, name);
}

void closeLibrary(void* library) {
    FreeLibrary((HMODULE)library);
}

int isLoaded(const char* program, const char* file) {
    (void)program;
    return GetModuleHandleA(file) != NULL;
}
