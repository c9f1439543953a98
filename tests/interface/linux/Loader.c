#include "interface/Loader.h"

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

static void* open(const char* program, const char* file, int flags) {
    char path[4096];
    const char* end = strrchr(program, '/');
    snprintf(path, sizeof path, "%.*s%s", end ? (int)(end - program + 1) : 0, program, file);
    return dlopen(path, flags | RTLD_NOW | RTLD_LOCAL);
}

void* openBeside(const char* program, const char* file) {
    return open(program, file, 0);
}

void* findFunction(void* library, const char* name) {
    return dlsym(library, name);
}

void closeLibrary(void* library) {
    dlclose(library);
}

int isLoaded(const char* program, const char* file) {
    void* library = open(program, file, RTLD_NOLOAD);
    if (library)
        dlclose(library);
    return library != NULL;
}
