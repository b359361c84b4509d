// The cryptographic toolkit against libcrypto, which never sees the toolkit's records (their names clash).
#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <cctype>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "mc.h"  // the key records come from both headers
#include "rsaref/global.h"
#include "rsaref/rsaref.h"
#include "rsaref/nn.h"
#include "rsaref/r_random.h"
#include "rsaref/rsa.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Ints = std::vector<int>;  // statuses, called left to right

std::string Hex(const void *data, size_t n) {
  std::string s;
  for (const unsigned char *p = static_cast<const unsigned char *>(data); n-- > 0; ++p)
    s += {"0123456789abcdef"[*p >> 4], "0123456789abcdef"[*p & 15]};
  return s;
}
Bytes Of(const std::string &s) { return Bytes(s.begin(), s.end()); }
Bytes Slice(const unsigned char *p, size_t n) { return Bytes(p, p + n); }
template <class T>
std::vector<T> Cat(std::vector<T> a, const std::vector<T> &b, const std::vector<T> &c = {}) {
  a.insert(a.end(), b.begin(), b.end());
  a.insert(a.end(), c.begin(), c.end());
  return a;
}
Bytes With(Bytes b, size_t at, unsigned char c) { return b.at(at) = c, b; }
unsigned Len(const Bytes &b) { return static_cast<unsigned>(b.size()); }
Bytes Noise(size_t n, unsigned seed) {
  Bytes b(n);
  std::mt19937 gen(seed);
  for (auto &c : b) c = static_cast<unsigned char>(gen());
  return b;
}
Bytes Digest(Bytes m, int alg) {
  Bytes d(16);
  unsigned int len = 0;
  return R_DigestBlock(d.data(), &len, m.data(), Len(m), alg) == 0 ? d : Bytes{};
}
// The PKCS #1 type 1 block around a tail (ff bytes FF), and the DigestInfo such blocks sign.
Bytes Block1(size_t ff, const Bytes &tail) { return Cat({0x00, 0x01}, Bytes(ff, 0xff), Cat({0x00}, tail)); }
Bytes Info(const Bytes &m, int alg) {
  return Cat(Of("\x30\x20\x30\x0c\x06\x08\x2a\x86\x48\x86\xf7\x0d\x02"), {uint8_t(alg == DA_MD5 ? 5 : 2), 5, 0, 4, 16},
             Digest(m, alg));
}
Bytes Padding(size_t len) { return Bytes(8 - len % 8, static_cast<unsigned char>(8 - len % 8)); }
R_RANDOM_STRUCT Random(int fill) {  // seeded with 256 bytes of one value, or not seeded (-1)
  R_RANDOM_STRUCT rs;
  R_RandomInit(&rs);
  if (fill >= 0) R_RandomUpdate(&rs, Bytes(256, uint8_t(fill)).data(), 256);
  return rs;
}
Bytes Decode(Bytes text, int expected = 0) {
  Bytes b(DECODED_CONTENT_LEN(text.size()));
  unsigned int len = 0;
  EXPECT_EQ(R_DecodePEMBlock(b.data(), &len, text.data(), Len(text)), expected) << Hex(text.data(), text.size());
  return b.resize(expected == 0 ? len : 0), b;
}
using Bn = std::unique_ptr<BIGNUM, decltype(&BN_free)>;
Bn B(const unsigned char *p, size_t n) { return Bn(BN_bin2bn(p, static_cast<int>(n), nullptr), BN_free); }
BN_CTX *Ctx() {
  static BN_CTX *const ctx = BN_CTX_new();  // reachable for the process's life
  return ctx;
}
struct KeyPair {
  R_RSA_PUBLIC_KEY pub;
  R_RSA_PRIVATE_KEY priv;
};
// A key pair generated from a fixed seed (RsarefKeys checks such keys), or the status refusing it.
KeyPair Key(unsigned bits, int seed, int fermat4 = 1, int expected = 0) {
  KeyPair k;
  R_RSA_PROTO_KEY proto = {bits, fermat4};
  R_RANDOM_STRUCT rs = Random(seed);
  EXPECT_EQ(R_GeneratePEMKeys(&k.pub, &k.priv, &proto, &rs), expected) << bits;
  return k;
}
// libcrypto's x^d mod n: signs a block of the test's making, or shows what a public encryption hid.
Bytes RawSign(const KeyPair &k, const Bytes &block) {
  Bn x = B(block.data(), block.size());
  Bytes out(block.size());
  BN_mod_exp(x.get(), x.get(), B(k.priv.exponent, 128).get(), B(k.pub.modulus, 128).get(), Ctx());
  EXPECT_EQ(BN_bn2binpad(x.get(), out.data(), Len(out)), static_cast<int>(Len(out)));
  return out;
}
Bytes EvpCipher(const char *name, const Bytes &key, const Bytes &iv, const Bytes &in) {
  // DES and DESX live in the legacy provider; the handles stay reachable, which keeps the leak checker quiet.
  static OSSL_PROVIDER *const legacy = OSSL_PROVIDER_load(nullptr, "legacy");
  static OSSL_PROVIDER *const base = OSSL_PROVIDER_load(nullptr, "default");
  EVP_CIPHER *cipher = EVP_CIPHER_fetch(nullptr, name, nullptr);
  EVP_CIPHER_CTX *ctx = EVP_CIPHER_CTX_new();
  Bytes out(in.size());
  EXPECT_TRUE(legacy != nullptr && base != nullptr && cipher != nullptr &&
              EVP_EncryptInit_ex2(ctx, cipher, key.data(), iv.data(), nullptr) == 1 &&
              EVP_Cipher(ctx, out.data(), in.data(), Len(in)) > 0)
      << name;
  EVP_CIPHER_CTX_free(ctx), EVP_CIPHER_free(cipher);
  return out;
}
Bytes Sign(Bytes m, R_RSA_PRIVATE_KEY *priv, int alg = DA_MD5, int expected = 0) {
  Bytes sig(MAX_SIGNATURE_LEN);
  unsigned int len = 0;
  EXPECT_EQ(R_SignBlock(sig.data(), &len, m.data(), Len(m), alg, priv), expected) << "digest algorithm " << alg;
  return sig.resize(expected == 0 ? len : 0), sig;
}
int Verify(Bytes m, Bytes sig, R_RSA_PUBLIC_KEY *pub, int alg = DA_MD5) {
  return R_VerifyBlockSignature(m.data(), Len(m), sig.data(), Len(sig), alg, pub);
}

