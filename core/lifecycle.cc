// Start and stop of the library, shared by the modules that load it: the
// first initialisation loads the dictionary from the tables file and writes
// the version records, later ones only count; the last termination releases
// the dictionary.
#include <cstring>

#include "binfile/file_table.h"
#include "trace/trace.h"

extern "C" {
MC_EXPORT uint16_t nbre_chargt_module = 0;
}

namespace {

using mc::kCompNoyau;

// The tables file is accepted from this version on, and up to the library's
// own version for its reader version.
constexpr char kVersionTablesMin[] = "0104";
constexpr char kVersionLecteurMax[] = MC_VERSION_LIBRAIRIE;
constexpr char kFichierTables[] = "tablebin.kmt";
constexpr int8_t kComposantMC = 92;
constexpr int8_t kComposantTables = 93;

// The configuration buffer is 256 bytes; the reader is asked for at most 255
// characters because it puts its NUL right after the characters it copies.
constexpr uint32_t kTailleTampon = 256;

// Copies of the two directories taken by the last successful initialisation,
// kept for the process's life (the next successful one replaces them).
char *g_pcRepertoireTravail = nullptr;
char *g_pcRepertoireTables = nullptr;

// A version field read as a number: each character counts as its code minus
// that of '0', most significant first, digits or not.
int ValeurVersion(const char *pcVersion) {
  int valeur = 0;
  for (int i = 0; i < 4; ++i) valeur = valeur * 10 + (pcVersion[i] - '0');
  return valeur;
}

// A new block holding ulLongueur characters of pcTexte and a NUL; null when
// memory is short.
char *Copier(const char *pcTexte, size_t ulLongueur) {
  char *copie = static_cast<char *>(MC_Allouer(static_cast<uint32_t>(ulLongueur + 1)));
  if (copie != nullptr) {
    memcpy(copie, pcTexte, ulLongueur);
    copie[ulLongueur] = '\0';
  }
  return copie;
}

// Reads one directory of section "commun" into pcTampon and copies it into
// *ppcCopie (left null when absent); false only when the copy could not be
// allocated.
bool LireRepertoire(const char *pcCle, char *pcTampon, uint32_t *pulLongueur, char **ppcCopie) {
  *pulLongueur = MC_ulLireChaineTovel("commun", pcCle, pcTampon, static_cast<int32_t>(kTailleTampon - 1));
  *ppcCopie = nullptr;
  if (*pulLongueur == 0) return true;
  *ppcCopie = Copier(pcTampon, *pulLongueur);
  return *ppcCopie != nullptr;
}

// Closes the tables file without a trace, for the failure paths: the traces
// of those paths stay as they always were.
void FermerSansTrace(uint16_t usNumFichier) {
  Fichier *psFichier = mc::FichierOuvert(usNumFichier);
  if (psFichier == nullptr) return;
  if (psFichier->pFlux != nullptr) fclose(psFichier->pFlux);
  mc::LibererEnregistrement(psFichier);
  mc::LibererNumero(usNumFichier);
}

// Loads the first three tables of the open file, each with the loader its
// name calls for, in the order in which they stand.
uint16_t ChargerTables(uint16_t usNumFichier, EnteteTable *psEnteteTable) {
  uint16_t usResultat = MC_OK;
  for (int i = 0; i < 3 && usResultat == MC_OK; ++i) {
    usResultat = MC_usLireEnteteTable(usNumFichier, psEnteteTable);
    MCT_INFO(kCompNoyau, "MC_usLireEnteteTable:usResultat= 0x%04x", usResultat);
    if (usResultat != MC_OK) break;
    const char *nom = psEnteteTable->acNomTable;
    if (strcmp(nom, "TGROUPE") == 0)
      usResultat = usInitTabGroupe(usNumFichier, psEnteteTable->ulTaille, psEnteteTable->ulNombre);
    else if (strcmp(nom, "TCHAMP") == 0)
      usResultat = usInitTabChamp(usNumFichier, psEnteteTable->ulTaille, psEnteteTable->ulNombre);
    else if (strcmp(nom, "TVALEUR") == 0)
      usResultat = usInitTabValeur(usNumFichier, psEnteteTable->ulTaille, psEnteteTable->ulNombre);
    else
      usResultat = MC_ERR_FIN_FICHIER;
  }
  return usResultat;
}

// Writes the version records and hands out the two version strings.  The
// status is 0, 0xF6F1 without a working directory, or 0xFFFB; *pusConserve
// receives the result of the last record write.
uint16_t EcrireVersions(const char *pcRepertoireTravail, const EnteteFichierBinaire *psEntete,
                        char **ppcVersionMC, char **ppcVersionTables, uint16_t *pusConserve) {
  MCT_INFO(kCompNoyau, "ecriture des fichiers .adm composants");
  if (pcRepertoireTravail == nullptr || pcRepertoireTravail[0] == '\0') {
    MCT_INFO(kCompNoyau, "ecriture des fichiers composants impossible");
    MCT_INFO(kCompNoyau, "erreur repertoire de travail absent / usResultat=0x%04x", MC_ERR_REP_TRAVAIL);
    return MC_ERR_REP_TRAVAIL;
  }
  uint16_t usEcriture = MC_usEcrireVersionComposant(kComposantMC, MC_VERSION_LIBRAIRIE);
  MCT_INFO(kCompNoyau, "ecriture du fichier .adm, composant MC :usResultat= 0x%04x", usEcriture);
  if (usEcriture == MC_OK) {
    usEcriture = MC_usEcrireVersionComposant(kComposantTables, psEntete->acVersion);
    MCT_INFO(kCompNoyau, "ecriture du fichier .adm, composant Fichier Tables :usResultat= 0x%04x", usEcriture);
  }
  *pusConserve = usEcriture;
  char *versionMC = Copier(MC_VERSION_LIBRAIRIE, strlen(MC_VERSION_LIBRAIRIE));
  if (versionMC != nullptr) MCT_INFO(kCompNoyau, "Sortie : numero de version MC");
  char *versionTables = versionMC != nullptr ? Copier(psEntete->acVersion, strlen(psEntete->acVersion)) : nullptr;
  if (versionTables == nullptr) {
    MCT_ERREUR(kCompNoyau, "IAInitialisation probleme allocation memoire");
    MC_Liberer(versionMC);
    return MC_ERR_INIT_ALLOCATION;
  }
  MCT_INFO(kCompNoyau, "Sortie : numero de version du Fichier de tables");
  *ppcVersionMC = versionMC;
  *ppcVersionTables = versionTables;
  return MC_OK;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usInitLIB(char **ppcVersionMC, char **ppcVersionTables) noexcept {
  MCT_ENTREE(kCompNoyau, "MC_usInitLIB");
  MCT_INFO(kCompNoyau, "Nombre de modules ayant initialis\xe9 le MC = %u", nbre_chargt_module);
  MCT_SORTIE(kCompNoyau, "MC_usInitLIB");
  return usIAInitialisation(ppcVersionMC, ppcVersionTables);
}

MC_EXPORT uint16_t usIAInitialisation(char **ppcVersionMC, char **ppcVersionTables) noexcept {
  MCT_ENTREE(kCompNoyau, "IAInitialisation");
  // Later initialisations only count; kept for compatibility: without an
  // exit trace.
  if (nbre_chargt_module != 0) {
    ++nbre_chargt_module;
    return MC_OK;
  }
  if (ppcVersionMC == nullptr || ppcVersionTables == nullptr) {
    MCT_ERREUR(kCompNoyau, "IAInitialisation argument nul");
    MCT_SORTIE(kCompNoyau, "IAInitialisation");
    return MC_ERR_ARGUMENT;
  }

  char *tampon = static_cast<char *>(MC_Allouer(kTailleTampon));
  if (tampon == nullptr) {
    MCT_ERREUR(kCompNoyau, "IAInitialisation probleme allocation memoire");
    MCT_SORTIE(kCompNoyau, "IAInitialisation");
    return MC_ERR_INIT_ALLOCATION;
  }

  uint32_t longueur = 0;
  char *repertoireTravail = nullptr;
  char *repertoireTables = nullptr;
  bool copiesFaites = LireRepertoire("repertoiretravail", tampon, &longueur, &repertoireTravail);
  MCT_INFO(kCompNoyau, "REPERTOIRE TRAVAIL :MC_ulLireChaineTovel:usLongueur=0x%04x", longueur);
  // The status of the configuration is traced, not returned yet: the
  // initialisation goes on without a working directory.
  uint16_t usConserve = MC_OK;
  if (repertoireTravail != nullptr) {
    MCT_INFO(kCompNoyau, "recuperation du repertoire de travail OK");
  } else if (copiesFaites) {
    usConserve = MC_ERR_REP_TRAVAIL;
    MCT_INFO(kCompNoyau, "erreur de lecture du repertoire de travail / usResultatSP = 0x%04x", usConserve);
  }

  uint16_t usResultat = MC_OK;
  if (copiesFaites) {
    copiesFaites = LireRepertoire("repertoiretable", tampon, &longueur, &repertoireTables);
    MCT_INFO(kCompNoyau, "REPERTOIRE TABLES:MC_ulLireChaineTovel:usLongueur=0x%04x", longueur);
    if (repertoireTables != nullptr) {
      MCT_INFO(kCompNoyau, "recuperation du repertoire des tables externes OK");
    } else if (copiesFaites) {
      usResultat = MC_ERR_REP_TABLE;
      MCT_INFO(kCompNoyau, "erreur de lecture du repertoire des tables externes / usResultat=0x%04x", usResultat);
    }
  }
  MC_Liberer(tampon);
  if (!copiesFaites) {
    MCT_ERREUR(kCompNoyau, "IAInitialisation probleme allocation memoire");
    usResultat = MC_ERR_INIT_ALLOCATION;
  }

  uint16_t usNumFichier = 0;
  EnteteTable *psEnteteTable = nullptr;
  EnteteFichierBinaire *psEntete = nullptr;
  if (usResultat == MC_OK) {
    psEnteteTable = static_cast<EnteteTable *>(MC_Allouer(sizeof(EnteteTable)));
    psEntete = static_cast<EnteteFichierBinaire *>(MC_Allouer(sizeof(EnteteFichierBinaire)));
    if (psEnteteTable == nullptr || psEntete == nullptr) {
      MCT_ERREUR(kCompNoyau, "IAInitialisation probleme allocation memoire");
      usResultat = MC_ERR_INIT_ALLOCATION;
    } else {
      usResultat = MC_usInitialiserFichierBinaire(repertoireTables, kFichierTables, MC_CONTROLE_CRC, &usNumFichier,
                                                  psEntete);
      MCT_INFO(kCompNoyau, "MC_usInitialiserFichierBinaire:initialisation des tables externes / usResultat=0x%04x",
               usResultat);
    }
    if (usResultat == MC_OK) {
      const bool accepte = ValeurVersion(psEntete->acVersion) >= ValeurVersion(kVersionTablesMin) &&
                           ValeurVersion(psEntete->acVersionLecteur) <= ValeurVersion(kVersionLecteurMax);
      usResultat = accepte ? MC_OK : MC_ERR_VERSION;
      MCT_INFO(kCompNoyau, "controle de numeros de version,usResultat= 0x%04x", usResultat);
      if (!accepte) {
        // Kept for compatibility: no exit trace on this path.
        FermerSansTrace(usNumFichier);
        MC_Liberer(psEnteteTable);
        MC_Liberer(psEntete);
        MC_Liberer(repertoireTravail);
        MC_Liberer(repertoireTables);
        return usResultat;
      }
    }
    if (usResultat == MC_OK) usResultat = ChargerTables(usNumFichier, psEnteteTable);

    if (usResultat != MC_OK) {
      MCT_INFO(kCompNoyau, "erreur de chargement des tables : suppression des tables deja chargees");
      usGTSupprTables();
    } else {
      usResultat = EcrireVersions(repertoireTravail, psEntete, ppcVersionMC, ppcVersionTables, &usConserve);
      // Out of memory for the version strings: the library stays
      // uninitialised, without a dictionary.
      if (usResultat == MC_ERR_INIT_ALLOCATION) usGTSupprTables();
    }
  }
  MCT_SORTIE(kCompNoyau, "IAInitialisation");

  MC_Liberer(psEnteteTable);
  MC_Liberer(psEntete);
  if (usResultat == MC_OK) {
    usResultat = usLibererFichier(usNumFichier);
    if (usResultat == MC_OK) {
      ++nbre_chargt_module;
      MC_Liberer(g_pcRepertoireTravail);
      MC_Liberer(g_pcRepertoireTables);
      g_pcRepertoireTravail = repertoireTravail;
      g_pcRepertoireTables = repertoireTables;
      // Kept for compatibility: a failed version record write is returned
      // although the library counts as initialised.
      return usConserve;
    }
  }
  // A failed initialisation leaves nothing behind but the dictionary of a
  // 0xF6F1 (loaded, as the next attempt will load it again).
  FermerSansTrace(usNumFichier);
  MC_Liberer(repertoireTravail);
  MC_Liberer(repertoireTables);
  return usResultat;
}

MC_EXPORT uint16_t MC_usTermLIB(void) noexcept {
  MCT_ENTREE(kCompNoyau, "MC_usTermLIB");
  // Kept for compatibility: no test for 0 (a call without an initialisation
  // leaves 65535), and no exit trace.
  --nbre_chargt_module;
  if (nbre_chargt_module != 0) return MC_OK;
  MCT_INFO(kCompNoyau, " %u", nbre_chargt_module);
  usIADecharger();
  return MC_OK;
}

MC_EXPORT uint16_t usIADecharger(void) noexcept {
  MCT_ENTREE(kCompNoyau, "usIADecharger");
  usGTSupprTables();
  MCT_SORTIE(kCompNoyau, "usIADecharger");
  return MC_OK;
}

MC_EXPORT uint16_t usGTSupprTables(void) noexcept {
  MCT_ENTREE(kCompNoyau, "Suppression des tables /usGTSupprTables");
  uint16_t usResultat = usSupprTabGroupe();
  MCT_INFO(kCompNoyau, "suppression de la table TGROUPE, usResultat=0x%04x", usResultat);
  usResultat |= usSupprTabChamp();
  MCT_INFO(kCompNoyau, "suppression de la table TCHAMP, usResultat=0x%04x", usResultat);
  usResultat |= usSupprTabValeur();
  MCT_INFO(kCompNoyau, "suppression de la table TVALEUR, usResultat=0x%04x", usResultat);
  MCT_SORTIE(kCompNoyau, "Suppression des tables = usGTSupprTables / usResultat = 0x%04x", usResultat);
  return usResultat;
}

}  // extern "C"
