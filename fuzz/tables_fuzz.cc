// A tables file of arbitrary bytes loaded through MC_usInitLIB ("tovel.ini"
// names its directory), then every dictionary query over what was loaded,
// messages made for it checked against it, a second initialisation that
// only counts, and the terminations.  Input: a flags byte (1: keep the
// file's own CRC field instead of a correct one), then the file.  Whatever
// the file holds, the library ends each input uninitialised, with no file
// open and the dictionary released.
#include <string>

#include "fuzz_support.h"

namespace {

std::string g_tables;

// A message made for the loaded dictionary (each group with as many fields
// as it lists, holding digits, letters or nothing), checked against it: the
// format check must survive whatever the tables say.
void ControlerMessages(const uint16_t *liste, uint16_t nombre) {
  static const char *const contenus[] = {"1", "AB", "", "20240229", "OUI"};
  for (unsigned variante = 0; variante < 5; ++variante) {
    uint16_t z = 0;
    if (MC_usCreerZoneMemoire(64, 1, &z) != MC_OK) return;
    for (uint16_t g = 0; g < nombre && g < 4; ++g) {
      TCHAMP *champs = nullptr;
      uint16_t nbChamps = 0;
      const uint16_t id = liste[(g + variante) % nombre];
      if (MC_usDonnerInformationChamp(id, &champs, &nbChamps) != MC_OK) continue;
      MC_Liberer(champs);
      MC_usAjouterGroupe(z, id);
      for (uint16_t c = 0; c < nbChamps + (variante == 4) && c < 20; ++c) {
        const char *texte = contenus[(c + variante) % 5];
        uint16_t cr = MC_usAjouterChamp(z, reinterpret_cast<const unsigned char *>(texte), std::strlen(texte));
        if (cr == MC_ERR_DEPASSEMENT && MC_usRedimensionner(z, ZM[z]->TailleBuffer * 2) == MC_OK)
          MC_usAjouterChamp(z, reinterpret_cast<const unsigned char *>(texte), std::strlen(texte));
      }
    }
    MC_usControlerFormatZoneMemoire(z);
    uint32_t taille = 0;
    unsigned char *buffer = nullptr;
    MC_pucLireBuffer(z, &taille, &buffer);
    MC_usLibererZoneMemoire(z);
    MC_Liberer(buffer);
  }
}

void Interroger() {
  uint16_t *liste = nullptr, nombre = 0;
  if (MC_usDonnerListeGroupes(&liste, &nombre) != MC_OK) return;
  MC_FUZZ_CHECK(nombre == g_ulNbTabGrp, "%u groups listed of %u", nombre, g_ulNbTabGrp);
  for (uint16_t i = 0; i <= nombre && i < 64; ++i) {
    // One identifier past the list: an unknown group, or a repeated one.
    const uint16_t id = i < nombre ? liste[i] : static_cast<uint16_t>(liste == nullptr || nombre == 0 ? 1 : liste[0] + 1);
    TCHAMP *champs = nullptr;
    uint16_t nbChamps = 0;
    if (MC_usDonnerInformationChamp(id, &champs, &nbChamps) == MC_OK) {
      for (uint16_t c = 0; c <= nbChamps && c < 16; ++c) {
        const uint16_t nbValeurs = c < nbChamps ? champs[c].usNbValeurs : 1;
        for (uint16_t v = 0; v <= nbValeurs && v < 8; ++v) {
          char *valeur = nullptr;
          if (MC_usDonnerChampValeur(id, static_cast<uint8_t>(c + 1), static_cast<uint8_t>(v + 1), &valeur) ==
              MC_OK) {
            MC_FUZZ_CHECK(valeur != nullptr, "value handed out without a block");
            (void)std::strlen(valeur);
          }
          MC_Liberer(valeur);
        }
      }
    }
    MC_Liberer(champs);
  }
  char *valeur = nullptr;
  MC_usDonnerChampValeur(0xFFFF, 255, 255, &valeur);
  MC_Liberer(valeur);
  if (nombre != 0) ControlerMessages(liste, nombre);
  MC_Liberer(liste);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  g_tables = mc::fuzz::InstallerTovel();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  mc::fuzz::Flux f(data, size);
  const uint8_t drapeaux = f.Octet();
  size_t n = 0;
  const uint8_t *octets = f.Prendre(f.Reste(), &n);
  std::string fichier(reinterpret_cast<const char *>(octets), n);
  if ((drapeaux & 1) == 0) mc::fuzz::PoserCrc(fichier);
  mc::fuzz::EcrireFichier(g_tables + "/tablebin.kmt", fichier.data(), fichier.size());

  char *versionMC = nullptr, *versionTables = nullptr;
  const uint16_t cr = MC_usInitLIB(&versionMC, &versionTables);
  if (nbre_chargt_module != 0) {
    // Initialised (a failed version record write still counts).
    MC_FUZZ_CHECK(nbre_chargt_module == 1, "counter %u", nbre_chargt_module);
    MC_FUZZ_CHECK(versionMC != nullptr && std::strcmp(versionMC, MC_VERSION_LIBRAIRIE) == 0, "library version");
    MC_FUZZ_CHECK(versionTables != nullptr && std::strlen(versionTables) <= 4, "tables version");
    Interroger();
    char *autre = nullptr;
    MC_FUZZ_CHECK(MC_usInitLIB(&autre, &autre) == MC_OK && autre == nullptr && nbre_chargt_module == 2,
                  "a second initialisation only counts");
    const TGROUPE *groupes = g_stTabGrp;
    MC_usTermLIB();
    MC_FUZZ_CHECK(g_stTabGrp == groupes, "dictionary released before the last termination");
    MC_usTermLIB();
  } else {
    MC_FUZZ_CHECK(cr != MC_OK, "initialisation succeeded without counting");
    MC_FUZZ_CHECK(versionMC == nullptr && versionTables == nullptr, "versions handed out by a failed initialisation");
    // A missing working directory leaves the dictionary loaded; not here,
    // where one is always configured.
    Interroger();
    usGTSupprTables();
  }
  MC_Liberer(versionMC);
  MC_Liberer(versionTables);

  MC_FUZZ_CHECK(nbre_chargt_module == 0, "counter %u after the terminations", nbre_chargt_module);
  MC_FUZZ_CHECK(g_stTabGrp == nullptr && g_stTabChp == nullptr && g_cTabVal == nullptr, "dictionary left loaded");
  for (Fichier *slot : fichiers) MC_FUZZ_CHECK(slot == nullptr, "the tables file stays open (status 0x%04X)", cr);
  MC_FUZZ_CHECK(lPositionTailleTable == 0, "pending table size left behind");
  return 0;
}
