// The CRC-16 of the binary files, over memory.  usCalculerCRC16 feeds a file
// through it; the tests and the benchmark reach the engines directly.
#ifndef MC_BINFILE_CRC16_H
#define MC_BINFILE_CRC16_H

#include <cstddef>
#include <cstdint>

namespace mc {

// The file CRC's 16-bit register after `n` more bytes.  Start from 0; any
// split of the data gives the same register.
uint16_t Crc16Continuer(uint16_t usRegistre, const unsigned char *pucDonnees, size_t n) noexcept;

// The CRC stored in a file: the register with its two bytes exchanged.
inline uint16_t Crc16Resultat(uint16_t usRegistre) noexcept {
  return static_cast<uint16_t>(((usRegistre >> 8) & 0xFF) | ((usRegistre << 8) & 0xFF00));
}

// The plain LSB-first CRC engine (polynomial 0x8408, state in and out, no
// final XOR) that the register is built on, in its two implementations:
// slicing-by-16 on any processor, carry-less multiplication folding where the
// processor has it.  Crc16Reflechi picks the fastest.
uint16_t Crc16Reflechi(uint16_t usEtat, const unsigned char *pucDonnees, size_t n) noexcept;
uint16_t Crc16ReflechiTables(uint16_t usEtat, const unsigned char *pucDonnees, size_t n) noexcept;
// False when the processor lacks the instructions; then nothing is computed.
bool Crc16ReflechiPclmul(uint16_t usEtat, const unsigned char *pucDonnees, size_t n,
                         uint16_t *pusEtat) noexcept;

}  // namespace mc

#endif  // MC_BINFILE_CRC16_H
