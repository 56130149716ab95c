/*
 * An installer that registers nothing, and ends when nobody needs it to run any longer. It leaves the file
 * "ended" behind.
 */
#include <stdio.h>
#include <windows.h>

int main(void) {
  FILE* ended;
  /* Not opened: an open file could not be removed by whoever wants this to end. */
  while (GetFileAttributesA("running") != INVALID_FILE_ATTRIBUTES) Sleep(10);
  ended = fopen("ended", "w");
  if (ended == NULL) return 1;
  fclose(ended);
  return 0;
}
