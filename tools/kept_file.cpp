#include "tools/kept_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace zel::cli {

KeptFile::KeptFile(const std::string& path) : path_(path), target_(path) {
  namespace fs = std::filesystem;
  const fs::path folder = fs::path(path).parent_path();
  std::error_code error, unknown;
  if (!folder.empty()) fs::create_directories(folder, error);
  const fs::file_status there = fs::status(path, unknown);
  if (!error && fs::is_directory(there)) error = std::make_error_code(std::errc::is_a_directory);
  if (fs::is_symlink(path, unknown) && fs::exists(there)) target_ = fs::canonical(path).string();
  part_ = fs::is_other(there) ? path_ : target_ + ".part";
  if (!error && !isDirect() && fs::exists(part_, unknown)) {
    throw std::runtime_error(fmt::format(
        "{} is there: another program writes it, or did not finish it; then rename or remove it",
        part_));
  }
  if (!error) {
    errno = 0;
    file_.open(part_);
    if (!file_) error = {errno, std::generic_category()};
  }
  if (error) {
    throw std::runtime_error(fmt::format("cannot write {}: {}", path_, error.message()));
  }
}

KeptFile::~KeptFile() {
  if (!file_.is_open()) return;
  file_.close();
  if (!isDirect()) std::remove(part_.c_str());
}

void KeptFile::check() {
  if (!file_) giveUp();
}

void KeptFile::keep() {
  errno = 0;
  file_.close();
  if (file_.fail()) giveUp();
  if (!isDirect() && std::rename(part_.c_str(), target_.c_str()) != 0) giveUp();
}

void KeptFile::giveUp() {
  const std::string why = std::generic_category().message(errno);
  file_.close();  // the destructor leaves a closed file alone
  const std::string rescued =
      isDirect() ? "" : fmt::format("; {} has what could be written", part_);
  throw std::runtime_error(fmt::format("cannot write {}: {}{}", path_, why, rescued));
}

}  // namespace zel::cli
