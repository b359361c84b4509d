// Small file helpers shared by the rest of the library: the length of an open
// stream, directory/name joining, and the open/close/read wrappers and the
// version record name used by the component version records.
#include <cstdio>
#include <cstring>
#include <ctime>

#include "trace/trace.h"

extern "C" {

MC_EXPORT uint16_t MC_usLongueurFichier(FILE *pstFichier, uint32_t *pulLongueur) noexcept {
  if (pstFichier == nullptr || pulLongueur == nullptr) return MC_ERR_ARGUMENT;
  const long position = ftell(pstFichier);
  if (position == -1) return MC_ERR_FICHIER;
  if (static_cast<uint16_t>(fseek(pstFichier, 0, SEEK_END)) != 0) return MC_ERR_FICHIER;
  const long fin = ftell(pstFichier);
  *pulLongueur = static_cast<uint32_t>(fin);  // stored even when it is -1
  if (fin == -1) return MC_ERR_FICHIER;
  return static_cast<uint16_t>(fseek(pstFichier, position, SEEK_SET));
}

MC_EXPORT uint16_t MC_usCreerNomCompletFichier(const char *pcRepertoire, const char *pcNom,
                                               char **ppcNomComplet) noexcept {
  if (pcRepertoire == nullptr || pcNom == nullptr || ppcNomComplet == nullptr) return MC_ERR_ARGUMENT;
  // No test for a trailing '/': "/a/" and "b" give "/a//b", as hosts expect.
  const size_t longueur = strlen(pcRepertoire) + 1 + strlen(pcNom);
  // The block size is a 16-bit sum in the interface; a longer name cannot be
  // represented, and is refused rather than cut.
  if (longueur + 1 > 0xFFFF) {
    *ppcNomComplet = nullptr;
    return MC_ERR_ARGUMENT;
  }
  char *nom = static_cast<char *>(MC_Allouer(static_cast<uint16_t>(longueur + 1)));
  *ppcNomComplet = nom;
  if (nom == nullptr) return MC_ERR_ALLOCATION;
  snprintf(nom, longueur + 1, "%s%c%s", pcRepertoire, '/', pcNom);
  return MC_OK;
}

MC_EXPORT uint32_t donneDateHeure(char *pcTexte, uint32_t *pulTaille, const char *pcFormat) noexcept {
  if (pcTexte == nullptr || pulTaille == nullptr || pcFormat == nullptr) return 0;
  const time_t maintenant = time(nullptr);
  struct tm local;
  size_t n = 0;
  if (localtime_r(&maintenant, &local) != nullptr) n = strftime(pcTexte, *pulTaille, pcFormat, &local);
  *pulTaille = static_cast<uint32_t>(n);
  return static_cast<uint32_t>(n);
}

MC_EXPORT uint16_t usOuvrirFichier(const char *pcChemin, const char *pcMode, FILE **ppstFichier) noexcept {
  MCT_ENTREE(mc::kCompFichier, "usOuvrirFichier");
  uint16_t statut = MC_OK;
  if (pcChemin == nullptr || pcMode == nullptr || ppstFichier == nullptr) {
    statut = MC_ERR_FICHIER;
  } else {
    MCT_INFO(mc::kCompFichier, "Fichier : %s mode ouverture %s", pcChemin, pcMode);
    *ppstFichier = fopen(pcChemin, pcMode);
    if (*ppstFichier == nullptr) {
      MCT_ERREUR(mc::kCompFichier, " Probleme ouverture fichier");
      statut = MC_ERR_FICHIER;
    }
  }
  MCT_SORTIE(mc::kCompFichier, "usOuvrirFichier");
  return statut;
}

MC_EXPORT uint16_t usFermerFichier(FILE *pstFichier) noexcept {
  MCT_ENTREE(mc::kCompFichier, "usFermerFichier");
  const uint16_t statut = (pstFichier == nullptr || fclose(pstFichier) != 0) ? MC_ERR_FICHIER : MC_OK;
  MCT_SORTIE(mc::kCompFichier, "usFermerFichier");
  return statut;
}

MC_EXPORT uint16_t usLireBufferFichier(FILE *pstFichier, void *pvBuffer, uint32_t *pulNombre) noexcept {
  MCT_ENTREE(mc::kCompFichier, "usLireBufferFichier");
  uint16_t statut = MC_OK;
  if (pstFichier == nullptr || pvBuffer == nullptr || pulNombre == nullptr) {
    statut = MC_ERR_FICHIER;
  } else {
    const size_t lus = fread(pvBuffer, 1, *pulNombre, pstFichier);
    *pulNombre = static_cast<uint16_t>(lus);  // kept: the count is cut to 16 bits
    if (ferror(pstFichier)) statut = MC_ERR_FICHIER;
  }
  MCT_SORTIE(mc::kCompFichier, "usLireBufferFichier");
  return statut;
}

MC_EXPORT uint16_t usConstruireNomComplet(int8_t cComposant, char **ppcNom) noexcept {
  // Kept for compatibility: this helper traces under the read helper's name.
  MCT_ENTREE(mc::kCompFichier, "usLireBufferFichier");
  uint16_t statut = MC_OK;
  if (ppcNom == nullptr) {
    statut = MC_ERR_ARGUMENT;
  } else {
    // Component numbers are expected in 0..127 ("127.adm" fits the 8 bytes
    // the record name always had); a negative one needs more, and gets it.
    const int longueur = snprintf(nullptr, 0, "%i.adm", static_cast<int>(cComposant));
    const uint32_t taille = longueur + 1 > 8 ? static_cast<uint32_t>(longueur + 1) : 8u;
    char *nom = static_cast<char *>(MC_Allouer(taille));
    *ppcNom = nom;
    if (nom == nullptr) {
      statut = MC_ERR_ALLOCATION;
    } else {
      snprintf(nom, taille, "%i.adm", static_cast<int>(cComposant));
    }
  }
  MCT_SORTIE(mc::kCompFichier, "usLireBufferFichier");
  return statut;
}

}  // extern "C"
