// AES-128-CBC of the platform link's bodies, over OpenSSL. Any thread.
#pragma once

#include "platform/wire.h"

namespace plug {

constexpr std::size_t kAesBlock = 16;

/// A KEY as configured, zero-filled; only the first 16 bytes count.
using CipherKey = std::array<char, 32>;

/// The size of `length` plaintext bytes once padded: always one to sixteen bytes more.
constexpr std::size_t PaddedSize(std::size_t length) {
    return length / kAesBlock * kAesBlock + kAesBlock;
}

/// Readies OpenSSL, without its configuration file and exit handlers, and all that is used of it, so that no
/// memory is missing later. 0 or -1. Called once, before any other use.
int PrepareCipher();

/// Pads (1 to 16 bytes, each holding their count) and encrypts with a zero IV. `out` needs PaddedSize(in)
/// bytes; `out_length` receives that size. 0 or -1.
int aes_encrypt(const CipherKey& key, ConstBytes in, Bytes out, std::size_t& out_length);

/// Decrypts the whole blocks of `in` into `out`, which needs as many bytes; `out_length` receives their
/// number. The padding stays: see WithoutPadding. 0 or -1.
int aes_decrypt(const CipherKey& key, ConstBytes in, Bytes out, std::size_t& out_length);

/// `plain` without as many trailing bytes as its last byte counts, into `stripped`. False when it counts more
/// bytes than there are, or there are none.
bool WithoutPadding(ConstBytes plain, ConstBytes& stripped);

}  // namespace plug
