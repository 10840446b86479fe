#include "tool/Tool.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "support/Paths.h"

namespace kr::zero::test {

namespace {

std::vector<char*> pointersTo(const std::vector<std::string>& words) {
  std::vector<char*> pointers;
  for (const std::string& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  return pointers;
}

std::vector<char*> environmentWith(const std::vector<std::string>& variables) {
  std::vector<char*> pointers = pointersTo(variables);
  for (char** variable = environ; *variable != nullptr; ++variable) pointers.push_back(*variable);
  pointers.push_back(nullptr);
  return pointers;
}

// Standard streams go through files: nothing can block, however much is written.
Ended spawn(const std::vector<std::string>& command, const std::string& input, const Trouble& trouble = {}) {
  const std::string folder = freshFolder();
  const std::string in = folder + "/in", out = folder + "/out", err = folder + "/err";
  writeFile(in, input);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, in.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), O_WRONLY | O_CREAT, 0600);
  std::vector<char*> argv = pointersTo(command);
  argv.push_back(nullptr);
  pid_t child = 0;
  const int failed = posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(),
                                  environmentWith(trouble.variables).data());
  posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) throw std::runtime_error("cannot start " + command.front());
  if (trouble.signal != 0) {
    std::this_thread::sleep_for(trouble.moment);
    kill(child, trouble.signal);  // nobody else has the number before it is waited for
  }
  int status = 0;
  if (waitpid(child, &status, 0) != child) throw std::runtime_error("lost " + command.front());
  const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  Ended ended{code, readFile(out), readFile(err)};
  std::filesystem::remove_all(folder);
  return ended;
}

std::vector<std::string> callOf(const std::vector<std::string>& arguments) {
  std::vector<std::string> command = {KR0_TOOL};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

std::string makeLibraryKrb() {
  const std::string path = freshFolder() + "/library.krb";
  const Ended ended = kr0({"convert", libraryXmi(), path, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 0) << ended.err;
  return path;
}

std::string makeChainEcore() {
  const std::string path = freshFolder() + "/chain.ecore";
  writeFile(path, R"(<?xml version="1.0" encoding="UTF-8"?>
<ecore:EPackage xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI"
    xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
    xmlns:ecore="http://www.eclipse.org/emf/2002/Ecore" name="chain" nsURI="urn:chain" nsPrefix="chain">
  <eClassifiers xsi:type="ecore:EClass" name="Node">
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="name"
        eType="ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EString"/>
    <eStructuralFeatures xsi:type="ecore:EReference" name="child" eType="#//Node" containment="true"/>
    <eStructuralFeatures xsi:type="ecore:EReference" name="friend" eType="#//Node"/>
  </eClassifiers>
</ecore:EPackage>
)");
  return path;
}

}  // namespace

Ended kr0(const std::vector<std::string>& arguments, const std::string& input) {
  return spawn(callOf(arguments), input);
}

Ended kr0(const Trouble& trouble, const std::vector<std::string>& arguments) {
  return spawn(callOf(arguments), {}, trouble);
}

std::vector<std::string> faults(const std::vector<std::string>& plan) {
  if (isSanitized()) throw std::logic_error("no faults under a sanitizer");
  std::vector<std::string> variables = {std::string("LD_PRELOAD=") + KR0_FAULTS};
  for (const std::string& line : plan) variables.push_back("KR0_FAULT_" + line);
  return variables;
}

int moments() {
  const char* const wanted = std::getenv("KR0_MOMENTS");
  return wanted == nullptr ? 10 : std::atoi(wanted);
}

Ended bash(const std::string& script, const std::vector<std::string>& arguments) {
  setenv("KR0", KR0_TOOL, 1);
  std::vector<std::string> command = {"bash", "-c", script, "bash"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return spawn(command, {});
}

bool isSanitized() { return KR0_SANITIZED; }

std::string libraryEcore() { return sourceDir() + "/examples/library/library.ecore"; }
std::string libraryXmi() { return sourceDir() + "/examples/library/library.xmi"; }

std::string libraryKrb() {
  static const std::string path = makeLibraryKrb();
  return path;
}

std::string chainEcore() {
  static const std::string path = makeChainEcore();
  return path;
}

std::string chainXmi(int depth) {
  std::string text =
      "<chain:Node xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" xmlns:chain=\"urn:chain\" "
      "name=\"n1\">";
  for (int i = 2; i <= depth; ++i) text += "<child name=\"n" + std::to_string(i) + "\">";
  for (int i = 2; i <= depth; ++i) text += "</child>";
  return text + "</chain:Node>\n";
}

std::string freshFolder() {
  static int count = 0;
  const std::string folder = temporaryPath("folder" + std::to_string(++count));
  std::filesystem::create_directory(folder);
  return folder;
}

std::vector<std::string> filesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.push_back(entry.path().filename().string());
  return names;
}

bool isOneLine(const std::string& text) {
  return text.size() > 1 && text.back() == '\n' && std::count(text.begin(), text.end(), '\n') == 1;
}

}  // namespace kr::zero::test
