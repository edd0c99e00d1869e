/* Prints a file of profile records as text, one line for each: decode_file RECORDS
 *
 * Records are read in blocks of 256, so that their texts stay in the processor's cache. */
#include <profile/velprofile.h>

#include <stdio.h>

enum { BLOCK = 256 };

int main(int argc, char** argv) {
  static unsigned char records[BLOCK * VEL_PROFILE_RECORD_SIZE];
  static char text[BLOCK * VEL_PROFILE_TEXT_CAPACITY];
  if (argc != 2) {
    fprintf(stderr, "usage: decode_file RECORDS\n");
    return 2;
  }
  FILE* const file = fopen(argv[1], "rb");
  if (file == NULL) {
    perror(argv[1]);
    return 1;
  }
  int status = 0;
  size_t count;
  while ((count = fread(records, VEL_PROFILE_RECORD_SIZE, BLOCK, file)) != 0) {
    size_t length;
    /* One call renders the whole block: the buffer holds the longest texts that 256 records can have. */
    vel_profile_render_many(records, count, NULL, text, sizeof text, &length, NULL);
    if (fwrite(text, 1, length, stdout) != length) { /* by length, since a text may contain NULs */
      status = 1;
      break;
    }
  }
  if (ferror(file)) {
    perror(argv[1]);
    status = 1;
  }
  fclose(file);
  return status;
}
