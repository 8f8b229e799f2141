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
  if (std::error_code unknown; !error && fs::is_directory(path, unknown)) {
    error = std::make_error_code(std::errc::is_a_directory);
  }
  if (std::error_code unknown; !error && fs::exists(part(), unknown)) {
    throw std::runtime_error(
        fmt::format("{} is there, of a file that was not finished: rename or remove it", part()));
  }
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

void KeptFile::check() {
  if (!file_) giveUp();
}

void KeptFile::keep() {
  errno = 0;
  file_.close();
  if (file_.fail() || std::rename(part().c_str(), path_.c_str()) != 0) giveUp();
}

void KeptFile::giveUp() {
  const std::string why = std::generic_category().message(errno);
  file_.close();  // the destructor leaves a closed file alone
  throw std::runtime_error(
      fmt::format("cannot write {}: {}; {} has what could be written", path_, why, part()));
}

}  // namespace zel::cli
