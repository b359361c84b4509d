// Packed-decimal doubles.  The text is made and read without the C locale
// functions (to_chars/from_chars), so that a host that switched its numeric
// locale to a decimal comma still writes and reads the same bytes.
#include "binfile/packed_double.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace mc {

bool CoderDouble(double v, unsigned char aucCode[8]) noexcept {
  if (!std::isfinite(v)) return false;
  int chiffres = 1;  // digits before the point
  if (v != 0) {
    const double e = std::floor(std::log10(std::fabs(v)));
    chiffres = e < 0 ? 1 : static_cast<int>(e) + 1;
  }
  if (chiffres > 14) return false;
  // 14 digits in all: "%.*f" with 14 - d decimals.  A rounding carry
  // (9.99999999999999 giving "10.0000000000000") makes one character more,
  // which is dropped below.  The '0' fill stands in for characters a
  // log10 rounding might leave missing: trailing zeros after the point.
  char texte[48];
  memset(texte, '0', sizeof texte);
  const auto res = std::to_chars(texte, texte + sizeof texte - 2, v, std::chars_format::fixed, 14 - chiffres);
  if (res.ec != std::errc()) return false;
  if (chiffres == 14) *res.ptr = '.';
  const char *c = texte;
  const bool negatif = *c == '-';
  if (negatif) ++c;
  aucCode[0] = static_cast<unsigned char>((negatif ? 16 : 0) + (*c++ - '0'));
  const auto quartet = [](char x) { return x == '.' ? 0xF : (x - '0') & 0xF; };
  for (int i = 1; i < 8; ++i, c += 2)
    aucCode[i] = static_cast<unsigned char>(quartet(c[0]) << 4 | quartet(c[1]));
  return true;
}

double DecoderDouble(const unsigned char aucCode[8]) noexcept {
  char texte[17];
  int n = 0;
  if (aucCode[0] >= 16) texte[n++] = '-';
  texte[n++] = static_cast<char>('0' + (aucCode[0] & 0xF));
  for (int i = 1; i < 8; ++i) {
    const unsigned quartets[2] = {static_cast<unsigned>(aucCode[i] >> 4), static_cast<unsigned>(aucCode[i] & 0xF)};
    for (const unsigned q : quartets) texte[n++] = q == 0xF ? '.' : static_cast<char>('0' + q);
  }
  if (texte[n - 1] == '.') --n;
  // As strtod: the longest number at the start, 0 when there is none.
  double v = 0;
  if (std::from_chars(texte, texte + n, v).ec != std::errc()) v = 0;
  return v;
}

}  // namespace mc