// Known answers (MD5 around its padding block), fed in uneven pieces twice: Final starts the context over.
TEST(RsarefDigest, KnownAnswersAndBadArguments) {
  const std::string digits = "12345678901234567890123456789012345678901234567890123456789012345678901234567890",
                    a55(55, 'a'), a56(56, 'a');
  const std::tuple<std::string, int, const char *> suite[] = {
      {"", DA_MD2, "8350e5a3e24c153df2275c9f80692773"},     {"abc", DA_MD2, "da853b0d3f88d99b30283a69e6ded6bb"},
      {digits, DA_MD2, "d5976f79d83d3a0dc9806c3c66f3efd8"}, {"", DA_MD5, "d41d8cd98f00b204e9800998ecf8427e"},
      {digits, DA_MD5, "57edf4a22be3c955ac49da2e2107b67a"}, {a55, DA_MD5, "ef1772b6dff9a122358552954ad0df65"},
      {a56, DA_MD5, "3b0c8ac703f828b04c6c197006d17218"}};
  unsigned char digest[16];
  unsigned int len = 0;
  R_DIGEST_CTX ctx;
  for (const auto &[message, alg, expected] : suite) {
    Bytes m = Of(message);
    ASSERT_EQ(R_DigestInit(&ctx, alg), 0);
    for (int pass = 0; pass < 2; ++pass) {
      for (size_t at = 0, piece = 1; at < m.size(); at += piece, piece = piece * 3 + 1)
        ASSERT_EQ(R_DigestUpdate(&ctx, m.data() + at, unsigned(piece = std::min(piece, m.size() - at))), 0);
      EXPECT_EQ(R_DigestFinal(&ctx, digest, &len) == 0 ? Hex(digest, len) : "", expected) << message << " " << alg;
    }
  }
  EXPECT_EQ((Ints{R_DigestInit(&ctx, 4), R_DigestBlock(digest, &len, digest, 0, 2)}), Ints(2, RE_DIGEST_ALGORITHM));
  EXPECT_EQ((ctx.digestAlgorithm = 99, Ints{R_DigestUpdate(&ctx, digest, 1), R_DigestFinal(&ctx, digest, &len)}),
            Ints(2, RE_DIGEST_ALGORITHM));
  EXPECT_NE(R_DigestInit(nullptr, DA_MD5), 0);
}

// The state is the 128-bit big-endian sum of the seeds' MD5s; each block is MD5 of the state, which then steps from
// its last byte on, stopping after a byte that was not zero (6000 bytes walk the last byte through zero).
TEST(RsarefRandom, SeedingAndOutputsMatchTheModel) {
  R_RANDOM_STRUCT rs = Random(-1);
  unsigned int needed = 0;
  unsigned char state[16] = {}, b;
  for (auto [len, left] : {std::pair{100, 156}, {200, 0}}) {  // bytes still needed, never below zero
    Bytes seed(len, static_cast<unsigned char>(len)), d = Digest(seed, DA_MD5);
    EXPECT_EQ((Ints{R_GenerateBytes(&b, 1, &rs), R_RandomUpdate(&rs, seed.data(), len),
                    R_GetRandomBytesNeeded(&needed, &rs), int(needed)}),
              (Ints{RE_NEED_RANDOM, 0, 0, left}));
    for (int i = 15, carry = 0; i >= 0; --i, carry >>= 8)
      state[i] = static_cast<unsigned char>(carry += state[i] + d[i]);
  }
  Bytes got, expected;
  for (unsigned n = 0; got.size() < 6000; n = (n * 7 + 5) % 40)
    ASSERT_EQ((got.resize(got.size() + n), R_GenerateBytes(got.data() + got.size() - n, n, &rs)), 0);
  while (expected.size() < got.size()) {
    expected = Cat(expected, Digest(Slice(state, 16), DA_MD5));
    for (int i = 15; i >= 0 && state[i]++ == 0;) --i;
  }
  EXPECT_EQ(got, Bytes(expected.begin(), expected.begin() + got.size()));
  EXPECT_EQ((R_RandomFinal(&rs), Hex(&rs, sizeof rs)), std::string(2 * sizeof rs, '0'));
}

