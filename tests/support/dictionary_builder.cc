#include "support/dictionary_builder.h"

#include <algorithm>
#include <cstring>

namespace mc::test {

namespace {

void Ajouter16(std::vector<unsigned char> &d, uint16_t v) {
  d.push_back(static_cast<unsigned char>(v >> 8));
  d.push_back(static_cast<unsigned char>(v));
}

void Ajouter32(std::vector<unsigned char> &d, uint32_t v) {
  for (int decalage = 24; decalage >= 0; decalage -= 8) d.push_back(static_cast<unsigned char>(v >> decalage));
}

// Copies at most n - 1 characters and pads with NULs.
template <size_t N>
void Remplir(char (&destination)[N], const std::string &source) {
  memset(destination, 0, N);
  memcpy(destination, source.data(), std::min(source.size(), N - 1));
}

}  // namespace

TableBrute TableGroupes(const std::vector<GroupeDico> &groupes) {
  TableBrute t{"TGROUPE", static_cast<uint32_t>(groupes.size()), {}};
  uint16_t premier = 0;
  for (const GroupeDico &g : groupes) {
    Ajouter16(t.donnees, g.id);
    Ajouter16(t.donnees, g.premierChamp.value_or(premier));
    Ajouter16(t.donnees, g.nbChamps.value_or(static_cast<uint16_t>(g.champs.size())));
    premier = static_cast<uint16_t>(premier + g.champs.size());
  }
  return t;
}

TableBrute TableChamps(const std::vector<GroupeDico> &groupes) {
  TableBrute t{"TCHAMP", 0, {}};
  uint16_t premiere = 0;
  for (const GroupeDico &g : groupes) {
    for (const ChampDico &c : g.champs) {
      ++t.nombre;
      Ajouter32(t.donnees, static_cast<uint32_t>(c.presence));
      Ajouter16(t.donnees, c.min);
      Ajouter16(t.donnees, c.max);
      t.donnees.push_back(static_cast<unsigned char>(c.format));
      Ajouter32(t.donnees, static_cast<uint32_t>(c.reserve));
      Ajouter16(t.donnees, c.premiereValeur.value_or(premiere));
      Ajouter16(t.donnees, c.nbValeurs.value_or(static_cast<uint16_t>(c.valeurs.size())));
      premiere = static_cast<uint16_t>(premiere + c.valeurs.size());
    }
  }
  return t;
}

TableBrute TableValeurs(const std::vector<GroupeDico> &groupes) {
  TableBrute t{"TVALEUR", 0, {}};
  for (const GroupeDico &g : groupes) {
    for (const ChampDico &c : g.champs) {
      for (const std::string &v : c.valeurs) {
        ++t.nombre;
        unsigned char code[5];
        const uint32_t n = stCoderLongueur(static_cast<uint32_t>(v.size()), code);
        t.donnees.insert(t.donnees.end(), code, code + n);
        t.donnees.insert(t.donnees.end(), v.begin(), v.end());
      }
    }
  }
  return t;
}

std::vector<TableBrute> TablesDictionnaire(const std::vector<GroupeDico> &groupes) {
  return {TableGroupes(groupes), TableChamps(groupes), TableValeurs(groupes)};
}

uint16_t EcrireFichierTables(const std::string &repertoire, const std::vector<TableBrute> &tables,
                             const VersionsFichier &versions, const std::string &nom) {
  EnteteFichierBinaire entete;
  Remplir(entete.acNomFichier, nom);
  Remplir(entete.acVersion, versions.version);
  Remplir(entete.acChampA, "DICO ");
  Remplir(entete.acChampB, "20240101");
  Remplir(entete.acVersionLecteur, versions.versionLecteur);
  Remplir(entete.acChampC, "TESTS");
  Remplir(entete.acChampD, "0000000000");
  Remplir(entete.acCommentaire, "Dictionnaire de test");
  uint16_t num = 0;
  uint16_t statut = MC_usCreerFichierBinaire(repertoire.c_str(), nom.c_str(), MC_CONTROLE_CRC, &entete, &num);
  for (const TableBrute &t : tables) {
    if (statut != MC_OK) break;
    EnteteTable et;
    memset(&et, 0, sizeof et);
    // Names stand space-padded in their 10 bytes, as in real files.
    memset(et.acNomTable, ' ', 10);
    memcpy(et.acNomTable, t.nom.data(), std::min<size_t>(t.nom.size(), 10));
    et.ulNombre = t.nombre;
    statut = MC_usEcrireEnteteTable(num, &et);
    if (statut == MC_OK && !t.donnees.empty())
      statut = MC_usEcrireChampFixe(num, t.donnees.data(), static_cast<uint32_t>(t.donnees.size()));
    if (statut == MC_OK) statut = MC_usEcrireTaille(num);
  }
  if (num != 0) {
    const uint16_t fermeture = MC_usLibererFichierBinaire(num, nullptr);
    if (statut == MC_OK) statut = fermeture;
  }
  return statut;
}

InstallationTables::InstallationTables(bool avecRepertoireTables, bool avecRepertoireTravail) {
  std::string ini = "[commun]\n";
  if (avecRepertoireTravail) ini += "repertoiretravail=" + travail_.path() + "\n";
  if (avecRepertoireTables) ini += "repertoiretable=" + tables_.path() + "\n";
  WriteFile(preferences_.file("tovel.ini"), ini);
}

uint16_t InstallationTables::Ecrire(const std::vector<GroupeDico> &groupes, const VersionsFichier &versions) const {
  return EcrireTables(TablesDictionnaire(groupes), versions);
}

uint16_t InstallationTables::EcrireTables(const std::vector<TableBrute> &tables,
                                          const VersionsFichier &versions) const {
  return EcrireFichierTables(tables_.path(), tables, versions);
}

}  // namespace mc::test
