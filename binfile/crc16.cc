// CRC-16 of the binary files.
//
// The check is defined bit by bit: a register R of 24 bits starts at 0; each
// byte c is OR-ed in at bits 16..23, then R is shifted right 8 times, XOR-ing
// 0x8408 after each shift that drops a 1; the result is R's low 16 bits with
// the bytes exchanged.  Bit by bit costs about 8 dependent steps per byte,
// some 40 times slower than a good CRC-32, so the code here computes the same
// value by other means.
//
// The mathematics.  Read the data as a polynomial over GF(2), the first byte's
// lowest bit being the highest power (the "reflected" order, in which a
// right shift multiplies by x), and let P = x^16 + x^12 + x^5 + 1 (0x8408
// reflected).  Eight shifts of R = r | c << 16 only ever test bits that came
// from r's low byte (0x8408's low set bit, 3, cannot reach bit 0 within the
// 8 shifts, nor can c's bits), so one byte does
//     r' = (r >> 8) ^ (c << 8) ^ T[r & 0xFF]                                (1)
// with T[i] the 8 shifts of i alone.  The usual table CRC does instead
//     s' = (s >> 8) ^ T[(s ^ c) & 0xFF]                                      (2)
// and computes M(x) * x^16 mod P for the message M.  Comparing the two, by
// induction, after bytes c_0 .. c_{k-1}
//     r_k = s_{k-2} ^ c_{k-2} ^ (c_{k-1} << 8)
// where s_{k-2} is (2) run over all but the last two bytes: a byte enters the
// register untouched and takes part in the division two bytes later (the
// register holds M(x) mod P, without the 16 bits of augmentation).  So the
// work is done by the standard engine (2), whose fast forms are well known,
// and the last two bytes are XOR-ed in at the end.  To continue from a register
// r instead of from 0, note that (2) run over two bytes a, b from s equals (2)
// run over two zero bytes from s ^ (a | b << 8): the register is exactly the
// engine state with its two pending bytes XOR-ed in, and two zero steps
// absorb them.
//
// The engines for (2).
//  - Slicing-by-16, the portable one: T_k[i] is the state after byte i then k
//    zero bytes, so 16 bytes fold into the state with 16 independent table
//    loads XOR-ed together (the state's two bytes go into the first two
//    loads).  16 tables of 256 16-bit entries make 8 KiB, which stays in the
//    L1 cache beside the data; wider slices gain little once the loads, not
//    the dependency chain, are the bound.  Tables of 16-bit entries rather
//    than 32-bit ones halve the cache footprint.
//  - Carry-less multiplication folding, where PCLMULQDQ exists.  A 16-byte
//    block X followed by D bits of data B satisfies, writing X = H x^64 + L,
//        X x^D + B  ==  H (x^(D+64) mod P) + L (x^D mod P) + B   (mod P)
//    and the two products are two carry-less 64 x 64 multiplications, since
//    each constant has fewer than 16 bits.  Four accumulators 64 bytes apart
//    (D = 512) keep the multiplier busy despite its latency; at the end they
//    fold into one (D = 128), and the last 16 bytes of the accumulator and the
//    tail go through the tables: folding keeps the remainder mod P unchanged,
//    so no Barrett reduction is needed.  In the reflected order a 64-bit
//    product lands one bit low in the 128-bit register (bit k of the product
//    stands for x^(126-k), bit k of the register for x^(127-k)), which the
//    constants absorb by being x^(E-1) mod P instead of x^E.  The initial
//    state is XOR-ed into the first two bytes, which is how (2) takes it.
#include "binfile/crc16.h"

#include <array>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define MC_CRC16_PCLMUL 1
#endif

