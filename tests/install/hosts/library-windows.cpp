#include <windows.h>

#include "library.h"

static HMODULE library = nullptr;

void LoadTheLibrary() { library = LoadLibraryA("KestrelbayGeneral.dll"); }
void* FindInLibrary(const char* name) { return reinterpret_cast<void*>(GetProcAddress(library, name)); }
void UnloadTheLibrary() { FreeLibrary(library); }
