// The INI reader: the scanner pkw_GetIniInfo and the two readers over it.
// It knows nothing of traces or status codes; a missing file, section or key
// leaves the caller's default where it is.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/ini.h"
#include "core/preferences.h"
#include "mc.h"

namespace {

inline bool FinDeLigne(char c) { return c == '\0' || c == '\r' || c == '\n'; }

inline char Majuscule(char c) { return static_cast<char>(toupper(static_cast<unsigned char>(c))); }

// Upper-cased copy of a wanted name; false when it does not fit the working
// buffer, in which case it can never match.
bool CopierNomMajuscule(const char *pcNom, char (&tampon)[mc::kTailleTamponIni]) {
  const size_t n = strnlen(pcNom, mc::kTailleTamponIni);
  if (n >= mc::kTailleTamponIni) return false;
  for (size_t i = 0; i < n; ++i) tampon[i] = Majuscule(pcNom[i]);
  tampon[n] = '\0';
  return true;
}

// Counts the characters from pcTexte[pos] up to the first cFin, stopping at a
// NUL, CR or LF.  A stretch already seen without cFin is remembered, so that
// a long line stepped over a few characters at a time is not counted again
// at every step.
class Compteur {
 public:
  Compteur(const char *pcTexte, char cFin) : texte_(pcTexte), fin_(cFin) {}
  // True with the count in *pNombre when cFin comes first.
  bool Compter(size_t pos, size_t *pNombre) {
    if (pos >= sansDebut_ && pos <= sansFin_) return false;
    size_t n = 0;
    while (texte_[pos + n] != fin_) {
      if (FinDeLigne(texte_[pos + n])) {
        sansDebut_ = pos;
        sansFin_ = pos + n;
        return false;
      }
      ++n;
    }
    *pNombre = n;
    return true;
  }

