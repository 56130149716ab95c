/* An installer that registers nothing, and ends when nobody needs it to run any longer. */
#include <stdio.h>
#include <windows.h>

int main(void) {
  FILE* file;
  while ((file = fopen("running", "r")) != NULL) {
    fclose(file);
    Sleep(10);
  }
  return 0;
}
