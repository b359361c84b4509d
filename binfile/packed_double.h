// The 8-byte packed-decimal form of doubles in binary files: sign and first
// digit in byte 0, then 14 characters two per byte (a digit, or 0xF for the
// decimal point).
#ifndef MC_BINFILE_PACKED_DOUBLE_H
#define MC_BINFILE_PACKED_DOUBLE_H

namespace mc {

// Codes v with 14 significant digits; false, with nothing written, when v
// has more than 14 integer digits (magnitude 1e14 and more) or is not finite.
bool CoderDouble(double v, unsigned char aucCode[8]) noexcept;
// Reads 8 coded bytes back; bytes no writer makes give whatever the text
// they spell converts to (0 when it does not start with a number).
double DecoderDouble(const unsigned char aucCode[8]) noexcept;

}  // namespace mc

#endif  // MC_BINFILE_PACKED_DOUBLE_H
