/* Links the macros and runs the register dump of CPU chip 0 on board 0. */
#include <inttypes.h>
#include <stdio.h>

#include "macrodebug.h"

int main(void) {
  const macro_word location[MRING_WORDS] = {0x00010000};
  macro_word data[48] = {0};
  macro_word record[ERROR_RECORD_WORDS] = {0};

  _RETURN = 0;
  cp_9A10_0101(1, 1, location, 1, NULL, data, record, NULL);
  if (_RETURN == MACRO_FAILED) {
    printf("failed: class %" PRIu32 ", reason %" PRIu32 "\n", record[ERR_CLASS], record[ERR_REASON]);
    return 1;
  }
  printf("dumped, placeholder %d\n", cpu_dbg_dummy());
  return 0;
}
