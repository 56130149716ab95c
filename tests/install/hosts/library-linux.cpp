#include <dlfcn.h>

#include "library.h"

static void* library = nullptr;

void LoadTheLibrary() { library = dlopen("libKestrelbayGeneral.so", RTLD_NOW | RTLD_LOCAL); }
void* FindInLibrary(const char* name) { return dlsym(library, name); }
void UnloadTheLibrary() { dlclose(library); }
