// Character classes of the date and string tools, on single bytes.
//
// Digits, spaces and the letters below 0x80 follow the default (C locale)
// table whatever locale the host has chosen, so that '0'..'9' and 'A'..'Z' are
// the only digits and capitals of that range.  A byte at or above 0x80 is a
// letter only when the process's current locale says so for the wide
// character of the same value: in the C locale none is, in a Latin-1 or
// Unicode locale the accented letters are.  Functions that read their bytes
// as signed values never reach that second rule: their bytes at or above 0x80
// are negative and fall in no class.
#ifndef MC_TOOLS_CHAR_CLASSES_H
#define MC_TOOLS_CHAR_CLASSES_H

#include <wctype.h>

namespace mc::outils {

inline bool EstChiffre(int c) { return c >= '0' && c <= '9'; }

// The space is the byte 0x20 only: tabs and other blanks are not spaces.
inline bool EstEspace(int c) { return c == ' '; }

inline bool EstMajuscule(unsigned char c) {
  if (c < 0x80) return c >= 'A' && c <= 'Z';
  return iswupper(static_cast<wint_t>(c)) != 0;
}

inline bool EstMinuscule(unsigned char c) {
  if (c < 0x80) return c >= 'a' && c <= 'z';
  return iswlower(static_cast<wint_t>(c)) != 0;
}

// Read as a signed value: every byte at or above 0x80 is in no class.
inline bool EstMajusculeSigne(signed char c) {
  return c >= 0 && EstMajuscule(static_cast<unsigned char>(c));
}
inline bool EstMinusculeSigne(signed char c) {
  return c >= 0 && EstMinuscule(static_cast<unsigned char>(c));
}

}  // namespace mc::outils

#endif  // MC_TOOLS_CHAR_CLASSES_H
