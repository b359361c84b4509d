// Internal side of the trace log: the call-site guard every part of the
// library uses, and the component numbers of the library's own channels.
#ifndef MC_TRACE_TRACE_H
#define MC_TRACE_TRACE_H

#include "mc.h"

namespace mc {

// The library always traces as module 1, with one component per subsystem.
inline constexpr uint16_t kModuleCommun = 1;
enum Composant : uint16_t {
  kCompSyntaxe = 1,  // zone syntax check
  kCompFormat = 2,   // zone format check
  kCompZone = 3,     // memory zones
  kCompFichier = 4,  // working directory, file helpers, version records
  kCompNoyau = 5,    // configuration wrappers, start and stop, counted memory
  kCompOutils = 6,   // date and string tools
  kCompBinaire = 7,  // dictionary, binary files and signatures
};

}  // namespace mc

// Every trace inside the library goes through this guard: with no trace file
// open it costs one load and one predictable branch, before any argument is
// evaluated or the variadic writer is entered.
#define MC_TRACE(comp, kind, ...)                                         \
  do {                                                                    \
    if (__builtin_expect(fichier != nullptr, 0))                          \
      MC_TraceEcrire(::mc::kModuleCommun, (comp), (kind), __VA_ARGS__);   \
  } while (0)

#define MCT_ENTREE(comp, ...) MC_TRACE(comp, MC_TRACE_ENTREE, __VA_ARGS__)
#define MCT_SORTIE(comp, ...) MC_TRACE(comp, MC_TRACE_SORTIE, __VA_ARGS__)
#define MCT_INFO(comp, ...) MC_TRACE(comp, MC_TRACE_INFO, __VA_ARGS__)
#define MCT_ERREUR(comp, ...) MC_TRACE(comp, MC_TRACE_ERREUR, __VA_ARGS__)

#define MCT_BINAIRE(comp, label, bytes, count)                      \
  do {                                                                    \
    if (__builtin_expect(fichier != nullptr, 0))                          \
      MC_TraceEcrireBinaire(::mc::kModuleCommun, (comp), (label), (bytes), (count)); \
  } while (0)

#endif  // MC_TRACE_TRACE_H
