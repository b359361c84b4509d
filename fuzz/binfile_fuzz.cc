// A binary table file made of arbitrary bytes, opened with control types 0,
// 1 and 2, then walked: table headers in file order, table searches by the
// names found and by a missing one, and reads of every value kind, raw
// stretches, CRC and lengths.  Input: a flags byte, a byte choosing the
// sequence of value kinds, then the file.  Unless flag 1 is set, the file
// opened under CRC control gets a correct CRC, so that the reads behind the
// check are reached.  Every file is closed again, the 100 slots end empty
// and no counted memory stays held.
#include <string>
#include <vector>

#include "fuzz_support.h"

namespace {

using mc::fuzz::Flux;

constexpr char kNomParDefaut[] = "fuzz.bin";

// The file is named as its header says when that is a usable file name, so
// that the name check passes; otherwise the check fails (0xF660) and the
// file is read all the same.
std::string NomDuFichier(const std::string &fichier) {
  if (fichier.size() < 17) return kNomParDefaut;
  std::string nom = fichier.substr(5, 12);
  while (!nom.empty() && nom.back() == ' ') nom.pop_back();
  if (nom.empty() || nom == "." || nom == "..") return kNomParDefaut;
  for (char c : nom)
    if (c <= ' ' || c > '~' || c == '/') return kNomParDefaut;
  return nom;
}

// Reads values of kinds chosen by a small generator seeded from the input,
// until the first failure or 48 reads.
void LireValeurs(uint16_t num, uint8_t graine, uint32_t tailleTable) {
  uint32_t x = graine;
  for (int i = 0; i < 48; ++i) {
    x = x * 1103515245u + 12345u;
    uint16_t cr = MC_OK;
    switch ((x >> 16) % 11) {
      case 0: {
        uint8_t v;
        cr = MC_usLireUnsignedChar(num, &v);
        break;
      }
      case 1: {
        int8_t v;
        cr = MC_usLireSignedChar(num, &v);
        break;
      }
      case 2: {
        uint16_t v;
        cr = MC_usLireUnsignedShort(num, &v);
        break;
      }
      case 3: {
        int16_t v;
        cr = MC_usLireSignedShort(num, &v);
        break;
      }
      case 4: {
        uint32_t v;
        cr = MC_usLireUnsignedLong(num, &v);
        break;
      }
      case 5: {
        int32_t v;
        cr = MC_usLireSignedLong(num, &v);
        break;
      }
      case 6: {
        double v;
        cr = MC_usLireDouble(num, &v);
        break;
      }
      case 7: {
        uint16_t a;
        uint8_t m, j;
        cr = MC_usLireDate(num, &a, &m, &j);
        break;
      }
      case 8: {
        // Exactly as large as asked, so that a read past it is caught.
        const uint32_t n = (x >> 8) % 64 < tailleTable ? (x >> 8) % 64 : tailleTable % 64;
        std::vector<uint8_t> tampon(n);
        cr = MC_usLireChampFixe(num, tampon.data(), n);
        break;
      }
      case 9: {
        const uint32_t n = (x >> 8) % 16;
        std::vector<uint16_t> tampon(n);
        cr = MC_usLireChampUnicodeFixe(num, tampon.data(), n);
        break;
      }
      default: {
        char *chaine = nullptr;
        cr = MC_usLireChaineVariable(num, &chaine);
        if (cr == MC_OK) MC_FUZZ_CHECK(chaine != nullptr, "string read without a block");
        MC_Liberer(chaine);
        break;
      }
    }
    if (cr != MC_OK) break;
  }
}

void Parcourir(uint16_t num, uint8_t graine, uint32_t longueurFichier) {
  // Table headers one after the other, from where the open left the stream.
  std::vector<std::string> noms;
  EnteteTable entete;
  for (int i = 0; i < 6; ++i) {
    if (MC_usLireEnteteTable(num, &entete) != MC_OK) break;
    MC_FUZZ_CHECK(std::strlen(entete.acNomTable) <= 10, "table name not terminated");
    noms.emplace_back(entete.acNomTable);
    if (entete.ulTaille > INT32_MAX || MC_usPositionnerOffset(num, static_cast<int32_t>(entete.ulTaille), 1) != MC_OK)
      break;
  }
  noms.emplace_back("ABSENTE");
  for (const std::string &nom : noms) {
    if (MC_usRechercherTable(num, nom.c_str(), &entete) != MC_OK) continue;
    // Names compare without their trailing spaces.
    std::string cherche = nom;
    while (!cherche.empty() && cherche.back() == ' ') cherche.pop_back();
    MC_FUZZ_CHECK(cherche == entete.acNomTable, "search for '%s' found '%s'", nom.c_str(), entete.acNomTable);
    LireValeurs(num, graine, entete.ulTaille);
    graine = static_cast<uint8_t>(graine * 7 + 1);
  }

  // Raw stretches, inside and across the end of the file.
  for (int32_t offset : {0, 4, static_cast<int32_t>(longueurFichier / 2), static_cast<int32_t>(longueurFichier)}) {
    unsigned char *tampon = nullptr;
    MC_usLireFichierBinaire(num, offset, 1 + graine % 200, &tampon);
    MC_Liberer(tampon);
  }
  uint32_t longueur = 0, donnees = 0, position = 0;
  uint16_t crc = 0;
  MC_FUZZ_CHECK(MC_usLongueurFichierBinaire(num, &longueur) == MC_OK && longueur == longueurFichier,
                "length %u, file %u", longueur, longueurFichier);
  MC_FUZZ_CHECK(usTailleDonnneeFichierBinaire(num, &donnees) == MC_OK && donnees <= longueur, "data end %u",
                donnees);
  usLireCRC(num, &crc);
  usCalculerCRC16(num, &crc);
  MC_usLirePositionFichier(num, &position);
  // A file opened for reading is never written.
  MC_FUZZ_CHECK(MC_usEcrireUnsignedLong(num, 1) == MC_ERR_INTERDIT, "write accepted on a read file");
  MC_FUZZ_CHECK(MC_usEcrireChaineVariable(num, "x") == MC_ERR_INTERDIT, "write accepted on a read file");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  mc::fuzz::RepertoirePrive();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Flux f(data, size);
  const uint8_t drapeaux = f.Octet();
  const uint8_t graine = f.Octet();
  size_t n = 0;
  const uint8_t *octets = f.Prendre(f.Reste(), &n);
  const std::string brut(reinterpret_cast<const char *>(octets), n);
  const std::string nom = NomDuFichier(brut);
  const std::string &repertoire = mc::fuzz::RepertoirePrive();
  const uint32_t avant = ulMemAllouee;

  for (uint16_t type = 0; type <= 2; ++type) {
    std::string fichier = brut;
    if (type == MC_CONTROLE_CRC && (drapeaux & 1) == 0) mc::fuzz::PoserCrc(fichier);
    mc::fuzz::EcrireFichier(repertoire + "/" + nom, fichier.data(), fichier.size());
    // A record of its own, so that a write past its end is caught.
    auto *entete = new EnteteFichierBinaire();
    uint16_t num = 0;
    const uint16_t cr = MC_usInitialiserFichierBinaire(repertoire.c_str(), nom.c_str(), type, &num, entete);
    if (num != 0) {
      if (cr == MC_OK) {
        MC_FUZZ_CHECK(std::strlen(entete->acCommentaire) <= MC_LONGUEUR_COMMENTAIRE_MAX, "comment not bounded");
        MC_FUZZ_CHECK(nom == entete->acNomFichier, "name %s opened as %s", entete->acNomFichier, nom.c_str());
        if (type == MC_CONTROLE_CRC && (drapeaux & 1) == 0)
          MC_FUZZ_CHECK(fichier.size() >= 4, "CRC checked without a CRC field");
      }
      Parcourir(num, graine, static_cast<uint32_t>(fichier.size()));
      MC_FUZZ_CHECK(MC_usLibererFichierBinaire(num, nullptr) == MC_OK, "close of a read file failed");
    } else {
      MC_FUZZ_CHECK(cr != MC_OK, "open succeeded without a number");
    }
    delete entete;
    std::remove((repertoire + "/" + nom).c_str());
  }

  for (Fichier *slot : fichiers) MC_FUZZ_CHECK(slot == nullptr, "a file slot stays taken");
  MC_FUZZ_CHECK(lPositionTailleTable == 0, "a read set the pending table size");
  MC_FUZZ_CHECK(ulMemAllouee == avant, "counted memory %u, was %u", ulMemAllouee, avant);
  return 0;
}
