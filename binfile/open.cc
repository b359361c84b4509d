// Opening a binary file for reading: the number, the record, the stream,
// the text header, and the checks of the name and of the CRC or signature.
#include <cerrno>
#include <cstring>

#include "binfile/crc16.h"
#include "binfile/file_table.h"
#include "binfile/reader.h"
#include "binfile/signature_hook.h"
#include "binfile/trace_binaire.h"

namespace {

using mc::kCompBinaire;

// Smallest file that can hold anything before a signature trailer.
constexpr uint32_t kLongueurMinSignee = 4 + mc::kTailleBlocFinal;

// Trailing spaces become NULs, from the last character down; a name of
// spaces only ends up empty.
void RetirerEspacesFinaux(char *pc, size_t n) noexcept {
  while (n > 0 && pc[n - 1] == ' ') pc[--n] = '\0';
}

uint16_t Controler(uint16_t usNum, Fichier *psFichier) noexcept {
  if (psFichier->usTypeControle == MC_CONTROLE_CRC) {
    char acChamp[4];
    uint16_t usLu = 0, usCalcule = 0;
    uint16_t usResultat = mc::LireChampCRC(psFichier, acChamp);
    if (usResultat == MC_OK) usResultat = usCalculerCRC16(usNum, &usCalcule);
    if (usResultat != MC_OK) return usResultat;
    const bool valide = mc::ValeurChampCRC(acChamp, &usLu);
    if (!valide || usLu != usCalcule) {
      MCT_ERREUR(kCompBinaire, "CRC lu %.4s, CRC calcule %04X", acChamp, usCalcule);
      return MC_ERR_CONTROLE;
    }
    return MC_OK;
  }
  if (psFichier->usTypeControle == MC_CONTROLE_SIGNATURE) {
    // A file too short for a trailer has nothing that could be signed.
    if (psFichier->ulTaille < kLongueurMinSignee || mc::VerifierSignatureALOuverture(usNum) != MC_OK) {
      MCT_ERREUR(kCompBinaire, "signature du fichier invalide");
      return MC_ERR_CONTROLE;
    }
  }
  return MC_OK;
}

uint16_t Ouvrir(const char *pcRepertoire, const char *pcNomFichier, uint16_t usTypeControle, uint16_t *pusNum,
                EnteteFichierBinaire *psEntete) noexcept {
  // Kept: these texts carry the create operation's name.
  if (pcRepertoire == nullptr || pcNomFichier == nullptr) {
    if (pusNum != nullptr) *pusNum = 0;
    MCT_ERREUR(kCompBinaire, "MC_usCreerFichierBinaire : Nom de repertoire ou nom de fichier nul.");
    return MC_ERR_ARGUMENT;
  }
  if (pusNum == nullptr || psEntete == nullptr) {
    if (pusNum != nullptr) *pusNum = 0;
    MCT_ERREUR(kCompBinaire,
               "MC_usCreerFichierBinaire : pointeur numero de fichier binaire ou pointeur entete du fichier nul.");
    return MC_ERR_NUMERO_NUL;
  }
  *pusNum = 0;
  char *pcChemin = nullptr;
  uint16_t usResultat = MC_usCreerNomCompletFichier(pcRepertoire, pcNomFichier, &pcChemin);
  if (usResultat != MC_OK) {
    MC_Liberer(pcChemin);
    return usResultat;
  }
  usInitialiserTableauFichiers();
  uint16_t usNum = 0;
  usResultat = usRechercherNumeroFichier(&usNum);
  Fichier *psFichier = nullptr;
  if (usResultat == MC_OK) {
    psFichier = mc::CreerEnregistrement(pcRepertoire, pcNomFichier);
    if (psFichier == nullptr) {
      MCT_ERREUR(kCompBinaire,
                 "MC_usCreerFichierBinaire : Probleme d'allocation memoire : psFichier->pcRepertoire ou "
                 "psFichier->pcNomFichier");
      usResultat = MC_ERR_ALLOCATION;
      mc::LibererNumero(usNum);
    }
  }
  if (usResultat == MC_OK) {
    psFichier->usTypeControle = usTypeControle;
    psFichier->ulTaille = 0;
    psFichier->bEcriture = 0;
    psFichier->bLecture = 1;
    MCT_INFO(kCompBinaire, "Ouverture du fichier %s", pcChemin);
    psFichier->pFlux = fopen(pcChemin, "rb");
    if (psFichier->pFlux == nullptr) {
      MCT_ERREUR(kCompBinaire, "MC_usCreerFichierBinaire : Probleme d'ouverture du fichier %s, %s", pcChemin,
                 strerror(errno));
      usResultat = MC_ERR_FICHIER;
      mc::LibererEnregistrement(psFichier);
      mc::LibererNumero(usNum);
    }
  }
  if (usResultat != MC_OK) {
    MC_Liberer(pcChemin);
    return usResultat;
  }
  // From here a failure leaves the file open under its number.
  mc::Interne(psFichier)->bPositionSure = ftell(psFichier->pFlux) != -1;
  usRenseignerFichierTableau(usNum, psFichier);
  *pusNum = usNum;
  usResultat = MC_usLongueurFichierBinaire(usNum, &psFichier->ulTaille);
  if (usResultat == MC_OK) usResultat = usLireEnteteFichierBinaire(usNum, psEntete);
  if (usResultat == MC_OK && strcmp(psEntete->acNomFichier, pcNomFichier) != 0) {
    MCT_ERREUR(kCompBinaire, "nom de fichier de l'entete (%s) different de %s", psEntete->acNomFichier,
               pcNomFichier);
    usResultat = MC_ERR_NOM_FICHIER;
  }
  if (usResultat == MC_OK) usResultat = Controler(usNum, psFichier);
  MC_Liberer(pcChemin);
  return usResultat;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usInitialiserFichierBinaire(const char *pcRepertoire, const char *pcNomFichier,
                                                  uint16_t usTypeControle, uint16_t *pusNumFichierBinaire,
                                                  EnteteFichierBinaire *psEntete) noexcept {
  MCT_ENTREE(kCompBinaire, "MC_usInitialiserFichierBinaire");
  const uint16_t usResultat = Ouvrir(pcRepertoire, pcNomFichier, usTypeControle, pusNumFichierBinaire, psEntete);
  MCT_SORTIE(kCompBinaire, "MC_usInitialiserFichierBinaire : Code retour = 0x%04x", usResultat);
  return usResultat;
}

MC_EXPORT uint16_t usLireEnteteFichierBinaire(uint16_t usNumFichierBinaire,
                                              EnteteFichierBinaire *psEntete) noexcept {
  return mc::Tracer("usLireEnteteFichierBinaire", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = nullptr;
    uint16_t usResultat = usRechercherFichier(usNumFichierBinaire, &psFichier);
    if (usResultat != MC_OK) return usResultat;
    if (psEntete == nullptr) return MC_ERR_ARGUMENT;
    if (fseek(psFichier->pFlux, 5, SEEK_SET) != 0) {
      // Kept: the message carries the look-up's name.
      MCT_ERREUR(kCompBinaire, "usRechercherFichier : probleme de positionnement en debut de fichier");
      return MC_ERR_FICHIER;
    }
    const uint16_t n = usNumFichierBinaire;
    usResultat = MC_usLireChampFixe(n, psEntete->acNomFichier, 12);
    psEntete->acNomFichier[12] = '\0';
    RetirerEspacesFinaux(psEntete->acNomFichier, 12);
    // Each field is closed after its bytes, read or not, so that the record
    // holds strings however far the read went.
    const struct {
      char *pc;
      uint32_t ul;
    } champs[] = {{psEntete->acVersion, 4},        {psEntete->acChampA, 5}, {psEntete->acChampB, 8},
                  {psEntete->acVersionLecteur, 4}, {psEntete->acChampC, 5}, {psEntete->acChampD, 10}};
    uint8_t ucSeparateur = 0;
    for (const auto &champ : champs) {
      if (usResultat == MC_OK) usResultat = MC_usLireUnsignedChar(n, &ucSeparateur);
      if (usResultat == MC_OK) usResultat = MC_usLireChampFixe(n, champ.pc, champ.ul);
      champ.pc[champ.ul] = '\0';
    }
    if (usResultat == MC_OK) usResultat = MC_usLireUnsignedChar(n, &ucSeparateur);
    if (usResultat == MC_OK)
      usResultat = usLireCommentaire(n, psEntete->acCommentaire, sizeof psEntete->acCommentaire);
    if (usResultat == MC_OK && fseek(psFichier->pFlux, 2, SEEK_CUR) != 0) {
      MCT_ERREUR(kCompBinaire, "usLireEnteteFichierBinaire : en fin d'entete");
      usResultat = MC_ERR_FIN_FICHIER;
    }
    return usResultat;
  });
}

MC_EXPORT uint16_t usLireCommentaire(uint16_t usNumFichierBinaire, char *pcCommentaire, uint32_t ulTaille) noexcept {
  return mc::Tracer("usLireCommentaire", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = nullptr;
    const uint16_t usResultat = usRechercherFichier(usNumFichierBinaire, &psFichier);
    if (usResultat != MC_OK) return usResultat;
    if (pcCommentaire == nullptr || ulTaille == 0) return MC_ERR_ARGUMENT;
    FILE *pFlux = psFichier->pFlux;
    const long debut = ftell(pFlux);
    if (debut == -1) return MC_ERR_FIN_FICHIER;
    uint32_t k = 0;
    for (;;) {
      const int c = getc_unlocked(pFlux);
      if (c == EOF) return MC_ERR_FIN_FICHIER;
      if (c == '\r') break;
      if (++k >= ulTaille) {
        MCT_ERREUR(kCompBinaire, "usLireCommentaire : commentaire de plus de %u caracteres", ulTaille - 1);
        return MC_ERR_FIN_FICHIER;
      }
    }
    // Kept as files have always been read: an empty comment makes no seek
    // back, so the byte read below is the LF, and the header ends one byte
    // further than written.  Writers always give a comment.
    if (k != 0 && fseek(pFlux, debut, SEEK_SET) != 0) return MC_ERR_FIN_FICHIER;
    if (fread_unlocked(pcCommentaire, 1, k + 1, pFlux) != k + 1 || ferror_unlocked(pFlux)) {
      pcCommentaire[0] = '\0';
      return MC_ERR_FIN_FICHIER;
    }
    pcCommentaire[k] = '\0';  // over the CR
    return MC_OK;
  });
}

}  // extern "C"
