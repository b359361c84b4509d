// Table headers of the reader, and the search of a table by name.
#include <cstring>

#include "binfile/file_table.h"
#include "binfile/reader.h"
#include "binfile/trace_binaire.h"

namespace {

using mc::kCompBinaire;

size_t LongueurSansEspaces(const char *pc) noexcept {
  size_t n = strlen(pc);
  while (n > 0 && pc[n - 1] == ' ') --n;
  return n;
}

uint16_t LireEntete(uint16_t usNum, EnteteTable *psEntete) noexcept {
  Fichier *psFichier = nullptr;
  uint16_t usResultat = usRechercherFichier(usNum, &psFichier);
  if (usResultat != MC_OK) return usResultat;
  if (psEntete == nullptr) return MC_ERR_ARGUMENT;
  usResultat = mc::LireChamp(psFichier, psEntete->acNomTable, 10, 10);
  // The name is closed and stripped even when the read failed.
  psEntete->acNomTable[10] = '\0';
  for (int i = 9; i >= 0 && psEntete->acNomTable[i] == ' '; --i) psEntete->acNomTable[i] = '\0';
  if (usResultat == MC_OK) usResultat = MC_usLireUnsignedLong(usNum, &psEntete->ulTaille);
  if (usResultat == MC_OK) usResultat = MC_usLireUnsignedLong(usNum, &psEntete->ulNombre);
  if (usResultat == MC_OK) usResultat = MC_usLireUnsignedLong(usNum, &psEntete->ulReserve);
  if (usResultat == MC_OK) usResultat = MC_usLireUnsignedChar(usNum, &psEntete->ucNbDescripteurs1);
  if (usResultat == MC_OK) usResultat = MC_usLireUnsignedChar(usNum, &psEntete->ucNbDescripteurs2);
  if (usResultat == MC_OK) usResultat = MC_usLireUnsignedChar(usNum, &psEntete->ucReserve);
  const uint32_t ulDescripteurs = 5u * (psEntete->ucNbDescripteurs1 + psEntete->ucNbDescripteurs2);
  if (usResultat == MC_OK && ulDescripteurs != 0) {
    uint32_t ulLongueur = 0;
    usResultat = MC_usLongueurFichier(psFichier->pFlux, &ulLongueur) == MC_OK
                     ? mc::Avancer(psFichier, ulDescripteurs, ulLongueur)
                     : MC_ERR_FIN_FICHIER;
  }
  return usResultat;
}

uint16_t Rechercher(uint16_t usNum, const char *pcNomTable, EnteteTable *psEntete) noexcept {
  Fichier *psFichier = nullptr;
  uint16_t usResultat = usRechercherFichier(usNum, &psFichier);
  if (usResultat != MC_OK) return usResultat;
  if (pcNomTable == nullptr || psEntete == nullptr) return MC_ERR_ARGUMENT;
  FILE *pFlux = psFichier->pFlux;
  // The sought name is compared without its trailing spaces, as the names
  // read are: "TCHAMP" and "TCHAMP    " find the same table.
  const size_t ulNom = LongueurSansEspaces(pcNomTable);
  const long debut = ftell(pFlux);
  uint32_t ulFinDonnees = 0, ulLongueur = 0;
  if (debut == -1 || MC_usLongueurFichier(pFlux, &ulLongueur) != MC_OK) return MC_ERR_FICHIER;
  usResultat = usTailleDonnneeFichierBinaire(usNum, &ulFinDonnees);
  if (usResultat != MC_OK) return usResultat;
  // A circular scan from where the stream stands: tables read in the order
  // they were written cost no rewind.  Every step moves forward, and the one
  // rewind (re-reading the file header) happens once, so the scan ends.
  bool bTour = false;
  EnteteFichierBinaire sEnteteFichier;
  while (usResultat == MC_OK) {
    const long position = ftell(pFlux);
    if (position == -1) return MC_ERR_FICHIER;
    if (bTour && position >= debut) return MC_ERR_NON_TROUVE;
    if (static_cast<uint64_t>(position) >= ulFinDonnees) {
      if (bTour) return MC_ERR_NON_TROUVE;
      usResultat = usLireEnteteFichierBinaire(usNum, &sEnteteFichier);
      bTour = true;
      continue;
    }
    usResultat = MC_usLireEnteteTable(usNum, psEntete);
    if (usResultat != MC_OK) break;
    if (strlen(psEntete->acNomTable) == ulNom && memcmp(psEntete->acNomTable, pcNomTable, ulNom) == 0) break;
    usResultat = mc::Avancer(psFichier, psEntete->ulTaille, ulLongueur);
    if (usResultat != MC_OK) break;
    const long apres = ftell(pFlux);
    if (apres == -1) return MC_ERR_FICHIER;
    if (static_cast<uint64_t>(apres) >= ulLongueur) {
      if (bTour) {
        if (position > debut) return MC_ERR_NON_TROUVE;
      } else {
        usResultat = usLireEnteteFichierBinaire(usNum, &sEnteteFichier);
        bTour = true;
      }
    }
  }
  return usResultat;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usLireEnteteTable(uint16_t usNumFichierBinaire, EnteteTable *psEntete) noexcept {
  MCT_ENTREE(kCompBinaire, "MC_usLireEnteteTable : usNumFichierBinaire = %d", usNumFichierBinaire);
  const uint16_t usResultat = LireEntete(usNumFichierBinaire, psEntete);
  // Kept: the exit line carries the writer's name.
  MCT_SORTIE(kCompBinaire, "MC_usEcrireEnteteTable : Code retour = 0x%04x", usResultat);
  return usResultat;
}

MC_EXPORT uint16_t MC_usRechercherTable(uint16_t usNumFichierBinaire, const char *pcNomTable,
                                        EnteteTable *psEntete) noexcept {
  return mc::Tracer("MC_usRechercherTable", usNumFichierBinaire,
                    [&] { return Rechercher(usNumFichierBinaire, pcNomTable, psEntete); });
}

}  // extern "C"
