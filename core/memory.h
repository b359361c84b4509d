// Internal hooks of the counted allocator.  Not exported from libmc.so: the
// tests reach them through the static archive.
#ifndef MC_CORE_MEMORY_H
#define MC_CORE_MEMORY_H

namespace mc::testing {

// Makes the nth call of MC_Allouer from now fail (1 = the next one), as if
// the system had refused the block; with persistent, every later call fails
// too.  0 switches the injection off.  Lets tests reach every
// allocation-failure path.
void FaireEchouerAllocation(unsigned long n, bool persistent = false) noexcept;

// Number of MC_Allouer calls since load; lets a test count the allocations of
// an operation and then fail each of them in turn.
unsigned long NombreAllocations() noexcept;

}  // namespace mc::testing

#endif  // MC_CORE_MEMORY_H
