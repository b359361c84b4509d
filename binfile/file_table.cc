// The table of the 100 binary file numbers shared by the writer and the
// reader, and the process-wide pending table-size position.
#include "binfile/file_table.h"

#include <cstring>
#include <new>

#include "trace/trace.h"

extern "C" {

MC_EXPORT Fichier *fichiers[MC_NB_FICHIERS_MAX];
MC_EXPORT int32_t initialise = 0;
MC_EXPORT int32_t lPositionTailleTable = 0;

}  // extern "C"

namespace mc {

Fichier *CreerEnregistrement(const char *pcRepertoire, const char *pcNomFichier) noexcept {
  void *bloc = MC_Allouer(sizeof(FichierInterne));
  if (bloc == nullptr) return nullptr;
  FichierInterne *psInterne = new (bloc) FichierInterne{};
  Fichier *psFichier = &psInterne->fichier;
  const size_t lgRepertoire = strlen(pcRepertoire) + 1;
  const size_t lgNom = strlen(pcNomFichier) + 1;
  if (lgRepertoire <= UINT32_MAX && lgNom <= UINT32_MAX) {
    psFichier->pcRepertoire = static_cast<char *>(MC_Allouer(static_cast<uint32_t>(lgRepertoire)));
    psFichier->pcNomFichier = static_cast<char *>(MC_Allouer(static_cast<uint32_t>(lgNom)));
  }
  if (psFichier->pcRepertoire == nullptr || psFichier->pcNomFichier == nullptr) {
    LibererEnregistrement(psFichier);
    return nullptr;
  }
  memcpy(psFichier->pcRepertoire, pcRepertoire, lgRepertoire);
  memcpy(psFichier->pcNomFichier, pcNomFichier, lgNom);
  return psFichier;
}

void LibererEnregistrement(Fichier *psFichier) noexcept {
  if (psFichier == nullptr) return;
  MC_Liberer(psFichier->pcRepertoire);
  MC_Liberer(psFichier->pcNomFichier);
  MC_Liberer(Interne(psFichier));
}

void LibererNumero(uint16_t usNumFichierBinaire) noexcept {
  const unsigned indice = static_cast<unsigned>(usNumFichierBinaire) - 1u;
  if (indice < MC_NB_FICHIERS_MAX) fichiers[indice] = nullptr;
}

}  // namespace mc

extern "C" {

MC_EXPORT uint16_t usInitialiserTableauFichiers(void) noexcept {
  if (initialise == 0) {
    for (Fichier *&slot : fichiers) slot = nullptr;
    initialise = 1;
  }
  return MC_OK;
}

MC_EXPORT uint16_t usRechercherNumeroFichier(uint16_t *pusNumFichierBinaire) noexcept {
  if (pusNumFichierBinaire == nullptr) return MC_ERR_ARGUMENT;
  for (uint16_t i = 0; i < MC_NB_FICHIERS_MAX; ++i) {
    if (fichiers[i] == nullptr) {
      fichiers[i] = MC_FICHIER_RESERVE;
      *pusNumFichierBinaire = static_cast<uint16_t>(i + 1);
      // Kept as it always was: the text ends with its own LF.
      MCT_INFO(mc::kCompBinaire, "numero de fichier =%hu\n", *pusNumFichierBinaire);
      return MC_OK;
    }
  }
  MCT_ERREUR(mc::kCompBinaire, "plus de fichier disponible.");
  return MC_ERR_PLUS_DE_FICHIER;
}

MC_EXPORT uint16_t usRenseignerFichierTableau(uint16_t usNumFichierBinaire, Fichier *psFichier) noexcept {
  const unsigned indice = static_cast<unsigned>(usNumFichierBinaire) - 1u;
  if (indice >= MC_NB_FICHIERS_MAX) return MC_ERR_NUMERO;
  fichiers[indice] = psFichier;
  return MC_OK;
}

MC_EXPORT uint16_t usRechercherFichier(uint16_t usNumFichierBinaire, Fichier **ppsFichier) noexcept {
  if (ppsFichier == nullptr) return MC_ERR_ARGUMENT;
  if (usNumFichierBinaire < 1 || usNumFichierBinaire > MC_NB_FICHIERS_MAX) {
    MCT_ERREUR(mc::kCompBinaire, "usRechercherFichier : numero de fichier invalide");
    return MC_ERR_NUMERO;
  }
  Fichier *psFichier = mc::FichierOuvert(usNumFichierBinaire);
  if (psFichier == nullptr) {
    MCT_ERREUR(mc::kCompBinaire, "usRechercherFichier : fichier non reserve");
    return MC_ERR_NUMERO;
  }
  *ppsFichier = psFichier;
  return MC_OK;
}

MC_EXPORT uint16_t usLibererFichier(uint16_t usNumFichierBinaire) noexcept {
  MCT_ENTREE(mc::kCompBinaire, "usLibererFichier : usNumFichierBinaire = %d", usNumFichierBinaire);
  Fichier *psFichier = nullptr;
  uint16_t usResultat = usRechercherFichier(usNumFichierBinaire, &psFichier);
  if (usResultat == MC_OK) {
    if (psFichier->pFlux != nullptr) fclose(psFichier->pFlux);
    mc::LibererEnregistrement(psFichier);
    mc::LibererNumero(usNumFichierBinaire);
  }
  MCT_SORTIE(mc::kCompBinaire, "usLibererFichier : Code retour = 0x%04x", usResultat);
  return usResultat;
}

}  // extern "C"
