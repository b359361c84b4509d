// Counted memory: every block the library keeps or hands out is taken here,
// so that the totals (and the trace) show leaks and peaks.
#include <malloc.h>

#include <cstdlib>

#include "core/memory.h"
#include "trace/trace.h"

extern "C" {
MC_EXPORT uint32_t ulMemAllouee = 0;
MC_EXPORT uint32_t ulMaxAlloue = 0;
}

namespace {

// Failure injection for the tests: a countdown, zero when off, so normal use
// pays one predictable branch.
unsigned long g_echecDans = 0;
bool g_echecPersistant = false;
unsigned long g_nombreAllocations = 0;

inline bool EchecInjecte() {
  if (__builtin_expect(g_echecDans == 0, 1)) return false;
  if (--g_echecDans == 0) {
    if (g_echecPersistant) g_echecDans = 1;
    return true;
  }
  return false;
}

// The real size of a block, the same measure on allocation and release so
// that the total comes back to its former value.
inline uint32_t TailleReelle(void *bloc) {
  return bloc == nullptr ? 0u : static_cast<uint32_t>(malloc_usable_size(bloc));
}

}  // namespace

namespace mc::testing {

void FaireEchouerAllocation(unsigned long n, bool persistent) noexcept {
  g_echecDans = n;
  g_echecPersistant = persistent;
}

unsigned long NombreAllocations() noexcept { return g_nombreAllocations; }

}  // namespace mc::testing

extern "C" {

MC_EXPORT void *MC_Allouer(uint32_t ulTaille) noexcept {
  ++g_nombreAllocations;
  void *bloc = EchecInjecte() ? nullptr : malloc(ulTaille);
  const uint32_t reelle = TailleReelle(bloc);
  MCT_ENTREE(mc::kCompNoyau, "Allocation de %u (%u) a l'adresse %p", ulTaille, reelle, bloc);
  if (bloc == nullptr) MCT_ERREUR(mc::kCompNoyau, "MC_Allouer memoire insuffisante");
  ulMemAllouee += reelle;
  if (ulMemAllouee > ulMaxAlloue) ulMaxAlloue = ulMemAllouee;
  MCT_SORTIE(mc::kCompNoyau, "Taille Memoire cumulee = %lu", static_cast<unsigned long>(ulMemAllouee));
  return bloc;
}

MC_EXPORT void MC_Liberer(void *pvBloc) noexcept {
  if (pvBloc == nullptr) return;
  const uint32_t reelle = TailleReelle(pvBloc);
  ulMemAllouee -= reelle;
  MCT_ENTREE(mc::kCompNoyau, "Liberation de %u octets a l'adresse %p", reelle, pvBloc);
  // Kept for compatibility: the release line carries a tab, the allocation
  // line does not.
  MCT_SORTIE(mc::kCompNoyau, "Taille Memoire cumulee = \t%lu", static_cast<unsigned long>(ulMemAllouee));
  free(pvBloc);
}

}  // extern "C"
