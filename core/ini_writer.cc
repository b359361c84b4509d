// The INI writer: WriteIniString rewrites the whole file through a temporary
// file, which then replaces the target in one rename, so a crash leaves
// either the old file or the new one.
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/ini.h"
#include "core/preferences.h"
#include "mc.h"

namespace {

constexpr const char *kFichierTemporaire = "WriteIniTmp.txt";

void EcrireLigne(FILE *pstFichier, const std::string &ligne) {
  // As "%s\n": a NUL byte inside a line ends what is written of it.
  fputs(ligne.c_str(), pstFichier);
  fputc('\n', pstFichier);
}

void EcrireEntree(FILE *pstFichier, const char *pcCle, const char *pcValeur) {
  fprintf(pstFichier, "%s=%s\n", pcCle, pcValeur);
}

// Copies what is left of the source, line by line, with read_line's rule.
void CopierReste(FILE *pstSource, FILE *pstDestination) {
  std::string ligne;
  while (mc::LireLigneIni(pstSource, ligne)) EcrireLigne(pstDestination, ligne);
}

// Puts the temporary file's content over the target when no rename can (the
// two lie on different file systems).
bool CopierFichier(const std::string &source, const std::string &cible) {
  FILE *entree = fopen(source.c_str(), "rb");
  if (entree == nullptr) return false;
  FILE *sortie = fopen(cible.c_str(), "wb");
  if (sortie == nullptr) {
    fclose(entree);
    return false;
  }
  char bloc[4096];
  size_t n = 0;
  bool ok = true;
  while ((n = fread(bloc, 1, sizeof bloc, entree)) > 0) ok = ok && fwrite(bloc, 1, n, sortie) == n;
  ok = ok && ferror(entree) == 0;
  fclose(entree);
  ok = fflush(sortie) == 0 && ok;
  ok = fsync(fileno(sortie)) == 0 && ok;
  ok = fclose(sortie) == 0 && ok;
  if (ok) unlink(source.c_str());
  return ok;
}

// Makes the temporary file durable and moves it over the target.  A failed
// write leaves the target untouched.
bool Remplacer(FILE *pstTemporaire, const std::string &temporaire, const std::string &cible) {
  bool ok = fflush(pstTemporaire) == 0 && ferror(pstTemporaire) == 0;
  ok = ok && fsync(fileno(pstTemporaire)) == 0;
  ok = fclose(pstTemporaire) == 0 && ok;
  if (!ok) {
    unlink(temporaire.c_str());
    return false;
  }
  if (rename(temporaire.c_str(), cible.c_str()) == 0) return true;
  return CopierFichier(temporaire, cible);
}

int32_t Ecrire(const char *pcSection, const char *pcCle, const char *pcValeur, const char *pcFichier) {
  // Names that do not fit the working buffers could never be read back.
  if (strnlen(pcSection, mc::kTailleTamponIni) >= mc::kTailleTamponIni ||
      strnlen(pcCle, mc::kTailleTamponIni) >= mc::kTailleTamponIni)
    return 0;
  const std::string cible = mc::CheminIni(pcFichier);
  const std::string temporaire = mc::CheminIni(kFichierTemporaire);
  // The writer always writes, and looks for, the section in upper case; the
  // key keeps the caller's spelling.
  std::string entete = "[";
  for (const char *p = pcSection; *p != '\0'; ++p) entete += static_cast<char>(toupper(static_cast<unsigned char>(*p)));
  entete += ']';
  const size_t longueurCle = strlen(pcCle);

  FILE *source = fopen(cible.c_str(), "r");
  FILE *sortie = fopen(temporaire.c_str(), "w");
  if (sortie == nullptr) {
    if (source != nullptr) fclose(source);
    return 0;
  }
  // A new file holds the section and the entry; it goes through the same
  // temporary file so that a failed write is reported, not half done.
  if (source == nullptr) {
    EcrireLigne(sortie, entete);
    EcrireEntree(sortie, pcCle, pcValeur);
    return Remplacer(sortie, temporaire, cible) ? 1 : 0;
  }

  std::string ligne;
  bool sectionTrouvee = false;
  while (mc::LireLigneIni(source, ligne)) {
    EcrireLigne(sortie, ligne);
    if (ligne == entete) {
      sectionTrouvee = true;
      break;
    }
  }
  if (!sectionTrouvee) {
    fprintf(sortie, "\n%s\n", entete.c_str());
    EcrireEntree(sortie, pcCle, pcValeur);
  } else {
    for (;;) {
      if (!mc::LireLigneIni(source, ligne)) {
        EcrireEntree(sortie, pcCle, pcValeur);
        break;
      }
      // Kept for compatibility: only the key's length is compared, so a key
      // "abc" takes the place of a line "abcd=1"; the old line is dropped.
      if (strncmp(ligne.c_str(), pcCle, longueurCle) == 0) {
        EcrireEntree(sortie, pcCle, pcValeur);
        CopierReste(source, sortie);
        break;
      }
      // An empty line ends the section: the entry goes just before it.
      if (ligne.empty()) {
        EcrireEntree(sortie, pcCle, pcValeur);
        EcrireLigne(sortie, ligne);
        CopierReste(source, sortie);
        break;
      }
      EcrireLigne(sortie, ligne);
    }
  }
  fclose(source);
  return Remplacer(sortie, temporaire, cible) ? 1 : 0;
}

}  // namespace

extern "C" {

MC_EXPORT int32_t WriteIniString(const char *pcSection, const char *pcCle, const char *pcValeur,
                                 const char *pcFichier) noexcept {
  if (pcSection == nullptr || pcCle == nullptr || pcValeur == nullptr || pcFichier == nullptr) return 0;
  try {
    return Ecrire(pcSection, pcCle, pcValeur, pcFichier);
  } catch (...) {
    return 0;
  }
}

}  // extern "C"
