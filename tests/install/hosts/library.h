/** Loads and unloads the library at run time, as a host may do. */
#pragma once

void LoadTheLibrary();
void* FindInLibrary(const char* name);
void UnloadTheLibrary();