// Only PKCS #1 type 1 blocks of the DigestInfo verify (with exponent 3 a lax parse lets anyone forge).  A signature
// whose first byte is zero verifies with that byte left out too.
TEST(RsarefRsa, SignaturesAndEncryptionBlocks) {
  KeyPair k = Key(1024, 2);
  const Bytes message = Of("pay 100"), info = Info(message, DA_MD5);
  const size_t pad = 128 - 3 - info.size();
  const Bytes good = Block1(pad, info);
  const std::tuple<const char *, Bytes, int> cases[] = {
      {"garbage after the digest", Block1(pad - 1, Cat(info, {0})), RE_SIGNATURE},
      {"other digest OID", With(good, 3 + pad + 13, 0x04), RE_SIGNATURE},
      {"block type 2", With(good, 1, 2), RE_PUBLIC_KEY},
      {"non-FF padding byte", With(good, 40, 0xfe), RE_PUBLIC_KEY},
      {"no separator", With(good, 2 + pad, 0xff), RE_PUBLIC_KEY},
      {"leading byte not zero", With(good, 0, 0x01), RE_PUBLIC_KEY},
      {"seven FF then zeros", Block1(7, Cat(Bytes(pad - 7, 0), info)), RE_PUBLIC_KEY}};
  for (const auto &[what, b, expected] : cases) EXPECT_EQ(Verify(message, RawSign(k, b), &k.pub), expected) << what;
  // Not below the modulus, longer than any signature, no key, keys of 2048 and 1000 bits (the modulus has 1024).
  const Bytes sig = Sign(message, &k.priv);
  KeyPair bad = k;
  bad.pub.bits = 2048, bad.priv.bits = 1000;
  EXPECT_EQ((Ints{Verify(message, Bytes(128, 0xff), &k.pub), Verify(message, Cat(sig, {0}), &k.pub),
                  Verify(message, sig, nullptr), Verify(message, sig, &bad.pub)}),
            (Ints{RE_PUBLIC_KEY, RE_LEN, RE_PUBLIC_KEY, RE_PUBLIC_KEY}));
  Sign(message, &bad.priv, DA_MD5, RE_PRIVATE_KEY);
  Sign(message, &k.priv, 4, RE_DIGEST_ALGORITHM);
  Bytes msg(2), s = Sign(msg, &k.priv), expected = {0x00, 0x02};
  for (unsigned i = 1; i < 20000 && s[0] != 0; ++i) s = Sign(msg = {uint8_t(i >> 8), uint8_t(i)}, &k.priv);
  EXPECT_EQ(std::tuple(s[0], Verify(msg, Bytes(s.begin() + 1, s.end()), &k.pub)), std::tuple(0, 0));
  // Public encryption makes 00 02 PS 00 M, PS the generator's next non-zero bytes; each decryption wants its type.
  R_RANDOM_STRUCT rs = Random(7), copy = rs, fresh = Random(-1);
  Bytes input = Noise(118, 1), ff(129, 0xff);  // ff: longer than the modulus, or not below it
  unsigned char out[MAX_RSA_MODULUS_LEN], back[MAX_RSA_MODULUS_LEN + 1], *in = input.data(), x, y;
  unsigned int outLen = 0, backLen = 0;
  ASSERT_EQ(RSAPublicEncrypt(out, &outLen, in, 9, &k.pub, &rs), 0);
  while (expected.size() < 128 - 9 - 1 && R_GenerateBytes(&x, 1, &copy) == 0)
    if (x != 0) expected.push_back(x);
  EXPECT_EQ(RawSign(k, Slice(out, outLen)), Cat(expected, {0}, Slice(in, 9)));
  EXPECT_EQ((R_GenerateBytes(&x, 1, &rs), x), (R_GenerateBytes(&y, 1, &copy), y)) << "both drew the same count";
  ASSERT_EQ(RSAPublicEncrypt(out, &outLen, in, 117, &k.pub, &rs), 0) << "k - 11, the longest";
  EXPECT_EQ(RSAPrivateDecrypt(back, &backLen, out, outLen, &k.priv) == 0 ? Slice(back, backLen) : Bytes{},
            Slice(in, 117));
  auto pub = [&](unsigned char *c, unsigned n) { return RSAPublicDecrypt(back, &backLen, c, n, &k.pub); };
  auto priv = [&](unsigned char *c, unsigned n) { return RSAPrivateDecrypt(back, &backLen, c, n, &k.priv); };
  EXPECT_EQ(
      (Ints{pub(out, outLen), priv(Bytes(sig).data(), Len(sig)), RSAPublicEncrypt(out, &outLen, in, 118, &k.pub, &rs),
            RSAPrivateEncrypt(out, &outLen, in, 118, &k.priv), priv(ff.data(), 129), pub(ff.data(), 129),
            priv(ff.data(), 128), pub(k.pub.modulus, 128), RSAPublicEncrypt(out, &outLen, in, 20, &k.pub, &fresh)}),
      (Ints{RE_DATA, RE_DATA, RE_LEN, RE_LEN, RE_LEN, RE_LEN, RE_DATA, RE_DATA, RE_NEED_RANDOM}));
}

