// The trace log: one process-wide trace file, a table of active channels and
// the writers every other part of the library calls.
//
// Output goes through the unlocked stdio calls under one flockfile per item:
// the library is used from one thread at a time, and every line end is
// flushed so that a finished line survives an abrupt stop of the process.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "trace/trace.h"

extern "C" {
MC_EXPORT FILE *fichier = nullptr;
MC_EXPORT uint8_t indentation = 0;
MC_EXPORT int32_t NbTracesActives = 0;
MC_EXPORT TraceActive TracesActives[MC_NB_TRACES_MAX];
}

namespace {

constexpr char kDebutTrace[] = "### DEBUT TRACE ###";
constexpr char kFinTrace[] = "### FIN TRACE ###\n\n";
// Two spaces per level of depth; 255 levels at most (8-bit depth).
constexpr char kBlancs[] =
    "                                                                "
    "                                                                "
    "                                                                "
    "                                                                "
    "                                                                "
    "                                                                "
    "                                                                "
    "                                                                ";
static_assert(sizeof(kBlancs) - 1 == 2 * 256);

inline void Ecrire(const char *texte, size_t n) { fwrite_unlocked(texte, 1, n, fichier); }

inline void Indenter(uint8_t profondeur) { Ecrire(kBlancs, 2u * profondeur); }

inline void FinLigne() {
  putc_unlocked('\n', fichier);
  fflush_unlocked(fichier);
}

inline void DebutFonction() {
  Indenter(indentation);
  Ecrire("{ ", 2);
  ++indentation;
}

inline void FinFonction() {
  FinLigne();
  if (indentation > 0) --indentation;
  Indenter(indentation);
  putc_unlocked('}', fichier);
  FinLigne();
}

// One line (indentation, a fixed prefix, the formatted text, its end),
// flushed.  Formatting straight into the stream's buffer costs less than
// formatting into a buffer of our own and copying it there.
void EcrireLigne(uint8_t profondeur, const char *prefixe, size_t nPrefixe, const char *format,
                 va_list args) {
  if (profondeur != 0) Indenter(profondeur);
  if (nPrefixe != 0) Ecrire(prefixe, nPrefixe);
  if (format != nullptr) vfprintf(fichier, format, args);
  FinLigne();
}

// Linear search of the records in use; the first match wins.
inline const TraceActive *Chercher(uint16_t module, uint16_t composant) {
  const int32_t n = NbTracesActives;
  for (int32_t i = 0; i < n; ++i) {
    const TraceActive &t = TracesActives[i];
    if (t.usModule == module && t.usComposant == composant) return &t;
  }
  return nullptr;
}

// Kinds 1 to 4 are written at level 2, and at level 1 while the depth before
// the call is at most 7.  The bound is on the depth before the call for
// entries and exits alike, so a level-1 block opened at depth 7 shows its
// entry line but never its exit: kept for compatibility with existing logs.
inline bool Visible(uint8_t niveau, uint8_t profondeur) {
  return niveau == 2 || (niveau == 1 && profondeur <= 7);
}

void EcrireItem(uint16_t module, uint16_t composant, uint16_t type, const char *format,
                va_list args) {
  if (type > MC_TRACE_ERREUR) return;
  if (type == MC_TRACE_DATE) {
    FinLigne();
    time_t maintenant = time(nullptr);
    char date[64];
    const char *texte = ctime_r(&maintenant, date);
    if (texte != nullptr) fputs_unlocked(texte, fichier);
    fflush_unlocked(fichier);
    if (format != nullptr) vfprintf(fichier, format, args);
    FinLigne();
    return;
  }
  const TraceActive *canal = Chercher(module, composant);
  if (canal == nullptr) return;
  const uint8_t niveau = canal->ucNiveau;
  const uint8_t profondeur = indentation;
  const bool visible = Visible(niveau, profondeur);
  const bool resume = niveau == 1 && profondeur > 7;
  switch (type) {
    case MC_TRACE_BLOC:
      if (!visible) return;
      DebutFonction();
      if (format != nullptr) vfprintf(fichier, format, args);
      FinFonction();
      return;
    case MC_TRACE_ENTREE:
      if (visible) {
        EcrireLigne(profondeur, "{ ", 2, format, args);
        ++indentation;
      } else if (resume) {
        ++indentation;
      }
      return;
    case MC_TRACE_SORTIE:
      if (visible) {
        Indenter(profondeur);
        if (format != nullptr) vfprintf(fichier, format, args);
        FinFonction();
      } else if (resume) {
        --indentation;
      }
      return;
    case MC_TRACE_INFO:
      if (!visible) return;
      EcrireLigne(profondeur, "", 0, format, args);
      return;
    default:  // MC_TRACE_ERREUR: every registered channel, whatever its level
      EcrireLigne(profondeur, "ERREUR : ", 9, format, args);
      return;
  }
}

}  // namespace

