// Internal side of the INI file layer: the size of its working buffers and
// the line reader the writer shares with read_line.
#ifndef MC_CORE_INI_H
#define MC_CORE_INI_H

#include <cstddef>
#include <cstdio>
#include <string>

namespace mc {

// Section and key names, header texts and the lines of read_line and
// read_lineSpecial live in buffers of this size: a wanted name of this length
// or more never matches, and a longer line is cut to kTailleTamponIni - 1
// characters.
inline constexpr size_t kTailleTamponIni = 256;

// Reads one line the way read_line does, into a string of any length: every
// character up to LF (CR included) is kept; returns false, with what was read
// so far in ligne, at the end of the file or at a 0xFF byte.  Kept for
// compatibility: a last line without LF, and everything from a 0xFF byte on,
// are thus lost to the writer.
bool LireLigneIni(FILE *pstFichier, std::string &ligne);

}  // namespace mc

#endif  // MC_CORE_INI_H
