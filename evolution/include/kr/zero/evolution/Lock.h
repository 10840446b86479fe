/// @file
/// What the numbers of meta models mean, written down: a file beside the meta models that a build checks them
/// against.
///
///     auto lock = kr::zero::evolution::Lock::parse(text, "books.lock");
///     for (const auto& finding : lock.check(registry))
///       std::cerr << (finding.isError ? "error: " : "notice: ") << finding.sentence << '\n';
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/Error.h"
#include "kr/zero/evolution/export.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::evolution {

/// Something that is not as a lock has it.
struct LockFinding {
  /// A number or literal that does not mean what it meant: old direct documents are refused, or show what
  /// nobody wrote. What is no error is worth a word: something is new, or gone.
  bool isError = false;
  std::string subject;   ///< "books.Book 2", "books.Color 1", "books.Book", or a package's URI
  std::string sentence;  ///< what it was, what it is, and what old documents show
};

/// The numbers of properties and literals, by package and type. What was once in it stays, retired where it
/// is gone, so that a number that is used again is noticed however long ago its property was removed.
///
/// Movable. Threads: as a value.
class KR0_EVOLUTION_API Lock {
 public:
  /// A lock with nothing in it.
  Lock();
  ~Lock();
  Lock(Lock&& other) noexcept;
  Lock& operator=(Lock&& other) noexcept;

  /// Reads a lock file (docs/formats/lock.md). Nothing in it is trusted.
  /// @param name what the error calls the file.
  /// @throws Error (ErrorCode::damaged, overLimit for more than 16 MiB) with one sentence for what is no lock
  /// file.
  static Lock parse(std::string_view text, std::string_view name);

  /// The text of the file: UTF-8, ends with a line feed, the same for the same content, a line for each
  /// number.
  std::string write() const;

  /// Takes in what a registry says. What is gone from its packages is retired; other packages stay as they
  /// are. Numbers that mean something else now are taken in as they are: call check() first.
  /// @throws Error as check() does.
  void update(const meta::MetaRegistry& registry);

  /// Compares with a registry.
  /// @return errors and notices, by package and type in the order of the file, then what is new.
  /// @throws Error (ErrorCode::overLimit) where classes inherit more than 4 million numbers together.
  std::vector<LockFinding> check(const meta::MetaRegistry& registry) const;

  /// @cond
  struct Contents;
  /// @endcond

 private:
  std::unique_ptr<Contents> contents_;
};

}  // namespace kr::zero::evolution
