// The zone table ZM: finding a free number, making zones over new or given
// buffers, freeing them, and handing out the buffer.
#include "zone/table.h"

#include <cstring>

#include "trace/trace.h"

extern "C" {
MC_EXPORT ZoneMemoire *ZM[MC_NB_ZONES_MAX] = {};
}

namespace mc::zone {

bool NumeroLibre(uint16_t *numero) noexcept {
  for (uint16_t i = 0; i < MC_NB_ZONES_MAX; ++i) {
    if (ZM[i] == nullptr) {
      *numero = i;
      return true;
    }
  }
  return false;
}

}  // namespace mc::zone

namespace {

using mc::kCompZone;

// Takes the lowest free number with a zeroed record over `buffer`.
uint16_t Enregistrer(unsigned char *buffer, uint32_t tailleBuffer, uint32_t tailleDonnees, uint32_t structuree,
                     uint16_t *numero) {
  uint16_t libre = 0;
  if (!mc::zone::NumeroLibre(&libre)) return MC_ERR_ALLOCATION;
  auto *z = static_cast<ZoneMemoire *>(MC_Allouer(sizeof(ZoneMemoire)));
  if (z == nullptr) return MC_ERR_ALLOCATION;
  std::memset(z, 0, sizeof *z);
  z->Buffer = buffer;
  z->TailleBuffer = tailleBuffer;
  z->TailleDonnees = tailleDonnees;
  z->Structuree = structuree;
  ZM[libre] = z;
  *numero = libre;
  return structuree != 0 ? MC_usPositionnerDebut(libre) : MC_OK;
}

uint16_t Initialiser(unsigned char *buffer, uint32_t tailleBuffer, uint32_t tailleDonnees, uint16_t *numero,
                     uint32_t structuree) {
  MCT_ENTREE(kCompZone, "MC_usInitZoneMemoire : buffer = 0x%p, taille = %u", static_cast<void *>(buffer),
             tailleBuffer);
  uint16_t cr = MC_ERR_ARGUMENT;
  if (buffer != nullptr && tailleBuffer != 0 && numero != nullptr)
    cr = Enregistrer(buffer, tailleBuffer, tailleDonnees, structuree, numero);
  MCT_SORTIE(kCompZone, "cr = 0x%04X", cr);
  return cr;
}

}  // namespace

extern "C" {

MC_EXPORT int32_t MC_bRechercherZoneLibre(uint16_t *pusNumZone) noexcept {
  MCT_ENTREE(kCompZone, "MC_bRechercherZoneLibre");
  uint16_t numero = 0;
  const int32_t trouve = pusNumZone != nullptr && mc::zone::NumeroLibre(&numero) ? 1 : 0;
  if (trouve) *pusNumZone = numero;
  MCT_INFO(kCompZone, "bResultat = 0x%04x", trouve);
  MCT_SORTIE(kCompZone, "MC_bRechercherZoneLibre");
  return trouve;
}

MC_EXPORT uint16_t MC_usCreerZoneMemoire(uint32_t ulTaille, uint32_t ulStructuree, uint16_t *pusNumZone) noexcept {
  MCT_ENTREE(kCompZone, "MC_usCreationZoneMemoire : taille = %u", ulTaille);
  if (pusNumZone == nullptr) {
    MCT_SORTIE(kCompZone, "cr = 0x%04X", MC_ERR_ARGUMENT);
    return MC_ERR_ARGUMENT;
  }
  // Kept for compatibility: the exit line shows 0 on both failure paths,
  // though 0xF801 is returned.
  uint16_t numero = 0;
  if (!mc::zone::NumeroLibre(&numero)) {
    MCT_SORTIE(kCompZone, "cr = 0x%04X", 0);
    return MC_ERR_ALLOCATION;
  }
  auto *z = static_cast<ZoneMemoire *>(MC_Allouer(sizeof(ZoneMemoire)));
  if (z == nullptr) {
    MCT_SORTIE(kCompZone, "cr = 0x%04X", 0);
    return MC_ERR_ALLOCATION;
  }
  std::memset(z, 0, sizeof *z);
  z->Structuree = ulStructuree;
  ZM[numero] = z;
  *pusNumZone = numero;
  const uint32_t taille = ulTaille == 0 ? 1 : ulTaille;
  z->Buffer = static_cast<unsigned char *>(MC_Allouer(taille));
  if (z->Buffer == nullptr) {
    // The record keeps its number with a null buffer of size 0: every later
    // operation sees an empty zone, and a resize gives it a buffer.
    MCT_SORTIE(kCompZone, "cr = 0x%04X", 0);
    return MC_ERR_ALLOCATION;
  }
  std::memset(z->Buffer, 0, taille);
  z->TailleBuffer = taille;
  if (ulStructuree != 0) MC_usPositionnerDebut(numero);
  MCT_SORTIE(kCompZone, "cr = 0x%04X", MC_OK);
  return MC_OK;
}

MC_EXPORT uint16_t MC_usInitialiserZoneMemoire(unsigned char *pucBuffer, uint32_t ulTaille, uint16_t *pusNumZone,
                                               uint32_t ulStructuree) noexcept {
  return Initialiser(pucBuffer, ulTaille, ulTaille, pusNumZone, ulStructuree);
}

MC_EXPORT uint16_t MC_usInitialiserZoneMemoireNonPlein(unsigned char *pucBuffer, uint32_t ulTailleBuffer,
                                                       uint32_t ulTailleDonnees, uint16_t *pusNumZone,
                                                       uint32_t ulStructuree) noexcept {
  // The data length is taken as given; reads stop at the buffer's size anyway.
  return Initialiser(pucBuffer, ulTailleBuffer, ulTailleDonnees, pusNumZone, ulStructuree);
}

MC_EXPORT uint16_t MC_usLibererZoneMemoire(uint16_t usNumZone) noexcept {
  uint16_t cr;
  if (mc::zone::ControlerZone(usNumZone, mc::zone::Genre::kQuelconque, &cr) == nullptr) return cr;
  MCT_ENTREE(kCompZone, "MC_usLibererZoneMemoire : numero de zone = %u", usNumZone);
  // Only the record: the buffer stays with whoever provided it.
  MC_Liberer(ZM[usNumZone]);
  ZM[usNumZone] = nullptr;
  MCT_SORTIE(kCompZone, "cr = 0x%04X", MC_OK);
  return MC_OK;
}

MC_EXPORT uint16_t MC_pucLireBuffer(uint16_t usNumZone, uint32_t *pulTaille, unsigned char **ppucBuffer) noexcept {
  uint16_t cr;
  ZoneMemoire *z = mc::zone::ControlerZone(usNumZone, mc::zone::Genre::kQuelconque, &cr);
  if (z == nullptr) return cr;
  MCT_ENTREE(kCompZone, "MC_pucLireBuffer : numero de zone = %u, taille = %u", usNumZone, z->TailleDonnees);
  if (pulTaille == nullptr || ppucBuffer == nullptr) {
    cr = MC_ERR_ARGUMENT;
  } else {
    *pulTaille = z->TailleDonnees;
    *ppucBuffer = z->Buffer;
  }
  MCT_SORTIE(kCompZone, "cr = 0x%04X", cr);
  return cr;
}

}  // extern "C"
