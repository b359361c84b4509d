// Length codes of variable strings: the minimal definite form of BER, and
// the lenient decoder offered beside it.
#include <cstdint>

#include "trace/trace.h"

extern "C" {

MC_EXPORT uint32_t stCoderLongueur(uint32_t ulLongueur, unsigned char *pucCode) noexcept {
  if (pucCode == nullptr) return 0;
  if (ulLongueur <= 0x7F) {
    pucCode[0] = static_cast<unsigned char>(ulLongueur);
    return 1;
  }
  uint32_t octets = 1;
  while (octets < 4 && (ulLongueur >> (8 * octets)) != 0) ++octets;
  pucCode[0] = static_cast<unsigned char>(0x80 | octets);
  for (uint32_t i = 0; i < octets; ++i)
    pucCode[1 + i] = static_cast<unsigned char>(ulLongueur >> (8 * (octets - 1 - i)));
  return octets + 1;
}

MC_EXPORT uint16_t usDecoderLongueur(const unsigned char *pucBuffer, uint32_t ulTailleBuffer, uint32_t ulOffset,
                                     uint32_t *pulLongueur, uint32_t *pulNombreOctets) noexcept {
  MCT_ENTREE(mc::kCompBinaire, "usDecoderLongueur : offset = %u", ulOffset);
  uint16_t usResultat = MC_OK;
  if (pucBuffer == nullptr || pulLongueur == nullptr || pulNombreOctets == nullptr || ulOffset >= ulTailleBuffer) {
    usResultat = MC_ERR_ARGUMENT;
  } else if (pucBuffer[ulOffset] <= 0x80) {
    // 0x80 alone is taken as 128, though the coder never writes it.
    *pulLongueur = pucBuffer[ulOffset];
    *pulNombreOctets = 1;
  } else {
    const uint32_t n = pucBuffer[ulOffset] & 0x7Fu;
    if (n > 4 || uint64_t{ulOffset} + n >= ulTailleBuffer) {
      usResultat = MC_ERR_ARGUMENT;
    } else {
      // Kept as the decoder always did it: each length byte is taken as a
      // signed 8-bit value (0x80 and above subtract), and the count is that
      // of the bytes after the first, unlike the short form's 1.
      uint32_t longueur = 0;
      for (uint32_t i = 1; i <= n; ++i)
        longueur = longueur * 256u +
                   static_cast<uint32_t>(static_cast<int32_t>(static_cast<int8_t>(pucBuffer[ulOffset + i])));
      *pulLongueur = longueur;
      *pulNombreOctets = n;
    }
  }
  MCT_SORTIE(mc::kCompBinaire, "usDecoderLongueur : Code retour = 0x%04x", usResultat);
  return usResultat;
}

}  // extern "C"
