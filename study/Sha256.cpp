#include "Sha256.h"

#include <openssl/evp.h>

#include <new>

#include "kr/zero/Error.h"

namespace kr::zero::study {

namespace {

/// libcrypto says no more than that it could not; every libcrypto has SHA-256, so it is memory.
void require(int isDone) {
  if (isDone != 1) throw Error(ErrorCode::outOfMemory, "libcrypto computes no SHA-256 here");
}

}  // namespace

void Sha256::Free::operator()(evp_md_ctx_st* context) const { EVP_MD_CTX_free(context); }

Sha256::Sha256() : context_(EVP_MD_CTX_new()) {
  if (!context_) throw std::bad_alloc();
  require(EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr));
}

void Sha256::hashPending() {
  require(EVP_DigestUpdate(context_.get(), pending_.data(), pending_.size()));
  pending_.clear();
}

std::array<std::uint8_t, 32> Sha256::finish() {
  hashPending();
  std::array<std::uint8_t, 32> bytes{};
  require(EVP_DigestFinal_ex(context_.get(), bytes.data(), nullptr));
  return bytes;
}

}  // namespace kr::zero::study
