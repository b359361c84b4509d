// Shared frame of the fuzz targets: a private preferences directory, a byte
// reader over the input, file writing, a check that aborts with a message,
// and the restoring of the library's process-wide state between inputs.
#ifndef MC_FUZZ_FUZZ_SUPPORT_H
#define MC_FUZZ_FUZZ_SUPPORT_H

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "mc.h"

namespace mc::fuzz {

// Aborts with a message: a fuzz target's failed expectation is a crash.
#define MC_FUZZ_CHECK(cond, ...)                                              \
  do {                                                                        \
    if (!(cond)) {                                                            \
      std::fprintf(stderr, "%s:%d: check failed: %s: ", __FILE__, __LINE__, #cond); \
      std::fprintf(stderr, __VA_ARGS__);                                      \
      std::fprintf(stderr, "\n");                                             \
      std::abort();                                                           \
    }                                                                         \
  } while (0)

// A fresh directory under $TMPDIR, set as MC_PREFERENCES_DIR, removed at exit
// unless MC_FUZZ_GARDER is set (to look at the files and traces of one
// input).  The name is never destroyed, so that the exit handler can still
// read it.
inline const std::string &RepertoirePrive() {
  static const std::string &chemin = *[] {
    const char *tmp = std::getenv("TMPDIR");
    std::string modele = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/mc-fuzz-XXXXXX";
    if (mkdtemp(modele.data()) == nullptr) {
      std::perror("mkdtemp");
      std::abort();
    }
    setenv("MC_PREFERENCES_DIR", modele.c_str(), 1);
    std::atexit([] {
      std::error_code ec;
      if (std::getenv("MC_FUZZ_GARDER") == nullptr) std::filesystem::remove_all(RepertoirePrive(), ec);
    });
    return new std::string(modele);
  }();
  return chemin;
}

inline std::string CheminPrive(const std::string &nom) { return RepertoirePrive() + "/" + nom; }

inline void EcrireFichier(const std::string &chemin, const void *donnees, size_t taille) {
  FILE *f = std::fopen(chemin.c_str(), "wb");
  MC_FUZZ_CHECK(f != nullptr, "cannot create %s", chemin.c_str());
  if (taille != 0) MC_FUZZ_CHECK(std::fwrite(donnees, 1, taille, f) == taille, "short write");
  std::fclose(f);
}

// CRC-16 of the binary files (reflected polynomial 0x8408, no augmentation,
// no final XOR, bytes of the result exchanged).
inline uint16_t Crc16(const uint8_t *octets, size_t n) {
  uint32_t r = 0;
  for (size_t i = 0; i < n; ++i) {
    r |= static_cast<uint32_t>(octets[i]) << 16;
    for (int b = 0; b < 8; ++b) r = (r & 1) ? (r >> 1) ^ 0x8408u : r >> 1;
  }
  return static_cast<uint16_t>(((r >> 8) & 0xFF) | ((r << 8) & 0xFF00));
}

// Puts the CRC of bytes 4 to the end into the first four, as "%04X".
inline void PoserCrc(std::string &fichier) {
  if (fichier.size() < 4) return;
  char champ[5];
  std::snprintf(champ, sizeof champ, "%04X",
                Crc16(reinterpret_cast<const uint8_t *>(fichier.data()) + 4, fichier.size() - 4));
  std::memcpy(fichier.data(), champ, 4);
}

// A dictionary, and the bytes of a tables file holding it (CRC control,
// TGROUPE, TCHAMP, TVALEUR in that order).
struct ChampDico {
  int32_t presence;
  uint16_t min, max;
  char format;
  std::vector<std::string> valeurs;
};
struct GroupeDico {
  uint16_t id;
  std::vector<ChampDico> champs;
};

inline std::string FichierTables(const std::vector<GroupeDico> &groupes) {
  auto mot = [](std::string &s, uint16_t v) {
    s += static_cast<char>(v >> 8);
    s += static_cast<char>(v);
  };
  auto long32 = [&](std::string &s, uint32_t v) {
    mot(s, static_cast<uint16_t>(v >> 16));
    mot(s, static_cast<uint16_t>(v));
  };
  std::string tg, tc, tv;
  uint32_t nc = 0, nv = 0;
  for (const GroupeDico &g : groupes) {
    mot(tg, g.id);
    mot(tg, static_cast<uint16_t>(nc));
    mot(tg, static_cast<uint16_t>(g.champs.size()));
    for (const ChampDico &c : g.champs) {
      long32(tc, static_cast<uint32_t>(c.presence));
      mot(tc, c.min);
      mot(tc, c.max);
      tc += c.format;
      long32(tc, 0);
      mot(tc, static_cast<uint16_t>(nv));
      mot(tc, static_cast<uint16_t>(c.valeurs.size()));
      for (const std::string &v : c.valeurs) {
        tv += static_cast<char>(v.size());  // values stay below 128 characters
        tv += v;
        ++nv;
      }
      ++nc;
    }
  }
  auto table = [&](const char *nom, const std::string &donnees, uint32_t nombre) {
    std::string t(nom);
    t.resize(10, ' ');
    long32(t, static_cast<uint32_t>(donnees.size()));
    long32(t, nombre);
    long32(t, 0);
    t.append(3, '\0');
    return t + donnees;
  };
  std::string fichier = "0000 tablebin.kmt 0104 DICO  20240101 0103 FUZZ  0000000000 dictionnaire\r\n\x1a";
  fichier += table("TGROUPE", tg, static_cast<uint32_t>(groupes.size())) + table("TCHAMP", tc, nc) +
             table("TVALEUR", tv, nv);
  PoserCrc(fichier);
  return fichier;
}

// Writes "tovel.ini" naming <private>/tables and <private>/travail (both
// made) as the tables and working directories; returns the tables one.
inline std::string InstallerTovel() {
  const std::string tables = CheminPrive("tables"), travail = CheminPrive("travail");
  std::filesystem::create_directories(tables);
  std::filesystem::create_directories(travail);
  const std::string ini = "[COMMUN]\nrepertoiretravail=" + travail + "\nrepertoiretable=" + tables + "\n";
  EcrireFichier(CheminPrive("tovel.ini"), ini.data(), ini.size());
  return tables;
}

// Reads the input front to back; past its end every read gives 0.
class Flux {
 public:
  Flux(const uint8_t *donnees, size_t taille) : p_(donnees), reste_(taille) {}
  bool Vide() const { return reste_ == 0; }
  size_t Reste() const { return reste_; }
  uint8_t Octet() {
    if (reste_ == 0) return 0;
    --reste_;
    return *p_++;
  }
  uint16_t Mot() { return static_cast<uint16_t>(Octet() << 8 | Octet()); }
  uint32_t Long() { return static_cast<uint32_t>(Mot()) << 16 | Mot(); }
  // The next n bytes (fewer at the end) and their count.
  const uint8_t *Prendre(size_t n, size_t *pris) {
    *pris = n < reste_ ? n : reste_;
    const uint8_t *debut = p_;
    p_ += *pris;
    reste_ -= *pris;
    return debut;
  }

 private:
  const uint8_t *p_;
  size_t reste_;
};

// Frees every zone record left in the table (buffers are the caller's).
inline void LibererZones() {
  for (uint16_t i = 0; i < MC_NB_ZONES_MAX; ++i)
    if (ZM[i] != nullptr) MC_usLibererZoneMemoire(i);
}

// Closes every binary file left open, and forgets the pending table size.
inline void LibererFichiers() {
  for (uint16_t i = 0; i < MC_NB_FICHIERS_MAX; ++i) {
    if (fichiers[i] == nullptr) continue;
    if (fichiers[i] == MC_FICHIER_RESERVE)
      fichiers[i] = nullptr;
    else
      usLibererFichier(static_cast<uint16_t>(i + 1));
  }
  lPositionTailleTable = 0;
}

}  // namespace mc::fuzz

#endif  // MC_FUZZ_FUZZ_SUPPORT_H
