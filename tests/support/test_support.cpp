#include "tests/support/test_support.hpp"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace qvsv::test {

std::size_t Scaled(std::size_t full, std::size_t minimum) {
  const char* env = std::getenv("QVSV_TEST_SCALE");
  if (env == nullptr || *env == '\0') return full;
  const double factor = std::atof(env);
  if (!(factor > 0)) return full;
  const auto scaled = static_cast<std::size_t>(static_cast<double>(full) * factor);
  return scaled < minimum ? minimum : scaled;
}

TempDir::TempDir() {
  static std::atomic<int> counter{0};
  path_ = std::filesystem::temp_directory_path() /
          ("qvsv-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter.fetch_add(1)));
  std::filesystem::remove_all(path_);
  std::filesystem::create_directories(path_);
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TempDir::write(const std::string& relative, const std::string& text) const {
  const std::filesystem::path file = path_ / relative;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary);
  out << text;
  if (!out) throw std::runtime_error("cannot write " + file.string());
  return file;
}

ScopedEnv::ScopedEnv(std::string name, const std::string& value) : name_(std::move(name)) {
  const char* old = std::getenv(name_.c_str());
  had_ = old != nullptr;
  if (had_) previous_ = old;
  ::setenv(name_.c_str(), value.c_str(), 1);
}

ScopedEnv::~ScopedEnv() {
  if (had_) {
    ::setenv(name_.c_str(), previous_.c_str(), 1);
  } else {
    ::unsetenv(name_.c_str());
  }
}

std::map<std::string, std::set<std::string>> CatalogueKeys(const std::filesystem::path& file) {
  std::ifstream in(file);
  if (!in.good()) throw std::runtime_error("cannot read " + file.string());
  // Plain string search: std::regex trips GCC 12's false uninitialised-use
  // warning in the sanitizer build.
  std::map<std::string, std::set<std::string>> keys;
  for (std::string line; std::getline(in, line);) {
    const auto open = line.find(" { \"");
    const auto close = line.rfind("\" }");
    if (open == std::string::npos || close == std::string::npos || close < open + 4) continue;
    const auto start = line.find_first_not_of(" \t");
    auto& placeholders = keys[line.substr(start, open - start)];
    const std::string text = line.substr(open + 4, close - open - 4);
    for (auto brace = text.find('{'); brace != std::string::npos; brace = text.find('{', brace + 1)) {
      const auto end = text.find('}', brace);
      if (end != std::string::npos) placeholders.insert(text.substr(brace + 1, end - brace - 1));
    }
  }
  return keys;
}

std::map<std::string, std::set<std::string>> ShippedCatalogueKeys(const std::string& area) {
  return CatalogueKeys(std::filesystem::path(QVSV_SOURCE_DIR) / "resources/QV_SERVICES" / area / "en.txt");
}

}  // namespace qvsv::test
