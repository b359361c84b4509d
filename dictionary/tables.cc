// The dictionary's process-wide state: the arrays of groups, fields and value
// texts with their counts, and the bounded look-ups over them.
#include <new>
#include <vector>

#include "dictionary/dictionary.h"

extern "C" {
MC_EXPORT TGROUPE *g_stTabGrp = nullptr;
MC_EXPORT TCHAMP *g_stTabChp = nullptr;
MC_EXPORT char **g_cTabVal = nullptr;
MC_EXPORT uint32_t g_ulNbTabGrp = 0;
MC_EXPORT uint32_t g_ulNbTabChp = 0;
MC_EXPORT uint32_t g_ulNbTabVal = 0;
MC_EXPORT uint32_t g_ulIndTabGrp = 0;
MC_EXPORT uint32_t g_ulIndTabChp = 0;
MC_EXPORT uint32_t g_ulIndTabVal = 0;
}

namespace {

// Blocks let go of without being freed.  Plain heap: this is bookkeeping of
// our own, not data of the library.
std::vector<void *> *g_abandonnes = nullptr;

}  // namespace

namespace mc::dico {

// A failed load leaves its array null while the count keeps its former
// value: the array decides.
uint32_t NombreGroupes() noexcept { return g_stTabGrp != nullptr ? g_ulNbTabGrp : 0; }
uint32_t NombreChamps() noexcept { return g_stTabChp != nullptr ? g_ulNbTabChp : 0; }
uint32_t NombreValeurs() noexcept { return g_cTabVal != nullptr ? g_ulNbTabVal : 0; }

const TGROUPE *TrouverGroupe(uint16_t usIdGroupe) noexcept {
  const uint32_t n = NombreGroupes();
  for (uint32_t i = 0; i < n; ++i)
    if (g_stTabGrp[i].usIdGroupe == usIdGroupe) return &g_stTabGrp[i];
  return nullptr;
}

const TCHAMP *ChampDuGroupe(const TGROUPE &groupe, uint16_t usRang) noexcept {
  const uint16_t indice = static_cast<uint16_t>(groupe.usIndPremierChamp + usRang);
  return indice < NombreChamps() ? &g_stTabChp[indice] : nullptr;
}

const char *ValeurDuChamp(const TCHAMP &champ, uint16_t usRang) noexcept {
  const uint16_t indice = static_cast<uint16_t>(champ.usIndPremiereValeur + usRang);
  return indice < NombreValeurs() ? g_cTabVal[indice] : nullptr;
}

void Abandonner(void *pvBloc) noexcept {
  if (pvBloc == nullptr) return;
  try {
    if (g_abandonnes == nullptr) g_abandonnes = new std::vector<void *>();
    g_abandonnes->push_back(pvBloc);
  } catch (const std::bad_alloc &) {
    // Only the bookkeeping failed: the block stays counted and allocated.
  }
}

}  // namespace mc::dico
