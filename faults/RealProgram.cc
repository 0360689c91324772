// The program lies where the build puts it.
#include "faults/RealProgram.h"

#include <fstream>
#include <map>
#include <utility>

#include "faults/Program.h"
#include "testing/DiskCalls.h"

namespace accountsettings::faults {

namespace {

// The calls that change the disk, and what DiskCalls calls them.
constexpr std::pair<const char*, const char*> kChanges[] = {
    {"openat", "create"},   {"openat2", "create"},      {"write", "write"},
    {"fsync", "fsync"},     {"fchmod", "fchmod"},       {"fchown", "fchown"},
    {"fchownat", "fchown"}, {"ftruncate", "ftruncate"}, {"renameat", "rename"},
    {"unlinkat", "unlink"}, {"mkdirat", "mkdir"},       {"symlinkat", "symlink"},
};

Told underStrace(const std::vector<std::string>& options,
                 const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {"strace", "-qq"};
  words.insert(words.end(), options.begin(), options.end());
  words.emplace_back(AS_TOOL_BINARY);
  words.insert(words.end(), arguments.begin(), arguments.end());
  return runOtherProgram(words);
}

// "renameat" in "renameat(4, ...".
std::string nameIn(const std::string& line) {
  return line.substr(0, line.find('('));
}

bool changes(const std::string& line) {
  const std::string name = nameIn(line);
  if (name.starts_with("openat")) return line.find("O_CREAT") != std::string::npos;
  // What it says to its user.
  return !line.starts_with("write(1,") && !line.starts_with("write(2,");
}

}  // namespace

bool canInject() {
  return runOtherProgram({"strace", "-qq", "-o", "/dev/null", "true"}).status == 0;
}

std::vector<SystemCall> changesOfRealProgram(const std::vector<std::string>& arguments,
                                             const std::string& scratch) {
  std::string traced = "trace=";
  for (const auto& [name, kind] : kChanges) traced += std::string(name) + ",";
  (void)underStrace({"-o", scratch, "-e", traced.substr(0, traced.size() - 1)}, arguments);
  std::vector<SystemCall> calls;
  std::map<std::string, int> numbers;
  std::ifstream log(scratch);
  for (std::string line; std::getline(log, line);) {
    const int number = ++numbers[nameIn(line)];
    if (changes(line)) calls.push_back({nameIn(line), number});
  }
  return calls;
}

std::vector<int> disturbancesOf(const SystemCall& call) {
  std::vector<int> errors = {0};
  for (const auto& [name, kind] : kChanges) {
    if (call.name != name) continue;
    const std::vector<int>& known = testing::errorsOfDiskCall(kind);
    errors.insert(errors.end(), known.begin(), known.end());
  }
  return errors;
}

Told runRealProgram(const std::vector<std::string>& arguments, const SystemCall& call, int error) {
  const std::string what = error == 0 ? "signal=KILL" : "error=" + std::to_string(error);
  return underStrace({"-o", "/dev/null", "-e", "trace=" + call.name, "-e",
                      "inject=" + call.name + ":" + what + ":when=" + std::to_string(call.number)},
                     arguments);
}

}  // namespace accountsettings::faults
