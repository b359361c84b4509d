// A received message: a zone made in place over arbitrary bytes, checked for
// its coding and against a fixed dictionary, walked group by group and
// field by field, searched, then edited inside a buffer with some room.
// Input: a flags byte (1: trace the checks, 2: no editing) then the message.
// The checks must not change the data; the format check must report the
// syntax check's failure as it is; every pointer handed out must lie in the
// buffer.  The blocks the format check keeps on purpose stay counted in
// ulMemAllouee (their memory itself is returned): apart from that check,
// the counter must come back to where it was.
#include <vector>

#include "fuzz_support.h"

namespace {

using mc::fuzz::ChampDico;
using mc::fuzz::GroupeDico;

void Toucher(const unsigned char *p, uint32_t n, const std::vector<uint8_t> &buffer) {
  MC_FUZZ_CHECK(p >= buffer.data() && p + n <= buffer.data() + buffer.size(), "pointer outside the buffer");
  volatile unsigned somme = 0;
  for (uint32_t i = 0; i < n; ++i) somme = somme + p[i];
}

// Every group and every field from the start, then the searches and reads
// of the cursor.
void Parcourir(uint16_t z, const std::vector<uint8_t> &buffer) {
  MC_usPositionnerDebut(z);
  uint16_t premier = 0, id = 0;
  for (int g = 0; g < 4096 && MC_usAvancerGroupeSuivant(z, 1, g & 1, &id) == MC_OK; ++g) {
    if (g == 0) premier = id;
    uint16_t numero = 0;
    unsigned char *donnees = nullptr;
    uint32_t longueur = 0;
    while (MC_usAvancerChampSuivant(z, 1, &numero, &donnees, &longueur) == MC_OK) {
      Toucher(donnees, longueur, buffer);
      unsigned char *extrait = nullptr;
      if (MC_usExtraireChamp(z, &extrait, longueur / 2, longueur - longueur / 2) == MC_OK)
        Toucher(extrait, longueur - longueur / 2, buffer);
    }
  }
  uint32_t fin = 0;
  uint16_t compteur = 0, occurrence = 0;
  MC_usFinDonnees(z, &fin);
  MC_usFinZone(z, &fin);
  MC_usFinGroupe(z, &fin);
  MC_usLireCompteurGroupe(z, &compteur);
  MC_usLireCompteurChamp(z, &compteur);
  MC_usRechercherGroupe(z, premier, 2, 1);
  unsigned char *donnees = nullptr;
  uint32_t longueur = 0;
  if (MC_usRechercherChamp(z, premier, 1, 2, 0, &donnees, &longueur) == MC_OK) Toucher(donnees, longueur, buffer);
  MC_usPositionnerDebut(z);
  for (int i = 0; i < 3; ++i) MC_usLireGroupeSuivant(z, 1, &id, &occurrence);
  MC_usAvancerGroupeSuivant(z, 1, 0, &id);
  MC_usLireGroupeSuivant(z, 0, &id, &occurrence);
  MC_usPositionnerFin(z, 1);
}

// Edits received data where the cursor stands after a few steps; the
// buffer has some room beyond the data, and nothing may be written past it.
void Editer(const std::vector<uint8_t> &message, uint8_t pas) {
  std::vector<uint8_t> buffer(message);
  buffer.resize(message.size() + 300);
  uint16_t z = 0;
  MC_FUZZ_CHECK(MC_usInitialiserZoneMemoireNonPlein(buffer.data(), static_cast<uint32_t>(buffer.size()),
                                                    static_cast<uint32_t>(message.size()), &z, 1) == MC_OK,
                "zone over the copy not made");
  uint16_t id = 0, numero = 0;
  unsigned char *donnees = nullptr;
  uint32_t longueur = 0;
  MC_usAvancerGroupeSuivant(z, 1 + (pas & 3), pas & 4, &id);
  if (pas & 8) MC_usAvancerChampSuivant(z, 1 + ((pas >> 4) & 3), &numero, &donnees, &longueur);
  static const unsigned char octets[300] = {'4', '2'};
  MC_usModifierChamp(z, octets, 1, 2, 0);
  MC_usModifierChamp(z, octets, 0, pas & 0x40 ? 260 : 5, 1);
  MC_usAjouterChamp(z, octets, pas & 0x80 ? 130 : 3);
  MC_usAjouterGroupe(z, 0x0101);
  MC_usAjouterChamp(z, octets, 2);
  MC_usControlerSyntaxeZoneMemoire(z);
  uint32_t taille = 0;
  unsigned char *lu = nullptr;
  MC_FUZZ_CHECK(MC_pucLireBuffer(z, &taille, &lu) == MC_OK && lu == buffer.data() && taille <= buffer.size(),
                "data grew past the buffer: %u of %zu", taille, buffer.size());
  MC_usLibererZoneMemoire(z);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  const std::string tables = mc::fuzz::InstallerTovel();
  const std::vector<GroupeDico> dictionnaire = {
      {0x0101,
       {{1, 1, 10, 'N', {}}, {0, 0, 0, 'A', {"OUI", "NON"}}, {0, 6, 12, 'D', {}}}},
      {0x0202, {{1, 2, 20, 'L', {}}, {0, 0, 0, 'X', {"A1", "B2", "C3"}}}},
      {0x0303, {}},
      {0x0404, {{1, 1, 0, 'N', {"1", "2", "30"}}}},
  };
  const std::string fichier = mc::fuzz::FichierTables(dictionnaire);
  mc::fuzz::EcrireFichier(tables + "/tablebin.kmt", fichier.data(), fichier.size());
  char *versionMC = nullptr, *versionTables = nullptr;
  const uint16_t cr = MC_usInitLIB(&versionMC, &versionTables);
  MC_FUZZ_CHECK(cr == MC_OK && g_ulNbTabGrp == 4, "dictionary not loaded: 0x%04X", cr);
  MC_Liberer(versionMC);
  MC_Liberer(versionTables);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const uint8_t drapeaux = data[0];
  // Exactly the message's size, so that a read past its end is caught.
  const std::vector<uint8_t> message(data + 1, data + size);
  std::vector<uint8_t> buffer(message);
  uint32_t garde = 0;  // what the format check leaves in the counter
  const uint32_t avant = ulMemAllouee;

  uint16_t z = 0;
  const uint16_t crZone = MC_usInitialiserZoneMemoire(buffer.empty() ? nullptr : buffer.data(),
                                                      static_cast<uint32_t>(buffer.size()), &z, 1);
  if (crZone == MC_OK) {
    // The checks trace the received bytes themselves: traced on request.
    if (drapeaux & 1) {
      const std::string trace = mc::fuzz::CheminPrive("trace.log");
      for (uint16_t composant = 1; composant <= 7; ++composant)
        MC_usActiverTrace(trace.c_str(), "w", 1, composant, 2);
    }
    const uint16_t syntaxe = MC_usControlerSyntaxeZoneMemoire(z);
    MC_FUZZ_CHECK(buffer == message, "the syntax check changed the data");
    const uint32_t avantFormat = ulMemAllouee;
    const uint16_t format = MC_usControlerFormatZoneMemoire(z);
    garde = ulMemAllouee - avantFormat;
    MC_usFermerTrace();
    MC_FUZZ_CHECK(buffer == message, "the format check changed the data");
    MC_FUZZ_CHECK(syntaxe == MC_OK || format == syntaxe, "syntax 0x%04X, format 0x%04X", syntaxe, format);
    if (format == MC_OK) {
      uint16_t groupes = 9;
      MC_usLireCompteurGroupe(z, &groupes);
      MC_FUZZ_CHECK(groupes == 0, "a successful format check leaves the cursor at the start");
    }
    Parcourir(z, buffer);
    MC_FUZZ_CHECK(buffer == message, "the walk changed the data");
    MC_usLibererZoneMemoire(z);
  } else {
    MC_FUZZ_CHECK(buffer.empty(), "no zone over %zu bytes: 0x%04X", buffer.size(), crZone);
  }

  if ((drapeaux & 2) == 0) Editer(message, static_cast<uint8_t>(drapeaux >> 2 | drapeaux << 6));

  // The same bytes as an unstructured zone, read and written at its edges.
  if (!buffer.empty()) {
    MC_FUZZ_CHECK(MC_usInitialiserZoneMemoire(buffer.data(), static_cast<uint32_t>(buffer.size()), &z, 0) == MC_OK,
                  "unstructured zone not made");
    unsigned char octets[8] = {};
    unsigned char *destination = octets;
    const auto n = static_cast<uint32_t>(buffer.size());
    for (uint32_t offset : {0u, n > 8 ? n - 8 : 0u, n - 1, n})
      for (uint32_t longueur : {0u, 1u, 8u}) {
        const uint16_t lecture = MC_usLireZoneMemoire(z, offset, &destination, longueur);
        const uint16_t ecriture = MC_usEcrireZoneMemoire(z, offset, octets, longueur);
        const bool dedans = uint64_t{offset} + longueur <= n;
        MC_FUZZ_CHECK((lecture == MC_OK) == dedans && (ecriture == MC_OK) == dedans, "offset %u length %u", offset,
                      longueur);
      }
    MC_usLibererZoneMemoire(z);
  }

  mc::fuzz::LibererZones();
  MC_FUZZ_CHECK(NbTracesActives == 0 && fichier == nullptr, "trace left open");
  MC_FUZZ_CHECK(ulMemAllouee == avant + garde, "counted memory %u, was %u and %u kept by the format check",
                ulMemAllouee, avant, garde);
  return 0;
}
