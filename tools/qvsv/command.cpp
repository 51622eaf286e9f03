#include "tools/qvsv/command.hpp"

#include <algorithm>

namespace qvsv::tool {
namespace {

std::vector<const Command*>& commandList() {
  static std::vector<const Command*> list;
  return list;
}

std::vector<const DemoSection*>& sectionList() {
  static std::vector<const DemoSection*> list;
  return list;
}

}  // namespace

Command::Command(std::string n, std::string u, std::string s, std::function<int(const Args&)> r)
    : name(std::move(n)), usage(std::move(u)), summary(std::move(s)), run(std::move(r)) {
  auto& list = commandList();
  list.insert(std::upper_bound(list.begin(), list.end(), this,
                               [](const Command* a, const Command* b) { return a->name < b->name; }),
              this);
}

const std::vector<const Command*>& Commands() { return commandList(); }

DemoSection::DemoSection(int o, std::string h, std::function<void()> r)
    : order(o), heading(std::move(h)), run(std::move(r)) {
  auto& list = sectionList();
  list.insert(std::upper_bound(list.begin(), list.end(), this,
                               [](const DemoSection* a, const DemoSection* b) { return a->order < b->order; }),
              this);
}

const std::vector<const DemoSection*>& DemoSections() { return sectionList(); }

bool TakeOption(Args& args, const std::string& name, std::string& value) {
  for (auto it = args.begin(); it != args.end(); ++it) {
    if (*it == "--") return false;
    if (*it == name) {
      if (it + 1 == args.end()) throw UsageError("option " + name + " needs a value");
      value = *(it + 1);
      args.erase(it, it + 2);
      return true;
    }
    if (it->rfind(name + "=", 0) == 0) {
      value = it->substr(name.size() + 1);
      args.erase(it);
      return true;
    }
  }
  return false;
}

bool TakeFlag(Args& args, const std::string& name) {
  for (auto it = args.begin(); it != args.end(); ++it) {
    if (*it == "--") return false;
    if (*it == name) {
      args.erase(it);
      return true;
    }
  }
  return false;
}

void RejectUnknownOptions(const Args& args) {
  for (const std::string& arg : args) {
    if (arg == "--") return;
    if (arg.size() > 1 && arg[0] == '-' && arg[1] == '-') throw UsageError("unknown option " + arg);
  }
}

}  // namespace qvsv::tool
