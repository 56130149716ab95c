/*
 * An installer that registers nothing, and ends when the file "running" is gone. It then makes the file
 * "ended".
 */
#include <stdio.h>
#include <windows.h>

int main(void) {
  FILE* ended;
  /* Does not open the file, because Windows does not remove an open file. */
  while (GetFileAttributesA("running") != INVALID_FILE_ATTRIBUTES) Sleep(10);
  ended = fopen("ended", "w");
  if (ended == NULL) return 1;
  fclose(ended);
  return 0;
}
