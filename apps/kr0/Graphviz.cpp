// Runs Graphviz.
#include <spawn.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "Child.h"
#include "Draw.h"
#include "Errors.h"
#include "Visible.h"

extern char** environ;

namespace kr::zero::tool {

namespace {

/// A file without a name: nothing can block on it as on a pipe.
class NamelessFile {
 public:
  NamelessFile() : file_(std::tmpfile(), std::fclose) {
    if (!file_) fail();
  }
  int descriptor() const { return ::fileno(file_.get()); }
  void write(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size() || std::fflush(file_.get()) != 0)
      fail();
    std::rewind(file_.get());
  }
  std::string read() {
    std::rewind(file_.get());
    std::string text;
    char piece[1 << 16];
    while (const std::size_t got = std::fread(piece, 1, sizeof piece, file_.get())) text.append(piece, got);
    if (std::ferror(file_.get()) != 0) fail();
    return text;
  }

 private:
  [[noreturn]] static void fail() {
    throw Error(ErrorCode::unwritable,
                "a file for Graphviz cannot be used: " + std::generic_category().message(errno));
  }
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
};

/// Where the standard streams of a program lead.
class Streams {
 public:
  Streams(const NamelessFile& in, const NamelessFile& out, const NamelessFile& errors) {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawn_file_actions_adddup2(&actions_, in.descriptor(), STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions_, out.descriptor(), STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions_, errors.descriptor(), STDERR_FILENO);
  }
  ~Streams() { ::posix_spawn_file_actions_destroy(&actions_); }
  Streams(const Streams&) = delete;
  Streams& operator=(const Streams&) = delete;
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

}  // namespace

std::string renderByGraphviz(std::string_view diagram, const std::string& format) {
  NamelessFile in, out, errors;
  in.write(diagram);
  const Streams streams(in, out, errors);
  std::string name = "dot", option = "-T" + format;
  char* const words[] = {name.data(), option.data(), nullptr};
  pid_t child = 0;
  const int failure = ::posix_spawnp(&child, words[0], streams.get(), nullptr, words, environ);
  if (failure == ENOENT)
    throw WrongCall(
        "drawing takes dot, a program of Graphviz, which is not installed; a name that ends in .dot gives "
        "what it would draw");
  if (failure != 0)
    throw Error(ErrorCode::unreadable, "dot cannot be run: " + std::generic_category().message(failure));
  if (waitForEnd(child) != 0) {
    const std::string said = errors.read();
    throw Error(ErrorCode::unwritable,
                "dot cannot draw this" +
                    (said.empty() ? std::string() : ": " + asOneLine(said.substr(0, said.find('\n')))));
  }
  return out.read();
}

}  // namespace kr::zero::tool
