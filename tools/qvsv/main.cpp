// qvsv: inspect diagnostics and run the library's main job from the command line.
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include "tools/qvsv/command.hpp"

namespace {

using qvsv::tool::Commands;

void printHelp() {
  std::cout << "usage: qvsv COMMAND [ARGS...]\n\nCommands:\n";
  for (const auto* command : Commands()) {
    std::cout << "  qvsv " << command->usage << "\n      " << command->summary << "\n";
  }
  std::cout << "\nExit status: 0 success, 1 bad input, 2 bad usage.\n";
}

const qvsv::tool::Command* findCommand(const std::string& name) {
  for (const auto* command : Commands()) {
    if (command->name == name) return command;
  }
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "qvsv: missing command (see 'qvsv --help')\n";
    return 2;
  }
  const std::string name = argv[1];
  if (name == "--help" || name == "-h" || name == "help") {
    if (name == "help" && argc > 2) {
      if (const auto* command = findCommand(argv[2])) {
        std::cout << "usage: qvsv " << command->usage << "\n" << command->summary << "\n";
        return 0;
      }
      std::cerr << "qvsv: unknown command '" << argv[2] << "' (see 'qvsv --help')\n";
      return 2;
    }
    printHelp();
    return 0;
  }
  const auto* command = findCommand(name);
  if (command == nullptr) {
    std::cerr << "qvsv: unknown command '" << name << "' (see 'qvsv --help')\n";
    return 2;
  }
  qvsv::tool::Args args(argv + 2, argv + argc);
  if (args.size() == 1 && (args[0] == "--help" || args[0] == "-h")) {
    std::cout << "usage: qvsv " << command->usage << "\n" << command->summary << "\n";
    return 0;
  }
  try {
    const int status = command->run(args);
    std::cout.flush();
    return status;
  } catch (const qvsv::tool::UsageError& e) {
    std::cerr << "qvsv " << name << ": " << e.what() << " (usage: qvsv " << command->usage << ")\n";
    return 2;
  } catch (const qvsv::tool::InputError& e) {
    std::cerr << "qvsv " << name << ": " << e.what() << "\n";
    return 1;
  } catch (const std::exception& e) {
    std::cerr << "qvsv " << name << ": " << e.what() << "\n";
    return 1;
  }
}
