#include "Hash.h"

#include <xxhash.h>

#include <new>

namespace kr::zero::archive {

namespace {

std::string digitsOf(XXH128_hash_t hash) {
  XXH128_canonical_t canonical;
  XXH128_canonicalFromHash(&canonical, hash);
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : canonical.digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

}  // namespace

void Hasher::Free::operator()(XXH3_state_s* state) const { XXH3_freeState(state); }

Hasher::Hasher() : state_(XXH3_createState()) {
  if (!state_) throw std::bad_alloc();
  XXH3_128bits_reset(state_.get());
}

void Hasher::add(std::string_view bytes) { XXH3_128bits_update(state_.get(), bytes.data(), bytes.size()); }

std::string Hasher::digits() const { return digitsOf(XXH3_128bits_digest(state_.get())); }

std::string hashOf(std::string_view bytes) { return digitsOf(XXH3_128bits(bytes.data(), bytes.size())); }

std::uint64_t checksumOf(std::string_view bytes) { return XXH3_64bits(bytes.data(), bytes.size()); }

}  // namespace kr::zero::archive
