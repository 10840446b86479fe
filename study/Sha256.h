/// @file
/// Internal: SHA-256 of bytes that come in small pieces.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace kr::zero::study {

class Sha256 {
 public:
  Sha256();

  void add(char byte) {
    pending_.push_back(byte);
    if (pending_.size() >= kPiece) hashPending();
  }
  void add(std::string_view bytes) {
    pending_.append(bytes);
    if (pending_.size() >= kPiece) hashPending();
  }
  /// Of all bytes so far. Nothing can be added any more.
  std::array<std::uint8_t, 32> finish();

 private:
  static constexpr std::size_t kPiece = 1 << 14;
  struct Free {
    void operator()(evp_md_ctx_st* context) const;
  };
  void hashPending();

  std::unique_ptr<evp_md_ctx_st, Free> context_;
  std::string pending_;
};

}  // namespace kr::zero::study