int Stream(R_ENVELOPE_CTX *ctx, bool seal, Bytes in, Bytes *out) {  // Update in uneven pieces, then Final
  unsigned int len = 0, n = 0;
  int status = 0;
  out->assign(in.size() + 8, 0);
  for (size_t at = 0, piece = seal ? 1 : 5; status == 0 && at < in.size(); at += piece, piece = piece * 2 + 1) {
    status = (seal ? R_SealUpdate : R_OpenUpdate)(ctx, out->data() + len, &n, in.data() + at,
                                                  unsigned(piece = std::min(piece, in.size() - at)));
    EXPECT_EQ((len += n) % 8, 0u);
  }
  if (status == 0) status = (seal ? R_SealFinal : R_OpenFinal)(ctx, out->data() + len, &n);
  EXPECT_EQ(n, seal ? 8u : n % 8);
  return out->resize(status == 0 ? len + n : 0), status;
}

// Content key and IV are the generator's first bytes (EDE2 repeats K1 as K3); CBC with RFC 1423 padding.  Refused:
// an 8-byte key offered as a 24-byte one, a last block not ending in n bytes n (1..8), not whole blocks, or none.
TEST(RsarefEnvelope, SealOpenAndRefusals) {
  KeyPair k = Key(1024, 2), other = Key(1024, 3);
  R_ENVELOPE_CTX ctx;
  unsigned char iv[8], key[MAX_RSA_MODULUS_LEN], *keys[1] = {key}, desKey[MAX_RSA_MODULUS_LEN];
  unsigned int keyLen = 0;
  R_RSA_PUBLIC_KEY bad = k.pub, *pubs[1] = {&k.pub}, *badPubs[1] = {&bad};
  Bytes sealed, back;
  auto open = [&](int alg, R_RSA_PRIVATE_KEY *priv, const Bytes &data, unsigned len = 128) {
    const int status = R_OpenInit(&ctx, alg, key, len, iv, priv);
    return status != 0 ? status : Stream(&ctx, false, data, &back);
  };
  auto seal = [&](R_RSA_PUBLIC_KEY **p, int a, auto r) { return R_SealInit(&ctx, keys, &keyLen, iv, 1, p, a, &r); };
  for (int alg : {EA_DES_CBC, EA_DES_EDE2_CBC, EA_DES_EDE3_CBC, EA_DESX_CBC}) {
    const unsigned drawn = alg == EA_DES_CBC ? 8 : 24;
    const char *cipher = alg == EA_DES_CBC ? "DES-CBC" : alg == EA_DESX_CBC ? "DESX-CBC" : "DES-EDE3-CBC";
    R_RANDOM_STRUCT model = Random(9);
    Bytes drawnKey(drawn + 8);
    R_GenerateBytes(drawnKey.data(), drawn + 8, &model);
    if (alg == EA_DES_EDE2_CBC) std::copy(drawnKey.begin(), drawnKey.begin() + 8, drawnKey.begin() + 16);
    const Bytes modelIv(drawnKey.end() - 8, drawnKey.end());
    for (size_t len : {0u, 1u, 7u, 8u, 9u, 64u, 333u}) {
      const Bytes content = Noise(len, 3);
      ASSERT_EQ(
          (Ints{seal(pubs, alg, Random(9)), Stream(&ctx, true, content, &sealed), open(alg, &k.priv, sealed, keyLen)}),
          Ints(3, 0));
      EXPECT_EQ(Cat(Slice(iv, 8), sealed, back),
                Cat(modelIv, EvpCipher(cipher, drawnKey, modelIv, Cat(content, Padding(len))), content))
          << alg << " " << len;
    }
  }
  bad.bits = 4096;
  EXPECT_EQ((Ints{seal(pubs, 0, Random(4)), seal(pubs, EA_DES_CBC, Random(-1)), seal(badPubs, EA_DES_CBC, Random(4)),
                  seal(pubs, EA_DES_CBC, Random(4)), open(5, &k.priv, sealed), open(EA_DES_CBC, &k.priv, sealed, 129),
                  open(EA_DES_CBC, &other.priv, sealed), open(EA_DES_EDE3_CBC, &k.priv, Bytes(16)),
                  RSAPrivateDecrypt(desKey, &keyLen, key, 128, &k.priv)}),
            (Ints{RE_ENCRYPTION_ALGORITHM, RE_NEED_RANDOM, RE_PUBLIC_KEY, 0, RE_ENCRYPTION_ALGORITHM, RE_LEN,
                  RE_PRIVATE_KEY, RE_KEY, 0}));
  auto last = [&](const Bytes &block, size_t cut = 0) {
    Bytes data = EvpCipher("DES-CBC", Slice(desKey, 8), Slice(iv, 8), Cat(Bytes(8, 0), block));
    return open(EA_DES_CBC, &k.priv, Bytes(data.begin(), data.end() - cut));
  };
  EXPECT_EQ((Ints{last(With(Bytes(8, 2), 7, 0)), last(With(Bytes(8, 2), 7, 9)), last(With(Bytes(8, 2), 7, 0xff)),
                  last(With(Bytes(8, 2), 6, 3)), last(Bytes(8, 2), 1), last(Bytes(8, 2), 16), last(Bytes(8, 2))}),
            (Ints{RE_KEY, RE_KEY, RE_KEY, RE_KEY, RE_KEY, RE_KEY, 0}));
  EXPECT_EQ(back.size(), 14u);
}

