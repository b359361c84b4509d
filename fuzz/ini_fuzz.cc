// INI files: arbitrary text read with arbitrary sections and keys through
// every reader (strings of several sizes, numbers, the scanner, the line
// readers and the small helpers), then written back into.  Input: a section,
// a key and a value (each a length byte and its bytes), then the file text.
// A well-formed entry written into a new file must read back as written.
#include <string>
#include <vector>

#include "fuzz_support.h"

namespace {

using mc::fuzz::Flux;

std::string Texte(Flux &f) {
  size_t n = 0;
  const uint8_t *p = f.Prendre(f.Octet() % 160u, &n);
  std::string s(reinterpret_cast<const char *>(p), n);
  // A C string ends at its first NUL.
  return s.substr(0, s.find('\0'));
}

// Reads with a destination of exactly the size the reader may fill.
void LireChaine(const std::string &section, const std::string &cle, const std::string &fichier, int32_t taille) {
  std::vector<char> destination(static_cast<size_t>(taille) + 1, '\x55');
  const uint32_t longueur =
      MC_ulLireChaineIni(section.c_str(), cle.c_str(), destination.data(), taille, fichier.c_str());
  MC_FUZZ_CHECK(longueur <= static_cast<uint32_t>(taille) && std::strlen(destination.data()) == longueur,
                "read %u characters with size %d", longueur, taille);
}

// Reads every line of the file with both line readers, through a buffer of
// exactly 256 bytes.
void LireLignes(const std::string &chemin) {
  for (int special = 0; special <= 1; ++special) {
    FILE *f = std::fopen(chemin.c_str(), "rb");
    MC_FUZZ_CHECK(f != nullptr, "cannot reopen %s", chemin.c_str());
    std::vector<char> ligne(256);
    finficpourligne = 0;
    for (int i = 0; i < 4096; ++i) {
      const int32_t lu = special ? read_lineSpecial(f, ligne.data()) : read_line(f, ligne.data());
      if (lu == 0) break;
      MC_FUZZ_CHECK(std::memchr(ligne.data(), '\0', ligne.size()) != nullptr, "line not terminated");
    }
    std::fclose(f);
  }
  finficpourligne = 0;
}

// An entry the writer and reader agree on: names of 2 to 200 characters
// that the scanner takes whole, and a value on one line; no 0xFF byte, which
// ends the writer's reading of a file.
bool BienForme(const std::string &section, const std::string &cle, const std::string &valeur) {
  auto hors = [](const std::string &s, const char *interdits) {
    for (char c : s)
      if (c == '\r' || c == '\n' || c == '\xff' || std::strchr(interdits, c) != nullptr) return true;
    return false;
  };
  if (section.size() < 2 || section.size() > 200 || hors(section, "]")) return false;
  if (cle.size() < 2 || cle.size() > 200 || hors(cle, "=")) return false;
  const auto premier = static_cast<signed char>(cle[0]);
  if (premier <= ' ' || premier == ';' || premier == '#' || premier == '[') return false;
  return !hors(valeur, "");
}

void RelireEcrit(const std::string &section, const std::string &cle, const std::string &valeur) {
  const std::string attendu = valeur.substr(std::min(valeur.find_first_not_of(' '), valeur.size()));
  std::vector<char> lu(valeur.size() + 1);
  const uint32_t n = MC_ulLireChaineIni(section.c_str(), cle.c_str(), lu.data(), static_cast<int32_t>(valeur.size()),
                                        "neuf.ini");
  MC_FUZZ_CHECK(n == attendu.size() && attendu == lu.data(), "wrote [%s] %s=%s, read back %u characters '%s'",
                section.c_str(), cle.c_str(), valeur.c_str(), n, lu.data());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  mc::fuzz::RepertoirePrive();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Flux f(data, size);
  const std::string section = Texte(f);
  const std::string cle = Texte(f);
  const std::string valeur = Texte(f);
  size_t n = 0;
  const uint8_t *octets = f.Prendre(f.Reste(), &n);
  const std::string texte(reinterpret_cast<const char *>(octets), n);
  const std::string chemin = mc::fuzz::CheminPrive("fuzz.ini");
  mc::fuzz::EcrireFichier(chemin, texte.data(), texte.size());
  mc::fuzz::EcrireFichier(mc::fuzz::CheminPrive("tovel.ini"), texte.data(), texte.size());
  const char *s = section.c_str(), *k = cle.c_str();

  // Readers, by name in the preferences directory and by full path.
  for (int32_t taille : {1, 7, 255}) LireChaine(section, cle, "fuzz.ini", taille);
  LireChaine(section, cle, chemin, 64);
  MC_lLireLongIni(s, k, "fuzz.ini");
  std::vector<char> tampon(65);
  MC_ulLireChaineTovel(s, k, tampon.data(), 64);
  MC_lLireLongTovel(s, k);
  for (int32_t taille : {3, 16}) {
    std::vector<char> destination(static_cast<size_t>(taille) + 1);
    const std::string defaut = valeur.substr(0, 20);
    const uint32_t longueur = GetIniString(s, k, defaut.c_str(), destination.data(), taille, "fuzz.ini");
    MC_FUZZ_CHECK(longueur <= static_cast<uint32_t>(taille), "GetIniString gave %u with size %d", longueur, taille);
  }
  GetIniInt(s, k, 17, "fuzz.ini");
  int32_t nombre = -3;
  pkw_GetIniInfo(s, k, &nombre, 'I', 4, "fuzz.ini");
  std::vector<char> brut(33);
  pkw_GetIniInfo(s, k, brut.data(), 's', 32, "fuzz.ini");

  // Line readers and the small helpers over the text.
  LireLignes(chemin);
  std::string copie = texte.substr(0, texte.find('\0'));
  pkw_GetLine(copie.c_str());
  pkw_GetToken(copie.c_str(), valeur.empty() ? '=' : valeur[0]);
  pkw_uprstr(copie.data());

  // Written back into the fuzzed file and into the shared one.
  MC_bEcrireChaineIni(s, k, valeur.c_str(), "fuzz.ini");
  MC_bEcrireChaineTovel(s, k, valeur.c_str());
  LireChaine(section, cle, "fuzz.ini", 255);
  LireLignes(chemin);

  // Into a new file: what is written is what is read, and a second write of
  // the same key replaces the first.
  if (BienForme(section, cle, valeur)) {
    std::remove(mc::fuzz::CheminPrive("neuf.ini").c_str());
    MC_FUZZ_CHECK(MC_bEcrireChaineIni(s, k, "premier", "neuf.ini") == 1, "write into a new file failed");
    MC_FUZZ_CHECK(MC_bEcrireChaineIni(s, k, valeur.c_str(), "neuf.ini") == 1, "second write failed");
    RelireEcrit(section, cle, valeur);
  }
  return 0;
}
