/// @file
/// Runs the real tool and looks at what it leaves behind.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace kr::zero::test {

/// How a run of a program ended.
struct Ended {
  int code = -1;  ///< exit code; 128 + n where signal n ended it
  std::string out;
  std::string err;
};

/// Runs kr0 with these arguments.
/// @param input what standard input holds.
Ended kr0(const std::vector<std::string>& arguments, const std::string& input = {});

/// A run of kr0 in which something goes wrong.
struct Trouble {
  std::vector<std::string> variables = {};  ///< "NAME=value", beside those of this process
  int signal = 0;                           ///< sent after `moment`, where it is not 0
  std::chrono::microseconds moment{0};
};
Ended kr0(const Trouble& trouble, const std::vector<std::string>& arguments);

/// The variables that make tests/faults/faults.cpp work, which tells them; "CALL=write" for
/// KR0_FAULT_CALL=write.
/// @throws std::logic_error where programs are sanitized, which take no such library before theirs.
std::vector<std::string> faults(const std::vector<std::string>& plan);

/// How often a test that takes moments by chance does so: 10, or what KR0_MOMENTS says.
int moments();

/// Runs a bash script in which $KR0 is the tool and $1, $2 ... are the arguments.
Ended bash(const std::string& script, const std::vector<std::string>& arguments = {});

/// Whether tests and tool are built with a sanitizer.
bool isSanitized();

/// The example of this project: a meta model and a model of it.
std::string libraryEcore();
std::string libraryXmi();
/// The example model in the binary format, made by the tool at first use.
std::string libraryKrb();

/// A meta model of chains: class Node with a name and one child.
std::string chainEcore();
/// A chain of that many nodes, named n1, n2 ... from the top. With 30,000 of them and a stack of 256 KiB,
/// nine bytes a node are too many: no recursion gets through.
std::string chainXmi(int depth);

/// A new empty folder.
std::string freshFolder();
std::vector<std::string> filesIn(const std::string& folder);

/// Whether a text is one line, and not an empty one.
bool isOneLine(const std::string& text);

}  // namespace kr::zero::test
