// Zone editing under a stream of operations decoded from the input (add
// group, add field, change field with and without growth, advances,
// searches, resize, moves to the start and end), applied to one structured
// zone and, side by side, to a model written from the zone rules alone.
// After every step the zone's record, its data bytes and the results must
// equal the model's.  The model knows the quirks kept on purpose: a field
// whose coded length grows keeps its old data unshifted, and a header that
// grows with it may overwrite the bytes after the field.
#include <algorithm>
#include <vector>

#include "fuzz_support.h"

namespace {

using mc::fuzz::Flux;

constexpr uint32_t kTailleMax = 1u << 18;  // bounds the buffer, hence each step's cost

uint32_t TailleCodage(uint64_t l) {
  return l <= 0x7F ? 1 : l <= 0xFE ? 2 : l <= 0xFFFE ? 3 : l <= 0xFFFFFE ? 4 : 5;
}

// Bytes written into fields come from this fixed pattern.
const std::vector<uint8_t> &Motif() {
  static const std::vector<uint8_t> motif = [] {
    std::vector<uint8_t> m(70000 + 256);
    uint32_t x = 0x12345678;
    for (auto &o : m) {
      x = x * 1103515245u + 12345u;
      o = static_cast<uint8_t>(x >> 16);
    }
    return m;
  }();
  return motif;
}

// The zone as the rules say it must be.  Bytes never written (a resized
// buffer's tail) are unknown: the first read takes them from the zone.
class Modele {
 public:
  void Creer(uint32_t taille, const ZoneMemoire *zone) {
    zone_ = zone;
    tb = taille == 0 ? 1 : taille;
    octets.assign(tb, 0);
    connu.assign(tb, 1);
    td = 0;
    Debut();
  }

  // --- state, named after the zone record ---------------------------------
  std::vector<uint8_t> octets, connu;
  uint32_t tb = 0, td = 0;
  uint32_t oc = 0, og = 0, tlc = 0, lc = 0, lg = 0, teg = 0;
  uint16_t id = 0, num = 0, cg = 0, cc = 0;

  uint8_t Octet(uint64_t i) {
    if (!connu[i]) {
      octets[i] = zone_->Buffer[i];
      connu[i] = 1;
    }
    return octets[i];
  }
  void Ecrire(uint64_t i, uint8_t v) {
    octets[i] = v;
    connu[i] = 1;
  }
  void Deplacer(uint64_t a, uint64_t n, uint64_t k) {
    if (n == 0) return;
    std::copy_backward(octets.begin() + a, octets.begin() + a + n, octets.begin() + a + n + k);
    std::copy_backward(connu.begin() + a, connu.begin() + a + n, connu.begin() + a + n + k);
  }
  uint32_t Coder(uint32_t l, uint64_t o) {
    const uint32_t n = TailleCodage(l);
    if (n == 1) {
      Ecrire(o, static_cast<uint8_t>(l));
    } else {
      Ecrire(o, static_cast<uint8_t>(0x80 + n - 1));
      for (uint32_t i = 1; i < n; ++i) Ecrire(o + i, static_cast<uint8_t>(l >> (8 * (n - 1 - i))));
    }
    return n;
  }

  uint64_t FinGroupe() const { return uint64_t{og} + teg + lg; }
  uint64_t FinChamp() const { return uint64_t{oc} + tlc + lc; }
  uint32_t FinDonnees() const { return std::min(td, tb); }
  void Debut() { oc = og = tlc = lc = lg = teg = id = num = cg = cc = 0; }

  // Lengths: 0x00..0x80 alone, 0x81..0x84 then 1..4 bytes, never reading at
  // or past `taille`.
  uint16_t DecoderLongueur(uint32_t taille, uint64_t o, uint32_t *l, uint32_t *n) {
    if (o >= taille) return MC_ERR_DONNEES;
    const uint8_t b = Octet(o);
    if (b <= 0x80) {
      *l = b;
      *n = 1;
      return MC_OK;
    }
    const uint32_t k = b - 0x80u;
    if (k > 4 || o + k >= taille) return MC_ERR_DONNEES;
    uint32_t v = 0;
    for (uint32_t i = 1; i <= k; ++i) v = v << 8 | Octet(o + i);
    *l = v;
    *n = k + 1;
    return MC_OK;
  }

