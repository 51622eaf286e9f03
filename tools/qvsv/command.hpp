// The qvsv tool's command registry. Each command lives in its own file and
// registers itself with a static Command object; the demo is assembled from
// sections registered the same way, shown in ascending order.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace qvsv::tool {

using Args = std::vector<std::string>;

// Exit status 2: the command line is wrong.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Exit status 1: the input is wrong (a value that does not parse, a document
// that does not restore, an unknown identifier).
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Command {
  Command(std::string name, std::string usage, std::string summary, std::function<int(const Args&)> run);
  std::string name;
  std::string usage;
  std::string summary;
  std::function<int(const Args&)> run;
};

const std::vector<const Command*>& Commands();

struct DemoSection {
  DemoSection(int order, std::string heading, std::function<void()> run);
  int order;
  std::string heading;
  std::function<void()> run;
};

const std::vector<const DemoSection*>& DemoSections();

// Option parsing shared by the commands: takes "--name VALUE" or
// "--name=VALUE" out of args; throws UsageError when the value is missing.
bool TakeOption(Args& args, const std::string& name, std::string& value);
// Takes a flag "--name" out of args.
bool TakeFlag(Args& args, const std::string& name);
// Throws UsageError for any argument left that starts with "--".
void RejectUnknownOptions(const Args& args);

}  // namespace qvsv::tool
