// A private key file of arbitrary bytes: read, then used to sign a message
// (checked against the key's own public half) and to sign a binary file at
// its close, which is then opened under signature control.  Whatever the
// key holds, nothing may crash, the key record is all the reader fills, and
// every file and counted block is given back.
#include <sys/stat.h>

#include <cerrno>
#include <vector>

#include "fuzz_support.h"

namespace {

constexpr char kMessage[] = "message a signer";

// A guard on each side of the record, to catch a write past it.
struct CleGardee {
  unsigned char avant[16];
  R_RSA_PRIVATE_KEY cle;
  unsigned char apres[16];
};

void SignerFichier(const std::string &cheminCle) {
  const std::string &repertoire = mc::fuzz::RepertoirePrive();
  EnteteFichierBinaire entete{};
  std::memcpy(entete.acNomFichier, "signe.bin", 10);
  std::memcpy(entete.acVersion, "0104", 5);
  std::memcpy(entete.acVersionLecteur, "0103", 5);
  std::memcpy(entete.acCommentaire, "cle", 4);
  uint16_t num = 0;
  MC_FUZZ_CHECK(MC_usCreerFichierBinaire(repertoire.c_str(), "signe.bin", MC_CONTROLE_SIGNATURE, &entete, &num) ==
                    MC_OK,
                "create failed");
  EnteteTable table{};
  std::memcpy(table.acNomTable, "TABLE     ", 11);
  table.ulNombre = 1;
  MC_usEcrireEnteteTable(num, &table);
  MC_usEcrireChaineVariable(num, kMessage);
  const uint16_t crSignature = MC_usLibererFichierBinaire(num, cheminCle.c_str());
  MC_FUZZ_CHECK(fichiers[num - 1] == nullptr, "file %u still open after its close (0x%04X)", num, crSignature);

  EnteteFichierBinaire relu{};
  uint16_t lu = 0;
  const uint16_t crOuverture =
      MC_usInitialiserFichierBinaire(repertoire.c_str(), "signe.bin", MC_CONTROLE_SIGNATURE, &lu, &relu);
  if (crOuverture != MC_OK && crOuverture != MC_ERR_CONTROLE) {
    // Says what the file system saw, should this ever happen again.
    const int erreur = errno;
    struct stat st {};
    const int existe = stat((repertoire + "/signe.bin").c_str(), &st);
    MC_FUZZ_CHECK(false, "open of the signed file: 0x%04X (close 0x%04X, errno %d, stat %d, size %ld)",
                  crOuverture, crSignature, erreur, existe, static_cast<long>(st.st_size));
  }
  if (lu != 0) MC_usLibererFichierBinaire(lu, nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  mc::fuzz::RepertoirePrive();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const uint32_t avant = ulMemAllouee;
  const std::string chemin = mc::fuzz::CheminPrive("cle.key");
  mc::fuzz::EcrireFichier(chemin, data, size);

  auto *gardee = new CleGardee;
  std::memset(gardee, 0xA5, sizeof *gardee);
  const uint16_t cr = MC_usLireClePrivee(chemin.c_str(), &gardee->cle);
  MC_FUZZ_CHECK(cr == MC_OK, "key file unreadable: 0x%04X", cr);
  for (unsigned char o : gardee->avant) MC_FUZZ_CHECK(o == 0xA5, "write before the key record");
  for (unsigned char o : gardee->apres) MC_FUZZ_CHECK(o == 0xA5, "write after the key record");

  std::vector<unsigned char> signature(128);
  const auto *message = reinterpret_cast<const unsigned char *>(kMessage);
  if (MC_usCalculerSignatureMessage(message, sizeof kMessage - 1, gardee->cle, signature.data()) == MC_OK) {
    R_RSA_PUBLIC_KEY publique{};
    publique.bits = gardee->cle.bits;
    std::memcpy(publique.modulus, gardee->cle.modulus, sizeof publique.modulus);
    std::memcpy(publique.exponent, gardee->cle.publicExponent, sizeof publique.exponent);
    MC_usVerifierSignatureMessage(message, sizeof kMessage - 1, publique, signature.data());
  }
  delete gardee;

  SignerFichier(chemin);
  for (Fichier *slot : fichiers) MC_FUZZ_CHECK(slot == nullptr, "a file slot stays taken");
  MC_FUZZ_CHECK(lPositionTailleTable == 0, "pending table size left behind");
  MC_FUZZ_CHECK(ulMemAllouee == avant, "counted memory %u, was %u", ulMemAllouee, avant);
  return 0;
}
