/** The library as a host loads it while it runs. */
#pragma once

void LoadTheLibrary();
void* FindInLibrary(const char* name);
void UnloadTheLibrary();
