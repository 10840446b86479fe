/// @file
/// What the caller of a test program may set, and how the program was built.
///
///     KR0_SEED=7 test_roundtrip          another random sequence (printed by every test that uses one)
///     KR0_MUTANTS=10000000 test_hostile  a longer run
///     KR0_PAIRS=1000000 test_roundtrip
#pragma once

#include <cstdint>

namespace kr::zero::test {

/// The number in an environment variable, or `otherwise` where it is not set.
/// @throws std::invalid_argument where it is set to something else than a decimal number.
std::uint64_t numberFromEnvironment(const char* name, std::uint64_t otherwise);

/// KR0_SEED, else a fixed number; prints it with the name of what it is for.
std::uint64_t seedFor(const char* purpose);

/// Whether AddressSanitizer watches this build: everything takes several times longer then.
constexpr bool underAddressSanitizer() {
#if defined(__SANITIZE_ADDRESS__)
  return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
  return true;
#else
  return false;
#endif
#else
  return false;
#endif
}

}  // namespace kr::zero::test
