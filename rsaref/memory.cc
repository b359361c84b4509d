// The toolkit's memory helpers.  Callers wipe contexts and keys with
// R_memset, so it must stay an out-of-line call.
#include <cstring>

#include "mc.h"
#include "rsaref/rsaref.h"

extern "C" {

MC_EXPORT void R_memset(POINTER output, int value, unsigned int len) noexcept {
  if (output == nullptr || len == 0) return;
  std::memset(output, value, len);
}

MC_EXPORT void R_memcpy(POINTER output, POINTER input, unsigned int len) noexcept {
  if (output == nullptr || input == nullptr || len == 0) return;
  std::memmove(output, input, len);
}

MC_EXPORT int R_memcmp(POINTER firstBlock, POINTER secondBlock, unsigned int len) noexcept {
  if (len == 0 || firstBlock == secondBlock) return 0;
  if (firstBlock == nullptr || secondBlock == nullptr) return firstBlock == nullptr ? -1 : 1;
  for (unsigned i = 0; i < len; ++i) {
    if (firstBlock[i] != secondBlock[i]) return int{firstBlock[i]} - int{secondBlock[i]};
  }
  return 0;
}

}  // extern "C"