  uint16_t UnChamp(uint32_t *longueur) {
    const uint64_t fin = FinChamp();
    if (fin >= FinGroupe()) return MC_ERR_NON_TROUVE;
    const uint32_t fd = FinDonnees();
    const uint64_t o = std::min<uint64_t>(fin, fd);
    uint32_t l = 0, n = 0;
    if (DecoderLongueur(fd, o, &l, &n) != MC_OK) return MC_ERR_DONNEES;
    *longueur = l;
    oc = static_cast<uint32_t>(o);
    ++num;
    ++cc;
    lc = l;
    tlc = n;
    if (FinChamp() > FinGroupe()) return MC_ERR_NON_TROUVE;
    if (FinChamp() > fd) return MC_ERR_DONNEES;
    return MC_OK;
  }

  uint16_t UnGroupe(uint32_t parcours, uint16_t *ident) {
    const uint32_t fd = FinDonnees();
    const uint64_t fin = FinGroupe();
    if (fin >= fd) return MC_ERR_NON_TROUVE;
    if (parcours != 0) {
      uint32_t l;
      while (FinChamp() < FinGroupe() && UnChamp(&l) == MC_OK) {
      }
    }
    if (fin + 2 >= fd) return MC_ERR_DONNEES;
    const auto i = static_cast<uint16_t>(Octet(fin) << 8 | Octet(fin + 1));
    uint32_t l = 0, n = 0;
    if (DecoderLongueur(fd, fin + 2, &l, &n) != MC_OK) return MC_ERR_DONNEES;
    og = static_cast<uint32_t>(fin);
    ++cg;
    id = i;
    lg = l;
    teg = n + 2;
    oc = og + teg;
    num = 0;
    lc = tlc = 0;
    if (FinGroupe() > fd) return MC_ERR_DONNEES;
    *ident = i;
    return MC_OK;
  }

  uint16_t AvancerGroupes(uint16_t nombre, uint32_t parcours, uint16_t *ident) {
    uint16_t cr = MC_OK;
    for (unsigned i = 0; i < (nombre == 0 ? 1u : nombre) && cr == MC_OK; ++i) cr = UnGroupe(parcours, ident);
    return cr;
  }
  uint16_t AvancerChamps(uint16_t nombre, uint32_t *longueur) {
    uint16_t cr = MC_OK;
    for (unsigned i = 0; i < (nombre == 0 ? 1u : nombre) && cr == MC_OK; ++i) cr = UnChamp(longueur);
    return cr;
  }

  // The occurrence-th group `ident` after the current one; identifier 0 is
  // found where the cursor stands.
  uint16_t RechercherSuivant(uint16_t ident, uint16_t occurrence, uint32_t parcours) {
    const unsigned n = ident == 0 ? 0u : occurrence == 0 ? 1u : occurrence;
    uint16_t cr = MC_OK;
    for (unsigned k = 1; k <= n && cr == MC_OK; ++k) {
      uint16_t trouve = 0;
      while (trouve != ident) {
        cr = UnGroupe(parcours, &trouve);
        if (cr == MC_ERR_NON_TROUVE && k >= 2) cr = MC_ERR_OCCURRENCE;
        if (cr != MC_OK) break;
      }
    }
    return cr;
  }
  uint16_t Rechercher(uint16_t ident, uint16_t occurrence, uint32_t parcours) {
    if (occurrence == 0) return MC_ERR_ARGUMENT;
    Debut();
    return RechercherSuivant(ident, occurrence, parcours);
  }

