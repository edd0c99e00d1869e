/* An outside program: decodes standard input with the installed package. */
#include <profile/velprofile.h>

#include <stdio.h>

int main(void) {
  unsigned char record[VEL_PROFILE_RECORD_SIZE];
  char text[VEL_PROFILE_TEXT_CAPACITY];
  while (fread(record, sizeof record, 1, stdin) == 1) {
    fwrite(text, 1, vel_profile_render(record, NULL, text, sizeof text), stdout);
    putchar('\n');
  }
  return 0;
}
