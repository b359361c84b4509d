// mc-keytool: the key material of the signed binary files.
//
//   mc-keytool key-file <private.pem> <output.key>
//       writes the private key in the library's key-file form (the bit count
//       in decimal, then the modulus, the two exponents, the primes, their
//       exponents and the coefficient, big-endian, right-aligned);
//   mc-keytool tables <public.pem>
//       prints the public key as the MODULUS and EXPONENT tables built into
//       the library (also accepts a private key);
//   mc-keytool check <file.key>
//       tells whether a key file signs what the library's built-in public key
//       accepts.
//
// Only 1024-bit RSA keys fit: the signatures are 128 bytes.
#include <fcntl.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "mc.h"

namespace {

constexpr int kBits = MAX_RSA_MODULUS_BITS;

struct PKeyFree {
  void operator()(EVP_PKEY *p) const { EVP_PKEY_free(p); }
};
using PKey = std::unique_ptr<EVP_PKEY, PKeyFree>;

int Fail(const std::string &message) {
  std::fprintf(stderr, "mc-keytool: %s\n", message.c_str());
  unsigned long e;
  while ((e = ERR_get_error()) != 0) {
    char text[256];
    ERR_error_string_n(e, text, sizeof text);
    std::fprintf(stderr, "  %s\n", text);
  }
  return 1;
}

// Reads a PEM key: a private key when wanted, else a public key (or the
// public half of a private key).
PKey ReadKey(const char *path, bool privateKey) {
  FILE *in = std::fopen(path, "rb");
  if (in == nullptr) return nullptr;
  EVP_PKEY *key = nullptr;
  if (privateKey) {
    key = PEM_read_PrivateKey(in, nullptr, nullptr, nullptr);
  } else {
    key = PEM_read_PUBKEY(in, nullptr, nullptr, nullptr);
    if (key == nullptr) {
      std::rewind(in);
      ERR_clear_error();
      key = PEM_read_PrivateKey(in, nullptr, nullptr, nullptr);
    }
  }
  std::fclose(in);
  return PKey(key);
}

bool IsRsa1024(EVP_PKEY *key) { return EVP_PKEY_is_a(key, "RSA") && EVP_PKEY_get_bits(key) == kBits; }

// One number of the key, big-endian, right-aligned in len bytes.
bool Param(EVP_PKEY *key, const char *name, unsigned char *out, int len) {
  BIGNUM *bn = nullptr;
  if (EVP_PKEY_get_bn_param(key, name, &bn) != 1) return false;
  const bool ok = BN_bn2binpad(bn, out, len) == len;
  BN_clear_free(bn);
  return ok;
}

int KeyFile(const char *pemPath, const char *outPath) {
  PKey key = ReadKey(pemPath, true);
  if (!key) return Fail(std::string("cannot read a PEM private key from ") + pemPath);
  if (!IsRsa1024(key.get())) return Fail("the key must be a 1024-bit RSA key");
  R_RSA_PRIVATE_KEY record;
  std::memset(&record, 0, sizeof record);
  const bool ok = Param(key.get(), OSSL_PKEY_PARAM_RSA_N, record.modulus, MAX_RSA_MODULUS_LEN) &&
                  Param(key.get(), OSSL_PKEY_PARAM_RSA_E, record.publicExponent, MAX_RSA_MODULUS_LEN) &&
                  Param(key.get(), OSSL_PKEY_PARAM_RSA_D, record.exponent, MAX_RSA_MODULUS_LEN) &&
                  Param(key.get(), OSSL_PKEY_PARAM_RSA_FACTOR1, record.prime[0], MAX_RSA_PRIME_LEN) &&
                  Param(key.get(), OSSL_PKEY_PARAM_RSA_FACTOR2, record.prime[1], MAX_RSA_PRIME_LEN) &&
                  Param(key.get(), OSSL_PKEY_PARAM_RSA_EXPONENT1, record.primeExponent[0], MAX_RSA_PRIME_LEN) &&
                  Param(key.get(), OSSL_PKEY_PARAM_RSA_EXPONENT2, record.primeExponent[1], MAX_RSA_PRIME_LEN) &&
                  Param(key.get(), OSSL_PKEY_PARAM_RSA_COEFFICIENT1, record.coefficient, MAX_RSA_PRIME_LEN);
  if (!ok) {
    OPENSSL_cleanse(&record, sizeof record);
    return Fail("the key lacks one of its CRT values (two primes are needed)");
  }
  // The bit count, then the fields in the record's order with no separator.
  std::string bytes = std::to_string(kBits);
  const auto append = [&bytes](const unsigned char *field, size_t len) {
    bytes.append(reinterpret_cast<const char *>(field), len);
  };
  append(record.modulus, MAX_RSA_MODULUS_LEN);
  append(record.publicExponent, MAX_RSA_MODULUS_LEN);
  append(record.exponent, MAX_RSA_MODULUS_LEN);
  append(record.prime[0], MAX_RSA_PRIME_LEN);
  append(record.prime[1], MAX_RSA_PRIME_LEN);
  append(record.primeExponent[0], MAX_RSA_PRIME_LEN);
  append(record.primeExponent[1], MAX_RSA_PRIME_LEN);
  append(record.coefficient, MAX_RSA_PRIME_LEN);
  OPENSSL_cleanse(&record, sizeof record);
  // Readable by its owner only, like any private key.
  const int fd = ::open(outPath, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  bool written = fd >= 0;
  if (written) {
    written = ::write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    written = ::close(fd) == 0 && written;
  }
  const int error = errno;
  OPENSSL_cleanse(bytes.data(), bytes.size());
  if (!written) return Fail(std::string("cannot write ") + outPath + ": " + std::strerror(error));
  return 0;
}

void PrintTable(const char *name, const unsigned char *bytes) {
  std::printf("const uint16_t %s[MAX_RSA_MODULUS_LEN] = {", name);
  for (int i = 0; i < MAX_RSA_MODULUS_LEN; ++i) std::printf("%s 0x%02x,", i % 8 == 0 ? "\n   " : "", bytes[i]);
  std::printf("\n};\n");
}

int Tables(const char *pemPath) {
  PKey key = ReadKey(pemPath, false);
  if (!key) return Fail(std::string("cannot read a PEM key from ") + pemPath);
  if (!IsRsa1024(key.get())) return Fail("the key must be a 1024-bit RSA key");
  unsigned char modulus[MAX_RSA_MODULUS_LEN], exponent[MAX_RSA_MODULUS_LEN];
  if (!Param(key.get(), OSSL_PKEY_PARAM_RSA_N, modulus, sizeof modulus) ||
      !Param(key.get(), OSSL_PKEY_PARAM_RSA_E, exponent, sizeof exponent)) {
    return Fail("cannot read the modulus and exponent");
  }
  PrintTable("MODULUS", modulus);
  std::printf("\n");
  PrintTable("EXPONENT", exponent);
  return 0;
}

int Check(const char *keyPath) {
  R_RSA_PRIVATE_KEY privateKey;
  if (MC_usLireClePrivee(keyPath, &privateKey) != MC_OK) return Fail(std::string("cannot read ") + keyPath);
  static const unsigned char kMessage[] = "mc-keytool check";
  unsigned char signature[MAX_RSA_MODULUS_LEN];
  const uint16_t signStatus = MC_usCalculerSignatureMessage(kMessage, sizeof kMessage, privateKey, signature);
  OPENSSL_cleanse(&privateKey, sizeof privateKey);
  if (signStatus != MC_OK) return Fail("the key file cannot sign (malformed or not 1024 bits)");
  R_RSA_PUBLIC_KEY *publicKey = MC_LireClePublique();
  if (publicKey == nullptr) return Fail("out of memory");
  const uint16_t status = MC_usVerifierSignatureMessage(kMessage, sizeof kMessage, *publicKey, signature);
  MC_Liberer(publicKey);
  if (status != MC_OK) {
    std::printf("%s does NOT match the built-in public key (status 0x%04x)\n", keyPath, status);
    return 2;
  }
  std::printf("%s matches the built-in public key\n", keyPath);
  return 0;
}

int Usage() {
  std::fprintf(stderr,
               "usage: mc-keytool key-file <private.pem> <output.key>\n"
               "       mc-keytool tables <public.pem>\n"
               "       mc-keytool check <file.key>\n");
  return 64;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) return Usage();
  const std::string command = argv[1];
  if (command == "key-file" && argc == 4) return KeyFile(argv[2], argv[3]);
  if (command == "tables" && argc == 3) return Tables(argv[2]);
  if (command == "check" && argc == 3) return Check(argv[2]);
  return Usage();
}