// Signed: content and R_SignBlock's signature, printable (not recoded: content as it is, only its length reported).
// Sealed: the content and then the signature DES-CBC-encrypted from the same IV.
TEST(RsarefPem, SignSealVerifyAndOpenPrintable) {
  KeyPair sender = Key(1024, 2), recipient = Key(1024, 3);
  Bytes content = Of("Pem content, signed."), decoded(content.size() + 1), opened;
  struct Pem {
    Bytes content, key, sig;
  } signedParts{Bytes(ENCODED_CONTENT_LEN(content.size())), {}, Bytes(MAX_PEM_SIGNATURE_LEN)};
  unsigned int textLen = 0, sigLen = 0, decodedLen = 0;
  Bytes &text = signedParts.content, &sig = signedParts.sig;
  ASSERT_EQ(
      R_SignPEMBlock(text.data(), &textLen, sig.data(), &sigLen, content.data(), Len(content), 1, DA_MD5, &sender.priv),
      0);
  text.resize(textLen), sig.resize(sigLen);
  EXPECT_EQ(Cat(Decode(text), Decode(sig)), Cat(content, Sign(content, &sender.priv)));
  // Encoded like libcrypto, nothing written past the text.  Refused: not whole groups, more than two '=', '=' before
  // the last group, and every byte outside the alphabet ('-' and '_' of the URL-safe one too).
  for (unsigned len = 0; len < 40; ++len) {
    Bytes data = Noise(len, 5), encoded(ENCODED_CONTENT_LEN(len) + 1, 0xee), expected(encoded.size() + 1);
    ASSERT_EQ(R_EncodePEMBlock(encoded.data(), &textLen, data.data(), len), 0);
    expected.resize(EVP_EncodeBlock(expected.data(), data.data(), len));
    EXPECT_EQ(encoded, Cat(expected, Bytes(encoded.size() - expected.size(), 0xee)));
  }
  for (const char *bad : {"TWF", "TWFuT", "T===", "====", "TQ==TWFu", "TWE=TWFu"}) Decode(Of(bad), RE_ENCODING);
  for (int ch = 0; ch < 256; ++ch)
    if (!std::isalnum(ch) && ch != '+' && ch != '/') Decode({'A', 'B', uint8_t(ch), 'D'}, RE_ENCODING);
  auto verify = [&](Bytes t, Bytes s, int recode = 1) {
    return R_VerifyPEMSignature(recode ? decoded.data() : nullptr, &decodedLen, t.data(), Len(t), s.data(), Len(s),
                                recode, DA_MD5, &sender.pub);
  };
  EXPECT_EQ(verify(text, sig) == 0 ? Slice(decoded.data(), decodedLen) : Bytes{}, content);
  EXPECT_EQ((Ints{R_SignPEMBlock(nullptr, &textLen, sig.data(), &sigLen, content.data(), Len(content), 0, DA_MD5,
                                 &sender.priv),
                  verify(content, sig, 0), int(decodedLen)}),
            (Ints{0, 0, int(Len(content))}));
  unsigned char iv[8];
  auto open = [&](Pem p, R_RSA_PRIVATE_KEY *to, R_RSA_PUBLIC_KEY *from) {
    opened.assign(DECRYPTED_CONTENT_LEN(p.content.size()) + 1, 0xee);
    unsigned int n = 0;
    const int status = R_OpenPEMBlock(opened.data(), &n, p.content.data(), Len(p.content), p.key.data(), Len(p.key),
                                      p.sig.data(), Len(p.sig), iv, DA_MD5, to, from);
    EXPECT_EQ(opened.back(), 0xee) << "nothing written past DECRYPTED_CONTENT_LEN";
    opened.resize(status == 0 ? n : 0);
    return status;
  };
  for (unsigned len : {0u, 1u, 23u, 24u, 25u, 48u, 1001u}) {
    Pem p{Bytes(ENCRYPTED_CONTENT_LEN(len)), Bytes(MAX_PEM_ENCRYPTED_KEY_LEN), Bytes(MAX_PEM_ENCRYPTED_SIGNATURE_LEN)};
    R_RANDOM_STRUCT rs = Random(2);
    unsigned int c = 0, n = 0, s = 0;
    content = Noise(len, 3);
    ASSERT_EQ(R_SealPEMBlock(p.content.data(), &c, p.key.data(), &n, p.sig.data(), &s, iv, content.data(), len, DA_MD5,
                             &recipient.pub, &sender.priv, &rs),
              0);
    p.content.resize(c), p.key.resize(n), p.sig.resize(s);
    Bytes sealedKey = Decode(p.key), key(MAX_ENCRYPTED_KEY_LEN);
    ASSERT_EQ((Ints{RSAPrivateDecrypt(key.data(), &n, sealedKey.data(), Len(sealedKey), &recipient.priv),
                    open(p, &recipient.priv, &sender.pub)}),
              Ints(2, 0));
    EXPECT_EQ(Cat(Decode(p.content), Decode(p.sig), opened),
              Cat(EvpCipher("DES-CBC", key, Slice(iv, 8), Cat(content, Padding(len))),
                  EvpCipher("DES-CBC", key, Slice(iv, 8), Cat(Sign(content, &sender.priv), Padding(0))), content))
        << len;
    if (len != 1001) continue;
    // One damaged part at a time, sealed or signed; the wrong recipient's or signer's key.
    const std::tuple<Bytes Pem::*, Bytes, int, bool> damage[] = {
        {&Pem::key, With(p.key, 5, '!'), RE_KEY_ENCODING, true},
        {&Pem::key, Bytes(176, 'A'), RE_KEY_ENCODING, true},  // well formed, longer than any
        {&Pem::sig, With(p.sig, 0, '='), RE_SIGNATURE_ENCODING, true},
        {&Pem::sig, Bytes(188, 'A'), RE_SIGNATURE_ENCODING, true},
        {&Pem::content, With(p.content, 40, '\n'), RE_CONTENT_ENCODING, true},
        {&Pem::content, With(With(p.content, 30, '='), 31, '='), RE_CONTENT_ENCODING, true},  // first piece
        {&Pem::content, With(p.content, 2, p.content[2] == 'A' ? 'B' : 'A'), RE_SIGNATURE, true},
        {&Pem::content, With(text, 3, '*'), RE_CONTENT_ENCODING, false},
        {&Pem::sig, With(sig, 10, '.'), RE_SIGNATURE_ENCODING, false},
        {&Pem::sig, Bytes(176, 'A'), RE_SIGNATURE_ENCODING, false},
        {&Pem::sig, With(sig, 10, sig[10] == 'A' ? 'B' : 'A'), RE_PUBLIC_KEY, false},
        {&Pem::content, With(text, 1, text[1] == 'A' ? 'B' : 'A'), RE_SIGNATURE, false}};
    for (const auto &[part, value, expected, sealed] : damage) {
      Pem d = sealed ? p : signedParts;
      d.*part = value;
      EXPECT_EQ(sealed ? open(d, &recipient.priv, &sender.pub) : verify(d.content, d.sig), expected)
          << std::string(value.begin(), value.end());
    }
    EXPECT_EQ((Ints{open(p, &sender.priv, &sender.pub), open(p, &recipient.priv, &recipient.pub)}),
              (Ints{RE_PRIVATE_KEY, RE_PUBLIC_KEY}));
  }
}