 private:
  const char *texte_;
  char fin_;
  // Cutting names in place only adds line ends, so a stretch stays free of
  // cFin once seen so.
  size_t sansDebut_ = 1, sansFin_ = 0;
};

// Walks the text (NUL at pcTexte[ulTaille]) for the first entry of the key in
// a section of the wanted name, in file order.  Returns the start of the
// entry's value, cut at its line end, or null.  Names found in the text are
// cut and upper-cased in place.
char *Scanner(char *pcTexte, size_t ulTaille, const char *pcSection, const char *pcCle) {
  size_t pos = 0;
  bool dansSection = false;
  Compteur crochet(pcTexte, ']');
  Compteur egal(pcTexte, '=');
  while (pos < ulTaille) {
    const char c = pcTexte[pos];
    if (c == ';' || c == '#') {
      while (!FinDeLigne(pcTexte[pos])) ++pos;
    } else if (c == '[') {
      size_t n = 0;
      if (!crochet.Compter(pos + 1, &n)) {
        dansSection = false;
        pos += 2;
      } else if (n < 2) {
        dansSection = false;
        pos += n + 2;
      } else {
        char *nom = pcTexte + pos + 1;
        nom[n] = '\0';
        for (size_t i = 0; i < n; ++i) nom[i] = Majuscule(nom[i]);
        // Blanks inside the brackets are part of the name: "[ commun ]" is
        // not section "commun".
        dansSection = strcmp(nom, pcSection) == 0;
        pos += n + 2;
      }
    } else if (static_cast<signed char>(c) <= 32) {
      // Blanks, controls and, taken as signed, every byte from 0x80 up.
      ++pos;
    } else if (!dansSection) {
      while (!FinDeLigne(pcTexte[pos])) ++pos;
    } else {
      size_t n = 0;
      if (!egal.Compter(pos, &n)) {
        // Kept for compatibility: a line without "=" is stepped over two
        // characters at a time, each step read as the start of a line.
        pos += 2;
      } else if (n < 2) {
        pos += n + 2;
      } else {
        char *cle = pcTexte + pos;
        cle[n] = '\0';
        for (size_t i = 0; i < n; ++i) cle[i] = Majuscule(cle[i]);
        if (strcmp(cle, pcCle) == 0) {
          char *valeur = cle + n + 1;
          while (*valeur == ' ') ++valeur;
          char *fin = valeur;
          while (!FinDeLigne(*fin)) ++fin;
          *fin = '\0';
          return valeur;
        }
        // Kept for compatibility: the value is scanned as if a line started
        // after "=", so "k=[x]" opens a section and "k=key=v" can match.
        pos += n + 1;
      }
    }
  }
  return nullptr;
}

// Reads the whole file into a NUL-terminated block of plain memory.  Returns
// 1 with the block, 0 when the file could not be opened or read (the default
// stands), -1 when its size could not be asked for.
int ChargerFichier(const std::string &chemin, char **ppcTexte, size_t *pulTaille) {
  const int fd = open(chemin.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return 0;
  struct stat st;
  if (fstat(fd, &st) != 0 || st.st_size < 0) {
    close(fd);
    return -1;
  }
  const size_t taille = static_cast<size_t>(st.st_size);
  char *texte = static_cast<char *>(malloc(taille + 1));
  if (texte == nullptr) {
    close(fd);
    return 0;
  }
  size_t lus = 0;
  while (lus < taille) {
    const ssize_t r = read(fd, texte + lus, taille - lus);
    if (r < 0) {
      free(texte);
      close(fd);
      return 0;
    }
    if (r == 0) break;  // the file shrank meanwhile: scan what is there
    lus += static_cast<size_t>(r);
  }
  close(fd);
  texte[lus] = '\0';
  *ppcTexte = texte;
  *pulTaille = lus;
  return 1;
}

}  // namespace

extern "C" {

MC_EXPORT void *pkw_GetIniInfo(const char *pcSection, const char *pcCle, void *pvDestination, char cType,
                               int32_t lTaille, const char *pcFichier) noexcept {
  if (pvDestination == nullptr) return nullptr;
  if (pcSection == nullptr || pcCle == nullptr || pcFichier == nullptr) return pvDestination;
  try {
    char *texte = nullptr;
    size_t taille = 0;
    const int charge = ChargerFichier(mc::CheminIni(pcFichier), &texte, &taille);
    if (charge < 0) return nullptr;
    if (charge == 0) return pvDestination;
    char section[mc::kTailleTamponIni];
    char cle[mc::kTailleTamponIni];
    const char *valeur = nullptr;
    if (CopierNomMajuscule(pcSection, section) && CopierNomMajuscule(pcCle, cle))
      valeur = Scanner(texte, taille, section, cle);
    if (valeur != nullptr) {
      if (cType == 'i' || cType == 'I') {
        // atoi, without its undefined behaviour on out-of-range numbers.
        const int32_t nombre = static_cast<int32_t>(strtol(valeur, nullptr, 10));
        memcpy(pvDestination, &nombre, sizeof nombre);
      } else if (lTaille >= 0) {
        // Kept for compatibility: a value cut at lTaille characters gets its
        // NUL at position lTaille, so the destination holds lTaille + 1 bytes.
        const size_t n = strnlen(valeur, static_cast<size_t>(lTaille));
        char *destination = static_cast<char *>(pvDestination);
        memcpy(destination, valeur, n);
        destination[n] = '\0';
      }
    }
    free(texte);
    return pvDestination;
  } catch (...) {
    return pvDestination;
  }
}

MC_EXPORT uint32_t GetIniString(const char *pcSection, const char *pcCle, const char *pcDefaut,
                                char *pcDestination, int32_t lTaille, const char *pcFichier) noexcept {
  if (pcDestination == nullptr || lTaille < 0) return 0;
  if (pcDefaut == nullptr) pcDefaut = "";
  const size_t longueurDefaut = strlen(pcDefaut);
  if (longueurDefaut > static_cast<size_t>(lTaille)) {
    memcpy(pcDestination, pcDefaut, static_cast<size_t>(lTaille));
    pcDestination[lTaille > 0 ? lTaille - 1 : 0] = '\0';
  } else {
    // A default of exactly lTaille characters takes lTaille + 1 bytes.
    memcpy(pcDestination, pcDefaut, longueurDefaut + 1);
  }
  // A file whose size cannot be asked for gives null here: the default stays,
  // as for a missing key.
  pkw_GetIniInfo(pcSection, pcCle, pcDestination, 's', lTaille, pcFichier);
  return static_cast<uint32_t>(strlen(pcDestination));
}

MC_EXPORT int32_t GetIniInt(const char *pcSection, const char *pcCle, int32_t lDefaut,
                            const char *pcFichier) noexcept {
  pkw_GetIniInfo(pcSection, pcCle, &lDefaut, 'i', 4, pcFichier);
  return lDefaut;
}

}  // extern "C"