  uint16_t LireGroupeSuivant(uint32_t parcours, uint16_t *ident, uint16_t *occurrence) {
    const uint32_t fd = FinDonnees();
    const uint64_t suivant = FinGroupe();
    if (suivant >= fd) return MC_ERR_NON_TROUVE;
    if (suivant + 2 >= fd) return MC_ERR_DONNEES;
    const auto i = static_cast<uint16_t>(Octet(suivant) << 8 | Octet(suivant + 1));
    uint32_t l, n;
    if (DecoderLongueur(fd, suivant + 2, &l, &n) != MC_OK) return MC_ERR_DONNEES;
    Debut();
    uint16_t occ = 1;
    uint16_t cr = MC_OK;
    while (suivant > og && cr == MC_OK) {
      cr = Rechercher(i, occ, parcours);
      ++occ;
    }
    *ident = i;
    *occurrence = static_cast<uint16_t>(occ - 1);
    return MC_OK;
  }

  void PositionnerFin(uint32_t parcours) {
    uint16_t cr = MC_OK, i;
    for (bool premier = true; cr == MC_OK; premier = false) {
      if ((premier ? FinGroupe() : FinChamp()) >= FinDonnees()) break;
      cr = UnGroupe(parcours, &i);
    }
    uint32_t l;
    cr = MC_OK;
    while (cr == MC_OK && FinChamp() < FinGroupe()) cr = UnChamp(&l);
  }

  uint16_t AjouterGroupe(uint16_t ident) {
    if (uint64_t{td} + 3 > tb) return MC_ERR_DEPASSEMENT;
    const uint64_t p = FinGroupe();
    if (p > td) return MC_ERR_DONNEES;
    if (p < td) Deplacer(p, td - p, 3);
    og = static_cast<uint32_t>(p);
    id = ident;
    lg = 0;
    Ecrire(p, static_cast<uint8_t>(ident >> 8));
    Ecrire(p + 1, static_cast<uint8_t>(ident));
    Ecrire(p + 2, 0);
    teg = 3;
    ++cg;
    num = 0;
    oc = og + 3;
    lc = tlc = 0;
    td += 3;
    return MC_OK;
  }

  uint16_t AjouterChamp(const uint8_t *donnees, uint32_t n) {
    if (id == 0) return MC_ERR_NON_TROUVE;
    const uint64_t s = uint64_t{n} + TailleCodage(n);
    const uint64_t gl = uint64_t{lg} + s;
    const uint64_t dg = TailleCodage(gl) - TailleCodage(lg);
    if (td + s + dg > tb) return MC_ERR_DEPASSEMENT;
    const uint64_t p = FinChamp();
    if (p > td || gl > UINT32_MAX) return MC_ERR_DONNEES;
    oc = static_cast<uint32_t>(p);
    if (p < td) Deplacer(p, td - p, s + dg);
    if (dg != 0) {
      Deplacer(uint64_t{og} + teg, p - og - teg, dg);
      teg += static_cast<uint32_t>(dg);
      oc += static_cast<uint32_t>(dg);
    }
    lg = static_cast<uint32_t>(gl);
    Coder(lg, og + 2);
    ++cc;
    ++num;
    lc = n;
    tlc = Coder(n, oc);
    for (uint32_t i = 0; i < n; ++i) Ecrire(uint64_t{oc} + tlc + i, donnees[i]);
    td += static_cast<uint32_t>(s + dg);
    return MC_OK;
  }

