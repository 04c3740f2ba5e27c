#include <stddef.h>

/// Clears a frame that stays in memory.
///
/// Where a processor has no short sequence for it, compilers call this function even in freestanding code; the library
/// has it for itself, since it imports nothing but primitives.  Areas are short, a frame's variables: byte by byte will
/// do.
extern "C" [[gnu::used]] void *memset(void *area, int byte, size_t count) {
  auto *const bytes = static_cast<unsigned char *>(area);
  for (size_t i = 0; i < count; ++i)
    bytes[i] = static_cast<unsigned char>(byte);
  return area;
}
