#include "platform/security.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include "core/log.h"
#include "core/sync.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "security.c";

enum Direction : int { kDecrypt = 0, kEncrypt = 1 };

struct CipherState {
    Mutex mutex;
    // One context a direction, created at first use and re-keyed for each message.
    EVP_CIPHER_CTX* contexts[2] PLUG_CHECKED(guarded_by(mutex)) = {};
};
constinit CipherState state;

bool Crypt(EVP_CIPHER_CTX* context, ConstBytes in, std::uint8_t* out) {
    int written = 0;
    return EVP_CipherUpdate(context, out, &written, in.data(), static_cast<int>(in.size())) == 1 &&
           static_cast<std::size_t>(written) == in.size();
}

/// The direction's context, keyed and with a zero IV; null when OpenSSL refuses.
EVP_CIPHER_CTX* KeyedContext(const CipherKey& key, Direction direction)
    PLUG_CHECKED(requires_capability(state.mutex)) {
    EVP_CIPHER_CTX*& context = state.contexts[direction];
    const bool fresh = context == nullptr;
    if (fresh) context = EVP_CIPHER_CTX_new();
    if (context == nullptr) return nullptr;
    static constexpr unsigned char kZeroIv[kAesBlock] = {};
    const int keyed =
        EVP_CipherInit_ex(context, fresh ? EVP_aes_128_cbc() : nullptr, nullptr,
                          reinterpret_cast<const unsigned char*>(key.data()), kZeroIv, direction);
    if (keyed != 1) {
        EVP_CIPHER_CTX_free(context);
        context = nullptr;
        return nullptr;
    }
    EVP_CIPHER_CTX_set_padding(context, 0);
    return context;
}

}  // namespace

int PrepareCipher() {
    if (OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG | OPENSSL_INIT_NO_ATEXIT, nullptr) != 1) return -1;
    const Guard guard(state.mutex);
    const bool ready = KeyedContext({}, kEncrypt) != nullptr && KeyedContext({}, kDecrypt) != nullptr;
    return ready && EVP_MD_get_size(EVP_md5()) > 0 ? 0 : -1;
}

int aes_encrypt(const CipherKey& key, ConstBytes in, Bytes out, std::size_t& out_length) {
    const LogAuthor author(__func__);
    const std::size_t padded = PaddedSize(in.size());
    if (out.size() < padded) return -1;
    const std::size_t whole = padded - kAesBlock;
    std::array<std::uint8_t, kAesBlock> last;
    last.fill(static_cast<std::uint8_t>(padded - in.size()));
    std::copy(in.begin() + static_cast<std::ptrdiff_t>(whole), in.end(), last.begin());

    const Guard guard(state.mutex);
    EVP_CIPHER_CTX* const context = KeyedContext(key, kEncrypt);
    if (context == nullptr) {
        PLUG_LOG(kErr, "Unable to set encryption key in AES error !!!!!");
        return -1;
    }
    if (!Crypt(context, in.first(whole), out.data()) || !Crypt(context, last, out.data() + whole)) return -1;
    out_length = padded;
    return 0;
}

int aes_decrypt(const CipherKey& key, ConstBytes in, Bytes out, std::size_t& out_length) {
    const LogAuthor author(__func__);
    const std::size_t whole = in.size() / kAesBlock * kAesBlock;
    if (out.size() < whole) return -1;
    const Guard guard(state.mutex);
    EVP_CIPHER_CTX* const context = KeyedContext(key, kDecrypt);
    if (context == nullptr) {
        PLUG_LOG(kErr, "Unable to set decryption key in AES error !!!!!");
        return -1;
    }
    if (!Crypt(context, in.first(whole), out.data())) return -1;
    out_length = whole;
    return 0;
}

bool WithoutPadding(ConstBytes plain, ConstBytes& stripped) {
    if (plain.empty() || plain.back() > plain.size()) return false;
    stripped = plain.first(plain.size() - plain.back());
    return true;
}

}  // namespace plug
