#include "tools/kept_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace zel::cli {

KeptFile::KeptFile(const std::string& path) : path_(path) {
  namespace fs = std::filesystem;
  const fs::path folder = fs::path(path).parent_path();
  std::error_code error;
  if (!folder.empty()) fs::create_directories(folder, error);
  if (!error) {
    errno = 0;
    file_.open(part());
    if (!file_) error = {errno, std::generic_category()};
  }
  if (error) {
    throw std::runtime_error(fmt::format("cannot write {}: {}", path_, error.message()));
  }
}

KeptFile::~KeptFile() {
  if (!file_.is_open()) return;
  file_.close();
  std::remove(part().c_str());
}

void KeptFile::keep() {
  errno = 0;
  file_.close();
  if (file_.fail() || std::rename(part().c_str(), path_.c_str()) != 0) {
    const std::string why = std::generic_category().message(errno);
    std::remove(part().c_str());
    throw std::runtime_error(fmt::format("cannot write {}: {}", path_, why));
  }
}

}  // namespace zel::cli
