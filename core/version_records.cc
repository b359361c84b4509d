// Component version records: one file "<component>.adm" per component in the
// working directory, holding the version text as it was given.  Nothing is
// kept between calls: the working directory is read from "tovel.ini" each
// time.
#include <cstdio>
#include <cstring>

#include "trace/trace.h"

namespace {

// The working-directory block is 256 bytes; the reader is asked for at most
// 255 characters because it puts its NUL right after the characters it
// copies.
constexpr uint32_t kTailleRepertoire = 256;

// Copy of the working directory in a block of its own, or null.
char *CopierRepertoire(const char *pcRepertoire) {
  const size_t n = strlen(pcRepertoire) + 1;
  char *copie = static_cast<char *>(MC_Allouer(static_cast<uint32_t>(n)));
  if (copie != nullptr) memcpy(copie, pcRepertoire, n);
  return copie;
}

// Fetches the working directory into a copy of its own.  0xF6F1 when it is
// not configured, 0xFFFB when no block could be had.
uint16_t RepertoireTravail(char **ppcCopie) {
  char *repertoire = nullptr;
  uint16_t statut = MC_usDonnerRepertoireTravail(&repertoire);
  *ppcCopie = nullptr;
  if (statut == MC_OK) {
    *ppcCopie = CopierRepertoire(repertoire);
    if (*ppcCopie == nullptr) statut = MC_ERR_INIT_ALLOCATION;
  }
  MC_Liberer(repertoire);
  return statut;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usDonnerRepertoireTravail(char **ppcRepertoire) noexcept {
  MCT_ENTREE(mc::kCompFichier, "MC_usDonnerRepertoireTravail");
  uint16_t statut = MC_OK;
  if (ppcRepertoire == nullptr) {
    statut = MC_ERR_ARGUMENT;
  } else {
    *ppcRepertoire = static_cast<char *>(MC_Allouer(kTailleRepertoire));
    if (*ppcRepertoire == nullptr) {
      MCT_ERREUR(mc::kCompFichier, "IAInitialisation probleme allocation memoire");
      statut = MC_ERR_INIT_ALLOCATION;
    } else if (MC_ulLireChaineIni("commun", "repertoiretravail", *ppcRepertoire, kTailleRepertoire - 1,
                                  "tovel.ini") == 0) {
      MCT_ERREUR(mc::kCompFichier, "ERREUR du repertoire de travail  (%u)", MC_ERR_REP_TRAVAIL);
      statut = MC_ERR_REP_TRAVAIL;
    }
  }
  MCT_SORTIE(mc::kCompFichier, "MC_usDonnerRepertoireTravail");
  return statut;
}

MC_EXPORT uint16_t MC_usLireVersionComposant(int8_t cComposant, uint8_t **ppucContenu,
                                             uint32_t *pulLongueur) noexcept {
  MCT_ENTREE(mc::kCompFichier, "MC_usLireVersionComposant");
  if (ppucContenu == nullptr || pulLongueur == nullptr) {
    MCT_INFO(mc::kCompFichier, "MC_usLireVersionComposant =(%u)", MC_ERR_ARGUMENT);
    MCT_SORTIE(mc::kCompFichier, "MC_usLireVersionComposant");
    return MC_ERR_ARGUMENT;
  }
  char *repertoire = nullptr;
  uint16_t statut = RepertoireTravail(&repertoire);
  if (statut == MC_ERR_REP_TRAVAIL)
    MCT_ERREUR(mc::kCompFichier, "LECTURE DES COMPOSANTS Erreur sur le repertoire de travail =(%u)", statut);

  FILE *fichier_adm = nullptr;
  char *nom = nullptr;
  char *chemin = nullptr;
  if (statut == MC_OK) {
    statut = usConstruireNomComplet(cComposant, &nom);
    MCT_INFO(mc::kCompFichier, "LECTURE DES COMPOSANTS: usConstruireNomComplet =0x%04x", statut);
    if (statut == MC_OK) {
      statut = MC_usCreerNomCompletFichier(repertoire, nom, &chemin);
      MCT_INFO(mc::kCompFichier, "LECTURE DES COMPOSANTS MC_usCreerNomCompletFichier =0x%04x", statut);
    }
    if (statut == MC_OK) statut = usOuvrirFichier(chemin, "r", &fichier_adm);
    if (statut != MC_OK) {
      fichier_adm = nullptr;
      MCT_ERREUR(mc::kCompFichier, "LECTURE DES COMPOSANTS Retour ERREUR =(%u)", statut);
    }
  }
  MCT_INFO(mc::kCompFichier, "Retour =(%u)", statut);
  MC_Liberer(chemin);

  if (fichier_adm != nullptr) {
    uint32_t longueur = 0;
    // A stream whose length cannot be taken is treated as unreadable rather
    // than read with a length of -1.
    if (MC_usLongueurFichier(fichier_adm, &longueur) != MC_OK) {
      statut = MC_ERR_FICHIER;
    } else {
      uint8_t *lecture = static_cast<uint8_t *>(MC_Allouer(longueur));
      if (lecture == nullptr) {
        statut = MC_ERR_ALLOCATION;
      } else {
        uint32_t lus = longueur;
        statut = usLireBufferFichier(fichier_adm, lecture, &lus);
        if (statut == MC_OK) {
          uint8_t *contenu = static_cast<uint8_t *>(MC_Allouer(longueur));
          if (contenu == nullptr) {
            statut = MC_ERR_ALLOCATION;
          } else {
            memcpy(contenu, lecture, lus);
            *ppucContenu = contenu;
            *pulLongueur = lus;
          }
        }
        MC_Liberer(lecture);
      }
    }
    MCT_INFO(mc::kCompFichier, "Retour =(%u)", statut);
  }

  MC_Liberer(repertoire);
  if (fichier_adm != nullptr) {
    // Closed on failure too, keeping the first error.
    const uint16_t fermeture = usFermerFichier(fichier_adm);
    if (statut == MC_OK) statut = fermeture;
  }
  MC_Liberer(nom);
  MCT_INFO(mc::kCompFichier, "MC_usLireVersionComposant =(%u)", statut);
  MCT_SORTIE(mc::kCompFichier, "MC_usLireVersionComposant");
  return statut;
}

MC_EXPORT uint16_t MC_usEcrireVersionComposant(int8_t cComposant, const char *pcVersion) noexcept {
  MCT_ENTREE(mc::kCompFichier, "MC_usEcrireVersionComposant");
  if (pcVersion == nullptr) {
    MCT_INFO(mc::kCompFichier, "Resultat fin fonction =(%u)", MC_ERR_ARGUMENT);
    MCT_SORTIE(mc::kCompFichier, "MC_usEcrireVersionComposant");
    return MC_ERR_ARGUMENT;
  }
  char *repertoire = nullptr;
  uint16_t statut = RepertoireTravail(&repertoire);
  MCT_INFO(mc::kCompFichier, "MC_usDonnerRepertoireTravail /  usRetour =0x%04x", statut);
  if (statut == MC_ERR_REP_TRAVAIL) {
    MCT_INFO(mc::kCompFichier, "Retour de recherche du repertoire de travail =(%u)", statut);
  } else if (statut == MC_OK) {
    MCT_INFO(mc::kCompFichier, "Repertoire Travail OK");
  }
  MCT_INFO(mc::kCompFichier, "ECRITURE DES COMPOSANTS Retour de recherche du repertoire de travail =(%u)", statut);

  FILE *fichier_adm = nullptr;
  if (statut == MC_OK) {
    char *nom = nullptr;
    char *chemin = nullptr;
    statut = usConstruireNomComplet(cComposant, &nom);
    MCT_INFO(mc::kCompFichier, "ECRITURE DES COMPOSANTS: usConstruireNomComplet =0x%04x", statut);
    if (statut == MC_OK) {
      statut = MC_usCreerNomCompletFichier(repertoire, nom, &chemin);
      MCT_INFO(mc::kCompFichier, " ECRITURE DES COMPOSANTS MC_usCreerNomCompletFichier =0x%04x", statut);
    }
    if (statut == MC_OK) statut = usOuvrirFichier(chemin, "wb", &fichier_adm);
    if (statut != MC_OK) {
      fichier_adm = nullptr;
      MCT_ERREUR(mc::kCompFichier, "ECRITURE DES COMPOSANTS Retour ERREUR =(%u)", statut);
      statut = MC_ERR_VERSION_COMPOSANT;
    }
    MC_Liberer(chemin);
    MC_Liberer(nom);
  }

  if (fichier_adm != nullptr) {
    // The write's own outcome is not looked at; a failing close reports it.
    fwrite(pcVersion, 1, strlen(pcVersion), fichier_adm);
    statut = usFermerFichier(fichier_adm);
    if (statut != MC_OK) MCT_ERREUR(mc::kCompFichier, "Retour ERREUR =(%u)", statut);
  }
  MC_Liberer(repertoire);
  MCT_INFO(mc::kCompFichier, "Resultat fin fonction =(%u)", statut);
  MCT_SORTIE(mc::kCompFichier, "MC_usEcrireVersionComposant");
  return statut;
}

}  // extern "C"