  uint16_t ModifierChamp(const uint8_t *donnees, uint32_t pos, uint32_t n, uint32_t agrandir) {
    if (num == 0) return MC_ERR_NON_TROUVE;
    const uint64_t l = lc;
    if (pos > l) return MC_ERR_HORS_CHAMP;
    if (FinChamp() > FinDonnees()) return MC_ERR_DONNEES;
    const uint64_t nn = uint64_t{pos} + n;
    const uint64_t debut = uint64_t{oc} + tlc;
    if (nn <= l) {
      for (uint32_t i = 0; i < n; ++i) Ecrire(debut + pos + i, donnees[i]);
      return MC_OK;
    }
    if (agrandir == 0) return MC_ERR_HORS_CHAMP;
    const uint64_t f = oc, h = tlc, g = og, gh = teg, d = td;
    const uint64_t dh = TailleCodage(nn) - TailleCodage(l);
    const uint64_t df = (nn + TailleCodage(nn)) - (l + TailleCodage(l));
    const uint64_t gl = uint64_t{lg} + df;
    const uint64_t dg = TailleCodage(gl) - TailleCodage(lg);
    // Room for the result and for every write on the way, the header move
    // reaching past the field's new end included.
    const uint64_t finMax = std::max({dg + d + df, dg != 0 ? f + dh + df + dg : 0, f + dg + TailleCodage(nn) + nn});
    if (finMax > tb || gl > UINT32_MAX) return MC_ERR_DEPASSEMENT;
    // The two moves, with the byte counts the rules give.
    if (d > f) {
      const uint64_t source = f + h + l, cible = f + dg + h + dh + nn;
      const uint64_t compte = d - f - h - l;
      std::vector<uint8_t> v(octets.begin() + source, octets.begin() + source + compte);
      std::vector<uint8_t> c(connu.begin() + source, connu.begin() + source + compte);
      std::copy(v.begin(), v.end(), octets.begin() + cible);
      std::copy(c.begin(), c.end(), connu.begin() + cible);
    }
    if (dg != 0) {
      Deplacer(g + gh, f - g - gh + dh + df, dg);
      teg += static_cast<uint32_t>(dg);
      oc += static_cast<uint32_t>(dg);
    }
    lg = static_cast<uint32_t>(gl);
    Coder(lg, g + 2);
    lc = static_cast<uint32_t>(nn);
    tlc = Coder(lc, oc);
    for (uint32_t i = 0; i < n; ++i) Ecrire(uint64_t{oc} + tlc + pos + i, donnees[i]);
    td += static_cast<uint32_t>(df + dg);
    return MC_OK;
  }

  uint16_t Redimensionner(uint32_t taille) {
    if (taille < tb) return MC_ERR_ALLOCATION;
    octets.resize(taille);
    connu.resize(taille);
    // The new buffer holds the data; what lies beyond is whatever the
    // allocator gave.
    std::fill(connu.begin() + td, connu.end(), 0);
    tb = taille;
    return MC_OK;
  }