extern "C" {

MC_EXPORT void MC_TraceEcrire2(uint16_t usModule, uint16_t usComposant, uint16_t usType,
                               const char *pcFormat, va_list vaArguments) noexcept {
  if (fichier == nullptr) return;
  flockfile(fichier);
  FILE *courant = fichier;
  EcrireItem(usModule, usComposant, usType, pcFormat, vaArguments);
  funlockfile(courant);
}

MC_EXPORT void MC_TraceEcrire(uint16_t usModule, uint16_t usComposant, uint16_t usType,
                              const char *pcFormat, ...) noexcept {
  if (fichier == nullptr) return;
  va_list args;
  va_start(args, pcFormat);
  MC_TraceEcrire2(usModule, usComposant, usType, pcFormat, args);
  va_end(args);
}

MC_EXPORT void MC_TraceEcrireBinaire(uint16_t usModule, uint16_t usComposant, const char *pcLibelle,
                                     const unsigned char *pucOctets, uint16_t usNombre) noexcept {
  if (fichier == nullptr) return;
  const TraceActive *canal = Chercher(usModule, usComposant);
  if (canal == nullptr || canal->ucNiveau != 2 || pucOctets == nullptr) return;
  if (pcLibelle == nullptr) pcLibelle = "";
  flockfile(fichier);
  for (unsigned i = 0; i < usNombre; ++i) {
    Indenter(indentation);
    fprintf(fichier, "%s[%d] = 0x%02x", pcLibelle, static_cast<int>(i), pucOctets[i]);
    FinLigne();
  }
  funlockfile(fichier);
}

MC_EXPORT void MC_TraceDebutLigne(void) noexcept {
  if (fichier == nullptr) return;
  Indenter(indentation);
}

MC_EXPORT void MC_TraceFinLigne(void) noexcept {
  if (fichier == nullptr) return;
  FinLigne();
}

MC_EXPORT void MC_TraceDebutFonction(void) noexcept {
  if (fichier == nullptr) return;
  DebutFonction();
}

MC_EXPORT void MC_TraceFinFonction(void) noexcept {
  if (fichier == nullptr) return;
  FinFonction();
}

MC_EXPORT int32_t MC_bTraceActive(void) noexcept { return fichier != nullptr ? 1 : 0; }

MC_EXPORT void MC_InitialiserTraces(void) noexcept {
  memset(TracesActives, 0, sizeof TracesActives);
  NbTracesActives = 0;
}

MC_EXPORT int32_t MC_bRechercherTrace(uint16_t usModule, uint16_t usComposant,
                                      uint16_t *pusIndice) noexcept {
  const TraceActive *canal = Chercher(usModule, usComposant);
  if (canal == nullptr) return 0;
  if (pusIndice != nullptr) *pusIndice = static_cast<uint16_t>(canal - TracesActives);
  return 1;
}

MC_EXPORT uint16_t MC_usAjouterTrace(uint16_t usModule, uint16_t usComposant, uint8_t ucNiveau) noexcept {
  uint16_t indice = 0;
  if (MC_bRechercherTrace(usModule, usComposant, &indice)) {
    // An already registered channel changes level whatever its numbers.
    TracesActives[indice].ucNiveau = ucNiveau;
    return MC_OK;
  }
  if (NbTracesActives > MC_NB_TRACES_MAX - 1) return MC_ERR_TRACE_PLEIN;
  TraceActive &t = TracesActives[NbTracesActives];
  t.usModule = usModule;
  t.usComposant = usComposant;
  t.ucNiveau = ucNiveau;
  // The record is written but not counted: the next registration overwrites it.
  if (usModule == 1 && (usComposant == 0 || usComposant > 8)) return MC_ERR_TRACE_COMPOSANT;
  ++NbTracesActives;
  return MC_OK;
}

MC_EXPORT uint16_t MC_usOuvrirTrace(const char *pcNomFichier, const char *pcMode,
                                    FILE **ppstFichier) noexcept {
  if (ppstFichier == nullptr) return MC_ERR_ARGUMENT;
  if (*ppstFichier != nullptr) return MC_OK;
  if (pcNomFichier == nullptr || pcNomFichier[0] == '\0' || pcMode == nullptr) return MC_ERR_ARGUMENT;
  const char *mode;
  if (strcmp(pcMode, "w") == 0 || strcmp(pcMode, "wb") == 0) {
    mode = "w";
  } else if (strcmp(pcMode, "a") == 0 || strcmp(pcMode, "ab") == 0) {
    mode = "a";
  } else {
    return MC_ERR_ARGUMENT;
  }
  FILE *flux = fopen(pcNomFichier, mode);
  if (flux == nullptr) return MC_ERR_TRACE_OUVERTURE;
  *ppstFichier = flux;
  fputs(kDebutTrace, flux);
  // Kept for compatibility: the header goes to the caller's slot, its line
  // end to the library's own trace file.
  MC_TraceFinLigne();
  return MC_OK;
}

MC_EXPORT uint16_t MC_usFermerTrace(void) noexcept {
  int resultat = 0;
  if (fichier != nullptr) {
    fputs(kFinTrace, fichier);
    resultat = fclose(fichier);
  }
  fichier = nullptr;
  NbTracesActives = 0;
  indentation = 0;
  return static_cast<uint16_t>(resultat);
}

MC_EXPORT uint16_t MC_usActiverTrace(const char *pcNomFichier, const char *pcMode, uint16_t usModule,
                                     uint16_t usComposant, uint8_t ucNiveau) noexcept {
  if (ucNiveau >= 3) ucNiveau = 2;
  if (fichier == nullptr) {
    if (ucNiveau == 0) return MC_OK;
    const uint16_t statut = MC_usOuvrirTrace(pcNomFichier, pcMode, &fichier);
    if (statut != MC_OK) return statut;
    MC_InitialiserTraces();
  } else if (ucNiveau == 0) {
    return MC_usFermerTrace();
  }
  return MC_usAjouterTrace(usModule, usComposant, ucNiveau);
}

}  // extern "C"
