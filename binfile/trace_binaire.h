// The entry and exit lines that every operation on a file number writes:
// "<name> : usNumFichierBinaire = <n>" and "<name> : Code retour = 0x<status>".
#ifndef MC_BINFILE_TRACE_BINAIRE_H
#define MC_BINFILE_TRACE_BINAIRE_H

#include "trace/trace.h"

namespace mc {

// Runs corps() between the entry and exit lines of `nom`; with tracing off
// this is the body alone plus two tests of the trace stream.
template <class Corps>
inline uint16_t Tracer(const char *nom, uint16_t usNumFichierBinaire, Corps &&corps) noexcept {
  MCT_ENTREE(kCompBinaire, "%s : usNumFichierBinaire = %d", nom, static_cast<int>(usNumFichierBinaire));
  const uint16_t usResultat = corps();
  MCT_SORTIE(kCompBinaire, "%s : Code retour = 0x%04x", nom, static_cast<unsigned>(usResultat));
  return usResultat;
}

}  // namespace mc

#endif  // MC_BINFILE_TRACE_BINAIRE_H