 private:
  const ZoneMemoire *zone_ = nullptr;
};

void Comparer(const Modele &m, uint16_t numero, unsigned etape, uint16_t crZone, uint16_t crModele) {
  MC_FUZZ_CHECK(crZone == crModele, "step %u: status 0x%04X, model 0x%04X", etape, crZone, crModele);
  const ZoneMemoire *z = ZM[numero];
  MC_FUZZ_CHECK(z != nullptr, "step %u: zone gone", etape);
  MC_FUZZ_CHECK(z->TailleBuffer == m.tb && z->TailleDonnees == m.td, "step %u: sizes %u/%u, model %u/%u", etape,
                z->TailleBuffer, z->TailleDonnees, m.tb, m.td);
  MC_FUZZ_CHECK(z->OffsetChamp == m.oc && z->OffsetGroupe == m.og && z->TailleLongueurChamp == m.tlc &&
                    z->LongueurChamp == m.lc && z->LongueurGroupe == m.lg && z->TailleEnteteGroupe == m.teg,
                "step %u: cursor oc %u og %u tlc %u lc %u lg %u teg %u, model %u %u %u %u %u %u", etape,
                z->OffsetChamp, z->OffsetGroupe, z->TailleLongueurChamp, z->LongueurChamp, z->LongueurGroupe,
                z->TailleEnteteGroupe, m.oc, m.og, m.tlc, m.lc, m.lg, m.teg);
  MC_FUZZ_CHECK(z->IdGroupe == m.id && z->NumeroChamp == m.num && z->CompteurGroupe == m.cg &&
                    z->CompteurChamp == m.cc,
                "step %u: id %u num %u counters %u/%u, model %u %u %u/%u", etape, z->IdGroupe, z->NumeroChamp,
                z->CompteurGroupe, z->CompteurChamp, m.id, m.num, m.cg, m.cc);
  for (uint32_t i = 0; i < m.td; ++i)
    MC_FUZZ_CHECK(!m.connu[i] || z->Buffer[i] == m.octets[i], "step %u: byte %u is %02X, model %02X", etape, i,
                  z->Buffer[i], m.octets[i]);
}

// A field length: every coding boundary is a few bytes of input away.
uint32_t Longueur(Flux &f) {
  const uint8_t b = f.Octet();
  if (b < 200) return b % 140u;
  if (b < 250) return 240u + (b - 200u);
  if (b < 255) return 65530u + (b - 250u);
  return f.Mot();
}

uint16_t Identifiant(Flux &f) {
  const uint8_t b = f.Octet();
  return b < 0xF0 ? static_cast<uint16_t>(b & 3) : f.Mot();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  mc::fuzz::RepertoirePrive();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Flux f(data, size);
  const uint32_t avant = ulMemAllouee;
  const uint32_t tailleInitiale = f.Octet() * 4u;
  uint16_t numero = 0;
  MC_FUZZ_CHECK(MC_usCreerZoneMemoire(tailleInitiale, 1, &numero) == MC_OK, "zone not created");
  Modele m;
  m.Creer(tailleInitiale, ZM[numero]);
  Comparer(m, numero, 0, MC_OK, MC_OK);

  const uint8_t *motif = Motif().data();
  for (unsigned etape = 1; !f.Vide() && etape <= 2000; ++etape) {
    const uint8_t op = f.Octet() % 16;
    const uint32_t parcours = op & 1;
    uint16_t crZ = MC_OK, crM = MC_OK;
    switch (op) {
      case 0: {
        const uint16_t ident = Identifiant(f);
        crZ = MC_usAjouterGroupe(numero, ident);
        crM = m.AjouterGroupe(ident);
        break;
      }
      case 1: {
        const uint32_t n = Longueur(f);
        const uint8_t *source = motif + f.Octet();
        crZ = MC_usAjouterChamp(numero, n == 0 && (etape & 1) ? nullptr : source, n);
        crM = m.AjouterChamp(source, n);
        break;
      }
      case 2:
      case 3: {
        // Overwrite (op 2, growth refused) or lengthen (op 3).
        const uint32_t pos = f.Octet() % 132u;
        const uint32_t n = Longueur(f);
        const uint8_t *source = motif + f.Octet();
        const uint32_t agrandir = op == 3 ? 1u + f.Octet() : 0u;
        crZ = MC_usModifierChamp(numero, source, pos, n, agrandir);
        crM = m.ModifierChamp(source, pos, n, agrandir);
        break;
      }
      case 4:
      case 5: {
        const uint16_t nombre = f.Octet() % 4;
        uint16_t idZ = 0xFFFF, idM = 0xFFFF;
        crZ = MC_usAvancerGroupeSuivant(numero, nombre, parcours, &idZ);
        crM = m.AvancerGroupes(nombre, parcours, &idM);
        if (crM == MC_OK) MC_FUZZ_CHECK(idZ == idM, "step %u: group %u, model %u", etape, idZ, idM);
        break;
      }
      case 6: {
        const uint16_t nombre = f.Octet() % 4;
        uint16_t numZ = 0;
        unsigned char *donnees = nullptr;
        uint32_t lZ = 0, lM = 0;
        crZ = MC_usAvancerChampSuivant(numero, nombre, &numZ, &donnees, &lZ);
        crM = m.AvancerChamps(nombre, &lM);
        if (crM == MC_OK) {
          MC_FUZZ_CHECK(numZ == m.num && lZ == lM, "step %u: field %u/%u, model %u/%u", etape, numZ, lZ, m.num, lM);
          MC_FUZZ_CHECK(donnees == ZM[numero]->Buffer + m.oc + m.tlc, "step %u: field pointer", etape);
        }
        break;
      }
      case 7:
      case 8: {
        const uint16_t ident = Identifiant(f);
        const uint16_t occurrence = f.Octet() % 4;
        if (op == 7) {
          crZ = MC_usRechercherGroupe(numero, ident, occurrence, parcours);
          crM = m.Rechercher(ident, occurrence, parcours);
        } else {
          crZ = MC_usRechercherGroupeSuivant(numero, ident, occurrence, parcours);
          crM = m.RechercherSuivant(ident, occurrence, parcours);
        }
        break;
      }
      case 9: {
        const uint8_t b = f.Octet();
        uint32_t taille = b == 255 ? m.tb - 1 : b == 254 ? m.tb + 70000 : m.tb + b * 16u;
        if (taille > kTailleMax) taille = m.tb;
        crZ = MC_usRedimensionner(numero, taille);
        crM = m.Redimensionner(taille);
        break;
      }
      case 10:
        crZ = MC_usPositionnerDebut(numero);
        m.Debut();
        break;
      case 11: {
        const uint32_t p = f.Octet() & 1;
        crZ = MC_usPositionnerFin(numero, p);
        m.PositionnerFin(p);
        break;
      }
      case 12: {
        uint16_t idZ = 0, occZ = 0, idM = 0, occM = 0;
        crZ = MC_usLireGroupeSuivant(numero, parcours, &idZ, &occZ);
        crM = m.LireGroupeSuivant(parcours, &idM, &occM);
        if (crM == MC_OK)
          MC_FUZZ_CHECK(idZ == idM && occZ == occM, "step %u: next group %u/%u, model %u/%u", etape, idZ, occZ, idM,
                        occM);
        break;
      }
      case 13: {
        const uint16_t ident = Identifiant(f);
        const uint16_t occurrence = f.Octet() % 3;
        const uint16_t champ = f.Octet() % 5;
        unsigned char *donnees = nullptr;
        uint32_t lZ = 0, lM = 0;
        crZ = MC_usRechercherChamp(numero, ident, occurrence, champ, parcours, &donnees, &lZ);
        if (occurrence == 0 || champ == 0) {
          crM = MC_ERR_ARGUMENT;
        } else {
          crM = m.Rechercher(ident, occurrence, parcours);
          if (crM == MC_OK) crM = m.AvancerChamps(champ, &lM);
        }
        if (crM == MC_OK)
          MC_FUZZ_CHECK(lZ == lM && donnees == ZM[numero]->Buffer + m.oc + m.tlc, "step %u: field found", etape);
        break;
      }
      case 14: {
        const uint32_t pos = f.Octet() % 140u, n = f.Octet() % 8u;
        unsigned char *donnees = nullptr;
        crZ = MC_usExtraireChamp(numero, &donnees, pos, n);
        if (m.num == 0)
          crM = MC_ERR_NON_TROUVE;
        else if (uint64_t{pos} + n > m.lc)
          crM = MC_ERR_HORS_CHAMP;
        else if (m.FinChamp() > m.FinDonnees())
          crM = MC_ERR_DONNEES;
        if (crM == MC_OK)
          MC_FUZZ_CHECK(donnees == ZM[numero]->Buffer + m.oc + m.tlc + pos, "step %u: extracted pointer", etape);
        break;
      }
      default: {
        uint32_t finDonnees = 9, finZone = 9, finGroupe = 9;
        uint16_t cg = 0, cc = 0;
        MC_usFinDonnees(numero, &finDonnees);
        MC_usFinZone(numero, &finZone);
        MC_usFinGroupe(numero, &finGroupe);
        MC_usLireCompteurGroupe(numero, &cg);
        MC_usLireCompteurChamp(numero, &cc);
        MC_FUZZ_CHECK(finDonnees == (m.FinChamp() >= m.FinDonnees()) && finZone == (m.FinGroupe() >= m.FinDonnees()) &&
                          finGroupe == (m.FinChamp() >= m.FinGroupe()) && cg == m.cg && cc == m.cc,
                      "step %u: end tests %u %u %u, counters %u %u", etape, finDonnees, finZone, finGroupe, cg, cc);
        break;
      }
    }
    Comparer(m, numero, etape, crZ, crM);
  }

  uint32_t taille = 0;
  unsigned char *buffer = nullptr;
  MC_FUZZ_CHECK(MC_pucLireBuffer(numero, &taille, &buffer) == MC_OK && taille == m.td, "final buffer");
  MC_FUZZ_CHECK(MC_usLibererZoneMemoire(numero) == MC_OK, "zone not freed");
  MC_Liberer(buffer);
  MC_FUZZ_CHECK(ulMemAllouee == avant, "counted memory %u, was %u", ulMemAllouee, avant);
  return 0;
}
