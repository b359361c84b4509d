// Creating a binary file: the number, the record, the stream, and the text
// header that starts every file.
#include <cerrno>
#include <cstring>

#include "binfile/file_table.h"
#include "binfile/trace_binaire.h"

namespace {

using mc::kCompBinaire;

uint16_t Creer(const char *pcRepertoire, const char *pcNomFichier, uint16_t usTypeControle,
               const EnteteFichierBinaire *psEntete, uint16_t *pusNum) noexcept {
  if (pusNum != nullptr) *pusNum = 0;
  if (pcRepertoire == nullptr || pcNomFichier == nullptr || psEntete == nullptr || pusNum == nullptr) {
    MCT_ERREUR(kCompBinaire,
               "MC_usCreerFichierBinaire : Nom de repertoire ou nom de fichier nul ou pointeur sur l'entete du "
               "fichier nul.");
    return MC_ERR_ARGUMENT;
  }
  usInitialiserTableauFichiers();
  uint16_t usNum = 0;
  uint16_t usResultat = usRechercherNumeroFichier(&usNum);
  if (usResultat != MC_OK) return usResultat;

  Fichier *psFichier = mc::CreerEnregistrement(pcRepertoire, pcNomFichier);
  char *pcChemin = nullptr;
  if (psFichier == nullptr) {
    MCT_ERREUR(kCompBinaire,
               "MC_usCreerFichierBinaire : ERREUR : probleme d'allocation memoire : psFichier->pcRepertoire ou "
               "psFichier->pcNomFichier");
    usResultat = MC_ERR_ALLOCATION;
  } else {
    psFichier->usTypeControle = usTypeControle;
    psFichier->ulTaille = 0;
    psFichier->bEcriture = 1;
    psFichier->bLecture = 0;
    usResultat = MC_usCreerNomCompletFichier(pcRepertoire, pcNomFichier, &pcChemin);
  }
  if (usResultat == MC_OK) {
    MCT_INFO(kCompBinaire, "Ouverture du fichier %s\n", pcChemin);
    psFichier->pFlux = fopen(pcChemin, "wb+");
    if (psFichier->pFlux == nullptr) {
      MCT_ERREUR(kCompBinaire, "MC_usCreerFichierBinaire : ERREUR : Probleme d'ouverture du fichier %s, %s",
                 pcChemin, strerror(errno));
      usResultat = MC_ERR_FICHIER;
    }
  }
  MC_Liberer(pcChemin);
  if (usResultat != MC_OK) {
    mc::LibererEnregistrement(psFichier);
    mc::LibererNumero(usNum);
    return usResultat;
  }
  mc::Interne(psFichier)->bPositionSure = ftell(psFichier->pFlux) != -1;
  usRenseignerFichierTableau(usNum, psFichier);
  *pusNum = usNum;
  // From here a failure leaves the file open under its number.
  return usEcrireEnteteFichierBinaire(usNum, psEntete);
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usCreerFichierBinaire(const char *pcRepertoire, const char *pcNomFichier,
                                            uint16_t usTypeControle, const EnteteFichierBinaire *psEntete,
                                            uint16_t *pusNumFichierBinaire) noexcept {
  MCT_ENTREE(kCompBinaire, "MC_usCreerFichierBinaire");
  const uint16_t usResultat = Creer(pcRepertoire, pcNomFichier, usTypeControle, psEntete, pusNumFichierBinaire);
  MCT_SORTIE(kCompBinaire, "MC_usCreerFichierBinaire : Code retour = 0x%04x", usResultat);
  return usResultat;
}

MC_EXPORT uint16_t usEcrireEnteteFichierBinaire(uint16_t usNumFichierBinaire,
                                                const EnteteFichierBinaire *psEntete) noexcept {
  return mc::Tracer("usEcrireEnteteFichierBinaire", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = nullptr;
    uint16_t usResultat = usRechercherFichier(usNumFichierBinaire, &psFichier);
    if (usResultat != MC_OK) return usResultat;
    if (psEntete == nullptr) return MC_ERR_ARGUMENT;
    // Kept: these messages carry the look-up's name.
    if (fseek(psFichier->pFlux, 0, SEEK_SET) != 0) {
      MCT_ERREUR(kCompBinaire, "usRechercherFichier : probleme de positionnement en debut de fichier");
      return MC_ERR_FICHIER;
    }
    if (fprintf(psFichier->pFlux, "%s ", CRC16_FICTIF) < 0) {
      clearerr(psFichier->pFlux);
      MCT_ERREUR(kCompBinaire, "usRechercherFichier : probleme d'ecriture dans le fichier");
      return MC_ERR_FICHIER;
    }
    // The name: cut to 12 characters or padded with spaces to 12.
    const uint32_t ulNom = static_cast<uint32_t>(strnlen(psEntete->acNomFichier, 12));
    char acNom[13];
    memset(acNom, ' ', sizeof acNom);
    memcpy(acNom, psEntete->acNomFichier, ulNom);
    const uint16_t n = usNumFichierBinaire;
    usResultat = MC_usEcrireChampFixe(n, acNom, 13);
    // The other fields go out as they are, without padding or checking.
    const struct {
      const char *pc;
      uint32_t ul;
    } champs[] = {{psEntete->acVersion, 4},        {psEntete->acChampA, 5}, {psEntete->acChampB, 8},
                  {psEntete->acVersionLecteur, 4}, {psEntete->acChampC, 5}, {psEntete->acChampD, 10}};
    for (const auto &champ : champs) {
      if (usResultat == MC_OK) usResultat = MC_usEcrireChampFixe(n, champ.pc, champ.ul);
      if (usResultat == MC_OK) usResultat = MC_usEcrireUnsignedChar(n, ' ');
    }
    // The comment runs to its NUL, in whatever room the caller gave it.
    const size_t ulCommentaire = strlen(psEntete->acCommentaire);
    if (ulCommentaire > UINT32_MAX) return MC_ERR_ARGUMENT;
    if (usResultat == MC_OK)
      usResultat = MC_usEcrireChampFixe(n, psEntete->acCommentaire, static_cast<uint32_t>(ulCommentaire));
    if (usResultat == MC_OK) usResultat = MC_usEcrireUnsignedChar(n, 0x0D);
    if (usResultat == MC_OK) usResultat = MC_usEcrireUnsignedChar(n, 0x0A);
    if (usResultat == MC_OK) usResultat = MC_usEcrireUnsignedChar(n, 0x1A);
    return usResultat;
  });
}

}  // extern "C"
