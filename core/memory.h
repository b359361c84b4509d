// Internal hooks of the counted allocator.  Not exported from libmc.so: the
// tests reach them through the static archive.
#ifndef MC_CORE_MEMORY_H
#define MC_CORE_MEMORY_H

#include <unordered_set>

namespace mc::testing {

// Makes the nth call of MC_Allouer from now fail (1 = the next one), as if
// the system had refused the block; with persistent, every later call fails
// too.  0 switches the injection off.  Lets tests reach every
// allocation-failure path.
void FaireEchouerAllocation(unsigned long n, bool persistent = false) noexcept;

// Number of MC_Allouer calls since load; lets a test count the allocations of
// an operation and then fail each of them in turn.
unsigned long NombreAllocations() noexcept;

// With a registry, every block MC_Allouer hands out from now on is added to
// it and MC_Liberer takes it out again, so the registry ends up holding the
// blocks still held; null switches it off.  Lets the fuzz targets give back
// the blocks the library keeps on purpose (the format check's work blocks,
// the dictionary's value texts) so that long runs stay bounded.
void SuivreBlocs(std::unordered_set<void *> *registre) noexcept;

}  // namespace mc::testing

#endif  // MC_CORE_MEMORY_H