// Same seed, same key; p > q prime, d = e^-1 mod (p-1)(q-1); signatures are the type 1 blocks raised to d, with the
// CRT values and with d alone (the record without its last fields).  Sizes outside 508..1024 bits are refused.
TEST(RsarefKeys, RsaPairsAndDhAgreement) {
  for (auto [bits, fermat4] : {std::pair{508u, 0}, {512u, 1}, {767u, 1}, {1024u, 0}}) {
    KeyPair k = Key(bits, bits, fermat4), again = Key(bits, bits, fermat4);
    EXPECT_EQ(std::memcmp(&k, &again, sizeof k), 0);
    EXPECT_EQ(std::memcmp(&k.pub, &k.priv, sizeof k.pub), 0) << "the records share bits, modulus and exponent";
    Bn e = B(k.pub.exponent, 128), d = B(k.priv.exponent, 128), p = B(k.priv.prime[0], 64), q = B(k.priv.prime[1], 64);
    EXPECT_EQ(std::tuple(BN_num_bits(B(k.pub.modulus, 128).get()), k.pub.bits, BN_get_word(e.get())),
              std::tuple(int(bits), bits, fermat4 ? 65537ul : 3ul));
    EXPECT_TRUE(BN_cmp(p.get(), q.get()) > 0 && BN_check_prime(p.get(), Ctx(), nullptr) == 1 &&
                BN_check_prime(q.get(), Ctx(), nullptr) == 1 && BN_sub_word(p.get(), 1) && BN_sub_word(q.get(), 1) &&
                BN_mul(p.get(), p.get(), q.get(), Ctx()) && BN_mod_mul(q.get(), d.get(), e.get(), p.get(), Ctx()) &&
                BN_is_one(q.get()) && BN_cmp(d.get(), p.get()) < 0);
    const int alg = fermat4 ? DA_MD5 : DA_MD2;
    const Bytes m = Of("generated"), sig = Sign(m, &k.priv, alg);
    std::memset(again.priv.prime, 0, sizeof again.priv - offsetof(R_RSA_PRIVATE_KEY, prime));
    EXPECT_EQ(Cat(sig, Sign(m, &again.priv, alg)), Cat(RawSign(k, Block1((bits + 7) / 8 - 37, Info(m, alg))), sig));
    EXPECT_EQ((Ints{Verify(m, sig, &k.pub, alg), Verify(m, sig, &k.pub, DA_MD2 + DA_MD5 - alg),
                    Verify(With(m, 0, 'G'), sig, &k.pub, alg)}),
              (Ints{0, RE_SIGNATURE, RE_SIGNATURE}));
  }
  for (unsigned bits : {0u, 507u, 1025u}) Key(bits, 1, 1, RE_MODULUS_LEN);
  Key(512, -1, 1, RE_NEED_RANDOM);
  // DH: private values are the generator's next bytes, the public one g^x mod p; the other party's must be below p.
  R_RANDOM_STRUCT rs = Random(12), fresh = Random(-1), model;
  unsigned char prime[64], generator[64], pubA[64], privA[20], pubB[64], privB[30], keyA[64], keyB[64], drawn[50];
  R_DH_PARAMS params = {prime, 0, generator, 0};
  ASSERT_EQ((Ints{R_GenerateDHParams(&params, 256, 160, &rs), R_GenerateDHParams(&params, 512, 512, &rs),
                  R_GenerateDHParams(&params, 512, 160, &rs)}),
            (Ints{RE_MODULUS_LEN, RE_MODULUS_LEN, 0}));
  Bn p = B(prime, 64), g = B(generator, 64), y(BN_new(), BN_free);
  EXPECT_TRUE(params.primeLen == 64 && params.generatorLen == 64 && BN_num_bits(p.get()) == 512 &&
              BN_check_prime(p.get(), Ctx(), nullptr) == 1 && BN_cmp(g.get(), p.get()) < 0);
  R_GenerateBytes(drawn, 50, &(model = rs));
  ASSERT_EQ((Ints{R_SetupDHAgreement(pubA, privA, sizeof privA, &params, &fresh),
                  R_SetupDHAgreement(pubA, privA, sizeof privA, &params, &rs),
                  R_SetupDHAgreement(pubB, privB, sizeof privB, &params, &rs)}),
            (Ints{RE_NEED_RANDOM, 0, 0}));
  EXPECT_EQ(Cat(Slice(privA, 20), Slice(privB, 30)), Slice(drawn, 50));
  EXPECT_TRUE(BN_mod_exp(y.get(), g.get(), B(privA, 20).get(), p.get(), Ctx()) && !BN_cmp(y.get(), B(pubA, 64).get()));
  Bytes ff(64, 0xff), other(64);
  EXPECT_EQ(
      (Ints{R_ComputeDHAgreedKey(keyA, pubB, privA, 20, &params), R_ComputeDHAgreedKey(keyB, pubA, privB, 30, &params),
            R_ComputeDHAgreedKey(other.data(), prime, privA, 20, &params),
            R_ComputeDHAgreedKey(other.data(), ff.data(), privA, 20, &params)}),
      (Ints{0, 0, RE_DATA, RE_DATA}));
  EXPECT_EQ(Slice(keyA, 64), Slice(keyB, 64));
}

