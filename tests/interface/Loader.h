/* The system's loader, for a host whose libraries stand beside the program. */
#ifndef LOADER_H
#define LOADER_H

/* Null when it cannot be loaded. */
void* openBeside(const char* program, const char* file);
/* Null when the library has no such function. */
void* findFunction(void* library, const char* name);
void closeLibrary(void* library);
/* Whether the library is in the process, whoever loaded it. */
int isLoaded(const char* program, const char* file);

#endif
