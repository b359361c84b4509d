// Byte coding of lengths and group headers, and the sizes built on it.
#include "zone/coding.h"

#include <cstdarg>

namespace mc::zone {

uint16_t DecoderLongueurTrace(const unsigned char *buffer, uint32_t taille, uint32_t offset,
                              uint32_t *longueur, uint32_t *nbOctets) noexcept {
  MCT_ENTREE(kCompZone, "MC_stDecoderLongueur : offset = %u", offset);
  uint16_t cr = MC_OK;
  if (offset >= taille) {
    // Nothing to read here: received data whose lengths ran past its end.
    *nbOctets = 0;
    MCT_ERREUR(kCompZone, " Buffer trop petit pour coder la longueur (%u) (tailleBuffer = %u).", 0u, taille);
    cr = MC_ERR_DONNEES;
  } else if (buffer[offset] <= 0x80u) {
    *longueur = buffer[offset];
    *nbOctets = 1;
  } else {
    const uint32_t k = buffer[offset] - 0x80u;
    *nbOctets = k;
    if (k > 4) {
      MCT_ERREUR(kCompZone, " Nombre d'octets pour coder la longueur (%u) > %d.", k, 4);
      cr = MC_ERR_DONNEES;
    } else if (static_cast<uint64_t>(offset) + k >= taille) {
      MCT_ERREUR(kCompZone, " Buffer trop petit pour coder la longueur (%u) (tailleBuffer = %u).", k, taille);
      cr = MC_ERR_DONNEES;
    } else {
      uint32_t valeur = 0;
      for (uint32_t i = 1; i <= k; ++i) valeur = (valeur << 8) | buffer[offset + i];
      *longueur = valeur;
      *nbOctets = k + 1;
    }
  }
  MCT_SORTIE(kCompZone, "cr = 0x%04X", cr);
  return cr;
}

uint16_t DecoderEntete(const unsigned char *buffer, uint32_t taille, uint32_t offset, uint16_t *identifiant,
                       uint32_t *longueur, uint32_t *tailleEntete) noexcept {
  if (static_cast<uint64_t>(offset) + 2 >= taille) {
    MCT_ERREUR(kCompZone, "Buffer trop petit pour coder l'identifiant (tailleBuffer = %u).", taille);
    return MC_ERR_DONNEES;
  }
  *identifiant = static_cast<uint16_t>(buffer[offset] << 8 | buffer[offset + 1]);
  const uint16_t cr = DecoderLongueur(buffer, taille, offset + 2, longueur, tailleEntete);
  *tailleEntete += 2;
  return cr;
}

uint32_t CoderLongueur(uint32_t longueur, uint32_t offset, unsigned char *buffer) noexcept {
  MCT_ENTREE(kCompZone, "MC_stCoderLongueur : longueur = %u, offset = %u", longueur, offset);
  const uint32_t nbOctets = TailleLongueur(longueur);
  unsigned char *p = buffer + offset;
  if (nbOctets == 1) {
    p[0] = static_cast<unsigned char>(longueur);
  } else {
    const uint32_t k = nbOctets - 1;
    p[0] = static_cast<unsigned char>(0x80u + k);
    for (uint32_t i = 0; i < k; ++i) p[1 + i] = static_cast<unsigned char>(longueur >> (8 * (k - 1 - i)));
  }
  MCT_SORTIE(kCompZone, "nbOctets = %u", nbOctets);
  return nbOctets;
}

uint32_t CoderEntete(uint16_t identifiant, uint32_t longueur, uint32_t offset, unsigned char *buffer) noexcept {
  MCT_ENTREE(kCompZone, "MC_stCoderEnteteGroupe : identifiant = %u, longueur = %u, offset = %u", identifiant,
             longueur, offset);
  buffer[offset] = static_cast<unsigned char>(identifiant >> 8);
  buffer[offset + 1] = static_cast<unsigned char>(identifiant);
  const uint32_t nbOctets = 2 + CoderLongueur(longueur, offset + 2, buffer);
  MCT_SORTIE(kCompZone, "nbOctets = %u", nbOctets);
  return nbOctets;
}

}  // namespace mc::zone

namespace {

// A group's whole size from its content length: past 16777214 the header is
// always 7 bytes.
inline uint32_t TailleGroupe(uint32_t contenu) {
  return contenu + 2 + mc::zone::TailleLongueur(contenu);
}

}  // namespace

extern "C" {

MC_EXPORT uint32_t MC_stCalculerTailleLongueur(uint32_t ulLongueur) noexcept {
  return mc::zone::TailleLongueur(ulLongueur);
}

MC_EXPORT uint32_t MC_stCoderLongueur(uint32_t ulLongueur, uint32_t ulOffset, unsigned char **ppucBuffer) noexcept {
  if (ppucBuffer == nullptr || *ppucBuffer == nullptr) return 0;
  return mc::zone::CoderLongueur(ulLongueur, ulOffset, *ppucBuffer);
}

MC_EXPORT uint16_t MC_stDecoderLongueur(const unsigned char *pucBuffer, uint32_t ulTailleBuffer, uint32_t ulOffset,
                                        uint32_t *pulLongueur, uint32_t *pulNbOctets) noexcept {
  if (pucBuffer == nullptr || pulLongueur == nullptr || pulNbOctets == nullptr) return MC_ERR_ARGUMENT;
  return mc::zone::DecoderLongueurTrace(pucBuffer, ulTailleBuffer, ulOffset, pulLongueur, pulNbOctets);
}

MC_EXPORT uint32_t MC_stCalculerTailleChamp(uint32_t ulLongueur) noexcept {
  return ulLongueur + mc::zone::TailleLongueur(ulLongueur);
}

MC_EXPORT uint32_t MC_stCalculerTailleEnteteGroupe(uint32_t ulLongueur) noexcept {
  return 2 + mc::zone::TailleLongueur(ulLongueur);
}

MC_EXPORT uint32_t MC_stCoderEnteteGroupe(uint16_t usIdentifiant, uint32_t ulLongueur, uint32_t ulOffset,
                                          unsigned char **ppucBuffer) noexcept {
  if (ppucBuffer == nullptr || *ppucBuffer == nullptr) return 0;
  return mc::zone::CoderEntete(usIdentifiant, ulLongueur, ulOffset, *ppucBuffer);
}

MC_EXPORT uint16_t MC_usDecoderEnteteGroupe(const unsigned char *pucBuffer, uint32_t ulTailleBuffer,
                                            uint32_t ulOffset, uint16_t *pusIdentifiant, uint32_t *pulLongueur,
                                            uint32_t *pulTailleEntete) noexcept {
  if (pucBuffer == nullptr || pusIdentifiant == nullptr || pulLongueur == nullptr || pulTailleEntete == nullptr)
    return MC_ERR_ARGUMENT;
  return mc::zone::DecoderEntete(pucBuffer, ulTailleBuffer, ulOffset, pusIdentifiant, pulLongueur,
                                 pulTailleEntete);
}

MC_EXPORT uint32_t MC_stCalculerTailleGroupe1(uint32_t ulNombreChamps, ...) noexcept {
  va_list champs;
  va_start(champs, ulNombreChamps);
  uint32_t contenu = 0;
  for (uint32_t i = 0; i < ulNombreChamps; ++i) contenu += MC_stCalculerTailleChamp(va_arg(champs, uint32_t));
  va_end(champs);
  return TailleGroupe(contenu);
}

MC_EXPORT uint32_t MC_stCalculerTailleGroupe2(uint32_t ulLongueur) noexcept { return TailleGroupe(ulLongueur); }

}  // extern "C"
