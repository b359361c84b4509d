// mctool sign | verify: the library's signatures on whole files.  The
// signed part runs from offset 4 (the CRC field is not signed) to the
// signature, which takes the file's last 128 bytes.
#include <cstdio>
#include <filesystem>

#include "common.h"

namespace mctool {

namespace {

constexpr size_t kUnsigned = 4;
constexpr size_t kSignature = std::tuple_size_v<mc::Signature>;

// Whether the last 128 bytes sign the bytes from offset 4 up to them.
std::error_code Verify(std::span<const unsigned char> bytes) {
  if (bytes.size() < kUnsigned + kSignature) return mc::errc::signature_length;
  mc::Signature s;
  std::copy(bytes.end() - kSignature, bytes.end(), s.begin());
  return mc::verify(bytes.subspan(kUnsigned, bytes.size() - kUnsigned - kSignature), s);
}

}  // namespace

void AddSignatureCommands(CLI::App &app) {
  static std::string signFile, signKey, signOut;
  static bool replace = false;
  CLI::App *sign = app.add_subcommand("sign", "Sign a file: append the signature of its bytes from offset 4");
  sign->footer(
      "The file is signed as the binary file writer signs at close (control type 2):\n"
      "MD5 with RSA over the bytes from offset 4, the 128-byte signature appended.\n"
      "The key file is in the library's form (see mc-keytool key-file).");
  sign->add_option("FILE", signFile, "File to sign")->required();
  sign->add_option("-k,--key", signKey, "Private key file")->required();
  sign->add_option("-o,--output", signOut, "Write the signed file here instead of replacing FILE");
  sign->add_flag("--replace", replace, "Drop the file's last 128 bytes (its old signature) before signing");
  sign->callback([] {
    std::vector<unsigned char> bytes = ReadBytes(signFile);
    if (replace) {
      if (bytes.size() < kUnsigned + kSignature) Fail(signFile + ": too short to hold a signature");
      bytes.resize(bytes.size() - kSignature);
    } else if (!Verify(bytes)) {
      Fail(signFile + ": already signed (--replace signs it again)");
    }
    if (bytes.size() < kUnsigned) Fail(signFile + ": too short to sign (its first 4 bytes are never signed)");
    if (!std::filesystem::exists(signKey)) Fail(signKey + ": no such file");
    std::error_code ec;
    const mc::PrivateKey key(signKey, ec);
    Require(ec, signKey + ": reading the private key");
    mc::Signature s;
    Require(mc::sign(std::span(bytes).subspan(kUnsigned), key, s), "signing");
    bytes.insert(bytes.end(), s.begin(), s.end());
    const std::string out = signOut.empty() ? signFile : signOut;
    WriteBytes(out, bytes);
    std::printf("%s: signed, %zu bytes from offset 4, signature at offset %zu\n", out.c_str(),
                bytes.size() - kUnsigned - kSignature, bytes.size() - kSignature);
    if (Verify(bytes))
      std::fprintf(stderr, "mctool: note: the public key built into the library does not accept this signature\n");
  });

  static std::string verifyFile;
  CLI::App *verify = app.add_subcommand("verify", "Check a file's signature with the library's built-in public key");
  verify->footer("Exit code 1 when the signature does not verify.");
  verify->add_option("FILE", verifyFile, "Signed file")->required();
  verify->callback([] {
    if (!std::filesystem::exists(verifyFile)) Fail(verifyFile + ": no such file");
    const PathParts parts = SplitPath(verifyFile);
    std::error_code ec;
    // Opened without control: the check is made below, and reported whatever
    // the header holds.
    mc::BinaryReader r(parts.directory, parts.name, MC_CONTROLE_AUCUN, ec);
    if (!r.is_open()) Require(ec, verifyFile);
    const std::error_code s = r.verify_signature();
    if (s) {
      std::printf("%s: signature does not verify: %s\n", verifyFile.c_str(), StatusText(s).c_str());
      Fail(verifyFile + ": bad signature", kNegative);
    }
    std::printf("%s: signature valid\n", verifyFile.c_str());
  });
}

}  // namespace mctool
