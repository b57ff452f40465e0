#include "platform/crypto/crypto.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <memory>

namespace obx::platform {
namespace {

constexpr std::size_t kBlockSize = 16;

// OpenSSL frees its tables in an exit handler of its own, while the SDK's threads may still be
// enciphering an event: a call racing the host's exit then faults inside the library. So OpenSSL is
// asked not to clean up at exit when the SDK starts it first; when the host started it, an exit
// handler of ours, registered after OpenSSL's and so run before it, closes the door to new calls and
// waits for those under way. A call refused at exit fails as a memory failure would.
std::atomic<int> gCallsUnderWay{0};
std::atomic<bool> gExiting{false};

void closeAtExit() {
  gExiting.store(true);
  // Bounded: a call takes microseconds; a thread stopped inside one must not hold the exit.
  for (int wait = 0; wait < 1000 && gCallsUnderWay.load() > 0; ++wait) ::usleep(1000);
}

void startLibrary() {
  static const bool started = [] {
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    std::atexit(closeAtExit);
    return true;
  }();
  (void)started;
}

// Started in the process's start-up, before a host's later use of OpenSSL can register its clean-up.
[[maybe_unused]] const bool kLibraryStarted = (startLibrary(), true);

// One call into OpenSSL; `open` is false once the process exits.
class LibraryCall {
 public:
  LibraryCall() {
    startLibrary();
    gCallsUnderWay.fetch_add(1);
    open_ = !gExiting.load();
  }
  ~LibraryCall() { gCallsUnderWay.fetch_sub(1); }
  LibraryCall(const LibraryCall&) = delete;
  LibraryCall& operator=(const LibraryCall&) = delete;
  bool open() const { return open_; }

 private:
  bool open_ = false;
};

struct CipherContextDeleter {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
struct DigestContextDeleter {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

const EVP_CIPHER* cipherForKeyLength(std::size_t length) {
  switch (length) {
    case 16:
      return EVP_aes_128_cbc();
    case 24:
      return EVP_aes_192_cbc();
    case 32:
      return EVP_aes_256_cbc();
    default:
      return nullptr;
  }
}

// One cipher context per thread, kept between calls: making a context and expanding the key cost
// more than enciphering a small block. Called again with the same cipher, key and direction, only
// the vector is set anew, which also resets the context's buffered state.
struct CachedCipher {
  std::unique_ptr<EVP_CIPHER_CTX, CipherContextDeleter> context{EVP_CIPHER_CTX_new()};
  const EVP_CIPHER* cipher = nullptr;
  std::string key;
  bool encrypt = false;

  bool prepare(const EVP_CIPHER* wanted, std::string_view wantedKey, std::string_view iv, bool wantEncrypt) {
    const auto* ivBytes = reinterpret_cast<const unsigned char*>(iv.data());
    const bool sameKey = cipher == wanted && encrypt == wantEncrypt && key == wantedKey;
    const bool initialised =
        sameKey ? EVP_CipherInit_ex(context.get(), nullptr, nullptr, nullptr, ivBytes, wantEncrypt ? 1 : 0) == 1
                : EVP_CipherInit_ex(context.get(), wanted, nullptr,
                                    reinterpret_cast<const unsigned char*>(wantedKey.data()), ivBytes,
                                    wantEncrypt ? 1 : 0) == 1;
    // PKCS#7 padding is the context's default and nothing here turns it off.
    if (!initialised) {
      // A context left half set up is never reused with its old key.
      cipher = nullptr;
      key.clear();
      return false;
    }
    if (!sameKey) {
      cipher = wanted;
      key.assign(wantedKey);
      encrypt = wantEncrypt;
    }
    return true;
  }
};

CachedCipher& cachedCipher() {
  thread_local CachedCipher cached;
  return cached;
}

template <std::size_t N>
std::array<std::uint8_t, N> digest(const EVP_MD* type, std::string_view data) {
  std::array<std::uint8_t, N> out{};
  LibraryCall call;
  if (!call.open()) return out;
  std::unique_ptr<EVP_MD_CTX, DigestContextDeleter> context(EVP_MD_CTX_new());
  unsigned int length = 0;
  if (!context || EVP_DigestInit_ex(context.get(), type, nullptr) != 1 ||
      EVP_DigestUpdate(context.get(), data.data(), data.size()) != 1 ||
      EVP_DigestFinal_ex(context.get(), out.data(), &length) != 1 || length != N) {
    return {};
  }
  return out;
}

}  // namespace

CCCryptResult ccCrypt(CCOperation operation, std::string_view key, std::string_view iv, std::string_view dataIn,
                      std::size_t dataOutAvailable) {
  CCCryptResult result;
  LibraryCall call;
  if (!call.open()) {
    result.status = CCCryptorStatus::memoryFailure;
    return result;
  }
  const EVP_CIPHER* cipher = cipherForKeyLength(key.size());
  if (!cipher || iv.size() != kBlockSize) {
    result.status = CCCryptorStatus::paramError;
    return result;
  }
  const bool encrypt = operation == CCOperation::encrypt;
  if (!encrypt && dataIn.size() % kBlockSize != 0) {
    result.status = CCCryptorStatus::alignmentError;
    return result;
  }
  const std::size_t needed = encrypt ? (dataIn.size() / kBlockSize + 1) * kBlockSize : dataIn.size();
  if (dataOutAvailable < needed) {
    result.status = CCCryptorStatus::bufferTooSmall;
    result.dataOutMoved = needed;
    return result;
  }

  CachedCipher& cached = cachedCipher();
  if (!cached.context) {
    result.status = CCCryptorStatus::memoryFailure;
    return result;
  }
  if (!cached.prepare(cipher, key, iv, encrypt)) {
    result.status = CCCryptorStatus::paramError;
    return result;
  }
  EVP_CIPHER_CTX* context = cached.context.get();

  std::string out(needed + kBlockSize, '\0');
  auto* outBytes = reinterpret_cast<unsigned char*>(out.data());
  int updateLength = 0;
  // EVP takes int lengths; blocks of the store are bounded far below that.
  if (dataIn.size() > static_cast<std::size_t>(INT32_MAX) ||
      EVP_CipherUpdate(context, outBytes, &updateLength,
                       reinterpret_cast<const unsigned char*>(dataIn.data()), static_cast<int>(dataIn.size())) != 1) {
    result.status = CCCryptorStatus::paramError;
    return result;
  }
  int finalLength = 0;
  if (EVP_CipherFinal_ex(context, outBytes + updateLength, &finalLength) != 1) {
    result.status = encrypt ? CCCryptorStatus::paramError : CCCryptorStatus::decodeError;
    return result;
  }
  const std::size_t moved = static_cast<std::size_t>(updateLength) + static_cast<std::size_t>(finalLength);
  out.resize(moved);
  result.status = CCCryptorStatus::success;
  result.data = std::move(out);
  result.dataOutMoved = moved;
  return result;
}

std::array<std::uint8_t, 16> ccMD5(std::string_view data) { return digest<16>(EVP_md5(), data); }

std::array<std::uint8_t, 32> ccSHA256(std::string_view data) { return digest<32>(EVP_sha256(), data); }

std::string hexString(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (unsigned char byte : bytes) {
    out.push_back(kDigits[byte >> 4]);
    out.push_back(kDigits[byte & 0x0f]);
  }
  return out;
}

}  // namespace obx::platform
