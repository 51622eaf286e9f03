// Helpers shared by the test suites.
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <set>
#include <string>

namespace qvsv::test {

// Scales an iteration count for heavy randomised tests: QVSV_TEST_SCALE (a
// positive factor, 1 when unset) lets the sanitizer runs shrink them.
std::size_t Scaled(std::size_t full, std::size_t minimum = 1);

// Names each case of a parameterised test after its row's `name` field:
// INSTANTIATE_TEST_SUITE_P(Area, Fixture, Values(...), qvsv::test::RowName()).
struct RowName {
  template <typename Info>
  std::string operator()(const Info& info) const {
    return info.param.name;
  }
};

// A fresh directory under the system temporary folder, removed on destruction.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::filesystem::path& path() const { return path_; }
  // Writes text to a file below the directory (creating folders).
  std::filesystem::path write(const std::string& relative, const std::string& text) const;

 private:
  std::filesystem::path path_;
};

// Sets an environment variable for the scope's lifetime.
class ScopedEnv {
 public:
  ScopedEnv(std::string name, const std::string& value);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  bool had_;
  std::string previous_;
};

// The keys of a catalogue source, each with the placeholders its text uses
// (the text inside each pair of braces), from lines `Key { "text" }`.
std::map<std::string, std::set<std::string>> CatalogueKeys(const std::filesystem::path& file);
// The same for the English catalogue the library ships for one area
// (resources/QV_SERVICES/AREA/en.txt in the source tree).
std::map<std::string, std::set<std::string>> ShippedCatalogueKeys(const std::string& area);

}  // namespace qvsv::test
