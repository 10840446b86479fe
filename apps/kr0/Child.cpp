#include "Child.h"

#include <sys/wait.h>

#include <cerrno>

namespace kr::zero::tool {

int waitForEnd(pid_t child) noexcept {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace kr::zero::tool