using Digits = std::vector<NN_DIGIT>;
Digits Of(const NN_DIGIT *a, unsigned digits) { return Digits(a, a + digits); }
Digits Carried(NN_DIGIT carry, const NN_DIGIT *a, unsigned digits) { return Cat(Digits{carry}, Of(a, digits)); }

// Record layouts; DES keeps its IV as two big-endian words and refuses a partial block without changing it;
// R_memcmp gives the difference of the first unequal bytes.  NN: independent answers; results may overwrite
// operands; carries and borrows go on through equal digits; a zero divisor or modulus, or no inverse, gives zeros.
TEST(RsarefNn, LayoutMemoryAndKnownAnswers) {
  using Sizes = std::vector<size_t>;
  EXPECT_EQ((Sizes{sizeof(UINT4), sizeof(UINT2), sizeof(R_RANDOM_STRUCT), sizeof(R_RSA_PUBLIC_KEY),
                   sizeof(R_RSA_PRIVATE_KEY), sizeof(MD2_CTX), sizeof(MD5_CTX), sizeof(R_DIGEST_CTX),
                   sizeof(R_SIGNATURE_CTX), sizeof(DES_CBC_CTX), sizeof(DESX_CBC_CTX), sizeof(DES3_CBC_CTX),
                   sizeof(R_ENVELOPE_CTX), offsetof(R_ENVELOPE_CTX, buffer), offsetof(R_RANDOM_STRUCT, output),
                   MAX_PEM_ENCRYPTED_SIGNATURE_LEN, MAX_NN_DIGITS, DECRYPTED_CONTENT_LEN(100), DH_PRIME_LEN(513)}),
            (Sizes{4, 2, 40, 260, 708, 52, 88, 92, 92, 148, 164, 404, 420, 408, 24, 184, 33, 75, 65}));
  unsigned char u[8] = {1, 2, 3, 4, 5, 6, 7, 8}, v[8], iv[8] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef};
  DES_CBC_CTX des;
  EXPECT_EQ((DES_CBCInit(&des, u, iv, 1), DES_CBCUpdate(&des, v, u, 7)), RE_LEN);
  EXPECT_EQ(std::tuple(des.iv[0], des.iv[1], des.originalIV[1]), std::tuple(0x01234567u, 0x89abcdefu, 0x89abcdefu));
  R_memcpy(v, u, 8), v[5] = 9;
  EXPECT_EQ((Ints{R_memcmp(u, v, 8), R_memcmp(v, u, 8), R_memcmp(u, v, 5)}), (Ints{6 - 9, 9 - 6, 0}));
  EXPECT_EQ((R_memset(v, 0xaa, 8), Hex(v, 8)), "aaaaaaaaaaaaaaaa");
  unsigned char bytes[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9}, out[14];
  NN_DIGIT a[4] = {9, 9, 9, 9}, x[2] = {0xffffffff, 0xffffffff}, y[2] = {1, 0xffffffff}, z[2],
           s[2] = {0x80000001, 0x40000000};
  EXPECT_EQ((NN_Decode(a, 4, bytes, 9), Of(a, 4)), (Digits{0x06070809, 0x02030405, 0x01, 0}));
  EXPECT_EQ((NN_Encode(out, 14, a, 3), NN_Encode(out, 3, a, 4), Hex(out, 14)), "0708090000010203040506070809")
      << "zeros above the digits, high bytes dropped";
  EXPECT_EQ(std::tuple(NN_Bits(a, 4), NN_Digits(a, 4), NN_Zero(a, 4)), std::tuple(65u, 3u, 0));
  EXPECT_EQ((NN_Assign2Exp(a, 100, 4), Of(a, 4)), (Digits{0, 0, 0, 1u << 4}));
  EXPECT_EQ((NN_Assign2Exp(a, 128, 4), std::tuple(NN_Zero(a, 4), NN_Bits(a, 4))), std::tuple(1, 0u)) << "too big";
  EXPECT_EQ(Carried(NN_Add(z, x, y, 2), z, 2), (Digits{1, 0, 0xffffffff}));
  EXPECT_EQ(Carried(NN_Sub(z, y, x, 2), z, 2), (Digits{1, 2, 0xffffffff}));
  EXPECT_EQ((Ints{NN_Cmp(x, y, 2), NN_Cmp(y, x, 2), NN_Cmp(x, x, 2)}), (Ints{1, -1, 0}));
  EXPECT_EQ(Carried(NN_RShift(z, s, 1, 2), z, 2), (Digits{0x80000000, 0x40000000, 0x20000000}));
  EXPECT_EQ(NN_LShift(z, s, 32, 2), 0u);
  EXPECT_EQ(Carried(NN_LShift(s, s, 2, 2), s, 2), (Digits{1, 4, 2})) << "in place";
  NN_DIGIT b[4] = {0x89abcdef, 0x01234567, 0xfedcba98, 7}, c[4] = {0xffffffff, 0xffffffff, 0xffff, 0},
           d[4] = {0x12345679, 0x9abcdef0, 3, 0}, t[8], q[8], r[4], bm[4], cm[4], zero[4] = {}, even[4] = {4};
  EXPECT_EQ(Carried(NN_Sub(t, c, b, 4), t, 4), (Digits{1, 0x76543210, 0xfedcba98, 0x1244567, 0xfffffff8}));
  EXPECT_EQ((NN_Mult(t, b, c, 4), Of(t, 8)),
            (Digits{0x76543211, 0xfedcba98, 0xcf124567, 0x456789a3, 0xba980123, 0x7fedc, 0, 0}));
  EXPECT_EQ((NN_Div(q, r, t, 8, d, 4), Cat(Of(q, 8), Of(r, 4))),
            (Digits{0xdcabb6ef, 0x9c7d6ff9, 0x2beacf69, 0x237df, 0, 0, 0, 0, 0x832a711a, 0xac8d358f, 1, 0}));
  EXPECT_EQ((NN_Mod(bm, b, 4, d, 4), NN_Assign(cm, c, 4), NN_Mod(cm, cm, 4, d, 4), Cat(Of(bm, 4), Of(cm, 4))),
            (Digits{0xc8e77055, 0xeb9b63ca, 2, 0, 0x20fec0a2, 0x987b1043, 3, 0}));
  EXPECT_EQ((NN_ModMult(r, bm, cm, d, 4), Of(r, 4)), (Digits{0x832a711a, 0xac8d358f, 1, 0})) << "(b * c) mod d";
  EXPECT_EQ((NN_ModExp(r, bm, c, 2, d, 4), NN_ModInv(t, bm, d, 4), NN_Gcd(t + 4, b, c, 4), Cat(Of(r, 4), Of(t, 8))),
            (Digits{0x6df86611, 0xb90f961, 1, 0, 0xdcc8f4c7, 0xc5faa3f6, 0, 0, 3, 0, 0, 0}));
  EXPECT_EQ((NN_Div(q, r, b, 4, zero, 4), NN_ModExp(bm, b, b, 4, zero, 4), NN_ModInv(cm, even, even, 4),
             NN_Zero(q, 4) + NN_Zero(r, 4) + NN_Zero(bm, 4) + NN_Zero(cm, 4)),
            4);
}

}  // namespace
