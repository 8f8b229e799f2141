// Files that are there as a whole or not at all.
#ifndef ZEL_FTC_TOOLS_KEPT_FILE_H
#define ZEL_FTC_TOOLS_KEPT_FILE_H

#include <fstream>
#include <string>

namespace zel::cli {

/// A file that is complete when it has its name: it is written as <path>.part, which goes away
/// unless keep() is called. What could not be written to its end, or not get its name, stays there,
/// and the error says so. A link keeps its name for what it leads to. Devices and pipes are written
/// directly: they have no content to lose.
class KeptFile {
 public:
  /// Makes the folder. Throws std::runtime_error when folder or file cannot be written, when the
  /// path is a folder, or when <path>.part is there.
  explicit KeptFile(const std::string& path);
  ~KeptFile();
  KeptFile(const KeptFile&) = delete;
  KeptFile& operator=(const KeptFile&) = delete;

  std::ostream& stream() { return file_; }
  const std::string& path() const { return path_; }
  /// Throws std::runtime_error when not all could be written so far.
  void check();
  /// Gives the file its name. Throws std::runtime_error when not all could be written.
  void keep();

 private:
  [[noreturn]] void giveUp();
  bool isDirect() const { return part_ == path_; }

  std::string path_, target_, part_;
  std::ofstream file_;
};

}  // namespace zel::cli

#endif