namespace {

constexpr uint16_t kPolynome = 0x8408;

using Table = std::array<uint16_t, 256>;

constexpr std::array<Table, 16> ConstruireTables() {
  std::array<Table, 16> tables{};
  for (unsigned i = 0; i < 256; ++i) {
    uint16_t r = static_cast<uint16_t>(i);
    for (int b = 0; b < 8; ++b) r = static_cast<uint16_t>((r & 1) ? (r >> 1) ^ kPolynome : r >> 1);
    tables[0][i] = r;
  }
  for (unsigned k = 1; k < 16; ++k)
    for (unsigned i = 0; i < 256; ++i) {
      const uint16_t p = tables[k - 1][i];
      tables[k][i] = static_cast<uint16_t>((p >> 8) ^ tables[0][p & 0xFF]);
    }
  return tables;
}

constexpr std::array<Table, 16> kTables = ConstruireTables();

inline uint16_t EtapeOctet(uint16_t s, unsigned char c) noexcept {
  return static_cast<uint16_t>((s >> 8) ^ kTables[0][(s ^ c) & 0xFF]);
}

#ifdef MC_CRC16_PCLMUL
// x^e mod P in the usual order (bit d for x^d), then placed for the folding:
// x^d at bit 63 - d of a 64-bit word.
constexpr uint64_t ConstanteRepliement(unsigned e) {
  uint32_t r = 1;
  for (unsigned i = 0; i < e; ++i) {
    r <<= 1;
    if (r & 0x10000) r ^= 0x11021;
  }
  uint64_t reflet = 0;
  for (unsigned d = 0; d < 16; ++d)
    if ((r >> d) & 1) reflet |= uint64_t{1} << (63 - d);
  return reflet;
}

// For a distance of D bits: (x^(D+64-1) mod P, x^(D-1) mod P).
constexpr uint64_t kK512Haut = ConstanteRepliement(512 + 64 - 1);
constexpr uint64_t kK512Bas = ConstanteRepliement(512 - 1);
constexpr uint64_t kK128Haut = ConstanteRepliement(128 + 64 - 1);
constexpr uint64_t kK128Bas = ConstanteRepliement(128 - 1);

__attribute__((target("pclmul,sse2"))) inline __m128i Replier(__m128i x, __m128i k, __m128i bloc) {
  // Low half of x (the bytes first in the data, the high powers) times the
  // far constant, high half times the near one.
  const __m128i haut = _mm_clmulepi64_si128(x, k, 0x00);
  const __m128i bas = _mm_clmulepi64_si128(x, k, 0x11);
  return _mm_xor_si128(bloc, _mm_xor_si128(haut, bas));
}

__attribute__((target("pclmul,sse2"))) uint16_t ReflechiPclmul(uint16_t s, const unsigned char *p,
                                                                size_t n) noexcept {
  if (n < 64) return mc::Crc16ReflechiTables(s, p, n);
  const auto charger = [](const unsigned char *q) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(q));
  };
  __m128i x0 = _mm_xor_si128(charger(p), _mm_cvtsi32_si128(s));
  __m128i x1 = charger(p + 16);
  __m128i x2 = charger(p + 32);
  __m128i x3 = charger(p + 48);
  p += 64;
  n -= 64;
  const __m128i k512 = _mm_set_epi64x(static_cast<long long>(kK512Bas), static_cast<long long>(kK512Haut));
  while (n >= 64) {
    x0 = Replier(x0, k512, charger(p));
    x1 = Replier(x1, k512, charger(p + 16));
    x2 = Replier(x2, k512, charger(p + 32));
    x3 = Replier(x3, k512, charger(p + 48));
    p += 64;
    n -= 64;
  }
  const __m128i k128 = _mm_set_epi64x(static_cast<long long>(kK128Bas), static_cast<long long>(kK128Haut));
  __m128i x = Replier(x0, k128, x1);
  x = Replier(x, k128, x2);
  x = Replier(x, k128, x3);
  while (n >= 16) {
    x = Replier(x, k128, charger(p));
    p += 16;
    n -= 16;
  }
  alignas(16) unsigned char reste[16];
  _mm_store_si128(reinterpret_cast<__m128i *>(reste), x);
  return mc::Crc16ReflechiTables(mc::Crc16ReflechiTables(0, reste, 16), p, n);
}

bool PclmulDisponible() noexcept {
  static const bool disponible = __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse2");
  return disponible;
}
#endif

}  // namespace

namespace mc {

uint16_t Crc16ReflechiTables(uint16_t s, const unsigned char *p, size_t n) noexcept {
  while (n >= 16) {
    const unsigned a = (s ^ p[0]) & 0xFF;
    const unsigned b = ((s >> 8) ^ p[1]) & 0xFF;
    s = static_cast<uint16_t>(kTables[15][a] ^ kTables[14][b] ^ kTables[13][p[2]] ^ kTables[12][p[3]] ^
                              kTables[11][p[4]] ^ kTables[10][p[5]] ^ kTables[9][p[6]] ^ kTables[8][p[7]] ^
                              kTables[7][p[8]] ^ kTables[6][p[9]] ^ kTables[5][p[10]] ^ kTables[4][p[11]] ^
                              kTables[3][p[12]] ^ kTables[2][p[13]] ^ kTables[1][p[14]] ^ kTables[0][p[15]]);
    p += 16;
    n -= 16;
  }
  while (n-- > 0) s = EtapeOctet(s, *p++);
  return s;
}

bool Crc16ReflechiPclmul(uint16_t s, const unsigned char *p, size_t n, uint16_t *pusEtat) noexcept {
#ifdef MC_CRC16_PCLMUL
  if (!PclmulDisponible()) return false;
  *pusEtat = ReflechiPclmul(s, p, n);
  return true;
#else
  (void)s, (void)p, (void)n, (void)pusEtat;
  return false;
#endif
}

uint16_t Crc16Reflechi(uint16_t s, const unsigned char *p, size_t n) noexcept {
#ifdef MC_CRC16_PCLMUL
  if (n >= 64 && PclmulDisponible()) return ReflechiPclmul(s, p, n);
#endif
  return Crc16ReflechiTables(s, p, n);
}

uint16_t Crc16Continuer(uint16_t r, const unsigned char *p, size_t n) noexcept {
  if (n == 0) return r;
  if (n == 1) return static_cast<uint16_t>((r >> 8) ^ (p[0] << 8) ^ kTables[0][r & 0xFF]);
  // Two zero steps absorb the register's pending bytes into the engine state.
  uint16_t s = EtapeOctet(EtapeOctet(r, 0), 0);
  s = Crc16Reflechi(s, p, n - 2);
  return static_cast<uint16_t>(s ^ p[n - 2] ^ (p[n - 1] << 8));
}

}  // namespace mc
